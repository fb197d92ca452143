#pragma once
// The renderer's window system on X: the library's own X connection and the drawables of the
// library's windows. WindowBase installs it at start-up.

#include "rendering/WindowSystem.h"

namespace Velmora::Windowing {

class X11WindowSystem : public Rendering::WindowSystem {
public:
    static X11WindowSystem& Instance();

    _XDisplay* OpenDisplay() override;
    void CloseDisplay() override;
    Rendering::DeviceContext* FindDrawable(uintptr_t window) override;

private:
    X11WindowSystem() = default;
};

}  // namespace Velmora::Windowing
