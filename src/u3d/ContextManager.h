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
    uint32_t FindSymbol(uint32_t target, uint32_t& cumulativeOut) const;

    void AddSymbol(uint32_t symbol);

private:
    bool Grow(uint32_t newSymbolCount);
    void Halve();
    void RebuildTree();

    uint32_t symbolCount_ = 0;
    uint32_t total_ = 0;
    uint32_t treeSize_ = 0;    // tree_ covers symbols 0 .. treeSize_ - 1 (a power of two)
    std::vector<uint16_t> frequencies_;  // symbolCount entries
    std::vector<uint16_t> tree_;         // treeSize + 1 entries, 1-based
};

}  // namespace Velmora::U3D
