#include "util/LogManager.h"

#include "util/Strings.h"

namespace Velmora::Utility {

LogManager& LogManager::Instance() {
    static LogManager manager;
    return manager;
}

LogManager::LogManager() {
    // The logger must outlive the manager (its stream may be one of ours at exit).
    Logger::Instance();
}

LogManager::~LogManager() {
    // Process exit: end both threads before the statics they use go away.
    std::lock_guard<std::mutex> lock(manageLock_);
    if (debugStream_) debugStream_->Stop();
    if (hookStream_) hookStream_->Stop();
}

bool LogManager::StartDefault(const std::string& pathUtf8, bool append, int32_t level) {
    if (level < 0 || level > 5) level = 3;
    Logger& logger = Logger::Instance();
    logger.SetMaxLevel(level);

    std::lock_guard<std::mutex> lock(manageLock_);
    // End the previous session first, so that its "Session End" line comes before the new
    // "Session Start" even when both use the same file.
    if (debugStream_) {
        std::shared_ptr<DebuggingLogStream> old = std::move(debugStream_);
        if (logger.Stream() == old) logger.SetStream(nullptr);
        old->Stop();
    }
    debugStream_ = DebuggingLogStream::Create(pathUtf8, append);
    if (!debugStream_) {
        // Built and dropped: there is no stream to write it to.
        std::string message = "Failed to create DebuggingLogStream! Logging will not be available!";
        (void)message;
        return false;
    }
    logger.SetStream(debugStream_);
    Logger::Log(LogLevel::Verbose, "Started logging to '%s' at level '%s'", pathUtf8.c_str(), LevelWord(level));
    loggingToDefault_.store(true);
    return true;
}

bool LogManager::StartDefault(const std::u16string& path, bool append, int32_t level) {
    return StartDefault(WideToUtf8(path), append, level);
}

void LogManager::StopDefault() {
    std::lock_guard<std::mutex> lock(manageLock_);
    Logger::Instance().SetStream(nullptr);
    std::shared_ptr<DebuggingLogStream> debug = std::move(debugStream_);
    std::shared_ptr<HookableLogStream> hook = std::move(hookStream_);
    if (debug) debug->Stop();
    if (hook) hook->Stop();
    loggingToDefault_.store(false);
}

bool LogManager::EnsureHookStream() {
    std::lock_guard<std::mutex> lock(manageLock_);
    return EnsureHookStreamLocked();
}

bool LogManager::EnsureHookStreamLocked() {
    if (hookStream_) return true;
    hookStream_ = HookableLogStream::Create(&LogManager::Dispatch);
    if (!hookStream_) {
        std::string message = "Failed to create HookableLogStream! Log-hooking will not be available!";
        (void)message;
        return false;
    }
    return true;
}

void LogManager::Dispatch(int32_t level, const std::string& text) {
    LogManager& self = Instance();
    std::shared_lock<std::shared_mutex> lock(self.hookLock_);
    if (self.hook_ == nullptr) return;
    char16_t* message = nullptr;
    try {
        std::u16string wide = Utf8ToWide(text);
        message = wide.empty() ? MakeBstr(u"<StringError>", 13) : MakeBstr(std::u16string_view(wide));
    } catch (const std::bad_alloc&) {
        return;  // logging never fails towards anyone
    }
    self.hook_(self.hookUserData_, level, message);
    FreeSystemString(message);
}

LogManager::Hook LogManager::SetLoggingHook(void* userData, Hook hook) {
    std::lock_guard<std::mutex> lock(manageLock_);
    if (!EnsureHookStreamLocked()) return nullptr;
    Hook old;
    {
        std::shared_lock<std::shared_mutex> read(hookLock_);
        old = hook_;
    }
    if (hook != nullptr) {
        Logger::Instance().SetStream(hookStream_);
        std::unique_lock<std::shared_mutex> write(hookLock_);
        hook_ = hook;
        hookUserData_ = userData;
    } else {
        {
            std::unique_lock<std::shared_mutex> write(hookLock_);
            hook_ = nullptr;
            hookUserData_ = nullptr;
        }
        if (loggingToDefault_.load() && debugStream_)
            Logger::Instance().SetStream(debugStream_);
        else
            Logger::Instance().SetStream(hookStream_);
    }
    return old;
}

LogManager::Hook LogManager::GetLoggingHook(void** userData) {
    std::shared_lock<std::shared_mutex> lock(hookLock_);
    if (userData != nullptr) *userData = hookUserData_;
    return hook_;
}

std::shared_ptr<DebuggingLogStream> LogManager::DebugStream() const {
    std::lock_guard<std::mutex> lock(manageLock_);
    return debugStream_;
}

std::shared_ptr<HookableLogStream> LogManager::HookStream() const {
    std::lock_guard<std::mutex> lock(manageLock_);
    return hookStream_;
}

}  // namespace Velmora::Utility
