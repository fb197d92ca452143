// The walk's edge counts: they must survive the table's growth, and keys that share the bits
// choosing a slot must not share a count.

#include <gtest/gtest.h>

#include <cstdint>

#include "prc/reader/EdgeUseTable.h"

namespace Velmora::PRC {
namespace {

uint64_t Key(uint32_t low, uint32_t high) { return (uint64_t{low} << 32) | high; }

TEST(EdgeUseTable, CountsSurviveGrowthFromEmpty) {
    constexpr uint32_t kEdges = 5000;  // many times the smallest table
    EdgeUseTable table;
    for (uint32_t i = 0; i < kEdges; ++i) ASSERT_EQ(table.AddUse(Key(i, i + 1)), 1u);
    for (uint32_t i = 0; i < kEdges; i += 2) ASSERT_EQ(table.AddUse(Key(i, i + 1)), 2u);
    EXPECT_EQ(table.Size(), kEdges);
    for (uint32_t i = 0; i < kEdges; ++i) EXPECT_EQ(table.Uses(Key(i, i + 1)), i % 2 == 0 ? 2u : 1u) << i;
    EXPECT_EQ(table.Uses(Key(kEdges, kEdges + 1)), 0u);
}

TEST(EdgeUseTable, KeysAlikeInTheirLowBitsKeepTheirOwnCounts) {
    EdgeUseTable table;
    ASSERT_TRUE(table.Reserve(4));
    const uint64_t a = Key(0, 7), b = Key(1, 7), c = Key(0x10000, 7);
    table.AddUse(a);
    table.AddUse(b);
    table.AddUse(b);
    EXPECT_EQ(table.Uses(a), 1u);
    EXPECT_EQ(table.Uses(b), 2u);
    EXPECT_EQ(table.Uses(c), 0u);
    EXPECT_EQ(EdgeUseTable().Uses(a), 0u);
}

}  // namespace
}  // namespace Velmora::PRC
