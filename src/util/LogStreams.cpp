#include "util/LogStreams.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "util/Clock.h"

namespace Velmora::Utility {

namespace {
std::atomic<bool> g_debuggerOutput{true};
constexpr int64_t kLogThreadSleepMs = 50;
}  // namespace

bool DebugChannelRequested(const char* value) { return value != nullptr && std::strcmp(value, "0") != 0; }

std::string FormatLogTime(int64_t secondsSinceEpoch) {
    std::time_t t = static_cast<std::time_t>(secondsSinceEpoch);
    std::tm local{};
    localtime_r(&t, &local);
    char buffer[64];
    size_t n = std::strftime(buffer, sizeof(buffer), "%Y-%m-%d %H:%M:%S", &local);
    return std::string(buffer, n);
}

std::string FormatLogLine(const LogRecord& record, bool timestamps) {
    std::ostringstream line;
    if (timestamps) line << "[" << FormatLogTime(record.timestamp) << "] ";
    line << "[" << LevelWord(record.level) << "] " << record.text;
    return line.str();
}

// ---- DebuggingLogStream ---------------------------------------------------------------------

void DebuggingLogStream::SetDebuggerOutput(bool enabled) { g_debuggerOutput.store(enabled); }

DebuggingLogStream::DebuggingLogStream(std::string path, bool append)
    : path_(std::move(path)), toFile_(!path_.empty()), append_(append) {}

DebuggingLogStream::~DebuggingLogStream() { Stop(); }

void DebuggingLogStream::Deleter::operator()(DebuggingLogStream* s) const {
    if (s == nullptr) return;
    s->Stop();
    delete s;
}

std::shared_ptr<DebuggingLogStream> DebuggingLogStream::Create(const std::string& pathUtf8, bool append) {
    std::shared_ptr<DebuggingLogStream> stream(new DebuggingLogStream(pathUtf8, append), Deleter());
    stream->echo_ = DebugChannelRequested(std::getenv(kDebugChannelVariable));
    if (stream->toFile_) {
        auto functor = std::make_shared<MemberThreadFunctor<DebuggingLogStream>>(
            stream.get(), &DebuggingLogStream::ThreadMain, kLogThreadSleepMs);
        auto* thread = new SimpleThread(functor, "LogThread");
        if (!thread->Start()) {
            delete thread;
            return nullptr;
        }
        stream->thread_ = thread;
    }
    stream->started_.store(true);
    return stream;
}

void DebuggingLogStream::Write(int32_t level, const std::string& text) {
    if (echo_ && g_debuggerOutput.load(std::memory_order_relaxed)) {
        std::fwrite(text.data(), 1, text.size(), stderr);
    }
    if (toFile_) {
        LogRecord record;
        record.level = level;
        record.timestamp = static_cast<int64_t>(std::time(nullptr));
        record.text = text;
        queue_.Push(std::move(record));  // full: silently lost
    }
}

void DebuggingLogStream::Stop() {
    std::lock_guard<std::mutex> lock(stopLock_);
    if (!started_.load()) return;
    stopRequested_.store(true);
    pause_.WakeSure();
    if (thread_ != nullptr) {
        // The writer must have entered its body before the thread is told to stop, or the
        // drain and the session lines would never happen.
        while (!bodyEntered_.load() && thread_->Joinable()) Sleep(1);
        thread_->Stop();
        delete thread_;
        thread_ = nullptr;
    }
    started_.store(false);
}

void DebuggingLogStream::ThreadMain() {
    if (bodyEntered_.exchange(true)) return;
    if (!path_.empty()) {
        const uint32_t flags =
            append_ ? (SimpleFile::Text | SimpleFile::Append) : (SimpleFile::Text | SimpleFile::Write);
        file_ = SimpleFile::Open(path_, flags);
        if (file_) {
            file_->Put("Session Start (" + FormatLogTime(std::time(nullptr)) + ")\n");
        }
    }
    for (;;) {
        bool leave = false;
        LogRecord record;
        while (queue_.Pending() != 0 && queue_.TryPop(record)) {
            if (file_) file_->Put(FormatLogLine(record, timestamps_));
            if (stopRequested_.load() && !drainOnStop_) {
                leave = true;
                break;
            }
        }
        if (leave) break;
        if (!stopRequested_.load()) {
            pause_.SleepFor(kLogThreadSleepMs, [this] { return stopRequested_.load(); });
            continue;
        }
        // Stop was asked for: one last look, so that a record queued just before is written.
        if (queue_.Pending() == 0) break;
    }
    if (file_) {
        file_->Put("\nSession End (" + FormatLogTime(std::time(nullptr)) + ")\n");
        file_.reset();
    }
}

// ---- HookableLogStream ----------------------------------------------------------------------

HookableLogStream::~HookableLogStream() { Stop(); }

void HookableLogStream::Deleter::operator()(HookableLogStream* s) const {
    if (s == nullptr) return;
    s->Stop();
    delete s;
}

std::shared_ptr<HookableLogStream> HookableLogStream::Create(Sink sink) {
    std::shared_ptr<HookableLogStream> stream(new HookableLogStream(sink), Deleter());
    auto functor = std::make_shared<MemberThreadFunctor<HookableLogStream>>(
        stream.get(), &HookableLogStream::ThreadMain, kLogThreadSleepMs);
    auto* thread = new SimpleThread(functor, "LogThread(Hook)");
    if (!thread->Start()) {
        delete thread;
        return nullptr;
    }
    stream->thread_ = thread;
    stream->started_.store(true);
    return stream;
}

void HookableLogStream::Write(int32_t level, const std::string& text) {
    LogRecord record;
    record.level = level;
    record.timestamp = static_cast<int64_t>(std::time(nullptr));
    record.text = text;
    queue_.Push(std::move(record));  // full: silently lost
    // The host sees the line now rather than at the next poll.
    pause_.WakeSure();
}

void HookableLogStream::Stop() {
    std::lock_guard<std::mutex> lock(stopLock_);
    if (!started_.load()) return;
    stopRequested_.store(true);
    pause_.WakeSure();
    if (thread_ != nullptr) {
        thread_->Stop();
        delete thread_;
        thread_ = nullptr;
    }
    started_.store(false);
}

void HookableLogStream::ThreadMain() {
    if (bodyEntered_.exchange(true)) return;
    for (;;) {
        LogRecord record;
        while (queue_.Pending() != 0 && queue_.TryPop(record)) {
            {
                std::shared_lock<std::shared_mutex> lock(sinkLock_);
                if (sink_ != nullptr) sink_(record.level, record.text);
            }
            if (stopRequested_.load()) return;  // no drain on stop
        }
        if (stopRequested_.load()) return;
        pause_.SleepFor(kLogThreadSleepMs, [this] { return stopRequested_.load() || queue_.Pending() != 0; });
    }
}

}  // namespace Velmora::Utility
