#include "host/windowing/X11Connection.h"

#include <cstdlib>

#include <X11/Xlib.h>

#include "util/Logger.h"

namespace Velmora::Windowing {

using Utility::Logger;

X11Connection& X11Connection::Instance() {
    static X11Connection connection;
    return connection;
}

_XDisplay* X11Connection::Open() {
    std::lock_guard<std::mutex> lock(mutex_);
    closeRequested_ = false;
    if (display_) return display_;
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) return nullptr;
    // Windows are made on host threads while the render thread reads events.
    XInitThreads();
    display_ = XOpenDisplay(name);
    if (!display_) {
        Logger::Log(3, "X11Connection::Open - cannot reach X server '%s', running headless", name);
        return nullptr;
    }
    Logger::Log(4, "X11Connection::Open - connected to X server '%s'", name);
    return display_;
}

void X11Connection::Close() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!display_) return;
    if (windowRefs_ > 0) {
        closeRequested_ = true;
        return;
    }
    XCloseDisplay(display_);
    display_ = nullptr;
}

void X11Connection::AddWindowRef() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++windowRefs_;
}

void X11Connection::ReleaseWindowRef() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (windowRefs_ > 0) --windowRefs_;
    if (windowRefs_ == 0 && closeRequested_ && display_) {
        XCloseDisplay(display_);
        display_ = nullptr;
        closeRequested_ = false;
    }
}

}  // namespace Velmora::Windowing
