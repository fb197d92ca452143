// The build half of AuthorMeshPool: renderable meshes from the staging meshes.

#include "format/AuthoringInterrupt.h"
#include "format/AuthoringProgress.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "u3d/AuthorMeshPool.h"
#include "u3d/CLODMeshBuilder.h"
#include "u3d/PrimitiveSetBuilder.h"
#include "u3d/RHCMeshBuilder.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using FormatGlue::AuthoringInterrupt;
using Utility::Logger;
using Utility::LogLevel;

uint32_t AuthorMeshPool::CreateMeshes(uint32_t sceneHandle, FormatGlue::AuthoringProgress* progress, float step) {
    std::shared_ptr<Rendering::SceneGraph> scene = Rendering::SceneManager::Instance().GetScene(sceneHandle);
    if (!scene) return uint32_t(meshes.size());
    Rendering::MeshManager& manager = scene->GetResources().meshManager;

    uint32_t failed = 0;
    // Entries are erased as they are built, so the staging and the renderable form of a mesh
    // coexist for one mesh at a time.
    auto it = meshes.begin();
    while (it != meshes.end()) {
        if (AuthoringInterrupt::Interrupted()) break;
        const std::shared_ptr<AuthorMesh>& mesh = it->second;
        bool built = false;
        if (!mesh) {
            built = false;
        } else if (mesh->meshKind == MeshKind::CLOD) {
            built = CreateCLODMesh(manager, *mesh, normalMode, lowMemory);
        } else if (mesh->meshKind == MeshKind::PointSet || mesh->meshKind == MeshKind::LineSet) {
            built = CreatePrimitiveSetMesh(manager, *mesh, lowMemory);
        } else if (mesh->meshKind == MeshKind::RHCompressed) {
            built = CreateRHCMesh(manager, *mesh, normalMode, lowMemory);
        } else {
            built = false;
        }
        if (!built) ++failed;
        if (progress && step > 0.0f) progress->UpdateProgress(step);
        if (lowMemory) {
            Logger::Log(LogLevel::Error, "Aborting Mesh creation due to low memory condition!");
            AuthoringInterrupt::Set();
            break;
        }
        it = meshes.erase(it);
    }
    return failed;
}

}  // namespace Velmora::U3D
