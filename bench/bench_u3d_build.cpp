// Building a render scene from a U3D file: read + build of head.u3d (117,686 faces), the
// build alone, and the CPU half of the CLOD mesh (vertex buffers without upload). No drawing.
// The GL stages need the headless renderer's context, started once.

#include <benchmark/benchmark.h>

#include "bench_files.h"

#include <vector>

#include "format/AuthoringPool.h"
#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "rendering/SceneManager.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/CLODMeshBuilder.h"
#include "util/Logger.h"

namespace {

using Velmora::FormatGlue::AuthoringPool;
using Velmora::U3D::AuthoringPool_U3D;

bool EnsureContext() {
    auto& renderer = Velmora::Rendering::Renderer::Instance();
    if (!renderer.IsInitialized()) {
        Velmora::Rendering::RendererCreationInfo info;
        if (!renderer.Init(info)) return false;
    }
    auto& context = Velmora::Rendering::OpenGLContext::Instance();
    return context.CurrentDC() || context.Activate(context.SharedDC());
}

std::shared_ptr<AuthoringPool_U3D> Load(const std::vector<uint8_t>& bytes) {
    auto pool = AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
    if (pool && !pool->LoadFromMemory(bytes.data(), uint32_t(bytes.size()), nullptr)) pool.reset();
    return pool;
}

// Builds and releases one scene; false when the build failed.
bool BuildOnce(AuthoringPool_U3D& pool) {
    uint32_t handle = 0;
    const bool ok = pool.BuildSceneGraph(handle, nullptr);
    if (handle) Velmora::Rendering::SceneManager::Instance().ReleaseScene(handle);
    return ok;
}

void BM_ReadAndBuildHead(benchmark::State& state) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const std::vector<uint8_t> bytes = ReadTestFile("u3d", "head.u3d");
    if (bytes.empty() || !EnsureContext()) return state.SkipWithError("no test file or no GL context");
    for (auto _ : state) {
        auto pool = Load(bytes);
        if (!pool || !BuildOnce(*pool)) return state.SkipWithError("load failed");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
}

void BM_BuildSceneGraphHead(benchmark::State& state) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const std::vector<uint8_t> bytes = ReadTestFile("u3d", "head.u3d");
    if (bytes.empty() || !EnsureContext()) return state.SkipWithError("no test file or no GL context");
    for (auto _ : state) {
        state.PauseTiming();
        auto pool = Load(bytes);
        state.ResumeTiming();
        if (!pool || !BuildOnce(*pool)) return state.SkipWithError("build failed");
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * 117686);
}

void BM_CLODVertexDataHead(benchmark::State& state) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const std::vector<uint8_t> bytes = ReadTestFile("u3d", "head.u3d");
    auto pool = bytes.empty() ? nullptr : Load(bytes);
    if (!pool || pool->MeshPool().meshes.empty()) return state.SkipWithError("load failed");
    const Velmora::U3D::AuthorMesh& mesh = *pool->MeshPool().meshes.begin()->second;
    for (auto _ : state) {
        Velmora::Rendering::MeshCreationInfo info;
        bool oom = false;
        const bool ok = Velmora::U3D::BuildCLODMeshData(mesh, Velmora::U3D::NormalMode::GenerateMissing, info, oom);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(info.subObjects.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * 117686);
}

}  // namespace

BENCHMARK(BM_ReadAndBuildHead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildSceneGraphHead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CLODVertexDataHead)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
