#include "host/windowing/RenderWindow.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include "host/windowing/WindowClassRegistrar.h"
#include "host/windowing/X11Connection.h"
#include "rendering/OpenGLContext.h"
#include "util/Logger.h"

namespace Velmora::Windowing {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr long kEventMask =
    PointerMotionMask | ButtonPressMask | ButtonReleaseMask | StructureNotifyMask | FocusChangeMask;

}  // namespace

RenderWindow::~RenderWindow() { Destroy(); }

bool RenderWindow::Create(const CreateInfo& info) {
    if (info.parent == 0) {
        Logger::Log(LogLevel::Error, "RenderWindow class needs parent hwnd");
        return false;
    }
    if (info.width < kMinimumSize || info.height < kMinimumSize) {
        Logger::Log(LogLevel::Error, "RenderWindow minimum size requirements not met");
        return false;
    }
    if (!WindowClassRegistrar::Instance().Register({kClassName, &WindowBase::SharedWindowProc})) {
        Logger::Log(LogLevel::Error, "Failed to create RenderWindow instance");
        return false;
    }
    X11Connection& connection = X11Connection::Instance();
    Display* display = connection.Get();
    if (!display || hwnd_ != 0) {
        Logger::Log(LogLevel::Error, "CreateWindowEx failed to create RenderWindow");
        return false;
    }
    connection.SyncAndTakeError();  // start from a clean error state

    // The window takes the visual of the GL configuration, so that a window surface fits it.
    XSetWindowAttributes attributes{};
    unsigned long mask = CWEventMask | CWBorderPixel;
    attributes.event_mask = kEventMask;
    attributes.border_pixel = 0;
    Visual* visual = CopyFromParent;
    int depth = CopyFromParent;
    if (const uint32_t visualId = Rendering::OpenGLContext::Instance().NativeVisualId(); visualId != 0) {
        XVisualInfo pattern{};
        pattern.visualid = visualId;
        int count = 0;
        XVisualInfo* found = XGetVisualInfo(display, VisualIDMask, &pattern, &count);
        if (found && count > 0) {
            visual = found[0].visual;
            depth = found[0].depth;
            colormap_ = XCreateColormap(display, static_cast<Window>(info.parent), visual, AllocNone);
            attributes.colormap = colormap_;
            mask |= CWColormap;
        }
        if (found) XFree(found);
    }
    const Window window =
        XCreateWindow(display, static_cast<Window>(info.parent), 0, 0, static_cast<unsigned>(info.width),
                      static_cast<unsigned>(info.height), 0, depth, InputOutput, visual, mask, &attributes);
    if (window != 0) {
        XStoreName(display, window, kWindowName);
        XMapWindow(display, window);
    }
    // A bad parent id only shows as an asynchronous error.
    if (window == 0 || connection.SyncAndTakeError() != 0) {
        if (window != 0) XDestroyWindow(display, window);
        if (colormap_ != 0) XFreeColormap(display, colormap_);
        colormap_ = 0;
        connection.SyncAndTakeError();
        Logger::Log(LogLevel::Error, "CreateWindowEx failed to create RenderWindow");
        return false;
    }
    connection.AddWindowRef();
    width_ = info.width;
    height_ = info.height;
    dc_ = Rendering::DeviceContext{};
    dc_.window = static_cast<uintptr_t>(window);
    dc_.width = width_;
    dc_.height = height_;
    hasFocus_ = false;
    Attach(static_cast<NativeHandle>(window));
    return true;
}

void RenderWindow::Destroy() {
    if (hwnd_ == 0) return;
    const NativeHandle window = hwnd_;
    Detach();
    ResetState();
    X11Connection& connection = X11Connection::Instance();
    if (Display* display = connection.Get()) {
        XDestroyWindow(display, static_cast<Window>(window));
        if (colormap_ != 0) XFreeColormap(display, colormap_);
        XFlush(display);
    }
    colormap_ = 0;
    connection.ReleaseWindowRef();
}

void RenderWindow::TakeFocus() {
    Display* display = X11Connection::Instance().Get();
    if (!display || hasFocus_ || hwnd_ == 0) return;
    XWindowAttributes attributes{};
    // Focus on a window that is not viewable is an X error; ask first.
    if (!XGetWindowAttributes(display, static_cast<Window>(hwnd_), &attributes) || attributes.map_state != IsViewable)
        return;
    XSetInputFocus(display, static_cast<Window>(hwnd_), RevertToParent, CurrentTime);
    hasFocus_ = true;
}

intptr_t RenderWindow::WindowProc(NativeHandle hwnd, uint32_t message, uintptr_t wparam, intptr_t lparam) {
    const int32_t x = LowSigned(static_cast<uintptr_t>(lparam));
    const int32_t y = HighSigned(static_cast<uintptr_t>(lparam));
    switch (message) {
        case kMessageMouseMove:
            NotifyObservers([&](WindowEventListener* l) { l->OnMouseMove(x, y); });
            TakeFocus();
            return 0;
        case kMessageSize:
            if (x != width_ || y != height_) {
                width_ = x;
                height_ = y;
                dc_.width = x;
                dc_.height = y;
                NotifyObservers([&](WindowEventListener* l) { l->OnResize(x, y); });
            }
            return 0;
        case kMessageLeftDown:
        case kMessageLeftUp:
            NotifyObservers([&](WindowEventListener* l) { l->OnMouseButton(0, message == kMessageLeftDown, x, y); });
            return 0;
        case kMessageRightDown:
        case kMessageRightUp:
            NotifyObservers([&](WindowEventListener* l) { l->OnMouseButton(1, message == kMessageRightDown, x, y); });
            return 0;
        case kMessageMiddleDown:
        case kMessageMiddleUp:
            NotifyObservers([&](WindowEventListener* l) { l->OnMouseButton(2, message == kMessageMiddleDown, x, y); });
            return 0;
        case kMessageMouseWheel: {
            const int32_t delta = HighSigned(wparam);
            NotifyObservers([&](WindowEventListener* l) { l->OnMouseWheel(delta); });
            return 0;
        }
        case kMessageActivate:
            // Activation hands us the focus already; asking again would only echo events.
            if (LowWord(wparam) != 0) hasFocus_ = true;
            return 0;
        case kMessageKillFocus: hasFocus_ = false; return 0;
        default: return WindowBase::WindowProc(hwnd, message, wparam, lparam);
    }
}

}  // namespace Velmora::Windowing
