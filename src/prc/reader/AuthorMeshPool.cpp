#include "prc/reader/AuthorMeshPool.h"

#include <new>

#include "prc/reader/AuthorMaterial.h"
#include "prc/reader/MeshNormals.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using FileStructure::BaseTessData;
using FileStructure::Vec2f;
using FileStructure::Vec3f;
using Rendering::MeshCreationInfo;
namespace VA = Rendering::VertexAttribute;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kCorners = 3;
constexpr uint32_t kSegmentPoints = 2;
constexpr const char* kMeshPrefix = "__Tesselation_";
constexpr const char* kLineSuffix = "_Lines";

// The triangles of a tessellation, grouped by style, with what each row carries.
struct TrianglePlan {
    std::vector<uint32_t> styles;  // style of each group
    std::vector<uint32_t> groupOfTriangle;
    std::vector<uint32_t> corners;  // rows of each group
    const std::vector<Vec3f>* normals = nullptr;
    std::vector<Vec3f> generated;
    bool texCoords = false;
    uint32_t attributes = 0;
};

bool IndicesInside(const BaseTessData& tess, uint32_t perPrimitive) {
    if (tess.triangleIndices.empty() || tess.triangleIndices.size() % perPrimitive != 0) return false;
    for (const uint32_t index : tess.triangleIndices)
        if (index >= tess.vertices.size()) return false;
    return true;
}

bool GroupByStyle(const BaseTessData& tess, TrianglePlan& plan) {
    const size_t triangles = tess.triangleIndices.size() / kCorners;
    const bool styled = tess.triangleMaterials.size() == triangles;
    std::map<uint32_t, uint32_t> groups;
    try {
        plan.groupOfTriangle.resize(triangles);
        for (size_t t = 0; t < triangles; ++t) {
            uint32_t style = styled ? tess.triangleMaterials[t] : AuthorMeshPool::kNoStyle;
            if (groups.size() >= AuthorMeshPool::kMaxStyleGroups && !groups.count(style))
                style = AuthorMeshPool::kNoStyle;
            const auto inserted = groups.emplace(style, uint32_t(plan.styles.size()));
            if (inserted.second) {
                plan.styles.push_back(style);
                plan.corners.push_back(0);
            }
            plan.groupOfTriangle[t] = inserted.first->second;
            plan.corners[inserted.first->second] += kCorners;
        }
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::CreateTriangleMesh() - OUT OF MEMORY!");
        return false;
    }
    return true;
}

bool PlanTriangles(const std::string& name, const BaseTessData& tess, TrianglePlan& plan) {
    if (!GroupByStyle(tess, plan)) return false;
    plan.attributes = VA::Position | VA::Normal;
    if (tess.normals.size() == tess.triangleIndices.size()) {
        plan.normals = &tess.normals;
    } else {
        Logger::Log(LogLevel::Info, "Mesh %s is using GENERATED NORMALS", name.c_str());
        if (!GenerateCornerNormals(tess, plan.generated)) return false;
        plan.normals = &plan.generated;
    }
    plan.texCoords = tess.textureCoordinates.size() == tess.triangleIndices.size();
    if (plan.texCoords) plan.attributes |= VA::TexCoord0;
    return true;
}

void FillTriangleRows(const BaseTessData& tess, const TrianglePlan& plan, float* const* rows) {
    const uint32_t stride = VA::FloatsPerVertex(plan.attributes);
    const int32_t normalAt = VA::FloatOffset(plan.attributes, VA::Normal);
    const int32_t texAt = VA::FloatOffset(plan.attributes, VA::TexCoord0);
    std::vector<float*> cursor(rows, rows + plan.styles.size());
    const std::vector<Vec3f>& normals = *plan.normals;
    for (size_t corner = 0; corner < tess.triangleIndices.size(); ++corner) {
        const uint32_t group = plan.groupOfTriangle[corner / kCorners];
        float* out = cursor[group];
        cursor[group] += stride;
        const Vec3f& p = tess.vertices[tess.triangleIndices[corner]];
        out[0] = p[0], out[1] = p[1], out[2] = p[2];
        const Vec3f& n = normals[corner];
        out[normalAt] = n[0], out[normalAt + 1] = n[1], out[normalAt + 2] = n[2];
        if (texAt >= 0) {
            const Vec2f& uv = tess.textureCoordinates[corner];
            out[texAt] = uv[0], out[texAt + 1] = uv[1];
        }
    }
}

}  // namespace

std::string AuthorMeshPool::MeshName(uint32_t fileStructure, uint32_t index) {
    return kMeshPrefix + EntityKey(fileStructure, index);
}

bool AuthorMeshPool::AddMesh(uint32_t fileStructure, uint32_t index, const std::shared_ptr<AuthorMesh>& mesh) {
    if (!mesh) return false;
    mesh->name = MeshName(fileStructure, index);
    try {
        return meshes_.emplace(mesh->name, mesh).second;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
}

std::shared_ptr<AuthorMesh> AuthorMeshPool::FindMesh(uint32_t fileStructure, int32_t index) const {
    if (index < 0) return nullptr;
    const auto found = meshes_.find(MeshName(fileStructure, uint32_t(index)));
    return found == meshes_.end() ? nullptr : found->second;
}

const std::vector<uint32_t>* AuthorMeshPool::SubObjectStyles(const std::string& meshName) const {
    const auto found = subObjectStyles_.find(meshName);
    return found == subObjectStyles_.end() ? nullptr : &found->second;
}

std::shared_ptr<Rendering::Mesh> AuthorMeshPool::FindOrCreateRenderable(Rendering::MeshManager& manager,
                                                                        uint32_t fileStructure, int32_t index) {
    const std::shared_ptr<AuthorMesh> mesh = FindMesh(fileStructure, index);
    if (!mesh || !mesh->tessellation) return nullptr;
    const std::string name = mesh->kind == AuthorMesh::Lines ? mesh->name + kLineSuffix : mesh->name;
    if (std::shared_ptr<Rendering::Mesh> existing = manager.GetMesh(name)) return existing;
    if (failed_.count(name)) return nullptr;
    std::shared_ptr<Rendering::Mesh> renderable =
        mesh->kind == AuthorMesh::Lines ? CreateLineMesh(name, *mesh) : CreateTriangleMesh(name, *mesh);
    if (!renderable) {
        Logger::Log(LogLevel::Error, "Failed to create mesh instance for tesselation '%s'", name.c_str());
        try {
            failed_.insert(name);
        } catch (const std::bad_alloc&) {}
        return nullptr;
    }
    manager.AddMesh(name, renderable);
    if (manager.GetMesh(name) != renderable) {
        Logger::Log(LogLevel::Error, "Failed to add mesh for tesselation '%s' to MeshManager", name.c_str());
        return nullptr;
    }
    return renderable;
}

std::shared_ptr<Rendering::Mesh> AuthorMeshPool::CreateTriangleMesh(const std::string& name, const AuthorMesh& mesh) {
    const BaseTessData& tess = *mesh.tessellation;
    if (!IndicesInside(tess, kCorners)) return nullptr;
    TrianglePlan plan;
    if (!PlanTriangles(name, tess, plan)) return nullptr;
    MeshCreationInfo info;
    try {
        info.name = name;
        info.primitiveType = Rendering::PrimitiveType::Triangles;
        info.subObjects.resize(plan.styles.size());
        subObjectStyles_[name] = plan.styles;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::CreateTriangleMesh() - OUT OF MEMORY!");
        return nullptr;
    }
    for (size_t g = 0; g < plan.styles.size(); ++g) {
        info.subObjects[g].attributes = plan.attributes;
        info.subObjects[g].vertexCount = plan.corners[g];
    }
    // The rows go straight into the mapped vertex buffers: no second copy of a large mesh.
    return Rendering::Mesh::Create(info, [&](float* const* rows) {
        FillTriangleRows(tess, plan, rows);
        return true;
    });
}

std::shared_ptr<Rendering::Mesh> AuthorMeshPool::CreateLineMesh(const std::string& name, const AuthorMesh& mesh) {
    const BaseTessData& tess = *mesh.tessellation;
    if (!IndicesInside(tess, kSegmentPoints)) return nullptr;
    if (!tess.normals.empty())
        Logger::Log(LogLevel::Warning,
                    "Warning: PRC-AuthorMesh contains normals, but not used yet (currently auto-created)!");
    MeshCreationInfo info;
    try {
        info.name = name;
        info.primitiveType = Rendering::PrimitiveType::Lines;
        info.subObjects.resize(1);
        subObjectStyles_[name] = {kNoStyle};
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "AuthorMeshPool::CreateTriangleMesh() - OUT OF MEMORY!");
        return nullptr;
    }
    info.subObjects[0].attributes = VA::Position;
    info.subObjects[0].vertexCount = uint32_t(tess.triangleIndices.size());
    return Rendering::Mesh::Create(info, [&](float* const* rows) {
        float* out = rows[0];
        for (const uint32_t index : tess.triangleIndices) {
            const Vec3f& p = tess.vertices[index];
            *out++ = p[0], *out++ = p[1], *out++ = p[2];
        }
        return true;
    });
}

}  // namespace Velmora::PRC
