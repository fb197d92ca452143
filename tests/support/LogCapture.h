#pragma once
// Captures log lines for the lifetime of the object (tests only).

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "util/Logger.h"

namespace Velmora::Test {

class LogCapture {
public:
    struct Line {
        int level;
        std::string text;
    };

    explicit LogCapture(int maxLevel = 5) : stream_(std::make_shared<Stream>()) {
        auto& logger = Utility::Logger::Instance();
        previous_ = logger.Stream();
        previousLevel_ = logger.MaxLevel();
        logger.SetStream(stream_);
        logger.SetMaxLevel(maxLevel);
    }
    ~LogCapture() {
        auto& logger = Utility::Logger::Instance();
        logger.SetStream(previous_);
        logger.SetMaxLevel(previousLevel_);
    }
    // A copy would put the old stream back twice.
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Line> Lines() const {
        std::lock_guard lock(stream_->mutex);
        return stream_->lines;
    }
    // Number of lines containing `text` (at `level`, or any level for -1).
    size_t Count(const std::string& text, int level = -1) const {
        size_t n = 0;
        for (const Line& line : Lines())
            if ((level < 0 || line.level == level) && line.text.find(text) != std::string::npos) ++n;
        return n;
    }
    bool Has(const std::string& text, int level = -1) const { return Count(text, level) > 0; }
    // Whole-line matches (without the line break), for messages that are the start of others.
    size_t CountLine(const std::string& text, int level = -1) const {
        size_t n = 0;
        for (const Line& line : Lines())
            if ((level < 0 || line.level == level) &&
                line.text.substr(0, line.text.find_last_not_of("\r\n") + 1) == text)
                ++n;
        return n;
    }
    bool HasLine(const std::string& text, int level = -1) const { return CountLine(text, level) > 0; }
    // Index of the first line that is `text` with its line break, or -1: some messages are the
    // start of others.
    long IndexOfLine(const std::string& text) const {
        const auto lines = Lines();
        for (size_t i = 0; i < lines.size(); ++i)
            if (lines[i].text == text + "\n") return long(i);
        return -1;
    }
    void Clear() {
        std::lock_guard lock(stream_->mutex);
        stream_->lines.clear();
    }

private:
    struct Stream : Utility::LogStream {
        void Write(int32_t level, const std::string& text) override {
            std::lock_guard lock(mutex);
            lines.push_back({level, text});
        }
        mutable std::mutex mutex;
        std::vector<Line> lines;
    };
    std::shared_ptr<Stream> stream_;
    std::shared_ptr<Utility::LogStream> previous_;
    int previousLevel_ = 2;
};

}  // namespace Velmora::Test
