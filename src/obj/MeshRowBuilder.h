#pragma once
// The vertex rows of one OBJ mesh, made without the GPU: which attributes each geometry
// carries, the normals it needs generated, and the interleaved rows themselves. Every index a
// face holds is checked against its array here; one that misses reads as a neutral value.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "obj/AuthorMesh.h"
#include "obj/VertexArrays.h"

namespace Velmora::OBJ {

class AuthorMaterialPool;

class MeshRowBuilder {
public:
    using Vec3f = std::array<float, 3>;

    struct SubObject {
        Geometry* geometry = nullptr;
        uint32_t attributes = 0;         // Rendering::VertexAttribute bits
        bool colorsFromTexSlot = false;  // the texture slot points into the colour array
        uint32_t vertexCount = 0;
        std::string materialName;
        std::string textureName;
    };

    MeshRowBuilder(const VertexArrays& arrays, bool generateNormals, bool smoothNormals)
        : arrays_(arrays), generateNormals_(generateNormals), smoothNormals_(smoothNormals) {}

    // The primitive kind a mesh is built as: triangles when it has any, else lines, else points.
    static PrimitiveKind KindOf(const AuthorMesh& mesh);

    // Decides every sub-object of the mesh (geometries of another kind are left out, logged)
    // and generates the normals they need. False when the mesh is too large to build.
    bool Plan(AuthorMesh& mesh, PrimitiveKind kind, const AuthorMaterialPool& materials);
    const std::vector<SubObject>& SubObjects() const { return subObjects_; }

    // Writes the rows of sub-object i into rows[i], each room for its vertexCount rows.
    void Fill(float* const* rows) const;
    void FillSubObject(const SubObject& sub, float* out) const;

    // Unit face normals, shared across faces of one non-zero smoothing group at each position;
    // overwrites the faces' normal indices with indices past the file's normals.
    void CreateSmoothNormals(Geometry& geometry);

    const std::vector<Vec3f>& GeneratedNormals() const { return generated_; }

private:
    Vec3f NormalAt(int32_t index, const Vec3f& fallback) const;
    void AppendFlatNormals(Geometry& geometry, const std::vector<uint32_t>& faces, size_t begin, size_t end);
    void AppendSharedNormals(Geometry& geometry, const std::vector<uint32_t>& faces, size_t begin, size_t end);

    const VertexArrays& arrays_;
    bool generateNormals_;
    bool smoothNormals_;
    PrimitiveKind kind_ = PrimitiveKind::Triangles;
    std::vector<SubObject> subObjects_;
    std::vector<Vec3f> generated_;
    // Per position: the slot of its summed normal in the group being smoothed, or -1.
    std::vector<int32_t> positionSlot_;
};

}  // namespace Velmora::OBJ
