#pragma once
// Turns a finished point set or line set into a renderable mesh of points or lines.
//
// As for CLOD meshes the renderable form is unindexed: one vertex of its own per point or
// line end, one buffer per shading id, every vertex carrying all attributes of its shading
// id. No normals are generated: a set without normals is drawn unlit, in its colour.

#include <cstdint>

#include "rendering/Mesh.h"
#include "rendering/MeshManager.h"
#include "u3d/AuthorMesh.h"

namespace Velmora::U3D {

// The rows on the CPU: fills info with the name, primitive type and one sub-object per
// shading id. False (logged) when the mesh cannot be built; outOfMemory then tells whether a
// buffer could not be had.
bool BuildPrimitiveSetMeshData(const AuthorMesh& mesh, Rendering::MeshCreationInfo& info, bool& outOfMemory);

// Builds and uploads a mesh of kind PointSet or LineSet and registers it under its name. A
// buffer that cannot be had sets lowMemory. Needs a current GL context.
bool CreatePrimitiveSetMesh(Rendering::MeshManager& manager, const AuthorMesh& mesh, bool& lowMemory);

}  // namespace Velmora::U3D
