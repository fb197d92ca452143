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

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "u3d/ContextManager.h"

namespace Velmora::U3D {

struct RawDataBlock;

class BitStreamReader {
public:
    static constexpr uint32_t kStaticFull = 1024;     // first static context is this + 1
    static constexpr uint32_t kMaxRange = 17407;      // from here on a compressed read is plain
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
    int32_t ReadI32() { return static_cast<int32_t>(ReadU32()); }
    uint64_t ReadU64();
    float ReadF32();
    double ReadF64();
    // u16 length, then that many bytes as they stand (no terminator, no conversion).
    std::string ReadString();
    void ReadString(std::string& out);

    // --- context-coded reads ---
    uint8_t ReadCompressedU8(uint32_t context);
    uint16_t ReadCompressedU16(uint32_t context);
    uint32_t ReadCompressedU32(uint32_t context);

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
    const std::shared_ptr<RawDataBlock>& Block() const { return block_; }

    // Whether the arithmetic coder is at rest, where plain values are raw stream bits.
    bool AtRest() const { return high_ == 0xFFFF && low_ == 0 && underflow_ == 0; }

private:
    uint32_t ReadBits(uint32_t count);  // 1..32 bits, LSB first
    uint32_t PeekBits32(uint64_t bitPosition) const;
    uint32_t ReadCodeBits();             // the 16 code bits at the current position
    uint32_t ReadStaticSymbol(uint32_t context);
    uint32_t ReadDynamicSymbol(uint32_t context);
    void Renormalize(uint64_t savedPosition);
    ContextManager* Context(uint32_t context);

    bool noCompression_ = false;
    std::vector<uint32_t> words_;  // data plus five zero words
    uint32_t byteSize_ = 0;
    uint64_t bitPosition_ = 0;
    uint32_t high_ = 0xFFFF;
    uint32_t low_ = 0;
    uint32_t code_ = 0;
    uint32_t underflow_ = 0;
    std::vector<std::unique_ptr<ContextManager>> contexts_;
    std::shared_ptr<RawDataBlock> block_;
};

}  // namespace Velmora::U3D
