// The container: splitting bytes into raw blocks, the block table, and the block walk's
// handling of unknown, deferred and nested blocks.

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "u3dwriter/U3DWriter.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/BlockBase.h"
#include "u3d/BlockTable.h"
#include "u3d/U3DFile.h"

using namespace U3DWriter;

namespace {

using namespace Velmora::U3D;
using Velmora::Test::LogCapture;
using U3DWriter::BitStreamWriter;
using U3DWriter::FrameBlock;
using U3DWriter::U3DFileWriter;

std::shared_ptr<AuthoringPool_U3D> MakePool() {
    return Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
}

std::shared_ptr<U3DFile> Split(const std::vector<uint8_t>& bytes) {
    return U3DFile::CreateFromMemory(bytes.data(), bytes.size());
}

TEST(BlockTable, KeysAndNames) {
    uint32_t key = 1;
    std::string name;
    EXPECT_TRUE(LookupBlockType(0xFFFFFF31, key, name));
    EXPECT_EQ(key, 0xFFFFFF31u);
    EXPECT_EQ(name, "Block_Geometry_CLODMeshDeclaration");
    // The extension range maps to 256; the fixed types outside the table to 0.
    EXPECT_TRUE(LookupBlockType(0x1000, key, name));
    EXPECT_EQ(key, 256u);
    EXPECT_EQ(name, "Block_NewObject");
    EXPECT_TRUE(LookupBlockType(0xFFFFFF, key, name));
    EXPECT_EQ(key, 256u);
    EXPECT_FALSE(LookupBlockType(0x1000000, key, name));
    EXPECT_FALSE(LookupBlockType(0xFFFFFF60, key, name));
    EXPECT_EQ(key, 0u);
    EXPECT_EQ(name, "Block_Unknown");
    EXPECT_FALSE(LookupBlockType(255, key, name));
}

TEST(U3DFile, SplitsBlocksWithPaddingAndMeta) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF12, {1, 2, 3, 4, 5}, {9, 8, 7});
    w.AddBlock(0xFFFFFF15, {}, {});
    auto file = Split(w.Bytes());
    ASSERT_TRUE(file);
    ASSERT_EQ(file->BlockCount(), 3u);
    auto it = std::next(file->Blocks().begin());
    const RawDataBlock& b = **it;
    EXPECT_EQ(b.blockType, 0xFFFFFF12u);
    EXPECT_EQ(b.name, "Block_File_Reference");
    EXPECT_EQ(b.dataSize, 5u);
    EXPECT_EQ(b.metaSize, 3u);
    EXPECT_EQ(b.data, (std::vector<uint8_t>{1, 2, 3, 4, 5, 0, 0, 0}));
    EXPECT_EQ(b.meta, (std::vector<uint8_t>{9, 8, 7, 0}));
    EXPECT_TRUE((*std::next(it))->data.empty());
    EXPECT_EQ(file->Name(), "<InMemoryCreation>");
}

TEST(U3DFile, LastBlockWithoutTrailingPaddingLoads) {
    U3DFileWriter w;
    std::vector<uint8_t> bytes = w.Bytes();
    const auto last = FrameBlock(0xFFFFFF12, {1, 2, 3, 4, 5, 6});
    bytes.insert(bytes.end(), last.begin(), last.begin() + 12 + 6);  // padding cut off
    LogCapture log;
    auto file = Split(bytes);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->BlockCount(), 2u);
    EXPECT_TRUE(log.Has("Finished reading DataBlocks, data used up (overshoot: 2)", 4));
}

TEST(U3DFile, RefusesBrokenContainers) {
    LogCapture log;
    const std::vector<uint8_t> notU3D = {'P', 'R', 'C', 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_FALSE(Split(notU3D));
    EXPECT_TRUE(log.Has("This is not valid U3D data, READING ABORTED!", 1));

    // A block whose sizes run past the end refuses the whole file, good blocks before it too.
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF12, {1, 2, 3, 4});
    std::vector<uint8_t> bytes = w.Bytes();
    auto bad = FrameBlock(0xFFFFFF12, std::vector<uint8_t>(40, 1));
    bad.resize(30);
    bytes.insert(bytes.end(), bad.begin(), bad.end());
    log.Clear();
    EXPECT_FALSE(Split(bytes));
    EXPECT_TRUE(log.Has("U3DDataBlock::CreateFromFileData - CORRUPTED INPUT DATA!", 1));
    EXPECT_TRUE(log.Has("Failed to read DataBlock, aborting!", 2));

    // Sizes near 4 GiB must not wrap the size test.
    std::vector<uint8_t> huge = U3DFileWriter().Bytes();
    const uint8_t header[12] = {0x12, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x20, 0, 0, 0};
    huge.insert(huge.end(), header, header + 12);
    EXPECT_FALSE(Split(huge));

    // A trailing fragment shorter than a block header.
    std::vector<uint8_t> fragment = U3DFileWriter().Bytes();
    fragment.push_back(1);
    log.Clear();
    EXPECT_FALSE(Split(fragment));
    EXPECT_TRUE(log.Has("U3DDataBlock::CreateFromFileData - INVALID INPUT DATA!", 1));

    EXPECT_FALSE(U3DFile::CreateFromMemory(nullptr, 10));
    EXPECT_FALSE(U3DFile::CreateFromFile("/nonexistent/file.u3d"));
}

TEST(BlockWalk, UnknownTypeFailsItsBlockOnly) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF60, {1, 2, 3, 4});
    w.AddBlock(0xFFFFFF21, U3DWriter::GroupNodeBlock("g", {{""}}));
    auto pool = MakePool();
    LogCapture log;
    ASSERT_TRUE(pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr));
    EXPECT_TRUE(log.Has("Encountered unexpected BlockType: 0", 1));
    EXPECT_TRUE(log.Has("Error on reading block") == false);
    EXPECT_EQ(pool->BlocksFailed(), 1u);
    EXPECT_EQ(pool->NodePool().GetRoot()->children.count("g"), 1u);
}

TEST(BlockWalk, HeaderProfileSwitchesLaterBlocksToPlainReads) {
    // With profile 0x4 a compressed read of a later block is a plain read.
    U3DFileWriter w(0x4);
    BitStreamWriter shading(true);
    shading.WriteString("mesh");
    shading.WriteCompressedU32(7, 0);  // chain index, written plain
    shading.WriteU32(1);
    shading.WriteU32(1);
    shading.WriteU32(1);
    shading.WriteString("shader");
    w.AddBlock(0xFFFFFF45, shading);
    auto pool = MakePool();
    LogCapture log(3);
    ASSERT_TRUE(pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr));
    EXPECT_TRUE(pool->NoCompression());
    EXPECT_TRUE(log.Has("This U3D File is using uncompressed data!", 3));
    ASSERT_TRUE(pool->ShaderPool().FindShadingModifier("mesh"));
}

std::vector<uint8_t> ChainData(const std::string& name, const std::vector<std::vector<uint8_t>>& nested) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(0);  // chain type
    w.WriteU32(0);  // attributes
    for (uint32_t i = 0; i < uint32_t((2 - int(name.size())) & 3); ++i) w.WriteU8(0);
    w.WriteU32(uint32_t(nested.size()));
    for (const auto& block : nested) w.WriteBytes(block.data(), block.size());
    return w.Finish();
}

TEST(BlockWalk, ModifierChainsAreReadDepthFirstInFileOrder) {
    using U3DWriter::GroupNodeBlock;
    const auto inner = ChainData("inner", {FrameBlock(0xFFFFFF21, GroupNodeBlock("b", {{"a"}})),
                                            FrameBlock(0xFFFFFF21, GroupNodeBlock("c", {{"b"}}))});
    const auto outer = ChainData("outer!", {FrameBlock(0xFFFFFF21, GroupNodeBlock("a", {{""}})),
                                            FrameBlock(0xFFFFFF14, inner),
                                            FrameBlock(0xFFFFFF21, GroupNodeBlock("d", {{"c"}}))});
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF14, outer);
    auto pool = MakePool();
    LogCapture log;
    ASSERT_TRUE(pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr));
    // Each node found its parent on arrival: nothing waited in the pending list.
    EXPECT_FALSE(log.Has("REPARENTED"));
    auto root = pool->NodePool().GetRoot();
    ASSERT_EQ(root->children.count("a"), 1u);
    auto a = root->children.find("a")->second;
    ASSERT_EQ(a->children.count("b"), 1u);
    auto c = a->children.find("b")->second->children.find("c");
    ASSERT_NE(c, a->children.find("b")->second->children.end());
    EXPECT_EQ(c->second->children.count("d"), 1u);
    EXPECT_EQ(pool->BlocksRead(), 7u);  // header, two chains, four nodes
    // 70 points over the two top-level blocks; nested blocks advance nothing.
    EXPECT_FLOAT_EQ(pool->LoadStep(), 35.0f);
    EXPECT_FLOAT_EQ(pool->Progress().Progress(), 70.0f);
    // The build's 29 points are spread over the nodes of the tree (no textures or meshes).
    EXPECT_FLOAT_EQ(pool->BuildStep(), 29.0f / 4.0f);
}

TEST(BlockWalk, BadChainEndsWithoutLooping) {
    BitStreamWriter w;
    w.WriteString("c");
    w.WriteU32(0);
    w.WriteU32(0);
    w.WriteU8(0);
    w.WriteU32(0xFFFFFFFF);  // absurd modifier count with nothing behind it
    w.WriteBytes("garbage!", 8);
    U3DFileWriter file;
    file.AddBlock(0xFFFFFF14, w);
    auto pool = MakePool();
    LogCapture log;
    ASSERT_TRUE(pool->LoadFromMemory(file.Bytes().data(), uint32_t(file.Bytes().size()), nullptr));
    EXPECT_LE(log.Count("CORRUPTED INPUT DATA"), 1u);
}

std::vector<uint8_t> RHTypeDeclaration(const std::string& vendor) {
    BitStreamWriter w;
    w.WriteString("RHAdobeMeshResource");
    w.WriteU32(0);  // modifier type
    w.WriteU32(0x96A804A6);
    w.WriteU16(0x3FB9);
    w.WriteU16(0x43C5);
    const uint8_t tail[8] = {0xB2, 0xDF, 0x2A, 0x31, 0xB5, 0x56, 0x93, 0x40};
    w.WriteBytes(tail, 8);
    w.WriteU32(256);  // declaration block type
    w.WriteU32(0);
    w.WriteString(vendor);
    w.WriteU32(0);
    w.WriteString("version 1.0");
    return w.Finish();
}

std::vector<uint8_t> ShadingModifierData(const std::string& name, const std::string& shader) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(0);
    w.WriteU32(1);
    w.WriteU32(1);
    w.WriteU32(1);
    w.WriteString(shader);
    return w.Finish();
}

TEST(BlockWalk, ExtensionBlocksAreDeferredToTheEnd) {
    // Without a declaration the id (the table key 256) is unsupported.
    {
        U3DFileWriter w;
        w.AddBlock(0x1000, {0, 0, 0, 0, 0, 0, 0, 0});
        auto pool = MakePool();
        LogCapture log;
        ASSERT_TRUE(pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr));
        EXPECT_TRUE(log.Has("NewObjectBlock::Read - unsupported ID 256", 1));
        EXPECT_EQ(pool->BlocksFailed(), 1u);
    }
    // Declared as 256, placed first: it still finds the shading modifier declared after it.
    U3DFileWriter w;
    BitStreamWriter block;
    block.WriteString("m");
    block.WriteU32(0);
    block.WriteBytes("payload", 7);
    w.AddBlock(0x1000, block);
    w.AddBlock(0xFFFFFF16, RHTypeDeclaration("Right Hemisphere Adobe Systems"));
    w.AddBlock(0xFFFFFF45, ShadingModifierData("m", "s"));
    auto pool = MakePool();
    LogCapture log;
    ASSERT_TRUE(pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr));
    EXPECT_TRUE(pool->MeshPool().supportedExtensions.count(256));
    EXPECT_FALSE(log.Has("unsupported ID"));
    EXPECT_FALSE(log.Has("no valid shading modifier found"));

    // Any deviation in the declaration refuses the extension.
    U3DFileWriter other;
    other.AddBlock(0xFFFFFF16, RHTypeDeclaration("Someone Else"));
    auto refused = MakePool();
    log.Clear();
    ASSERT_TRUE(refused->LoadFromMemory(other.Bytes().data(), uint32_t(other.Bytes().size()), nullptr));
    EXPECT_TRUE(log.Has("Unsupported 'New Object' block type!", 1));
    EXPECT_TRUE(refused->MeshPool().supportedExtensions.empty());
}

TEST(BlockWalk, NullFileAndMissingHeader) {
    auto pool = MakePool();
    LogCapture log;
    EXPECT_FALSE(pool->LoadFromU3DFile(nullptr, nullptr));
    EXPECT_TRUE(log.Has("Invalid U3D file to load authoring objects from!", 1));
    // The memory path never hands over a file without header: the split refuses it first.
    auto bytes = FrameBlock(0x00443355, {});
    auto more = FrameBlock(0xFFFFFF12, {});
    bytes.insert(bytes.begin(), more.begin(), more.end());
    log.Clear();
    EXPECT_FALSE(pool->LoadFromMemory(bytes.data(), uint32_t(bytes.size()), nullptr));
    EXPECT_TRUE(log.Has("This is not valid U3D data, READING ABORTED!", 1));
}

}  // namespace
