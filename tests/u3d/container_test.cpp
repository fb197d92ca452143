// The container: splitting bytes into raw blocks, and the block walk's handling of unknown,
// deferred and nested blocks.

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/BlockBase.h"
#include "u3d/U3DFile.h"
#include "u3dwriter/U3DWriter.h"

using namespace U3DWriter;

namespace {

using namespace Velmora::U3D;
using U3DWriter::BitStreamWriter;
using U3DWriter::FrameBlock;
using U3DWriter::U3DFileWriter;
using Velmora::Test::LogCapture;

// The pool after a load of the written file that must succeed.
std::shared_ptr<AuthoringPool_U3D> Load(const U3DFileWriter& w) {
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
    EXPECT_TRUE(pool->LoadFromMemory(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr));
    return pool;
}

std::shared_ptr<U3DFile> Split(const std::vector<uint8_t>& bytes) {
    return U3DFile::CreateFromMemory(bytes.data(), bytes.size());
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

TEST(U3DFile, RefusesBrokenContainers) {
    LogCapture log;
    const std::vector<uint8_t> notU3D = {'P', 'R', 'C', 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_FALSE(Split(notU3D));
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF12, {1, 2, 3, 4});
    std::vector<uint8_t> bytes = w.Bytes();
    auto bad = FrameBlock(0xFFFFFF12, std::vector<uint8_t>(40, 1));
    bad.resize(30);
    bytes.insert(bytes.end(), bad.begin(), bad.end());
    log.Clear();
    EXPECT_FALSE(Split(bytes));
    std::vector<uint8_t> huge = U3DFileWriter().Bytes();
    const uint8_t header[12] = {0x12, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x20, 0, 0, 0};
    huge.insert(huge.end(), header, header + 12);
    EXPECT_FALSE(Split(huge));
    std::vector<uint8_t> fragment = U3DFileWriter().Bytes();
    fragment.push_back(1);
    log.Clear();
    EXPECT_FALSE(Split(fragment));
    EXPECT_FALSE(U3DFile::CreateFromMemory(nullptr, 10));
    EXPECT_FALSE(U3DFile::CreateFromFile("/nonexistent/file.u3d"));
}

TEST(BlockWalk, UnknownTypeFailsItsBlockOnly) {
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF60, {1, 2, 3, 4});
    w.AddBlock(0xFFFFFF21, U3DWriter::GroupNodeBlock("g", {{""}}));
    LogCapture log;
    auto pool = Load(w);
    EXPECT_EQ(pool->BlocksFailed(), 1u);
    EXPECT_EQ(pool->NodePool().GetRoot()->children.count("g"), 1u);
}

TEST(BlockWalk, HeaderProfileSwitchesLaterBlocksToPlainReads) {
    U3DFileWriter w(0x4);
    BitStreamWriter shading(true);
    shading.WriteString("mesh");
    shading.WriteCompressedU32(7, 0);  // chain index, written plain
    shading.WriteU32(1);
    shading.WriteU32(1);
    shading.WriteU32(1);
    shading.WriteString("shader");
    w.AddBlock(0xFFFFFF45, shading);
    LogCapture log(3);
    auto pool = Load(w);
    EXPECT_TRUE(pool->NoCompression());
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
    const auto outer =
        ChainData("outer!", {FrameBlock(0xFFFFFF21, GroupNodeBlock("a", {{""}})), FrameBlock(0xFFFFFF14, inner),
                             FrameBlock(0xFFFFFF21, GroupNodeBlock("d", {{"c"}}))});
    U3DFileWriter w;
    w.AddBlock(0xFFFFFF14, outer);
    LogCapture log;
    auto pool = Load(w);
    auto root = pool->NodePool().GetRoot();
    ASSERT_EQ(root->children.count("a"), 1u);
    auto a = root->children.find("a")->second;
    ASSERT_EQ(a->children.count("b"), 1u);
    auto c = a->children.find("b")->second->children.find("c");
    ASSERT_NE(c, a->children.find("b")->second->children.end());
    EXPECT_EQ(c->second->children.count("d"), 1u);
    EXPECT_EQ(pool->BlocksRead(), 7u);  // header, two chains, four nodes
    EXPECT_FLOAT_EQ(pool->LoadStep(), 35.0f);
    EXPECT_FLOAT_EQ(pool->Progress().Progress(), 70.0f);
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
    LogCapture log;
    auto pool = Load(file);
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
    {
        U3DFileWriter w;
        w.AddBlock(0x1000, {0, 0, 0, 0, 0, 0, 0, 0});
        LogCapture log;
        auto pool = Load(w);
        EXPECT_EQ(pool->BlocksFailed(), 1u);
    }
    U3DFileWriter w;
    BitStreamWriter block;
    block.WriteString("m");
    block.WriteU32(0);
    block.WriteBytes("payload", 7);
    w.AddBlock(0x1000, block);
    w.AddBlock(0xFFFFFF16, RHTypeDeclaration("Right Hemisphere Adobe Systems"));
    w.AddBlock(0xFFFFFF45, ShadingModifierData("m", "s"));
    LogCapture log;
    auto pool = Load(w);
    EXPECT_TRUE(pool->MeshPool().supportedExtensions.count(256));
    U3DFileWriter other;
    other.AddBlock(0xFFFFFF16, RHTypeDeclaration("Someone Else"));
    log.Clear();
    auto refused = Load(other);
    EXPECT_TRUE(refused->MeshPool().supportedExtensions.empty());
}

}  // namespace
