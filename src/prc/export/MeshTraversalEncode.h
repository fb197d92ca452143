#pragma once
// Turns a triangle mesh into the decisions of a walk over its triangles, so that the reader
// can rebuild it by walking it again: every point is stored once, as a quantised difference to
// a prediction the reader can make as well, and every normal as two small angles in the frame
// of the triangle that brings its point. The encoder keeps the reader's own bookkeeping (points
// in treatment order, edge use counts) and computes every prediction with the same arithmetic,
// so that both sides agree to the last bit.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "prc/export/MeshTraversalEncodeSlots.h"
#include "prc/reader/MeshTraversalBase.h"
#include "prc/reader/PrcPt.h"
#include "prc/reader/filestructure/Tessellation.h"

namespace Velmora::Rendering {
class Mesh;
class Model;
}  // namespace Velmora::Rendering

namespace Velmora::Utility {
class SimpleProfiler;
}

namespace Velmora::PRC {

// A mesh as plain arrays: the form the walk works on, whatever the mesh came from.
struct EncodeTriangles {
    std::vector<std::array<float, 3>> positions;
    std::vector<std::array<float, 3>> normals;    // one per position
    std::vector<std::array<float, 2>> texCoords;  // empty, or one per position
    std::vector<uint32_t> indices;                // three a triangle
    std::vector<int32_t> faces;                   // the face (sub-object) of each triangle
    double centre[3] = {0.0, 0.0, 0.0};           // the origin of the differences
};

// The interleaved rows of one sub-object (the render mesh's layout) and its triangles: three
// indices each, or, without indices, the rows in order.
struct SubObjectRows {
    const float* rows = nullptr;
    uint32_t rowCount = 0;
    uint32_t attributes = 0;  // Rendering::VertexAttribute bits
    const uint32_t* indices = nullptr;
    size_t indexCount = 0;
};

class MeshTraversalEncode : public MeshTraversalBase {
public:
    static constexpr uint32_t kMinNormalBits = 1;
    static constexpr uint32_t kMaxNormalBits = 16;
    // The reader widens a stored difference from 32 bits; larger ones would not come back.
    static constexpr double kMaxRawValue = 1073741824.0;
    // Points may move by half a step on each axis; with steps no coarser than this share of
    // the shortest edge, no two corners of a triangle can meet after quantisation.
    static constexpr double kToleranceShareOfMinEdge = 0.25;
    // Triangles whose edges' cross product is shorter than this many times the shortest
    // direction the reader accepts are left out.
    static constexpr double kFlatLimit = 4.0;
    // A corner moves by at most sqrt(3) / 2 steps, which moves a cross product by at most
    // 2 sqrt(3) steps per unit of the longest edge; twice that is kept as a margin.
    static constexpr double kCrossDriftPerStep = 6.928203230275509;
    static constexpr double kCreaseAngle = 45.0;

    explicit MeshTraversalEncode(uint32_t normalBits);

    // Fills tess from every sub-object of mesh (positions, normals, layer-0 tex coords);
    // model gives the bounding box centre. Logs and returns false on a refused mesh.
    bool Encode(const Rendering::Mesh& mesh, const Rendering::Model& model, double tolerance,
                FileStructure::HighlyCompressed3DTess& tess);

    // The same from plain arrays (the render mesh is read into this form first).
    bool EncodeArrays(const EncodeTriangles& input, double tolerance, FileStructure::HighlyCompressed3DTess& tess);

    // Reads the triangles of every sub-object of a render mesh back from the GPU; needs the
    // mesh's GL context current. False (logged) for a mesh that can't be read.
    static bool ReadRenderMesh(const Rendering::Mesh& mesh, const Rendering::Model& model, EncodeTriangles& out);
    // Leaves out triangles whose corners do not lie at three different places.
    static void DropDegenerateTriangles(EncodeTriangles& mesh);
    // Gives every vertex whose normal cannot be unitized the normal of one of its triangles.
    static void RepairNormals(EncodeTriangles& mesh);
    // Appends one sub-object's rows as the given face; false (logged) on rows it can't use.
    static bool AppendRows(const SubObjectRows& sub, int32_t face, EncodeTriangles& out);

    // The step actually used: the requested tolerance, made finer for meshes whose shortest
    // edge needs it.
    double UsedTolerance() const { return tolerance_; }
    double MinimumEdgeLength() const { return minimumEdgeLength_; }
    uint32_t SplitEdges() const { return splitEdges_; }
    uint32_t RootTriangles() const { return rootTriangles_; }
    // Triangles left out for having too little area for the reader to frame them.
    uint32_t DroppedTriangles() const { return droppedTriangles_; }
    const std::shared_ptr<Utility::SimpleProfiler>& Profile() const { return profile_; }

private:
    struct Point {
        PrcPt position;
        PrcPt normal;
        int32_t treatment = Traversal::kNone;  // index in the reader's point order
    };
    enum class Status : uint8_t { Untreated = 0, Stacked = 1, Treated = 2 };
    struct Triangle {
        uint32_t points[Traversal::kCorners] = {0, 0, 0};
        // The triangle across each edge (corner pairs 0-1, 0-2, 1-2), or none.
        int32_t neighbours[Traversal::kCorners] = {Traversal::kNone, Traversal::kNone, Traversal::kNone};
        int32_t face = 0;
        Status status = Status::Untreated;
    };
    struct EdgeUse {
        uint64_t key = 0;
        int32_t triangles[2] = {Traversal::kNone, Traversal::kNone};
        uint32_t count = 0;
    };
    // A triangle waiting to be walked, entered by an edge of one walked before.
    struct Entry {
        uint32_t triangle = 0;
        uint32_t edgePoints[2] = {0, 0};  // our points of the entering edge, in the reader's order
        int32_t edgeTreatment[2] = {Traversal::kNone, Traversal::kNone};
        int32_t parentThird = Traversal::kNone;
        bool bySecondEdge = false;
    };

    void ReleaseWorkingData();
    // Preparation.
    bool PrepareTraversal(const EncodeTriangles& input, double tolerance);
    bool CheckInput(const EncodeTriangles& input) const;
    bool MergePoints(const EncodeTriangles& input);
    bool BuildTriangles(const EncodeTriangles& input);
    bool DropFlatTriangles();
    bool ConnectTriangles();
    uint32_t CopyPoint(uint32_t point);
    uint32_t& FindEdgeSlot(uint32_t a, uint32_t b);
    uint32_t FindEdge(uint32_t a, uint32_t b);
    bool SplitOverUsedEdges(Triangle& triangle);
    void RegisterEdges(uint32_t triangle);
    bool CalculateMinimumEdgeLength();
    bool ChooseTolerance(double requested);
    // The walk.
    bool DoTraversal();
    bool ProcessStack();
    bool AddRootTriangle(uint32_t triangle);
    bool AddTriangleData(Traversal::Face& face, uint32_t triangle, const uint32_t points[Traversal::kCorners],
                         const Entry* entered);
    bool GetTreatmentIndexForPoint(Traversal::Face& face, uint32_t corner, uint32_t point, const PrcPt& prediction);
    bool PredictApex(const Entry& entry, Traversal::EdgeFrame& frame) const;
    bool AddApex(Traversal::Face& face, const Entry& entry, uint32_t apex);
    bool AddNeighbours(const Traversal::Face& face, uint32_t triangle, const uint32_t points[Traversal::kCorners]);
    int32_t GetFirstUntreatedNeighbourForEdge(uint32_t triangle, uint32_t a, uint32_t b) const;
    // The normal step (in its own file).
    bool CreateTriangleNormals(const Traversal::Face& face, const uint32_t points[Traversal::kCorners]);
    bool CreateTriangleFrame(const Traversal::Face& face, PrcPt& sX, PrcPt& sY, PrcPt& sZ) const;
    bool AddNormal(const PrcPt& normal, const PrcPt& sX, const PrcPt& sY, const PrcPt& sZ);
    void SetBinaryFlagsFromReferenceNormal(double x, double y, double z);
    uint16_t QuantiseAngle(double angle) const;
    // The arrays into the tessellation.
    bool WriteData(FileStructure::HighlyCompressed3DTess& tess);

    FileStructure::HighlyCompressed3DTess scratch_;  // the base's tessellation until Encode names one
    uint32_t normalBits_;
    std::shared_ptr<Utility::SimpleProfiler> profile_;

    PrcPt centre_;
    double minimumEdgeLength_ = 0.0;
    uint32_t splitEdges_ = 0;
    uint32_t rootTriangles_ = 0;
    uint32_t droppedTriangles_ = 0;
    int32_t numberOfFaces_ = 0;
    bool hasTexCoords_ = false;
    std::vector<Point> sourcePoints_;
    std::vector<Triangle> triangles_;
    std::vector<EdgeUse> edgeUses_;
    MeshTraversalEncodeSlots slots_;  // points by vertex while merging, then edges by their points
    std::vector<Entry> walkStack_;
    size_t nextRoot_ = 0;

    std::vector<int32_t> pointArray_;
    std::vector<uint8_t> edgeStatusArray_;
    std::vector<int32_t> triangleFaceArray_;
    std::vector<uint8_t> isReferencedArray_;
    std::vector<int32_t> pointReferenceArray_;
    std::vector<uint8_t> normalFlagArray_;
    std::vector<uint16_t> normalAngleArray_;
    size_t newNormals_ = 0;
};

}  // namespace Velmora::PRC
