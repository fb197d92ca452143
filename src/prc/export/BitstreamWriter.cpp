// The writing chunk and the bit-level primitives.

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <unordered_map>

#include "prc/export/BitstreamWriter.h"
#include "prc/reader/FrequentDoubles.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kBitsPerByte = 8;
constexpr uint32_t kBytesPerU32 = 4;
constexpr uint32_t kMaxVariableBitNumber = 31;
constexpr uint32_t kBitNumberFieldBits = 5;
constexpr uint8_t kHighBit = 0x80;
constexpr uint32_t kByteMask = 0xFF;

constexpr uint64_t kSignBit = 0x8000000000000000ull;
constexpr uint64_t kMantissaMask = 0x000FFFFFFFFFFFFFull;
constexpr uint32_t kExponentShift = 52;
constexpr uint32_t kExponentMask = 0x7FF;
constexpr uint32_t kExponentCount = 2048;
constexpr uint32_t kTopMantissaBits = 4;
constexpr uint32_t kTopMantissaShift = 48;
constexpr uint32_t kTopMantissaMask = 0xF;
constexpr int kFirstMantissaByte = 5;
constexpr int kValueBytes = 8;
constexpr uint32_t kMantissaCodeBits = 3;
// Codes of the mantissa's byte stream: the rest repeats the byte above (kRepeatAll), or all
// but the lowest byte repeat it and the lowest follows (kRepeatThenRead).
constexpr uint32_t kRepeatAll = 0;
constexpr uint32_t kRepeatThenRead = 6;
// Distances back to an equal, already written byte that the stream may name.
constexpr std::array<int, 6> kCopyDistances = {1, 2, 3, 4, 5, 7};

// The prefix code's rows, found by value: whole doubles by their bits, exponents by their
// biased exponent. Built once per process from the reader's table.
class FrequentValueIndex {
public:
    static const FrequentValueIndex& Instance() {
        static const FrequentValueIndex index;
        return index;
    }
    const FrequentValueRow* Whole(uint64_t absolute) const {
        const auto found = whole_.find(absolute);
        return found == whole_.end() ? nullptr : found->second;
    }
    const FrequentValueRow* Exponent(uint32_t exponent) const {
        return exponent < kExponentCount ? exponents_[exponent] : nullptr;
    }

private:
    FrequentValueIndex() {
        exponents_.fill(nullptr);
        for (const FrequentValueRow& row : FrequentDoubles::Instance().Rows()) {
            if (row.type == FrequentValueType::Double)
                whole_.emplace(row.value, &row);
            else
                exponents_[(row.value >> kExponentShift) & kExponentMask] = &row;
        }
    }
    std::unordered_map<uint64_t, const FrequentValueRow*> whole_;
    std::array<const FrequentValueRow*, kExponentCount> exponents_{};
};

bool AllEqual(const uint8_t* bytes, int from, int to, uint8_t value) {
    for (int i = from; i <= to; ++i)
        if (bytes[i] != value) return false;
    return true;
}

}  // namespace

bool BitstreamWriter::Create(const FileStructureBlock* block, const FileStructure::ModelFileSection* modelFile) {
    if (!block || !modelFile) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::Create() - FileStructureBlock INVALID");
        return false;
    }
    block_ = block;
    modelFile_ = modelFile;
    return true;
}

bool BitstreamWriter::CreateNewWritingChunk() {
    if (chunkOpen_) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::CreateNewWritingChunk() - OLD CHUNK NOT RELEASED!");
        return false;
    }
    chunk_ = DynamicChunk{};
    chunkOpen_ = true;
    return true;
}

bool BitstreamWriter::GetDataChunkFromWritingChunk(DataChunk& chunk) {
    if (!chunkOpen_) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::GetDataChunkFromWritingChunk() - FAILED TO CREATE DATA-CHUNK!");
        return false;
    }
    chunk.bytes = std::move(chunk_.bytes);
    chunk_ = DynamicChunk{};
    chunkOpen_ = false;
    return true;
}

void BitstreamWriter::WriteBit(bool bit) {
    if (chunk_.bitOffset == 0) chunk_.bytes.push_back(0);
    if (bit) chunk_.bytes.back() = static_cast<uint8_t>(chunk_.bytes.back() | (kHighBit >> chunk_.bitOffset));
    chunk_.bitOffset = (chunk_.bitOffset + 1) % kBitsPerByte;
}

void BitstreamWriter::WriteBits(uint32_t value, uint32_t n) {
    // As many bits at a time as the open byte has room for.
    while (n > 0) {
        if (chunk_.bitOffset == 0) chunk_.bytes.push_back(0);
        const uint32_t room = kBitsPerByte - chunk_.bitOffset;
        const uint32_t take = n < room ? n : room;
        const uint32_t bits = (value >> (n - take)) & ((1u << take) - 1);
        chunk_.bytes.back() = static_cast<uint8_t>(chunk_.bytes.back() | (bits << (room - take)));
        chunk_.bitOffset = (chunk_.bitOffset + take) % kBitsPerByte;
        n -= take;
    }
}

void BitstreamWriter::WriteByte(uint8_t value) {
    if (chunk_.bitOffset == 0) {
        chunk_.bytes.push_back(value);
        return;
    }
    chunk_.bytes.back() = static_cast<uint8_t>(chunk_.bytes.back() | (value >> chunk_.bitOffset));
    chunk_.bytes.push_back(static_cast<uint8_t>(value << (kBitsPerByte - chunk_.bitOffset)));
}

void BitstreamWriter::WriteU32(uint32_t value) {
    for (uint32_t i = 0; i < kBytesPerU32; ++i)
        WriteByte(static_cast<uint8_t>((value >> (i * kBitsPerByte)) & kByteMask));
}

void BitstreamWriter::WriteUnsignedInteger(uint32_t value) {
    while (value != 0) {
        WriteBit(true);
        WriteByte(static_cast<uint8_t>(value & kByteMask));
        value >>= kBitsPerByte;
    }
    WriteBit(false);
}

void BitstreamWriter::WriteInteger(int32_t value) {
    // Bytes from the low end until what is left is the sign extension of the last byte.
    int64_t rest = value;
    while (rest != 0) {
        const auto byte = static_cast<uint8_t>(rest & kByteMask);
        WriteBit(true);
        WriteByte(byte);
        rest >>= kBitsPerByte;
        const bool negative = (byte & kHighBit) != 0;
        // Done once what is left is the extension of the last byte's top bit; a positive
        // value whose last byte has that bit set takes one more byte of zeros.
        if (rest == 0 && negative) {
            WriteBit(true);
            WriteByte(0);
            break;
        }
        if (rest == -1 && negative) break;
    }
    WriteBit(false);
}

bool BitstreamWriter::WriteUnsignedIntegerWithVariableBitNumber(uint32_t value, uint32_t n) {
    if (n > kMaxVariableBitNumber || (uint64_t{value} >> n) != 0) {
        Logger::Log(LogLevel::Error,
                    "BitstreamWriter::WriteUnsignedIntegerWithVariableBitNumber() - INVALID BITNUMBER!");
        return false;
    }
    WriteBits(value, n);
    return true;
}

bool BitstreamWriter::WriteIntegerWithVariableBitNumber(int32_t value, uint32_t n) {
    if (n == 0 || n > kMaxVariableBitNumber) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteIntegerWithVariableBitNumber() - INVALID BITNUMBER!");
        return false;
    }
    const uint32_t magnitude = value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
    if ((uint64_t{magnitude} >> (n - 1)) != 0) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteIntegerWithVariableBitNumber() - INVALID BITNUMBER!");
        return false;
    }
    WriteBit(value < 0);
    WriteBits(magnitude, n - 1);
    return true;
}

bool BitstreamWriter::WriteBitNumberThenUnsignedInteger(uint32_t value) {
    const auto width = static_cast<uint32_t>(std::bit_width(value));
    if (width >= (1u << kBitNumberFieldBits)) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteBitNumberThenUnsignedInteger() - value too large");
        return false;
    }
    WriteBits(width, kBitNumberFieldBits);
    WriteBits(value, width);
    return true;
}

void BitstreamWriter::WriteFloat(float value) { WriteU32(std::bit_cast<uint32_t>(value)); }

bool BitstreamWriter::WriteCompressedDouble(double value) {
    const FrequentValueIndex& index = FrequentValueIndex::Instance();
    const uint64_t bits = std::bit_cast<uint64_t>(value);
    uint64_t absolute = bits & ~kSignBit;
    auto exponent = static_cast<uint32_t>(absolute >> kExponentShift);
    // The exponent row of 0 reads as zero at once, so a subnormal cannot be stored: it is
    // written as zero, the nearest value the format holds.
    if (exponent == 0) absolute = 0;

    const FrequentValueRow* row = index.Whole(absolute);
    if (!row) row = index.Exponent(exponent);
    if (!row) {
        Logger::Log(LogLevel::Error, "BitstreamWriter::WriteCompressedDouble() - ERROR IN LOOKUP TABLE!");
        return false;
    }
    WriteBits(row->code, row->numberOfBits);
    if (absolute == 0) return true;
    WriteBit((bits & kSignBit) != 0);
    if (row->type == FrequentValueType::Double) return true;

    const uint64_t mantissa = bits & kMantissaMask;
    if (mantissa == 0) {
        WriteBit(false);
        return true;
    }
    WriteBit(true);
    WriteBits(static_cast<uint32_t>((mantissa >> kTopMantissaShift) & kTopMantissaMask), kTopMantissaBits);

    uint8_t bytes[kValueBytes];
    std::memcpy(bytes, &bits, sizeof bytes);
    if constexpr (std::endian::native == std::endian::big) std::reverse(bytes, bytes + kValueBytes);
    for (int p = kFirstMantissaByte; p >= 0; --p) {
        const uint8_t above = bytes[p + 1];
        if (AllEqual(bytes, 0, p, above)) {
            WriteBit(false);
            WriteBits(kRepeatAll, kMantissaCodeBits);
            return true;
        }
        if (p >= 1 && AllEqual(bytes, 1, p, above)) {
            WriteBit(false);
            WriteBits(kRepeatThenRead, kMantissaCodeBits);
            WriteByte(bytes[0]);
            return true;
        }
        bool copied = false;
        for (const int distance : kCopyDistances) {
            if (p + distance >= kValueBytes || bytes[p + distance] != bytes[p]) continue;
            WriteBit(false);
            WriteBits(static_cast<uint32_t>(distance), kMantissaCodeBits);
            copied = true;
            break;
        }
        if (!copied) {
            WriteBit(true);
            WriteByte(bytes[p]);
        }
    }
    return true;
}

bool BitstreamWriter::WriteVector3(const FileStructure::Vec3f& value) {
    for (const float c : value)
        if (!WriteDouble(c)) return false;
    return true;
}

void BitstreamWriter::WriteString(const std::string& text) {
    if (text.empty()) {
        WriteBit(false);
        return;
    }
    WriteBit(true);
    WriteUnsignedInteger(static_cast<uint32_t>(text.size()));
    for (const char c : text) WriteByte(static_cast<uint8_t>(c));
}

void BitstreamWriter::WriteName(const std::string& name) {
    // Every name is written in full; the form that repeats the previous name is not used.
    WriteBit(false);
    WriteString(name);
}

void BitstreamWriter::WriteUniqueID(const FileStructure::UniqueID& id) {
    for (const uint32_t word : id.words) WriteU32(word);
}

void BitstreamWriter::WriteUserData(const FileStructure::UserData& record) {
    const uint32_t bits = record.bytes ? record.bitCount : 0;
    const size_t bytesNeeded = (size_t{bits} + kBitsPerByte - 1) / kBitsPerByte;
    if (bits == 0 || record.bytes->size() < bytesNeeded) {
        WriteUnsignedInteger(0);
        return;
    }
    WriteUnsignedInteger(bits);
    uint32_t left = bits;
    size_t i = 0;
    for (; left > kBitsPerByte; left -= kBitsPerByte) WriteByte((*record.bytes)[i++]);
    WriteBits((*record.bytes)[i], left);
}

}  // namespace Velmora::PRC
