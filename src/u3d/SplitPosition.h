#pragma once
// The new position of a resolution update, shared by progressive meshes and point and line
// sets: the split position moved by three coded differences.

#include <cstdint>
#include <vector>

#include "u3d/AuthorMeshData.h"
#include "u3d/BitStreamReader.h"

namespace Velmora::U3D {

namespace SplitPositionContext {
constexpr uint32_t Sign = 20, X = 21, Y = 22, Z = 23;
}  // namespace SplitPositionContext

// Appends the new position. Before the first position exists the split position is a virtual
// one at the origin; sign bits 0..2 negate the x, y and z differences.
inline void ReadSplitPosition(BitStreamReader& reader, std::vector<Vec3f>& positions, uint32_t split,
                              float inverseQuant) {
    const uint8_t sign = reader.ReadCompressedU8(SplitPositionContext::Sign);
    const uint32_t contexts[3] = {SplitPositionContext::X, SplitPositionContext::Y, SplitPositionContext::Z};
    Vec3f position = split < positions.size() ? positions[split] : Vec3f{0, 0, 0};
    for (int k = 0; k < 3; ++k) {
        const float delta = static_cast<float>(reader.ReadCompressedU32(contexts[k])) * inverseQuant;
        position[k] += (sign >> k) & 1 ? -delta : delta;
    }
    positions.push_back(position);
}

}  // namespace Velmora::U3D
