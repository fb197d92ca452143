#pragma once
// The library's own connection to the X server. X delivers a window's events to the
// connection that made it, so every window of the library is made on this one connection and
// the render thread reads its events once per frame (see WindowBase::ProcessPendingEvents).
// Opened when the renderer starts and $DISPLAY names a reachable server; without one the
// library runs headless and only off-screen drawables exist.

#include <atomic>
#include <cstdint>
#include <mutex>

struct _XDisplay;

namespace Velmora::Windowing {

class X11Connection {
public:
    static X11Connection& Instance();

    // Opens the connection once; null when $DISPLAY is unset or the server is unreachable.
    _XDisplay* Open();
    // The open connection or null.
    _XDisplay* Get() const { return display_.load(); }
    // Closes the connection. Windows still alive on it keep it open (their ids would dangle).
    void Close();

    // Waits until the server has handled every request sent so far and returns the X error
    // code of the last failed request since the previous call (0 none). Errors on this
    // connection are logged instead of ending the process.
    int32_t SyncAndTakeError();

    // Live windows made on this connection; Close waits for them to be gone.
    void AddWindowRef();
    void ReleaseWindowRef();

private:
    X11Connection() = default;
    std::mutex mutex_;
    std::atomic<_XDisplay*> display_{nullptr};
    int32_t windowRefs_ = 0;
    bool closeRequested_ = false;
};

}  // namespace Velmora::Windowing
