#pragma once
// The PRC entry of the format registry: ".prc", identifier 2, the one format that also exports.

#include <memory>
#include <string>

#include "format/FormatBase.h"
#include "util/SimpleProfiler.h"

namespace Velmora::PRC {

class PRCExport;

class Format_PRC : public FormatGlue::FormatBase {
public:
    static constexpr uint32_t kIdentifier = 2;

    // File: the extension must be ".prc" and the file must start with the PRC signature.
    // Memory: the first bytes must be the signature.
    bool CanLoad(const FormatGlue::ImportDescriptor& descriptor) override;
    uint32_t Load(const FormatGlue::ImportDescriptor& descriptor) override;
    // Writes the active scene as PRC, to a file or into memory.
    bool Export(const FormatGlue::ExportDescriptor& descriptor, FormatGlue::ExportBuffer* buffer) override;

private:
    static bool ExportToMemory(PRCExport& exporter, FormatGlue::ExportBuffer* buffer);
    static bool ExportToFile(PRCExport& exporter, const std::string& path);
};

}  // namespace Velmora::PRC
