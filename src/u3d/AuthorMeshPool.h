#pragma once
// All meshes of one U3D load, by name. Meshes that failed while being read move to
// removedMeshes, so that their later continuation blocks are recognised and skipped.

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "u3d/AuthorMesh.h"
#include "u3d/NormalStepObserver.h"

namespace Velmora::FormatGlue {
class AuthoringProgress;
}

namespace Velmora::U3D {

class AuthorMeshPool {
public:
    using MeshMap = std::map<std::string, std::shared_ptr<AuthorMesh>>;

    // False (with a log line) for a null mesh or a name that is already taken.
    bool AddMesh(const std::shared_ptr<AuthorMesh>& mesh);
    // Null, with a level 1 log line, if there is no mesh of that name.
    std::shared_ptr<AuthorMesh> FindMesh(const std::string& name) const;
    // Moves the mesh to removedMeshes after a read error; logs in every case.
    void RemoveMesh(const std::string& name);
    bool WasRemoved(const std::string& name) const { return removedMeshes.count(name) != 0; }
    // Once every block of a load has been read: what the meshes left for that moment (the
    // normals of progressive updates still taken by a face) is worked out.
    void CompleteMeshes();

    // Builds the renderable mesh of every entry into the scene's mesh manager, erasing each
    // entry once built (AuthorMeshPool_Build.cpp). Returns the number that failed; without a
    // scene nothing is built and every mesh counts as failed. `progress` (may be null)
    // advances by `step` per mesh.
    uint32_t CreateMeshes(uint32_t sceneHandle, FormatGlue::AuthoringProgress* progress, float step);

    MeshMap meshes;
    MeshMap removedMeshes;
    // 0: normals as read; 1: generated where the mesh has none; 2: always generated.
    uint32_t normalMode = 1;
    std::set<uint32_t> supportedExtensions;
    bool lowMemory = false;
    // Sees every normal step of the progressive updates; empty in loads.
    NormalStepObserver normalStepObserver;
};

}  // namespace Velmora::U3D
