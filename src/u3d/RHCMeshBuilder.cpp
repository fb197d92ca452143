#include "u3d/RHCMeshBuilder.h"

#include <new>

#include "u3d/CLODMeshBuilder.h"
#include "u3d/CLODMeshData.h"
#include "u3d/RHCMeshData.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// CLOD records of the mesh. The arrays are moved over, so the RH records are left empty:
// the build is the last use of the staging mesh.
bool ToCLOD(const AuthorMesh& mesh, CLODMeshData& decl, CLODMeshContinuationData& cont) {
    const auto* rhDecl = mesh.DeclarationAs<RHCMeshData>();
    auto* rhCont = mesh.ContinuationAs<RHCMeshContinuationData>();
    if (!rhDecl || !rhCont) return false;
    static_cast<AuthorMeshData&>(decl) = *rhDecl;
    decl.faceCount = rhDecl->faceCount;
    if (rhDecl->normalCount == 0) decl.meshAttributes |= CLODMeshData::kNoNormals;
    cont.positions = std::move(rhCont->positions);
    cont.normals = std::move(rhCont->normals);
    cont.diffuseColors = std::move(rhCont->diffuseColors);
    cont.specularColors = std::move(rhCont->specularColors);
    cont.texCoords = std::move(rhCont->texCoords);
    const uint32_t faces =
        rhCont->primitiveCount < rhCont->faces.size() ? rhCont->primitiveCount : uint32_t(rhCont->faces.size());
    cont.KeepAttributesOf(decl);
    cont.ReserveFaces(faces);
    for (uint32_t i = 0; i < faces; ++i) {
        const RHCFace& rh = rhCont->faces[i];
        CLODFace face;
        face.positions = rh.positions;
        face.normals = rh.normals;
        face.shadingId = i < rhCont->faceGroups.size() ? rhCont->faceGroups[i] : 0;
        CLODFaceAttributes attributes;
        attributes.diffuse = rh.diffuse;
        attributes.specular = rh.specular;
        attributes.texCoords[0] = rh.texCoords;
        cont.AddFace(face, &attributes);
    }
    rhCont->faces = {};
    rhCont->faceGroups = {};
    return true;
}

// The mesh in the CLOD builder's form; false with its message, outOfMemory set when that was why.
bool StageAsCLOD(const AuthorMesh& mesh, CLODMeshData& decl, CLODMeshContinuationData& cont, bool& outOfMemory) {
    try {
        if (ToCLOD(mesh, decl, cont)) return true;
        Logger::Log(LogLevel::Error, "Cannot look up declaration/continuation of AuthorMesh '%s'", mesh.name.c_str());
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        outOfMemory = true;
    }
    return false;
}

}  // namespace

bool BuildRHCMeshData(const AuthorMesh& mesh, uint32_t normalMode, Rendering::MeshCreationInfo& info,
                      bool& outOfMemory) {
    outOfMemory = false;
    CLODMeshData decl;
    CLODMeshContinuationData cont;
    if (!StageAsCLOD(mesh, decl, cont, outOfMemory)) return false;
    return BuildTriangleMeshData(mesh.name, &decl, &cont, kRHCFamily, normalMode, info, outOfMemory);
}

bool CreateRHCMesh(Rendering::MeshManager& manager, const AuthorMesh& mesh, uint32_t normalMode, bool& lowMemory) {
    CLODMeshData decl;
    CLODMeshContinuationData cont;
    if (!StageAsCLOD(mesh, decl, cont, lowMemory)) return false;
    return CreateTriangleMesh(manager, mesh.name, &decl, &cont, kRHCFamily, normalMode, lowMemory);
}

}  // namespace Velmora::U3D
