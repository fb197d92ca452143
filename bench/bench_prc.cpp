// Reading a whole PRC file to filled file structure blocks: container, inflation, schemas and
// every section reader, the tessellations stored, not decoded; and the same file through the
// authoring step, which decodes them and builds the staging tree (no GL); and the decoding of
// highly compressed tessellations on its own.

#include <benchmark/benchmark.h>

#include "bench_files.h"

#include <vector>

#include "prc/reader/AuthoringPool_PRC.h"
#include "prc/reader/PRCFile.h"
#include "prc/reader/TesselationDecoder.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace {

void ReadFile(benchmark::State& state, const char* name) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const std::vector<uint8_t> bytes = ReadTestFile("prc", name);
    if (bytes.empty()) {
        state.SkipWithError("test file missing");
        return;
    }
    for (auto _ : state) {
        auto file =
            Velmora::PRC::PRCFile::CreateFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()), nullptr, 0.6f);
        benchmark::DoNotOptimize(file);
        if (!file) state.SkipWithError("file did not load");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
}

void AuthorFile(benchmark::State& state, const char* name) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const std::vector<uint8_t> bytes = ReadTestFile("prc", name);
    if (bytes.empty()) {
        state.SkipWithError("test file missing");
        return;
    }
    for (auto _ : state) {
        auto file =
            Velmora::PRC::PRCFile::CreateFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()), nullptr, 0.6f);
        Velmora::PRC::AuthoringPool_PRC pool;
        if (!pool.Init() || !pool.CreateAuthoringObjectsFromFile(file, nullptr)) state.SkipWithError("no authoring");
        pool.Shutdown();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
}

// The walk of a highly compressed tessellation alone: the file is read once, and each round
// decodes a fresh copy of its stored arrays.
void DecodeCompressed(benchmark::State& state, const char* name) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const std::vector<uint8_t> bytes = ReadTestFile("prc", name);
    auto file = bytes.empty() ? nullptr
                              : Velmora::PRC::PRCFile::CreateFromMemory(
                                    bytes.data(), static_cast<uint32_t>(bytes.size()), nullptr, 0.6f);
    std::shared_ptr<Velmora::PRC::FileStructure::HighlyCompressed3DTess> stored;
    if (file)
        for (const auto& tess : file->GetFileStructureBlock(0)->tessellation.tessellations)
            if (tess->type == Velmora::PRC::kTypeTessHighlyCompressed)
                stored = std::static_pointer_cast<Velmora::PRC::FileStructure::HighlyCompressed3DTess>(tess);
    if (!stored) {
        state.SkipWithError("no highly compressed tessellation");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        auto copy = std::make_shared<Velmora::PRC::FileStructure::HighlyCompressed3DTess>(*stored);
        state.ResumeTiming();
        benchmark::DoNotOptimize(Velmora::PRC::TesselationDecoder::DecodeTesselation(copy, nullptr, 0.0f));
    }
    state.counters["triangles"] = static_cast<double>(stored->triangleFaceArray.size());
}

void BM_DecodeCompressedHead(benchmark::State& state) { DecodeCompressed(state, "hc_head.prc"); }
void BM_DecodeCompressedSphere(benchmark::State& state) { DecodeCompressed(state, "hc_sphere.prc"); }
void BM_ReadGridBig(benchmark::State& state) { ReadFile(state, "grid_big.prc"); }
void BM_AuthorGridBig(benchmark::State& state) { AuthorFile(state, "grid_big.prc"); }
void BM_ReadMesh2(benchmark::State& state) { ReadFile(state, "mesh2.prc"); }

}  // namespace

BENCHMARK(BM_ReadGridBig)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadMesh2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AuthorGridBig)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeCompressedHead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeCompressedSphere)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
