// The third-party files: each opens, every section reader ends at its section's end, and the
// tree and tessellation sections hold what the files were written with.

#include <gtest/gtest.h>

#include <string>

#include "prc/reader/PRCFile.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using FileStructure::Content3DTess;
using Test::LogCapture;

// A writer pads a section to whole bytes, one whole byte when it ends aligned.
constexpr uint64_t kMaxPaddingBits = 8;
constexpr uint32_t kTriangleFlags = 0x0002 | 0x0020 | 0x0200 | 0x2000;
constexpr uint32_t kSingleNormalBit = 0x40000000;
// Exact geometry is not read; its section logs that and is left.
const char* const kExactGeometryMessages[] = {
    "BitstreamReader::ReadFileStructureGeometryDecompressed() - NOT YET IMPLEMENTED!",
    "BitstreamReader::ReadFileStructureExtraGeometryDecompressed() - NOT YET IMPLEMENTED!",
};

std::string PrcPath(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/prc/" + name; }

struct Counts {
    size_t occurrences = 0;
    size_t parts = 0;
    size_t items = 0;
    std::vector<std::shared_ptr<FileStructure::BaseTessData>> tessellations;
};

Counts CountOf(const PRCFile& file) {
    Counts counts;
    for (size_t i = 0; i < file.NumberOfFileStructureBlocks(); ++i) {
        const auto block = file.GetFileStructureBlock(static_cast<uint32_t>(i));
        counts.occurrences += block->tree.productOccurrences.size();
        counts.parts += block->tree.partDefinitions.size();
        for (const auto& part : block->tree.partDefinitions) counts.items += part->representationItems.size();
        for (const auto& tess : block->tessellation.tessellations) counts.tessellations.push_back(tess);
    }
    return counts;
}

// Triangles of the plain triangle entities of a tessellation.
size_t TrianglesOf(const FileStructure::BaseTessData& base) {
    if (base.type != kTypeTess3D) return 0;
    const auto& tess = static_cast<const Content3DTess&>(base);
    size_t triangles = 0;
    for (const auto& face : tess.faces)
        if ((face.usedEntitiesFlag & kTriangleFlags) && face.triangulatedSizes.size() == 1)
            triangles += face.triangulatedSizes[0] & ~kSingleNormalBit;
    return triangles;
}

std::vector<std::string> ErrorLines(const LogCapture& log) {
    std::vector<std::string> errors;
    for (const auto& line : log.Lines()) {
        if (line.level > 1) continue;
        bool exact = false;
        for (const char* message : kExactGeometryMessages) exact |= line.text.find(message) == 0;
        if (!exact) errors.push_back(line.text);
    }
    return errors;
}

// Loads a file that must read to the end of every section without a level-1 message.
std::shared_ptr<PRCFile> LoadClean(const std::string& name) {
    LogCapture log(2);
    auto file = PRCFile::CreateFromFile(PrcPath(name), nullptr, 0.6f);
    EXPECT_TRUE(file) << name;
    EXPECT_EQ(ErrorLines(log), std::vector<std::string>{}) << name;
    if (!file) return nullptr;
    for (size_t i = 0; i < file->NumberOfFileStructureBlocks(); ++i) {
        const auto block = file->GetFileStructureBlock(static_cast<uint32_t>(i));
        EXPECT_LE(block->globals.unreadBits, kMaxPaddingBits) << name;
        EXPECT_LE(block->tree.unreadBits, kMaxPaddingBits) << name;
        EXPECT_LE(block->tessellation.unreadBits, kMaxPaddingBits) << name;
        if (block->geometry.count == 0) {
            EXPECT_LE(block->geometry.unreadBits, kMaxPaddingBits) << name;
        }
        if (block->extraGeometry.count == 0) {
            EXPECT_LE(block->extraGeometry.unreadBits, kMaxPaddingBits) << name;
        }
    }
    EXPECT_LE(file->ModelFile().unreadBits, kMaxPaddingBits) << name;
    return file;
}

// Triangles of each tessellation in file order; a cube is stored with its eight corners once.
TEST(PrcTestData, FilesHoldTheirTessellationsAndTriangles) {
    const struct {
        const char* name;
        std::vector<size_t> triangles;
    } files[] = {{"mesh1.prc", {8}},
                 {"grid_big.prc", {125000}},
                 {"torus_mesh.prc", {2304, 12}},
                 {"cube_tess.prc", {12, 12}},
                 {"plain_cube.prc", {12}}};
    for (const auto& f : files) {
        const auto file = LoadClean(f.name);
        ASSERT_TRUE(file);
        const Counts c = CountOf(*file);
        ASSERT_EQ(c.tessellations.size(), f.triangles.size()) << f.name;
        for (size_t i = 0; i < f.triangles.size(); ++i) {
            EXPECT_EQ(TrianglesOf(*c.tessellations[i]), f.triangles[i]) << f.name << " " << i;
            if (f.triangles[i] == 12) {
                EXPECT_EQ(c.tessellations[i]->vertices.size(), 8u) << f.name;
            }
        }
    }
}

TEST(PrcTestData, Mesh2HasPerVertexColours) {
    const auto file = LoadClean("mesh2.prc");
    ASSERT_TRUE(file);
    const Counts c = CountOf(*file);
    ASSERT_EQ(c.tessellations.size(), 1u);
    EXPECT_EQ(TrianglesOf(*c.tessellations[0]), 3200u);
    const auto& tess = static_cast<const Content3DTess&>(*c.tessellations[0]);
    ASSERT_EQ(tess.faces.size(), 1u);
    ASSERT_TRUE(tess.faces[0].hasVertexColours);
    const auto& rgba = tess.faces[0].vertexColours.rgba;
    ASSERT_EQ(rgba.size(), 3200u * 3 * 4);
    // The writer's colours are pure primaries, opaque.
    for (size_t i = 0; i < rgba.size(); i += 4) {
        EXPECT_EQ(rgba[i] + rgba[i + 1] + rgba[i + 2], 255) << i;
        EXPECT_EQ(rgba[i + 3], 255);
    }
}

TEST(PrcTestData, TeapotIsExactGeometryOnly) {
    const auto file = LoadClean("teapot.prc");
    ASSERT_TRUE(file);
    const Counts c = CountOf(*file);
    EXPECT_EQ(c.tessellations.size(), 0u);
    EXPECT_GT(c.items, 0u);
    EXPECT_GT(file->GetFileStructureBlock(0)->geometry.count, 0u);
}

TEST(PrcTestData, HighlyCompressedFilesReadToTheirSectionsEnd) {
    for (const char* name : {"hc_cube.prc", "hc_sphere.prc", "hc_head.prc", "hc_propeller.prc", "hc_parts.prc",
                             "sw_triangle.prc", "sw_cylinder.prc"}) {
        LogCapture log(2);
        const auto file = PRCFile::CreateFromFile(PrcPath(name), nullptr, 0.6f);
        ASSERT_TRUE(file) << name;
        const Counts c = CountOf(*file);
        EXPECT_GE(c.parts, 1u) << name;
        ASSERT_FALSE(c.tessellations.empty()) << name;
        EXPECT_EQ(c.tessellations.back()->type, kTypeTessHighlyCompressed) << name;
        const auto block = file->GetFileStructureBlock(0);
        EXPECT_LE(block->tessellation.unreadBits, kMaxPaddingBits) << name;
        EXPECT_LE(block->globals.unreadBits, kMaxPaddingBits) << name;
        EXPECT_LE(block->tree.unreadBits, kMaxPaddingBits) << name;
        EXPECT_LE(file->ModelFile().unreadBits, kMaxPaddingBits) << name;
        EXPECT_GT(static_cast<const FileStructure::HighlyCompressed3DTess&>(*c.tessellations.back()).tolerance, 0.0)
            << name;
    }
}

TEST(PrcTestData, FileAndMemoryGiveTheSameBlocks) {
    std::shared_ptr<Utility::DataHolder<uint8_t>> bytes = Utility::ReadWholeFile(PrcPath("torus_mesh.prc"));
    ASSERT_TRUE(bytes);
    const auto fromMemory = PRCFile::CreateFromMemory(bytes->Data(), bytes->Size(), nullptr, 0.6f);
    const auto fromFile = PRCFile::CreateFromFile(PrcPath("torus_mesh.prc"), nullptr, 0.6f);
    ASSERT_TRUE(fromMemory && fromFile);
    const Counts a = CountOf(*fromMemory), b = CountOf(*fromFile);
    ASSERT_EQ(a.tessellations.size(), b.tessellations.size());
    for (size_t i = 0; i < a.tessellations.size(); ++i)
        EXPECT_EQ(a.tessellations[i]->rawCoordinates, b.tessellations[i]->rawCoordinates);
}

}  // namespace
}  // namespace Velmora::PRC
