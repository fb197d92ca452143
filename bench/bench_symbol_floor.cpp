// The least a U3D file's decode can cost: its coded stream decoded with every context known in
// advance and no mesh work (see src/u3d/SymbolTrace.h). Built only with
// -DKESTRUM_SYMBOL_TRACE=ON; scripts/measure_symbol_floor.sh sets that build up and runs it.
// BM_DecodeHead and BM_DecodeBearing of bench_u3d_decode are the whole decodes to compare with.

#include <benchmark/benchmark.h>

#include "bench_files.h"

#include <memory>
#include <string>
#include <vector>

#include "format/AuthoringPool.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/BitStreamReader.h"
#include "u3d/SymbolTrace.h"
#include "util/Logger.h"

namespace {

using Velmora::U3D::BitStreamReader;
using Velmora::U3D::SymbolTrace;

bool Record(const char* name) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(0);
    const std::vector<uint8_t> bytes = ReadTestFile("u3d", name);
    if (bytes.empty()) return false;
    SymbolTrace::Start();
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new Velmora::U3D::AuthoringPool_U3D(), nullptr, nullptr);
    const bool loaded = pool->LoadFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()), nullptr);
    SymbolTrace::Stop();
    return loaded;
}

// Every read again, in order, on fresh readers over the same blocks.
uint64_t Replay() {
    uint64_t sum = 0;
    std::unique_ptr<BitStreamReader> reader;
    std::string text;
    for (const uint32_t event : SymbolTrace::Events()) {
        const uint32_t argument = SymbolTrace::ArgumentOf(event);
        switch (SymbolTrace::OpOf(event)) {
            case SymbolTrace::NewReader: {
                const SymbolTrace::Block& block = SymbolTrace::Blocks()[argument];
                reader = std::make_unique<BitStreamReader>(block.bytes.data(), uint32_t(block.bytes.size()),
                                                           block.noCompression);
                break;
            }
            case SymbolTrace::U8: sum += reader->ReadU8(); break;
            case SymbolTrace::U16: sum += reader->ReadU16(); break;
            case SymbolTrace::U32: sum += reader->ReadU32(); break;
            case SymbolTrace::U64: sum += reader->ReadU64(); break;
            case SymbolTrace::F32: sum += uint64_t(reader->ReadF32() != 0.0f); break;
            case SymbolTrace::F64: sum += uint64_t(reader->ReadF64() != 0.0); break;
            case SymbolTrace::String:
                reader->ReadString(text);
                sum += text.size();
                break;
            case SymbolTrace::CodedU8: sum += reader->ReadCompressedU8(argument); break;
            case SymbolTrace::CodedU16: sum += reader->ReadCompressedU16(argument); break;
            case SymbolTrace::CodedU32: sum += reader->ReadCompressedU32(argument); break;
            default: break;
        }
    }
    return sum;
}

void Floor(benchmark::State& state, const char* name) {
    if (!Record(name)) {
        state.SkipWithError("test file missing or not loaded");
        return;
    }
    uint64_t coded = 0;
    for (const uint32_t event : SymbolTrace::Events()) coded += SymbolTrace::OpOf(event) >= SymbolTrace::CodedU8;
    for (auto _ : state) benchmark::DoNotOptimize(Replay());
    state.counters["coded_reads"] = double(coded);
    state.counters["ns_per_coded_read"] = benchmark::Counter(double(coded) * double(state.iterations()) * 1e-9,
                                                             benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_SymbolFloorHead(benchmark::State& state) { Floor(state, "head.u3d"); }
void BM_SymbolFloorBearing(benchmark::State& state) { Floor(state, "bearing.u3d"); }

}  // namespace

BENCHMARK(BM_SymbolFloorHead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SymbolFloorBearing)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
