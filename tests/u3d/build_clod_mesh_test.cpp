// The vertex buffers of renderable CLOD meshes: layout per shading id, generated flat normals,
// the zero tail of a mesh short of its declared faces, and the refusals.

#include <gtest/gtest.h>

#include <cmath>

#include "build_support.h"
#include "support/LogCapture.h"
#include "u3d/CLODMeshBuilder.h"

namespace {

using namespace Velmora::U3D;
using Velmora::Rendering::MeshCreationInfo;
using Velmora::Test::LogCapture;
using Velmora::U3D::Test::MeshMaker;
namespace VA = Velmora::Rendering::VertexAttribute;

// Square in the z = 0 plane, two faces, positions 0..3.
void AddSquare(MeshMaker& maker, uint32_t secondShadingId = 0) {
    auto& data = maker.Data();
    data.positions = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    maker.AddFace(0, 1, 2, 0);
    maker.AddFace(0, 2, 3, secondShadingId);
}

TEST(CLODMeshBuild, FlatNormalsAreGeneratedPerFaceWhenTheMeshHasNone) {
    MeshMaker maker("square", 2);
    AddSquare(maker);
    // A clockwise face must get the opposite normal: the cross product's order matters.
    maker.Data().positions.push_back({0, 0, 1});
    maker.Data().positions.push_back({0, 1, 1});
    maker.AddFace(4, 5, 0);
    maker.decl->faceCount = 3;
    LogCapture log;
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::GenerateMissing, info, oom));
    EXPECT_TRUE(log.Has("Mesh square is using GENERATED NORMALS", 3));
    ASSERT_EQ(info.subObjects.size(), 1u);
    const auto& sub = info.subObjects[0];
    EXPECT_EQ(sub.attributes, VA::Position | VA::Normal);
    ASSERT_EQ(sub.vertices->Count(), 9u);
    ASSERT_EQ(sub.vertices->Stride(), 6u);
    for (uint32_t v = 0; v < 6; ++v) {
        const float* row = sub.vertices->Row(v);
        EXPECT_FLOAT_EQ(row[3], 0.0f);
        EXPECT_FLOAT_EQ(row[4], 0.0f);
        EXPECT_FLOAT_EQ(row[5], 1.0f) << "vertex " << v;
    }
    // Face (0,0,1) (0,1,1) (0,0,0) lies in x = 0: normal along -x.
    for (uint32_t v = 6; v < 9; ++v) EXPECT_FLOAT_EQ(sub.vertices->Row(v)[3], -1.0f);
    // Positions are copied by corner.
    EXPECT_FLOAT_EQ(sub.vertices->Row(4)[0], 1.0f);
    EXPECT_FLOAT_EQ(sub.vertices->Row(4)[1], 1.0f);
}

TEST(CLODMeshBuild, NormalModesDecideBetweenReadAndGeneratedNormals) {
    MeshMaker maker("n", 2);
    AddSquare(maker);
    maker.decl->normalCount = 4;
    maker.decl->meshAttributes = 0;
    maker.Data().normals = {{0, 0, -1}, {0, 0, -1}, {0, 0, -1}, {0, 0, -1}};
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::GenerateMissing, info, oom));
    EXPECT_FLOAT_EQ(info.subObjects[0].vertices->Row(0)[5], -1.0f) << "normals as read";
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AlwaysGenerate, info, oom));
    EXPECT_FLOAT_EQ(info.subObjects[0].vertices->Row(0)[5], 1.0f) << "generated, ignoring the read ones";

    // No normals and no generation: positions only.
    maker.decl->normalCount = 0;
    maker.decl->meshAttributes = CLODMeshData::kNoNormals;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    EXPECT_EQ(info.subObjects[0].attributes, VA::Position);
}

TEST(CLODMeshBuild, ContradictoryNormalDeclarationIsLoggedAndReadsZeros) {
    MeshMaker maker("contra", 2);
    AddSquare(maker);
    maker.decl->normalCount = 4;  // declared, but the attribute bit says none were read
    LogCapture log;
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::GenerateMissing, info, oom));
    EXPECT_TRUE(log.Has("Mismatch between normalCount and attributeUseNormals!", 1));
    const float* row = info.subObjects[0].vertices->Row(0);
    EXPECT_EQ(info.subObjects[0].attributes, VA::Position | VA::Normal);
    EXPECT_FLOAT_EQ(row[3] * row[3] + row[4] * row[4] + row[5] * row[5], 0.0f);
}

TEST(CLODMeshBuild, SingleShadingIdIsSizedForDeclaredFacesWithZeroTail) {
    MeshMaker maker("short", 5);
    AddSquare(maker);
    maker.Data().positions[0] = {7, 8, 9};
    LogCapture log;
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    EXPECT_TRUE(log.Has("AuthorMesh CLODMesh incomplete: 2/5", 2));
    const auto& v = *info.subObjects[0].vertices;
    ASSERT_EQ(v.Count(), 15u);
    EXPECT_FLOAT_EQ(v.Row(0)[0], 7.0f);
    for (uint32_t r = 6; r < 15; ++r)
        for (uint32_t k = 0; k < v.Stride(); ++k) ASSERT_EQ(v.Row(r)[k], 0.0f);

    // A hostile declaration does not allocate beyond the bound.
    maker.decl->faceCount = 0xFFFFFFF0u;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    EXPECT_EQ(info.subObjects[0].vertices->Count(), (2u + kMaxMissingFaces) * 3u);
}

TEST(CLODMeshBuild, SeveralShadingIdsGetOneBufferEachWithTheirOwnLayout) {
    MeshMaker maker("multi", 2, {0, 2});
    AddSquare(maker, 1);
    auto& data = maker.Data();
    maker.decl->diffuseCount = 4;
    maker.decl->texCoordCount = 4;
    data.diffuseColors = {{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}, {1, 1, 1, 1}};
    data.texCoords = {{0, 0, 0, 0}, {0.5f, 0, 0, 0}, {0.5f, 0.5f, 0, 0}, {0, 0.5f, 0, 0}};
    MeshCreationInfo info;
    bool oom = false;
    // The first description has no layers: no mesh group gets tex coords.
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    ASSERT_EQ(info.subObjects.size(), 2u);
    EXPECT_EQ(info.subObjects[1].attributes, VA::Position | VA::Diffuse);

    maker.decl->shadingDescriptions[0].layerCount = 1;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    EXPECT_EQ(info.subObjects[0].attributes, VA::Position | VA::Diffuse | VA::TexCoord(0));
    EXPECT_EQ(info.subObjects[1].attributes, VA::Position | VA::Diffuse | VA::TexCoord(0) | VA::TexCoord(1));
    ASSERT_EQ(info.subObjects[0].vertices->Count(), 3u);
    ASSERT_EQ(info.subObjects[1].vertices->Count(), 3u);
    // Second face (0, 2, 3), corner 1: position 2, diffuse 2, layer 0 coord 2, layer 1 coord
    // of the reversed corners (3, 2, 0) -> 2.
    const float* row = info.subObjects[1].vertices->Row(1);
    EXPECT_FLOAT_EQ(row[0], 1.0f);
    EXPECT_FLOAT_EQ(row[1], 1.0f);
    EXPECT_FLOAT_EQ(row[5], 1.0f);  // blue of diffuse 2
    EXPECT_FLOAT_EQ(row[7], 0.5f);
    EXPECT_FLOAT_EQ(row[8], 0.5f);
    const float* first = info.subObjects[1].vertices->Row(0);
    EXPECT_FLOAT_EQ(first[9], 0.0f);  // layer 1 of corner 0 is coord 3: (0, 0.5)
    EXPECT_FLOAT_EQ(first[10], 0.5f);
}

TEST(CLODMeshBuild, RefusesMeshesThatCannotBeBuilt) {
    LogCapture log;
    MeshCreationInfo info;
    bool oom = false;
    {
        MeshMaker empty("empty", 2);
        empty.Data();
        EXPECT_FALSE(BuildCLODMeshData(*empty.mesh, NormalMode::AsRead, info, oom));
        EXPECT_TRUE(log.Has("AuthorMesh CLODMesh without data: 'empty'", 2));
    }
    {
        MeshMaker noShading("noshading", 2);
        AddSquare(noShading);
        noShading.decl->shadingCount = 0;
        EXPECT_FALSE(BuildCLODMeshData(*noShading.mesh, NormalMode::AsRead, info, oom));
        EXPECT_TRUE(log.Has("Invalid shadingCount for CLODMesh 'noshading'", 1));
    }
    {
        MeshMaker badId("badid", 2, {0, 0});
        AddSquare(badId, 5);
        EXPECT_FALSE(BuildCLODMeshData(*badId.mesh, NormalMode::AsRead, info, oom));
        EXPECT_TRUE(log.Has("Invalid shadingID for face!", 1));
        EXPECT_FALSE(oom);
    }
    {
        // Indices beyond the arrays (never produced by the reader) read zeros, not memory.
        MeshMaker wild("wild", 1);
        wild.Data().positions = {{1, 1, 1}};
        wild.AddFace(0, 1000, 70000);
        ASSERT_TRUE(BuildCLODMeshData(*wild.mesh, NormalMode::AsRead, info, oom));
        EXPECT_FLOAT_EQ(info.subObjects[0].vertices->Row(1)[0], 0.0f);
    }
}

}  // namespace
