#pragma once
// Decides which stream is the logger's current one, on behalf of the logging exports
//: StartLoggingToDefault, StopLoggingToDefault, IsLoggingToDefault,
// SetLoggingHook, GetLoggingHook. SetLogLevel/GetLogLevel are Logger's SetMaxLevel/MaxLevel.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "util/LogStreams.h"

namespace Velmora::Utility {

class LogManager {
public:
    // The host's hook: `message` is a system string (see Strings.h) that the library frees
    // after the call; the host must not keep it.
    using Hook = void (*)(void* userData, int32_t level, char16_t* message);

    static LogManager& Instance();

    // Level outside 0..5 becomes 3 and is stored as the logger's level. Ends the running
    // default session (its "Session End" line is written first), then makes the new
    // DebuggingLogStream the logger's stream and logs at level 4 "Started logging to '%s' at
    // level '%s'". An empty path means standard error only. "/" stays "/".
    bool StartDefault(const std::string& pathUtf8, bool append, int32_t level);
    bool StartDefault(const std::u16string& path, bool append, int32_t level);

    // Stops and releases both streams; the logger has no stream afterwards (every message is
    // dropped) and a stored hook stays dormant until the next SetLoggingHook. Level unchanged.
    void StopDefault();

    // Makes the hook stream if there is none. False when its thread cannot be made.
    bool EnsureHookStream();

    // The hook stream's sink, on "LogThread(Hook)": converts to a system string (or
    // "<StringError>" when that gives nothing) and calls the hook under the hook lock, shared.
    static void Dispatch(int32_t level, const std::string& text);

    // Returns the previous hook (null also when the hook stream cannot be made).
    Hook SetLoggingHook(void* userData, Hook hook);
    Hook GetLoggingHook(void** userData);

    bool IsLoggingToDefault() const { return loggingToDefault_.load(); }

    std::shared_ptr<DebuggingLogStream> DebugStream() const;
    std::shared_ptr<HookableLogStream> HookStream() const;

private:
    LogManager();
    ~LogManager();
    bool EnsureHookStreamLocked();

    std::atomic<bool> loggingToDefault_{false};
    std::shared_ptr<DebuggingLogStream> debugStream_;
    std::shared_ptr<HookableLogStream> hookStream_;
    Hook hook_ = nullptr;
    void* hookUserData_ = nullptr;
    mutable std::shared_mutex hookLock_;  // guards hook_ and hookUserData_
    mutable std::mutex manageLock_;       // serialises the operations above
};

}  // namespace Velmora::Utility
