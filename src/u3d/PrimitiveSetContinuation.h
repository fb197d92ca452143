#pragma once
// Continuation blocks of point sets and line sets: a run of resolution updates, each of which
// adds one position (as a difference from an existing one), its normals, and the points or
// lines that end at it with their colours and tex coords. Values are coded relative to the
// last ones of their arrays, so the updates are applied in file order.

#include "u3d/MeshDeclaration.h"

namespace Velmora::U3D {

class PointSetContinuation : public MeshContinuation {
public:
    explicit PointSetContinuation(AuthorMeshPool& pool) : MeshContinuation(BlockType::PointSetContinuation, pool) {}

protected:
    bool ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) override;
};

class LineSetContinuation : public MeshContinuation {
public:
    explicit LineSetContinuation(AuthorMeshPool& pool) : MeshContinuation(BlockType::LineSetContinuation, pool) {}

protected:
    bool ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) override;
};

}  // namespace Velmora::U3D
