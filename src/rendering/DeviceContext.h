#pragma once
// A drawable the one GL context can be made current on: the stand-in for a window's device
// context. A window owns its DeviceContext; the context layer binds a surface to it once
// (CreateContextForWindow) and releases that surface before the window goes away.

#include <cstdint>

namespace Velmora::Rendering {

struct DeviceContext {
    // Native window (X11 id) to draw into; 0 for an off-screen drawable (a pbuffer when the
    // display has windows, no surface at all on a headless display).
    uintptr_t window = 0;
    // Size of the off-screen drawable; windows report their own size.
    int32_t width = 50;
    int32_t height = 50;
    // EGL surface once bound; null with `bound` set means "current without a surface".
    void* surface = nullptr;
    bool bound = false;
};

}  // namespace Velmora::Rendering
