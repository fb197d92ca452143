#pragma once
// Division by a symbol total of the U3D arithmetic coder, as a multiplication.
//
// Every decoded symbol divides twice by the total of its context to find its new interval,
// and those divisions lie on the chain from one symbol to the next. The totals are small
// (below 0x2000 for adaptive contexts, at most 16382 for static ones) and the dividends
// are products of a cumulative count and the coder's range (at most 0x10000), so both fit
// a reciprocal table: floor(n / d) = (n * m) >> (30 + l) with l = ceil(log2 d) and
// m = ceil(2^(30 + l) / d) is exact for every n below 2^30 (m * d exceeds 2^(30 + l) by
// less than d <= 2^l, the Granlund-Montgomery bound). m stays below 2^31 + 1, so the
// product fits 64 bits.

#include <array>
#include <bit>
#include <cstdint>

namespace Velmora::U3D {

class CoderDivision {
public:
    static constexpr uint32_t kMaxDivisor = 16383;  // largest total of any context
    static constexpr uint32_t kDividendBits = 30;   // dividends are below 2^30

    // floor(n / d) for 1 <= d <= kMaxDivisor and n < 2^30.
    static uint32_t Divide(uint32_t n, uint32_t d) {
        const uint32_t shift = kDividendBits + static_cast<uint32_t>(std::bit_width(d - 1));
        return static_cast<uint32_t>((uint64_t(n) * kReciprocal[d]) >> shift);
    }

private:
    static constexpr std::array<uint32_t, kMaxDivisor + 1> kReciprocal = [] {
        std::array<uint32_t, kMaxDivisor + 1> table{};
        for (uint32_t d = 1; d <= kMaxDivisor; ++d) {
            const uint64_t power = uint64_t(1) << (kDividendBits + std::bit_width(d - 1));
            table[d] = static_cast<uint32_t>((power + d - 1) / d);
        }
        return table;
    }();
};

}  // namespace Velmora::U3D
