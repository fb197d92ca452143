#pragma once
// Collects the library's log lines while a test runs (linked, not through the exports).

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "util/Logger.h"

namespace KestrumTest {

class CapturedLog : public Velmora::Utility::LogStream {
public:
    void Write(int32_t, const std::string& text) override {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(text);
    }
    bool Contains(const std::string& text) const {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const std::string& line : lines_)
            if (line.find(text) != std::string::npos) return true;
        return false;
    }
    size_t Count(const std::string& text) const {
        std::lock_guard<std::mutex> lock(mutex_);
        size_t n = 0;
        for (const std::string& line : lines_)
            if (line.find(text) != std::string::npos) ++n;
        return n;
    }
    void Clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

// Installs a CapturedLog at level 5 for its lifetime.
class ScopedLogCapture {
public:
    ScopedLogCapture() : log(std::make_shared<CapturedLog>()) {
        auto& logger = Velmora::Utility::Logger::Instance();
        previousLevel_ = logger.MaxLevel();
        previous_ = logger.Stream();
        logger.SetStream(log);
        logger.SetMaxLevel(5);
    }
    ~ScopedLogCapture() {
        auto& logger = Velmora::Utility::Logger::Instance();
        logger.SetStream(previous_);
        logger.SetMaxLevel(previousLevel_);
    }
    std::shared_ptr<CapturedLog> log;

private:
    std::shared_ptr<Velmora::Utility::LogStream> previous_;
    int32_t previousLevel_ = 2;
};

}  // namespace KestrumTest
