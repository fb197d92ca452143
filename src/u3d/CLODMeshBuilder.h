#pragma once
// Turns a finished CLOD author mesh into a renderable mesh.
//
// U3D faces index separate position, normal, colour and tex coord arrays at each corner, so
// the renderable form is an unindexed triangle list: three vertices of their own per face, one
// vertex buffer per shading id, every vertex carrying all attributes of its shading id in the
// interleaved order of Rendering::Mesh. Each buffer is sized once, before any vertex is
// written, and filled through a write cursor per shading id. CreateCLODMesh writes the rows
// straight into the mapped GPU buffers, so a large mesh is never held twice.

#include <cstdint>
#include <string>

#include "rendering/Mesh.h"
#include "rendering/MeshManager.h"
#include "u3d/AuthorMesh.h"
#include "u3d/CLODMeshData.h"

namespace Velmora::U3D {

// Normal modes of AuthorMeshPool::normalMode.
namespace NormalMode {
inline constexpr uint32_t AsRead = 0;
inline constexpr uint32_t GenerateMissing = 1;  // flat normals where the mesh declares none
inline constexpr uint32_t AlwaysGenerate = 2;
}  // namespace NormalMode

// A single shading id is sized for the declared face count (faces that never arrived stay
// zero), but a declaration far above what arrived is not honoured beyond this many extra
// faces: the tail would only be zeros, and a hostile count must not allocate gigabytes.
inline constexpr uint32_t kMaxMissingFaces = 1u << 20;

// The rows on the CPU: fills info with the name, triangle type and one sub-object per shading
// id, each with its own zero-initialised vertex buffer. CreateCLODMesh writes the same rows.
// False (logged) when the mesh cannot be built; outOfMemory then tells whether a buffer could
// not be had.
bool BuildCLODMeshData(const AuthorMesh& mesh, uint32_t normalMode, Rendering::MeshCreationInfo& info,
                       bool& outOfMemory);

// Builds and uploads the mesh and registers it under its name. A buffer that cannot be had
// sets lowMemory. Needs a current GL context.
bool CreateCLODMesh(Rendering::MeshManager& manager, const AuthorMesh& mesh, uint32_t normalMode, bool& lowMemory);

// The names a triangle mesh family gives itself in the build's messages.
struct TriangleFamily {
    const char* meshLabel;      // "AuthorMesh %s without data", "... incomplete"
    const char* instanceLabel;  // "Failed to create %s mesh instance", "Failed to add %s mesh"
};
inline constexpr TriangleFamily kCLODFamily = {"CLODMesh", "CLOD"};
inline constexpr TriangleFamily kRHCFamily = {"RHCMesh", "RHC"};

// The two builds above for any mesh held in CLOD records (RH compressed meshes are converted
// to them); decl and cont may be null, which is logged.
bool BuildTriangleMeshData(const std::string& name, const CLODMeshData* decl, const CLODMeshContinuationData* cont,
                           const TriangleFamily& family, uint32_t normalMode, Rendering::MeshCreationInfo& info,
                           bool& outOfMemory);
bool CreateTriangleMesh(Rendering::MeshManager& manager, const std::string& name, const CLODMeshData* decl,
                        const CLODMeshContinuationData* cont, const TriangleFamily& family, uint32_t normalMode,
                        bool& lowMemory);

}  // namespace Velmora::U3D
