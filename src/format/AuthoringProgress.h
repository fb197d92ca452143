#pragma once
// Progress of one import, told to its listeners at most ten times a second; the report for
// 100 always gets through. Notifications run on the importing thread, inside the stage loops.

#include <cstdint>

#include "format/ProgressListener.h"
#include "util/Observable.h"

namespace Velmora::FormatGlue {

class AuthoringProgress : public Utility::Observable<ProgressListener> {
public:
    static constexpr uint64_t kReportIntervalMs = 100;

    void UpdateProgress(float increment);
    void Reset();

    float Progress() const { return progress_; }
    void SetCallbackSlot(void* slot) { callbackSlot_ = slot; }

private:
    void* callbackSlot_ = nullptr;
    float progress_ = 0.0f;
    uint64_t lastReportMs_ = 0;
    bool reported_ = false;
};

}  // namespace Velmora::FormatGlue
