#include "format/AuthoringProgress.h"

#include <algorithm>
#include <chrono>

#include "util/Logger.h"

namespace Velmora::FormatGlue {

using Utility::Logger;
using Utility::LogLevel;

namespace {
uint64_t NowMs() {
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}
}  // namespace

void AuthoringProgress::Reset() {
    progress_ = 0.0f;
    lastReportMs_ = 0;
    reported_ = false;
}

void AuthoringProgress::UpdateProgress(float increment) {
    if (!(increment > 0.0f)) {
        Logger::Log(LogLevel::Error, "AuthoringProgress::UpdateProgress() - Invalid progress increment!");
        return;
    }
    progress_ = std::min(progress_ + increment, 100.0f);
    const uint64_t now = NowMs();
    if (progress_ < 100.0f && reported_ && now - lastReportMs_ < kReportIntervalMs) return;
    ProgressInfo info;
    info.percent = static_cast<int32_t>(progress_);
    info.callbackSlot = callbackSlot_;
    NotifyObservers([&info](ProgressListener* listener) { listener->OnProgress(info); });
    lastReportMs_ = now;
    reported_ = true;
}

}  // namespace Velmora::FormatGlue
