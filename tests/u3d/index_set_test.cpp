// Neighbourhood sets: whatever order and repeats the corners arrive in, a normalised set is
// its distinct members from the largest down, since ranks into it are coded in the stream.

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>
#include <vector>

#include "u3d/AdjacencySet.h"

namespace {

using Velmora::U3D::IndexSet;

std::vector<uint32_t> Members(const IndexSet& set) { return {set.begin(), set.end()}; }

// Sizes on both sides of the small-set path, with few distinct values (the corners around
// one position) and with many (mostly distinct), plus values at the ends of the u32 range.
TEST(IndexSet, NormalizeGivesDistinctMembersInDescendingOrder) {
    std::mt19937 random(7);
    IndexSet set;
    for (uint32_t size = 0; size <= 90; ++size) {
        for (uint32_t spread : {3u, 12u, 1000u, 0xFFFFFFFFu}) {
            set.clear();
            std::set<uint32_t, std::greater<uint32_t>> expected;
            for (uint32_t i = 0; i < size; ++i) {
                uint32_t value = spread == 0xFFFFFFFFu ? uint32_t(random()) : uint32_t(random() % spread);
                if (i % 17 == 5) value = 0;
                if (i % 19 == 7) value = 0xFFFFFFFFu;
                set.Append(value);
                expected.insert(value);
            }
            set.Normalize();
            ASSERT_EQ(Members(set), std::vector<uint32_t>(expected.begin(), expected.end()))
                << "size " << size << " spread " << spread;
        }
    }
}

// A set is reused across updates: appending to a normalised set and normalising again
// merges the two.
TEST(IndexSet, NormalizeMergesIntoAnEarlierSet) {
    IndexSet set;
    for (uint32_t v : {5u, 1u, 5u, 9u}) set.Append(v);
    set.Normalize();
    for (uint32_t v : {9u, 2u, 12u, 1u}) set.Append(v);
    set.Normalize();
    EXPECT_EQ(Members(set), (std::vector<uint32_t>{12, 9, 5, 2, 1}));
    set.Erase(5);
    set.Insert(7);
    EXPECT_EQ(Members(set), (std::vector<uint32_t>{12, 9, 7, 2, 1}));
}

}  // namespace
