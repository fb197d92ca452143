#pragma once
// Test-side writer of the PRC bit stream: bits most significant first, the variable-length
// integers, strings, and doubles through the table of frequent values (as an exponent code
// with literal mantissa bytes, which is a valid if not the shortest form).

#include <bit>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "prc/reader/BitstreamReader.h"
#include "prc/reader/FrequentDoubles.h"

namespace Velmora::Test {

using PRC::FrequentDoubles;
using PRC::FrequentValueType;

class PrcBitWriter {
public:
    void Bit(uint32_t bit) {
        if (used_ == 0) bytes_.push_back(0);
        if (bit) bytes_.back() |= static_cast<uint8_t>(0x80u >> used_);
        used_ = (used_ + 1) % 8;
    }
    void Bits(uint32_t value, uint32_t count) {
        for (uint32_t i = count; i-- > 0;) Bit((value >> i) & 1u);
    }
    void Byte(uint8_t value) { Bits(value, 8); }
    void U32(uint32_t value) {
        for (int i = 0; i < 4; ++i) Byte(static_cast<uint8_t>(value >> (8 * i)));
    }
    void Unsigned(uint32_t value) {
        while (value != 0) {
            Bit(1);
            Byte(static_cast<uint8_t>(value & 0xFF));
            value >>= 8;
        }
        Bit(0);
    }
    // Bytes until the rest is the sign extension of the last byte's top bit.
    void Integer(int32_t value) {
        int64_t v = value;
        bool done = v == 0;
        while (!done) {
            const uint8_t byte = static_cast<uint8_t>(v & 0xFF);
            v >>= 8;
            Bit(1);
            Byte(byte);
            done = (v == 0 && !(byte & 0x80)) || (v == -1 && (byte & 0x80));
        }
        Bit(0);
    }
    void String(const std::string& text) {
        if (text.empty()) {
            Bit(0);
            return;
        }
        Bit(1);
        Unsigned(static_cast<uint32_t>(text.size()));
        for (char c : text) Byte(static_cast<uint8_t>(c));
    }
    // A name of its own (not "same as before").
    void Name(const std::string& text) {
        Bit(0);
        String(text);
    }
    void Double(double value) {
        const uint64_t bits = std::bit_cast<uint64_t>(value);
        constexpr uint64_t kSign = 0x8000000000000000ull;
        if ((bits & ~kSign) == 0) {
            Bits(0b01, 2);
            return;
        }
        const uint64_t exponent = bits & 0x7FF0000000000000ull;
        for (const auto& row : FrequentDoubles::Instance().Rows()) {
            if (row.type != FrequentValueType::Exponent || row.value != exponent) continue;
            Bits(row.code, row.numberOfBits);
            Bit((bits & kSign) ? 1 : 0);
            const uint64_t mantissa = bits & 0x000FFFFFFFFFFFFFull;
            if (mantissa == 0) {
                Bit(0);
                return;
            }
            Bit(1);
            Bits(static_cast<uint32_t>((mantissa >> 48) & 0xF), 4);
            for (int byte = 5; byte >= 0; --byte) {
                Bit(1);
                Byte(static_cast<uint8_t>(mantissa >> (8 * byte)));
            }
            return;
        }
    }
    // A user data block of no bits.
    void NoUserData() { Unsigned(0); }

    const std::vector<uint8_t>& Bytes() const { return bytes_; }
    size_t BitCount() const { return bytes_.size() * 8 - (used_ ? 8 - used_ : 0); }

private:
    std::vector<uint8_t> bytes_;
    uint32_t used_ = 0;
};

// A reader over the bytes and `padding` zero bytes behind them, for readers that look ahead.
inline std::unique_ptr<PRC::BitstreamReader> ReaderOver(const std::vector<uint8_t>& bytes, size_t padding = 0) {
    const size_t size = bytes.size() + padding;
    auto copy = new uint8_t[size + 1]();
    std::copy(bytes.begin(), bytes.end(), copy);
    auto reader = std::make_unique<PRC::BitstreamReader>();
    reader->SetData(std::make_shared<Utility::DataHolder<uint8_t>>(copy, static_cast<uint32_t>(size)));
    return reader;
}

inline size_t BitsRead(const PRC::BitstreamReader& reader) { return reader.Position() * 8 + reader.BitOffset(); }

}  // namespace Velmora::Test
