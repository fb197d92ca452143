#pragma once
// The U3D entry of the format registry: ".u3d", identifier 1, no export.

#include <memory>

#include "format/FormatBase.h"
#include "util/SimpleProfiler.h"

namespace Velmora::U3D {

class Format_U3D : public FormatGlue::FormatBase {
public:
    // File: the extension must be ".u3d" and the file must start with the U3D signature.
    // Memory: the first four bytes must be the signature.
    bool CanLoad(const FormatGlue::ImportDescriptor& descriptor) override;
    uint32_t Load(const FormatGlue::ImportDescriptor& descriptor) override;
    bool Export(const FormatGlue::ExportDescriptor&, FormatGlue::ExportBuffer*) override { return false; }
};

}  // namespace Velmora::U3D
