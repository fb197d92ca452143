#pragma once
// The PRC entry of the format registry: ".prc", identifier 2, the one format that exports.

#include <memory>

#include "format/FormatBase.h"
#include "util/SimpleProfiler.h"

namespace Velmora::PRC {

class Format_PRC : public FormatGlue::FormatBase {
public:
    static constexpr uint32_t kIdentifier = 2;

    // File: the extension must be ".prc" and the file must start with the PRC signature.
    // Memory: the first bytes must be the signature.
    bool CanLoad(const FormatGlue::ImportDescriptor& descriptor) override;
    uint32_t Load(const FormatGlue::ImportDescriptor& descriptor) override;
    // The PRC writer is not part of this reader: export is refused with its message.
    bool Export(const FormatGlue::ExportDescriptor& descriptor, FormatGlue::ExportBuffer* buffer) override;
};

}  // namespace Velmora::PRC
