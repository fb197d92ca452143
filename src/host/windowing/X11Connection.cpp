#include "host/windowing/X11Connection.h"

#include <atomic>
#include <cstdlib>

#include <X11/Xlib.h>

#include "util/Logger.h"

namespace Velmora::Windowing {

using Utility::Logger;
using Utility::LogLevel;

namespace {

using ErrorHandler = int (*)(Display*, XErrorEvent*);
ErrorHandler previousHandler = nullptr;
std::atomic<Display*> ownDisplay{nullptr};
std::atomic<int32_t> lastError{0};

// The default X error handler ends the process; a bad parent window id from the host must
// cost one window, not the host. Errors of other connections go to the handler before ours.
int HandleError(Display* display, XErrorEvent* event) {
    if (display == ownDisplay.load()) {
        lastError.store(event->error_code);
        Logger::Log(LogLevel::Warning, "X11Connection - X error %d on request %d", static_cast<int>(event->error_code),
                    static_cast<int>(event->request_code));
        return 0;
    }
    return previousHandler ? previousHandler(display, event) : 0;
}

}  // namespace

X11Connection& X11Connection::Instance() {
    static X11Connection connection;
    return connection;
}

_XDisplay* X11Connection::Open() {
    std::lock_guard<std::mutex> lock(mutex_);
    closeRequested_ = false;
    if (display_.load()) return display_.load();
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) return nullptr;
    // Windows are made on host threads while the render thread reads events.
    XInitThreads();
    display_ = XOpenDisplay(name);
    if (!display_.load()) {
        Logger::Log(LogLevel::Info, "X11Connection::Open - cannot reach X server '%s', running headless", name);
        return nullptr;
    }
    ownDisplay.store(display_.load());
    static std::once_flag handlerInstalled;
    std::call_once(handlerInstalled, [] { previousHandler = XSetErrorHandler(HandleError); });
    Logger::Log(LogLevel::Verbose, "X11Connection::Open - connected to X server '%s'", name);
    return display_.load();
}

void X11Connection::Close() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!display_.load()) return;
    if (windowRefs_ > 0) {
        closeRequested_ = true;
        return;
    }
    ownDisplay.store(nullptr);
    XCloseDisplay(display_.load());
    display_ = nullptr;
}

int32_t X11Connection::SyncAndTakeError() {
    _XDisplay* display = Get();
    if (!display) return 0;
    XSync(display, False);
    return lastError.exchange(0);
}

void X11Connection::AddWindowRef() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++windowRefs_;
}

void X11Connection::ReleaseWindowRef() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (windowRefs_ > 0) --windowRefs_;
    if (windowRefs_ == 0 && closeRequested_ && display_.load()) {
        ownDisplay.store(nullptr);
        XCloseDisplay(display_.load());
        display_ = nullptr;
        closeRequested_ = false;
    }
}

}  // namespace Velmora::Windowing
