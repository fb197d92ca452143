// The mesh traversal encoder on head.obj (117,694 triangles): the rows are built once, as the
// renderer would hold them, and the timing covers the encoding into the compressed arrays,
// then the same with the reader walking the result back.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "format/AuthoringPool.h"
#include "obj/AuthorMaterialPool.h"
#include "obj/AuthorMeshPool.h"
#include "obj/AuthoringPool_OBJ.h"
#include "obj/MeshRowBuilder.h"
#include "prc/export/MeshTraversalEncode.h"
#include "prc/reader/Compressed3DTessDecoder.h"
#include "rendering/Mesh.h"
#include "util/Logger.h"

namespace {

using Velmora::PRC::EncodeTriangles;
using Velmora::PRC::MeshTraversalEncode;
using Velmora::PRC::FileStructure::HighlyCompressed3DTess;

constexpr double kTolerance = 1e-5;
constexpr uint32_t kNormalBits = 12;

// Every sub-object of head.obj's meshes, one face each; empty when the file didn't load.
const EncodeTriangles& Head() {
    static const EncodeTriangles head = [] {
        EncodeTriangles out;
        auto pool = Velmora::FormatGlue::AuthoringPool::Create(new Velmora::OBJ::AuthoringPool_OBJ(), nullptr, nullptr);
        if (!pool || !pool->LoadFromFile(std::string(KESTRUM_TESTDATA) + "/obj/head.obj", nullptr)) return out;
        std::vector<float> rows;
        int32_t face = 0;
        for (const auto& [name, mesh] : pool->MeshPool().Meshes()) {
            Velmora::OBJ::MeshRowBuilder builder(pool->Parser().Vertices(), true, true);
            if (!builder.Plan(*mesh, Velmora::OBJ::MeshRowBuilder::KindOf(*mesh), pool->MaterialPool())) return out;
            for (const auto& sub : builder.SubObjects()) {
                rows.resize(size_t(sub.vertexCount) *
                            Velmora::Rendering::VertexAttribute::FloatsPerVertex(sub.attributes));
                builder.FillSubObject(sub, rows.data());
                Velmora::PRC::SubObjectRows given{rows.data(), sub.vertexCount, sub.attributes, nullptr, 0};
                if (!MeshTraversalEncode::AppendRows(given, face++, out)) return EncodeTriangles{};
            }
        }
        return out;
    }();
    return head;
}

// The mesh with the log quiet, or null with the benchmark marked skipped.
const EncodeTriangles* LoadedHead(benchmark::State& state) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const EncodeTriangles& head = Head();
    if (!head.faces.empty()) return &head;
    state.SkipWithError("head.obj did not load");
    return nullptr;
}

void BM_EncodeHead(benchmark::State& state) {
    const EncodeTriangles* loaded = LoadedHead(state);
    if (!loaded) return;
    const EncodeTriangles& head = *loaded;
    MeshTraversalEncode encoder(kNormalBits);
    for (auto _ : state) {
        HighlyCompressed3DTess tess;
        if (!encoder.EncodeArrays(head, kTolerance, tess)) state.SkipWithError("encoding failed");
        benchmark::DoNotOptimize(tess.pointArray.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(head.faces.size()));
}

void BM_EncodeAndDecodeHead(benchmark::State& state) {
    const EncodeTriangles* loaded = LoadedHead(state);
    if (!loaded) return;
    const EncodeTriangles& head = *loaded;
    MeshTraversalEncode encoder(kNormalBits);
    for (auto _ : state) {
        HighlyCompressed3DTess tess;
        if (!encoder.EncodeArrays(head, kTolerance, tess)) state.SkipWithError("encoding failed");
        Velmora::PRC::Compressed3DTessDecoder decoder(tess, nullptr, 0.0f);
        if (!decoder.PrepareDecode() || !decoder.DoDecode()) state.SkipWithError("decoding failed");
        benchmark::DoNotOptimize(tess.triangleIndices.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(head.faces.size()));
}

}  // namespace

BENCHMARK(BM_EncodeHead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EncodeAndDecodeHead)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
