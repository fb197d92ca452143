#pragma once
// Adaptive histogram of one dynamic context of the U3D arithmetic coder.
//
// Symbol 0 is the escape. Besides the per-symbol frequencies the manager keeps a quarter
// table: quarterCounts[k] is the sum of the frequencies of all symbols from 4k upward, so
// quarterCounts[0] is the total. A cumulative frequency then costs one quarter lookup plus
// at most three additions, and an insert touches symbol/4 + 1 quarter entries.
//
// Limits: symbols of 0x10000 and above are never learnt; when the total reaches the
// elephant (0x1FFF) every frequency is halved, so totals stay below 0x2000 and the decoder's
// products stay within 32 bits.

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
    uint32_t Total() const { return symbolCount_ ? quarterCounts_[0] : 1; }
    uint32_t SymbolCount() const { return symbolCount_; }
    uint32_t Frequency(uint32_t symbol) const {
        return symbol < symbolCount_ ? frequencies_[symbol] : (symbolCount_ ? 0 : (symbol == 0));
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

    uint32_t symbolCount_ = 0;
    uint32_t elephant_ = kElephant;
    std::vector<uint16_t> frequencies_;    // symbolCount + 8 entries, zero tail
    std::vector<uint16_t> quarterCounts_;  // symbolCount / 4 + 9 entries, zero tail
};

}  // namespace Velmora::U3D
