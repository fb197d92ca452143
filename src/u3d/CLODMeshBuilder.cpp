#include "u3d/CLODMeshBuilder.h"

#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "u3d/CLODMeshData.h"
#include "u3d/MeshVertexLayout.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Rendering::DataBuffer;
using Rendering::MeshCreationInfo;
using Rendering::MeshSubObjectData;
namespace VA = Rendering::VertexAttribute;
using Utility::Logger;
using Utility::LogLevel;

namespace {

// What both builds share: the checks, one layout and vertex count per shading id, and the
// sub-objects of info (attributes and vertexCount; no buffers yet).
struct CLODPlan {
    const CLODMeshData* decl = nullptr;
    const CLODMeshContinuationData* cont = nullptr;
    uint32_t faces = 0;
    bool generateNormals = false;
    std::vector<VertexLayout> layouts;
    std::vector<float*> cursors;  // write position per shading id, sized here, set by the fill
};

// The faces that arrived, at most as many as were read; 0 (logged) when the mesh cannot be
// built.
uint32_t ArrivedFaces(const std::string& name, const CLODMeshData& decl, const CLODMeshContinuationData& cont,
                      const TriangleFamily& family) {
    if (decl.shadingCount == 0 || decl.shadingDescriptions.size() < decl.shadingCount) {
        Logger::LogF(LogLevel::Error, "Invalid shadingCount for CLODMesh '{:s}'", name);
        return 0;
    }
    const uint32_t faces =
        cont.primitiveCount < cont.primitives.size() ? cont.primitiveCount : uint32_t(cont.primitives.size());
    if (faces == 0) {
        Logger::Log(LogLevel::Warning, "AuthorMesh %s without data: '%s'", family.meshLabel, name.c_str());
        return 0;
    }
    if (faces < decl.faceCount)
        Logger::Log(LogLevel::Warning, "AuthorMesh %s incomplete: %u/%u", family.meshLabel, faces, decl.faceCount);
    return faces;
}

// Three vertices per face and shading id. A single shading id also keeps room for the
// declared faces still to come, within kMaxMissingFaces.
bool CountVertices(const CLODMeshData& decl, const CLODMeshContinuationData& cont, uint32_t faces,
                   std::vector<uint32_t>& vertexCounts, bool& outOfMemory) {
    const uint32_t shadingCount = decl.shadingCount;
    try {
        vertexCounts.assign(shadingCount, 0);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        outOfMemory = true;
        return false;
    }
    if (shadingCount == 1) {
        uint64_t declared = decl.faceCount > faces ? decl.faceCount : faces;
        if (declared > uint64_t(faces) + kMaxMissingFaces) declared = uint64_t(faces) + kMaxMissingFaces;
        if (declared * 3 > UINT32_MAX) {
            outOfMemory = true;
            return false;
        }
        vertexCounts[0] = uint32_t(declared * 3);
        return true;
    }
    for (uint32_t f = 0; f < faces; ++f) {
        const uint32_t id = cont.primitives[f].shadingId;
        if (id >= shadingCount) {
            Logger::Log(LogLevel::Error, "Invalid shadingID for face!");
            return false;
        }
        vertexCounts[id] += 3;
    }
    return true;
}

// One layout and sub-object per shading id.
bool LayOutSubObjects(const std::string& name, const CLODMeshData& decl, bool withNormals,
                      const std::vector<uint32_t>& vertexCounts, CLODPlan& plan, MeshCreationInfo& info,
                      bool& outOfMemory) {
    const uint32_t shadingCount = decl.shadingCount;
    const bool hasTexCoords = decl.texCoordCount != 0 && decl.shadingDescriptions[0].layerCount != 0;
    const bool hasDiffuse = decl.diffuseCount != 0;
    const bool hasSpecular = decl.specularCount != 0;
    try {
        plan.layouts.clear();
        plan.layouts.reserve(shadingCount);
        plan.cursors.assign(shadingCount, nullptr);
        info = MeshCreationInfo{};
        info.name = name;
        info.primitiveType = Rendering::PrimitiveType::Triangles;
        info.calculateBoundingBox = true;
        info.subObjects.resize(shadingCount);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        outOfMemory = true;
        return false;
    }
    for (uint32_t id = 0; id < shadingCount; ++id) {
        plan.layouts.push_back(
            MakeLayout(decl.shadingDescriptions[id], withNormals, hasDiffuse, hasSpecular, hasTexCoords));
        info.subObjects[id].attributes = plan.layouts[id].attributes;
        info.subObjects[id].vertexCount = vertexCounts[id];
    }
    return true;
}

bool PlanCLODMesh(const std::string& name, const CLODMeshData* decl, const CLODMeshContinuationData* cont,
                  const TriangleFamily& family, uint32_t normalMode, CLODPlan& plan, MeshCreationInfo& info,
                  bool& outOfMemory) {
    outOfMemory = false;
    if (!decl || !cont) {
        Logger::Log(LogLevel::Error, "Cannot look up declaration/continuation of AuthorMesh '%s'", name.c_str());
        return false;
    }
    const uint32_t faces = ArrivedFaces(name, *decl, *cont, family);
    if (faces == 0) return false;
    std::vector<uint32_t> vertexCounts;
    if (!CountVertices(*decl, *cont, faces, vertexCounts, outOfMemory)) return false;

    const bool hasNormals = decl->normalCount != 0;
    if (hasNormals != decl->HasNormals())
        Logger::Log(LogLevel::Error, "Mismatch between normalCount and attributeUseNormals!");
    const bool generateNormals =
        normalMode == NormalMode::AlwaysGenerate || (normalMode == NormalMode::GenerateMissing && !hasNormals);
    if (generateNormals) Logger::Log(LogLevel::Info, "Mesh %s is using GENERATED NORMALS", name.c_str());

    if (!LayOutSubObjects(name, *decl, hasNormals || generateNormals, vertexCounts, plan, info, outOfMemory))
        return false;
    plan.decl = decl;
    plan.cont = cont;
    plan.faces = faces;
    plan.generateNormals = generateNormals;
    return true;
}

// Writes three rows per face into rows[shading id], then zeroes what no face reached (the
// declared faces that never arrived), so fresh, unzeroed memory may be passed in.
void FillCLODRows(CLODPlan& plan, const MeshCreationInfo& info, float* const* rows) {
    const CLODMeshContinuationData& cont = *plan.cont;
    const uint32_t shadingCount = uint32_t(plan.layouts.size());
    std::vector<float*>& cursors = plan.cursors;
    for (uint32_t id = 0; id < shadingCount; ++id) cursors[id] = rows[id];

    const std::vector<Vec3f>& positions = cont.positions;
    const std::vector<Vec3f>& normals = cont.normals;
    const std::vector<Vec4f>& diffuse = cont.diffuseColors;
    const std::vector<Vec4f>& specular = cont.specularColors;
    const std::vector<Vec4f>& texCoords = cont.texCoords;
    const bool generateNormals = plan.generateNormals;
    for (uint32_t f = 0; f < plan.faces; ++f) {
        const CLODFace& face = cont.primitives[f];
        const uint32_t id = shadingCount == 1 ? 0 : face.shadingId;
        const VertexLayout& layout = plan.layouts[id];
        float* out = cursors[id];
        cursors[id] += size_t(layout.stride) * 3;

        const CornerIndices faceDiffuse = cont.Diffuse(f);
        const CornerIndices faceSpecular = cont.Specular(f);
        float flat[3] = {0.0f, 0.0f, 0.0f};
        if (generateNormals) {
            float p[3][3];
            for (int c = 0; c < 3; ++c) CopyOr0(p[c], positions, face.positions[c], 3);
            const float a[3] = {p[1][0] - p[0][0], p[1][1] - p[0][1], p[1][2] - p[0][2]};
            const float b[3] = {p[2][0] - p[0][0], p[2][1] - p[0][1], p[2][2] - p[0][2]};
            flat[0] = a[1] * b[2] - a[2] * b[1];
            flat[1] = a[2] * b[0] - a[0] * b[2];
            flat[2] = a[0] * b[1] - a[1] * b[0];
            // A degenerate face keeps the division by zero: its normal is as undefined as it.
            const float scale = 1.0f / std::sqrt(flat[0] * flat[0] + flat[1] * flat[1] + flat[2] * flat[2]);
            flat[0] *= scale;
            flat[1] *= scale;
            flat[2] *= scale;
        }
        for (int c = 0; c < 3; ++c, out += layout.stride) {
            CopyOr0(out, positions, face.positions[c], 3);
            if (layout.normal >= 0) {
                float* n = out + layout.normal;
                if (generateNormals) {
                    n[0] = flat[0];
                    n[1] = flat[1];
                    n[2] = flat[2];
                } else {
                    CopyOr0(n, normals, face.normals[c], 3);
                }
            }
            if (layout.diffuse >= 0) CopyOr0(out + layout.diffuse, diffuse, faceDiffuse[c], 4);
            if (layout.specular >= 0) CopyOr0(out + layout.specular, specular, faceSpecular[c], 4);
            for (uint32_t layer = 0; layer < layout.layers; ++layer)
                CopyOr0(out + layout.texCoord + 2 * layer, texCoords, cont.TexCoords(f, layer)[c], 2);
        }
    }
    for (uint32_t id = 0; id < shadingCount; ++id) {
        if (!rows[id]) continue;
        const float* end = rows[id] + size_t(info.subObjects[id].vertexCount) * plan.layouts[id].stride;
        if (cursors[id] < end) std::memset(cursors[id], 0, size_t(end - cursors[id]) * sizeof(float));
    }
}

}  // namespace

bool BuildCLODMeshData(const AuthorMesh& mesh, uint32_t normalMode, MeshCreationInfo& info, bool& outOfMemory) {
    return BuildTriangleMeshData(mesh.name, mesh.DeclarationAs<CLODMeshData>(),
                                 mesh.ContinuationAs<CLODMeshContinuationData>(), kCLODFamily, normalMode, info,
                                 outOfMemory);
}

bool CreateCLODMesh(Rendering::MeshManager& manager, const AuthorMesh& mesh, uint32_t normalMode, bool& lowMemory) {
    return CreateTriangleMesh(manager, mesh.name, mesh.DeclarationAs<CLODMeshData>(),
                              mesh.ContinuationAs<CLODMeshContinuationData>(), kCLODFamily, normalMode, lowMemory);
}

bool BuildTriangleMeshData(const std::string& name, const CLODMeshData* decl, const CLODMeshContinuationData* cont,
                           const TriangleFamily& family, uint32_t normalMode, MeshCreationInfo& info,
                           bool& outOfMemory) {
    CLODPlan plan;
    if (!PlanCLODMesh(name, decl, cont, family, normalMode, plan, info, outOfMemory)) return false;
    std::vector<float*> rows;
    try {
        rows.assign(info.subObjects.size(), nullptr);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        info.subObjects.clear();
        outOfMemory = true;
        return false;
    }
    for (size_t id = 0; id < info.subObjects.size(); ++id) {
        MeshSubObjectData& sub = info.subObjects[id];
        sub.vertices = DataBuffer<float>::Create(sub.vertexCount, plan.layouts[id].stride);
        if (!sub.vertices) {
            info.subObjects.clear();
            outOfMemory = true;
            return false;
        }
        rows[id] = sub.vertices->Data();
    }
    FillCLODRows(plan, info, rows.data());
    return true;
}

bool CreateTriangleMesh(Rendering::MeshManager& manager, const std::string& name, const CLODMeshData* decl,
                        const CLODMeshContinuationData* cont, const TriangleFamily& family, uint32_t normalMode,
                        bool& lowMemory) {
    MeshCreationInfo info;
    CLODPlan plan;
    bool outOfMemory = false;
    if (!PlanCLODMesh(name, decl, cont, family, normalMode, plan, info, outOfMemory)) {
        if (outOfMemory) lowMemory = true;
        return false;
    }
    // The rows go straight into the mapped vertex buffers: no CPU copy of the mesh is made.
    std::shared_ptr<Rendering::Mesh> renderable = Rendering::Mesh::Create(info, [&](float* const* rows) {
        FillCLODRows(plan, info, rows);
        return true;
    });
    if (!renderable) {
        Logger::Log(LogLevel::Error, "Failed to create %s mesh instance for '%s'", family.instanceLabel, name.c_str());
        return false;
    }
    manager.AddMesh(name, renderable);
    if (manager.GetMesh(name) != renderable) {
        Logger::Log(LogLevel::Error, "Failed to add %s mesh '%s' to MeshManager", family.instanceLabel, name.c_str());
        return false;
    }
    return true;
}

}  // namespace Velmora::U3D
