#include "rendering/SimpleMeshFactory.h"

#include <atomic>
#include <cmath>
#include <new>

#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

std::atomic<SimpleMeshFactory::MeshManagerLookup> g_meshManagerLookup{nullptr};

constexpr const char* kNames[SimpleMeshType::Count] = {
    "___Axis3D",
    "___GridXZ",
    "___GridXY",
    "___AxisXZ",
    "___AxisXY",
    "___BBox",
    "___LightPoint",
    "___LightRay",
    "___LightRay_Spot",
    "___Circle",
    "___Circle_UI",
    "___SphereCrosshair",
    "___SphereCrosshair_UI",
    "___ExampleCube_VertexColor",
    "___ExampleCube_Material",
    "___ExampleCube_Texture",
    "____ExamplePyramid_VertexColor",
};
constexpr const char* kScreenQuadName = "___ScreenQuad";

// Position and colour of the three axes: dark at the negative end, full at the positive one.
constexpr float kAxis3DVertices[6 * 7] = {
    -0.5f, 0.0f,  0.0f,  0.1f, 0.0f, 0.0f, 1.0f,  //
    0.5f,  0.0f,  0.0f,  1.0f, 0.0f, 0.0f, 1.0f,  //
    0.0f,  -0.5f, 0.0f,  0.0f, 0.1f, 0.0f, 1.0f,  //
    0.0f,  0.5f,  0.0f,  0.0f, 1.0f, 0.0f, 1.0f,  //
    0.0f,  0.0f,  -0.5f, 0.0f, 0.0f, 0.1f, 1.0f,  //
    0.0f,  0.0f,  0.5f,  0.0f, 0.0f, 1.0f, 1.0f,
};
constexpr uint32_t kAxis3DIndices[6] = {0, 1, 2, 3, 4, 5};

// The grid's own axis. The XY variant deliberately uses the same lines (Y and X): the world
// grid lies in XZ and its axis marks X and Y.
constexpr float kGridAxisVertices[4 * 3] = {
    0.0f, -0.5f, 0.0f, 0.0f, 0.5f, 0.0f, -0.5f, 0.0f, 0.0f, 0.5f, 0.0f, 0.0f,
};
constexpr uint32_t kGridAxisIndices[4] = {0, 1, 2, 3};

constexpr float kUnitCubeCorners[8 * 3] = {
    0.5f, -0.5f, 0.5f, -0.5f, -0.5f, 0.5f, -0.5f, -0.5f, -0.5f, 0.5f, -0.5f, -0.5f,
    0.5f, 0.5f,  0.5f, -0.5f, 0.5f,  0.5f, -0.5f, 0.5f,  -0.5f, 0.5f, 0.5f,  -0.5f,
};
constexpr uint32_t kBoxLineIndices[24] = {0, 1, 1, 2, 2, 3, 3, 0, 4, 5, 5, 6, 6, 7, 7, 4, 0, 4, 1, 5, 2, 6, 3, 7};
constexpr uint32_t kLightPointIndices[36] = {0, 1, 2, 0, 2, 3, 4, 6, 5, 4, 7, 6, 0, 4, 1, 4, 5, 1,
                                             2, 7, 3, 2, 6, 7, 1, 5, 2, 2, 5, 6, 3, 7, 0, 7, 4, 0};

constexpr float kLightRayVertices[4 * 3] = {-100.0f, 0.0f,  0.0f, 100.0f, 0.0f, 0.0f,
                                            90.0f,   -5.0f, 0.0f, 90.0f,  5.0f, 0.0f};
constexpr float kLightRaySpotVertices[4 * 3] = {0.0f, 0.0f,  0.0f, 10.0f, 0.0f, 0.0f,
                                                9.0f, -0.5f, 0.0f, 9.0f,  0.5f, 0.0f};
// A shaft and the two strokes of its arrow head.
constexpr uint32_t kLightRayIndices[6] = {0, 1, 1, 2, 1, 3};

constexpr float kScreenQuadVertices[4 * 5] = {
    -1.0f, -1.0f, 0.0f, 0.0f, 0.0f,  //
    1.0f,  -1.0f, 0.0f, 1.0f, 0.0f,  //
    -1.0f, 1.0f,  0.0f, 0.0f, 1.0f,  //
    1.0f,  1.0f,  0.0f, 1.0f, 1.0f,
};
constexpr uint32_t kScreenQuadIndices[6] = {0, 1, 2, 2, 1, 3};

constexpr uint32_t kPyramidIndices[18] = {0, 1, 2, 0, 2, 3, 4, 6, 5, 7, 9, 8, 10, 12, 11, 13, 15, 14};

constexpr uint32_t kCircleVertices = 180;  // one every 2 degrees
constexpr float kArcStepRadians = 0.03490658503988659f;
constexpr float kCrosshairSpanDegrees = 20.0f;
constexpr float kCrosshairRadius = 1.0f;
constexpr double kPi = 3.14159265358979323846;

bool AddSubObject(MeshCreationInfo& info, uint32_t attributes, std::shared_ptr<DataBuffer<float>> vertices,
                  std::shared_ptr<DataBuffer<uint32_t>> indices) {
    if (!vertices || !indices) return false;
    info.subObjects.push_back(MeshSubObjectData{std::move(vertices), std::move(indices), attributes});
    return true;
}

bool AddTable(MeshCreationInfo& info, uint32_t attributes, const float* vertices, uint32_t rows,
              const uint32_t* indices, uint32_t indexCount) {
    return AddSubObject(info, attributes,
                        DataBuffer<float>::Create(rows, VertexAttribute::FloatsPerVertex(attributes), vertices),
                        DataBuffer<uint32_t>::Create(indexCount, 1, indices));
}

// Five lines parallel to each axis on either side of the centre, 0.1 apart; the centre lines
// are left to the axis mesh.
bool BuildGrid(MeshCreationInfo& info, bool xz) {
    auto vertices = DataBuffer<float>::Create(40, 3);
    if (!vertices) return false;
    // The second axis is z for the XZ grid and y for the XY grid.
    const uint32_t second = xz ? 2 : 1;
    uint32_t row = 0;
    auto put = [&](float first, float other) {
        float* v = vertices->Row(row++);
        v[0] = first;
        v[second] = other;
    };
    for (uint32_t i = 0; i < 5; ++i) {
        const float f = float(i + 1) * 0.1f;
        const float g = -f;
        put(f, -0.5f), put(f, 0.5f);
        put(g, -0.5f), put(g, 0.5f);
        put(-0.5f, f), put(0.5f, f);
        put(-0.5f, g), put(0.5f, g);
    }
    return AddSubObject(info, VertexAttribute::Position, std::move(vertices),
                        SimpleMeshFactory::CreateGridIndexBuffer(40));
}

bool BuildCircle(MeshCreationInfo& info) {
    auto vertices = DataBuffer<float>::Create(kCircleVertices, 3);
    if (!vertices) return false;
    for (uint32_t i = 0; i < kCircleVertices; ++i) {
        const double a = double(i) * 2.0 * kPi / 180.0;
        float* v = vertices->Row(i);
        v[0] = float(std::cos(a));
        v[1] = float(std::sin(a));
    }
    return AddSubObject(info, VertexAttribute::Position, std::move(vertices),
                        SimpleMeshFactory::CreateCircleIndexBuffer(kCircleVertices));
}

// 24 rows, four per face, each face's quad wound counter-clockwise seen from outside.
// Faces are given by their normal n and two edge directions u, v with u x v = n.
bool BuildExampleCube(MeshCreationInfo& info, uint32_t attributes) {
    static constexpr float kFaces[6][9] = {
        {1, 0, 0, 0, 1, 0, 0, 0, 1},  {-1, 0, 0, 0, 0, 1, 0, 1, 0}, {0, 1, 0, 0, 0, 1, 1, 0, 0},
        {0, -1, 0, 1, 0, 0, 0, 0, 1}, {0, 0, 1, 1, 0, 0, 0, 1, 0},  {0, 0, -1, 0, 1, 0, 1, 0, 0},
    };
    static constexpr float kFaceColors[6][4] = {
        {1, 0, 0, 1}, {0, 1, 1, 1}, {0, 1, 0, 1}, {1, 0, 1, 1}, {0, 0, 1, 1}, {1, 1, 0, 1},
    };
    static constexpr float kCorner[4][2] = {{-0.5f, -0.5f}, {0.5f, -0.5f}, {0.5f, 0.5f}, {-0.5f, 0.5f}};

    const uint32_t stride = VertexAttribute::FloatsPerVertex(attributes);
    auto vertices = DataBuffer<float>::Create(24, stride);
    auto indices = DataBuffer<uint32_t>::Create(36, 1);
    if (!vertices || !indices) return false;
    for (uint32_t face = 0; face < 6; ++face) {
        const float* n = kFaces[face];
        const float* u = n + 3;
        const float* v = n + 6;
        for (uint32_t c = 0; c < 4; ++c) {
            float* row = vertices->Row(face * 4 + c);
            for (int k = 0; k < 3; ++k) row[k] = 0.5f * n[k] + kCorner[c][0] * u[k] + kCorner[c][1] * v[k];
            for (int k = 0; k < 3; ++k) row[3 + k] = n[k];
            float* rest = row + 6;
            if (attributes & VertexAttribute::Diffuse) {
                for (int k = 0; k < 4; ++k) rest[k] = kFaceColors[face][k];
                rest += 4;
            }
            if (attributes & VertexAttribute::TexCoord0) {
                rest[0] = kCorner[c][0] + 0.5f;
                rest[1] = kCorner[c][1] + 0.5f;
            }
        }
        static constexpr uint32_t kQuad[6] = {0, 1, 2, 0, 2, 3};
        for (uint32_t k = 0; k < 6; ++k) indices->Data()[face * 6 + k] = face * 4 + kQuad[k];
    }
    return AddSubObject(info, attributes, std::move(vertices), std::move(indices));
}

// Base quad (rows 0 to 3, facing down) and four sides of three rows each. The index table
// names each side's rows in the order first, third, second, so the rows of a side are laid
// out clockwise seen from outside. Rows 16 and 17 are reserved and stay zero.
bool BuildExamplePyramid(MeshCreationInfo& info) {
    static constexpr float kBase[4][3] = {
        {-0.5f, -0.5f, -0.5f}, {0.5f, -0.5f, -0.5f}, {0.5f, -0.5f, 0.5f}, {-0.5f, -0.5f, 0.5f}};
    static constexpr float kApex[3] = {0.0f, 0.5f, 0.0f};
    auto vertices = DataBuffer<float>::Create(18, 6);
    if (!vertices) return false;
    for (uint32_t i = 0; i < 4; ++i) {
        float* row = vertices->Row(i);
        for (int k = 0; k < 3; ++k) row[k] = kBase[i][k];
        row[4] = -1.0f;
    }
    for (uint32_t side = 0; side < 4; ++side) {
        // Drawn as (a, apex, b): counter-clockwise from outside when a follows b around the
        // base, which is wound counter-clockwise seen from below.
        const float* a = kBase[(side + 1) % 4];
        const float* b = kBase[side];
        const float e1[3] = {kApex[0] - a[0], kApex[1] - a[1], kApex[2] - a[2]};
        const float e2[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
        float n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
        const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        for (float& c : n) c /= length;
        const float* corners[3] = {a, b, kApex};  // rows first, second, third
        for (uint32_t c = 0; c < 3; ++c) {
            float* row = vertices->Row(4 + side * 3 + c);
            for (int k = 0; k < 3; ++k) row[k] = corners[c][k], row[3 + k] = n[k];
        }
    }
    return AddSubObject(info, VertexAttribute::Position | VertexAttribute::Normal, std::move(vertices),
                        DataBuffer<uint32_t>::Create(18, 1, kPyramidIndices));
}

bool BuildTables(uint32_t type, MeshCreationInfo& info) {
    using namespace SimpleMeshType;
    constexpr uint32_t kPosition = VertexAttribute::Position;
    switch (type) {
        case Axis3D: return AddTable(info, kPosition | VertexAttribute::Diffuse, kAxis3DVertices, 6, kAxis3DIndices, 6);
        case GridXZ:
        case GridXY: return BuildGrid(info, type == GridXZ);
        case AxisXZ:
        case AxisXY: return AddTable(info, kPosition, kGridAxisVertices, 4, kGridAxisIndices, 4);
        case BoundingBox: return AddTable(info, kPosition, kUnitCubeCorners, 8, kBoxLineIndices, 24);
        case LightPoint:
            info.primitiveType = PrimitiveType::Triangles;
            return AddTable(info, kPosition, kUnitCubeCorners, 8, kLightPointIndices, 36);
        case LightRay: return AddTable(info, kPosition, kLightRayVertices, 4, kLightRayIndices, 6);
        case LightRaySpot: return AddTable(info, kPosition, kLightRaySpotVertices, 4, kLightRayIndices, 6);
        case Circle:
        case CircleUI: return BuildCircle(info);
        case SphereCrosshair:
        case SphereCrosshairUI: return SimpleMeshFactory::CreateArcs(kCrosshairSpanDegrees, kCrosshairRadius, info);
        case ExampleCubeVertexColor:
            info.primitiveType = PrimitiveType::Triangles;
            return BuildExampleCube(info, kPosition | VertexAttribute::Normal | VertexAttribute::Diffuse);
        case ExampleCubeMaterial:
            info.primitiveType = PrimitiveType::Triangles;
            return BuildExampleCube(info, kPosition | VertexAttribute::Normal);
        case ExampleCubeTexture:
            info.primitiveType = PrimitiveType::Triangles;
            return BuildExampleCube(info, kPosition | VertexAttribute::Normal | VertexAttribute::TexCoord0);
        case ExamplePyramidVertexColor: info.primitiveType = PrimitiveType::Triangles; return BuildExamplePyramid(info);
        default: return false;
    }
}

}  // namespace

void SimpleMeshFactory::SetMeshManagerLookup(MeshManagerLookup lookup) {
    g_meshManagerLookup.store(lookup, std::memory_order_release);
}

SimpleMeshFactory::MeshManagerLookup SimpleMeshFactory::GetMeshManagerLookup() {
    return g_meshManagerLookup.load(std::memory_order_acquire);
}

const char* SimpleMeshFactory::MeshName(uint32_t type) { return type < SimpleMeshType::Count ? kNames[type] : nullptr; }

std::shared_ptr<DataBuffer<uint32_t>> SimpleMeshFactory::CreateGridIndexBuffer(uint32_t count) {
    auto indices = DataBuffer<uint32_t>::Create(count, 1);
    if (!indices) {
        Logger::Log(LogLevel::Error, "CreateGridIndexBuffer - OUT OF MEMORY!");
        return {};
    }
    for (uint32_t i = 0; i < count; ++i) indices->Data()[i] = i;
    return indices;
}

std::shared_ptr<DataBuffer<uint32_t>> SimpleMeshFactory::CreateCircleIndexBuffer(uint32_t count) {
    auto indices = count > UINT32_MAX / 2 ? nullptr : DataBuffer<uint32_t>::Create(count * 2, 1);
    if (!indices) {
        Logger::Log(LogLevel::Error, "CreateCircleIndexBuffer() - OUT OF MEMORY!");
        return {};
    }
    uint32_t* p = indices->Data();
    for (uint32_t i = 0; i < count; ++i) {
        p[2 * i] = i;
        p[2 * i + 1] = i + 1 < count ? i + 1 : 0;
    }
    return indices;
}

bool SimpleMeshFactory::CreateArcs(float spanDegrees, float radius, MeshCreationInfo& info) {
    if (!(spanDegrees >= 5.0f) || radius == 0.0f || !std::isfinite(radius) || spanDegrees > 360.0f) return false;
    const uint32_t points = uint32_t(std::floor(spanDegrees * 180.0f / 360.0f)) + 1;
    auto arc = DataBuffer<float>::Create(points, 3);
    auto mirror = DataBuffer<float>::Create(points, 3);
    if (!arc || !mirror) return false;
    const double start = -double(spanDegrees) * 0.5 * kPi / 180.0;
    for (uint32_t i = 0; i < points; ++i) {
        const double a = start + double(i) * double(kArcStepRadians);
        const float s = float(std::sin(a)) * radius;
        const float c = float(std::cos(a)) * radius - radius;
        float* v = arc->Row(i);
        v[0] = 0.0f, v[1] = s, v[2] = c;
        float* m = mirror->Row(i);
        m[0] = s, m[1] = 0.0f, m[2] = c;
    }
    return AddSubObject(info, VertexAttribute::Position, std::move(arc), CreateCircleIndexBuffer(points)) &&
           AddSubObject(info, VertexAttribute::Position, std::move(mirror), CreateCircleIndexBuffer(points));
}

bool SimpleMeshFactory::BuildCreationInfo(uint32_t type, MeshCreationInfo& info) {
    if (type >= SimpleMeshType::Count) return false;
    info = MeshCreationInfo{};
    info.name = kNames[type];
    info.primitiveType = PrimitiveType::Lines;
    info.calculateBoundingBox = true;
    try {
        return BuildTables(type, info);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool SimpleMeshFactory::BuildScreenQuadInfo(MeshCreationInfo& info) {
    info = MeshCreationInfo{};
    info.name = kScreenQuadName;
    info.primitiveType = PrimitiveType::Triangles;
    info.calculateBoundingBox = true;
    try {
        return AddTable(info, VertexAttribute::Position | VertexAttribute::TexCoord0, kScreenQuadVertices, 4,
                        kScreenQuadIndices, 6);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::shared_ptr<Mesh> SimpleMeshFactory::GetCreateMesh(SceneHandle handle, uint32_t type) {
    return GetCreate(handle, type < SimpleMeshType::Count ? kNames[type] : nullptr, false, type);
}

std::shared_ptr<Mesh> SimpleMeshFactory::CreateScreenQuad(SceneHandle handle) {
    return GetCreate(handle, kScreenQuadName, true, 0);
}

std::shared_ptr<Mesh> SimpleMeshFactory::GetCreate(SceneHandle handle, const char* name, bool screenQuad,
                                                   uint32_t type) {
    const MeshManagerLookup lookup = g_meshManagerLookup.load(std::memory_order_acquire);
    MeshManager* meshes = handle != 0 && lookup ? lookup(handle) : nullptr;
    if (meshes == nullptr) return {};
    if (name == nullptr) {
        Logger::Log(LogLevel::Error, "Invalid Mesh type for SimpleMeshFactory -> NOT CREATED!");
        return {};
    }
    if (auto existing = meshes->GetMesh(name)) return existing;

    MeshCreationInfo info;
    const bool built = screenQuad ? BuildScreenQuadInfo(info) : BuildCreationInfo(type, info);
    std::shared_ptr<Mesh> mesh = built ? Mesh::Create(info) : nullptr;
    if (!mesh) {
        Logger::Log(LogLevel::Error, "SimpleMeshFactory::GetCreateMesh - FAILED TO CREATE BASIC MESH");
        return {};
    }
    meshes->AddMesh(name, mesh);
    return mesh;
}

}  // namespace Velmora::Rendering
