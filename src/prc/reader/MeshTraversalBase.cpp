#include "prc/reader/MeshTraversalBase.h"

#include <algorithm>
#include <utility>

#include "util/Logger.h"

namespace Velmora::PRC {

using Traversal::Face;
using Traversal::kCorners;
using Traversal::kNone;
using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr uint32_t kKeyShift = 32;
// The corner pairs of a triangle's three edges.
constexpr uint32_t kEdgeCorners[kCorners][2] = {{0, 1}, {0, 2}, {1, 2}};

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

}  // namespace Velmora::PRC
