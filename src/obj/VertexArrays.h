#pragma once
// The four coordinate arrays of one OBJ file, shared by every mesh of it: faces refer into them
// by index.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::OBJ {

using Vec2d = std::array<double, 2>;
using Vec3d = std::array<double, 3>;
using Vec4d = std::array<double, 4>;

struct VertexArrays {
    std::vector<Vec3d> positions;  // every `v` line
    std::vector<Vec3d> normals;    // every `vn` line
    std::vector<Vec2d> texCoords;  // every `vt` line
    std::vector<Vec4d> colors;     // every `vc` line

    // A face may name the position one past the last (see FaceInfo::CheckValid); that and any
    // other index outside the array reads as the origin.
    Vec3d PositionAt(int32_t index) const {
        return index >= 0 && size_t(index) < positions.size() ? positions[size_t(index)] : Vec3d{0.0, 0.0, 0.0};
    }
};

}  // namespace Velmora::OBJ
