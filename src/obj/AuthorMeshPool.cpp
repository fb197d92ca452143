#include "obj/AuthorMeshPool.h"

#include "obj/MeshRowBuilder.h"
#include "rendering/Mesh.h"
#include "rendering/SceneGraph.h"
#include "util/Logger.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

namespace {

uint32_t RenderPrimitiveType(PrimitiveKind kind) {
    switch (kind) {
        case PrimitiveKind::Points: return Rendering::PrimitiveType::Points;
        case PrimitiveKind::Lines: return Rendering::PrimitiveType::Lines;
        default: return Rendering::PrimitiveType::Triangles;
    }
}

const char* CreatorName(PrimitiveKind kind) {
    switch (kind) {
        case PrimitiveKind::Points: return "CreatePointSet";
        case PrimitiveKind::Lines: return "CreateLineSet";
        default: return "CreateTriangleMesh";
    }
}

}  // namespace

bool AuthorMeshPool::AddMesh(const std::shared_ptr<AuthorMesh>& mesh) {
    if (!mesh) return false;
    const auto [slot, inserted] = meshes_.emplace(mesh->Name(), mesh);
    if (inserted || slot->second->Merge(*mesh)) return true;
    std::string groups;
    for (const std::string& group : mesh->Groups()) groups += (groups.empty() ? "" : ", ") + group;
    Logger::LogF(LogLevel::Error, "AuthorMeshPool::AddMesh() - Failed to add mesh to pool (belongs to groups: {:s})",
                 groups);
    return false;
}

std::shared_ptr<AuthorMesh> AuthorMeshPool::FindMesh(const std::string& name) const {
    const auto it = meshes_.find(name);
    return it == meshes_.end() ? nullptr : it->second;
}

std::shared_ptr<Rendering::Mesh> AuthorMeshPool::CreateRenderableMesh(Rendering::SceneGraph& scene,
                                                                      const std::string& name,
                                                                      const VertexArrays& arrays,
                                                                      const AuthorMaterialPool& materials,
                                                                      std::vector<SubObjectShading>& shading) {
    shading.clear();
    const auto found = meshes_.find(name);
    if (found == meshes_.end() || !found->second) {
        Logger::LogF(LogLevel::Error, "AuthorMeshPool::CreateRenderableMesh() - cannot find mesh '{:s}'", name);
        return nullptr;
    }
    AuthorMesh& mesh = *found->second;
    const PrimitiveKind kind = MeshRowBuilder::KindOf(mesh);
    MeshRowBuilder builder(arrays, generateNormals, smoothNormals);
    Rendering::MeshCreationInfo info;
    try {
        if (!builder.Plan(mesh, kind, materials)) return nullptr;
        info.name = name;
        info.primitiveType = RenderPrimitiveType(kind);
        for (const MeshRowBuilder::SubObject& sub : builder.SubObjects()) {
            Rendering::MeshSubObjectData data;
            data.attributes = sub.attributes;
            data.vertexCount = sub.vertexCount;
            info.subObjects.push_back(data);
            shading.push_back({sub.materialName, sub.textureName});
        }
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::%s() - OUT OF MEMORY!", CreatorName(kind));
        return nullptr;
    }
    // The rows go straight into the mapped vertex buffers: no CPU copy of the mesh is made.
    std::shared_ptr<Rendering::Mesh> renderable = Rendering::Mesh::Create(info, [&](float* const* rows) {
        builder.Fill(rows);
        return true;
    });
    meshes_.erase(found);  // the staging form is not needed again
    if (!renderable) {
        Logger::Log(LogLevel::Error, "Failed to create mesh instance '%s'", name.c_str());
        return nullptr;
    }
    Rendering::MeshManager& manager = scene.GetResources().meshManager;
    manager.AddMesh(name, renderable);
    if (manager.GetMesh(name) != renderable) {
        Logger::Log(LogLevel::Error, "Failed to add mesh '%s' to MeshManager", name.c_str());
        return nullptr;
    }
    return renderable;
}

}  // namespace Velmora::OBJ
