#include "obj/FaceInfo.h"

#include "util/Logger.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

namespace {

Vec3d PositionOrOrigin(const std::vector<Vec3d>& positions, int32_t index) {
    return index >= 0 && size_t(index) < positions.size() ? positions[size_t(index)] : Vec3d{0.0, 0.0, 0.0};
}

Vec3d CrossOf(const Vec3d& p0, const Vec3d& p1, const Vec3d& p2) {
    const Vec3d e1{p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
    const Vec3d e2{p2[0] - p0[0], p2[1] - p0[1], p2[2] - p0[2]};
    return {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
}

}  // namespace

bool FaceInfo::CheckValid(const std::vector<Vec3d>& positions) const {
    for (const Corner& corner : corners) {
        const int32_t index = corner[PositionSlot];
        if (index < 0 || size_t(index) > positions.size()) {
            Logger::Log(LogLevel::Error, "FaceInfo::CheckValid() - FACE WITH INVALID INDICES");
            return false;
        }
    }
    if (Position(0) == Position(1) || Position(1) == Position(2) || Position(0) == Position(2)) {
        Logger::Log(LogLevel::Error, "FaceInfo::CheckValid() - FACE WITH DUPLICATE VERTICES");
        return false;
    }
    const Vec3d n = CrossOf(PositionOrOrigin(positions, Position(0)), PositionOrOrigin(positions, Position(1)),
                            PositionOrOrigin(positions, Position(2)));
    if (n[0] * n[0] + n[1] * n[1] + n[2] * n[2] == 0.0) {
        Logger::Log(LogLevel::Error, "FaceInfo::CheckValid() - FACE WITH BAD GEOMETRY");
        return false;
    }
    return true;
}

Vec3d FaceInfo::Cross(const VertexArrays& arrays) const {
    return CrossOf(arrays.PositionAt(Position(0)), arrays.PositionAt(Position(1)), arrays.PositionAt(Position(2)));
}

}  // namespace Velmora::OBJ
