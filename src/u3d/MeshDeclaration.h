#pragma once
// Frames shared by the mesh blocks of every family. A declaration block names a mesh and
// says how much it will hold; continuation blocks name it again and deliver data.
//
//   MeshBase : BlockBase
//     MeshDeclaration    Read -> CreateMeshData, name, chain index, ReadMeshSpecific,
//                        AuthorMesh::Create, AddMesh
//     MeshContinuation   Read -> name, chain index, FindMesh, ReadMeshSpecificData;
//                        a failure there removes the whole mesh, the block still counts
//                        as read.

#include <cstdint>
#include <memory>

#include "u3d/AuthorMeshPool.h"
#include "u3d/BlockBase.h"

namespace Velmora::U3D {

class MeshBase : public BlockBase {
public:
    MeshBase(uint32_t kind, AuthorMeshPool& pool) : BlockBase(kind), pool_(pool) {}

protected:
    AuthorMeshPool& pool_;
};

class MeshDeclaration : public MeshBase {
public:
    using MeshBase::MeshBase;

    bool Read(BitStreamReader& reader) override;

protected:
    virtual std::shared_ptr<AuthorMeshData> CreateMeshData() = 0;
    // Reads the family's fields into `data` (made by CreateMeshData, name already set).
    virtual bool ReadMeshSpecific(BitStreamReader& reader, AuthorMeshData& data) = 0;

    // `count` descriptions into data.shadingDescriptions. False only when the block is too
    // short to hold them, which is checked before anything is allocated.
    static bool ReadShadingDescriptions(BitStreamReader& reader, AuthorMeshData& data, uint32_t count);
    // The attribute counts every mesh family declares (positions to shadings) and its shading
    // descriptions; false as ReadShadingDescriptions.
    static bool ReadCountsAndShading(BitStreamReader& reader, AuthorMeshData& data);
    // The three quality factors, unused, then the five inverse quantisation factors.
    static void ReadQuantisation(BitStreamReader& reader, AuthorMeshData& data);
};

class MeshContinuation : public MeshBase {
public:
    using MeshBase::MeshBase;

    bool Read(BitStreamReader& reader) override;

protected:
    // False removes the mesh.
    virtual bool ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) = 0;
};

}  // namespace Velmora::U3D
