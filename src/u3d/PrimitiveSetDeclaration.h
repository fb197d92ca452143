#pragma once
// Declaration blocks of point sets and line sets: a reserved word, the primitive count, the
// maximum attribute counts, the shading descriptions and the quantisation factors. The
// resource parameters and skeleton description that may follow are not read.

#include "u3d/MeshDeclaration.h"

namespace Velmora::U3D {

class PrimitiveSetDeclaration : public MeshDeclaration {
public:
    using MeshDeclaration::MeshDeclaration;

protected:
    bool ReadMeshSpecific(BitStreamReader& reader, AuthorMeshData& data) override;
};

class PointSetDeclaration : public PrimitiveSetDeclaration {
public:
    explicit PointSetDeclaration(AuthorMeshPool& pool)
        : PrimitiveSetDeclaration(BlockType::PointSetDeclaration, pool) {}

protected:
    std::shared_ptr<AuthorMeshData> CreateMeshData() override;
};

class LineSetDeclaration : public PrimitiveSetDeclaration {
public:
    explicit LineSetDeclaration(AuthorMeshPool& pool) : PrimitiveSetDeclaration(BlockType::LineSetDeclaration, pool) {}

protected:
    std::shared_ptr<AuthorMeshData> CreateMeshData() override;
};

}  // namespace Velmora::U3D
