#pragma once
// What a walk over a compressed triangle mesh needs to remember: the triangles still waiting
// on the stack, the triangles made so far, the points in double precision, and how often each
// edge has been used, so that a hostile or damaged stream can't attach a third triangle to an
// edge that is already closed.

#include <cstdint>
#include <deque>
#include <memory>
#include <numbers>
#include <vector>

#include "prc/reader/EdgeUseTable.h"
#include "prc/reader/PrcPt.h"
#include "prc/reader/filestructure/Tessellation.h"

namespace Velmora::PRC {

namespace Traversal {

inline constexpr uint32_t kCorners = 3;
inline constexpr int32_t kNone = -1;
// A triangle's edges by their corners, in the order connectivity and the walk take them.
inline constexpr uint32_t kEdgeCorners[kCorners][2] = {{0, 1}, {0, 2}, {1, 2}};
// Stored normal angles are steps of a right angle; frames are checked against it too.
inline constexpr double kRightAngle = std::numbers::pi / 2.0;

struct Corner {
    int32_t point = kNone;
    int32_t raw[kCorners] = {0, 0, 0};
};

struct Face {
    int32_t points[kCorners] = {kNone, kNone, kNone};
    bool isPlanarReference[kCorners] = {false, false, false};
    uint8_t hasColour = 0;
    uint8_t hasTexture = 0;
    int32_t style = kNone;
    int32_t reference[kCorners] = {kNone, kNone, kNone};  // the stream's reference, or none
    bool isNewPoint[kCorners] = {false, false, false};    // made by this triangle
    uint32_t numberOfOpenEdges = 0;
    int32_t faceIndex = kNone;
    uint8_t edgeStatus = 0;
    Corner entering[2];
    int32_t parentThird = kNone;  // the entering edge's third point in the parent triangle
    Corner corners[kCorners];
    int32_t normals[kCorners] = {kNone, kNone, kNone};
    PrcPt normal;
    bool valid = false;
    bool reversed = false;
    bool enteredBySecondEdge = false;
};

// The two edges a triangle can hand on to neighbours, in the order of its edge status bits.
enum class FreeEdge : uint32_t { First = 0, Second = 1 };
inline constexpr uint32_t kFreeEdges = 2;

// A free edge as the neighbour receives it: its corners 0 and 1 are these corners of the parent.
struct EdgeCorners {
    uint32_t first = 0;
    uint32_t second = 0;
};

// The frame in which a connected triangle's apex is stored: the middle of its entering edge,
// the edge's direction, the direction across it towards the parent's third point, and the
// parent's normal.
struct EdgeFrame {
    PrcPt middle, u, v, w;
    bool neededOrthoRep = false;  // the edge or the parent had no direction of its own
};

// Why a triangle's normal frame could not be made.
enum class FrameFault { None, NoNormal, NoOrthoRep, NotOrthogonal };

// The per-face attributes, worked out once before the walk.
struct FaceRecord {
    uint8_t hasColour = 0;
    uint8_t hasTexture = 0;
    uint8_t isPlanar = 0;
    int32_t style = kNone;
};

}  // namespace Traversal

class MeshTraversalBase {
public:
    // Triangles waiting on the stack; a stream that asks for more is refused, so that a hostile
    // one can't grow it without bound (a real walk never holds more than its triangles).
    static constexpr size_t kMaxStackedPerTriangle = 2;
    static constexpr uint32_t kFullEdge = 2;

    explicit MeshTraversalBase(FileStructure::HighlyCompressed3DTess& tess) : tess_(&tess) {}
    virtual ~MeshTraversalBase() = default;

    bool IsValidTriangle(const Traversal::Face& face) const;
    bool UpdateConnectivity(const Traversal::Face& face);
    uint32_t GetNumberOfNeighboursForEdgePoints(int32_t a, int32_t b) const;
    bool ShouldDropNewTriangle(const Traversal::Face& face) const;
    // next is the point that the next stream entry closes the triangle with, or kNone.
    bool ShouldDropTraverseTriangle(const Traversal::Face& face, int32_t next) const;
    const std::vector<std::shared_ptr<Traversal::Face>>& Made() const { return made_; }

    // Which corners of a walked triangle make up the given free edge, in the order the
    // neighbour takes them as its corners 0 and 1. Decoder and encoder must agree on this
    // exactly: the order decides which edge every later apex is predicted from.
    static Traversal::EdgeCorners FreeEdgeCorners(const Traversal::Face& face, Traversal::FreeEdge edge);
    const std::vector<PrcPt>& Points() const { return points_; }

    // The apex frame of an edge between two made points with the parent's third point c.
    // The point made later is the origin, so that both sides of an edge predict alike. False
    // only when not even a substitute frame can be made.
    bool MakeEdgeFrame(int32_t p, int32_t q, int32_t c, Traversal::EdgeFrame& frame) const;
    // The frame of a made triangle that its normals are stored in: sZ its normal, sX the edge
    // from corner 2 to corner 0. A triangle entered by its parent's second edge is framed with
    // that edge's corners the other way round; the stored sign flags are relative to it.
    Traversal::FrameFault MakeTriangleFrame(const Traversal::Face& face, PrcPt& sX, PrcPt& sY, PrcPt& sZ) const;

protected:
    static uint64_t EdgeKey(int32_t a, int32_t b);
    bool PointExists(int32_t index) const { return index >= 0 && static_cast<size_t>(index) < points_.size(); }

    FileStructure::HighlyCompressed3DTess* tess_;
    std::deque<std::shared_ptr<Traversal::Face>> stack_;
    std::vector<std::shared_ptr<Traversal::Face>> made_;
    std::vector<PrcPt> points_;
    std::vector<std::vector<int32_t>> pointNormals_;  // normals known at each point, in order
    EdgeUseTable edges_;
    double tolerance_ = 0.0;
    bool isCurrentTriangleValid_ = true;
};

}  // namespace Velmora::PRC
