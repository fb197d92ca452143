#pragma once
// The live view's window: an X11 child of the host's window, made on the library's own
// connection, selecting pointer, button, wheel, structure and focus events. Its events are
// read on the render thread (WindowBase::ProcessPendingEvents) and passed to the observers.

#include "host/windowing/WindowBase.h"

namespace Velmora::Windowing {

class RenderWindow : public WindowBase {
public:
    static constexpr const char16_t* kClassName = u"RenderWindowClass";
    static constexpr const char* kWindowName = "RenderWindow";
    // Smaller windows are refused: the views' framebuffers need room.
    static constexpr int32_t kMinimumSize = 50;

    ~RenderWindow() override;
    bool Create(const CreateInfo& info) override;
    void Destroy() override;
    intptr_t WindowProc(NativeHandle hwnd, uint32_t message, uintptr_t wparam, intptr_t lparam) override;

private:
    void TakeFocus();
    bool hasFocus_ = false;
    unsigned long colormap_ = 0;  // X colormap of the window's visual, 0 when inherited
};

}  // namespace Velmora::Windowing
