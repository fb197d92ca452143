// Reading head.obj (11 MB, 117,694 triangles) from its file: the parse alone (file, arrays,
// meshes, node tree), and the parse followed by the vertex rows of every mesh, once with the
// file's normals and once with smooth normals generated in place of them. The rows are
// written to memory as they would be into a mapped vertex buffer; no GPU is involved.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "obj/AuthorMaterialPool.h"
#include "obj/AuthorMeshPool.h"
#include "obj/AuthoringPool_OBJ.h"
#include "obj/MeshRowBuilder.h"
#include "rendering/Mesh.h"
#include "util/Logger.h"

namespace {

using Velmora::OBJ::AuthoringPool_OBJ;
using Velmora::OBJ::MeshRowBuilder;

const std::string kHead = std::string(KESTRUM_TESTDATA) + "/obj/head.obj";

std::shared_ptr<AuthoringPool_OBJ> LoadHead(benchmark::State& state) {
    std::shared_ptr<AuthoringPool_OBJ> pool =
        Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_OBJ(), nullptr, nullptr);
    if (!pool || !pool->LoadFromFile(kHead, nullptr)) {
        state.SkipWithError("head.obj did not load");
        return nullptr;
    }
    return pool;
}

// Rows of every mesh; with generate, the file's normals are set aside first.
size_t BuildRows(AuthoringPool_OBJ& pool, bool generate, std::vector<float>& rows) {
    size_t triangles = 0;
    for (const auto& [name, mesh] : pool.MeshPool().Meshes()) {
        if (generate)
            for (const auto& [material, geometry] : mesh->Geometries()) geometry->hasNormals = false;
        MeshRowBuilder builder(pool.Parser().Vertices(), true, true);
        if (!builder.Plan(*mesh, MeshRowBuilder::KindOf(*mesh), pool.MaterialPool())) return 0;
        for (const MeshRowBuilder::SubObject& sub : builder.SubObjects()) {
            rows.resize(size_t(sub.vertexCount) * Velmora::Rendering::VertexAttribute::FloatsPerVertex(sub.attributes));
            builder.FillSubObject(sub, rows.data());
            triangles += sub.geometry->faces.size();
        }
    }
    return triangles;
}

void BM_ParseHead(benchmark::State& state) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    for (auto _ : state) {
        auto pool = LoadHead(state);
        benchmark::DoNotOptimize(pool);
    }
}

void BuildHead(benchmark::State& state, bool generate) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    std::vector<float> rows;
    for (auto _ : state) {
        auto pool = LoadHead(state);
        if (!pool) return;
        if (BuildRows(*pool, generate, rows) == 0) state.SkipWithError("no rows");
        benchmark::DoNotOptimize(rows.data());
    }
}

void BM_BuildHeadFileNormals(benchmark::State& state) { BuildHead(state, false); }
void BM_BuildHeadSmoothNormals(benchmark::State& state) { BuildHead(state, true); }

}  // namespace

BENCHMARK(BM_ParseHead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildHeadFileNormals)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildHeadSmoothNormals)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
