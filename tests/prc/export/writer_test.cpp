// What the writer produces reads back through the reader with identical values: doubles to the
// bit, Huffman arrays, character arrays, index arrays and a highly compressed tessellation.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "prc/export/BitstreamWriter.h"
#include "prc/reader/BitstreamReader.h"
#include "prc/reader/PRCFile.h"
#include "prc/reader/filestructure/EntityTypes.h"

namespace Velmora::PRC {
namespace {

// A reader over what the writer's chunk holds so far.
class ReadBack {
public:
    explicit ReadBack(const BitstreamWriter& writer) {
        const std::vector<uint8_t>& bytes = writer.CurrentChunk().bytes;
        // Room behind the data, so that the reader's end-of-data checks never cut a value.
        constexpr uint32_t kTail = 8;
        auto* copy = new uint8_t[bytes.size() + kTail]();
        std::copy(bytes.begin(), bytes.end(), copy);
        reader.SetData(std::make_shared<BitstreamReader::ByteHolder>(copy, uint32_t(bytes.size() + kTail)));
    }
    BitstreamReader reader;
};

BitstreamWriter OpenWriter() {
    BitstreamWriter writer;
    EXPECT_TRUE(writer.CreateNewWritingChunk());
    return writer;
}

TEST(WriterDoubles, EveryKindOfValueReadsBackToTheBit) {
    // clang-format off
    std::vector<double> values = {0.0, 1.0, -1.0, 0.5, 0.001, -0.002, 3.141592653589793, 2000.0, 40.0,
                                  double(1e20f), -double(1e20f), 123.456, 1e300, -1e-300, double(0.1f),
                                  std::numeric_limits<double>::max(), std::numeric_limits<double>::min(),
                                  std::ldexp(1.0, 40) + 1.0, 1.0 + std::ldexp(1.0, -52)};
    // clang-format on
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> spread(-1e6, 1e6);
    for (int i = 0; i < 2000; ++i) values.push_back(spread(random));
    for (int i = 0; i < 500; ++i) values.push_back(static_cast<double>(static_cast<float>(spread(random))));
    // Raw bit patterns with long runs of equal bytes exercise the mantissa's repeat codes.
    for (const uint64_t bits : {0x4010101010101010ull, 0x40F0F0F0F0F0F0F1ull, 0x3FF0000000000001ull,
                                0x4000FFFFFFFFFFFFull, 0xC0ABABABAB000000ull, 0x4123456789ABCDEFull})
        values.push_back(std::bit_cast<double>(bits));

    BitstreamWriter writer = OpenWriter();
    for (const double value : values) ASSERT_TRUE(writer.WriteCompressedDouble(value)) << value;
    ReadBack back(writer);
    for (const double value : values)
        EXPECT_EQ(std::bit_cast<uint64_t>(back.reader.ReadDouble()), std::bit_cast<uint64_t>(value)) << value;
}

TEST(WriterIntegers, ExtremesReadBack) {
    const std::vector<uint32_t> unsignedValues = {0, 1, 127, 128, 255, 256, 65535, 0x12345678, UINT32_MAX};
    const std::vector<int32_t> signedValues = {0, 1, -1, 127, -128, 128, -129, 32767, -32768, INT32_MAX, INT32_MIN};
    BitstreamWriter writer = OpenWriter();
    for (const uint32_t v : unsignedValues) writer.WriteUnsignedInteger(v);
    for (const int32_t v : signedValues) writer.WriteInteger(v);
    for (const int32_t v : signedValues) {
        if (std::abs(int64_t{v}) >= (int64_t{1} << 30)) continue;  // sign and 30 bits at most
        ASSERT_TRUE(writer.WriteIntegerWithVariableBitNumber(v, 31));
    }
    ReadBack back(writer);
    for (const uint32_t v : unsignedValues) EXPECT_EQ(back.reader.ReadUnsignedInteger(), v);
    for (const int32_t v : signedValues) EXPECT_EQ(back.reader.ReadInteger(), v);
    for (const int32_t v : signedValues) {
        if (std::abs(int64_t{v}) >= (int64_t{1} << 30)) continue;
        EXPECT_EQ(back.reader.ReadIntegerWithVariableBitNumber(31), v);
    }
}

TEST(WriterHuffman, OneValueGivesOneLeafWithCodeOne) {
    HuffmanTree tree;
    ASSERT_TRUE(BitstreamWriter::CalculateHuffmanTree({5, 5, 5, 5}, 8, tree));
    ASSERT_EQ(tree.leaves.size(), 1u);
    EXPECT_EQ(tree.leaves.at(5).code, 1u);
    EXPECT_EQ(tree.leaves.at(5).numberOfBits, 1u);
}

TEST(WriterHuffman, ArraysDecodeToTheSameValues) {
    std::mt19937 random(3);
    std::geometric_distribution<uint32_t> skewed(0.3);
    std::vector<uint32_t> values(5000);
    for (uint32_t& v : values) v = std::min<uint32_t>(skewed(random), 1023);
    HuffmanArray array;
    ASSERT_TRUE(BitstreamWriter::CreateHuffmanArray(values, 10, array));
    std::vector<uint16_t> decoded;
    ASSERT_TRUE(BitstreamReader::DecodeHuffman(decoded, 10, array.words, array.bitsInLastWord));
    EXPECT_EQ(std::vector<uint32_t>(decoded.begin(), decoded.end()), values);
}

TEST(WriterArrays, CharacterArraysReadBackPackedOrPlain) {
    std::vector<uint8_t> repetitive(3000);
    for (size_t i = 0; i < repetitive.size(); ++i) repetitive[i] = static_cast<uint8_t>(i % 97 == 0 ? 3 : 1);
    std::vector<uint8_t> noisy(300);
    std::mt19937 random(11);
    for (uint8_t& v : noisy) v = static_cast<uint8_t>(random());
    const std::vector<uint8_t> single = {42};

    BitstreamWriter writer = OpenWriter();
    ASSERT_TRUE(writer.WriteCharacterArray(repetitive, 2));
    const size_t packedBytes = writer.CurrentChunk().bytes.size();
    ASSERT_TRUE(writer.WriteCharacterArray(noisy, 8));
    ASSERT_TRUE(writer.WriteCharacterArray(single, 6));
    ASSERT_TRUE(writer.WriteCharacterArray({}, 6));
    // The repetitive array is packed: two bits a value at most (every code starts with a 1
    // bit), against eight plain.
    EXPECT_LT(packedBytes, repetitive.size() / 3);

    ReadBack back(writer);
    std::vector<uint8_t> a, b, c, d;
    ASSERT_TRUE(back.reader.ReadCharacterArray(a, 2));
    ASSERT_TRUE(back.reader.ReadCharacterArray(b, 8));
    ASSERT_TRUE(back.reader.ReadCharacterArray(c, 6));
    ASSERT_TRUE(back.reader.ReadCharacterArray(d, 6));
    EXPECT_EQ(a, repetitive);
    EXPECT_EQ(b, noisy);
    EXPECT_EQ(c, single);
    EXPECT_TRUE(d.empty());
}

TEST(WriterArrays, ShortIntegerAndIndexArraysReadBack) {
    std::vector<uint16_t> shorts(2000);
    for (size_t i = 0; i < shorts.size(); ++i) shorts[i] = static_cast<uint16_t>((i * 37) % 5);
    const std::vector<int32_t> integers = {0, -1, 5, 1 << 20, -(1 << 29), 77, 0};
    std::vector<int32_t> indices;
    for (int32_t i = 0; i < 500; ++i) indices.push_back(i % 3 == 0 ? i * 11 : 1000 - i);

    BitstreamWriter writer = OpenWriter();
    ASSERT_TRUE(writer.WriteShortArray(shorts, 16));
    ASSERT_TRUE(writer.WriteCompressedIntegerArray(integers));
    ASSERT_TRUE(writer.WriteCompressedIndicesArray(indices));
    ReadBack back(writer);
    std::vector<uint16_t> s;
    std::vector<int32_t> i1, i2;
    ASSERT_TRUE(back.reader.ReadShortArray(s, 16));
    ASSERT_TRUE(back.reader.ReadCompressedIntegerArray(i1));
    ASSERT_TRUE(back.reader.ReadCompressedIndicesArray(i2));
    EXPECT_EQ(s, shorts);
    EXPECT_EQ(i1, integers);
    EXPECT_EQ(i2, indices);
}

// A small tessellation as the traversal encoder would fill it, with every optional part.
FileStructure::HighlyCompressed3DTess HandBuiltTess(uint32_t referencedPoints) {
    FileStructure::HighlyCompressed3DTess tess;
    tess.tolerance = 0.001;
    tess.origin[0] = 0.5;
    tess.origin[1] = -2.25;
    tess.origin[2] = 8.0;
    tess.pointArray = {0, 0, 0, 1000, 0, 0, 0, 1000, 0, 0, 0, 1000, -500, 250, 17};
    tess.edgeStatusArray = {0, 1, 2, 3, 1, 1, 0, 2};
    tess.triangleFaceArray = {0, 0, 1, 1, 2};
    tess.isReferencedArray.assign(6, 0);
    for (uint32_t i = 0; i < referencedPoints; ++i) {
        tess.isReferencedArray[i] = 1;
        tess.pointReferenceArray.push_back(static_cast<int32_t>(3 * i + 1));
    }
    tess.normalBits = 9;
    tess.normalFlagArray = {1, 0, 1, 1, 0, 0, 1};
    tess.normalAngleArray = {0, 511, 100, 100, 100, 3, 250, 250};
    tess.faceIsPlanarArray = {1, 0, 1};
    tess.hasPerFaceColours = true;
    tess.faceColourFlags = {0, 1, 1};
    tess.pointColourArray = {255, 0, 0, 255, 0, 255, 0, 255};
    tess.styleArray = {0, -1, 2};
    tess.noTextures = false;
    tess.textures.binaryBitCount = 13;
    tess.textures.header[0] = 1;
    tess.textures.header[1] = 2;
    tess.textures.header[2] = 3;
    tess.textures.binaryData = {0xA5, 0xF8};
    tess.textures.binaryValueCount = 4;
    tess.textures.parameterKind = 1;
    tess.textures.parameterBits = 12;
    tess.textures.tolerance = 0.0001;
    tess.textures.coordinates = {0.0f, 0.25f, 1.0f, 0.75f};
    tess.allFacesTextured = false;
    tess.faceTexturedFlags = {1, 1, 0};
    tess.hasExtra = true;
    tess.extraData = {9, 8, 7};
    return tess;
}

TEST(WriterHighlyCompressed, HandBuiltTessellationReadsBackInBothReferenceForms) {
    // Fewer than four referenced points are stored plain, more as a Huffman array.
    for (const uint32_t referenced : {2u, 5u}) {
        const FileStructure::HighlyCompressed3DTess tess = HandBuiltTess(referenced);
        BitstreamWriter writer = OpenWriter();
        ASSERT_TRUE(writer.WriteBaseTessData(tess));
        ReadBack back(writer);
        const std::shared_ptr<FileStructure::BaseTessData> read = back.reader.ReadTessellation();
        ASSERT_TRUE(read);
        ASSERT_EQ(read->type, tess.type);
        const auto& copy = static_cast<const FileStructure::HighlyCompressed3DTess&>(*read);
        EXPECT_EQ(copy.numberOfFaces, 3);
        EXPECT_EQ(copy.pointReferenceArray, tess.pointReferenceArray);
        EXPECT_EQ(copy.normalAngleArray, tess.normalAngleArray);
        EXPECT_EQ(copy.textures.coordinates, tess.textures.coordinates);
        // Every field the writer wrote was read back as it was: writing the copy again gives
        // the same bits.
        BitstreamWriter again = OpenWriter();
        ASSERT_TRUE(again.WriteBaseTessData(copy));
        EXPECT_EQ(again.CurrentChunk().bytes, writer.CurrentChunk().bytes);
    }
}

TEST(WriterHighlyCompressed, ArraysThatDisagreeWithTheFacesAreRefused) {
    FileStructure::HighlyCompressed3DTess tess = HandBuiltTess(2);
    tess.faceIsPlanarArray.push_back(1);  // four flags for three faces
    BitstreamWriter writer = OpenWriter();
    EXPECT_FALSE(writer.WriteHighlyCompressed3DTess(tess));
}

TEST(WriterContainer, ASmallFileIsPaddedToASizeTheReaderTakes) {
    FileStructureBlock block;
    block.uuid.words[3] = 0x50000000;
    block.globals.base.type = kTypeGlobals;
    block.tree.base.type = kTypeTree;
    block.tree.internalData.type = kTypeTreeInternalData;
    block.tessellation.base.type = kTypeTessellationSection;
    FileStructure::ModelFileSection model;
    model.base.type = kTypeModelFile;
    model.fileStructureIndices = {0};
    BitstreamWriter writer;
    ASSERT_TRUE(writer.Create(&block, &model));
    DataChunk bytes;
    ASSERT_TRUE(writer.WriteToMemory(bytes));
    EXPECT_GT(bytes.Size(), PRCFile::kMinimumFileSize);
    const std::shared_ptr<PRCFile> file = PRCFile::CreateFromMemory(bytes.bytes.data(), bytes.Size(), nullptr, 0.0f);
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->GetFileStructureBlock(0));
}

}  // namespace
}  // namespace Velmora::PRC
