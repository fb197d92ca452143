#include "prc/reader/MeshTraversalBase.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "util/Logger.h"

namespace Velmora::PRC {

using Traversal::Face;
using Traversal::kCorners;
using Traversal::kEdgeCorners;
using Traversal::kNone;
using Traversal::kRightAngle;
using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr uint32_t kKeyShift = 32;
constexpr double kHalves = 2.0;
// How far from a right angle a triangle frame's axes may stand.
constexpr double kFrameAngleTolerance = 1e-6;

constexpr uint32_t kFirstCorner = 0, kSecondCorner = 1, kApex = 2;
// A plain triangle hands its first free edge on from its first corner to the apex and its
// second from the apex back to its second corner, so that a neighbour keeps the winding.
constexpr Traversal::EdgeCorners kPlainFreeEdges[Traversal::kFreeEdges] = {{kFirstCorner, kApex},
                                                                           {kApex, kSecondCorner}};
// A reversed triangle's free edges join the same corners to the apex, but each is handed on
// with the point made earlier first: the winding it records is not the one the walk uses. Its
// apex is usually the newest point, but not when it came from a reference.
constexpr Traversal::EdgeCorners kReversedFreeEdges[Traversal::kFreeEdges] = {{kFirstCorner, kApex},
                                                                              {kSecondCorner, kApex}};
}  // namespace

Traversal::EdgeCorners MeshTraversalBase::FreeEdgeCorners(const Face& face, Traversal::FreeEdge edge) {
    const auto index = static_cast<uint32_t>(edge);
    if (!face.reversed) return kPlainFreeEdges[index];
    Traversal::EdgeCorners corners = kReversedFreeEdges[index];
    if (face.points[corners.first] > face.points[corners.second]) std::swap(corners.first, corners.second);
    return corners;
}

uint64_t MeshTraversalBase::EdgeKey(int32_t a, int32_t b) {
    const auto low = static_cast<uint32_t>(std::min(a, b)), high = static_cast<uint32_t>(std::max(a, b));
    return (uint64_t{low} << kKeyShift) | high;
}

bool MeshTraversalBase::IsValidTriangle(const Face& face) const {
    for (const auto& edge : kEdgeCorners) {
        const int32_t a = face.points[edge[0]], b = face.points[edge[1]];
        if (!PointExists(a) || !PointExists(b)) return false;
        // Corners that landed on one spot make no triangle either, though they are two points.
        if (a == b || points_[static_cast<size_t>(a)] == points_[static_cast<size_t>(b)]) return false;
    }
    return true;
}

bool MeshTraversalBase::UpdateConnectivity(const Face& face) {
    for (const auto& edge : kEdgeCorners) {
        const int32_t a = face.points[edge[0]], b = face.points[edge[1]];
        if (!PointExists(a) || !PointExists(b) || a == b) {
            Logger::Log(LogLevel::Error, "MeshTraversalBase::UpdateConnectivity() - BAD INPUT DATA!");
            return false;
        }
        const uint32_t uses = edges_.AddUse(EdgeKey(a, b));
        if (uses == 0) {
            Logger::Log(LogLevel::Error,
                        "MeshTraversalBase::UpdateConnectivity() - Failed to insert connectivity edge");
            return false;
        }
        if (uses > kFullEdge) Logger::Log(LogLevel::Warning, "Warning: More than 2 triangles share an edge!");
    }
    return true;
}

uint32_t MeshTraversalBase::GetNumberOfNeighboursForEdgePoints(int32_t a, int32_t b) const {
    if (!PointExists(a) || !PointExists(b)) {
        Logger::Log(LogLevel::Error, "MeshTraversalBase::GetNumberOfNeighboursForEdgePoints() - INVALID EDGE POINTS!");
        return 0;
    }
    return edges_.Uses(EdgeKey(a, b));
}

bool MeshTraversalBase::ShouldDropNewTriangle(const Face& face) const {
    for (const auto& edge : kEdgeCorners) {
        if (face.reference[edge[0]] == kNone || face.reference[edge[1]] == kNone) continue;
        if (GetNumberOfNeighboursForEdgePoints(face.points[edge[0]], face.points[edge[1]]) >= kFullEdge) return true;
    }
    return false;
}

bool MeshTraversalBase::ShouldDropTraverseTriangle(const Face& face, int32_t next) const {
    if (GetNumberOfNeighboursForEdgePoints(face.points[0], face.points[1]) < kFullEdge || next == kNone) return false;
    if (!PointExists(next)) return false;
    return GetNumberOfNeighboursForEdgePoints(face.points[0], next) >= kFullEdge ||
           GetNumberOfNeighboursForEdgePoints(face.points[1], next) >= kFullEdge;
}

bool MeshTraversalBase::MakeEdgeFrame(int32_t p, int32_t q, int32_t c, Traversal::EdgeFrame& frame) const {
    const PrcPt& a = points_[static_cast<size_t>(std::max(p, q))];
    const PrcPt& b = points_[static_cast<size_t>(std::min(p, q))];
    const PrcPt& third = points_[static_cast<size_t>(c)];
    frame.u = b - a;
    frame.middle = a + frame.u / kHalves;
    frame.v = {};
    frame.w = {};
    frame.neededOrthoRep = frame.u.Unitize() != 0;
    if (!frame.neededOrthoRep) {
        const PrcPt toThird = third - frame.middle;
        frame.v = toThird - frame.u * toThird.Dot(frame.u);
        frame.neededOrthoRep = frame.v.Unitize() != 0;
        if (!frame.neededOrthoRep) {
            frame.w = frame.u.Cross(frame.v);
            frame.neededOrthoRep = frame.w.Unitize() != 0;
        }
    }
    return !frame.neededOrthoRep || PrcPt::MakeOrthoRep(frame.u, frame.v, frame.w);
}

Traversal::FrameFault MeshTraversalBase::MakeTriangleFrame(const Traversal::Face& face, PrcPt& sX, PrcPt& sY,
                                                           PrcPt& sZ) const {
    const bool flip = face.enteredBySecondEdge;
    const PrcPt& p0 = points_[static_cast<size_t>(face.points[flip ? 1 : 0])];
    const PrcPt& p1 = points_[static_cast<size_t>(face.points[flip ? 0 : 1])];
    const PrcPt& p2 = points_[static_cast<size_t>(face.points[2])];
    sZ = (p1 - p0).Cross(p2 - p0);
    sX = p0 - p2;
    if (sZ.Unitize() != 0) return Traversal::FrameFault::NoNormal;
    if (!PrcPt::MakeOrthoRep(sX, sY, sZ)) return Traversal::FrameFault::NoOrthoRep;
    if (std::fabs(PrcPt::AngleBetween(sX, sY) - kRightAngle) > kFrameAngleTolerance ||
        std::fabs(PrcPt::AngleBetween(sY, sZ) - kRightAngle) > kFrameAngleTolerance)
        return Traversal::FrameFault::NotOrthogonal;
    return Traversal::FrameFault::None;
}

}  // namespace Velmora::PRC
