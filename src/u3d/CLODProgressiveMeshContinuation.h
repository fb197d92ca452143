#pragma once
// Progressive block of a CLOD mesh: a run of resolution updates, each of which splits an
// existing position into itself and a new one, moves some of its faces over to the new
// position, adds faces, colours, tex coords and normals. Almost every value is coded
// relative to the neighbourhood of the split position as it stands at that moment, which
// the mesh's AdjacencySet answers; so the updates must be applied exactly, in file order.
//
// All updates are applied at load; only the final state is kept.

#include "u3d/MeshDeclaration.h"

namespace Velmora::U3D {

class CLODProgressiveMeshContinuation : public MeshContinuation {
public:
    explicit CLODProgressiveMeshContinuation(AuthorMeshPool& pool)
        : MeshContinuation(BlockType::CLODProgressiveMeshContinuation, pool) {}

protected:
    bool ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) override;
};

}  // namespace Velmora::U3D
