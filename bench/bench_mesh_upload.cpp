// Uploading a mesh of one million triangles (position, normal, one tex coord layer; indexed
// and not) to the GPU, and reading its vertices back the way the export does. Needs a GL
// context: the renderer is started once on the benchmark thread.
//
// ExpandFlat: the unindexed form built from shared vertices (as CLOD meshes are, three rows per
// face) either into a CPU buffer that is then uploaded (Arg 0), or written straight into the
// mapped GPU buffer (Arg 1). Peak memory differs by one copy of the mesh.

#include <benchmark/benchmark.h>

#include <epoxy/gl.h>

#include <cmath>
#include <cstdint>

#include "rendering/Mesh.h"
#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"

using namespace Velmora::Rendering;
namespace VA = Velmora::Rendering::VertexAttribute;

namespace {

constexpr uint32_t kAttributes = VA::Position | VA::Normal | VA::TexCoord(0);

bool StartContext() {
    static const bool started = [] {
        RendererCreationInfo info;
        info.verticalSync = false;
        if (!Renderer::Instance().Init(info)) return false;
        OpenGLContext& context = OpenGLContext::Instance();
        return context.CurrentDC() != nullptr || context.Activate(context.SharedDC());
    }();
    return started;
}

// A grid of side n x n quads, two triangles each: (n + 1)^2 shared vertices.
struct Grid {
    std::shared_ptr<DataBuffer<float>> shared;
    std::shared_ptr<DataBuffer<uint32_t>> indices;
    std::shared_ptr<DataBuffer<float>> flat;  // three vertices per triangle
};

const Grid& MillionTriangles() {
    static const Grid grid = [] {
        constexpr uint32_t n = 708;  // 2 * 708^2 = 1,002,528 triangles
        const uint32_t stride = VA::FloatsPerVertex(kAttributes);
        Grid g;
        g.shared = DataBuffer<float>::Create((n + 1) * (n + 1), stride);
        for (uint32_t y = 0; y <= n; ++y)
            for (uint32_t x = 0; x <= n; ++x) {
                float* v = g.shared->Row(y * (n + 1) + x);
                const float u = float(x) / n, w = float(y) / n;
                v[0] = u, v[1] = w, v[2] = 0.05f * std::sin(u * 20.0f) * std::cos(w * 20.0f);
                v[3] = 0, v[4] = 0, v[5] = 1;
                v[6] = u, v[7] = w;
            }
        g.indices = DataBuffer<uint32_t>::Create(n * n * 6, 1);
        g.flat = DataBuffer<float>::Create(n * n * 6, stride);
        uint32_t* idx = g.indices->Data();
        for (uint32_t y = 0; y < n; ++y)
            for (uint32_t x = 0; x < n; ++x) {
                const uint32_t a = y * (n + 1) + x, b = a + 1, c = a + n + 1, d = c + 1;
                for (uint32_t i : {a, b, c, c, b, d}) *idx++ = i;
            }
        for (uint32_t i = 0; i < g.indices->Count(); ++i)
            std::copy_n(g.shared->Row(g.indices->Data()[i]), stride, g.flat->Row(i));
        return g;
    }();
    return grid;
}

void Upload(benchmark::State& state, bool indexed) {
    if (!StartContext()) {
        state.SkipWithError("no GL context");
        return;
    }
    const Grid& grid = MillionTriangles();
    MeshCreationInfo info;
    info.name = "grid";
    info.primitiveType = PrimitiveType::Triangles;
    info.subObjects.push_back(indexed ? MeshSubObjectData{grid.shared, grid.indices, kAttributes}
                                      : MeshSubObjectData{grid.flat, nullptr, kAttributes});
    for (auto _ : state) {
        auto mesh = Mesh::Create(info);
        glFinish();  // the copy into the driver's storage is part of the upload
        if (!mesh) state.SkipWithError("upload failed");
        state.PauseTiming();
        mesh.reset();  // deleting the buffers is not part of the upload
        state.ResumeTiming();
    }
    state.counters["triangles"] = double(grid.indices->Count() / 3);
}

void BM_UploadMillionTrianglesIndexed(benchmark::State& state) { Upload(state, true); }
void BM_UploadMillionTrianglesFlat(benchmark::State& state) { Upload(state, false); }

void BM_ReadBackMillionTriangles(benchmark::State& state) {
    if (!StartContext()) {
        state.SkipWithError("no GL context");
        return;
    }
    MeshCreationInfo info;
    info.name = "grid";
    info.subObjects.push_back({MillionTriangles().flat, nullptr, kAttributes});
    auto mesh = Mesh::Create(info);
    for (auto _ : state) {
        auto vertices = mesh->GetVertexDataForSubObject(0);
        if (!vertices) state.SkipWithError("read-back failed");
        benchmark::DoNotOptimize(vertices->Data());
    }
}

// Three rows per face from the shared grid, into rows.
void ExpandGrid(const Grid& grid, float* rows) {
    const uint32_t stride = grid.shared->Stride();
    const uint32_t* index = grid.indices->Data();
    for (uint32_t i = 0; i < grid.indices->Count(); ++i, rows += stride)
        std::copy_n(grid.shared->Row(index[i]), stride, rows);
}

void BM_ExpandFlatMillionTriangles(benchmark::State& state) {
    if (!StartContext()) {
        state.SkipWithError("no GL context");
        return;
    }
    const Grid& grid = MillionTriangles();
    const bool inPlace = state.range(0) != 0;
    for (auto _ : state) {
        MeshCreationInfo info;
        info.name = "grid";
        MeshSubObjectData sub;
        sub.attributes = kAttributes;
        std::shared_ptr<Mesh> mesh;
        if (inPlace) {
            sub.vertexCount = grid.indices->Count();
            info.subObjects.push_back(sub);
            mesh = Mesh::Create(info, [&](float* const* rows) {
                ExpandGrid(grid, rows[0]);
                return true;
            });
        } else {
            sub.vertices = DataBuffer<float>::Create(grid.indices->Count(), grid.shared->Stride());
            ExpandGrid(grid, sub.vertices->Data());
            info.subObjects.push_back(sub);
            mesh = Mesh::Create(info);
        }
        glFinish();
        if (!mesh) state.SkipWithError("build failed");
        state.PauseTiming();
        info.subObjects.clear();
        mesh.reset();
        state.ResumeTiming();
    }
    state.counters["triangles"] = double(grid.indices->Count() / 3);
}

}  // namespace

BENCHMARK(BM_ExpandFlatMillionTriangles)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UploadMillionTrianglesIndexed)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UploadMillionTrianglesFlat)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadBackMillionTriangles)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
