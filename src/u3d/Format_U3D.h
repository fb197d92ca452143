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

private:
    // Reads into a fresh authoring pool and builds the scene from it, timed under root when
    // there is one; the scene's handle, or 0.
    uint32_t LoadThroughPool(const FormatGlue::ImportDescriptor& descriptor,
                             const std::shared_ptr<Utility::SimpleProfiler>& root);
};

}  // namespace Velmora::U3D
