#include "prc/reader/EdgeUseTable.h"

#include <algorithm>
#include <bit>
#include <new>

namespace Velmora::PRC {

namespace {
// Spreads the two point indices of a key over the bits that choose a slot.
constexpr uint64_t kMixMultiplier = 0x9E3779B97F4A7C15ull;
constexpr uint32_t kMixShift = 29;

uint64_t Mix(uint64_t key) {
    key *= kMixMultiplier;
    return key ^ (key >> kMixShift);
}
}  // namespace

size_t EdgeUseTable::Find(uint64_t key) const {
    const size_t mask = slots_.size() - 1;
    size_t slot = static_cast<size_t>(Mix(key)) & mask;
    while (slots_[slot].key != key && slots_[slot].key != kEmpty) slot = (slot + 1) & mask;
    return slot;
}

bool EdgeUseTable::Grow(size_t slots) {
    std::vector<Slot> old;
    old.swap(slots_);
    try {
        slots_.resize(slots);
    } catch (const std::bad_alloc&) {
        slots_.swap(old);
        return false;
    }
    for (const Slot& s : old)
        if (s.key != kEmpty) slots_[Find(s.key)] = s;
    return true;
}

bool EdgeUseTable::Reserve(size_t edges) {
    const size_t wanted = std::bit_ceil(std::max(kMinimumSlots, edges * kLoadDivisor));
    return wanted <= slots_.size() || Grow(wanted);
}

uint32_t EdgeUseTable::AddUse(uint64_t key) {
    if ((size_ + 1) * kLoadDivisor > slots_.size() && !Grow(std::max(kMinimumSlots, slots_.size() * kLoadDivisor)))
        return 0;
    Slot& slot = slots_[Find(key)];
    if (slot.key == kEmpty) {
        slot.key = key;
        ++size_;
    }
    return ++slot.uses;
}

uint32_t EdgeUseTable::Uses(uint64_t key) const {
    if (slots_.empty()) return 0;
    const Slot& slot = slots_[Find(key)];
    return slot.key == key ? slot.uses : 0;
}

}  // namespace Velmora::PRC
