#pragma once
// The one logging entry of the library. Every diagnostic goes through Logger::Log with a
// level; a smaller level is more important (Message .. ExtraVerbose).

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace Velmora::Utility {

// The levels of a message. The numbers are part of the interface: the host sets its maximum
// level and receives each message's level as these numbers.
enum class LogLevel : int32_t {
    Message = 0,
    Error = 1,
    Warning = 2,
    Info = 3,
    Verbose = 4,
    ExtraVerbose = 5,
};

class LogStream {
public:
    virtual ~LogStream() = default;
    virtual void Write(int32_t level, const std::string& text) = 0;
};

// The word printed for a level ("MESSAGE", "ERROR", ... , "UNKNOWN").
const char* LevelWord(int32_t level);

class Logger {
public:
    static Logger& Instance();

    // printf-style entry. Formats into an 8192-byte buffer; a text shorter than 8191 bytes
    // gets a line end, a truncated one does not.
    static void Log(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

    // For "{:s}"/"{:d}"-style messages: formatted with {fmt} and then written as they are.
    // Unlike passing the result through Log as a format text, a '%' inside an argument (a
    // file name, say) can never be taken for a conversion.
    template <typename... Args>
    static void LogF(LogLevel level, fmt::format_string<Args...> format, Args&&... args) {
        if (!Passes(level)) return;
        WriteText(level, fmt::format(format, std::forward<Args>(args)...));
    }

    // True when a message of this level would reach a stream; lets callers skip costly
    // argument preparation.
    static bool Passes(LogLevel level);

    // Appends the line end (unless cut at the buffer size) and hands the text to the stream.
    static void WriteText(LogLevel level, std::string_view text);

    void SetStream(std::shared_ptr<LogStream> stream);
    std::shared_ptr<LogStream> Stream() const;

    void SetMaxLevel(int32_t level) { maxLevel_.store(level, std::memory_order_relaxed); }
    int32_t MaxLevel() const { return maxLevel_.load(std::memory_order_relaxed); }

    static constexpr size_t kBufferSize = 8192;

private:
    Logger() = default;
    std::atomic<int32_t> maxLevel_{2};
    std::atomic<bool> hasStream_{false};  // lets a message with no stream return without the
                                          // shared_ptr load (which takes a spin lock)
    std::shared_ptr<LogStream> stream_;   // swapped with the atomic shared_ptr free functions
};

}  // namespace Velmora::Utility
