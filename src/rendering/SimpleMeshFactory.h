#pragma once
// SimpleMeshFactory: the small fixed meshes the renderer draws for itself (axes, grids,
// bounding boxes, light markers, navigation aids, the screen quad). Each is built once per
// scene on first request and kept in the scene's MeshManager under its name, so a second
// request returns the same mesh.
//
// The tables are built on the CPU by BuildCreationInfo, which needs no GL context; the upload
// (GetCreateMesh, CreateScreenQuad) does.

#include <cstdint>
#include <memory>

#include "rendering/DataBuffer.h"
#include "rendering/Mesh.h"
#include "rendering/MeshManager.h"

namespace Velmora::Rendering {

namespace SimpleMeshType {
inline constexpr uint32_t Axis3D = 0;
inline constexpr uint32_t GridXZ = 1;
inline constexpr uint32_t GridXY = 2;
inline constexpr uint32_t AxisXZ = 3;
inline constexpr uint32_t AxisXY = 4;
inline constexpr uint32_t BoundingBox = 5;
inline constexpr uint32_t LightPoint = 6;
inline constexpr uint32_t LightRay = 7;
inline constexpr uint32_t LightRaySpot = 8;
inline constexpr uint32_t Circle = 9;
inline constexpr uint32_t CircleUI = 10;  // the rotation sphere of the navigation aids
inline constexpr uint32_t SphereCrosshair = 11;
inline constexpr uint32_t SphereCrosshairUI = 12;
inline constexpr uint32_t ExampleCubeVertexColor = 13;
inline constexpr uint32_t ExampleCubeMaterial = 14;
inline constexpr uint32_t ExampleCubeTexture = 15;
inline constexpr uint32_t ExamplePyramidVertexColor = 16;
inline constexpr uint32_t Count = 17;
}  // namespace SimpleMeshType

class SimpleMeshFactory {
public:
    // The scene's mesh table, or null for an unknown handle. Installed by the scene registry.
    using MeshManagerLookup = MeshManager* (*)(SceneHandle handle);
    static void SetMeshManagerLookup(MeshManagerLookup lookup);
    static MeshManagerLookup GetMeshManagerLookup();

    // The scene's mesh of this type, built and registered on first request. Empty for an
    // unknown scene or type, or when the build fails (logged).
    static std::shared_ptr<Mesh> GetCreateMesh(SceneHandle handle, uint32_t type);

    // "___ScreenQuad": two triangles covering clip space with layer-0 coordinates.
    static std::shared_ptr<Mesh> CreateScreenQuad(SceneHandle handle);

    // The name and CPU tables of a type. False for an unknown type or when memory runs out.
    static bool BuildCreationInfo(uint32_t type, MeshCreationInfo& info);
    static bool BuildScreenQuadInfo(MeshCreationInfo& info);

    // Name of a type, or null for an unknown one.
    static const char* MeshName(uint32_t type);

    // 0, 1, ... count - 1: one index per vertex of a line list.
    static std::shared_ptr<DataBuffer<uint32_t>> CreateGridIndexBuffer(uint32_t count);
    // Pairs (i, i + 1) for i below count, the last pair closing back to 0: count line segments.
    static std::shared_ptr<DataBuffer<uint32_t>> CreateCircleIndexBuffer(uint32_t count);

    // One arc of spanDegrees (at least 5) and radius (not 0) around the x axis, and its
    // mirror around the y axis, each as a sub-object; both pass through the origin and bend
    // towards -z. False for a span or radius out of range.
    static bool CreateArcs(float spanDegrees, float radius, MeshCreationInfo& info);

private:
    static std::shared_ptr<Mesh> GetCreate(SceneHandle handle, const char* name, bool screenQuad, uint32_t type);
};

}  // namespace Velmora::Rendering
