#include "prc/reader/BitstreamReader.h"

#include <bit>
#include <cstring>

#include "format/AuthoringProgress.h"
#include "prc/reader/FrequentDoubles.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kBitsPerByte = 8;
constexpr uint32_t kMaxBitsPerRead = 32;
constexpr uint32_t kMaxVariableBitNumber = 31;
constexpr uint32_t kBitNumberFieldBits = 5;
constexpr uint32_t kU32Bytes = 4;
constexpr uint64_t kSignBit = 0x8000000000000000ull;
constexpr uint64_t kMantissaMask = 0x000FFFFFFFFFFFFFull;
constexpr uint32_t kTopMantissaBits = 4;
constexpr uint32_t kTopMantissaShift = 48;
constexpr uint32_t kRepeatThenRead = 6;  // mantissa code: repeat bytes, then one read byte
constexpr uint32_t kRepeatAll = 0;       // mantissa code: repeat the byte above to the end
constexpr uint32_t kMantissaCodeBits = 3;
constexpr int kFirstMantissaByte = 5;
constexpr double kPercent = 100.0;

}  // namespace

BitstreamReader::BitstreamReader(FormatGlue::AuthoringProgress* progress, float progressSpan, int32_t progressTotal)
    : progress_(progress), progressSpan_(progressSpan), progressTotal_(progressTotal) {}

bool BitstreamReader::SetData(std::shared_ptr<ByteHolder> holder) {
    if (!holder) return false;
    holder_ = std::move(holder);
    data_ = holder_->Data();
    size_ = holder_->Size();
    pos_ = 0;
    bitOffset_ = 0;
    progressPosition_ = 0;
    (void)FrequentDoubles::Instance();
    return true;
}

void BitstreamReader::SetRange(const uint8_t* begin, uint32_t size) {
    holder_.reset();
    data_ = begin;
    size_ = begin ? size : 0;
    pos_ = 0;
    bitOffset_ = 0;
    progressPosition_ = 0;
    (void)FrequentDoubles::Instance();
}

bool BitstreamReader::CountFits(uint64_t count, uint32_t bitsEach, const char* what) {
    if (count * bitsEach <= RemainingBits()) return true;
    Logger::Log(LogLevel::Error, "BitstreamReader - %s count %llu exceeds the data left", what,
                static_cast<unsigned long long>(count));
    return false;
}

void BitstreamReader::ResetNameAndGraphics() {
    currentName_.clear();
    currentLayerIndex_ = -1;
    currentLineStyleIndex_ = -1;
    currentBehaviourBits_ = 1;
}

void BitstreamReader::SetProgress(FormatGlue::AuthoringProgress* progress, float span, int32_t total) {
    progress_ = progress;
    progressSpan_ = span;
    progressTotal_ = total;
    progressPosition_ = pos_;
}

void BitstreamReader::ReportProgress() {
    if (!progress_ || progressSpan_ <= 0.0f || progressTotal_ <= 0 || pos_ <= progressPosition_) return;
    const double share = static_cast<double>(pos_ - progressPosition_) / progressTotal_;
    progress_->UpdateProgress(static_cast<float>(share * progressSpan_ * kPercent));
    progressPosition_ = pos_;
}

void BitstreamReader::AdvanceByte() {
    ++pos_;
    bitOffset_ = 0;
    if (pos_ > size_) Logger::Log(LogLevel::Error, "BitstreamReader::AdvanceByte() - DATA OVERFLOW!");
}

uint8_t BitstreamReader::ReadByteSlow() {
    const uint32_t first = pos_ < size_ ? data_[pos_] : 0u;
    const uint32_t offset = bitOffset_;
    AdvanceByte();
    if (offset == 0) return static_cast<uint8_t>(first);
    const uint32_t second = pos_ < size_ ? data_[pos_] : 0u;
    bitOffset_ = offset;
    return static_cast<uint8_t>((first << offset) | (second >> (kBitsPerByte - offset)));
}

uint32_t BitstreamReader::ReadBits(uint32_t n) {
    if (n > kMaxBitsPerRead) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadBits() - too many bits requested!");
        return 0;
    }
    if (n == 0) return 0;
    if (HasFastWindow()) {
        const auto value = static_cast<uint32_t>(PeekWord() >> (kWordBits - n));
        SkipBits(n);
        return value;
    }
    uint32_t value = 0;
    for (uint32_t i = 0; i < n; ++i) value = (value << 1) | ReadBit();
    return value;
}

uint32_t BitstreamReader::ReadU32() {
    if (!data_ || size_ < kU32Bytes || pos_ >= size_ - kU32Bytes) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadU32() - Invalid read pointer!");
        return 0;
    }
    uint32_t value = 0;
    for (uint32_t i = 0; i < kU32Bytes; ++i) value |= static_cast<uint32_t>(ReadByte()) << (i * kBitsPerByte);
    return value;
}

uint32_t BitstreamReader::ReadUnsignedInteger() {
    constexpr uint32_t kGroupBits = 9;  // the continuation bit and its byte
    uint32_t value = 0;
    uint32_t shift = 0;
    while (HasFastWindow()) {
        const uint64_t word = PeekWord();
        if (!(word >> (kWordBits - 1))) {
            SkipBits(1);
            return value;
        }
        const auto byte = static_cast<uint32_t>((word >> (kWordBits - kGroupBits)) & 0xFFu);
        SkipBits(kGroupBits);
        value |= byte << (shift & (kMaxBitsPerRead - 1));
        shift += kBitsPerByte;
    }
    while (ReadBit()) {
        value |= static_cast<uint32_t>(ReadByte()) << (shift & (kMaxBitsPerRead - 1));
        shift += kBitsPerByte;
    }
    return value;
}

int32_t BitstreamReader::ReadInteger() {
    uint32_t value = 0;
    uint32_t shift = 0;
    uint8_t last = 0;
    while (ReadBit()) {
        last = ReadByte();
        value |= static_cast<uint32_t>(last) << (shift & (kMaxBitsPerRead - 1));
        shift += kBitsPerByte;
    }
    const uint32_t used = shift % kMaxBitsPerRead;
    if (shift > 0 && (last & 0x80u) && used != 0) value |= ~0u << used;
    return static_cast<int32_t>(value);
}

uint32_t BitstreamReader::ReadUnsignedIntegerWithVariableBitNumber(uint32_t n) {
    if (n == 0) return 0;
    if (n > kMaxVariableBitNumber) {
        Logger::Log(LogLevel::Error,
                    "BitstreamReader::ReadUnsignedIntegerWithVariableBitNumber() - INVALID BITNUMBER!");
        return 0;
    }
    return ReadBits(n);
}

int32_t BitstreamReader::ReadIntegerWithVariableBitNumber(uint32_t n) {
    if (n - 1 > kMaxVariableBitNumber - 1) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadIntegerWithVariableBitNumber() - INVALID BITNUMBER!");
        return 0;
    }
    const uint32_t negative = ReadBit();
    const int32_t magnitude = static_cast<int32_t>(ReadUnsignedIntegerWithVariableBitNumber(n - 1));
    return negative ? -magnitude : magnitude;
}

uint32_t BitstreamReader::ReadBitNumberThenUnsignedInteger() { return ReadBits(ReadBits(kBitNumberFieldBits)); }

float BitstreamReader::ReadFloat() {
    uint32_t bits = 0;
    for (uint32_t i = 0; i < kU32Bytes; ++i) bits |= static_cast<uint32_t>(ReadByte()) << (i * kBitsPerByte);
    return std::bit_cast<float>(bits);
}

bool BitstreamReader::ReadFloatAsIntArray(std::vector<float>& array, uint32_t count) {
    if (count == 0) return false;
    if (!CountFits(count, kMaxBitsPerRead, "float")) return false;
    if (array.size() < count) array.resize(count);
    for (uint32_t i = 0; i < count; ++i) array[i] = ReadFloat();
    return true;
}

double BitstreamReader::ReadDouble() {
    const FrequentDoubles& table = FrequentDoubles::Instance();
    const FrequentValueRow* row = nullptr;
    if (HasFastWindow()) {
        const uint64_t word = PeekWord();
        uint32_t length = 0;
        row = table.FindShort(static_cast<uint32_t>(word >> (kWordBits - FrequentDoubles::kPrefixBits)), length);
        if (!row) {
            length = FrequentDoubles::kPrefixBits + 1;
            for (; length <= FrequentDoubles::kMaxCodeLength && !row; ++length)
                row = table.Find(length, static_cast<uint32_t>(word >> (kWordBits - length)));
            --length;
        }
        SkipBits(length);
    } else {
        uint32_t code = 0;
        for (uint32_t length = 1; length <= FrequentDoubles::kMaxCodeLength && !row; ++length) {
            code = (code << 1) | ReadBit();
            row = table.Find(length, code);
        }
    }
    if (!row) return 0.0;
    if ((row->value & ~kSignBit) == 0) return std::bit_cast<double>(row->value);

    uint64_t value = row->value;
    if (ReadBit()) value |= kSignBit;
    if (row->type == FrequentValueType::Double) return std::bit_cast<double>(value);
    if (!ReadBit()) return std::bit_cast<double>(value & ~kMantissaMask);

    value |= static_cast<uint64_t>(ReadBits(kTopMantissaBits)) << kTopMantissaShift;
    // Bytes from the least significant; the tail is zero so that a copy from above the value
    // stays inside the buffer.
    uint8_t bytes[16] = {};
    std::memcpy(bytes, &value, sizeof(value));
    int p = kFirstMantissaByte;
    while (p >= 0) {
        if (HasFastWindow()) {
            // One flag bit and a byte, in one step.
            const uint64_t word = PeekWord();
            if (word >> (kWordBits - 1)) {
                bytes[p--] = static_cast<uint8_t>(word >> (kWordBits - 1 - kBitsPerByte));
                SkipBits(1 + kBitsPerByte);
                continue;
            }
        }
        if (ReadBit()) {
            bytes[p--] = ReadByte();
            continue;
        }
        const uint32_t x = ReadBits(kMantissaCodeBits);
        if (x == kRepeatThenRead) {
            for (; p >= 1; --p) bytes[p] = bytes[p + 1];
            bytes[0] = ReadByte();
            break;
        }
        if (x == kRepeatAll) {
            for (; p >= 0; --p) bytes[p] = bytes[p + 1];
            break;
        }
        bytes[p] = bytes[p + static_cast<int>(x)];
        --p;
    }
    std::memcpy(&value, bytes, sizeof(value));
    return std::bit_cast<double>(value);
}

FileStructure::Vec3f BitstreamReader::ReadVector3() {
    FileStructure::Vec3f v;
    for (float& c : v) c = static_cast<float>(ReadDouble());
    return v;
}

std::string BitstreamReader::ReadString() {
    if (!ReadBit()) return {};
    const uint32_t length = ReadUnsignedInteger();
    if (length == 0) return {};
    if (!CountFits(length, kBitsPerByte, "string")) {
        pos_ = size_;
        bitOffset_ = 0;
        return {};
    }
    std::string text(length, '\0');
    for (uint32_t i = 0; i < length; ++i) text[i] = static_cast<char>(ReadByte());
    return text;
}

std::string BitstreamReader::ReadName() {
    if (!ReadBit()) currentName_ = ReadString();
    return currentName_;
}

bool BitstreamReader::ReadUniqueID(FileStructure::UniqueID& id) {
    if (!data_) {
        Logger::Log(LogLevel::Error, "BitstreamReader::ReadUniqueID() - Invalid read pointer!");
        return false;
    }
    for (uint32_t& word : id.words) word = ReadU32();
    return true;
}

bool BitstreamReader::ReadUserData(FileStructure::UserData& record) {
    const uint32_t bits = ReadUnsignedInteger();
    record = {};
    if (bits == 0) return true;
    if (!CountFits(bits, 1, "user data bit")) return false;
    record.bitCount = bits;
    record.bytes = std::make_shared<std::vector<uint8_t>>((bits + kBitsPerByte - 1) / kBitsPerByte);
    uint32_t left = bits;
    size_t i = 0;
    for (; left > kBitsPerByte; left -= kBitsPerByte) (*record.bytes)[i++] = ReadByte();
    (*record.bytes)[i] = static_cast<uint8_t>(ReadBits(left));
    return true;
}

}  // namespace Velmora::PRC
