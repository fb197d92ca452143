#pragma once
// A log stream that keeps every line, for the rendering suites that check messages.

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "util/Logger.h"

namespace kestrum_test {

class CapturedLog : public Velmora::Utility::LogStream {
public:
    void Write(int32_t level, const std::string& text) override {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({level, text});
    }
    // True when a line of this level contains the text.
    bool Has(int32_t level, const std::string& text) const {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& line : lines_)
            if (line.first == level && line.second.find(text) != std::string::npos) return true;
        return false;
    }
    size_t Count(const std::string& text) const {
        std::lock_guard<std::mutex> lock(mutex_);
        size_t n = 0;
        for (const auto& line : lines_)
            if (line.second.find(text) != std::string::npos) ++n;
        return n;
    }
    void Clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<int32_t, std::string>> lines_;
};

}  // namespace kestrum_test
