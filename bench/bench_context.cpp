// Costs of the context layer that the render thread pays: a full renderer start and stop (a
// render thread restart), switching the context between two drawables (once per view and
// frame), and the blend-mode bookkeeping that runs before every draw call.

#include <benchmark/benchmark.h>

#include "host/windowing/CaptureWindow.h"
#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"

namespace {

using namespace Velmora;

void BM_RendererStartStop(benchmark::State& state) {
    auto& renderer = Rendering::Renderer::Instance();
    if (renderer.IsInitialized()) renderer.Shutdown();
    for (auto _ : state) {
        if (!renderer.Init({})) {
            state.SkipWithError("renderer failed to start");
            break;
        }
        renderer.Shutdown();
    }
}
BENCHMARK(BM_RendererStartStop)->Unit(benchmark::kMillisecond);

void BM_ActivateTwoDrawables(benchmark::State& state) {
    auto& renderer = Rendering::Renderer::Instance();
    if (!renderer.IsInitialized() && !renderer.Init({})) {
        state.SkipWithError("renderer failed to start");
        return;
    }
    auto& context = Rendering::OpenGLContext::Instance();
    Windowing::CaptureWindow a, b;
    a.Create({0, 50, 50});
    b.Create({0, 50, 50});
    context.CreateContextForWindow(a.GetDC());
    context.CreateContextForWindow(b.GetDC());
    for (auto _ : state) {
        benchmark::DoNotOptimize(context.Activate(a.GetDC()));
        benchmark::DoNotOptimize(context.Activate(b.GetDC()));
    }
    context.ReleaseDC(a.GetDC());
    context.ReleaseDC(b.GetDC());
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_ActivateTwoDrawables);

void BM_SetBlendModeAlternating(benchmark::State& state) {
    auto& renderer = Rendering::Renderer::Instance();
    if (!renderer.IsInitialized() && !renderer.Init({})) {
        state.SkipWithError("renderer failed to start");
        return;
    }
    for (auto _ : state) {
        renderer.SetBlendMode(3);
        renderer.SetBlendMode(3);  // the repeat is the common case: skipped without a GL call
        renderer.SetBlendMode(1);
    }
    state.SetItemsProcessed(state.iterations() * 3);
}
BENCHMARK(BM_SetBlendModeAlternating);

}  // namespace

BENCHMARK_MAIN();
