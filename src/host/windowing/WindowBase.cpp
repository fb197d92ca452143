#include "host/windowing/WindowBase.h"

#include <map>
#include <mutex>

#include <X11/Xlib.h>

#include "host/windowing/X11Connection.h"
#include "host/windowing/X11WindowSystem.h"
#include "rendering/OpenGLContext.h"

namespace Velmora::Windowing {

namespace {

// Handle to object. Dispatch holds the lock, so a window cannot be destroyed on a host thread
// while its procedure runs on the render thread.
std::recursive_mutex& MapMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}
std::map<NativeHandle, WindowBase*>& WindowMap() {
    static std::map<NativeHandle, WindowBase*> windows;
    return windows;
}

// X mouse buttons 1 left, 2 middle, 3 right, 4 and 5 the wheel.
bool TranslateButton(const XButtonEvent& event, bool down, uint32_t& message, uintptr_t& wparam, intptr_t& lparam) {
    lparam = PackPoint(event.x, event.y);
    wparam = 0;
    switch (event.button) {
        case Button1: message = down ? kMessageLeftDown : kMessageLeftUp; return true;
        case Button2: message = down ? kMessageMiddleDown : kMessageMiddleUp; return true;
        case Button3: message = down ? kMessageRightDown : kMessageRightUp; return true;
        case Button4:
        case Button5:
            if (!down) return false;  // a wheel notch is one press and release; count it once
            message = kMessageMouseWheel;
            wparam = static_cast<uintptr_t>(static_cast<uint16_t>(event.button == Button4 ? kWheelDelta : -kWheelDelta))
                     << 16;
            return true;
        default: return false;
    }
}

bool TranslateEvent(const XEvent& event, uint32_t& message, uintptr_t& wparam, intptr_t& lparam) {
    wparam = 0;
    lparam = 0;
    switch (event.type) {
        case MotionNotify:
            message = kMessageMouseMove;
            lparam = PackPoint(event.xmotion.x, event.xmotion.y);
            return true;
        case ButtonPress: return TranslateButton(event.xbutton, true, message, wparam, lparam);
        case ButtonRelease: return TranslateButton(event.xbutton, false, message, wparam, lparam);
        case ConfigureNotify:
            message = kMessageSize;
            lparam = PackPoint(event.xconfigure.width, event.xconfigure.height);
            return true;
        case FocusIn:
            message = kMessageActivate;
            wparam = 1;
            return true;
        case FocusOut: message = kMessageKillFocus; return true;
        default: return false;
    }
}

// Every window derives from this class, so wherever windows are linked in, the renderer
// finds them and the display they live on from the start.
const bool kWindowSystemInstalled = (Rendering::WindowSystem::Install(&X11WindowSystem::Instance()), true);

}  // namespace

WindowBase::~WindowBase() { Detach(); }

intptr_t WindowBase::WindowProc(NativeHandle, uint32_t, uintptr_t, intptr_t) { return 0; }

void WindowBase::Attach(NativeHandle hwnd) {
    std::lock_guard<std::recursive_mutex> lock(MapMutex());
    hwnd_ = hwnd;
    WindowMap()[hwnd] = this;
}

void WindowBase::Detach() {
    std::lock_guard<std::recursive_mutex> lock(MapMutex());
    auto it = WindowMap().find(hwnd_);
    if (it != WindowMap().end() && it->second == this) WindowMap().erase(it);
}

void WindowBase::ResetState() {
    if (dc_.bound) Rendering::OpenGLContext::Instance().ReleaseDC(&dc_);
    dc_ = Rendering::DeviceContext{};
    hwnd_ = 0;
    width_ = 0;
    height_ = 0;
}

WindowBase* WindowBase::FromHandle(NativeHandle hwnd) {
    std::lock_guard<std::recursive_mutex> lock(MapMutex());
    auto it = WindowMap().find(hwnd);
    return it == WindowMap().end() ? nullptr : it->second;
}

Rendering::DeviceContext* WindowBase::GetDC(NativeHandle hwnd) {
    WindowBase* window = FromHandle(hwnd);
    return window ? window->GetDC() : nullptr;
}

intptr_t WindowBase::SharedWindowProc(NativeHandle hwnd, uint32_t message, uintptr_t wparam, intptr_t lparam) {
    std::lock_guard<std::recursive_mutex> lock(MapMutex());
    auto it = WindowMap().find(hwnd);
    if (it == WindowMap().end()) return 0;
    return it->second->WindowProc(hwnd, message, wparam, lparam);
}

uint32_t WindowBase::ProcessPendingEvents() {
    Display* display = X11Connection::Instance().Get();
    if (!display) return 0;
    uint32_t count = 0;
    // Only what is already queued or readable now: XPending never blocks, so neither does a
    // frame.
    while (XPending(display) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        ++count;
        uint32_t message = 0;
        uintptr_t wparam = 0;
        intptr_t lparam = 0;
        if (TranslateEvent(event, message, wparam, lparam))
            SharedWindowProc(static_cast<NativeHandle>(event.xany.window), message, wparam, lparam);
    }
    return count;
}

}  // namespace Velmora::Windowing
