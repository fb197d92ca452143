#pragma once
// The staging meshes of one OBJ load, by name, and the making of their renderable forms.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "obj/AuthorMesh.h"
#include "obj/VertexArrays.h"

namespace Velmora::Rendering {
class Mesh;
class SceneGraph;
}  // namespace Velmora::Rendering

namespace Velmora::OBJ {

class AuthorMaterialPool;

// How one sub-object of a built mesh is to be shaded.
struct SubObjectShading {
    std::string materialName;
    std::string textureName;  // empty: no texture layer
};

class AuthorMeshPool {
public:
    // A mesh of the same name present already takes the other's geometries.
    bool AddMesh(const std::shared_ptr<AuthorMesh>& mesh);
    std::shared_ptr<AuthorMesh> FindMesh(const std::string& name) const;
    const std::map<std::string, std::shared_ptr<AuthorMesh>>& Meshes() const { return meshes_; }
    bool Empty() const { return meshes_.empty(); }

    // Builds the named mesh into the scene's mesh table, one sub-object per geometry, and
    // tells how each sub-object is shaded. The staging mesh is dropped once built. Null on
    // failure (logged).
    std::shared_ptr<Rendering::Mesh> CreateRenderableMesh(Rendering::SceneGraph& scene, const std::string& name,
                                                          const VertexArrays& arrays,
                                                          const AuthorMaterialPool& materials,
                                                          std::vector<SubObjectShading>& shading);

    // Normals are made for geometries whose file gives none; smoothing groups share them.
    bool generateNormals = true;
    bool smoothNormals = true;

private:
    std::map<std::string, std::shared_ptr<AuthorMesh>> meshes_;
};

}  // namespace Velmora::OBJ
