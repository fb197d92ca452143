// Entity readers built value by value: the rules of the stream that the third-party files
// don't exercise.

#include <gtest/gtest.h>

#include <memory>

#include "prc/PrcBitWriter.h"
#include "prc/PrcFileBuilder.h"
#include "prc/reader/BitstreamReader.h"
#include "prc/reader/schema/SchemaExecutable.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using Velmora::Test::LogCapture;
using Velmora::Test::PrcBitWriter;
using Velmora::Test::PrcFileBuilder;
namespace FS = FileStructure;

using Velmora::Test::BitsRead;

std::unique_ptr<BitstreamReader> ReaderOver(const PrcBitWriter& writer, uint32_t version = 8137) {
    auto reader = Test::ReaderOver(writer.Bytes(), 16);
    reader->SetVersion(version);
    return reader;
}

// A view with no annotations, its plane, no scene display parameters, then (from 7094) three
// flags, and empty lists.
void WriteView(PrcBitWriter& w, bool withNewerFlags) {
    PrcFileBuilder::BaseWithIds(w, 501);
    PrcFileBuilder::NewGraphics(w);
    w.Unsigned(0);
    w.Unsigned(86);
    w.Unsigned(0);
    w.Name("");
    for (int i = 0; i < 8; ++i) w.Double(0.0);
    w.Bit(0);
    if (withNewerFlags) {
        w.Bit(1);
        w.Bit(1);
        w.Bit(0);
    }
    w.Unsigned(0);
    w.Unsigned(0);
    w.NoUserData();
}

TEST(PrcEntities, ViewFlagsDependOnTheFileVersion) {
    for (uint32_t version : {7093u, 7094u}) {
        PrcBitWriter w;
        WriteView(w, version >= 7094);
        auto reader = ReaderOver(w, version);
        const auto view = reader->ReadView();
        ASSERT_TRUE(view) << version;
        EXPECT_EQ(BitsRead(*reader), w.BitCount()) << version;
        EXPECT_EQ(view->isDefaultView, version >= 7094);
    }
}

TEST(PrcEntities, MaterialColourIndicesCountComponents) {
    PrcBitWriter w;
    w.Unsigned(702);
    PrcFileBuilder::BaseWithIds(w, 702, false);
    for (uint32_t stored : {1u, 4u, 7u, 0u}) w.Unsigned(stored);
    for (double v : {0.5, 1.0, 1.0, 1.0, 1.0}) w.Double(v);
    auto reader = ReaderOver(w);
    const auto material = std::dynamic_pointer_cast<FS::MaterialGeneric>(reader->ReadMaterialDefinition());
    ASSERT_TRUE(material);
    EXPECT_EQ(material->ambient, 0u);
    EXPECT_EQ(material->diffuse, 1u);
    EXPECT_EQ(material->emissive, 2u);
    EXPECT_EQ(material->specular, 0xFFFFFFFFu / 3);
    EXPECT_EQ(material->shininess, 0.5f);
    EXPECT_EQ(BitsRead(*reader), w.BitCount());
}

TEST(PrcEntities, GraphicsSameAsBeforeAndTheirSchema) {
    FS::GlobalsSection globals;
    globals.schemas[2] = Schema::Executable::Create({19, 22, 1, 21});
    BitstreamReader::SetCurrentGlobals(&globals);
    PrcBitWriter w;
    w.Bit(0);
    w.Unsigned(3);
    w.Unsigned(2);
    w.Byte(0x34);
    w.Byte(0x12);
    w.Bit(1);
    auto reader = ReaderOver(w);
    FS::Graphics first, second;
    LogCapture log;
    EXPECT_TRUE(reader->ReadGraphics(first));
    EXPECT_EQ(first.layerIndex, 2);
    EXPECT_EQ(first.lineStyleIndex, 1);
    EXPECT_EQ(first.behaviourBits, 0x1234);
    // The schema declares a global: the second entity with graphics fails.
    EXPECT_FALSE(reader->ReadGraphics(second));
    EXPECT_EQ(second.behaviourBits, 0x1234);
    EXPECT_TRUE(log.HasLine("Instruction_Global::ValueDeclare() - REDECLARED EXISTING GLOBAL!", 1));
    BitstreamReader::SetCurrentGlobals(nullptr);
}

TEST(PrcEntities, RepresentationItemOfUnknownType) {
    LogCapture log;
    PrcBitWriter w;
    w.Unsigned(230);
    auto reader = ReaderOver(w);
    EXPECT_FALSE(reader->ReadRepresentationItemDefinition());
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadRepresentationItemDefinition() - invalid type!", 1));
}

TEST(PrcEntities, DeeplyNestedSetsFail) {
    LogCapture log;
    PrcBitWriter w;
    for (int i = 0; i < 40; ++i) {
        PrcFileBuilder::BaseWithIds(w, 239);
        w.Bit(1);
        w.Unsigned(0);
        w.Unsigned(0);
        w.Unsigned(1);
    }
    auto reader = ReaderOver(w);
    EXPECT_FALSE(reader->ReadRepresentationItemDefinition());
    EXPECT_TRUE(log.Has("nested too deeply", 1));
}

TEST(PrcEntities, TransformationWithTranslationAndScale) {
    PrcBitWriter w;
    w.Unsigned(202);
    w.Byte(0x01 | 0x08);
    for (double v : {1.0, 2.0, 3.0}) w.Double(v);
    w.Double(0.5);
    auto reader = ReaderOver(w);
    const auto t = std::dynamic_pointer_cast<FS::CartesianTransformation3D>(reader->ReadTransformation());
    ASSERT_TRUE(t);
    EXPECT_EQ(t->origin, (FS::Vec3f{1, 2, 3}));
    EXPECT_EQ(t->uniformScale, 0.5f);
    EXPECT_EQ(BitsRead(*reader), w.BitCount());
    PrcBitWriter other;
    other.Unsigned(205);
    EXPECT_FALSE(ReaderOver(other)->ReadTransformation());
}

// A wire tessellation of three vertices with the given wire index array.
std::shared_ptr<FS::BaseTessData> ReadWire(const std::vector<int32_t>& indices) {
    PrcBitWriter w;
    w.Unsigned(175);
    w.Bit(0);
    w.Unsigned(9);
    for (int i = 0; i < 9; ++i) w.Double(i);
    w.Unsigned(static_cast<uint32_t>(indices.size()));
    for (int32_t v : indices) w.Integer(v);
    return ReaderOver(w)->ReadTessellation();
}

TEST(PrcEntities, WireIndices) {
    LogCapture log;
    const auto open = std::dynamic_pointer_cast<FS::Content3DWireTess>(ReadWire({2, 0, 3}));
    ASSERT_TRUE(open);
    ASSERT_EQ(open->wires.size(), 1u);
    EXPECT_EQ(open->wires[0].indices, (std::vector<int32_t>{0, 3}));

    const auto closing = std::dynamic_pointer_cast<FS::Content3DWireTess>(ReadWire({0x10000003, 0, 3, 6}));
    ASSERT_TRUE(closing);
    EXPECT_EQ(closing->wires[0].indices, (std::vector<int32_t>{0, 3, 6, 0}));

    EXPECT_FALSE(ReadWire({0x10000002, 0, 3}));
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadContent3DWireTess() - invalid closing wire", 1));
    EXPECT_FALSE(ReadWire({1, 9}));
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadContent3DWireTess() - invalid wire index!", 1));
    EXPECT_FALSE(ReadWire({0x20000001, 0}));
    EXPECT_TRUE(log.Has("IsContinuous set without a preciding wire!", 1));
}

TEST(PrcEntities, UnknownTessellationType) {
    LogCapture log;
    PrcBitWriter w;
    w.Unsigned(171);
    EXPECT_FALSE(ReaderOver(w)->ReadTessellation());
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadBaseTessData() - WRONG DATE TYPE", 1));
}

}  // namespace
}  // namespace Velmora::PRC
