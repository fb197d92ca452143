// The container: a file built value by value loads from memory, and damaged files fail cleanly.

#include <gtest/gtest.h>

#include <algorithm>

#include "format/AuthoringInterrupt.h"
#include "format/AuthoringProgress.h"
#include "prc/PrcFileBuilder.h"
#include "prc/reader/BitstreamReader.h"
#include "prc/reader/PRCFile.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using Velmora::Test::LogCapture;
using Velmora::Test::PrcBitWriter;
using Velmora::Test::PrcFileBuilder;

std::shared_ptr<PRCFile> Load(const std::vector<uint8_t>& bytes, FormatGlue::AuthoringProgress* progress = nullptr) {
    return PRCFile::CreateFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()), progress, 0.6f);
}

bool HasErrors(const LogCapture& log) {
    for (const auto& line : log.Lines())
        if (line.level <= 1) return true;
    return false;
}

TEST(PrcContainer, BuiltFileReadsEverySectionToItsEnd) {
    LogCapture log;
    const auto file = Load(PrcFileBuilder().Build());
    ASSERT_TRUE(file);
    EXPECT_FALSE(HasErrors(log));
    EXPECT_EQ(file->FileName(), "<InMemoryCreation>");
    EXPECT_EQ(file->Header().authoringVersion, 8137u);
    ASSERT_EQ(file->NumberOfFileStructureBlocks(), 1u);
    EXPECT_EQ(file->FileStructureBlockMap().count("1.2.3.1342177280"), 1u);
    const auto block = file->GetFileStructureBlock(0);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->uncompressedFiles.size(), 1u);
    EXPECT_EQ(block->uncompressedFiles.front()->size, 300u);
    ASSERT_EQ(block->tree.partDefinitions.size(), 1u);
    ASSERT_EQ(block->tree.productOccurrences.size(), 1u);
    EXPECT_EQ(block->tree.productOccurrences[0]->partIndex, 0);
    EXPECT_EQ(block->tree.rootOccurrenceIndex, 0);
    const auto& items = block->tree.partDefinitions[0]->representationItems;
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0]->base.type, 237u);
    EXPECT_EQ(items[0]->tessellationIndex, 0);
    ASSERT_EQ(block->tessellation.tessellations.size(), 1u);
    const auto& tess = static_cast<const FileStructure::Content3DTess&>(*block->tessellation.tessellations[0]);
    ASSERT_EQ(tess.vertices.size(), 3u);
    EXPECT_EQ(tess.vertices[1][0], 1.0f);
    EXPECT_EQ(tess.storedNormals.size(), 1u);
    EXPECT_EQ(tess.triangulatedIndices.size(), 6u);
    ASSERT_EQ(tess.faces.size(), 1u);
    EXPECT_EQ(tess.faces[0].usedEntitiesFlag, 2u);
    for (uint64_t unread : {block->globals.unreadBits, block->tree.unreadBits, block->tessellation.unreadBits,
                            block->geometry.unreadBits, block->extraGeometry.unreadBits, file->ModelFile().unreadBits})
        EXPECT_LT(unread, 8u);
    EXPECT_EQ(BitstreamReader::CurrentGlobals(), nullptr);
}

TEST(PrcContainer, ProgressStaysWithinItsSpan) {
    FormatGlue::AuthoringProgress progress;
    ASSERT_TRUE(Load(PrcFileBuilder().Build(), &progress));
    EXPECT_GT(progress.Progress(), 0.0f);
    EXPECT_LE(progress.Progress(), 60.5f);
}

TEST(PrcContainer, InterruptStopsTheLoad) {
    LogCapture log;
    FormatGlue::AuthoringInterrupt::Set();
    EXPECT_FALSE(Load(PrcFileBuilder().Build()));
    FormatGlue::AuthoringInterrupt::Reset();
    EXPECT_TRUE(Load(PrcFileBuilder().Build()));
}

TEST(PrcContainer, SmallFilesAndWrongMagic) {
    LogCapture log;
    std::vector<uint8_t> bytes(256, 0);
    bytes[0] = 'P';
    bytes[1] = 'R';
    bytes[2] = 'C';
    EXPECT_FALSE(Load(bytes));
    EXPECT_TRUE(log.HasLine("PRCFile::CreateRawDataBlocks() - Invalid PRC file!", 1));
    log.Clear();
    bytes.push_back(0);  // 257 bytes: gets as far as its header
    EXPECT_FALSE(Load(bytes));
    EXPECT_FALSE(log.Has("Invalid PRC file!"));
    EXPECT_TRUE(log.HasLine("PRCFile::CreateRawDataBlocks() - with invalid number of file structure blocks!", 1));

    auto file = PrcFileBuilder().Build();
    file[1] = 'X';
    log.Clear();
    EXPECT_FALSE(Load(file));
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadCommonHeader() - with invalid PRC data", 1));
    EXPECT_FALSE(PRCFile::CreateFromMemory(nullptr, 10, nullptr, 0.6f));
}

TEST(PrcContainer, LowFileStructureWordWarns) {
    LogCapture log;
    PrcFileBuilder builder;
    builder.fileStructureWord3 = 0x44881C74;
    EXPECT_TRUE(Load(builder.Build()));
    EXPECT_TRUE(log.Has("fileStructureID data is INVALID", 2));
    log.Clear();
    builder.fileStructureWord3 = 0x44881C75;
    EXPECT_TRUE(Load(builder.Build()));
    EXPECT_FALSE(log.Has("fileStructureID data is INVALID"));
}

TEST(PrcContainer, EveryTruncationFailsCleanly) {
    LogCapture log(-1);
    const auto full = PrcFileBuilder().Build();
    for (size_t size = 257; size + 8 < full.size(); size += 7) {
        std::vector<uint8_t> cut(full.begin(), full.begin() + static_cast<long>(size));
        EXPECT_FALSE(Load(cut)) << size;
    }
}

TEST(PrcContainer, BadZlibFailsTheBlock) {
    LogCapture log;
    PrcFileBuilder builder;
    builder.rawTessellation = {0x78, 0x9C, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x01};
    EXPECT_FALSE(Load(builder.Build()));
    EXPECT_TRUE(log.HasLine("Failed to read file structure block 0", 1));
}

TEST(PrcContainer, SectionThatInflatesFarBeyondItsSizeIsRefused) {
    LogCapture log;
    PrcFileBuilder builder;
    builder.tessellation = [](PrcBitWriter& w) {
        for (int i = 0; i < (16 << 20); ++i) w.Bit(0);
    };
    EXPECT_FALSE(Load(builder.Build()));
    EXPECT_TRUE(log.HasLine("BitstreamReader::DecompressBlock() - inflated size exceeds the limit", 1));
}

TEST(PrcContainer, HugeCountsFailBeforeAllocating) {
    LogCapture log;
    PrcFileBuilder builder;
    builder.globals = [](PrcBitWriter& w) {
        w.Unsigned(0);
        PrcFileBuilder::Base(w, 303);
        w.Unsigned(0);
        w.Double(0.0);
        w.Double(0.0);
        w.String("");
        w.Unsigned(0);
        w.Unsigned(0x7FFFFFFF);  // colours
    };
    EXPECT_FALSE(Load(builder.Build()));
    EXPECT_TRUE(log.Has("colour count 2147483647 exceeds the data left", 1));

    log.Clear();
    PrcFileBuilder tess;
    tess.tessellation = [](PrcBitWriter& w) {
        PrcFileBuilder::Base(w, 305);
        w.Unsigned(1);
        w.Unsigned(172);
        w.Bit(0);
        w.Unsigned(0xFFFFFFFF);  // coordinates
    };
    EXPECT_FALSE(Load(tess.Build()));
    EXPECT_TRUE(log.Has("coordinate count 4294967295 exceeds the data left", 1));
}

TEST(PrcContainer, TessellationWithoutVerticesFailsTheSection) {
    LogCapture log;
    PrcFileBuilder builder;
    builder.tessellation = [](PrcBitWriter& w) {
        PrcFileBuilder::Base(w, 305);
        w.Unsigned(1);
        w.Unsigned(172);
        w.Bit(0);
        w.Unsigned(0);
    };
    EXPECT_FALSE(Load(builder.Build()));
    EXPECT_TRUE(log.HasLine("BitstreamReader::ConvertRawCoordinatesToVertices() - invalid number of coords", 1));
}

TEST(PrcContainer, GeometryWithContentsDoesNotFailTheBlock) {
    LogCapture log;
    PrcFileBuilder builder;
    builder.geometry = [](PrcBitWriter& w) {
        PrcFileBuilder::Base(w, 306);
        w.Unsigned(3);
        w.Bits(0x55, 8);
    };
    EXPECT_TRUE(Load(builder.Build()));
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadFileStructureGeometryDecompressed() - NOT YET IMPLEMENTED!", 1));
}

}  // namespace
}  // namespace Velmora::PRC
