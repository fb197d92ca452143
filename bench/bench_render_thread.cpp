// Cost of handing work to the render thread: a blocking Call round trip (queue, wake-up of
// the next frame, result back) and an asynchronous Post.

#include <benchmark/benchmark.h>

#include "host/RenderThread.h"
#include "util/Logger.h"
#include "util/ThreadManager.h"

namespace {

using Velmora::RenderThread;
using Velmora::Utility::MakeFunctionCaller;
using Velmora::Utility::ThreadManager;

void BM_CallRoundTrip(benchmark::State& state) {
    if (!RenderThread::Instance().Start()) {
        state.SkipWithError("render thread could not start");
        return;
    }
    const uint32_t id = RenderThread::Instance().ThreadId();
    int value = 0;
    for (auto _ : state) {
        value = ThreadManager::Instance().Call<int>(MakeFunctionCaller([&value] { return value + 1; }), id);
        benchmark::DoNotOptimize(value);
    }
    RenderThread::Instance().Stop();
}
BENCHMARK(BM_CallRoundTrip)->Unit(benchmark::kMillisecond);

void BM_CallInlineOnRenderThread(benchmark::State& state) {
    if (!RenderThread::Instance().Start()) {
        state.SkipWithError("render thread could not start");
        return;
    }
    const uint32_t id = RenderThread::Instance().ThreadId();
    // The whole loop runs inside one call object, so each inner Call is the inline path.
    ThreadManager::Instance().Call<void>(MakeFunctionCaller([&state, id] {
                                             int value = 0;
                                             for (auto _ : state) {
                                                 value = ThreadManager::Instance().Call<int>(
                                                     MakeFunctionCaller([value] { return value + 1; }), id);
                                                 benchmark::DoNotOptimize(value);
                                             }
                                         }),
                                         id);
    RenderThread::Instance().Stop();
}
BENCHMARK(BM_CallInlineOnRenderThread);

void BM_PostBatchThenDrain(benchmark::State& state) {
    if (!RenderThread::Instance().Start()) {
        state.SkipWithError("render thread could not start");
        return;
    }
    const uint32_t id = RenderThread::Instance().ThreadId();
    const int batch = static_cast<int>(state.range(0));
    std::atomic<int> ran{0};
    for (auto _ : state) {
        for (int i = 0; i < batch; ++i)
            ThreadManager::Instance().Post(MakeFunctionCaller([&ran] { ran.fetch_add(1, std::memory_order_relaxed); }),
                                           id);
        ThreadManager::Instance().Call<void>(MakeFunctionCaller([] {}), id);  // waits for the drain
    }
    state.SetItemsProcessed(state.iterations() * batch);
    RenderThread::Instance().Stop();
}
BENCHMARK(BM_PostBatchThenDrain)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
