#pragma once
// Reader for the payload of one U3D block: little-endian plain values and values coded by
// the ECMA-363 arithmetic coder with static and dynamic contexts.
//
// Bits are taken from 32-bit words starting at the least significant end. The reader owns a
// private copy of the block's data followed by five zero words. Reading past that buffer
// yields zero bits and never touches memory outside it; Exhausted() tells a caller that the
// stream has been read beyond its end so that hostile counts can be cut short. Callers that
// size arrays from counts in the stream should bound them with RemainingBits() first.
//
// Context numbers:
//   0                  plain read
//   1 .. 1024          dynamic: adaptive ContextManager, created on first use
//   1025 .. 17406      static: uniform over (context - 1024) symbols
//   17407 and above    plain read
//
// One reader lives for one block, so the adaptive contexts start empty in every block.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "u3d/CoderDivision.h"
#include "u3d/ContextManager.h"

#ifdef KESTRUM_SYMBOL_TRACE
#include "u3d/SymbolTrace.h"
#define KESTRUM_TRACE_READ(...) SymbolTrace::Guard traceGuard(traceDepth_, __VA_ARGS__)
#else
#define KESTRUM_TRACE_READ(...) ((void)0)
#endif

namespace Velmora::U3D {

struct RawDataBlock;

class BitStreamReader {
public:
    static constexpr uint32_t kStaticFull = 1024;  // first static context is this + 1
    static constexpr uint32_t kMaxRange = 17407;   // from here on a compressed read is plain
    static constexpr uint32_t kUniform8 = kStaticFull + 256;

    // Copies `size` bytes of `data` (which may be null when size is 0). With noCompression
    // every compressed read is a plain read. `block` is only remembered for diagnostics.
    BitStreamReader(const uint8_t* data, uint32_t size, bool noCompression,
                    std::shared_ptr<RawDataBlock> block = nullptr);
    ~BitStreamReader();
    BitStreamReader(const BitStreamReader&) = delete;
    BitStreamReader& operator=(const BitStreamReader&) = delete;

    // False only if the buffer could not be allocated; all reads then give zeros.
    bool IsValid() const { return !words_.empty() || byteSize_ == 0; }

    // --- plain reads (all built on ReadU8, little-endian) ---
    uint8_t ReadU8();
    uint16_t ReadU16();
    int16_t ReadI16() { return static_cast<int16_t>(ReadU16()); }
    uint32_t ReadU32();
    uint64_t ReadU64();
    float ReadF32();
    double ReadF64();
    // u16 length, then that many bytes as they stand (no terminator, no conversion).
    std::string ReadString();
    void ReadString(std::string& out);

    // --- context-coded reads ---
    // A large progressive mesh codes millions of values on dynamic contexts, almost all of
    // them symbols rather than escapes; that case is decoded inline, the rest out of line.
    uint8_t ReadCompressedU8(uint32_t context) {
        KESTRUM_TRACE_READ(SymbolTrace::CodedU8, context);
        if (ContextManager* manager = ExistingDynamic(context)) {
            const uint32_t symbol = ReadDynamicSymbol(*manager);
            if (symbol != 0) return static_cast<uint8_t>(symbol - 1);
            return LearnEscapedU8(*manager);
        }
        return ReadCompressedU8Slow(context);
    }
    uint16_t ReadCompressedU16(uint32_t context) {
        KESTRUM_TRACE_READ(SymbolTrace::CodedU16, context);
        if (ContextManager* manager = ExistingDynamic(context)) {
            const uint32_t symbol = ReadDynamicSymbol(*manager);
            if (symbol != 0) return static_cast<uint16_t>(symbol - 1);
            return LearnEscapedU16(*manager);
        }
        return ReadCompressedU16Slow(context);
    }
    uint32_t ReadCompressedU32(uint32_t context) {
        KESTRUM_TRACE_READ(SymbolTrace::CodedU32, context);
        if (ContextManager* manager = ExistingDynamic(context)) {
            const uint32_t symbol = ReadDynamicSymbol(*manager);
            if (symbol != 0) return symbol - 1;
            return LearnEscapedU32(*manager);
        }
        return ReadCompressedU32Slow(context);
    }

    // --- position and size ---
    // Offset of the next whole byte in the block's data (a partly used byte counts as used).
    uint32_t CurrentByteOffset() const;
    // Address of that byte inside the private copy; bytes up to ByteSize() are readable.
    const uint8_t* CurrentBytePointer() const;
    // Bytes of block data from CurrentByteOffset() to the end of the data (0 past it).
    uint32_t BytesLeft() const;
    // Size of the block's data in bytes, without padding.
    uint32_t ByteSize() const { return byteSize_; }
    const uint8_t* Data() const { return reinterpret_cast<const uint8_t*>(words_.data()); }
    // Bit position of the stream (consumed bits).
    uint64_t BitPosition() const { return bitPosition_; }
    // Bits of block data not yet consumed; 0 once the stream is past the data.
    uint64_t RemainingBits() const {
        const uint64_t total = uint64_t(byteSize_) * 8;
        return bitPosition_ < total ? total - bitPosition_ : 0;
    }
    // True once reading has gone beyond the data and its zero padding.
    bool Exhausted() const { return bitPosition_ > uint64_t(words_.size()) * 32; }

    bool NoCompression() const { return noCompression_; }

    // Whether the arithmetic coder is at rest, where plain values are raw stream bits.
    bool AtRest() const { return high_ == 0xFFFF && low_ == 0 && underflow_ == 0; }

private:
    uint32_t ReadBits(uint32_t count);  // 1..32 bits, LSB first
    uint32_t PeekBits32(uint64_t bitPosition) const {
        // Inside the buffer a window is one unaligned pair of words; only the last word and
        // reads past the end take the checked path.
        const uint64_t index = bitPosition >> 5;
        if (index + 1 >= words_.size()) return PeekBits32Checked(bitPosition);
        const uint64_t pair = words_[index] | (uint64_t(words_[index + 1]) << 32);
        return static_cast<uint32_t>(pair >> (bitPosition & 31));
    }
    uint32_t PeekBits32Checked(uint64_t bitPosition) const;
    uint32_t ReadCodeBits() {
        // One bit, then the pending underflow bits are skipped, then 15 bits most
        // significant first: the coder emits its interval bits from the top. In the
        // bit-reversed copy of the stream, a pair of words read as one big-endian window
        // holds the stream's bits in reading order from the top, so all of it is shifts.
        // 1 + underflow + 15 bits fit in that window unless underflow is unusually long;
        // the last word and that case take the plain path.
        const uint64_t index = bitPosition_ >> 5;
        if (index + 1 >= reversed_.size() || underflow_ > 16) return ReadCodeBitsChecked();
        const uint64_t window = (uint64_t(reversed_[index]) << 32) | reversed_[index + 1];
        const uint32_t offset = static_cast<uint32_t>(bitPosition_ & 31);
        const uint32_t top = static_cast<uint32_t>(window >> (63 - offset)) & 1;
        const uint32_t rest = static_cast<uint32_t>((window << (offset + 1 + underflow_)) >> 49);
        return (top << 15) | rest;
    }
    uint32_t ReadCodeBitsChecked() const {
        const uint32_t window = PeekBits32(bitPosition_);
        const uint32_t top = window & 1;
        const uint32_t bits =
            underflow_ <= 16 ? window >> (1 + underflow_) : PeekBits32(bitPosition_ + 1 + uint64_t(underflow_));
        const uint32_t rest = ((uint32_t(kReverse8[bits & 0xFF]) << 8) | kReverse8[(bits >> 8) & 0x7F]) >> 1;
        return (top << 15) | rest;
    }
    uint32_t ReadStaticSymbol(uint32_t context);
    uint32_t ReadDynamicSymbol(uint32_t context);
    uint32_t ReadDynamicSymbol(ContextManager& manager) {
        const uint32_t code = ReadCodeBits();
        code_ = code;
        const uint32_t low = low_;
        const uint32_t total = manager.Total();
        const uint32_t range = high_ - low + 1;
        uint32_t target = ((code - low + 1) * total - 1) / range;
        if (target >= total) target = total - 1;  // only a corrupt state gets here
        uint32_t cumulative = 0;
        const uint32_t symbol = manager.FindSymbol(target, cumulative);
        const uint32_t frequency = manager.Frequency(symbol);
        // Range is above 0x4000 and at most 0x10000 between symbols, so these dividends stay
        // below 2^30.
        Narrow(low + CoderDivision::Divide(cumulative * range, total),
               CoderDivision::Divide((cumulative + frequency) * range, total) - 1 + low);
        manager.AddSymbol(symbol);
        return symbol;
    }
    // Takes the new interval of a decoded symbol and renormalises it. The state is worked on
    // in locals and stored once: high and low written one by one and read back together
    // would stall store forwarding on every symbol.
    void Narrow(uint32_t low, uint32_t high) {
        uint32_t underflow = underflow_;
        // Shift out the leading bits on which low and high agree: ones into high, zeros
        // into low.
        const uint32_t differ = (low ^ high) & 0xFFFF;
        uint32_t consumed = differ ? static_cast<uint32_t>(__builtin_clz(differ)) - 16 : 16;
        if (consumed) {
            low = (low << consumed) & 0xFFFF;
            high = ((high << consumed) | ((1u << consumed) - 1)) & 0xFFFF;
            consumed += underflow;
            underflow = 0;
        }
        // Underflow: low is 01..., high is 10...; drop the second bit of both, keep the top
        // bits, as often as the pattern repeats below the top bit. The repeats are the run
        // of ones from bit 14 down in low & ~high, counted at once rather than bit by bit
        // behind an unpredictable branch.
        const uint32_t pattern = (low & ~high & 0x7FFF) << 17;
        const uint32_t dropped = static_cast<uint32_t>(__builtin_clz(~pattern));  // at most 15
        if (dropped) {
            low = (low << dropped) & 0x7FFF;
            high = ((high << dropped) | ((1u << dropped) - 1) | 0x8000) & 0xFFFF;
            underflow += dropped;
        }
        low_ = low;
        high_ = high;
        underflow_ = underflow;
        bitPosition_ += consumed;
    }
    // The manager of a dynamic context that is already in use, else null (also for every
    // other kind of context and without compression).
    ContextManager* ExistingDynamic(uint32_t context) const {
        if (noCompression_ || context - 1 >= kStaticFull || context >= contexts_.size()) return nullptr;
        return contexts_[context].get();
    }
    uint8_t ReadCompressedU8Slow(uint32_t context);
    uint32_t ReadCompressedU32Slow(uint32_t context);
    uint8_t LearnEscapedU8(ContextManager& manager);
    uint16_t ReadCompressedU16Slow(uint32_t context);
    uint16_t LearnEscapedU16(ContextManager& manager);
    uint32_t LearnEscapedU32(ContextManager& manager);
    ContextManager* Context(uint32_t context);

    // Bit reversal of a byte: the coder's code bits come most significant first.
    static constexpr std::array<uint8_t, 256> kReverse8 = [] {
        std::array<uint8_t, 256> table{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t r = 0;
            for (uint32_t b = 0; b < 8; ++b)
                if (i & (1u << b)) r |= 0x80u >> b;
            table[i] = static_cast<uint8_t>(r);
        }
        return table;
    }();

    bool noCompression_ = false;
    std::vector<uint32_t> words_;     // data plus five zero words
    std::vector<uint32_t> reversed_;  // words_ with the bits of each word reversed
    uint32_t byteSize_ = 0;
    uint64_t bitPosition_ = 0;
    uint32_t high_ = 0xFFFF;
    uint32_t low_ = 0;
    uint32_t code_ = 0;
    uint32_t underflow_ = 0;
    std::vector<std::unique_ptr<ContextManager>> contexts_;
    std::shared_ptr<RawDataBlock> block_;
#ifdef KESTRUM_SYMBOL_TRACE
    uint32_t traceDepth_ = 0;
#endif
};

}  // namespace Velmora::U3D
