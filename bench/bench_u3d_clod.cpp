// Decoding of CLOD meshes from real files: the whole file is split into blocks once, then
// every iteration reads all mesh blocks (declaration, base, progressive) into a fresh pool.
// head.u3d carries 117,686 faces entirely in progressive updates.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>

#include "u3d/AuthorMeshPool.h"
#include "u3d/BitStreamReader.h"
#include "u3d/CLODBaseMeshContinuation.h"
#include "u3d/CLODMeshData.h"
#include "u3d/CLODMeshDeclaration.h"
#include "u3d/CLODProgressiveMeshContinuation.h"
#include "u3d/U3DFile.h"

namespace {

using namespace Velmora::U3D;

struct MeshBlock {
    uint32_t type;
    std::vector<uint8_t> data;
};

uint32_t U32At(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

// Collects the mesh blocks of a file in order, looking inside modifier chains.
void Collect(uint32_t type, const uint8_t* data, uint32_t size, std::vector<MeshBlock>& out, int depth) {
    if (type == BlockType::CLODMeshDeclaration || type == BlockType::CLODBaseMeshContinuation ||
        type == BlockType::CLODProgressiveMeshContinuation) {
        out.push_back({type, std::vector<uint8_t>(data, data + size)});
        return;
    }
    if (type != BlockType::ModifierChain || depth > 8 || size < 2) return;
    uint64_t at = 2 + (data[0] | (data[1] << 8));
    if (at + 8 > size) return;
    const uint32_t attributes = U32At(data + at + 4);
    at += 8 + ((attributes & 1) ? 16 : 0) + ((attributes & 2) ? 24 : 0);
    at = (at + 3) & ~uint64_t(3);
    if (at + 4 > size) return;
    uint32_t count = U32At(data + at);
    at += 4;
    while (count-- > 0 && at < size) {
        uint64_t consumed = 0;
        auto nested = U3DDataBlock::CreateFromFileData(data + at, size - at, consumed);
        if (!nested || consumed == 0) return;
        Collect(nested->blockType, nested->data.data(), nested->dataSize, out, depth + 1);
        at += consumed;
    }
}

void DecodeFile(benchmark::State& state, const char* name) {
    auto file = U3DFile::CreateFromFile(std::string(KESTRUM_TESTDATA) + "/u3d/" + name);
    if (!file) {
        state.SkipWithError("cannot read test file");
        return;
    }
    std::vector<MeshBlock> blocks;
    for (const auto& block : file->Blocks()) Collect(block->blockType, block->data.data(), block->dataSize, blocks, 0);
    uint64_t faces = 0;
    for (auto _ : state) {
        AuthorMeshPool pool;
        for (const MeshBlock& block : blocks) {
            std::unique_ptr<BlockBase> reader;
            if (block.type == BlockType::CLODMeshDeclaration)
                reader = std::make_unique<CLODMeshDeclaration>(pool);
            else if (block.type == BlockType::CLODBaseMeshContinuation)
                reader = std::make_unique<CLODBaseMeshContinuation>(pool);
            else
                reader = std::make_unique<CLODProgressiveMeshContinuation>(pool);
            BitStreamReader stream(block.data.data(), static_cast<uint32_t>(block.data.size()), false);
            reader->Read(stream);
        }
        faces = 0;
        for (const auto& [meshName, mesh] : pool.meshes) faces += mesh->continuation->primitiveCount;
        benchmark::DoNotOptimize(faces);
    }
    state.counters["faces"] = static_cast<double>(faces);
}

void BM_DecodeHead(benchmark::State& state) { DecodeFile(state, "head.u3d"); }
void BM_DecodeBearing(benchmark::State& state) { DecodeFile(state, "bearing.u3d"); }
void BM_DecodePlane100(benchmark::State& state) { DecodeFile(state, "plane100x100.u3d"); }

BENCHMARK(BM_DecodeHead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeBearing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodePlane100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
