#pragma once
// The decoded tessellations of one PRC load by their key "F<file structure>#<index>", and the
// renderable meshes made from them. A renderable mesh is made once, for the first model that
// shows it, named "__Tesselation_" + the key; its triangles are grouped into one sub-object per
// style reference, so that every model drawing it can give each group its material.

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "prc/reader/AuthorMesh.h"
#include "rendering/Mesh.h"
#include "rendering/MeshManager.h"

namespace Velmora::PRC {

class AuthorMeshPool {
public:
    // More style groups than this in one tessellation fold into its group of no style.
    static constexpr size_t kMaxStyleGroups = 64;
    static constexpr uint32_t kNoStyle = 0xFFFFFFFF;

    bool AddMesh(uint32_t fileStructure, uint32_t index, const std::shared_ptr<AuthorMesh>& mesh);
    std::shared_ptr<AuthorMesh> FindMesh(uint32_t fileStructure, int32_t index) const;
    bool Empty() const { return meshes_.empty(); }
    size_t Count() const { return meshes_.size(); }

    // The renderable mesh of a tessellation, made and added to the manager on first use. Null
    // (logged) for an unknown tessellation or one that cannot be built; a failed one is not
    // tried again.
    std::shared_ptr<Rendering::Mesh> FindOrCreateRenderable(Rendering::MeshManager& manager, uint32_t fileStructure,
                                                            int32_t index);
    // The style reference of each sub-object of a renderable mesh made here; null for others.
    const std::vector<uint32_t>* SubObjectStyles(const std::string& meshName) const;

    static std::string MeshName(uint32_t fileStructure, uint32_t index);

private:
    std::shared_ptr<Rendering::Mesh> CreateTriangleMesh(const std::string& name, const AuthorMesh& mesh);
    std::shared_ptr<Rendering::Mesh> CreateLineMesh(const std::string& name, const AuthorMesh& mesh);

    std::map<std::string, std::shared_ptr<AuthorMesh>> meshes_;
    std::map<std::string, std::vector<uint32_t>> subObjectStyles_;
    std::set<std::string> failed_;
};

}  // namespace Velmora::PRC
