// Primitives of the bit stream: round trips through the test writer, and the tolerant edges.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "prc/PrcBitWriter.h"
#include "prc/reader/BitstreamReader.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using Test::LogCapture;
using Test::PrcBitWriter;
using Test::ReaderOver;

TEST(PrcBitstream, IntegersRoundTrip) {
    const uint32_t unsignedValues[] = {0, 1, 127, 128, 255, 256, 65535, 70000, 0x7FFFFFFF, 0xFFFFFFFF};
    const int32_t signedValues[] = {0,
                                    1,
                                    -1,
                                    127,
                                    -128,
                                    128,
                                    -129,
                                    32767,
                                    -32768,
                                    1 << 20,
                                    -(1 << 20),
                                    std::numeric_limits<int32_t>::max(),
                                    std::numeric_limits<int32_t>::min()};
    PrcBitWriter writer;
    writer.Bit(1);  // start off byte boundaries
    for (uint32_t v : unsignedValues) writer.Unsigned(v);
    for (int32_t v : signedValues) writer.Integer(v);
    writer.U32(0xDEADBEEF);
    writer.U32(0);  // ReadU32 can't reach the last four bytes
    auto reader = ReaderOver(writer.Bytes());
    EXPECT_EQ(reader->ReadBit(), 1u);
    for (uint32_t v : unsignedValues) EXPECT_EQ(reader->ReadUnsignedInteger(), v);
    for (int32_t v : signedValues) EXPECT_EQ(reader->ReadInteger(), v);
    EXPECT_EQ(reader->ReadU32(), 0xDEADBEEFu);
}

TEST(PrcBitstream, ZeroUnsignedIsOneBit) {
    PrcBitWriter writer;
    writer.Unsigned(0);
    writer.Bits(0b1011, 4);
    auto reader = ReaderOver(writer.Bytes());
    EXPECT_EQ(reader->ReadUnsignedInteger(), 0u);
    EXPECT_EQ(reader->ReadBits(4), 0b1011u);
}

TEST(PrcBitstream, ByteAtAnyOffset) {
    PrcBitWriter writer;
    writer.Bits(0b101, 3);
    writer.Byte(0xA5);
    writer.Byte(0x3C);
    auto reader = ReaderOver(writer.Bytes());
    EXPECT_EQ(reader->ReadBits(3), 0b101u);
    EXPECT_EQ(reader->ReadByte(), 0xA5);
    EXPECT_EQ(reader->ReadByte(), 0x3C);
    EXPECT_EQ(reader->BitOffset(), 3u);
}

TEST(PrcBitstream, U32RefusesTheLastFourBytes) {
    LogCapture log;
    auto reader = ReaderOver({1, 2, 3, 4});
    EXPECT_EQ(reader->ReadU32(), 0u);
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadU32() - Invalid read pointer!", 1));
    EXPECT_EQ(reader->Position(), 0u);
}

TEST(PrcBitstream, ReadingPastTheEndLogsAndGivesZeros) {
    LogCapture log;
    auto reader = ReaderOver({0xFF});
    EXPECT_EQ(reader->ReadByte(), 0xFF);
    EXPECT_FALSE(log.Has("DATA OVERFLOW"));
    EXPECT_EQ(reader->ReadByte(), 0);
    EXPECT_EQ(log.CountLine("BitstreamReader::AdvanceByte() - DATA OVERFLOW!", 1), 1u);
    EXPECT_EQ(reader->ReadUnsignedInteger(), 0u);
    EXPECT_EQ(reader->RemainingBits(), 0u);
}

TEST(PrcBitstream, VariableBitNumbers) {
    LogCapture log;
    PrcBitWriter writer;
    writer.Bits(0b1, 1);      // sign of a 1-bit signed value: -0
    writer.Bits(0b1101, 4);   // sign set, magnitude 5 in 3 bits
    writer.Bits(0b0011, 4);   // sign clear, magnitude 3
    writer.Bits(0b00101, 5);  // bit count 5 ...
    writer.Bits(0b10011, 5);  // ... then 19
    auto reader = ReaderOver(writer.Bytes());
    EXPECT_EQ(reader->ReadIntegerWithVariableBitNumber(1), 0);
    EXPECT_EQ(reader->ReadIntegerWithVariableBitNumber(4), -5);
    EXPECT_EQ(reader->ReadIntegerWithVariableBitNumber(4), 3);
    EXPECT_EQ(reader->ReadBitNumberThenUnsignedInteger(), 19u);

    log.Clear();
    EXPECT_EQ(reader->ReadUnsignedIntegerWithVariableBitNumber(0), 0u);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(reader->ReadIntegerWithVariableBitNumber(0), 0);
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadIntegerWithVariableBitNumber() - INVALID BITNUMBER!", 1));
    EXPECT_EQ(reader->ReadUnsignedIntegerWithVariableBitNumber(32), 0u);
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadUnsignedIntegerWithVariableBitNumber() - INVALID BITNUMBER!", 1));
    EXPECT_EQ(reader->ReadBits(33), 0u);
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadBits() - too many bits requested!", 1));
}

TEST(PrcBitstream, StringsAndTheSameNameRule) {
    PrcBitWriter writer;
    writer.Bit(1);  // first name in the section: "same as before" gives the empty name
    writer.Name("first");
    writer.Bit(1);
    writer.String("");
    writer.String(std::string("a\0b", 3));
    auto reader = ReaderOver(writer.Bytes());
    EXPECT_EQ(reader->ReadName(), "");
    EXPECT_EQ(reader->ReadName(), "first");
    EXPECT_EQ(reader->ReadName(), "first");
    EXPECT_EQ(reader->ReadString(), "");
    EXPECT_EQ(reader->ReadString(), std::string("a\0b", 3));
    reader->ResetNameAndGraphics();
    EXPECT_EQ(reader->CurrentName(), "");
}

TEST(PrcBitstream, HugeStringLengthStopsAtTheEnd) {
    LogCapture log;
    PrcBitWriter writer;
    writer.Bit(1);
    writer.Unsigned(0x7FFFFFFF);
    writer.Byte('x');
    auto reader = ReaderOver(writer.Bytes());
    EXPECT_EQ(reader->ReadString(), "");
    EXPECT_EQ(reader->RemainingBits(), 0u);
    EXPECT_TRUE(log.Has("exceeds the data left", 1));
}

TEST(PrcBitstream, DoubleCodesOfTheTable) {
    // 01: zero in two bits, no sign bit.
    auto reader = ReaderOver({0b01000000});
    EXPECT_EQ(reader->ReadDouble(), 0.0);
    EXPECT_EQ(reader->BitOffset(), 2u);
    // 0000 then the sign: 1.0 in five bits; 1 for the sign gives -1.0.
    reader = ReaderOver({0b00000000, 0b01000000});
    EXPECT_EQ(reader->ReadDouble(), 1.0);
    EXPECT_EQ(reader->BitOffset(), 5u);
    reader = ReaderOver({0b00001000});
    EXPECT_EQ(reader->ReadDouble(), -1.0);
    // 1111: 0.001, 10110: 0.002.
    reader = ReaderOver({0b11110101, 0b10000000});
    EXPECT_EQ(reader->ReadDouble(), 0.001);
    EXPECT_EQ(reader->ReadDouble(), 0.002);
    // 1000 is the exponent of 0.5; sign 0, then 0: no mantissa.
    reader = ReaderOver({0b10000000});
    EXPECT_EQ(reader->ReadDouble(), 0.5);
    EXPECT_EQ(reader->BitOffset(), 6u);
}

TEST(PrcBitstream, DoublesRoundTripThroughExponentCodes) {
    const double values[] = {0.5, -0.75, 3.14159265358979, 1e-7, -123456.789, 1e300, 2.5e-300, 42.0, -1.0 / 3.0};
    PrcBitWriter writer;
    for (double v : values) writer.Double(v);
    auto reader = ReaderOver(writer.Bytes());
    for (double v : values) EXPECT_EQ(reader->ReadDouble(), v);
}

TEST(PrcBitstream, MantissaByteRepeats) {
    // Exponent of 0.5 (1000), sign 0, mantissa follows (1), top nibble 0x8, then byte 5 read
    // (1 + 0x12) and code 0: the byte above repeats down to byte 0.
    PrcBitWriter writer;
    writer.Bits(0b1000, 4);
    writer.Bit(0);
    writer.Bit(1);
    writer.Bits(0x8, 4);
    writer.Bit(1);
    writer.Byte(0x12);
    writer.Bit(0);
    writer.Bits(0, 3);
    auto reader = ReaderOver(writer.Bytes());
    EXPECT_EQ(std::bit_cast<uint64_t>(reader->ReadDouble()), 0x3FE8121212121212ull);
}

TEST(PrcBitstream, UserDataKeepsItsBits) {
    PrcBitWriter writer;
    writer.Unsigned(11);
    writer.Byte(0xAB);
    writer.Bits(0b101, 3);
    writer.Unsigned(0);
    auto reader = ReaderOver(writer.Bytes());
    FileStructure::UserData data;
    ASSERT_TRUE(reader->ReadUserData(data));
    EXPECT_EQ(data.bitCount, 11u);
    ASSERT_TRUE(data.bytes);
    EXPECT_EQ((*data.bytes)[0], 0xAB);
    EXPECT_EQ((*data.bytes)[1], 0b101);
    ASSERT_TRUE(reader->ReadUserData(data));
    EXPECT_EQ(data.bitCount, 0u);
}

TEST(PrcBitstream, UserDataLongerThanTheDataFails) {
    LogCapture log;
    PrcBitWriter writer;
    writer.Unsigned(1u << 30);
    auto reader = ReaderOver(writer.Bytes());
    FileStructure::UserData data;
    EXPECT_FALSE(reader->ReadUserData(data));
}

}  // namespace
}  // namespace Velmora::PRC
