// Helper geometry: the vertex and index tables of every type, and the per-scene registration.

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

#include "GLTestEnvironment.h"
#include "rendering/SimpleMeshFactory.h"
#include "shader_test_support.h"
#include "support/LogCapture.h"

namespace {

using namespace Velmora::Rendering;
using kestrum_test::FakeScenes;
using Velmora::Test::LogCapture;

MeshCreationInfo Build(uint32_t type) {
    MeshCreationInfo info;
    EXPECT_TRUE(SimpleMeshFactory::BuildCreationInfo(type, info)) << type;
    return info;
}

std::vector<float> Rows(const MeshSubObjectData& data) {
    return std::vector<float>(data.vertices->Data(), data.vertices->Data() + data.vertices->ElementCount());
}
std::vector<uint32_t> Indices(const MeshSubObjectData& data) {
    return std::vector<uint32_t>(data.indices->Data(), data.indices->Data() + data.indices->ElementCount());
}

const std::vector<float> kCubeCorners = {0.5f,  -0.5f, 0.5f,  -0.5f, -0.5f, 0.5f,  -0.5f, -0.5f, -0.5f, 0.5f, -0.5f, -0.5f,
                                         0.5f,  0.5f,  0.5f,  -0.5f, 0.5f,  0.5f,  -0.5f, 0.5f,  -0.5f, 0.5f, 0.5f,  -0.5f};

TEST(HelperMeshTest, FixedTablesMatchTheirDefinitions) {
    MeshCreationInfo axis = Build(SimpleMeshType::Axis3D);
    EXPECT_EQ(axis.name, "___Axis3D");
    EXPECT_EQ(axis.primitiveType, PrimitiveType::Lines);
    ASSERT_EQ(axis.subObjects.size(), 1u);
    EXPECT_EQ(axis.subObjects[0].attributes, 0x500u);
    EXPECT_EQ(Rows(axis.subObjects[0]),
              (std::vector<float>{-0.5f, 0, 0, 0.1f, 0, 0, 1, 0.5f, 0, 0, 1, 0, 0, 1, 0, -0.5f, 0, 0, 0.1f, 0, 1,
                                  0, 0.5f, 0, 0, 1, 0, 1, 0, 0, -0.5f, 0, 0, 0.1f, 1, 0, 0, 0.5f, 0, 0, 1, 1}));
    EXPECT_EQ(Indices(axis.subObjects[0]), (std::vector<uint32_t>{0, 1, 2, 3, 4, 5}));

    // Both grid axes carry the same lines under their own names.
    for (uint32_t type : {SimpleMeshType::AxisXZ, SimpleMeshType::AxisXY}) {
        MeshCreationInfo info = Build(type);
        EXPECT_EQ(info.subObjects[0].attributes, 0x100u);
        EXPECT_EQ(Rows(info.subObjects[0]), (std::vector<float>{0, -0.5f, 0, 0, 0.5f, 0, -0.5f, 0, 0, 0.5f, 0, 0}));
        EXPECT_EQ(Indices(info.subObjects[0]), (std::vector<uint32_t>{0, 1, 2, 3}));
    }
    EXPECT_EQ(Build(SimpleMeshType::AxisXZ).name, "___AxisXZ");
    EXPECT_EQ(Build(SimpleMeshType::AxisXY).name, "___AxisXY");

    MeshCreationInfo box = Build(SimpleMeshType::BoundingBox);
    EXPECT_EQ(box.name, "___BBox");
    EXPECT_EQ(box.primitiveType, PrimitiveType::Lines);
    EXPECT_EQ(Rows(box.subObjects[0]), kCubeCorners);
    EXPECT_EQ(Indices(box.subObjects[0]),
              (std::vector<uint32_t>{0, 1, 1, 2, 2, 3, 3, 0, 4, 5, 5, 6, 6, 7, 7, 4, 0, 4, 1, 5, 2, 6, 3, 7}));

    MeshCreationInfo point = Build(SimpleMeshType::LightPoint);
    EXPECT_EQ(point.name, "___LightPoint");
    EXPECT_EQ(point.primitiveType, PrimitiveType::Triangles);
    EXPECT_EQ(Rows(point.subObjects[0]), kCubeCorners);
    EXPECT_EQ(Indices(point.subObjects[0]), (std::vector<uint32_t>{0, 1, 2, 0, 2, 3, 4, 6, 5, 4, 7, 6, 0, 4, 1, 4, 5, 1,
                                                                    2, 7, 3, 2, 6, 7, 1, 5, 2, 2, 5, 6, 3, 7, 0, 7, 4, 0}));

    MeshCreationInfo ray = Build(SimpleMeshType::LightRay);
    EXPECT_EQ(ray.name, "___LightRay");
    EXPECT_EQ(Rows(ray.subObjects[0]), (std::vector<float>{-100, 0, 0, 100, 0, 0, 90, -5, 0, 90, 5, 0}));
    EXPECT_EQ(Indices(ray.subObjects[0]), (std::vector<uint32_t>{0, 1, 1, 2, 1, 3}));
    MeshCreationInfo spot = Build(SimpleMeshType::LightRaySpot);
    EXPECT_EQ(spot.name, "___LightRay_Spot");
    EXPECT_EQ(Rows(spot.subObjects[0]), (std::vector<float>{0, 0, 0, 10, 0, 0, 9, -0.5f, 0, 9, 0.5f, 0}));
    EXPECT_EQ(Indices(spot.subObjects[0]), (std::vector<uint32_t>{0, 1, 1, 2, 1, 3}));

    MeshCreationInfo quad;
    ASSERT_TRUE(SimpleMeshFactory::BuildScreenQuadInfo(quad));
    EXPECT_EQ(quad.name, "___ScreenQuad");
    EXPECT_EQ(quad.primitiveType, PrimitiveType::Triangles);
    EXPECT_EQ(quad.subObjects[0].attributes, 0x101u);
    EXPECT_EQ(Rows(quad.subObjects[0]),
              (std::vector<float>{-1, -1, 0, 0, 0, 1, -1, 0, 1, 0, -1, 1, 0, 0, 1, 1, 1, 0, 1, 1}));
    EXPECT_EQ(Indices(quad.subObjects[0]), (std::vector<uint32_t>{0, 1, 2, 2, 1, 3}));
}

TEST(HelperMeshTest, GridsLeaveOutTheCentreLines) {
    for (uint32_t type : {SimpleMeshType::GridXZ, SimpleMeshType::GridXY}) {
        MeshCreationInfo grid = Build(type);
        ASSERT_EQ(grid.subObjects.size(), 1u);
        const MeshSubObjectData& data = grid.subObjects[0];
        EXPECT_EQ(data.attributes, 0x100u);
        ASSERT_EQ(data.vertices->Count(), 40u);
        std::vector<uint32_t> expected(40);
        for (uint32_t i = 0; i < 40; ++i) expected[i] = i;
        EXPECT_EQ(Indices(data), expected);

        const uint32_t flat = type == SimpleMeshType::GridXZ ? 1 : 2;  // the coordinate that stays 0
        const uint32_t second = 3 - flat;
        // i = 0: lines along the second axis at x = 0.1 and -0.1, then along x at 0.1 and -0.1.
        const float* v = data.vertices->Data();
        EXPECT_FLOAT_EQ(v[0], 0.1f);
        EXPECT_FLOAT_EQ(v[second], -0.5f);
        EXPECT_FLOAT_EQ(v[3 + second], 0.5f);
        EXPECT_FLOAT_EQ(v[6], -0.1f);
        EXPECT_FLOAT_EQ(v[12], -0.5f);
        EXPECT_FLOAT_EQ(v[12 + second], 0.1f);
        EXPECT_FLOAT_EQ(v[15], 0.5f);
        EXPECT_FLOAT_EQ(v[21 + second], -0.1f);
        std::set<int> offsets;
        for (uint32_t row = 0; row < 40; ++row) {
            const float* r = data.vertices->Row(row);
            EXPECT_EQ(r[flat], 0.0f);
            // Every line has one end at -0.5 and the other at 0.5 along its own axis, and the
            // other coordinate at one of +-0.1 .. +-0.5, never 0.
            const float along = row % 8 < 4 ? r[second] : r[0];
            const float across = row % 8 < 4 ? r[0] : r[second];
            EXPECT_FLOAT_EQ(along, row % 2 == 0 ? -0.5f : 0.5f);
            EXPECT_NE(across, 0.0f);
            offsets.insert(int(std::lround(across * 10)));
        }
        EXPECT_EQ(offsets, (std::set<int>{-5, -4, -3, -2, -1, 1, 2, 3, 4, 5}));
    }
}

TEST(HelperMeshTest, CircleAndArcs) {
    for (uint32_t type : {SimpleMeshType::Circle, SimpleMeshType::CircleUI}) {
        MeshCreationInfo circle = Build(type);
        const MeshSubObjectData& data = circle.subObjects[0];
        ASSERT_EQ(data.vertices->Count(), 180u);
        const float* r = data.vertices->Row(45);  // 90 degrees
        EXPECT_NEAR(r[0], 0.0f, 1e-6f);
        EXPECT_NEAR(r[1], 1.0f, 1e-6f);
        EXPECT_EQ(r[2], 0.0f);
        const std::vector<uint32_t> indices = Indices(data);
        ASSERT_EQ(indices.size(), 360u);
        EXPECT_EQ(indices[0], 0u);
        EXPECT_EQ(indices[1], 1u);
        EXPECT_EQ(indices[356], 178u);
        EXPECT_EQ(indices[358], 179u);
        EXPECT_EQ(indices[359], 0u);
    }
    EXPECT_EQ(Build(SimpleMeshType::Circle).name, "___Circle");
    EXPECT_EQ(Build(SimpleMeshType::SphereCrosshair).name, "___SphereCrosshair");

    MeshCreationInfo arcs = Build(SimpleMeshType::SphereCrosshair);
    ASSERT_EQ(arcs.subObjects.size(), 2u);
    // 20 degrees in 2-degree steps: 11 points from -10 to +10 degrees.
    const DataBuffer<float>& arc = *arcs.subObjects[0].vertices;
    const DataBuffer<float>& mirror = *arcs.subObjects[1].vertices;
    ASSERT_EQ(arc.Count(), 11u);
    ASSERT_EQ(mirror.Count(), 11u);
    const float a = -10.0f * 3.14159265f / 180.0f;
    EXPECT_FLOAT_EQ(arc.Row(0)[1], std::sin(a));
    EXPECT_FLOAT_EQ(arc.Row(0)[2], std::cos(a) - 1.0f);
    EXPECT_EQ(arc.Row(0)[0], 0.0f);
    EXPECT_NEAR(arc.Row(5)[1], 0.0f, 1e-6f);  // the middle point is the origin
    EXPECT_NEAR(arc.Row(5)[2], 0.0f, 1e-6f);
    EXPECT_FLOAT_EQ(mirror.Row(10)[0], std::sin(-a));
    EXPECT_EQ(mirror.Row(10)[1], 0.0f);
    EXPECT_EQ(Indices(arcs.subObjects[1]).size(), 22u);

    MeshCreationInfo info;
    EXPECT_FALSE(SimpleMeshFactory::CreateArcs(4.9f, 1.0f, info));
    EXPECT_FALSE(SimpleMeshFactory::CreateArcs(20.0f, 0.0f, info));
    EXPECT_TRUE(SimpleMeshFactory::CreateArcs(5.0f, 2.0f, info));
    EXPECT_EQ(info.subObjects[0].vertices->Count(), 3u);
}

TEST(HelperMeshTest, IndexHelpers) {
    auto grid = SimpleMeshFactory::CreateGridIndexBuffer(5);
    ASSERT_NE(grid, nullptr);
    EXPECT_EQ(std::vector<uint32_t>(grid->Data(), grid->Data() + 5), (std::vector<uint32_t>{0, 1, 2, 3, 4}));
    auto circle = SimpleMeshFactory::CreateCircleIndexBuffer(3);
    ASSERT_NE(circle, nullptr);
    EXPECT_EQ(std::vector<uint32_t>(circle->Data(), circle->Data() + 6), (std::vector<uint32_t>{0, 1, 1, 2, 2, 0}));

    LogCapture log;
    EXPECT_EQ(SimpleMeshFactory::CreateCircleIndexBuffer(0x80000000u), nullptr);
    EXPECT_TRUE(log.Has("CreateCircleIndexBuffer() - OUT OF MEMORY!", 1));
}

TEST(HelperMeshTest, ExampleShapesAreClosedAndOutwardFacing) {
    const uint32_t attributes[] = {0x700, 0x300, 0x301};
    for (uint32_t k = 0; k < 3; ++k) {
        MeshCreationInfo cube = Build(SimpleMeshType::ExampleCubeVertexColor + k);
        EXPECT_EQ(cube.primitiveType, PrimitiveType::Triangles);
        const MeshSubObjectData& data = cube.subObjects[0];
        EXPECT_EQ(data.attributes, attributes[k]);
        ASSERT_EQ(data.vertices->Count(), 24u);
        const std::vector<uint32_t> indices = Indices(data);
        ASSERT_EQ(indices.size(), 36u);
        // Each triangle's winding agrees with its stored normal, and the normal points away
        // from the centre.
        for (size_t t = 0; t < 36; t += 3) {
            const float* p0 = data.vertices->Row(indices[t]);
            const float* p1 = data.vertices->Row(indices[t + 1]);
            const float* p2 = data.vertices->Row(indices[t + 2]);
            const float e1[3] = {p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
            const float e2[3] = {p2[0] - p0[0], p2[1] - p0[1], p2[2] - p0[2]};
            const float n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
            EXPECT_GT(n[0] * p0[3] + n[1] * p0[4] + n[2] * p0[5], 0.0f) << k << " " << t;
            EXPECT_GT(p0[0] * p0[3] + p0[1] * p0[4] + p0[2] * p0[5], 0.0f) << k << " " << t;
        }
    }
    EXPECT_EQ(Build(SimpleMeshType::ExampleCubeTexture).name, "___ExampleCube_Texture");

    MeshCreationInfo pyramid = Build(SimpleMeshType::ExamplePyramidVertexColor);
    EXPECT_EQ(pyramid.name, "____ExamplePyramid_VertexColor");
    EXPECT_EQ(pyramid.primitiveType, PrimitiveType::Triangles);
    const MeshSubObjectData& data = pyramid.subObjects[0];
    EXPECT_EQ(data.attributes, 0x300u);
    ASSERT_EQ(data.vertices->Count(), 18u);
    const std::vector<uint32_t> indices = Indices(data);
    EXPECT_EQ(indices, (std::vector<uint32_t>{0, 1, 2, 0, 2, 3, 4, 6, 5, 7, 9, 8, 10, 12, 11, 13, 15, 14}));
    for (size_t t = 0; t < indices.size(); t += 3) {
        const float* p0 = data.vertices->Row(indices[t]);
        const float* p1 = data.vertices->Row(indices[t + 1]);
        const float* p2 = data.vertices->Row(indices[t + 2]);
        const float e1[3] = {p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
        const float e2[3] = {p2[0] - p0[0], p2[1] - p0[1], p2[2] - p0[2]};
        const float n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
        EXPECT_GT(n[0] * p0[3] + n[1] * p0[4] + n[2] * p0[5], 0.0f) << t;
    }
}

TEST(HelperMeshTest, UnknownTypesAndScenes) {
    MeshCreationInfo info;
    EXPECT_FALSE(SimpleMeshFactory::BuildCreationInfo(SimpleMeshType::Count, info));
    EXPECT_EQ(SimpleMeshFactory::MeshName(SimpleMeshType::Count), nullptr);

    FakeScenes scenes;
    scenes.Add(1, 1);
    LogCapture log;
    EXPECT_EQ(SimpleMeshFactory::GetCreateMesh(1, 17), nullptr);
    EXPECT_TRUE(log.Has("Invalid Mesh type for SimpleMeshFactory -> NOT CREATED!", 1));
    log.Clear();
    EXPECT_EQ(SimpleMeshFactory::GetCreateMesh(2, SimpleMeshType::Axis3D), nullptr);
    EXPECT_EQ(SimpleMeshFactory::GetCreateMesh(0, SimpleMeshType::Axis3D), nullptr);
    EXPECT_EQ(log.Count("", 1), 0u);  // "" is in every line: no error line at all
}

TEST(HelperMeshTest, MeshesAreBuiltOncePerScene) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    FakeScenes scenes;
    scenes.Add(1, 1);
    scenes.Add(2, 1);
    for (uint32_t type = 0; type < SimpleMeshType::Count; ++type) {
        auto mesh = SimpleMeshFactory::GetCreateMesh(1, type);
        ASSERT_NE(mesh, nullptr) << type;
        EXPECT_EQ(mesh->GetName(), SimpleMeshFactory::MeshName(type));
        EXPECT_EQ(scenes.Meshes(1).GetMesh(mesh->GetName()), mesh);
        EXPECT_EQ(SimpleMeshFactory::GetCreateMesh(1, type), mesh) << type;
    }
    EXPECT_EQ(scenes.Meshes(1).GetMeshes().size(), size_t(SimpleMeshType::Count));

    auto circle = SimpleMeshFactory::GetCreateMesh(1, SimpleMeshType::Circle);
    EXPECT_EQ(circle->GetNumberOfPrimitivesForSubObject(0), 180u);
    EXPECT_EQ(SimpleMeshFactory::GetCreateMesh(1, SimpleMeshType::SphereCrosshair)->GetSubObjectCount(), 2u);

    // Another scene gets meshes of its own.
    auto quad = SimpleMeshFactory::CreateScreenQuad(2);
    ASSERT_NE(quad, nullptr);
    EXPECT_EQ(quad->GetName(), "___ScreenQuad");
    EXPECT_EQ(quad->GetNumberOfPrimitivesForSubObject(0), 2u);
    EXPECT_EQ(SimpleMeshFactory::CreateScreenQuad(2), quad);
    EXPECT_NE(SimpleMeshFactory::GetCreateMesh(2, SimpleMeshType::Axis3D), SimpleMeshFactory::GetCreateMesh(1, SimpleMeshType::Axis3D));
    EXPECT_EQ(kestrum_test::TakeGLError(), "");
}

}  // namespace
