// The bit stream reader and its arithmetic decoder.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <variant>

#include "u3d/BitStreamReader.h"
#include "u3d/CoderDivision.h"
#include "u3d/ContextManager.h"
#include "u3dwriter/U3DWriter.h"

using namespace U3DWriter;

namespace {

using U3DWriter::BitStreamWriter;
using Velmora::U3D::BitStreamReader;
using Velmora::U3D::ContextManager;

enum class Op { U8, U16, U32, U64, F32, F64, String, CU8, CU16, CU32 };

struct Item {
    Op op;
    uint32_t context = 0;
    uint64_t value = 0;
    double real = 0;
    std::string text;
};

void WriteItem(BitStreamWriter& w, const Item& it) {
    switch (it.op) {
        case Op::U8: w.WriteU8(static_cast<uint8_t>(it.value)); break;
        case Op::U16: w.WriteU16(static_cast<uint16_t>(it.value)); break;
        case Op::U32: w.WriteU32(static_cast<uint32_t>(it.value)); break;
        case Op::U64: w.WriteU64(it.value); break;
        case Op::F32: w.WriteF32(static_cast<float>(it.real)); break;
        case Op::F64: w.WriteF64(it.real); break;
        case Op::String: w.WriteString(it.text); break;
        case Op::CU8: w.WriteCompressedU8(it.context, static_cast<uint8_t>(it.value)); break;
        case Op::CU16: w.WriteCompressedU16(it.context, static_cast<uint16_t>(it.value)); break;
        case Op::CU32: w.WriteCompressedU32(it.context, static_cast<uint32_t>(it.value)); break;
    }
}

void CheckItem(BitStreamReader& r, const Item& it, size_t index) {
    SCOPED_TRACE(testing::Message() << "item " << index << " op " << int(it.op) << " context " << it.context);
    switch (it.op) {
        case Op::U8: ASSERT_EQ(r.ReadU8(), uint8_t(it.value)); break;
        case Op::U16: ASSERT_EQ(r.ReadU16(), uint16_t(it.value)); break;
        case Op::U32: ASSERT_EQ(r.ReadU32(), uint32_t(it.value)); break;
        case Op::U64: ASSERT_EQ(r.ReadU64(), it.value); break;
        case Op::F32: ASSERT_EQ(r.ReadF32(), float(it.real)); break;
        case Op::F64: ASSERT_EQ(r.ReadF64(), it.real); break;
        case Op::String: ASSERT_EQ(r.ReadString(), it.text); break;
        case Op::CU8: ASSERT_EQ(r.ReadCompressedU8(it.context), uint8_t(it.value)); break;
        case Op::CU16: ASSERT_EQ(r.ReadCompressedU16(it.context), uint16_t(it.value)); break;
        case Op::CU32: ASSERT_EQ(r.ReadCompressedU32(it.context), uint32_t(it.value)); break;
    }
}

// Writes the items, reads them back and checks that the reader ended inside the data.
void RoundTrip(const std::vector<Item>& items, bool noCompression = false) {
    BitStreamWriter w(noCompression);
    for (const Item& it : items) WriteItem(w, it);
    ASSERT_FALSE(w.Failed());
    const std::vector<uint8_t> data = w.Finish();
    BitStreamReader r(data.data(), static_cast<uint32_t>(data.size()), noCompression);
    for (size_t i = 0; i < items.size(); ++i) {
        CheckItem(r, items[i], i);
        if (testing::Test::HasFatalFailure()) return;
    }
    EXPECT_LE(r.BitPosition(), uint64_t(data.size()) * 8);
    EXPECT_FALSE(r.Exhausted());
}

// A random mix: small values on dynamic contexts (so that they are learnt), occasional large
// ones (escapes, including values the histogram refuses to learn), static contexts of every
// size class, and plain values in between.
std::vector<Item> RandomItems(uint32_t seed, size_t count) {
    std::mt19937 rng(seed);
    std::vector<Item> items;
    items.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        Item it;
        const uint32_t pick = rng() % 14;
        switch (pick) {
            case 0:
                it.op = Op::U8;
                it.value = rng() & 0xFF;
                break;
            case 1:
                it.op = Op::U16;
                it.value = rng() & 0xFFFF;
                break;
            case 2:
                it.op = Op::U32;
                it.value = rng();
                break;
            case 3:
                it.op = Op::U64;
                it.value = (uint64_t(rng()) << 32) | rng();
                break;
            case 4:
                it.op = Op::F32;
                it.real = float(int32_t(rng())) / 977.0f;
                break;
            case 5:
                it.op = Op::F64;
                it.real = double(int32_t(rng())) / 1234.5;
                break;
            case 6:
                it.op = Op::String;
                it.text = std::string(rng() % 9, char('a' + rng() % 26));
                break;
            case 7:
            case 8:
            case 9: {
                it.op = Op::CU32;
                it.context = 1 + rng() % 12;
                const uint32_t kind = rng() % 10;
                it.value = kind < 7 ? rng() % 20 : kind < 9 ? rng() % 0x20000 : rng();
                break;
            }
            case 10: {
                it.op = Op::CU32;
                const uint32_t total = 1 + rng() % (rng() % 2 ? 16 : 16382);
                it.context = 1024 + total;
                it.value = rng() % total;
                break;
            }
            case 11:
                it.op = Op::CU8;
                it.context = 1 + rng() % 5;
                it.value = rng() % 7;
                break;
            case 12:
                it.op = Op::CU16;
                it.context = 1 + rng() % 5;
                it.value = rng() % 3 ? rng() % 9 : rng() & 0xFFFF;
                break;
            default:
                it.op = Op::CU8;
                it.context = 1024 + 256;
                it.value = rng() & 0xFF;
                break;
        }
        items.push_back(std::move(it));
    }
    return items;
}

TEST(BitStream, PlainValuesAreRawLittleEndianBytes) {
    const uint8_t bytes[] = {0x55, 0x33, 0x44, 0x00, 0x04, 0x00, 'a', 'b', 'c', 'd', 0x01, 0x02};
    BitStreamReader r(bytes, sizeof bytes, false);
    EXPECT_EQ(r.ReadU32(), 0x00443355u);
    EXPECT_EQ(r.ReadString(), "abcd");
    EXPECT_EQ(r.ReadU16(), 0x0201u);
    EXPECT_EQ(r.CurrentByteOffset(), 12u);
    EXPECT_EQ(r.BytesLeft(), 0u);
    EXPECT_EQ(r.ReadU64(), 0u);
    for (int i = 0; i < 100; ++i) r.ReadU32();
    EXPECT_TRUE(r.Exhausted());
    EXPECT_EQ(r.ReadU32(), 0u);
}

TEST(BitStream, RandomMixesRoundTrip) {
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        RoundTrip(RandomItems(seed, 400));
        if (HasFatalFailure()) return;
    }
}

// The middle symbol of a three-symbol context keeps the interval around its midpoint, so
// each one adds underflow bits without settling them: runs longer than the decoder's fast
// window of code bits, runs that end on an outer symbol, and runs cut off by plain values.
TEST(BitStream, LongUnderflowRunsRoundTrip) {
    for (uint32_t run : {1u, 5u, 9u, 10u, 11u, 12u, 20u, 40u}) {
        SCOPED_TRACE(run);
        std::vector<Item> items;
        const auto add = [&](Op op, uint32_t context, uint64_t value) {
            Item item;
            item.op = op;
            item.context = context;
            item.value = value;
            items.push_back(item);
        };
        for (uint32_t repeat = 0; repeat < 3; ++repeat) {
            for (uint32_t i = 0; i < run; ++i) add(Op::CU32, 1024 + 3, 1);
            add(Op::CU32, 1024 + 3, repeat);
            for (uint32_t i = 0; i < run; ++i) add(Op::CU8, 9, i < 2 ? 0u : 1u);
            add(Op::U16, 0, 0xA5C3u);
        }
        RoundTrip(items);
        if (HasFatalFailure()) return;
    }
}

TEST(BitStream, NoCompressionReadsEverythingPlain) {
    const std::vector<Item> items = RandomItems(99, 300);
    RoundTrip(items, true);
    BitStreamWriter compressedAsPlain(true), plain(false);
    compressedAsPlain.WriteCompressedU32(5, 0xDEADBEEF);
    compressedAsPlain.WriteCompressedU16(5, 0xBEEF);
    compressedAsPlain.WriteCompressedU8(1300, 0x42);
    plain.WriteU32(0xDEADBEEF);
    plain.WriteU16(0xBEEF);
    plain.WriteU8(0x42);
    EXPECT_EQ(compressedAsPlain.Finish(), plain.Finish());
}

TEST(BitStream, PlainAfterCompressedLeavesTheFastPath) {
    BitStreamWriter w;
    w.WriteCompressedU32(7, 3);  // escape, learnt
    w.WriteCompressedU32(7, 3);  // symbol: the coder leaves its rest state
    w.WriteU32(0x12345678);
    w.WriteString("after");
    w.WriteCompressedU32(7, 3);
    w.WriteU8(0xA5);
    const std::vector<uint8_t> data = w.Finish();
    BitStreamReader r(data.data(), uint32_t(data.size()), false);
    EXPECT_EQ(r.ReadCompressedU32(7), 3u);
    EXPECT_EQ(r.ReadCompressedU32(7), 3u);
    EXPECT_FALSE(r.AtRest());
    EXPECT_EQ(r.ReadU32(), 0x12345678u);
    EXPECT_EQ(r.ReadString(), "after");
    EXPECT_EQ(r.ReadCompressedU32(7), 3u);
    EXPECT_EQ(r.ReadU8(), 0xA5u);
}

TEST(BitStream, StaticContextOfOneSymbolConsumesNothing) {
    const uint8_t bytes[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    BitStreamReader r(bytes, sizeof bytes, false);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(r.ReadCompressedU32(1025), 0u);
    EXPECT_EQ(r.BitPosition(), 0u);
    EXPECT_TRUE(r.AtRest());
}

TEST(BitStream, EscapeTeachesTheContext) {
    BitStreamWriter w;
    w.WriteCompressedU32(3, 1000);
    const size_t afterFirst = w.BitCount();
    w.WriteCompressedU32(3, 1000);
    const size_t second = w.BitCount() - afterFirst;
    EXPECT_GE(afterFirst, 32u);  // a fresh context's escape spans the whole interval
    EXPECT_LT(second, 8u);
    const std::vector<uint8_t> data = w.Finish();
    BitStreamReader r(data.data(), uint32_t(data.size()), false);
    EXPECT_EQ(r.ReadCompressedU32(3), 1000u);
    EXPECT_EQ(r.ReadCompressedU32(3), 1000u);
}

TEST(BitStream, HugeEscapedValuesAreNeverLearnt) {
    std::vector<Item> items;
    for (int i = 0; i < 5; ++i) items.push_back({Op::CU32, 9, 0xFFFFu + uint64_t(i % 2), 0, {}});
    items.push_back({Op::CU32, 9, 0xFFFFFFFFu, 0, {}});
    items.push_back({Op::CU32, 9, 0xFFFFFFFFu, 0, {}});
    items.push_back({Op::CU16, 10, 0xFFFF, 0, {}});
    items.push_back({Op::CU16, 10, 0xFFFF, 0, {}});
    RoundTrip(items);
    ContextManager m;
    m.AddSymbol(0x10000);
    EXPECT_EQ(m.Total(), 1u);
}

TEST(BitStream, HistogramHalvingKeepsDecoderInStep) {
    std::vector<Item> items;
    items.push_back({Op::CU32, 4, 77, 0, {}});
    for (int i = 0; i < 3 * 0x1FFF; ++i) items.push_back({Op::CU32, 4, uint64_t(i % 3), 0, {}});
    items.push_back({Op::CU32, 4, 77, 0, {}});
    items.push_back({Op::CU32, 4, 77, 0, {}});
    RoundTrip(items);
}

TEST(ContextManager, CumulativeFrequenciesMatchPlainSums) {
    ContextManager m;
    std::mt19937 rng(5);
    std::vector<uint32_t> reference(1000, 0);
    reference[0] = 1;
    for (int i = 0; i < 20000; ++i) {
        const uint32_t s = rng() % 3 ? rng() % 30 : rng() % 700;
        if (m.Total() >= ContextManager::kElephant) {
            uint32_t total = 0;
            for (uint32_t& f : reference) total += (f >>= 1);
            ++reference[0];
        }
        m.AddSymbol(s);
        ++reference[s];
        if (i % 997 == 0) {
            uint32_t cumulative = 0;
            for (uint32_t sym = 0; sym < 800; ++sym) {
                ASSERT_EQ(m.Cumulative(sym), cumulative) << "symbol " << sym;
                ASSERT_EQ(m.Frequency(sym), reference[sym]);
                cumulative += reference[sym];
            }
            ASSERT_EQ(m.Total(), cumulative);
            for (uint32_t target = 0; target < m.Total(); target += 7) {
                uint32_t cum = 0;
                const uint32_t sym = m.FindSymbol(target, cum);
                ASSERT_LE(cum, target);
                ASSERT_GT(cum + m.Frequency(sym), target);
                ASSERT_EQ(cum, m.Cumulative(sym));
            }
        }
    }
    EXPECT_LT(m.Total(), 0x2000u);
}

TEST(BitStream, GarbageNeverReadsOutsideTheBuffer) {
    std::mt19937 rng(11);
    std::vector<uint8_t> data(64);
    for (auto& b : data) b = uint8_t(rng());
    BitStreamReader r(data.data(), uint32_t(data.size()), false);
    for (int i = 0; i < 20000; ++i) {
        r.ReadCompressedU32(1 + i % 1024);
        r.ReadCompressedU16(1030 + i % 15000);
        r.ReadCompressedU8(i % 20000);
    }
    EXPECT_TRUE(r.Exhausted());
    EXPECT_EQ(r.BytesLeft(), 0u);
}

using Velmora::U3D::CoderDivision;

constexpr uint32_t kDividendLimit = 1u << CoderDivision::kDividendBits;

// Where a reciprocal goes wrong first: just below and at multiples of the divisor, since
// a rounding error of the reciprocal shows as an off-by-one at a quotient's step.
TEST(CoderDivision, MatchesDivisionAtEveryQuotientStepOfEveryDivisor) {
    for (uint32_t d = 1; d <= CoderDivision::kMaxDivisor; ++d) {
        uint32_t failures = 0;
        for (uint64_t q = 1; q * d < kDividendLimit; q += 1 + q / 8) {
            const uint32_t at = static_cast<uint32_t>(q * d);
            failures += CoderDivision::Divide(at, d) != q;
            failures += CoderDivision::Divide(at - 1, d) != q - 1;
        }
        const uint32_t top = kDividendLimit - 1;
        failures += CoderDivision::Divide(top, d) != top / d;
        failures += CoderDivision::Divide(top - top % d, d) != top / d;
        failures += CoderDivision::Divide(0, d) != 0;
        ASSERT_EQ(failures, 0u) << "divisor " << d;
    }
}

}  // namespace
