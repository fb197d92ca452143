// The capture road of head.u3d (117,686 triangles) at 1024x768, as a host drives it through
// the capture proxy: the whole request, then its stages one at a time.
//
//   LoadCaptureScene     import into a new scene with its hidden window and view, then unload
//   CaptureToMemory      view applied, scene drawn, pixels read back (scene stays loaded);
//                        Arg 0 draws the mesh in one call, Arg 1 in the renderer's batches
//   CaptureToPng         the same plus PNG encoding and the file write
//   LoadCaptureUnload    one request: load, capture to a PNG, unload (what `kestrum capture` does)
//
// Times are wall-clock: the work runs on the render thread while this thread waits.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <string>

#include "format/FormatManager.h"
#include "host/CaptureProxy.h"
#include "host/FormatRegistration.h"
#include "host/RenderThread.h"
#include "rendering/Mesh.h"
#include "util/Logger.h"

namespace {

using Velmora::CaptureProxy;

const std::string kHead = std::string(KESTRUM_TESTDATA) + "/u3d/head.u3d";
constexpr int32_t kWidth = 1024, kHeight = 768;

struct Waiter {
    std::mutex mutex;
    std::condition_variable done;
    bool arrived = false;
    int success = 0;
    uint32_t handle = 0;

    void Reset() {
        std::lock_guard<std::mutex> lock(mutex);
        arrived = false;
    }
    void Finish(int ok, uint32_t sceneHandle) {
        std::lock_guard<std::mutex> lock(mutex);
        success = ok;
        handle = sceneHandle;
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
void OnCapture(Kestrum::CaptureResult* result, int success) { g_waiter.Finish(success, result->sceneHandle); }
void OnUnload(uint32_t handle) { g_waiter.Finish(1, handle); }

Velmora::Utility::LoadSceneParameters FileLoad() {
    Velmora::Utility::LoadSceneParameters load;
    load.flags = load.FromFile;
    load.path = kHead;
    return load;
}

uint32_t Load() {
    g_waiter.Reset();
    CaptureProxy::Instance().RequestLoadScene(FileLoad(), OnLoad);
    return g_waiter.Wait() ? g_waiter.handle : 0;
}

void Unload(uint32_t handle) {
    g_waiter.Reset();
    CaptureProxy::Instance().RequestUnloadScene(handle, OnUnload);
    g_waiter.Wait();
}

Velmora::Utility::CaptureParameters CaptureRequest(uint32_t handle, uint32_t flags, const std::string& output) {
    Velmora::Utility::CaptureParameters parameters;
    if (handle != 0) {
        parameters.load.flags = parameters.load.ByHandle;
        parameters.load.sceneHandle = handle;
    } else {
        parameters.load = FileLoad();
    }
    parameters.view.flags = Velmora::Utility::ViewParameters::Activate;
    parameters.view.backgroundColor = 0xFFFFFF;
    parameters.view.lightingScheme = 1;
    parameters.captureFlags = flags;
    parameters.outputPath = output;
    parameters.width = kWidth;
    parameters.height = kHeight;
    return parameters;
}

bool Capture(const Velmora::Utility::CaptureParameters& parameters) {
    g_waiter.Reset();
    CaptureProxy::Instance().RequestCapture(parameters, OnCapture);
    return g_waiter.Wait();
}

std::string OutputPath() { return "/tmp/kestrum_bench_capture_" + std::to_string(getpid()) + ".png"; }

void Quiet() { Velmora::Utility::Logger::Instance().SetMaxLevel(0); }

void BM_LoadCaptureScene(benchmark::State& state) {
    Quiet();
    for (auto _ : state) {
        const uint32_t handle = Load();
        if (handle == 0) {
            state.SkipWithError("head.u3d did not load");
            return;
        }
        state.PauseTiming();
        Unload(handle);
        state.ResumeTiming();
    }
}

void CaptureLoaded(benchmark::State& state, uint32_t flags, const std::string& output, bool wholeDraws = false) {
    Quiet();
    const uint32_t handle = Load();
    if (handle == 0) {
        state.SkipWithError("head.u3d did not load");
        return;
    }
    // The renderer sets the limit when it starts, which the load has made sure of.
    const uint32_t rendererLimit = Velmora::Rendering::Mesh::DrawBatchLimit();
    if (wholeDraws) Velmora::Rendering::Mesh::SetDrawBatchLimit(0);
    const auto parameters = CaptureRequest(handle, flags, output);
    // The first capture sizes the view's framebuffers; the iterations measure the steady state.
    Capture(parameters);
    for (auto _ : state)
        if (!Capture(parameters)) state.SkipWithError("capture failed");
    Velmora::Rendering::Mesh::SetDrawBatchLimit(rendererLimit);
    Unload(handle);
    state.SetItemsProcessed(state.iterations());
}

void BM_CaptureToMemory(benchmark::State& state) {
    CaptureLoaded(state, Velmora::Utility::CaptureParameters::ToMemory, "", state.range(0) == 0);
}

void BM_CaptureToPng(benchmark::State& state) {
    CaptureLoaded(state, Velmora::Utility::CaptureParameters::ToFile, OutputPath());
    unlink(OutputPath().c_str());
}

void BM_LoadCaptureUnload(benchmark::State& state) {
    Quiet();
    const auto parameters = CaptureRequest(
        0, Velmora::Utility::CaptureParameters::ToFile | Velmora::Utility::CaptureParameters::UnloadAfter,
        OutputPath());
    for (auto _ : state)
        if (!Capture(parameters)) state.SkipWithError("capture failed");
    unlink(OutputPath().c_str());
}

BENCHMARK(BM_LoadCaptureScene)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CaptureToMemory)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CaptureToPng)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LoadCaptureUnload)->Unit(benchmark::kMillisecond)->UseRealTime();

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
