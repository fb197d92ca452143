#pragma once
// One file format known to FormatManager.

#include <cstdint>

#include "format/ImportDescriptor.h"

namespace Velmora::FormatGlue {

class FormatBase {
public:
    virtual bool CanLoad(const ImportDescriptor& descriptor) = 0;
    // The scene identifier of the new scene, 0 on failure.
    virtual uint32_t Load(const ImportDescriptor& descriptor) = 0;
    virtual bool Export(const ExportDescriptor& descriptor, ExportBuffer* buffer) = 0;
    // Sets the authoring interrupt flag if this format is importing; the same for all formats.
    virtual void Interrupt();
    virtual ~FormatBase() = default;

protected:
    bool importing_ = false;
};

}  // namespace Velmora::FormatGlue
