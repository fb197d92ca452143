#pragma once
// Base mesh block of a CLOD mesh: the first positions, normals, colours and tex coords in
// plain floats, and the first faces with uniformly coded indices into them. Only one base
// block is allowed per mesh; a second one removes the mesh.

#include "u3d/MeshDeclaration.h"

namespace Velmora::U3D {

class CLODBaseMeshContinuation : public MeshContinuation {
public:
    explicit CLODBaseMeshContinuation(AuthorMeshPool& pool)
        : MeshContinuation(BlockType::CLODBaseMeshContinuation, pool) {}

protected:
    bool ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) override;
};

// Context for an index that is uniform over `count` values: the static context of that
// size, or a plain read where the static range ends.
uint32_t UniformIndexContext(uint64_t count);

}  // namespace Velmora::U3D
