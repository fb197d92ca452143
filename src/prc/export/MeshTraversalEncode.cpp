// Preparation and walk. The walk follows the reader's stack exactly: a triangle entered by an
// edge brings only its apex, the reader takes the last pushed neighbour first, and a new root
// is started only when the stack is empty. No edge keeps more than two triangles, and each
// triangle is put on the stack at most once, so when the reader takes a triangle, the edges it
// closes have at most one walked triangle each: the reader never dismisses one, and its edge
// counts need not be kept here.

#include "prc/export/MeshTraversalEncode.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "util/Logger.h"
#include "util/SimpleProfiler.h"

namespace Velmora::PRC {

using FileStructure::HighlyCompressed3DTess;
using Traversal::Face;
using Traversal::kCorners;
using Traversal::kEdgeCorners;
using Traversal::kNone;
using Utility::Logger;
using Utility::LogLevel;

namespace {

// The corner pairs of a triangle's three edges.
constexpr uint8_t kFirstFreeEdge = 1;
constexpr uint8_t kSecondFreeEdge = 2;
constexpr uint32_t kRootOpenEdges = 2;
constexpr uint32_t kConnectedOpenEdges = 1;
constexpr double kHalf = 2.0;

uint32_t FloatBits(float value) { return std::bit_cast<uint32_t>(value + 0.0f); }  // one zero, not two

constexpr uint64_t kHashPrime = 1099511628211ull;
constexpr uint64_t kHashBasis = 14695981039346656037ull;

// Points are merged only when position and normal are equal to the bit: the reader gives a
// point the normal it was made with, so a crease must keep its points apart.
uint64_t VertexHash(const EncodeTriangles& input, size_t i) {
    uint64_t hash = kHashBasis;
    for (float value : input.positions[i]) hash = (hash ^ FloatBits(value)) * kHashPrime;
    for (float value : input.normals[i]) hash = (hash ^ FloatBits(value)) * kHashPrime;
    return hash;
}

bool SameVertex(const EncodeTriangles& input, size_t i, size_t j) {
    for (uint32_t k = 0; k < kCorners; ++k)
        if (FloatBits(input.positions[i][k]) != FloatBits(input.positions[j][k]) ||
            FloatBits(input.normals[i][k]) != FloatBits(input.normals[j][k]))
            return false;
    return true;
}

bool IsFinite(const std::array<float, 3>& v) {
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

PrcPt ToPoint(const std::array<float, 3>& v) { return {v[0], v[1], v[2]}; }

}  // namespace

MeshTraversalEncode::MeshTraversalEncode(uint32_t normalBits) : MeshTraversalBase(scratch_), normalBits_(normalBits) {}

template <class T>
void Release(std::vector<T>& v) {
    std::vector<T>().swap(v);
}

void MeshTraversalEncode::ReleaseWorkingData() {
    stack_.clear();
    made_.clear();
    Release(points_);
    pointNormals_.clear();
    edges_ = EdgeUseTable{};
    Release(sourcePoints_);
    Release(triangles_);
    Release(edgeUses_);
    slots_.Clear();
    Release(walkStack_);
    Release(pointArray_);
    Release(edgeStatusArray_);
    Release(triangleFaceArray_);
    Release(isReferencedArray_);
    Release(pointReferenceArray_);
    Release(normalFlagArray_);
    Release(normalAngleArray_);
}

bool MeshTraversalEncode::EncodeArrays(const EncodeTriangles& input, double tolerance, HighlyCompressed3DTess& tess) {
    ReleaseWorkingData();
    isCurrentTriangleValid_ = true;
    minimumEdgeLength_ = 0.0;
    splitEdges_ = rootTriangles_ = droppedTriangles_ = 0;
    numberOfFaces_ = 0;
    hasTexCoords_ = false;
    nextRoot_ = 0;
    newNormals_ = 0;
    profile_ = std::make_shared<Utility::SimpleProfiler>("MeshTraversalEncode");
    profile_->Start();
    tess_ = &tess;
    bool ok = false;
    {
        Utility::ScopedSubTimer timer(profile_, "PrepareTraversal");
        ok = PrepareTraversal(input, tolerance);
    }
    if (ok) {
        Utility::ScopedSubTimer timer(profile_, "DoTraversal");
        ok = DoTraversal();
    }
    if (ok) {
        Utility::ScopedSubTimer timer(profile_, "WriteData");
        ok = WriteData(tess);
    }
    profile_->Stop();
    // The working data is as large as the mesh; only the arrays handed over are kept.
    ReleaseWorkingData();
    tess_ = &scratch_;
    return ok;
}

bool MeshTraversalEncode::Encode(const Rendering::Mesh& mesh, const Rendering::Model& model, double tolerance,
                                 HighlyCompressed3DTess& tess) {
    EncodeTriangles input;
    if (!ReadRenderMesh(mesh, model, input)) return false;
    return EncodeArrays(input, tolerance, tess);
}

// ---- Preparation ----

bool MeshTraversalEncode::CheckInput(const EncodeTriangles& input) const {
    if (normalBits_ < kMinNormalBits || normalBits_ > kMaxNormalBits) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - invalid number of normal bits (%u)",
                    normalBits_);
        return false;
    }
    const size_t vertices = input.positions.size();
    if (vertices == 0 || input.indices.empty() || input.normals.size() != vertices ||
        input.indices.size() % kCorners != 0 || input.faces.size() != input.indices.size() / kCorners ||
        (!input.texCoords.empty() && input.texCoords.size() != vertices) ||
        input.indices.size() / kCorners > static_cast<size_t>(INT32_MAX)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - Invalid vertex data!");
        return false;
    }
    for (size_t i = 0; i < vertices; ++i) {
        if (!IsFinite(input.positions[i])) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - Invalid vertex data!");
            return false;
        }
        if (!IsFinite(input.normals[i]) || ToPoint(input.normals[i]).Length() < PrcPt::kMinLength) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - SafetyCheck failed on normal!");
            return false;
        }
    }
    const auto triangles = static_cast<int64_t>(input.faces.size());
    for (size_t t = 0; t < input.faces.size(); ++t) {
        if (input.faces[t] < 0 || input.faces[t] >= triangles) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - TRIANGLE DATA ERROR!");
            return false;
        }
    }
    for (uint32_t index : input.indices) {
        if (index >= vertices) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - TRIANGLE DATA ERROR!");
            return false;
        }
    }
    return true;
}

bool MeshTraversalEncode::MergePoints(const EncodeTriangles& input) {
    const size_t vertices = input.positions.size();
    if (!slots_.Reserve(vertices)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - OUT OF MEMORY");
        return false;
    }
    sourcePoints_.reserve(vertices);
    std::vector<uint32_t> firstVertex;  // of each point, to compare the next ones with
    firstVertex.reserve(vertices);
    std::vector<uint32_t> pointOf(vertices);
    for (size_t i = 0; i < vertices; ++i) {
        uint32_t& slot =
            slots_.Find(VertexHash(input, i), [&](uint32_t point) { return SameVertex(input, firstVertex[point], i); });
        if (slot == MeshTraversalEncodeSlots::kEmpty) {
            slot = static_cast<uint32_t>(sourcePoints_.size());
            Point point;
            point.position = ToPoint(input.positions[i]);
            point.normal = ToPoint(input.normals[i]);
            point.normal.Unitize();
            sourcePoints_.push_back(point);
            firstVertex.push_back(static_cast<uint32_t>(i));
        }
        pointOf[i] = slot;
    }
    triangles_.resize(input.faces.size());
    for (size_t t = 0; t < triangles_.size(); ++t) {
        Triangle& triangle = triangles_[t];
        for (uint32_t c = 0; c < kCorners; ++c) triangle.points[c] = pointOf[input.indices[t * kCorners + c]];
        triangle.face = input.faces[t];
    }
    return true;
}

uint32_t MeshTraversalEncode::CopyPoint(uint32_t point) {
    const Point copy = sourcePoints_[point];
    sourcePoints_.push_back(copy);
    return static_cast<uint32_t>(sourcePoints_.size() - 1);
}

uint32_t& MeshTraversalEncode::FindEdgeSlot(uint32_t a, uint32_t b) {
    const uint64_t key = EdgeKey(static_cast<int32_t>(a), static_cast<int32_t>(b));
    return slots_.Find(key, [this, key](uint32_t edge) { return edgeUses_[edge].key == key; });
}

uint32_t MeshTraversalEncode::FindEdge(uint32_t a, uint32_t b) { return FindEdgeSlot(a, b); }

bool MeshTraversalEncode::SplitOverUsedEdges(Triangle& triangle) {
    for (const auto& edge : kEdgeCorners) {
        const uint32_t a = triangle.points[edge[0]], b = triangle.points[edge[1]];
        const uint32_t found = FindEdge(a, b);
        if (found == MeshTraversalEncodeSlots::kEmpty || edgeUses_[found].count < kFullEdge) continue;
        // Fresh copies of both points give the triangle an edge of its own; every other edge
        // of it then has a fresh point too, so one split is enough.
        if (sourcePoints_.size() + 2 > static_cast<size_t>(INT32_MAX)) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - OUT OF MEMORY");
            return false;
        }
        const uint32_t copyA = CopyPoint(a), copyB = CopyPoint(b);
        Logger::Log(LogLevel::Warning, "Found over-used edge, replaced points %u/%u with %u/%u", a, b, copyA, copyB);
        triangle.points[edge[0]] = copyA;
        triangle.points[edge[1]] = copyB;
        ++splitEdges_;
        return true;
    }
    return true;
}

void MeshTraversalEncode::RegisterEdges(uint32_t index) {
    Triangle& triangle = triangles_[index];
    for (uint32_t side = 0; side < kCorners; ++side) {
        const uint32_t a = triangle.points[kEdgeCorners[side][0]], b = triangle.points[kEdgeCorners[side][1]];
        uint32_t& found = FindEdgeSlot(a, b);
        if (found == MeshTraversalEncodeSlots::kEmpty) {
            found = static_cast<uint32_t>(edgeUses_.size());
            edgeUses_.push_back({EdgeKey(static_cast<int32_t>(a), static_cast<int32_t>(b))});
        }
        EdgeUse& use = edgeUses_[found];
        use.triangles[use.count++] = static_cast<int32_t>(index);
        if (use.count < kFullEdge) continue;
        const auto other = static_cast<uint32_t>(use.triangles[0]);
        triangle.neighbours[side] = use.triangles[0];
        Triangle& neighbour = triangles_[other];
        for (uint32_t s = 0; s < kCorners; ++s) {
            const uint32_t p = neighbour.points[kEdgeCorners[s][0]], q = neighbour.points[kEdgeCorners[s][1]];
            if ((p == a && q == b) || (p == b && q == a)) neighbour.neighbours[s] = static_cast<int32_t>(index);
        }
    }
}

bool MeshTraversalEncode::BuildTriangles(const EncodeTriangles& input) {
    if (!MergePoints(input)) return false;
    for (const Triangle& triangle : triangles_) {
        const uint32_t* p = triangle.points;
        if (p[0] == p[1] || p[0] == p[2] || p[1] == p[2]) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - INVALID TRIANGLE, DATA ERROR!");
            return false;
        }
    }
    return true;
}

bool MeshTraversalEncode::DropFlatTriangles() {
    // The reader frames every triangle by the cross product of two of its edges and gives up
    // the whole mesh when that is too short to have a direction; it also needs every edge to
    // have a direction. Quantised corners move, so a triangle is kept only when neither can
    // come near those limits at the chosen step: thinner ones have no area to show at that
    // precision and are left out.
    size_t kept = 0;
    const double crossDrift = kCrossDriftPerStep * tolerance_;
    const double shortestKept = tolerance_ / kToleranceShareOfMinEdge;
    for (size_t t = 0; t < triangles_.size(); ++t) {
        const Triangle& triangle = triangles_[t];
        const PrcPt& a = sourcePoints_[triangle.points[0]].position;
        const PrcPt& b = sourcePoints_[triangle.points[1]].position;
        const PrcPt& c = sourcePoints_[triangle.points[2]].position;
        const double ab = (b - a).Length(), ac = (c - a).Length(), bc = (c - b).Length();
        const double longest = std::max({ab, ac, bc});
        const double cross = (b - a).Cross(c - a).Length();
        if (cross - crossDrift * longest < kFlatLimit * PrcPt::kMinLength || std::min({ab, ac, bc}) < shortestKept) {
            Logger::Log(LogLevel::Error,
                        "MeshTraversalEncode::CreateTriangleNormals() - Zero-length normal -> INVALID TRIANGLE");
            ++droppedTriangles_;
            continue;
        }
        numberOfFaces_ = std::max(numberOfFaces_, triangle.face + 1);
        triangles_[kept++] = triangle;
    }
    triangles_.resize(kept);
    // The reader takes no more faces than triangles; faces are sub-objects, kept in their
    // numbering so that their materials stay theirs.
    if (kept == 0 || static_cast<size_t>(numberOfFaces_) > kept) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - TRIANGLE DATA ERROR!");
        return false;
    }
    return true;
}

bool MeshTraversalEncode::ConnectTriangles() {
    // Splits add no edges beyond a triangle's three.
    if (!slots_.Reserve(triangles_.size() * kCorners)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - OUT OF MEMORY");
        return false;
    }
    edgeUses_.reserve(triangles_.size() * kCorners);
    for (size_t t = 0; t < triangles_.size(); ++t) {
        if (!SplitOverUsedEdges(triangles_[t])) return false;
        RegisterEdges(static_cast<uint32_t>(t));
    }
    return true;
}

bool MeshTraversalEncode::CalculateMinimumEdgeLength() {
    minimumEdgeLength_ = INFINITY;
    for (const Triangle& triangle : triangles_) {
        double shortest = INFINITY;
        for (const auto& edge : kEdgeCorners) {
            const PrcPt& a = sourcePoints_[triangle.points[edge[0]]].position;
            const PrcPt& b = sourcePoints_[triangle.points[edge[1]]].position;
            shortest = std::min(shortest, (b - a).Length());
        }
        if (shortest <= 0.0) {
            Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - ZERO LENGTH TRIANGLE EDGE!");
            Logger::Log(LogLevel::Error, "MeshTraversal::CalculateMinimumEdgeLength() - ZERO LENGTH EDGE!");
            return false;
        }
        minimumEdgeLength_ = std::min(minimumEdgeLength_, shortest);
    }
    if (!(minimumEdgeLength_ > 0.0) || !std::isfinite(minimumEdgeLength_)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - INVALID MIN_EDGE_LENGTH");
        return false;
    }
    return true;
}

bool MeshTraversalEncode::ChooseTolerance(double requested) {
    if (!(requested > 0.0) || !std::isfinite(requested)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::PrepareTraversal() - invalid tolerance %g", requested);
        return false;
    }
    tolerance_ = requested;
    return true;
}

bool MeshTraversalEncode::PrepareTraversal(const EncodeTriangles& input, double tolerance) {
    if (!CheckInput(input)) return false;
    // The origin is stored as 32-bit floats; the walk predicts from what the reader will see.
    centre_ = {static_cast<float>(input.centre[0]), static_cast<float>(input.centre[1]),
               static_cast<float>(input.centre[2])};
    hasTexCoords_ = !input.texCoords.empty();
    return BuildTriangles(input) && CalculateMinimumEdgeLength() && ChooseTolerance(tolerance) && DropFlatTriangles() &&
           ConnectTriangles();
}

// ---- The walk ----

bool MeshTraversalEncode::DoTraversal() {
    const size_t triangles = triangles_.size();
    walkStack_.reserve(triangles);
    // A root brings three corners, any other triangle one.
    isReferencedArray_.reserve(size_t{kCorners} * triangles);
    pointReferenceArray_.reserve(size_t{kCorners} * triangles);
    pointArray_.reserve(size_t{kCorners} * sourcePoints_.size());
    points_.reserve(sourcePoints_.size());
    edgeStatusArray_.reserve(triangles);
    triangleFaceArray_.reserve(triangles);
    normalFlagArray_.reserve(size_t{4} * sourcePoints_.size());
    normalAngleArray_.reserve(size_t{2} * sourcePoints_.size());
    // Each round starts at the first triangle not yet walked: a new piece, or a triangle that
    // its neighbours could not reach through their free edges.
    for (; nextRoot_ < triangles; ++nextRoot_) {
        if (triangles_[nextRoot_].status != Status::Untreated) continue;
        if (!AddRootTriangle(static_cast<uint32_t>(nextRoot_)) || !ProcessStack()) {
            Logger::Log(LogLevel::Error, "MeshTraversal::DoTraversal() - FAILED TO PROCESS TRIANGLE STACK!");
            return false;
        }
    }
    return true;
}

bool MeshTraversalEncode::ProcessStack() {
    while (!walkStack_.empty()) {
        const Entry entry = walkStack_.back();
        walkStack_.pop_back();
        const Triangle& triangle = triangles_[entry.triangle];
        uint32_t apex = triangle.points[0];
        for (uint32_t point : triangle.points)
            if (point != entry.edgePoints[0] && point != entry.edgePoints[1]) apex = point;
        Face face;
        face.numberOfOpenEdges = kConnectedOpenEdges;
        face.points[0] = entry.edgeTreatment[0];
        face.points[1] = entry.edgeTreatment[1];
        face.parentThird = entry.parentThird;
        face.enteredBySecondEdge = entry.bySecondEdge;
        if (!AddApex(face, entry, apex)) return false;
        const uint32_t points[kCorners] = {entry.edgePoints[0], entry.edgePoints[1], apex};
        if (!AddTriangleData(face, entry.triangle, points, &entry)) {
            Logger::Log(LogLevel::Error, "MeshTraversal::ProcessStack() - FAILED TO ADD TRIANGLE!");
            return false;
        }
    }
    return true;
}

bool MeshTraversalEncode::GetTreatmentIndexForPoint(Face& face, uint32_t corner, uint32_t point,
                                                    const PrcPt& prediction) {
    Point& source = sourcePoints_[point];
    if (source.treatment != kNone) {
        isReferencedArray_.push_back(1);
        pointReferenceArray_.push_back(source.treatment);
        face.points[corner] = source.treatment;
        face.reference[corner] = source.treatment;
        return true;
    }
    isReferencedArray_.push_back(0);
    const PrcPt offset = (source.position - prediction) / tolerance_;
    const double raw[kCorners] = {std::nearbyint(offset.x), std::nearbyint(offset.y), std::nearbyint(offset.z)};
    for (double value : raw) {
        if (!(std::fabs(value) <= kMaxRawValue)) {
            Logger::Log(LogLevel::Error,
                        "MeshTraversalEncode::GetTreatmentIndexForPoint() - with invalid point! (difference too "
                        "large for the tolerance)");
            return false;
        }
        pointArray_.push_back(static_cast<int32_t>(value));
    }
    const PrcPt delta = PrcPt{raw[0], raw[1], raw[2]} * tolerance_;
    source.treatment = static_cast<int32_t>(points_.size());
    points_.push_back(delta + prediction);
    face.points[corner] = source.treatment;
    face.isNewPoint[corner] = true;
    return true;
}

bool MeshTraversalEncode::AddRootTriangle(uint32_t index) {
    Triangle& triangle = triangles_[index];
    triangle.status = Status::Stacked;
    Face face;
    face.numberOfOpenEdges = kRootOpenEdges;
    for (uint32_t corner = 0; corner < kCorners; ++corner) {
        PrcPt prediction = centre_;
        if (corner == 1) prediction = points_[static_cast<size_t>(face.points[0])];
        // Only read when the corner is new, by which time both earlier corners have their points.
        if (corner == 2 && face.points[0] >= 0 && face.points[1] >= 0)
            prediction =
                (points_[static_cast<size_t>(face.points[0])] + points_[static_cast<size_t>(face.points[1])]) / kHalf;
        if (!GetTreatmentIndexForPoint(face, corner, triangle.points[corner], prediction)) return false;
    }
    ++rootTriangles_;
    if (!AddTriangleData(face, index, triangle.points, nullptr)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::ProcessStack() - FAILED TO ADD TRIANGLE!");
        return false;
    }
    return true;
}

bool MeshTraversalEncode::PredictApex(const Entry& entry, Traversal::EdgeFrame& frame) const {
    const bool made = MakeEdgeFrame(entry.edgeTreatment[0], entry.edgeTreatment[1], entry.parentThird, frame);
    if (frame.neededOrthoRep) Logger::Log(LogLevel::Error, "NEED ORTHO REP, check!");
    if (!made) {
        Logger::Log(LogLevel::Error, "MeshTraversalEncode::GetTreatmentIndexForPoint() - with invalid point!");
        return false;
    }
    return true;
}

bool MeshTraversalEncode::AddApex(Face& face, const Entry& entry, uint32_t apex) {
    Point& source = sourcePoints_[apex];
    if (source.treatment != kNone) return GetTreatmentIndexForPoint(face, 2, apex, centre_);
    Traversal::EdgeFrame frame;
    if (!PredictApex(entry, frame)) return false;
    isReferencedArray_.push_back(0);
    const PrcPt offset = source.position - frame.middle;
    const double raw[kCorners] = {std::nearbyint(offset.Dot(frame.u) / tolerance_),
                                  std::nearbyint(offset.Dot(frame.v) / tolerance_),
                                  std::nearbyint(offset.Dot(frame.w) / tolerance_)};
    for (double value : raw) {
        if (!(std::fabs(value) <= kMaxRawValue)) {
            Logger::Log(LogLevel::Error, "MeshTraversalEncode::GetTreatmentIndexForPoint() - with invalid point!");
            return false;
        }
        pointArray_.push_back(static_cast<int32_t>(value));
    }
    const PrcPt delta = PrcPt{raw[0], raw[1], raw[2]} * tolerance_;
    source.treatment = static_cast<int32_t>(points_.size());
    points_.push_back(frame.middle + frame.u * delta.x + frame.v * delta.y + frame.w * delta.z);
    face.points[2] = source.treatment;
    face.isNewPoint[2] = true;
    return true;
}

int32_t MeshTraversalEncode::GetFirstUntreatedNeighbourForEdge(uint32_t index, uint32_t a, uint32_t b) const {
    const Triangle& triangle = triangles_[index];
    for (uint32_t slot = 0; slot < kCorners; ++slot) {
        const uint32_t p = triangle.points[kEdgeCorners[slot][0]], q = triangle.points[kEdgeCorners[slot][1]];
        if (!((p == a && q == b) || (p == b && q == a))) continue;
        const int32_t neighbour = triangle.neighbours[slot];
        if (neighbour == kNone || triangles_[static_cast<size_t>(neighbour)].status != Status::Untreated) return kNone;
        return neighbour;
    }
    Logger::Log(LogLevel::Error, "MeshTraversal::GetFirstUntreatedNeighbourForEdge() - INVALID TRIANGLE/EDGE!");
    return kNone;
}

bool MeshTraversalEncode::AddNeighbours(const Face& face, uint32_t index, const uint32_t points[kCorners]) {
    // The reader's free edges: the first corner with the apex, then the apex with the second
    // corner. It takes the last pushed first, so they are pushed in this order too.
    struct FreeEdge {
        uint32_t from, to, third;
        uint8_t bit;
    };
    static constexpr FreeEdge kFreeEdges[2] = {{0, 2, 1, kFirstFreeEdge}, {2, 1, 0, kSecondFreeEdge}};
    uint8_t status = 0;
    for (const FreeEdge& edge : kFreeEdges) {
        const int32_t neighbour = GetFirstUntreatedNeighbourForEdge(index, points[edge.from], points[edge.to]);
        if (neighbour == kNone) continue;
        status |= edge.bit;
        triangles_[static_cast<size_t>(neighbour)].status = Status::Stacked;
        Entry entry;
        entry.triangle = static_cast<uint32_t>(neighbour);
        entry.edgePoints[0] = points[edge.from];
        entry.edgePoints[1] = points[edge.to];
        entry.edgeTreatment[0] = face.points[edge.from];
        entry.edgeTreatment[1] = face.points[edge.to];
        entry.parentThird = face.points[edge.third];
        entry.bySecondEdge = edge.bit == kSecondFreeEdge;
        walkStack_.push_back(entry);
    }
    edgeStatusArray_.push_back(status);
    return true;
}

bool MeshTraversalEncode::AddTriangleData(Face& face, uint32_t index, const uint32_t points[kCorners],
                                          const Entry* entered) {
    face.enteredBySecondEdge = entered != nullptr && entered->bySecondEdge;
    // A triangle the reader would find degenerate would lose its neighbours there.
    if (!IsValidTriangle(face)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::AddTriangleData() - INVALID TRIANGLE INPUT!");
        return false;
    }
    triangleFaceArray_.push_back(triangles_[index].face);
    if (!CreateTriangleNormals(face, points)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::AddTriangleData() - ERROR ON CREATING TRIANGLE NORMALS!");
        return false;
    }
    if (!AddNeighbours(face, index, points)) {
        Logger::Log(LogLevel::Error, "MeshTraversal::AddTriangleData() - ERROR ON FINDING TRIANGLE NEIGHBOURS!");
        return false;
    }
    triangles_[index].status = Status::Treated;
    return true;
}

// ---- Output ----

bool MeshTraversalEncode::WriteData(HighlyCompressed3DTess& tess) {
    const size_t triangles = triangles_.size();
    const size_t corners = triangles + size_t{2} * rootTriangles_;
    const auto references =
        static_cast<size_t>(std::count(isReferencedArray_.begin(), isReferencedArray_.end(), uint8_t{1}));
    if (isReferencedArray_.size() != corners || pointReferenceArray_.size() != references) {
        Logger::Log(LogLevel::Error, "MeshTraversal::WriteData() - MISMATCHING DATA FIELDS!");
        return false;
    }
    if (pointArray_.size() != size_t{kCorners} * points_.size() || points_.size() + references != corners) {
        Logger::Log(LogLevel::Error, "MeshTraversal::WriteData() - MISMATCHING DATA FIELDS! (2)");
        return false;
    }
    if (triangleFaceArray_.size() != triangles || edgeStatusArray_.size() != triangles) {
        Logger::Log(LogLevel::Error, "MeshTraversal::WriteData() - MISMATCHING DATA FIELDS! (3)");
        return false;
    }
    if (normalAngleArray_.size() != 2 * newNormals_ || normalFlagArray_.size() != 4 * newNormals_) {
        Logger::Log(LogLevel::Error, "MeshTraversal::WriteData() - MISMATCHING DATA FIELDS! (4)");
        return false;
    }
    if (hasTexCoords_)
        Logger::Log(LogLevel::Warning,
                    "MeshTraversal::AddTextureCoordinates() - texture coordinates left out of the compressed form");
    tess.isCalculated = false;
    tess.hasFaceNormals = false;
    tess.tolerance = tolerance_;
    tess.origin[0] = centre_.x;
    tess.origin[1] = centre_.y;
    tess.origin[2] = centre_.z;
    tess.pointArray = std::move(pointArray_);
    tess.edgeStatusArray = std::move(edgeStatusArray_);
    tess.triangleFaceArray = std::move(triangleFaceArray_);
    tess.numberOfFaces = numberOfFaces_;
    tess.isReferencedArray = std::move(isReferencedArray_);
    tess.referencedTotal = static_cast<uint32_t>(references);
    tess.pointReferenceArray = std::move(pointReferenceArray_);
    tess.normalsRecalculated = false;
    tess.normalBits = static_cast<uint8_t>(normalBits_);
    tess.normalFlagArray = std::move(normalFlagArray_);
    tess.normalAngleArray = std::move(normalAngleArray_);
    tess.faceIsPlanarArray.assign(static_cast<size_t>(numberOfFaces_), 0);
    tess.reversedArray.clear();
    tess.creaseAngle = kCreaseAngle;
    tess.recalculationFlags = 0;
    tess.hasPerFaceColours = false;
    tess.faceColourFlags.clear();
    tess.pointColourArray.clear();
    tess.isMultiLineAttributes = false;
    tess.multiLineFlags.clear();
    tess.styleArray.assign(static_cast<size_t>(numberOfFaces_), kNone);
    tess.noTextures = true;
    tess.textures = {};
    tess.allFacesTextured = false;
    tess.faceTexturedFlags.clear();
    tess.hasExtra = false;
    tess.extraData.clear();
    tess.vertices.clear();
    tess.triangleIndices.clear();
    tess.normals.clear();
    tess.triangleMaterials.clear();
    tess.textureCoordinates.clear();
    return true;
}

}  // namespace Velmora::PRC
