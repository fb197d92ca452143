#pragma once
// Adaptive histogram of one dynamic context of the U3D arithmetic coder.
//
// Symbol 0 is the escape. A new context holds only the escape, with count 1. Every decoded
// symbol is added (the escape too), and an escaped value v is learnt as symbol v + 1.
//
// The cumulative frequencies live in a binary indexed tree over the symbols, so both the
// lookup of a target and an insert cost O(log n) for n symbols, with no division; the table
// grows to symbol + 100 slots when a new symbol lies beyond it.
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
    uint32_t SymbolCount() const { return symbolCount_; }
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
        // Tree nodes at powers of two hold plain prefix sums (of the first p symbols). The
        // search doubles p until that prefix passes the target, then descends below it, so
        // it costs about twice the log of the symbol found instead of the log of the table:
        // the frequent symbols of real streams are the small ones, while a few large escaped
        // values can stretch a table to thousands of slots.
        const uint16_t* tree = tree_.data();
        uint32_t p = 1;
        while (p < treeSize_ && tree[p] <= target) p <<= 1;
        uint32_t position = p >> 1;  // tree[0] is always 0
        uint32_t remaining = target - tree[position];
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
        if (symbol < symbolCount_ && symbol < kMaxSymbol && total_ < kElephant) Increment(symbol);
        else AddSymbolSlow(symbol);
    }

private:
    void Increment(uint32_t symbol) {
        ++frequencies_[symbol];
        ++total_;
        if (symbol > highest_) highest_ = symbol;
        uint16_t* tree = tree_.data();
        for (uint32_t i = symbol + 1; i <= treeSize_; i += i & (0u - i)) ++tree[i];
    }
    void AddSymbolSlow(uint32_t symbol);
    bool Grow(uint32_t newSymbolCount);
    void Halve();
    void RebuildTree();

    uint32_t symbolCount_ = 0;
    uint32_t total_ = 0;
    uint32_t treeSize_ = 0;  // tree_ covers symbols 0 .. treeSize_ - 1 (a power of two)
    uint32_t highest_ = 0;   // no symbol above it has ever had a count
    std::vector<uint16_t> frequencies_;  // treeSize entries; those from symbolCount on stay 0
    std::vector<uint16_t> tree_;         // treeSize + 1 entries, 1-based; tree_[0] stays 0
};

}  // namespace Velmora::U3D
