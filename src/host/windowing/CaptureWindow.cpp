#include "host/windowing/CaptureWindow.h"

#include <atomic>

#include "host/windowing/WindowClassRegistrar.h"
#include "util/Logger.h"

namespace Velmora::Windowing {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// X resource ids use 29 bits; pseudo ids start above them so the two can never meet.
constexpr NativeHandle kFirstPseudoHandle = 0x80000001u;
// The size of a capture surface when the caller gives none.
constexpr int32_t kDefaultSize = 50;

NativeHandle NextPseudoHandle() {
    static std::atomic<NativeHandle> next{kFirstPseudoHandle};
    return next.fetch_add(1);
}

}  // namespace

CaptureWindow::~CaptureWindow() { Destroy(); }

bool CaptureWindow::Create(const CreateInfo& info) {
    if (!WindowClassRegistrar::Instance().Register({kClassName, &WindowBase::SharedWindowProc})) {
        Logger::Log(LogLevel::Error, "Failed to create CaptureWindow instance");
        return false;
    }
    if (hwnd_ != 0) {
        Logger::LogF(LogLevel::Error, "CreateWindowEx failed to create CaptureWindow: '{:s}'", "window already exists");
        return false;
    }
    width_ = info.width > 0 ? info.width : kDefaultSize;
    height_ = info.height > 0 ? info.height : kDefaultSize;
    dc_ = Rendering::DeviceContext{};
    dc_.window = 0;
    dc_.width = width_;
    dc_.height = height_;
    Attach(NextPseudoHandle());
    return true;
}

void CaptureWindow::Destroy() {
    if (hwnd_ == 0) return;
    Detach();
    ResetState();
}

}  // namespace Velmora::Windowing
