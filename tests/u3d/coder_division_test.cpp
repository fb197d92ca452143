// The coder's reciprocal division must agree with integer division wherever the decoder
// uses it: every total, and dividends up to the largest product of a count and the range.

#include <gtest/gtest.h>

#include <cstdint>

#include "u3d/CoderDivision.h"

namespace {

using Velmora::U3D::CoderDivision;

constexpr uint32_t kDividendLimit = 1u << CoderDivision::kDividendBits;

// Where a reciprocal goes wrong first: just below and at multiples of the divisor, since
// a rounding error of the reciprocal shows as an off-by-one at a quotient's step.
TEST(CoderDivision, MatchesDivisionAtEveryQuotientStepOfEveryDivisor) {
    for (uint32_t d = 1; d <= CoderDivision::kMaxDivisor; ++d) {
        uint32_t failures = 0;
        // Quotients spread over the whole range: all small ones, then growing steps.
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

// The dividends the decoder really forms: cumulative counts times ranges in
// (0x4000, 0x10000], for totals of adaptive contexts near the halving limit and of large
// static contexts.
TEST(CoderDivision, MatchesDivisionForCoderProducts) {
    const uint32_t totals[] = {1, 2, 3, 7, 100, 0x1000, 0x1FFE, 0x1FFF, 10000, 16382, 16383};
    for (uint32_t total : totals) {
        for (uint32_t range = 0x4001; range <= 0x10000; range += 97) {
            for (uint32_t cumulative : {0u, 1u, total / 3, total / 2, total - 1, total}) {
                const uint32_t n = cumulative * range;
                ASSERT_EQ(CoderDivision::Divide(n, total), n / total)
                    << "total " << total << " range " << range << " cumulative " << cumulative;
            }
        }
    }
}

}  // namespace
