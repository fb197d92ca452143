// The walk. A root triangle brings three corners; every later triangle is entered by an edge
// of one made before and brings only its apex, predicted in the frame of that edge. The
// decisions that drive the walk come from the stream in the order the writer made them, so a
// triangle that turns out degenerate is still walked: skipping it would put every array out
// of step.

#include "prc/reader/Compressed3DTessDecoder.h"

#include <algorithm>
#include <cmath>

#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Traversal::Face;
using Traversal::kCorners;
using Traversal::kNone;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint8_t kFirstFreeEdge = 1;
constexpr uint8_t kSecondFreeEdge = 2;
constexpr uint32_t kRootOpenEdges = 2;
constexpr uint32_t kConnectedOpenEdges = 1;
constexpr uint32_t kColourBytes = 3;
constexpr double kHalf = 2.0;
// The corner indices of a triangle add up to this, so two of them name the third.
constexpr uint32_t kCornerIndexSum = 0 + 1 + 2;

}  // namespace

bool Compressed3DTessDecoder::PrepareFaces() {
    const HighlyCompressed3DTess& t = *tess_;
    const auto count = static_cast<size_t>(t.numberOfFaces);
    faces_.resize(count);
    const bool textured = !t.noTextures;
    for (size_t f = 0; f < count; ++f) {
        Traversal::FaceRecord& face = faces_[f];
        face.hasColour = f < t.faceColourFlags.size() ? t.faceColourFlags[f] : 0;
        face.hasTexture =
            textured && (t.allFacesTextured || (f < t.faceTexturedFlags.size() && t.faceTexturedFlags[f]));
        if (t.styleArray.size() == count || (f < t.styleArray.size())) {
            face.style = t.styleArray[f];
        } else if (t.styleArray.size() == 1) {
            face.style = t.styleArray[0];
        } else if (!t.styleArray.empty()) {
            Logger::Log(LogLevel::Error, "WARNING: Mismatching number of styles and faces!");
            Logger::Log(LogLevel::Warning, "WARNING: Improvised material index!");
            face.style = t.styleArray.back();
        }
        if (!t.normalsRecalculated && f < t.faceIsPlanarArray.size()) face.isPlanar = t.faceIsPlanarArray[f];
        ReportShare(kPrepareShare / static_cast<float>(count));
    }
    if (t.isMultiLineAttributes) Logger::Log(LogLevel::Error, "CHECK THIS, NOT YET IMPLEMENTED!");
    return true;
}

bool Compressed3DTessDecoder::PrepareTraversal() {
    const HighlyCompressed3DTess& t = *tess_;
    // Every face holds a triangle, so a face count above the triangles' is damage, and it
    // must not size the face records.
    if (t.pointArray.empty() || t.numberOfFaces <= 0 ||
        static_cast<size_t>(t.numberOfFaces) > t.triangleFaceArray.size() ||
        (!t.normalsRecalculated && (t.normalBits < 1 || t.normalBits > kMaxNormalBits))) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::PrepareTraversal() - BAD TESSELATION DATA!");
        return false;
    }
    tolerance_ = t.tolerance;
    if (!PrepareFaces()) return false;
    points_.reserve(t.isReferencedArray.size());
    if (!t.noTextures) {
        const uint32_t values = t.textures.binaryValueCount;
        if (values == 0 || values % 2 != 0) {
            Logger::Log(LogLevel::Error,
                        "MeshTraversalDecode::PrepareTraversal() - invalid number of texture coordinates");
            return false;
        }
    }
    return true;
}

void Compressed3DTessDecoder::ReportPoints() {
    if (++pointsSinceReport_ < kPointsPerProgressStep) return;
    pointsSinceReport_ = 0;
    ReportShare(stepShare_);
}

bool Compressed3DTessDecoder::AddToAvailableVertices(Face& face, uint32_t corner, const PrcPt& point) {
    face.points[corner] = static_cast<int32_t>(points_.size());
    face.isNewPoint[corner] = true;
    points_.push_back(point);
    if (!tess_->normalsRecalculated) pointNormals_.emplace_back();
    ReportPoints();
    return true;
}

bool Compressed3DTessDecoder::CalculateConnectedTriangle(const Face& face, const PrcPt& delta, PrcPt& point) const {
    if (!PointExists(face.points[0]) || !PointExists(face.points[1]) || !PointExists(face.parentThird)) {
        Logger::Log(LogLevel::Error,
                    "MeshTraversalBase::GetThirdPointOfTriangleFromOtherPoints() - INVALID TRIANGLE/EDGE");
        return false;
    }
    Traversal::EdgeFrame frame;
    const bool made = MakeEdgeFrame(face.points[0], face.points[1], face.parentThird, frame);
    if (frame.neededOrthoRep)
        Logger::Log(LogLevel::Error,
                    "Compressed3DTessDecoder::CalculateConnectedTriangle() - Bad triangle, needOrthoRep==true! "
                    "(Tri: %u/%u/%u)",
                    static_cast<uint32_t>(face.points[0]), static_cast<uint32_t>(face.points[1]),
                    static_cast<uint32_t>(face.parentThird));
    if (!made) {
        Logger::Log(LogLevel::Error, "Compressed3DTessDecoder::CalculateConnectedTriangle() - Failed to make ortho rep!");
        return false;
    }
    // The offset is taken in the frame of the edge: along it, towards the neighbour's third
    // point, and off the neighbour's plane.
    point = frame.middle + frame.u * delta.x + frame.v * delta.y + frame.w * delta.z;
    return true;
}

bool Compressed3DTessDecoder::AddNewPoint(Face& face, uint32_t corner) {
    const std::vector<int32_t>& raw = tess_->pointArray;
    if (cursors_.rawPoints + kCorners > raw.size()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::GetNextRawCoord() - POINTS ARRAY OUT OF BOUNDS");
        return false;
    }
    Traversal::Corner& record = face.corners[corner];
    for (uint32_t i = 0; i < kCorners; ++i) record.raw[i] = raw[cursors_.rawPoints++];
    const PrcPt delta = PrcPt{static_cast<double>(record.raw[0]), static_cast<double>(record.raw[1]),
                              static_cast<double>(record.raw[2])} *
                        tolerance_;
    PrcPt point;
    if (corner == 0) {
        point = delta + PrcPt{tess_->origin[0], tess_->origin[1], tess_->origin[2]};
    } else if (corner == 1) {
        point = delta + points_[static_cast<size_t>(face.points[0])];
    } else if (face.numberOfOpenEdges == kRootOpenEdges) {
        point = delta +
                (points_[static_cast<size_t>(face.points[0])] + points_[static_cast<size_t>(face.points[1])]) / kHalf;
    } else if (!CalculateConnectedTriangle(face, delta, point)) {
        return false;
    }
    return AddToAvailableVertices(face, corner, point);
}

bool Compressed3DTessDecoder::AddReferencePoint(Face& face, uint32_t corner, int32_t reference) {
    if (!PointExists(reference)) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::AddReferencePoint() - BAD INPUT DATA!");
        return false;
    }
    face.points[corner] = reference;
    face.reference[corner] = reference;
    face.corners[corner].point = reference;
    return true;
}

bool Compressed3DTessDecoder::ReadCorner(Face& face, uint32_t corner) {
    const HighlyCompressed3DTess& t = *tess_;
    if (cursors_.isReferenced >= t.isReferencedArray.size()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - OUT OF BOUNDS m_isReferencedArrayIndex");
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error on getting vertex!");
        return false;
    }
    if (!t.isReferencedArray[cursors_.isReferenced++]) {
        if (AddNewPoint(face, corner)) return true;
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error on getting raw coord!");
        return false;
    }
    if (cursors_.pointReference >= t.pointReferenceArray.size()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - OUT OF BOUNDS m_pointReferenceArrayIndex");
        return false;
    }
    if (AddReferencePoint(face, corner, t.pointReferenceArray[cursors_.pointReference++])) return true;
    Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error on getting reference point!");
    return false;
}

int32_t Compressed3DTessDecoder::PeekReference() const {
    const HighlyCompressed3DTess& t = *tess_;
    if (cursors_.isReferenced >= t.isReferencedArray.size() || !t.isReferencedArray[cursors_.isReferenced] ||
        cursors_.pointReference >= t.pointReferenceArray.size())
        return kNone;
    return t.pointReferenceArray[cursors_.pointReference];
}

bool Compressed3DTessDecoder::TraverseRoot(std::shared_ptr<Face>& face) {
    face = std::make_shared<Face>();
    face->numberOfOpenEdges = kRootOpenEdges;
    for (uint32_t corner = 0; corner < kCorners; ++corner)
        if (!ReadCorner(*face, corner)) return false;
    if (rootTriangles_++ > 0 && ShouldDropNewTriangle(*face)) {
        Logger::Log(LogLevel::Warning,
                    "MeshTraversalDecode::DoTraversal() - Dismissing new triangle %u/%u/%d - edge used too often!",
                    static_cast<uint32_t>(face->points[0]), static_cast<uint32_t>(face->points[1]), face->points[2]);
        face.reset();
    }
    return true;
}

bool Compressed3DTessDecoder::AddNeighboursToStack(const std::shared_ptr<Face>& face) {
    // The second free edge is pushed last so that it is walked first.
    static constexpr uint8_t kEdgeBits[Traversal::kFreeEdges] = {kFirstFreeEdge, kSecondFreeEdge};
    static constexpr Traversal::FreeEdge kEdges[Traversal::kFreeEdges] = {Traversal::FreeEdge::First,
                                                                          Traversal::FreeEdge::Second};
    for (uint32_t e = 0; e < Traversal::kFreeEdges; ++e) {
        if (!(face->edgeStatus & kEdgeBits[e])) continue;
        const Traversal::EdgeCorners edge = FreeEdgeCorners(*face, kEdges[e]);
        const uint32_t a = edge.first, b = edge.second;
        if (face->points[a] == face->points[b]) {
            Logger::Log(LogLevel::Error, "MeshTraversalDecode::AddNeighboursToStack() - EDGE WITH SAME VERTICES!");
            return false;
        }
        if (stack_.size() >= kMaxStackedPerTriangle * (tess_->triangleFaceArray.size() + 1)) {
            Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - DATA ERROR ON TRAVERSAL");
            return false;
        }
        auto child = std::make_shared<Face>();
        child->numberOfOpenEdges = kConnectedOpenEdges;
        child->enteredBySecondEdge = kEdges[e] == Traversal::FreeEdge::Second;
        child->points[0] = face->points[a];
        child->points[1] = face->points[b];
        child->entering[0] = face->corners[a];
        child->entering[1] = face->corners[b];
        child->parentThird = face->points[kCornerIndexSum - a - b];
        for (uint32_t c = 0; c < kCorners; ++c) child->corners[c] = face->corners[c];
        child->corners[0].point = child->points[0];
        child->corners[1].point = child->points[1];
        stack_.push_back(std::move(child));
    }
    return true;
}

bool Compressed3DTessDecoder::SetTriangleColors(const Face& face) {
    const size_t needed = size_t{kCorners} * kColourBytes;
    if (face.faceIndex < 0) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::SetTriangleColors() - BAD INPUT DATA!");
        return false;
    }
    if (!face.hasColour) return true;
    if (cursors_.colours + needed > tess_->pointColourArray.size()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::SetTriangleColors() - POINT COLOR ARRAY OUT OF BOUNDS!");
        return false;
    }
    cursors_.colours += needed;
    return true;
}

bool Compressed3DTessDecoder::FinishTriangle(const std::shared_ptr<Face>& face) {
    const HighlyCompressed3DTess& t = *tess_;
    face->reversed =
        t.normalsRecalculated && cursors_.reversed < t.reversedArray.size() && t.reversedArray[cursors_.reversed];
    face->valid = IsValidTriangle(*face);
    isCurrentTriangleValid_ = face->valid;
    if (!face->valid) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Encountered invalid triangle!");
    } else if (!UpdateConnectivity(*face)) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error on updating connectivity!");
        return false;
    }
    if (cursors_.triangleFace >= t.triangleFaceArray.size()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - OUT OF BOUNDS m_triangleFaceArrayIndex!");
        return false;
    }
    face->faceIndex = t.triangleFaceArray[cursors_.triangleFace++];
    if (face->faceIndex < 0 || face->faceIndex >= t.numberOfFaces) {
        Logger::Log(LogLevel::Error, "MeshTraversalBase::SetPointIndicesByTreatmentIndex() - INVALID INPUT DATA");
        return false;
    }
    if (cursors_.edgeStatus >= t.edgeStatusArray.size()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - OUT OF BOUNDS m_edgeStatusArrayIndex!");
        return false;
    }
    face->edgeStatus = t.edgeStatusArray[cursors_.edgeStatus++];
    if (!face->valid && face->edgeStatus)
        Logger::Log(LogLevel::Warning, "MeshTraversalDecode::DoTraversal() - INVALID TRIANGLE HAS NEIGHBOURS!");
    const Traversal::FaceRecord& record = faces_[static_cast<size_t>(face->faceIndex)];
    face->hasColour = record.hasColour;
    face->hasTexture = record.hasTexture;
    face->style = record.style;
    if (!CalculateNormalsForTriangle(*face)) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error on normal calculation!");
        return false;
    }
    if (t.hasPerFaceColours && !SetTriangleColors(*face)) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error on setting vertex colors!");
        return false;
    }
    if (face->hasTexture) {
        // Texture coordinates of this form are not walked yet: the tessellation is dropped
        // rather than shown with coordinates out of step.
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::SetTriangleTextures() - BAD TEXTURE BINARY DATA!");
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error on setting textures!");
        return false;
    }
    if (!AddNeighboursToStack(face)) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error on neighbour determination!");
        return false;
    }
    made_.push_back(face);
    return true;
}

bool Compressed3DTessDecoder::DoTraversal() {
    const HighlyCompressed3DTess& t = *tess_;
    if (t.pointArray.size() % kCorners != 0) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - BAD INPUT DATA FOR POINTS");
        return false;
    }
    const size_t rawPoints = t.pointArray.size() / kCorners;
    const size_t steps = (rawPoints + kPointsPerProgressStep - 1) / kPointsPerProgressStep;
    stepShare_ = steps ? kDecodeShare / static_cast<float>(steps) : 0.0f;
    made_.reserve(t.triangleFaceArray.size());
    // A closed mesh has one and a half edges a triangle; the table is sized once for them.
    edges_.Reserve(t.triangleFaceArray.size() * 2);
    while (true) {
        const bool rawDone = cursors_.rawPoints >= t.pointArray.size();
        const bool referencedDone = cursors_.isReferenced >= t.isReferencedArray.size();
        if (rawDone && referencedDone) {
            if (!stack_.empty())
                Logger::Log(LogLevel::Warning,
                            "MeshTraversalDecode::DoTraversal() - Triangle Stack not empty, duplicates? (%u "
                            "triangles left)",
                            static_cast<uint32_t>(stack_.size()));
            break;
        }
        std::shared_ptr<Face> face;
        if (stack_.empty()) {
            if (referencedDone) {
                Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - DATA ERROR ON TRAVERSAL");
                return false;
            }
            if (!TraverseRoot(face)) {
                Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - failed to get new triangle!");
                return false;
            }
            if (!face) continue;
        } else {
            face = std::move(stack_.back());
            stack_.pop_back();
            if (ShouldDropTraverseTriangle(*face, PeekReference())) {
                Logger::Log(LogLevel::Warning,
                            "MeshTraversalDecode::DoTraversal() - Dismissing triangle %u/%u/%d - edge used too often!",
                            static_cast<uint32_t>(face->points[0]), static_cast<uint32_t>(face->points[1]),
                            face->points[2]);
                continue;
            }
            if (!ReadCorner(*face, 2)) return false;
        }
        if (!FinishTriangle(face)) return false;
    }
    if (!VerifyDataConsumption()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::DoTraversal() - Error in data consumption check!");
        return false;
    }
    return true;
}

bool Compressed3DTessDecoder::VerifyDataConsumption() const {
    const HighlyCompressed3DTess& t = *tess_;
    bool good = true;
    auto check = [&good](bool consumed, const char* number) {
        if (consumed) return;
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::VerifyDataConsumption() - CONSUMPTION ERROR (%s)", number);
        good = false;
    };
    check(cursors_.isReferenced >= t.isReferencedArray.size() &&
              cursors_.pointReference >= t.pointReferenceArray.size() &&
              cursors_.triangleFace >= t.triangleFaceArray.size(),
          "0");
    check(cursors_.colours >= t.pointColourArray.size(), "1");
    if (t.normalsRecalculated) check(cursors_.reversed >= t.reversedArray.size(), "2");
    if (!t.normalsRecalculated)
        check(cursors_.normalFlags >= t.normalFlagArray.size() && cursors_.normalAngles >= t.normalAngleArray.size(),
              "3");
    return good;
}

void Compressed3DTessDecoder::WriteOutput() {
    BaseTessData& out = *tess_;
    out.vertices.resize(points_.size());
    for (size_t i = 0; i < points_.size(); ++i)
        out.vertices[i] = {static_cast<float>(points_[i].x), static_cast<float>(points_[i].y),
                           static_cast<float>(points_[i].z)};
    const bool storedNormals = !tess_->normalsRecalculated;
    for (const auto& face : made_) {
        if (!face->valid) continue;
        // A reversed triangle was walked with its first two corners in the other order.
        const uint32_t order[kCorners] = {face->reversed ? 1u : 0u, face->reversed ? 0u : 1u, 2u};
        for (uint32_t c : order) {
            out.triangleIndices.push_back(static_cast<uint32_t>(face->points[c]));
            if (!storedNormals) continue;
            const int32_t n = face->normals[c];
            const PrcPt normal = n >= 0 && static_cast<size_t>(n) < normalStore_.size()
                                     ? normalStore_[static_cast<size_t>(n)]
                                     : face->normal;
            out.normals.push_back(
                {static_cast<float>(normal.x), static_cast<float>(normal.y), static_cast<float>(normal.z)});
        }
        out.triangleMaterials.push_back(face->style < 0 ? kNoMaterial : static_cast<uint32_t>(face->style));
    }
}

bool Compressed3DTessDecoder::DoDecode() {
    if (!DoTraversal()) return false;
    WriteOutput();
    return true;
}

}  // namespace Velmora::PRC
