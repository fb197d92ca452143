#pragma once
// MeshManager: the per-scene name table of meshes. Pools register each mesh once under its name
// and every model instance that draws it holds the same shared_ptr, which is also how the
// instanced primitive counts are derived.

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "rendering/Mesh.h"

namespace Velmora::Rendering {

using SceneHandle = uint32_t;

class MeshManager {
public:
    explicit MeshManager(SceneHandle handle) : handle_(handle) {}
    ~MeshManager();
    MeshManager(const MeshManager&) = delete;
    MeshManager& operator=(const MeshManager&) = delete;

    // An empty name is ignored; a name already present keeps the first mesh.
    void AddMesh(const std::string& name, std::shared_ptr<Mesh> mesh);
    std::shared_ptr<Mesh> GetMesh(const std::string& name) const;

    // Sums primitives per kind and returns the total. With instanced, a mesh held by n > 1
    // owners besides this table counts n times. Any out pointer may be null.
    uint32_t GetPrimitiveCounts(bool instanced, uint32_t* points, uint32_t* lines, uint32_t* triangles) const;

    // Drops every mesh; the scene calls this when its resources shut down.
    void Shutdown() { meshes_.clear(); }

    SceneHandle GetSceneHandle() const { return handle_; }
    const std::map<std::string, std::shared_ptr<Mesh>>& GetMeshes() const { return meshes_; }

private:
    SceneHandle handle_;
    std::map<std::string, std::shared_ptr<Mesh>> meshes_;
};

}  // namespace Velmora::Rendering
