#pragma once

#include <cstdint>

namespace Velmora::FormatGlue {

struct ProgressInfo {
    int32_t percent = 0;
    void* callbackSlot = nullptr;
};

class ProgressListener {
public:
    virtual ~ProgressListener() = default;
    virtual void OnProgress(const ProgressInfo& info) = 0;
};

}  // namespace Velmora::FormatGlue
