// The table of frequent doubles and exponents: a complete prefix code with the telling values.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "prc/reader/FrequentDoubles.h"

namespace Velmora::PRC {
namespace {

TEST(PrcFrequentDoubles, CompletePrefixCode) {
    const auto& rows = FrequentDoubles::Instance().Rows();
    // Kraft sum of exactly one: complete. Left-aligned codes sorted: no code is a prefix of the next.
    uint64_t kraft = 0;
    std::vector<std::pair<uint32_t, uint32_t>> aligned;  // (code << (22 - length), length)
    for (const auto& row : rows) {
        ASSERT_LT(row.code, 1u << row.numberOfBits);
        kraft += uint64_t{1} << (22 - row.numberOfBits);
        aligned.push_back({row.code << (22 - row.numberOfBits), row.numberOfBits});
    }
    EXPECT_EQ(kraft, uint64_t{1} << 22);
    std::sort(aligned.begin(), aligned.end());
    for (size_t i = 1; i < aligned.size(); ++i) {
        const uint32_t span = 1u << (22 - aligned[i - 1].second);
        EXPECT_GE(aligned[i].first, aligned[i - 1].first + span) << "row " << i;
    }
}

TEST(PrcFrequentDoubles, TellingRows) {
    const auto& table = FrequentDoubles::Instance();
    auto valueOf = [&](uint32_t length, uint32_t code) {
        const FrequentValueRow* row = table.Find(length, code);
        return row ? std::bit_cast<double>(row->value) : -999.0;
    };
    EXPECT_EQ(valueOf(2, 0b01), 0.0);
    EXPECT_EQ(valueOf(4, 0b0000), 1.0);
    EXPECT_EQ(valueOf(4, 0b1111), 0.001);
    EXPECT_EQ(valueOf(5, 0b10110), 0.002);
    const FrequentValueRow* half = table.Find(4, 0b1000);
    ASSERT_NE(half, nullptr);
    EXPECT_EQ(half->type, FrequentValueType::Exponent);
    EXPECT_EQ(std::bit_cast<double>(half->value), 0.5);
    EXPECT_EQ(table.Find(1, 0), nullptr);
    EXPECT_EQ(table.Find(23, 0), nullptr);
}

}  // namespace
}  // namespace Velmora::PRC
