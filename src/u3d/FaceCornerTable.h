#pragma once
// Optional corner indices of the faces of a CLOD mesh: colours and tex coord layers. A mesh
// keeps only those its declaration can give a face, and most have none, so every face of
// the mesh gets the same number of slots, often zero, instead of room for all of them.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Velmora::U3D {

// Attribute indices at the three corners of a face.
using CornerIndices = std::array<uint32_t, 3>;

class FaceCornerTable {
public:
    // Slots per face. Takes effect only while the table is empty: the faces stored are laid
    // out for the present count.
    void SetSlots(uint32_t slots) {
        if (entries_.empty()) slots_ = slots;
    }
    uint32_t Slots() const { return slots_; }
    void Reserve(size_t faces) {
        const size_t entries = faces * slots_;
        if (entries_.capacity() < entries) entries_.reserve(entries);
    }
    // One face's slots: those given beyond the table's are dropped, those missing are zero.
    void Append(std::span<const CornerIndices> values) {
        if (slots_ == 0) return;
        const size_t given = std::min<size_t>(values.size(), slots_);
        entries_.insert(entries_.end(), values.begin(), values.begin() + static_cast<std::ptrdiff_t>(given));
        entries_.resize(entries_.size() + (slots_ - given));
    }
    // A slot the table does not keep reads as index 0.
    CornerIndices Get(uint32_t face, uint32_t slot) const {
        const size_t at = size_t(face) * slots_ + slot;
        if (slot >= slots_ || at >= entries_.size()) return {};
        return entries_[at];
    }
    // Where a slot is stored, or null for one the table does not keep.
    CornerIndices* Find(uint32_t face, uint32_t slot) {
        const size_t at = size_t(face) * slots_ + slot;
        if (slot >= slots_ || at >= entries_.size()) return nullptr;
        return &entries_[at];
    }

private:
    uint32_t slots_ = 0;
    std::vector<CornerIndices> entries_;  // slots_ entries per face, in face order
};

}  // namespace Velmora::U3D
