#include "u3d/AuthorMeshPool.h"

#include "u3d/CLODMeshData.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

bool AuthorMeshPool::AddMesh(const std::shared_ptr<AuthorMesh>& mesh) {
    if (!mesh) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::AddMesh - invalid mesh");
        return false;
    }
    if (!meshes.emplace(mesh->name, mesh).second) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::AddMesh - mesh '%s' already exists", mesh->name.c_str());
        return false;
    }
    return true;
}

std::shared_ptr<AuthorMesh> AuthorMeshPool::FindMesh(const std::string& name) const {
    if (name.empty()) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::FindMesh with empty meshName");
        return nullptr;
    }
    auto it = meshes.find(name);
    if (it == meshes.end()) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::FindMesh cannot find mesh by the name '%s'", name.c_str());
        return nullptr;
    }
    return it->second;
}

void AuthorMeshPool::RemoveMesh(const std::string& name) {
    auto it = meshes.find(name);
    if (it == meshes.end()) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::RemoveMesh cannot remove mesh '%s', was not added previously",
                    name.c_str());
    } else {
        if (!removedMeshes.emplace(name, it->second).second)
            Logger::Log(LogLevel::Error,
                        "AuthorMeshPool::RemoveMesh cannot add mesh '%s' to list of removed meshes, DUPLICATE",
                        name.c_str());
        meshes.erase(it);
    }
    Logger::Log(LogLevel::Warning, "AuthorMesh '%s' has been removed due to read error -> MESH WILL NOT BE CREATED!",
                name.c_str());
}

void AuthorMeshPool::CompleteMeshes() {
    for (auto& [name, mesh] : meshes)
        if (auto* clod = mesh ? mesh->ContinuationAs<CLODMeshContinuationData>() : nullptr) clod->ResolveNormals();
}

}  // namespace Velmora::U3D
