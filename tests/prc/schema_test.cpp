// Schemas: decoding refusals, version rules, loops, globals and the arithmetic edge cases.

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "prc/PrcBitWriter.h"
#include "prc/reader/BitstreamReader.h"
#include "prc/reader/schema/SchemaExecutable.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using Velmora::Test::LogCapture;
using Velmora::Test::PrcBitWriter;

using Velmora::Test::BitsRead;
std::unique_ptr<BitstreamReader> ReaderOver(const std::vector<uint8_t>& bytes) { return Test::ReaderOver(bytes, 1); }

std::shared_ptr<Schema::Executable> Make(const std::vector<uint32_t>& tokens) {
    return Schema::Executable::Create(tokens);
}

TEST(PrcSchema, EmptyBlockReadsNothingAndTokensBehindItAreIgnored) {
    auto executable = Make({19, 21, 5, 21});
    ASSERT_TRUE(executable);
    auto reader = ReaderOver({0xFF});
    EXPECT_TRUE(executable->Run(*reader));
    EXPECT_EQ(BitsRead(*reader), 0u);
}

TEST(PrcSchema, OneTokenIsRefusedByReadSchemaAlone) {
    LogCapture log;
    PrcBitWriter writer;
    writer.Unsigned(1);
    writer.Unsigned(2);  // type: graphics
    writer.Unsigned(1);  // one token
    writer.Unsigned(19);
    auto reader = ReaderOver(writer.Bytes());
    FileStructure::SchemaMap map;
    EXPECT_FALSE(reader->ReadSchema(map));
    EXPECT_TRUE(log.HasLine("BitstreamReader::ReadSchema() - Failed to create executable!", 1));
    EXPECT_FALSE(log.Has("Schema::Decoder"));
}

TEST(PrcSchema, TwoSchemasForOneTypeFailSilently) {
    LogCapture log(1);
    PrcBitWriter writer;
    writer.Unsigned(2);
    for (int i = 0; i < 2; ++i) {
        writer.Unsigned(303);
        writer.Unsigned(2);
        writer.Unsigned(19);
        writer.Unsigned(21);
    }
    auto reader = ReaderOver(writer.Bytes());
    FileStructure::SchemaMap map;
    EXPECT_FALSE(reader->ReadSchema(map));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(PrcSchema, OtherTypesAreKeptWithAWarning) {
    LogCapture log;
    PrcBitWriter writer;
    writer.Unsigned(1);
    writer.Unsigned(999);
    writer.Unsigned(2);
    writer.Unsigned(19);
    writer.Unsigned(21);
    auto reader = ReaderOver(writer.Bytes());
    FileStructure::SchemaMap map;
    EXPECT_TRUE(reader->ReadSchema(map));
    EXPECT_EQ(map.count(999), 1u);
    EXPECT_TRUE(log.HasLine("Warning, schema for not yet implemented type!", 1));
}

TEST(PrcSchema, VersionedBlocksRunOnlyForNewerData) {
    PrcBitWriter writer;
    writer.Unsigned(300);
    const auto bytes = writer.Bytes();

    auto known = Make({19, 20, 10001, 3, 21, 21});
    ASSERT_TRUE(known);
    auto reader = ReaderOver(bytes);
    EXPECT_TRUE(known->Run(*reader));
    EXPECT_EQ(BitsRead(*reader), 0u);

    auto newer = Make({19, 20, 10002, 3, 21, 21});
    ASSERT_TRUE(newer);
    reader = ReaderOver(bytes);
    EXPECT_TRUE(newer->Run(*reader));
    EXPECT_EQ(BitsRead(*reader), writer.BitCount());
}

TEST(PrcSchema, LoopCounters) {
    // A counter of 0 runs nothing.
    auto zero = Make({19, 15, 26, 0, 3, 21});
    ASSERT_TRUE(zero);
    auto reader = ReaderOver({0xFF, 0xFF});
    EXPECT_TRUE(zero->Run(*reader));
    EXPECT_EQ(BitsRead(*reader), 0u);

    // Token 16 reads its counter from the stream, then that many bits.
    PrcBitWriter writer;
    writer.Unsigned(3);
    writer.Bits(0b101, 3);
    auto implicit = Make({19, 16, 0, 21});
    ASSERT_TRUE(implicit);
    reader = ReaderOver(writer.Bytes());
    EXPECT_TRUE(implicit->Run(*reader));
    EXPECT_EQ(BitsRead(*reader), writer.BitCount());
}

TEST(PrcSchema, HugeLoopOverEmptyBodyFailsInsteadOfSpinning) {
    LogCapture log;
    auto executable = Make({19, 15, 26, 0xFFFFFFFF, 19, 21, 21});
    ASSERT_TRUE(executable);
    auto reader = ReaderOver({0});
    EXPECT_FALSE(executable->Run(*reader));
}

TEST(PrcSchema, DeclaredGlobalFailsOnTheSecondRun) {
    LogCapture log;
    auto executable = Make({19, 22, 7, 21});
    ASSERT_TRUE(executable);
    auto reader = ReaderOver({0});
    EXPECT_TRUE(executable->Run(*reader));
    EXPECT_FALSE(executable->Run(*reader));
    EXPECT_TRUE(log.HasLine("Instruction_Global::ValueDeclare() - REDECLARED EXISTING GLOBAL!", 1));
}

TEST(PrcSchema, GlobalSetAndGet) {
    // Declare-and-set global 1 to a read unsigned; loop over its value reading bits.
    PrcBitWriter writer;
    writer.Unsigned(4);
    writer.Bits(0, 4);
    auto executable = Make({19, 24, 1, 3, 15, 25, 1, 0, 21});
    ASSERT_TRUE(executable);
    auto reader = ReaderOver(writer.Bytes());
    EXPECT_TRUE(executable->Run(*reader));
    EXPECT_EQ(BitsRead(*reader), writer.BitCount());
    EXPECT_EQ(executable->GlobalValues().at(1)->unsignedValue, 4u);
}

TEST(PrcSchema, ConditionSelectsTheBranchAndDivisionByZeroIsTrue) {
    // if (1 / 0) or if (2 < 1): read a double (01: two bits), else read one bit.
    for (auto [op, a, b, bits] : {std::tuple{30u, 1u, 0u, 2u}, std::tuple{33u, 2u, 1u, 1u}}) {
        auto executable = Make({19, 17, op, 26, a, 26, b, 1, 18, 0, 21});
        ASSERT_TRUE(executable);
        auto reader = ReaderOver({0b01000000});
        EXPECT_TRUE(executable->Run(*reader));
        EXPECT_EQ(BitsRead(*reader), bits) << op;
    }
}

TEST(PrcSchema, ArithmeticOnTextFails) {
    LogCapture log;
    auto executable = Make({19, 17, 31, 5, 26, 1, 19, 21, 21});
    ASSERT_TRUE(executable);
    auto reader = ReaderOver({0});
    EXPECT_FALSE(executable->Run(*reader));
    EXPECT_TRUE(log.HasLine("SchemaValue::op+() - INVALID DATA!", 1));
}

TEST(PrcSchema, DecoderRefusals) {
    LogCapture log;
    EXPECT_FALSE(Make({3, 21}));
    EXPECT_TRUE(log.HasLine("Schema::Decoder::Run() - Scheme needs all-enclosing block!", 1));
    EXPECT_FALSE(Make({19, 12, 21}));
    EXPECT_TRUE(log.HasLine("Schema::Decoder::ReadSingleInstruction() - UNSUPPORTEN TOKEN!", 1));
    EXPECT_FALSE(Make({19, 19, 21}));
    EXPECT_TRUE(log.HasLine("Decoder::IsNextTokenBlockEnd() - OUT OF BOUNDS", 1));
    EXPECT_TRUE(log.HasLine("Schema::Decoder::Run() - Incorrectly terminated schema blocks!", 1));
    std::vector<uint32_t> deep(200, 19);
    deep.push_back(21);
    EXPECT_FALSE(Make(deep));
}

}  // namespace
}  // namespace Velmora::PRC
