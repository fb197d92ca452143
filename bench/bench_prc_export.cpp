// PRC export of head.u3d (117,686 triangles) to memory, plain and highly compressed, as a host asks for it through the
// capture proxy with the scene already loaded: the walk of the model tree, the read-back of
// the mesh from the GPU, the tessellation with its merged positions and normals, the bit
// stream and the zlib sections. The byte count of the result is reported as a counter.
//
// Times are wall-clock: the work runs on the render thread while this thread waits.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <string>

#include "host/CaptureProxy.h"
#include "host/FormatRegistration.h"
#include "host/RenderThread.h"
#include "util/Logger.h"

namespace {

using Velmora::CaptureProxy;

const std::string kHead = std::string(KESTRUM_TESTDATA) + "/u3d/head.u3d";

struct Waiter {
    std::mutex mutex;
    std::condition_variable done;
    bool arrived = false;
    int success = 0;
    uint32_t handle = 0;
    uint32_t bytes = 0;

    void Reset() {
        std::lock_guard<std::mutex> lock(mutex);
        arrived = false;
    }
    void Finish(int ok, uint32_t sceneHandle, uint32_t size = 0) {
        std::lock_guard<std::mutex> lock(mutex);
        success = ok;
        handle = sceneHandle;
        bytes = size;
        arrived = true;
        done.notify_all();
    }
    bool Wait() {
        std::unique_lock<std::mutex> lock(mutex);
        done.wait(lock, [this] { return arrived; });
        return success == 1;
    }
};
Waiter g_waiter;

void OnLoad(Kestrum::LoadSceneResult* result, int success) { g_waiter.Finish(success, result->sceneHandle); }
void OnUnload(uint32_t handle) { g_waiter.Finish(1, handle); }
void OnExport(Kestrum::ExportSceneResult* result, int success) {
    g_waiter.Finish(success, result->sceneHandle, result->data ? result->dataSize : 0);
}

uint32_t Load() {
    Velmora::Utility::LoadSceneParameters load;
    load.flags = load.FromFile;
    load.path = kHead;
    g_waiter.Reset();
    CaptureProxy::Instance().RequestLoadScene(load, OnLoad);
    return g_waiter.Wait() ? g_waiter.handle : 0;
}

void Unload(uint32_t handle) {
    g_waiter.Reset();
    CaptureProxy::Instance().RequestUnloadScene(handle, OnUnload);
    g_waiter.Wait();
}

void ExportLoaded(benchmark::State& state, uint32_t options) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const uint32_t handle = Load();
    if (handle == 0) {
        state.SkipWithError("head.u3d did not load");
        return;
    }
    Velmora::Utility::ExportParameters parameters;
    parameters.load.flags = parameters.load.ByHandle;
    parameters.load.sceneHandle = handle;
    parameters.exportFlags = Velmora::Utility::ExportParameters::FormatPRC | options;
    uint32_t bytes = 0;
    for (auto _ : state) {
        g_waiter.Reset();
        CaptureProxy::Instance().RequestExport(parameters, OnExport);
        if (!g_waiter.Wait()) {
            state.SkipWithError("export failed");
            break;
        }
        bytes = g_waiter.bytes;
    }
    Unload(handle);
    state.counters["bytes"] = bytes;
}

void BM_ExportHeadPlainToMemory(benchmark::State& state) { ExportLoaded(state, 0); }

// Option A asks for highly compressed tessellations.
void BM_ExportHeadCompressedToMemory(benchmark::State& state) {
    ExportLoaded(state, Velmora::Utility::ExportParameters::OptionA);
}

BENCHMARK(BM_ExportHeadPlainToMemory)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ExportHeadCompressedToMemory)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    // Linked statically, the formats' start-up registration is not pulled in by itself.
    Velmora::RegisterStandardFormats();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // The render thread must be gone before the statics of the renderer are.
    CaptureProxy::Instance().RequestUnloadAllScenes(nullptr);
    Velmora::RenderThread::Instance().Stop();
    return 0;
}
