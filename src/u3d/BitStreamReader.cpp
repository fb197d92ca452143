#include "u3d/BitStreamReader.h"

#include <array>
#include <cstring>
#include <new>

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

BitStreamReader::BitStreamReader(const uint8_t* data, uint32_t size, bool noCompression,
                                 std::shared_ptr<RawDataBlock> block)
    : noCompression_(noCompression), byteSize_(size), block_(std::move(block)) {
    if (data == nullptr) byteSize_ = 0;
#ifdef KESTRUM_SYMBOL_TRACE
    SymbolTrace::AddReader(data, byteSize_, noCompression);
#endif
    try {
        // Five zero words behind the data: the coder looks up to 16 + underflow bits ahead.
        words_.assign((size_t(byteSize_) + 3) / 4 + 5, 0u);
        if (byteSize_) std::memcpy(words_.data(), data, byteSize_);
        reversed_.resize(words_.size());
        for (size_t i = 0; i < words_.size(); ++i) {
            const uint32_t word = words_[i];
            reversed_[i] = (uint32_t(kReverse8[word & 0xFF]) << 24) | (uint32_t(kReverse8[(word >> 8) & 0xFF]) << 16) |
                           (uint32_t(kReverse8[(word >> 16) & 0xFF]) << 8) | kReverse8[word >> 24];
        }
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "BitStreamReader::AllocateDataBuffer() - OUT OF MEMORY!");
        words_.clear();
        reversed_.clear();
        byteSize_ = 0;
    }
}

BitStreamReader::~BitStreamReader() = default;

uint32_t BitStreamReader::PeekBits32Checked(uint64_t bitPosition) const {
    const uint64_t index = bitPosition >> 5;
    const uint32_t offset = static_cast<uint32_t>(bitPosition & 31);
    const uint64_t count = words_.size();
    const uint64_t lowWord = index < count ? words_[index] : 0;
    const uint64_t highWord = index + 1 < count ? words_[index + 1] : 0;
    return static_cast<uint32_t>(((highWord << 32) | lowWord) >> offset);
}

uint32_t BitStreamReader::ReadBits(uint32_t count) {
    uint32_t value = PeekBits32(bitPosition_);
    if (count < 32) value &= (1u << count) - 1;
    bitPosition_ += count;
    return value;
}

uint8_t BitStreamReader::ReadU8() {
    KESTRUM_TRACE_READ(SymbolTrace::U8);
    if (AtRest()) return static_cast<uint8_t>(ReadBits(8));
    // Coder not at rest: the byte is a uniform 256-symbol read whose bits come out in the
    // opposite order of the raw path.
    const uint32_t symbol = ReadStaticSymbol(kUniform8) - 1;
    return kReverse8[symbol & 0xFF];
}

uint16_t BitStreamReader::ReadU16() {
    KESTRUM_TRACE_READ(SymbolTrace::U16);
    if (AtRest()) return static_cast<uint16_t>(ReadBits(16));
    const uint32_t b0 = ReadU8();
    const uint32_t b1 = ReadU8();
    return static_cast<uint16_t>(b0 | (b1 << 8));
}

uint32_t BitStreamReader::ReadU32() {
    KESTRUM_TRACE_READ(SymbolTrace::U32);
    if (AtRest()) return ReadBits(32);
    uint32_t value = 0;
    for (uint32_t i = 0; i < 4; ++i) value |= uint32_t(ReadU8()) << (8 * i);
    return value;
}

uint64_t BitStreamReader::ReadU64() {
    KESTRUM_TRACE_READ(SymbolTrace::U64);
    const uint64_t lo = ReadU32();
    const uint64_t hi = ReadU32();
    return lo | (hi << 32);
}

float BitStreamReader::ReadF32() {
    KESTRUM_TRACE_READ(SymbolTrace::F32);
    const uint32_t bits = ReadU32();
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double BitStreamReader::ReadF64() {
    KESTRUM_TRACE_READ(SymbolTrace::F64);
    const uint64_t bits = ReadU64();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

void BitStreamReader::ReadString(std::string& out) {
    KESTRUM_TRACE_READ(SymbolTrace::String);
    const uint32_t length = ReadU16();
    try {
        out.resize(length);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "BitStreamReader::ReadString() - OUT OF MEMORY!");
        out.clear();
        for (uint32_t i = 0; i < length; ++i) ReadU8();
        return;
    }
    for (uint32_t i = 0; i < length; ++i) out[i] = static_cast<char>(ReadU8());
}

std::string BitStreamReader::ReadString() {
    std::string text;
    ReadString(text);
    return text;
}

uint32_t BitStreamReader::CurrentByteOffset() const {
    return static_cast<uint32_t>(std::min<uint64_t>((bitPosition_ + 7) / 8, uint64_t(words_.size()) * 4));
}

const uint8_t* BitStreamReader::CurrentBytePointer() const {
    if (words_.empty()) return nullptr;
    return Data() + CurrentByteOffset();
}

uint32_t BitStreamReader::BytesLeft() const {
    const uint32_t offset = CurrentByteOffset();
    return offset < byteSize_ ? byteSize_ - offset : 0;
}

ContextManager* BitStreamReader::Context(uint32_t context) {
    if (context < contexts_.size() && contexts_[context]) return contexts_[context].get();
    if (context == 0 || context > kStaticFull) return nullptr;
    if (context >= contexts_.size()) {
        try {
            contexts_.resize(context + 37);
        } catch (const std::bad_alloc&) {
            Logger::Log(LogLevel::Error, "ContextManager::ContextManager() - OUT OF MEMORY!");
            return nullptr;
        }
    }
    std::unique_ptr<ContextManager>& slot = contexts_[context];
    if (!slot) slot.reset(new (std::nothrow) ContextManager());
    return slot.get();
}

uint32_t BitStreamReader::ReadStaticSymbol(uint32_t context) {
    const uint32_t total = context - kStaticFull;
    code_ = ReadCodeBits();
    const uint32_t range = high_ - low_ + 1;
    uint32_t cumulative = ((code_ - low_ + 1) * total - 1) / range;
    if (cumulative >= total) cumulative = total - 1;  // only a corrupt state gets here
    Narrow(low_ + CoderDivision::Divide(cumulative * range, total),
           low_ - 1 + CoderDivision::Divide((cumulative + 1) * range, total));
    return cumulative + 1;
}

uint32_t BitStreamReader::ReadDynamicSymbol(uint32_t context) {
    ContextManager* manager = Context(context);
    if (manager != nullptr) return ReadDynamicSymbol(*manager);
    // Escape-only context: the escape spans the whole interval and consumes nothing.
    code_ = ReadCodeBits();
    Narrow(low_, high_);
    return 0;
}

uint8_t BitStreamReader::LearnEscapedU8(ContextManager& manager) {
    const uint8_t value = ReadU8();
    manager.AddSymbol(uint32_t(value) + 1);
    return value;
}

uint16_t BitStreamReader::LearnEscapedU16(ContextManager& manager) {
    const uint16_t value = ReadU16();
    manager.AddSymbol(uint32_t(value) + 1);
    return value;
}

uint32_t BitStreamReader::LearnEscapedU32(ContextManager& manager) {
    const uint32_t value = ReadU32();
    if (value < ContextManager::kMaxSymbol) manager.AddSymbol(value + 1);
    return value;
}

uint8_t BitStreamReader::ReadCompressedU8Slow(uint32_t context) {
    if (noCompression_ || context == 0 || context >= kMaxRange) return ReadU8();
    const bool dynamic = context <= kStaticFull;
    const uint32_t symbol = dynamic ? ReadDynamicSymbol(context) : ReadStaticSymbol(context);
    if (symbol != 0) return static_cast<uint8_t>(symbol - 1);
    const uint8_t value = ReadU8();
    if (dynamic) {
        if (ContextManager* manager = Context(context)) manager->AddSymbol(uint32_t(value) + 1);
    }
    return value;
}

uint16_t BitStreamReader::ReadCompressedU16Slow(uint32_t context) {
    if (noCompression_) return ReadU16();
    // Contexts 0 and 17407+ are never passed here; they take safe forms rather than plain ones.
    if (context >= kMaxRange) return ReadU16();
    const bool dynamic = context <= kStaticFull;
    const uint32_t symbol = dynamic ? ReadDynamicSymbol(context) : ReadStaticSymbol(context);
    if (symbol != 0) return static_cast<uint16_t>(symbol - 1);
    const uint16_t value = ReadU16();
    if (dynamic) {
        if (ContextManager* manager = Context(context)) manager->AddSymbol(uint32_t(value) + 1);
    }
    return value;
}

uint32_t BitStreamReader::ReadCompressedU32Slow(uint32_t context) {
    if (noCompression_ || context == 0 || context >= kMaxRange) return ReadU32();
    const bool dynamic = context <= kStaticFull;
    const uint32_t symbol = dynamic ? ReadDynamicSymbol(context) : ReadStaticSymbol(context);
    if (symbol != 0) return symbol - 1;
    const uint32_t value = ReadU32();
    if (dynamic && value < ContextManager::kMaxSymbol) {
        if (ContextManager* manager = Context(context)) manager->AddSymbol(value + 1);
    }
    return value;
}

}  // namespace Velmora::U3D
