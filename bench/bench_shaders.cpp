// The cost of generated programs: assembling the GLSL text, finding a cached program by its
// name (what every model creation does), and compiling and linking a new one on the driver.

#include <benchmark/benchmark.h>

#include <epoxy/gl.h>

#include <cstdint>
#include <string>

#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "rendering/shaders/DynamicShader.h"
#include "rendering/shaders/ShaderManager2.h"
#include "rendering/shaders/ShaderSourceGenerator.h"

using namespace Velmora::Rendering;

namespace {

constexpr SceneHandle kScene = 1;

bool BenchScene(SceneHandle handle, ShaderSceneInfo& info) {
    if (handle != kScene) return false;
    info = {LightingModel::Blinn, 1, 2};
    return true;
}

bool StartContext() {
    static const bool started = [] {
        RendererCreationInfo info;
        info.verticalSync = false;
        if (!Renderer::Instance().Init(info)) return false;
        OpenGLContext& context = OpenGLContext::Instance();
        return context.CurrentDC() != nullptr || context.Activate(context.SharedDC());
    }();
    ShaderSceneLink::Install(&BenchScene);
    return started;
}

// A lit, material-coloured model with two texture layers: the largest common program.
ShaderDescription TypicalDescription() {
    ShaderDescription d;
    d.vertexAttributes = VertexAttribute::Position | VertexAttribute::Normal | 0x03;
    d.flags = ShaderFlags::FrontFaces | ShaderFlags::BackFaces | ShaderFlags::Lighting | ShaderFlags::MaterialSampler;
    d.textureLayers = 0x03;
    d.layerBlend[0] = 0;
    d.layerBlend[1] = 3;
    d.blendMode = 3;
    d.alphaFunction = 2;
    return d;
}

void BM_GenerateSources(benchmark::State& state) {
    const ShaderDescription d = TypicalDescription();
    size_t bytes = 0;
    for (auto _ : state) {
        const ShaderSourceGenerator generator(d, LightingModel::Blinn, 4, 50);
        std::string vertex = generator.VertexSource();
        std::string fragment = generator.FragmentSource();
        bytes += vertex.size() + fragment.size();
        benchmark::DoNotOptimize(vertex.data());
        benchmark::DoNotOptimize(fragment.data());
    }
    state.SetBytesProcessed(int64_t(bytes));
}
BENCHMARK(BM_GenerateSources);

void BM_CachedProgramLookup(benchmark::State& state) {
    if (!StartContext()) {
        state.SkipWithError("no GL context");
        return;
    }
    ShaderManager2 manager(kScene);
    const ShaderDescription d = TypicalDescription();
    if (!manager.GetShader(d)) {
        state.SkipWithError("program did not build");
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(manager.GetShader(d).get());
    manager.Shutdown();
}
BENCHMARK(BM_CachedProgramLookup);

void BM_CompileAndLinkProgram(benchmark::State& state) {
    if (!StartContext()) {
        state.SkipWithError("no GL context");
        return;
    }
    const ShaderDescription d = TypicalDescription();
    for (auto _ : state) {
        // A fresh cache each time, so every stage is compiled.
        ShaderManager2 manager(kScene);
        benchmark::DoNotOptimize(manager.GetShader(d).get());
        manager.Shutdown();
    }
}
BENCHMARK(BM_CompileAndLinkProgram)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
