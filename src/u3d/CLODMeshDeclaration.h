#pragma once
// Declaration block of a CLOD mesh: the maximum counts, the shading descriptions, the
// resolution range and the quantisation factors. The skeleton description that may follow
// the normal tolerances is not read.

#include "u3d/MeshDeclaration.h"

namespace Velmora::U3D {

class CLODMeshDeclaration : public MeshDeclaration {
public:
    explicit CLODMeshDeclaration(AuthorMeshPool& pool) : MeshDeclaration(BlockType::CLODMeshDeclaration, pool) {}

protected:
    std::shared_ptr<AuthorMeshData> CreateMeshData() override;
    bool ReadMeshSpecific(BitStreamReader& reader, AuthorMeshData& data) override;
};

}  // namespace Velmora::U3D
