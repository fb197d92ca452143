// Cost of one Logger::Log call: one that passes the level and reaches a stream, and one that
// the level filters out. The stream here does nothing, so the numbers are the logger's own
// (format into the 8192-byte buffer, line end, one std::string, the virtual Write); the
// DebuggingLogStream cases add standard error and one queue push.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>

#include "util/LogStreams.h"
#include "util/Logger.h"

using namespace Velmora::Utility;

namespace {

class NullStream : public LogStream {
public:
    void Write(int32_t, const std::string& text) override { benchmark::DoNotOptimize(text.data()); }
};

struct StreamGuard {
    explicit StreamGuard(std::shared_ptr<LogStream> stream, int32_t level) {
        Logger::Instance().SetStream(std::move(stream));
        Logger::Instance().SetMaxLevel(level);
    }
    ~StreamGuard() {
        Logger::Instance().SetStream(nullptr);
        Logger::Instance().SetMaxLevel(2);
    }
};

void BM_LogPasses(benchmark::State& state) {
    StreamGuard guard(std::make_shared<NullStream>(), 3);
    int i = 0;
    for (auto _ : state) {
        Logger::Log(LogLevel::Warning, "Mesh '%s' has %d vertices and %d faces", "Body_01", i, i * 2);
        ++i;
    }
}
BENCHMARK(BM_LogPasses);

void BM_LogFiltered(benchmark::State& state) {
    StreamGuard guard(std::make_shared<NullStream>(), 2);
    int i = 0;
    for (auto _ : state) {
        Logger::Log(LogLevel::Verbose, "Mesh '%s' has %d vertices and %d faces", "Body_01", i, i * 2);
        ++i;
    }
}
BENCHMARK(BM_LogFiltered);

void BM_LogFilteredNoStream(benchmark::State& state) {
    StreamGuard guard(nullptr, 5);
    int i = 0;
    for (auto _ : state) {
        Logger::Log(LogLevel::Error, "Mesh '%s' has %d vertices", "Body_01", ++i);
    }
}
BENCHMARK(BM_LogFilteredNoStream);

void BM_LogFPasses(benchmark::State& state) {
    StreamGuard guard(std::make_shared<NullStream>(), 3);
    int i = 0;
    for (auto _ : state) {
        Logger::LogF(LogLevel::Warning, "Mesh '{:s}' has {:d} vertices", "Body_01", ++i);
    }
}
BENCHMARK(BM_LogFPasses);

void BM_LogFFiltered(benchmark::State& state) {
    StreamGuard guard(std::make_shared<NullStream>(), 2);
    int i = 0;
    for (auto _ : state) {
        Logger::LogF(LogLevel::Verbose, "Mesh '{:s}' has {:d} vertices", "Body_01", ++i);
    }
}
BENCHMARK(BM_LogFFiltered);

// The real default stream with a file on /dev/null; standard error is switched off so that
// the terminal does not dominate. Once the queue is full (the writer drains every 50 ms) the
// push fails fast, which is the designed overflow behaviour.
void BM_LogPassesDebuggingStreamToFile(benchmark::State& state) {
    DebuggingLogStream::SetDebuggerOutput(false);
    auto stream = DebuggingLogStream::Create("/dev/null", false);
    {
        StreamGuard guard(stream, 3);
        int i = 0;
        for (auto _ : state) {
            Logger::Log(LogLevel::Warning, "Mesh '%s' has %d vertices", "Body_01", ++i);
        }
    }
    stream.reset();
    DebuggingLogStream::SetDebuggerOutput(true);
}
BENCHMARK(BM_LogPassesDebuggingStreamToFile);

}  // namespace

BENCHMARK_MAIN();
