#include "u3d/PrimitiveSetBuilder.h"

#include <new>
#include <vector>

#include "u3d/CLODMeshBuilder.h"
#include "u3d/MeshVertexLayout.h"
#include "u3d/PrimitiveSetData.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Rendering::DataBuffer;
using Rendering::MeshCreationInfo;
using Utility::Logger;
using Utility::LogLevel;

namespace {

// The texts that differ between the two families.
struct SetFamily {
    uint32_t primitiveType;
    const char* withoutData;
    const char* incomplete;
    const char* invalidShadingId;
    const char* createFailed;
    const char* addFailed;
};
constexpr SetFamily kPointFamily = {Rendering::PrimitiveType::Points,
                                    "AuthorMesh PointSet without data: '%s'",
                                    "AuthorMesh PointSet incomplete: %u/%u",
                                    "Invalid shadingID for point!",
                                    "Failed to create PointSet mesh instance for '%s'",
                                    "Failed to add PointSet mesh '%s' to MeshManager"};
constexpr SetFamily kLineFamily = {Rendering::PrimitiveType::Lines,
                                   "AuthorMesh LineSet without data: '%s'",
                                   "AuthorMesh LineSet incomplete: %u/%u",
                                   "Invalid shadingID for line!",
                                   "Failed to create LineSet mesh instance for '%s'",
                                   "Failed to add LineSet mesh '%s' to MeshManager"};

// The primitives that arrived; 0 (logged) when the mesh cannot be built.
template <uint32_t Ends>
uint32_t ArrivedPrimitives(const AuthorMesh& mesh, const PrimitiveSetData& decl, const SetContinuationData<Ends>& cont,
                           const SetFamily& family) {
    if (decl.shadingCount == 0 || decl.shadingDescriptions.size() < decl.shadingCount) {
        if (family.primitiveType == Rendering::PrimitiveType::Points)
            Logger::LogF(LogLevel::Error, "Invalid shadingCount for point set '{:s}'", mesh.name);
        else
            Logger::LogF(LogLevel::Error, "Invalid shadingCount for line set '{:s}'", mesh.name);
        return 0;
    }
    const uint32_t count =
        cont.primitiveCount < cont.primitives.size() ? cont.primitiveCount : uint32_t(cont.primitives.size());
    if (count == 0) {
        Logger::Log(LogLevel::Warning, family.withoutData, mesh.name.c_str());
        return 0;
    }
    if (count < decl.primitiveCount) Logger::Log(LogLevel::Warning, family.incomplete, count, decl.primitiveCount);
    return count;
}

// Ends vertices per primitive and shading id. A single shading id keeps room for the declared
// primitives still to come, within kMaxMissingFaces.
template <uint32_t Ends>
bool CountVertices(const PrimitiveSetData& decl, const SetContinuationData<Ends>& cont, uint32_t count,
                   const SetFamily& family, std::vector<uint32_t>& vertexCounts) {
    vertexCounts.assign(decl.shadingCount, 0);
    if (decl.shadingCount == 1) {
        uint64_t declared = decl.primitiveCount > count ? decl.primitiveCount : count;
        if (declared > uint64_t(count) + kMaxMissingFaces) declared = uint64_t(count) + kMaxMissingFaces;
        vertexCounts[0] = uint32_t(declared * Ends);
        return true;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t id = cont.primitives[i].shadingId;
        if (id >= decl.shadingCount) {
            Logger::Log(LogLevel::Error, "%s", family.invalidShadingId);
            return false;
        }
        vertexCounts[id] += Ends;
    }
    return true;
}

template <uint32_t Ends>
void WriteVertex(float* out, const VertexLayout& layout, const SetContinuationData<Ends>& cont,
                 const SetPrimitive<Ends>& primitive, uint32_t end) {
    CopyOr0(out, cont.positions, primitive.positions[end], 3);
    if (layout.normal >= 0) CopyOr0(out + layout.normal, cont.normals, primitive.normals[end], 3);
    if (layout.diffuse >= 0) CopyOr0(out + layout.diffuse, cont.diffuseColors, primitive.diffuse[end], 4);
    if (layout.specular >= 0) CopyOr0(out + layout.specular, cont.specularColors, primitive.specular[end], 4);
    for (uint32_t layer = 0; layer < layout.layers; ++layer)
        CopyOr0(out + layout.texCoord + 2 * layer, cont.texCoords, primitive.texCoords[layer][end], 2);
}

template <uint32_t Ends>
bool BuildSet(const AuthorMesh& mesh, const SetFamily& family, MeshCreationInfo& info, bool& outOfMemory) {
    outOfMemory = false;
    const auto* decl = mesh.DeclarationAs<PrimitiveSetData>();
    const auto* cont = mesh.ContinuationAs<SetContinuationData<Ends>>();
    if (!decl || !cont) {
        Logger::Log(LogLevel::Error, "Cannot look up declaration/continuation of AuthorMesh '%s'", mesh.name.c_str());
        return false;
    }
    const uint32_t count = ArrivedPrimitives(mesh, *decl, *cont, family);
    if (count == 0) return false;
    try {
        std::vector<uint32_t> vertexCounts;
        if (!CountVertices(*decl, *cont, count, family, vertexCounts)) return false;
        const bool hasTexCoords = decl->texCoordCount != 0 && decl->shadingDescriptions[0].layerCount != 0;
        std::vector<VertexLayout> layouts;
        info = MeshCreationInfo{};
        info.name = mesh.name;
        info.primitiveType = family.primitiveType;
        info.calculateBoundingBox = true;
        info.subObjects.resize(decl->shadingCount);
        std::vector<float*> cursors(decl->shadingCount, nullptr);
        for (uint32_t id = 0; id < decl->shadingCount; ++id) {
            layouts.push_back(MakeLayout(decl->shadingDescriptions[id], decl->normalCount != 0, decl->diffuseCount != 0,
                                         decl->specularCount != 0, hasTexCoords));
            auto& sub = info.subObjects[id];
            sub.attributes = layouts[id].attributes;
            sub.vertexCount = vertexCounts[id];
            sub.vertices = DataBuffer<float>::Create(vertexCounts[id], layouts[id].stride);
            if (!sub.vertices) {
                info.subObjects.clear();
                outOfMemory = true;
                return false;
            }
            cursors[id] = sub.vertices->Data();
        }
        for (uint32_t i = 0; i < count; ++i) {
            const SetPrimitive<Ends>& primitive = cont->primitives[i];
            const uint32_t id = decl->shadingCount == 1 ? 0 : primitive.shadingId;
            for (uint32_t end = 0; end < Ends; ++end) {
                WriteVertex(cursors[id], layouts[id], *cont, primitive, end);
                cursors[id] += layouts[id].stride;
            }
        }
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        info.subObjects.clear();
        outOfMemory = true;
        return false;
    }
    return true;
}

}  // namespace

bool BuildPrimitiveSetMeshData(const AuthorMesh& mesh, MeshCreationInfo& info, bool& outOfMemory) {
    outOfMemory = false;
    if (mesh.meshKind == MeshKind::PointSet) return BuildSet<1>(mesh, kPointFamily, info, outOfMemory);
    if (mesh.meshKind == MeshKind::LineSet) return BuildSet<2>(mesh, kLineFamily, info, outOfMemory);
    return false;
}

bool CreatePrimitiveSetMesh(Rendering::MeshManager& manager, const AuthorMesh& mesh, bool& lowMemory) {
    const SetFamily& family = mesh.meshKind == MeshKind::LineSet ? kLineFamily : kPointFamily;
    MeshCreationInfo info;
    bool outOfMemory = false;
    if (!BuildPrimitiveSetMeshData(mesh, info, outOfMemory)) {
        if (outOfMemory) lowMemory = true;
        return false;
    }
    std::shared_ptr<Rendering::Mesh> renderable = Rendering::Mesh::Create(info);
    if (!renderable) {
        Logger::Log(LogLevel::Error, family.createFailed, mesh.name.c_str());
        return false;
    }
    manager.AddMesh(mesh.name, renderable);
    if (manager.GetMesh(mesh.name) != renderable) {
        Logger::Log(LogLevel::Error, family.addFailed, mesh.name.c_str());
        return false;
    }
    return true;
}

}  // namespace Velmora::U3D
