#pragma once
// Declaration and continuation records of a CLOD (continuous level of detail) triangle mesh.
//
// A face indexes the position, normal, colour and tex coord arrays separately at each of its
// three corners, so these records are what building an unindexed triangle list needs: every
// index stored in a face has been checked against the array it refers to when it was read.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "u3d/AuthorMeshData.h"
#include "u3d/FaceCornerTable.h"
#include "u3d/PendingNormals.h"

namespace Velmora::U3D {

// Faces one continuation block may add. Even the tersest real encodings spend several bytes
// per face; the bound keeps a hostile block that codes faces almost for free (tiny uniform
// ranges, saturated adaptive contexts) from growing a mesh far beyond its own size.
inline uint64_t MaxFacesForBlock(uint32_t blockBytes) { return uint64_t(blockBytes) * 2 + 1024; }

class CLODMeshData : public AuthorMeshData {
public:
    static constexpr uint32_t kNoNormals = 0x1;  // meshAttributes bit: the mesh has no normals

    std::shared_ptr<AuthorMeshContinuationData> CreateContinuationData() const override;

    bool HasNormals() const { return (meshAttributes & kNoNormals) == 0; }

    uint32_t meshAttributes = 0;
    uint32_t faceCount = 0;  // maximum, reached at maxResolution
    uint32_t minResolution = 0;
    uint32_t maxResolution = 0;
    float normalCrease = 0.0f;
    float normalUpdate = 0.0f;
    float normalTolerance = 0.0f;
};

// The indices every face has. Colour and tex coord indices, which only some meshes have,
// the continuation keeps apart.
struct CLODFace {
    CornerIndices positions{};
    CornerIndices normals{};
    uint32_t shadingId = 0;

    // Corner (0..2) at which `position` stands, or -1.
    int CornerOf(uint32_t position) const {
        for (int c = 0; c < 3; ++c)
            if (positions[c] == position) return c;
        return -1;
    }
};

// What the progressive updates consult for every face around a position: its corners, its
// shading, and its unit normal once computed. Those walks touch faces all over the mesh, so
// the record is kept to 32 bytes on a 32-byte boundary: one cache line per face, never two.
struct alignas(32) FaceCorners {
    static constexpr uint32_t kNormalStale = 0;  // not computed since the corners last changed
    static constexpr uint32_t kNormalValid = 1;
    static constexpr uint32_t kNoNormal = 2;  // degenerate: an edge or the cross product vanishes

    std::array<uint32_t, 3> positions{};
    uint32_t shadingId = 0;
    Vec3f normal{};
    uint32_t normalState = kNormalStale;
};
static_assert(sizeof(FaceCorners) == 32);

// A face's colour and tex coord indices as read, before the continuation keeps those the
// mesh can use.
struct CLODFaceAttributes {
    CornerIndices diffuse{};
    CornerIndices specular{};
    std::array<CornerIndices, ShadingDescription::kMaxLayers> texCoords{};
};

class CLODMeshContinuationData : public AuthorMeshContinuationData {
public:
    void Print() const override;
    bool Prepare(const AuthorMeshData& declaration) override;

    // Exactly primitiveCount faces; capacity is reserved from the declared faceCount (capped)
    // and never grows beyond faceCount.
    std::vector<CLODFace> primitives;
    // One record per face, always agreeing with primitives in positions and shadingId: faces
    // are added through AddFace and corners moved through SetFacePosition, which also
    // forgets the face's normal.
    std::vector<FaceCorners> faceCorners;

    // Which colour and tex coord indices the faces keep: a colour when the declaration has
    // colours of that kind, as many tex coord layers as any of its shadings uses (capped at
    // kMaxLayers) when it has tex coords. Any other index can only be 0, and room for all
    // of them was four fifths of the face storage on a plain mesh. Takes effect only before
    // the first face (Prepare sets it).
    void KeepAttributesOf(const AuthorMeshData& declaration);
    uint32_t KeptLayers() const { return texCoords_.Slots(); }
    // Room for `faces` faces in all per-face records.
    void ReserveFaces(size_t faces);

    // Appends a face with the colour and tex coord indices the mesh keeps of `attributes`
    // (all zero without).
    void AddFace(const CLODFace& face, const CLODFaceAttributes* attributes = nullptr) {
        primitives.push_back(face);
        FaceCorners& corners = faceCorners.emplace_back();
        corners.positions = face.positions;
        corners.shadingId = face.shadingId;
        AddFaceAttributes(attributes);
        ++primitiveCount;
    }
    // A face's colour or tex coord indices; those the mesh does not keep read as index 0.
    CornerIndices Diffuse(uint32_t face) const { return diffuse_.Get(face, 0); }
    CornerIndices Specular(uint32_t face) const { return specular_.Get(face, 0); }
    CornerIndices TexCoords(uint32_t face, uint32_t layer) const { return texCoords_.Get(face, layer); }
    // Where they are stored, or null for those the mesh does not keep.
    CornerIndices* DiffuseOf(uint32_t face) { return diffuse_.Find(face, 0); }
    CornerIndices* SpecularOf(uint32_t face) { return specular_.Find(face, 0); }
    CornerIndices* TexCoordsOf(uint32_t face, uint32_t layer) { return texCoords_.Find(face, layer); }
    void SetFacePosition(uint32_t face, int corner, uint32_t position) {
        primitives[face].positions[corner] = position;
        faceCorners[face].positions[corner] = position;
        faceCorners[face].normalState = FaceCorners::kNormalStale;
    }
    // Corner (0..2) of a face at which `position` stands, or -1.
    int CornerOf(uint32_t face, uint32_t position) const {
        const auto& corners = faceCorners[face].positions;
        return corners[0] == position ? 0 : corners[1] == position ? 1 : corners[2] == position ? 2 : -1;
    }

    // Attribute indices last used at the split, new and third corner of a new face. They
    // carry over from update to update and from block to block of the mesh.
    std::array<uint32_t, 3> lastDiffuse{};
    std::array<uint32_t, 3> lastSpecular{};
    std::array<uint32_t, 3> lastTexCoord{};  // shared by all layers

    // Normals of the progressive updates not yet predicted; ResolveNormals predicts them once
    // the load is complete. Before that, the normals they stand for are zero.
    PendingNormals pendingNormals;
    void ResolveNormals() { pendingNormals.Resolve(primitives, normals); }

private:
    void AddFaceAttributes(const CLODFaceAttributes* attributes);

    FaceCornerTable diffuse_;
    FaceCornerTable specular_;
    FaceCornerTable texCoords_;  // slot per layer
};

}  // namespace Velmora::U3D
