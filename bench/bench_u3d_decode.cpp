// Decode of a whole U3D file through the read path (container split, block walk, every
// block reader and the progressive mesh decoder) into the author pools. No rendering.

#include <benchmark/benchmark.h>

#include "bench_files.h"

#include <vector>

#include "format/AuthoringPool.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/BitStreamReader.h"
#include "util/Logger.h"

namespace {

void DecodeFile(benchmark::State& state, const char* name) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const std::vector<uint8_t> bytes = ReadTestFile("u3d", name);
    if (bytes.empty()) {
        state.SkipWithError("test file missing");
        return;
    }
    for (auto _ : state) {
        auto pool = Velmora::FormatGlue::AuthoringPool::Create(new Velmora::U3D::AuthoringPool_U3D(), nullptr, nullptr);
        const bool ok = pool->LoadFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()), nullptr);
        benchmark::DoNotOptimize(ok);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
}

void BM_DecodeHead(benchmark::State& state) { DecodeFile(state, "head.u3d"); }
void BM_DecodeBearing(benchmark::State& state) { DecodeFile(state, "bearing.u3d"); }

// The arithmetic decoder alone: dynamic-context symbols over a stream of random bits.
void BM_DynamicSymbols(benchmark::State& state) {
    std::vector<uint8_t> noise(1 << 16);
    uint32_t x = 12345;
    for (auto& b : noise) b = uint8_t((x = x * 1664525u + 1013904223u) >> 24);
    for (auto _ : state) {
        Velmora::U3D::BitStreamReader reader(noise.data(), uint32_t(noise.size()), false);
        uint32_t sum = 0;
        for (int i = 0; i < 100000; ++i) sum += reader.ReadCompressedU32(1 + (i & 15));
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * 100000);
}

}  // namespace

BENCHMARK(BM_DecodeHead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeBearing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DynamicSymbols)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
