#include "rendering/MeshManager.h"

#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

MeshManager::~MeshManager() {
    if (!meshes_.empty()) Logger::Log(LogLevel::Error, "MeshManager instance was not shut down!");
}

void MeshManager::AddMesh(const std::string& name, std::shared_ptr<Mesh> mesh) {
    if (name.empty()) return;
    auto [it, inserted] = meshes_.try_emplace(name, std::move(mesh));
    if (!inserted)
        Logger::Log(LogLevel::Error, "MeshManager::AddMesh - cannot add mesh '%s' - DUPLICATE NAME", name.c_str());
}

std::shared_ptr<Mesh> MeshManager::GetMesh(const std::string& name) const {
    if (name.empty()) return {};
    auto it = meshes_.find(name);
    return it == meshes_.end() ? nullptr : it->second;
}

uint32_t MeshManager::GetPrimitiveCounts(bool instanced, uint32_t* points, uint32_t* lines, uint32_t* triangles) const {
    uint32_t counts[3] = {0, 0, 0};
    for (const auto& [name, mesh] : meshes_) {
        if (!mesh) continue;
        uint32_t n = 0;
        for (uint32_t i = 0; i < mesh->GetSubObjectCount(); ++i) n += mesh->GetDrawInfo(i)->primitiveCount;
        const long owners = mesh.use_count() - 1;  // this table is one owner
        if (instanced && owners > 1) n *= uint32_t(owners);
        switch (mesh->GetPrimitiveType()) {
            case PrimitiveType::Points: counts[0] += n; break;
            case PrimitiveType::Lines: counts[1] += n; break;
            case PrimitiveType::Triangles: counts[2] += n; break;
            default: break;
        }
    }
    if (points) *points = counts[0];
    if (lines) *lines = counts[1];
    if (triangles) *triangles = counts[2];
    return counts[0] + counts[1] + counts[2];
}

}  // namespace Velmora::Rendering
