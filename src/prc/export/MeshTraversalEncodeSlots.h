#pragma once
// An open-addressed table of 32-bit values (indices into the caller's own arrays), sized once
// for the most entries it will hold: the encoder looks up every vertex and every edge of a
// mesh of a hundred thousand triangles, where node-based maps spend their time allocating.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::PRC {

class MeshTraversalEncodeSlots {
public:
    static constexpr uint32_t kEmpty = UINT32_MAX;

    // Room for `entries` values at most half full; false when that can't be had.
    bool Reserve(size_t entries) {
        const size_t wanted = std::bit_ceil(entries * kLoadFactorInverse + 1);
        if (wanted > kMaxSlots) return false;
        slots_.assign(wanted, kEmpty);
        mask_ = wanted - 1;
        return true;
    }

    void Clear() {
        slots_.clear();
        slots_.shrink_to_fit();
        mask_ = 0;
    }

    // The slot holding the value for which matches(value) is true, or the empty slot where
    // such a value belongs. The table must have been reserved and must not be full.
    template <class Matches>
    uint32_t& Find(uint64_t hash, Matches matches) {
        size_t slot = static_cast<size_t>(Mix(hash)) & mask_;
        while (slots_[slot] != kEmpty && !matches(slots_[slot])) slot = (slot + 1) & mask_;
        return slots_[slot];
    }

private:
    static constexpr size_t kLoadFactorInverse = 2;
    static constexpr size_t kMaxSlots = size_t{1} << 31;

    // Spreads keys whose low bits are alike (neighbouring indices, float bits) over the table.
    static uint64_t Mix(uint64_t x) {
        x ^= x >> 30;
        x *= 0xbf58476d1ce4e5b9ull;
        x ^= x >> 27;
        x *= 0x94d049bb133111ebull;
        return x ^ (x >> 31);
    }

    std::vector<uint32_t> slots_;
    size_t mask_ = 0;
};

}  // namespace Velmora::PRC
