#pragma once
// How many triangles use each edge of a walked mesh. The walk asks this for every triangle it
// makes, so the counts live in one flat open-addressed array rather than in a node per edge:
// a large mesh would otherwise spend most of its decoding time allocating and freeing nodes.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::PRC {

class EdgeUseTable {
public:
    // Makes room for this many edges without growing; fails (false) when memory runs out.
    bool Reserve(size_t edges);
    // Adds one use to the edge and gives its new count; 0 when memory ran out.
    uint32_t AddUse(uint64_t key);
    // The edge's count, 0 for an edge never used.
    uint32_t Uses(uint64_t key) const;
    size_t Size() const { return size_; }

private:
    struct Slot {
        uint64_t key = kEmpty;
        uint32_t uses = 0;
    };
    // Keys join two non-negative 32-bit point indices, so their top bit is never set.
    static constexpr uint64_t kEmpty = ~uint64_t{0};
    static constexpr size_t kMinimumSlots = 16;
    // The table grows before more than half its slots are taken, so probes stay short.
    static constexpr size_t kLoadDivisor = 2;

    size_t Find(uint64_t key) const;
    bool Grow(size_t slots);

    std::vector<Slot> slots_;
    size_t size_ = 0;
};

}  // namespace Velmora::PRC
