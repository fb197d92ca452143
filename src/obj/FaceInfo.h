#pragma once
// One primitive of an OBJ geometry: a triangle, a line (corners 0 and 1) or a point (corner 0).

#include <array>
#include <cstdint>
#include <vector>

#include "obj/VertexArrays.h"

namespace Velmora::OBJ {

struct FaceInfo {
    static constexpr int32_t kAbsent = -1;
    static constexpr uint32_t kCorners = 3;
    // Slots of one corner, in this order.
    enum Slot : uint32_t { PositionSlot = 0, NormalSlot = 1, TexCoordSlot = 2, kSlots = 3 };

    using Corner = std::array<int32_t, kSlots>;
    std::array<Corner, kCorners> corners{
        {{kAbsent, kAbsent, kAbsent}, {kAbsent, kAbsent, kAbsent}, {kAbsent, kAbsent, kAbsent}}};
    int32_t smoothingGroup = 0;

    int32_t Position(uint32_t corner) const { return corners[corner][PositionSlot]; }

    // A usable triangle: position indices in range (an index equal to the count passes),
    // three distinct indices and a non-zero area. Each failure is logged at level 1.
    bool CheckValid(const std::vector<Vec3d>& positions) const;

    // e1 x e2 of the corners' positions, with e1 = p1 - p0 and e2 = p2 - p0.
    Vec3d Cross(const VertexArrays& arrays) const;
};

}  // namespace Velmora::OBJ
