// The normal step. A normal is stored only where a triangle brings a new point, in the frame of
// that triangle as the reader will build it from the quantised points: three sign flags pick
// the octant, and two angles of a quarter turn each place the normal inside it. A corner at a
// point made earlier stores nothing; the reader gives it the normal its point was made with.

#include <algorithm>
#include <cmath>

#include "prc/export/MeshTraversalEncode.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Traversal::Face;
using Traversal::kCorners;
using Traversal::kRightAngle;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint8_t kNewNormal = 0;
// Reconstructed angles further than this above the source angle take the next step.
constexpr double kRoundingLimit = 0.5;

}  // namespace

bool MeshTraversalEncode::CreateTriangleFrame(const Face& face, PrcPt& sX, PrcPt& sY, PrcPt& sZ) const {
    switch (MakeTriangleFrame(face, sX, sY, sZ)) {
        case Traversal::FrameFault::None: return true;
        case Traversal::FrameFault::NoNormal:
            Logger::Log(LogLevel::Error,
                        "MeshTraversalEncode::CreateTriangleNormals() - Failed to unitize, invalid input triangle!");
            return false;
        case Traversal::FrameFault::NoOrthoRep:
            Logger::Log(LogLevel::Error, "MeshTraversalEncode::CreateTriangleNormals() - MakeOrthoRep() failed!");
            return false;
        case Traversal::FrameFault::NotOrthogonal:
            Logger::Log(LogLevel::Error, "MeshTraversalEncode::CreateTriangleNormals() - Vector safety check failed!");
            return false;
    }
    return false;
}

uint16_t MeshTraversalEncode::QuantiseAngle(double angle) const {
    const double steps = static_cast<double>((1u << normalBits_) - 1u);
    const double scaled = std::clamp(steps / kRightAngle * angle, 0.0, steps);
    auto q = static_cast<uint16_t>(scaled);
    const double reconstructed = q * kRightAngle / steps;
    if (reconstructed - angle > kRoundingLimit && q < steps) ++q;
    return q;
}

void MeshTraversalEncode::SetBinaryFlagsFromReferenceNormal(double x, double y, double z) {
    normalFlagArray_.push_back(kNewNormal);
    normalFlagArray_.push_back(z < 0.0 ? 1 : 0);
    normalFlagArray_.push_back(x < 0.0 ? 1 : 0);
    normalFlagArray_.push_back(y < 0.0 ? 1 : 0);
}

bool MeshTraversalEncode::AddNormal(const PrcPt& normal, const PrcPt& sX, const PrcPt& sY, const PrcPt& sZ) {
    const double x = normal.Dot(sX), y = normal.Dot(sY), z = normal.Dot(sZ);
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z)) {
        Logger::Log(LogLevel::Error, "MeshTraversalEncode::CreateTriangleNormals() - error with normals at point");
        return false;
    }
    // phi is the height over the triangle's plane, the complement of the angle to its normal.
    const double toReference = std::acos(std::min(std::fabs(z), 1.0));
    if (toReference > kRightAngle) {
        Logger::Log(LogLevel::Error, "MeshTraversalEncode::CreateTriangleNormals() - PHI > PI / 2");
        return false;
    }
    const double phi = kRightAngle - toReference;
    // A normal along the reference has no direction in the plane; any theta gives it back.
    const double planar = std::hypot(x, y);
    const double theta = planar < PrcPt::kMinLength ? 0.0 : std::acos(std::min(std::fabs(x) / planar, 1.0));
    if (theta < 0.0) {
        Logger::Log(LogLevel::Error, "MeshTraversalEncode::CreateTriangleNormals() - THETA < 0");
        return false;
    }
    SetBinaryFlagsFromReferenceNormal(x, y, z);
    normalAngleArray_.push_back(QuantiseAngle(theta));
    normalAngleArray_.push_back(QuantiseAngle(phi));
    ++newNormals_;
    return true;
}

bool MeshTraversalEncode::CreateTriangleNormals(const Face& face, const uint32_t points[kCorners]) {
    PrcPt sX, sY, sZ;
    if (!CreateTriangleFrame(face, sX, sY, sZ)) return false;
    for (uint32_t c = 0; c < kCorners; ++c) {
        if (!face.isNewPoint[c]) continue;
        if (!AddNormal(sourcePoints_[points[c]].normal, sX, sY, sZ)) return false;
    }
    return true;
}

}  // namespace Velmora::PRC
