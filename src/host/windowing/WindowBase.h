#pragma once
// Base of the library's windows: an observable of window events with a native handle, the
// size last reported and the drawable the GL context binds to.
//
// X delivers events to the connection that made a window, and the library makes all its
// windows on its own connection; ProcessPendingEvents drains that connection once per frame
// on the render thread and hands each event, translated into a window message, to the
// WindowProc of the window it belongs to.

#include <cstdint>

#include "host/windowing/WindowEventListener.h"
#include "host/windowing/WindowMessages.h"
#include "rendering/DeviceContext.h"
#include "util/Observable.h"

namespace Velmora::Windowing {

class WindowBase : public Utility::Observable<WindowEventListener> {
public:
    struct CreateInfo {
        NativeHandle parent = 0;
        int32_t width = 0;
        int32_t height = 0;
    };

    WindowBase() = default;
    ~WindowBase() override;

    virtual bool Create(const CreateInfo& info) = 0;
    virtual void Destroy() = 0;
    virtual intptr_t WindowProc(NativeHandle hwnd, uint32_t message, uintptr_t wparam, intptr_t lparam);

    NativeHandle GetHandle() const { return hwnd_; }
    int32_t GetWidth() const { return width_; }
    int32_t GetHeight() const { return height_; }
    // The window's drawable; the render view binds it to the GL context and must release it
    // (OpenGLContext::ReleaseDC) on the render thread before the window is destroyed.
    Rendering::DeviceContext* GetDC() { return &dc_; }

    // The live window behind a handle, or null.
    static WindowBase* FromHandle(NativeHandle hwnd);
    // The drawable of the live window behind a handle, or null.
    static Rendering::DeviceContext* GetDC(NativeHandle hwnd);
    // Reads every pending event of the library's X connection and dispatches it; returns the
    // number of events read. Render thread, once per frame, before the listeners run.
    static uint32_t ProcessPendingEvents();

    // The procedure registered for every window class: forwards to the object's WindowProc.
    static intptr_t SharedWindowProc(NativeHandle hwnd, uint32_t message, uintptr_t wparam, intptr_t lparam);

protected:
    // Links the handle to this object (the window's "user data") or unlinks it.
    void Attach(NativeHandle hwnd);
    void Detach();
    // Releases the drawable if a view left it bound, then forgets handle and size.
    void ResetState();

    NativeHandle hwnd_ = 0;
    int32_t width_ = 0;
    int32_t height_ = 0;
    Rendering::DeviceContext dc_;
};

}  // namespace Velmora::Windowing
