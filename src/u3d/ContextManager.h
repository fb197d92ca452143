#pragma once
// Adaptive histogram of one dynamic context of the U3D arithmetic coder.
//
// Symbol 0 is the escape. A new context holds only the escape, with count 1. Every decoded
// symbol is added (the escape too), and an escaped value v is learnt as symbol v + 1.
//
// The cumulative frequencies live in a binary indexed tree over the symbols, cut into blocks
// [2^(k-1), 2^k): the node at a power of two 2^k holds the sum of its own block only, not the
// prefix below it, and the other nodes are those of a plain tree inside their block. Lookup
// and insert of symbol s then cost O(log s), not O(log n) for a table of n slots. That is
// what real streams need: their frequent symbols are the small ones, while a few large
// escaped values can stretch a table to thousands of slots. The table grows to symbol + 100
// slots when a new symbol lies beyond it.
//
// Limits: symbols of 0x10000 and above are never learnt; when the total reaches the
// elephant (0x1FFF) every frequency is halved and the escape gets one count back, so totals
// stay below 0x2000 and the decoder's products stay within 32 bits.
//
// FindSymbol and the common case of AddSymbol are inline: they run once per coded symbol,
// millions of times for a large progressive mesh.

#include <cstdint>
#include <vector>

namespace Velmora::U3D {

class ContextManager {
public:
    static constexpr uint32_t kElephant = 0x1FFF;
    static constexpr uint32_t kInitialSymbols = 100;
    static constexpr uint32_t kMaxSymbol = 0x10000;

    ContextManager();

    // Sum of all frequencies, escape included; at least 1.
    uint32_t Total() const { return symbolCount_ ? total_ : 1; }
    uint32_t Frequency(uint32_t symbol) const {
        if (symbolCount_ == 0) return symbol == 0 ? 1 : 0;
        return symbol < symbolCount_ ? frequencies_[symbol] : 0;
    }
    // Sum of the frequencies of the symbols below `symbol`; the total beyond the table.
    uint32_t Cumulative(uint32_t symbol) const;

    // The symbol s with Cumulative(s) <= target < Cumulative(s + 1); target must be below
    // Total(). Writes Cumulative(s) to cumulativeOut.
    uint32_t FindSymbol(uint32_t target, uint32_t& cumulativeOut) const {
        if (symbolCount_ == 0) {
            cumulativeOut = 0;
            return 0;
        }
        // Walk the blocks upwards, summing them, until the one that holds the target; then
        // descend inside it.
        const uint16_t* tree = tree_.data();
        uint32_t p = 1;
        uint32_t below = 0;  // sum of the blocks under p
        while (p < treeSize_ && below + tree[p] <= target) {
            below += tree[p];
            p <<= 1;
        }
        uint32_t position = p >> 1;
        uint32_t remaining = target - below;
        for (uint32_t step = p >> 2; step != 0; step >>= 1) {
            const uint32_t next = position + step;
            const uint32_t value = tree[next];
            if (value <= remaining) {
                position = next;
                remaining -= value;
            }
        }
        cumulativeOut = target - remaining;
        return position;
    }

    void AddSymbol(uint32_t symbol) {
        // Common case: the symbol has a slot and the total is below the halving limit.
        if (symbol < symbolCount_ && symbol < kMaxSymbol && total_ < kElephant)
            Increment(symbol);
        else
            AddSymbolSlow(symbol);
    }

private:
    void Increment(uint32_t symbol) {
        ++frequencies_[symbol];
        ++total_;
        if (symbol > highest_) highest_ = symbol;
        uint16_t* tree = tree_.data();
        // Up the tree to the node of the symbol's block, a power of two, and no further.
        for (uint32_t i = symbol + 1;; i += i & (0u - i)) {
            ++tree[i];
            if ((i & (i - 1)) == 0) break;
        }
    }
    void AddSymbolSlow(uint32_t symbol);
    bool Grow(uint32_t newSymbolCount);
    void Halve();
    void RebuildTree();

    uint32_t symbolCount_ = 0;
    uint32_t total_ = 0;
    uint32_t treeSize_ = 0;              // tree_ covers symbols 0 .. treeSize_ - 1 (a power of two)
    uint32_t highest_ = 0;               // no symbol above it has ever had a count
    std::vector<uint16_t> frequencies_;  // treeSize entries; those from symbolCount on stay 0
    std::vector<uint16_t> tree_;         // treeSize + 1 entries, 1-based
};

}  // namespace Velmora::U3D
