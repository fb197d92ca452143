#pragma once
// Decodes a highly compressed tessellation by walking its triangles again in the order the
// writer walked them. Every array has its own cursor; a correct stream leaves each at its
// array's end, and anything else is reported after the walk.

#include <cstdint>
#include <vector>

#include "prc/reader/MeshTraversalBase.h"
#include "prc/reader/TesselationDecoder.h"

namespace Velmora::PRC {

class Compressed3DTessDecoder : public MeshTraversalBase, public TesselationDecoder {
public:
    // Quantised normal angles cover a quarter turn in at most this many bits.
    static constexpr uint32_t kMaxNormalBits = 16;
    static constexpr uint32_t kPointsPerProgressStep = 1000;

    struct Cursors {
        size_t rawPoints = 0;
        size_t isReferenced = 0;
        size_t pointReference = 0;
        size_t edgeStatus = 0;
        size_t triangleFace = 0;
        size_t colours = 0;
        size_t normalFlags = 0;
        size_t normalAngles = 0;
        size_t reversed = 0;
    };

    Compressed3DTessDecoder(FileStructure::HighlyCompressed3DTess& tess, FormatGlue::AuthoringProgress* progress,
                            float progressSpan)
        : MeshTraversalBase(tess), TesselationDecoder(progress, progressSpan) {}

    bool PrepareDecode() override { return PrepareTraversal(); }
    bool DoDecode() override;

    const Cursors& Consumed() const { return cursors_; }
    // True when every cursor stands at its array's end; logs each one that doesn't.
    bool VerifyDataConsumption() const;

private:
    bool PrepareTraversal();
    bool PrepareFaces();
    bool DoTraversal();
    bool TraverseRoot(std::shared_ptr<Traversal::Face>& face);
    bool FinishTriangle(const std::shared_ptr<Traversal::Face>& face);
    bool ReadCorner(Traversal::Face& face, uint32_t corner);
    int32_t PeekReference() const;
    bool AddNewPoint(Traversal::Face& face, uint32_t corner);
    bool AddReferencePoint(Traversal::Face& face, uint32_t corner, int32_t reference);
    bool AddToAvailableVertices(Traversal::Face& face, uint32_t corner, const PrcPt& point);
    bool CalculateConnectedTriangle(const Traversal::Face& face, const PrcPt& delta, PrcPt& point) const;
    bool AddNeighboursToStack(const std::shared_ptr<Traversal::Face>& face);
    bool SetTriangleColors(const Traversal::Face& face);
    void ReportPoints();

    // The normal step (in their own file).
    bool CalculateNormalsForTriangle(Traversal::Face& face);
    bool CalculateTriangleFrame(const Traversal::Face& face, PrcPt& sX, PrcPt& sY, PrcPt& sZ) const;
    bool ReadNormal(int32_t point, const PrcPt& sX, const PrcPt& sY, const PrcPt& sZ, int32_t& index);
    bool ReadCornerNormal(Traversal::Face& face, uint32_t corner, const PrcPt& sX, const PrcPt& sY, const PrcPt& sZ);
    bool ReadAndCalculateNextNormal(PrcPt sX, PrcPt sY, PrcPt sZ, const uint8_t signs[3], int32_t& index);
    bool GetReferenceNormalFromBinaryFlags(int32_t point, int32_t& index);
    bool TakeFlag(uint8_t& flag);

    void WriteOutput();

    std::vector<Traversal::FaceRecord> faces_;
    std::vector<PrcPt> normalStore_;
    Cursors cursors_;
    uint32_t rootTriangles_ = 0;
    size_t pointsSinceReport_ = 0;
    float stepShare_ = 0.0f;
};

}  // namespace Velmora::PRC
