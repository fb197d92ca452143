#pragma once
// The prefix code of frequent doubles and exponents that compressed doubles are read with.
// Codes run from 2 to 22 bits and form a complete prefix code, so every bit string resolves
// within kMaxCodeLength bits. The table is built once per process on first use.

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Velmora::PRC {

enum class FrequentValueType : uint16_t {
    Double = 0,    // the row is a whole value
    Exponent = 1,  // the row gives sign-less exponent bits; mantissa bits follow in the stream
};

struct FrequentValueRow {
    FrequentValueType type;
    uint32_t numberOfBits;
    uint32_t code;
    uint64_t value;  // IEEE 754 bits
};

class FrequentDoubles {
public:
    static constexpr uint32_t kMaxCodeLength = 22;
    static constexpr uint32_t kRowCount = 2077;

    static const FrequentDoubles& Instance();

    // The row for a code of the given length, or null. Lengths above kMaxCodeLength give null.
    const FrequentValueRow* Find(uint32_t length, uint32_t code) const {
        if (length <= kDirectLengths) {
            const int16_t row = direct_[length][code & ((1u << length) - 1)];
            return row < 0 ? nullptr : &rows_[static_cast<size_t>(row)];
        }
        return FindLong(length, code);
    }
    const std::vector<FrequentValueRow>& Rows() const { return rows_; }

    // The row whose code starts the top kPrefixBits of `prefix` when that code is at most
    // kPrefixBits long, else null; `length` takes the code's length.
    static constexpr uint32_t kPrefixBits = 12;
    const FrequentValueRow* FindShort(uint32_t prefix, uint32_t& length) const {
        const PrefixEntry entry = prefix_[prefix];
        length = entry.length;
        return entry.row < 0 ? nullptr : &rows_[static_cast<size_t>(entry.row)];
    }

private:
    // Short codes are the frequent ones; they get direct lookup arrays, the long tail a
    // sorted search.
    static constexpr uint32_t kDirectLengths = 16;

    FrequentDoubles();
    const FrequentValueRow* FindLong(uint32_t length, uint32_t code) const;

    struct PrefixEntry {
        int16_t row = -1;
        uint8_t length = 0;
    };

    std::vector<FrequentValueRow> rows_;
    std::vector<PrefixEntry> prefix_;
    std::vector<int16_t> direct_[kDirectLengths + 1];
    std::vector<std::pair<uint64_t, int16_t>> longCodes_;  // (length << 32 | code, row), sorted
};

}  // namespace Velmora::PRC
