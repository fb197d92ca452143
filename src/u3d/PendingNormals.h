#pragma once
// The normals that the progressive updates of a CLOD mesh give the positions around each
// new one. Every update predicts fresh normals for some dozen positions from the faces
// around them as they stand at that moment, and the corners of those faces take them. Most
// of them are taken over again by later updates long before the mesh is complete (about
// five in six on a large scanned mesh), and nothing reads a normal before then. So an update
// only records what its predictions need, the face normals of each position, and a
// prediction is made only for normals some face corner still takes: at the end of the
// block after the one that made them (by then most that will be replaced have been), or
// when the load is complete. Until then those entries of the mesh's normal array are zero.
//
// The record lives as long as the mesh's continuation data, across its blocks, and holds
// about two blocks' worth of face normals.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "u3d/AuthorMeshData.h"

namespace Velmora::U3D {

struct CLODFace;

class PendingNormals {
public:
    // The normal index each corner of a face takes. 16 bytes a face: the normal step
    // rewrites them for faces all over the mesh, where the full face records would cost
    // several cache lines each. They reach the face records once, when the load completes.
    struct alignas(16) Corners {
        std::array<uint32_t, 3> index{};
    };

    // Before a block's updates: corner records for faces that arrived outside them (the base
    // mesh), and the start of the pending normals if none are pending yet. Normals that
    // arrived outside the updates while some were pending settle those first.
    void BeginBlock(std::vector<CLODFace>& faces, std::vector<Vec3f>& normals);
    // A face added by an update; its corners are set in the same update's normal step.
    void AddFace() { corners_.emplace_back(); }
    size_t FaceCount() const { return corners_.size(); }
    void PrefetchCorners(uint32_t face) const { __builtin_prefetch(corners_.data() + face, 1); }
    void SetCorner(uint32_t face, int corner, uint32_t normal) { corners_[face].index[corner] = normal; }

    // One position's step: room for its face normals, filled by the caller (the valid ones
    // first, zeros behind), then the step itself with the normals it adds to the mesh from
    // firstNormal on, and for each of those whether its prediction is turned round.
    Vec3f* FaceNormalRoom(uint32_t faceCount) {
        const size_t first = faceNormalsUsed_;
        faceNormalsUsed_ += faceCount;
        if (faceNormals_.size() < faceNormalsUsed_) GrowFaceNormals();
        return faceNormals_.data() + first;
    }
    void AddStep(uint32_t faceCount, uint32_t valid, uint32_t firstNormal, uint32_t count) {
        steps_.push_back(
            Step{static_cast<uint32_t>(faceNormalsUsed_ - faceCount), faceCount, valid, count, firstNormal});
    }
    void AddNormal(bool turned) { turned_.push_back(turned ? 1 : 0); }
    std::span<const uint8_t> Turned(uint32_t firstNormal, uint32_t count) const {
        return std::span(turned_).subspan(firstNormal - firstPending_, count);
    }

    // After a block: the steps whose normals no corner takes any more are dropped, and
    // those carried over from the block before that are still taken are predicted.
    void EndBlock(std::vector<Vec3f>& normals);
    // Predicts every normal still taken into `normals`, stores the corners' normal indices
    // in the face records and forgets everything pending.
    void Resolve(std::vector<CLODFace>& faces, std::vector<Vec3f>& normals);

private:
    struct Step {
        uint32_t firstFaceNormal;  // into faceNormals_
        uint32_t faceCount;
        uint32_t valid;        // face normals that exist, packed to the front
        uint32_t count;        // normals the position takes
        uint32_t firstNormal;  // in the mesh's normal array
    };
    // Up to this many positions that take one normal each are predicted side by side.
    static constexpr size_t kSingleLanes = 8;

    void GrowFaceNormals();
    // Marks in live_ the normals of kept steps that some corner takes, below normalCount.
    void MarkTaken(size_t normalCount);
    // Whether live_ marks any of the step's normals.
    bool Taken(const Step& step) const;
    // Keeps the taken steps from index `first` on, and their face normals, moved to the front.
    void KeepTaken(size_t first);
    // Predicts the steps' normals into `normals`, turned round where the stream says so.
    void Predict(std::span<const Step> steps, std::vector<Vec3f>& normals);
    void PredictSeveral(const Step& step, std::vector<Vec3f>& normals);
    void PredictSingles(std::span<const Step* const> steps, std::vector<Vec3f>& normals) const;

    std::vector<Corners> corners_;  // per face
    uint32_t firstPending_ = 0;     // normals before it are final
    std::vector<uint8_t> turned_;   // per normal from firstPending_ on
    std::vector<Step> steps_;
    std::vector<Vec3f> faceNormals_;
    size_t faceNormalsUsed_ = 0;  // the vector keeps its largest size; entries beyond are dead
    size_t carried_ = 0;          // the first carried_ steps are from before the current block
    std::vector<Step> ready_;     // taken steps about to be predicted
    uint32_t liveBase_ = 0;       // the normal live_ starts at
    std::vector<uint8_t> live_;   // per normal from liveBase_ on, scratch of the pruning
    // Scratch of the prediction of a position that takes several normals.
    std::vector<Vec3f> predicted_;
    std::vector<float> bestDot_;
    std::vector<uint32_t> mergeCounts_;
};

}  // namespace Velmora::U3D
