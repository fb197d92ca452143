#pragma once
// What a window tells its observers. The base versions do nothing, so a listener overrides
// only what it needs.

#include <cstdint>

namespace Velmora::Windowing {

class WindowEventListener {
public:
    virtual ~WindowEventListener() = default;
    virtual void OnResize(int32_t /*width*/, int32_t /*height*/) {}
    virtual void OnMouseMove(int32_t /*x*/, int32_t /*y*/) {}
    // button: 0 left, 1 right, 2 middle.
    virtual void OnMouseButton(uint32_t /*button*/, bool /*down*/, int32_t /*x*/, int32_t /*y*/) {}
    // Signed wheel delta, 120 per notch, positive away from the user.
    virtual void OnMouseWheel(int32_t /*delta*/) {}
    virtual void OnOther() {}
};

}  // namespace Velmora::Windowing
