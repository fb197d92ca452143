#pragma once
// Which faces meet at each position of a CLOD mesh, and the neighbourhood questions the
// progressive updates ask of it.
//
// The format codes almost every value of a resolution update relative to the neighbourhood
// of the split position. A "local" index is a rank within such a neighbourhood set, counted
// from the LARGEST member down (rank 0 is the highest index), and every walk over a set
// that the stream depends on (split faces, normal positions, the faces at a position) goes
// from the highest member down as well. Walking or ranking in ascending order decodes the
// first few updates plausibly and then derails, so the order is part of the format here.
//
// Storage: the face sets of all positions share one pool of u32. Each position owns a run of
// the pool with room to spare; a full run moves to the end of the pool with twice the room.
// Abandoned runs are never reused, which costs at most as much again as the live sets and
// means no allocation per position or per update once the pool has grown. A view returned
// by GetFaceSet stays valid only until the next AddFace.

#include <cstdint>
#include <span>
#include <vector>

namespace Velmora::U3D {

class AuthorMesh;
class CLODMeshData;
class CLODMeshContinuationData;

// Set of u32 kept in DESCENDING order on a reusable vector (clear() keeps the capacity):
// iteration runs from the largest member down and operator[] takes a rank from the top.
class IndexSet {
public:
    void clear() { items_.clear(); }
    size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    uint32_t operator[](size_t rank) const { return items_[rank]; }
    const uint32_t* begin() const { return items_.data(); }
    const uint32_t* end() const { return items_.data() + items_.size(); }

    void Insert(uint32_t value);
    void Erase(uint32_t value);
    bool Contains(uint32_t value) const;

    // Bulk filling: Append any number of values, then Normalize once (sort and unique).
    void Append(uint32_t value) { items_.push_back(value); }
    // Room for `count` more values at the end, written by the caller; Truncate then drops
    // what was not used. One size check for a whole run of values instead of one each.
    uint32_t* Extend(size_t count) {
        const size_t size = items_.size();
        items_.resize(size + count);
        return items_.data() + size;
    }
    void Truncate(size_t size) { items_.resize(size); }
    void Normalize();

private:
    std::vector<uint32_t> items_;
};

class AdjacencySet {
public:
    bool Init(AuthorMesh* mesh);
    bool IsInitialized() const { return mesh_ != nullptr; }

    // Ignored for a position at or beyond the declared positionCount.
    void AddFace(uint32_t position, uint32_t face);
    // The faces at a position, stored ASCENDING (faces mostly arrive in increasing order, so
    // adding is an append); walk it from the back for the format's order. False, with a log
    // line, for a position at or beyond the declared count; a position that has no set yet
    // gets an empty one.
    bool GetFaceSet(uint32_t position, std::span<const uint32_t>& out);
    void Remove(uint32_t position, uint32_t face);
    // The faces at a position without creating a set or logging: empty beyond the count or
    // where nothing was added yet. Same lifetime as a GetFaceSet view.
    std::span<const uint32_t> FacesAt(uint32_t position) const {
        if (position >= runs_.size()) return {};
        const Run& run = runs_[position];
        return {pool_.data() + run.offset, run.size};
    }
    // Cache hint for a walk that will soon visit the face sets of many positions: issuing it
    // for all of them first lets the misses on their run records overlap.
    void PrefetchRun(uint32_t position) const {
        if (position < runs_.size()) __builtin_prefetch(runs_.data() + position);
    }
    // The same for the face list itself, once the run record is likely in.
    void PrefetchFaces(uint32_t position) const {
        if (position < runs_.size()) __builtin_prefetch(pool_.data() + runs_[position].offset);
    }

    // The three positions of each face, added to setOut (which is not cleared).
    bool GetPositionSet(std::span<const uint32_t> faceSet, IndexSet& setOut);
    // Attribute indices that the faces at `position` hold at its corner, for faces whose
    // shading carries the attribute. setOut is cleared first.
    bool GetDiffuseColorSet(uint32_t position, IndexSet& setOut);
    bool GetSpecularColorSet(uint32_t position, IndexSet& setOut);
    bool GetTexCoordSet(uint32_t layer, uint32_t position, IndexSet& setOut);

    // Layers at or above this count have no neighbourhood sets.
    static constexpr uint32_t kMaxQueryLayers = 4;

private:
    struct Run {
        uint32_t offset = 0;
        uint32_t size = 0;
        uint32_t capacity = 0;
    };
    enum class Attribute { Diffuse, Specular, TexCoord };

    bool EnsureRun(uint32_t position);
    bool GetAttributeSet(Attribute attribute, uint32_t layer, uint32_t position, IndexSet& setOut);

    AuthorMesh* mesh_ = nullptr;
    const CLODMeshData* declaration_ = nullptr;  // null for other mesh families
    CLODMeshContinuationData* continuation_ = nullptr;
    uint32_t positionCount_ = 0;
    std::vector<Run> runs_;  // grows to the highest position asked for, up to the count
    std::vector<uint32_t> pool_;
};

}  // namespace Velmora::U3D
