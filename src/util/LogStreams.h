#pragma once
// The two stream kinds behind Logger: DebuggingLogStream (the debug channel on the calling
// thread, plus a "LogThread" that writes a file) and HookableLogStream (a
// "LogThread(Hook)" that hands each message to a sink). Writers never wait: a message goes on
// a bounded queue (8192) and is dropped when it is full.
//
// Streams are made by their Create functions only, in a shared_ptr whose deleter stops the
// thread (Stop) before deleting the stream.

#include <atomic>
#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "util/ConcurrentQueue.h"
#include "util/Logger.h"
#include "util/SimpleFile.h"
#include "util/SimpleThread.h"
#include "util/WakeableSleep.h"

namespace Velmora::Utility {

// The environment variable that opens the debug channel (standard error).
inline constexpr const char* kDebugChannelVariable = "KESTRUM_DEBUG";

// A library inside a host writes nothing to the host's standard error unasked: the channel is
// open only while the variable is set to anything but "0". `value` is the variable's value,
// null when it is unset.
bool DebugChannelRequested(const char* value);

struct LogRecord {
    int32_t level = 0;
    int64_t timestamp = 0;  // seconds since the epoch, taken when the message enters the stream
    std::string text;
};

// Local time as "%Y-%m-%d %H:%M:%S".
std::string FormatLogTime(int64_t secondsSinceEpoch);
// One file line: "[<time>] [<WORD>] <text>" (the text keeps its own line end).
std::string FormatLogLine(const LogRecord& record, bool timestamps = true);

class DebuggingLogStream : public LogStream {
public:
    // Empty path: the debug channel only, no thread, no file. Otherwise starts "LogThread",
    // which opens the file ("wt", or "at" with append) and writes "Session Start (...)".
    // Whether this stream echoes to the debug channel is settled here, from the environment
    // (DebugChannelRequested). Null when the thread cannot be made.
    static std::shared_ptr<DebuggingLogStream> Create(const std::string& pathUtf8, bool append);

    // The debug channel at once, on the calling thread; then, with a file, a queued record.
    void Write(int32_t level, const std::string& text) override;

    // Ends the writer: every pending record is written (drain on stop), then
    // "\nSession End (...)\n". Idempotent; the deleter calls it.
    void Stop();

    bool Started() const { return started_.load(); }
    bool ToFile() const { return toFile_; }
    uint32_t Pending() const { return queue_.Pending(); }

    // Whether Write may echo to the debug channel at all, on top of the environment's say.
    // On by default; process-wide.
    static void SetDebuggerOutput(bool enabled);
    bool EchoesToDebugChannel() const { return echo_; }

private:
    DebuggingLogStream(std::string path, bool append);
    ~DebuggingLogStream() override;
    struct Deleter {
        void operator()(DebuggingLogStream* s) const;
    };
    void ThreadMain();

    std::atomic<bool> started_{false};
    SimpleThread* thread_ = nullptr;
    ConcurrentQueue<LogRecord> queue_;
    std::string path_;
    std::shared_ptr<SimpleFile> file_;
    bool toFile_ = false;
    bool append_ = false;
    bool echo_ = false;
    std::atomic<bool> stopRequested_{false};
    WakeableSleep pause_;  // the 50 ms poll, ended early by Stop
    bool drainOnStop_ = true;
    bool timestamps_ = true;
    std::atomic<bool> bodyEntered_{false};  // the body runs exactly once
    std::mutex stopLock_;
};

class HookableLogStream : public LogStream {
public:
    using Sink = void (*)(int32_t level, const std::string& text);

    // Starts "LogThread(Hook)". Null when the thread cannot be made.
    static std::shared_ptr<HookableLogStream> Create(Sink sink);

    // Queues a record only.
    void Write(int32_t level, const std::string& text) override;

    // Ends the dispatcher without draining: what is still queued is dropped. Idempotent.
    void Stop();

    bool Started() const { return started_.load(); }
    uint32_t Pending() const { return queue_.Pending(); }

private:
    explicit HookableLogStream(Sink sink) : sink_(sink) {}
    ~HookableLogStream() override;
    struct Deleter {
        void operator()(HookableLogStream* s) const;
    };
    void ThreadMain();

    std::atomic<bool> started_{false};
    Sink sink_;
    SimpleThread* thread_ = nullptr;
    ConcurrentQueue<LogRecord> queue_;
    std::atomic<bool> stopRequested_{false};
    WakeableSleep pause_;  // the 50 ms poll, ended early by new records and by Stop
    std::shared_mutex sinkLock_;
    std::atomic<bool> bodyEntered_{false};
    std::mutex stopLock_;
};

}  // namespace Velmora::Utility
