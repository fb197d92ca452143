#pragma once
// Turns a finished RH compressed mesh into a renderable triangle mesh, the way CLOD meshes are
// built: its faces are handed to the CLOD build as CLOD records, with the shading group of
// each face as its shading id.

#include <cstdint>

#include "rendering/Mesh.h"
#include "rendering/MeshManager.h"
#include "u3d/AuthorMesh.h"

namespace Velmora::U3D {

// The rows on the CPU, as BuildCLODMeshData.
bool BuildRHCMeshData(const AuthorMesh& mesh, uint32_t normalMode, Rendering::MeshCreationInfo& info,
                      bool& outOfMemory);

// Builds and uploads the mesh and registers it under its name, as CreateCLODMesh.
bool CreateRHCMesh(Rendering::MeshManager& manager, const AuthorMesh& mesh, uint32_t normalMode, bool& lowMemory);

}  // namespace Velmora::U3D
