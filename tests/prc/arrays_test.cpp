// Huffman-coded, packed and bit-count-coded arrays.

#include <gtest/gtest.h>

#include <memory>

#include "prc/PrcBitWriter.h"
#include "prc/reader/BitstreamReader.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using Velmora::Test::LogCapture;
using Velmora::Test::PrcBitWriter;

// Room past the last four bytes for ReadU32.
std::unique_ptr<BitstreamReader> ReaderOver(const std::vector<uint8_t>& bytes) { return Test::ReaderOver(bytes, 8); }

// The Huffman bit sequence: table fields first bit lowest, data codes first bit highest.
class HuffmanBits {
public:
    void Field(uint32_t value, uint32_t width) {
        for (uint32_t i = 0; i < width; ++i) bits_.push_back((value >> i) & 1u);
    }
    void Code(uint32_t code, uint32_t length) {
        for (uint32_t i = length; i-- > 0;) bits_.push_back((code >> i) & 1u);
    }
    std::vector<uint32_t> Words(uint32_t& bitsInLastWord) const {
        std::vector<uint32_t> words((bits_.size() + 31) / 32, 0);
        for (size_t i = 0; i < bits_.size(); ++i) words[i / 32] |= bits_[i] << (i % 32);
        bitsInLastWord = static_cast<uint32_t>(bits_.size() % 32 ? bits_.size() % 32 : 32);
        return words;
    }

private:
    std::vector<uint32_t> bits_;
};

// Three leaves of 2-bit values: 1 -> "0", 2 -> "10", 3 -> "11"; data 1 2 3 1.
HuffmanBits SmallTable(uint32_t secondCode = 0b10) {
    HuffmanBits h;
    const uint32_t valueBits = 2;
    h.Field(3, valueBits + 1);  // leaves
    h.Field(2, 8);              // bits of a code length
    h.Field(1, valueBits);
    h.Field(1, 2);
    h.Field(0b0, 1);
    h.Field(2, valueBits);
    h.Field(2, 2);
    h.Field(secondCode, 2);
    h.Field(3, valueBits);
    h.Field(2, 2);
    h.Field(0b11, 2);
    h.Field(4, 32);  // count
    h.Code(0b0, 1);
    h.Code(0b10, 2);
    h.Code(0b11, 2);
    h.Code(0b0, 1);
    return h;
}

TEST(PrcArrays, HuffmanDecodes) {
    uint32_t last = 0;
    const auto words = SmallTable().Words(last);
    std::vector<uint16_t> values;
    ASSERT_TRUE(BitstreamReader::DecodeHuffman(values, 2, words, last));
    EXPECT_EQ(values, (std::vector<uint16_t>{1, 2, 3, 1}));
}

TEST(PrcArrays, HuffmanRefusesTwoLeavesWithOneCodeValue) {
    LogCapture log;
    uint32_t last = 0;
    // Codes "0" and "00" have the same numeric value.
    const auto words = SmallTable(0b00).Words(last);
    std::vector<uint16_t> values;
    EXPECT_FALSE(BitstreamReader::DecodeHuffman(values, 2, words, last));
    EXPECT_TRUE(log.HasLine("BitstreamWriter::DecodeHuffman() - Failed to insert HuffmanNode!", 1));
}

TEST(PrcArrays, HuffmanCountBeyondTheBitsFails) {
    LogCapture log;
    HuffmanBits h;
    h.Field(1, 3);
    h.Field(1, 8);
    h.Field(1, 2);
    h.Field(1, 1);
    h.Field(0, 1);
    h.Field(0xFFFFFFFF, 32);
    uint32_t last = 0;
    const auto words = h.Words(last);
    std::vector<uint16_t> values;
    EXPECT_FALSE(BitstreamReader::DecodeHuffman(values, 2, words, last));
    EXPECT_TRUE(values.empty());
}

TEST(PrcArrays, CharacterArrayBothForms) {
    uint32_t last = 0;
    const auto words = SmallTable().Words(last);
    PrcBitWriter writer;
    writer.Bit(0);  // uncompressed
    writer.Unsigned(3);
    writer.Byte(7);
    writer.Byte(8);
    writer.Byte(9);
    writer.Bit(1);  // compressed
    writer.Unsigned(static_cast<uint32_t>(words.size()));
    for (uint32_t w : words) writer.U32(w);
    writer.Unsigned(last == 32 ? 0 : last);
    auto reader = ReaderOver(writer.Bytes());
    std::vector<uint8_t> plain, packed;
    ASSERT_TRUE(reader->ReadCharacterArray(plain, 2));
    EXPECT_EQ(plain, (std::vector<uint8_t>{7, 8, 9}));
    ASSERT_TRUE(reader->ReadCharacterArray(packed, 2));
    EXPECT_EQ(packed, (std::vector<uint8_t>{1, 2, 3, 1}));
    LogCapture log;
    EXPECT_FALSE(reader->ReadCharacterArray(packed, 2));
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadCharacterArray() - NON-EMPTY ARRAY PASSED", 1));
}

TEST(PrcArrays, HugeUncompressedCountFailsBeforeAllocating) {
    LogCapture log;
    PrcBitWriter writer;
    writer.Bit(0);
    writer.Unsigned(0xFFFFFFF0);
    auto reader = ReaderOver(writer.Bytes());
    std::vector<uint8_t> values;
    EXPECT_FALSE(reader->ReadCharacterArray(values, 8));
    EXPECT_TRUE(values.empty());
}

TEST(PrcArrays, ShortArrayPlain) {
    PrcBitWriter writer;
    writer.Bit(0);
    writer.Unsigned(2);
    writer.Byte(0x34);
    writer.Byte(0x12);
    writer.Byte(0xFF);
    writer.Byte(0x00);
    auto reader = ReaderOver(writer.Bytes());
    std::vector<uint16_t> values;
    ASSERT_TRUE(reader->ReadShortArray(values, 16));
    EXPECT_EQ(values, (std::vector<uint16_t>{0x1234, 0x00FF}));
}

TEST(PrcArrays, CompressedIntegerArray) {
    PrcBitWriter writer;
    writer.Bit(0);
    writer.Unsigned(3);
    writer.Byte(4);
    writer.Byte(1);
    writer.Byte(6);            // bit counts
    writer.Bits(0b1101, 4);    // -5
    writer.Bit(1);             // -0
    writer.Bits(0b010001, 6);  // 17
    auto reader = ReaderOver(writer.Bytes());
    std::vector<int32_t> values;
    ASSERT_TRUE(reader->ReadCompressedIntegerArray(values));
    EXPECT_EQ(values, (std::vector<int32_t>{-5, 0, 17}));
}

TEST(PrcArrays, IndicesWithRunningBitCounts) {
    PrcBitWriter writer;
    writer.Bits(0b0101, 4);  // first: +5 in 4 bits
    writer.Bits(0b0011, 4);  // difference 0: again 4 bits, +3
    writer.Bits(0b110, 3);   // difference -1 (63): 3 bits, -2
    auto reader = ReaderOver(writer.Bytes());
    std::vector<uint8_t> counts = {4, 0, 63};
    std::vector<int32_t> values;
    ASSERT_TRUE(reader->ReadCompressedIndicesArrayWithCharArray(values, counts));
    EXPECT_EQ(values, (std::vector<int32_t>{5, 8, 6}));
    EXPECT_EQ(counts, (std::vector<uint8_t>{4, 4, 3}));

    LogCapture log;
    std::vector<uint8_t> falling = {1, 63};  // running count drops to 0
    values.clear();
    EXPECT_FALSE(reader->ReadCompressedIndicesArrayWithCharArray(values, falling));
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadCompressedIndicesArrayWithCharArray() - INVALID DIFF VALUE!", 1));
}

}  // namespace
}  // namespace Velmora::PRC
