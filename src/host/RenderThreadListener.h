#pragma once
// Something that lives on the render thread and wants a call once per frame. Registered
// listeners also keep the render thread alive: ShutdownRenderer stops it only when none is left.

#include <cstdint>

namespace Velmora {

class RenderThreadListener {
public:
    virtual ~RenderThreadListener() = default;
    // Called on the render thread after the queued calls of the frame ran, before drawing.
    virtual void OnRenderThreadUpdate(uint64_t nowMs) = 0;
};

}  // namespace Velmora
