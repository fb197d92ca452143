#pragma once
// What a window's mouse navigation drives, implemented over a view's camera controller. The
// window system turns its events into these steps; each action is one complete step, and the
// target marks its view for redraw where the step changed the camera.

#include <cstdint>

namespace Velmora::Rendering {

class InputTarget {
public:
    virtual ~InputTarget() = default;
    // False while the controller cannot navigate (fewer than two camera states).
    virtual bool CanNavigate() const = 0;
    // Wheel zoom by a signed fraction (orthographic scale or perspective distance); the
    // target applies its own limits and skips cameras in a mode that forbids zooming.
    virtual void Zoom(float step) = 0;
    // Orbit drag of the primary button, in window pixels.
    virtual void BeginDrag(int32_t x, int32_t y) = 0;
    virtual void Drag(int32_t x, int32_t y) = 0;
    virtual void EndDrag() = 0;
    // Pan of the secondary button: the offset from the last anchor, in window pixels.
    virtual void Pan(int32_t dx, int32_t dy) = 0;
};

}  // namespace Velmora::Rendering
