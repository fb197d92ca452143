// Hostile input: truncated files, flipped bytes, absurd counts and an interrupted walk. Each
// must load or fail cleanly, at the cost of its own block or mesh.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "format/AuthoringInterrupt.h"
#include "support/LogCapture.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3dwriter/U3DWriter.h"

using namespace U3DWriter;

namespace {

using namespace Velmora::U3D;
namespace fs = std::filesystem;

std::vector<uint8_t> ReadBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

bool LoadBytes(const std::vector<uint8_t>& bytes) {
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
    return pool->LoadFromMemory(bytes.data(), uint32_t(bytes.size()), nullptr);
}

const fs::path kDir = fs::path(KESTRUM_TESTDATA) / "u3d";
const char* const kSamples[] = {"box.u3d",      "TextureLayers.u3d", "views.u3d",
                                "box_base.u3d", "mp_box_light.u3d",  "shading.u3d"};

TEST(Malformed, TruncatedFilesFailOrLoadWithoutFaults) {
    Velmora::Test::LogCapture quiet(-1);
    for (const char* name : kSamples) {
        SCOPED_TRACE(name);
        const auto bytes = ReadBytes(kDir / name);
        ASSERT_FALSE(bytes.empty());
        for (size_t cut = 0; cut < bytes.size(); cut += 1 + bytes.size() / 37) {
            std::vector<uint8_t> part(bytes.begin(), bytes.begin() + cut);
            LoadBytes(part);
        }
    }
}

TEST(Malformed, FlippedBytesCostTheirBlockOnly) {
    Velmora::Test::LogCapture quiet(-1);
    std::mt19937 rng(2024);
    for (const char* name : kSamples) {
        SCOPED_TRACE(name);
        const auto bytes = ReadBytes(kDir / name);
        for (int round = 0; round < 40; ++round) {
            std::vector<uint8_t> mutated = bytes;
            const int flips = 1 + int(rng() % 8);
            for (int f = 0; f < flips; ++f) mutated[12 + rng() % (mutated.size() - 12)] ^= uint8_t(1u << (rng() % 8));
            LoadBytes(mutated);
        }
    }
}

TEST(Malformed, AbsurdCountsInEveryWordOfABlock) {
    Velmora::Test::LogCapture quiet(-1);
    const auto bytes = ReadBytes(kDir / "TextureLayers.u3d");
    size_t offset = 0;
    int mutated = 0;
    while (offset + 12 <= bytes.size() && mutated < 400) {
        const uint32_t dataSize = uint32_t(bytes[offset + 4]) | uint32_t(bytes[offset + 5]) << 8 |
                                  uint32_t(bytes[offset + 6]) << 16 | uint32_t(bytes[offset + 7]) << 24;
        const uint32_t metaSize = uint32_t(bytes[offset + 8]) | uint32_t(bytes[offset + 9]) << 8 |
                                  uint32_t(bytes[offset + 10]) << 16 | uint32_t(bytes[offset + 11]) << 24;
        for (uint32_t word = 0; word + 4 <= dataSize && word < 64; word += 2) {
            std::vector<uint8_t> copy = bytes;
            for (int k = 0; k < 4; ++k) copy[offset + 12 + word + k] = 0xFF;
            LoadBytes(copy);
            ++mutated;
        }
        offset += 12 + ((dataSize + 3) & ~3u) + ((metaSize + 3) & ~3u);
    }
    EXPECT_GT(mutated, 50);
}

TEST(Malformed, InterruptStopsTheWalk) {
    U3DWriter::U3DFileWriter w;
    for (int i = 0; i < 20; ++i) w.AddBlock(0xFFFFFF21, U3DWriter::GroupNodeBlock("g" + std::to_string(i), {{""}}));
    struct Stopper : Velmora::FormatGlue::ProgressListener {
        void OnProgress(const Velmora::FormatGlue::ProgressInfo&) override {
            if (++calls == 1) Velmora::FormatGlue::AuthoringInterrupt::Set();
        }
        int calls = 0;
    } stopper;
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), &stopper, nullptr);
    Velmora::Test::LogCapture log(2);
    EXPECT_FALSE(pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr));
    EXPECT_LT(pool->NodePool().GetRoot()->children.size(), 20u);
    Velmora::FormatGlue::AuthoringInterrupt::Reset();
    auto again = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
    EXPECT_TRUE(again->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr));
    EXPECT_EQ(again->NodePool().GetRoot()->children.size(), 20u);
}

}  // namespace
