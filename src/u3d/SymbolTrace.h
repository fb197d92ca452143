#pragma once
// Record of every read a block reader makes, for measurement builds only
// (-DKESTRUM_SYMBOL_TRACE=ON).
//
// Replaying the record of a file decodes its whole coded stream with every context known in
// advance and no mesh work at all: the least any decode of that file can cost with this
// arithmetic decoder, since which context is read next depends on the mesh built so far and
// so can only be learnt by decoding in order. bench/bench_symbol_floor.cpp measures it.
//
// Readers of one thread only; a record is taken between Start() and Stop().

#include <cstdint>
#include <vector>

namespace Velmora::U3D {

class SymbolTrace {
public:
    enum Op : uint32_t { NewReader = 1, U8, U16, U32, U64, F32, F64, String, CodedU8, CodedU16, CodedU32 };
    static constexpr uint32_t kOpBits = 4;  // an event is op | argument << kOpBits
    static Op OpOf(uint32_t event) { return static_cast<Op>(event & ((1u << kOpBits) - 1)); }
    // The block of a NewReader, the context of a coded read.
    static uint32_t ArgumentOf(uint32_t event) { return event >> kOpBits; }

    struct Block {
        std::vector<uint8_t> bytes;
        bool noCompression = false;
    };

    static void Start() {
        events_.clear();
        blocks_.clear();
        recording_ = true;
    }
    static void Stop() { recording_ = false; }
    static const std::vector<uint32_t>& Events() { return events_; }
    static const std::vector<Block>& Blocks() { return blocks_; }

    // A new reader over a copy of its block; its reads follow until the next NewReader.
    static void AddReader(const uint8_t* data, uint32_t size, bool noCompression) {
        if (!recording_) return;
        events_.push_back(NewReader | uint32_t(blocks_.size()) << kOpBits);
        blocks_.push_back({std::vector<uint8_t>(data, data + size), noCompression});
    }

    // Records the outermost read of a reader only: reads built on other reads (a u64 on two
    // u32, a string on its bytes) replay as one.
    class Guard {
    public:
        Guard(uint32_t& depth, Op op, uint32_t context = 0) : depth_(depth) {
            if (depth_++ == 0 && recording_) events_.push_back(op | context << kOpBits);
        }
        ~Guard() { --depth_; }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        uint32_t& depth_;
    };

private:
    static inline bool recording_ = false;
    static inline std::vector<uint32_t> events_;
    static inline std::vector<Block> blocks_;
};

}  // namespace Velmora::U3D
