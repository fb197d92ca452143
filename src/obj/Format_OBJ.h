#pragma once
// The OBJ entry of the format registry: ".obj", identifier 3, no export. OBJ text has no
// signature: memory data that no other format claims comes here, and is refused.

#include <memory>

#include "format/FormatBase.h"
#include "util/SimpleProfiler.h"

namespace Velmora::OBJ {

class Format_OBJ : public FormatGlue::FormatBase {
public:
    static constexpr uint32_t kIdentifier = 3;

    // Files with the extension ".obj"; the registry never asks for memory data.
    bool CanLoad(const FormatGlue::ImportDescriptor& descriptor) override;
    uint32_t Load(const FormatGlue::ImportDescriptor& descriptor) override;
    bool Export(const FormatGlue::ExportDescriptor&, FormatGlue::ExportBuffer*) override { return false; }
};

}  // namespace Velmora::OBJ
