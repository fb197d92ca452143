#include "util/Logger.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace Velmora::Utility {

const char* LevelWord(int32_t level) {
    switch (level) {
        case 0: return "MESSAGE";
        case 1: return "ERROR";
        case 2: return "WARNING";
        case 3: return "INFO";
        case 4: return "VERBOSE";
        case 5: return "EXTRA VERBOSE";
        default: return "UNKNOWN";
    }
}

Logger& Logger::Instance() {
    static Logger logger;
    return logger;
}

void Logger::SetStream(std::shared_ptr<LogStream> stream) {
    // Serialised so that the flag always matches the pointer after concurrent swaps.
    static std::mutex swapLock;
    std::lock_guard<std::mutex> lock(swapLock);
    const bool has = stream != nullptr;
    std::atomic_store(&stream_, std::move(stream));
    hasStream_.store(has, std::memory_order_release);
}

std::shared_ptr<LogStream> Logger::Stream() const { return std::atomic_load(&stream_); }

bool Logger::Passes(LogLevel level) {
    Logger& self = Instance();
    return int32_t(level) <= self.MaxLevel() && self.hasStream_.load(std::memory_order_acquire) &&
           std::atomic_load(&self.stream_) != nullptr;
}

void Logger::WriteText(LogLevel level, std::string_view text) {
    Logger& self = Instance();
    if (int32_t(level) > self.MaxLevel()) return;
    if (!self.hasStream_.load(std::memory_order_acquire)) return;
    std::shared_ptr<LogStream> stream = self.Stream();
    if (!stream) return;
    // Same shape as a printf-formatted message: at most 8191 bytes, "\n" only when not cut.
    std::string line(text.substr(0, kBufferSize - 1));
    if (line.size() < kBufferSize - 1) line.push_back('\n');
    stream->Write(int32_t(level), line);
}

void Logger::Log(LogLevel level, const char* format, ...) {
    if (format == nullptr) return;
    Logger& self = Instance();
    if (int32_t(level) > self.MaxLevel()) return;
    if (!self.hasStream_.load(std::memory_order_acquire)) return;
    std::shared_ptr<LogStream> stream = self.Stream();
    if (!stream) return;

    char buffer[kBufferSize];
    va_list args;
    va_start(args, format);
    int written = std::vsnprintf(buffer, sizeof(buffer), format, args);
    va_end(args);
    if (written < 0) return;
    size_t length = std::strlen(buffer);
    if (length < kBufferSize - 1) {
        buffer[length++] = '\n';
        buffer[length] = '\0';
    }
    stream->Write(int32_t(level), std::string(buffer, length));
}

}  // namespace Velmora::Utility
