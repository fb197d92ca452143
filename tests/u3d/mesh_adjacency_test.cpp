// AdjacencySet and AuthorMeshPool on their own: ordered face sets that survive growth and
// removal, neighbourhood queries ranked from the top, and the pool's removal bookkeeping.

#include <gtest/gtest.h>

#include "mesh_support.h"
#include "u3d/CLODMeshData.h"

namespace {

using namespace Velmora::U3D;
using Velmora::U3D::Test::ScopedLogCapture;

std::shared_ptr<AuthorMesh> MakeMesh(const std::string& name, uint32_t positions, uint32_t faces,
                                     std::vector<ShadingDescription> shadings) {
    auto data = std::make_shared<CLODMeshData>();
    data->blockKind = BlockType::CLODMeshDeclaration;
    data->meshName = name;
    data->positionCount = positions;
    data->faceCount = faces;
    data->shadingCount = static_cast<uint32_t>(shadings.size());
    data->shadingDescriptions = std::move(shadings);
    return AuthorMesh::Create(data);
}

std::vector<uint32_t> Faces(AdjacencySet& set, uint32_t position) {
    std::span<const uint32_t> faces;
    EXPECT_TRUE(set.GetFaceSet(position, faces));
    return {faces.begin(), faces.end()};
}

TEST(Adjacency, FaceSetsStaySortedThroughGrowthAndRemoval) {
    ScopedLogCapture log;
    auto mesh = MakeMesh("A", 4, 100, {ShadingDescription{}});
    ASSERT_TRUE(mesh);
    AdjacencySet& set = mesh->adjacencySet;
    // Out-of-order inserts, duplicates and enough members to move the run several times.
    std::vector<uint32_t> expected;
    for (uint32_t i = 0; i < 40; ++i) {
        const uint32_t face = (i * 37) % 41;
        set.AddFace(2, face);
        set.AddFace(2, face);
        expected.push_back(face);
        set.AddFace(1, i);  // interleaved growth of another position
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(Faces(set, 2), expected);
    set.Remove(2, expected[5]);
    set.Remove(2, 999);  // absent: no effect
    expected.erase(expected.begin() + 5);
    EXPECT_EQ(Faces(set, 2), expected);
    EXPECT_EQ(Faces(set, 1).size(), 40u);
    EXPECT_TRUE(Faces(set, 3).empty());
    EXPECT_TRUE(log.capture->AtLevel(1).empty());
}

TEST(Adjacency, PositionsBeyondTheDeclarationAreRefusedOrIgnored) {
    ScopedLogCapture log;
    auto mesh = MakeMesh("B", 3, 10, {ShadingDescription{}});
    ASSERT_TRUE(mesh);
    mesh->adjacencySet.AddFace(3, 0);  // ignored, silently
    std::span<const uint32_t> faces;
    EXPECT_FALSE(mesh->adjacencySet.GetFaceSet(3, faces));
    EXPECT_TRUE(log.capture->Contains("AdjacencySet::GetFaceSet - invalid index!"));
    mesh->adjacencySet.Remove(7, 0);
    EXPECT_TRUE(log.capture->Contains("AdjacencySet::Remove - invalid index!"));
    IndexSet out;
    EXPECT_FALSE(mesh->adjacencySet.GetTexCoordSet(4, 0, out));
    EXPECT_TRUE(log.capture->Contains(
        "AdjacencySet::GetTexCoordSet: invalid texture layers, currently only 4 supported"));
}

TEST(Adjacency, AttributeSetsTakeTheCornerOfThePositionAndRankFromTheTop) {
    ShadingDescription colored;
    colored.shadingAttributes = ShadingDescription::kDiffuse;
    colored.layerCount = 1;
    auto mesh = MakeMesh("C", 4, 10, {colored, ShadingDescription{}});
    ASSERT_TRUE(mesh);
    auto* data = mesh->ContinuationAs<CLODMeshContinuationData>();
    CLODFace f0, f1, f2;
    f0.positions = {0, 1, 2};
    f0.diffuse = {7, 3, 9};
    f0.texCoords[0] = {4, 5, 6};
    f1.positions = {2, 1, 3};
    f1.diffuse = {1, 8, 2};
    f2.positions = {1, 0, 3};
    f2.shadingId = 1;  // no diffuse: not part of the colour set
    f2.diffuse = {11, 11, 11};
    for (const CLODFace& f : {f0, f1, f2}) {
        const uint32_t index = data->primitiveCount;
        data->AddFace(f);
        for (uint32_t p : f.positions) mesh->adjacencySet.AddFace(p, index);
    }
    IndexSet set;
    ASSERT_TRUE(mesh->adjacencySet.GetDiffuseColorSet(1, set));
    ASSERT_EQ(set.size(), 2u);
    EXPECT_EQ(set[0], 8u);  // rank 0 is the largest member
    EXPECT_EQ(set[1], 3u);
    ASSERT_TRUE(mesh->adjacencySet.GetTexCoordSet(0, 2, set));
    EXPECT_EQ(std::vector<uint32_t>(set.begin(), set.end()), (std::vector<uint32_t>{6, 0}));
    IndexSet positions;
    std::span<const uint32_t> faces;
    ASSERT_TRUE(mesh->adjacencySet.GetFaceSet(3, faces));
    ASSERT_TRUE(mesh->adjacencySet.GetPositionSet(faces, positions));
    EXPECT_EQ(std::vector<uint32_t>(positions.begin(), positions.end()), (std::vector<uint32_t>{3, 2, 1, 0}));
}

TEST(MeshPool, RemovalIsRememberedAndLogged) {
    ScopedLogCapture log;
    AuthorMeshPool pool;
    ASSERT_TRUE(pool.AddMesh(MakeMesh("M", 3, 1, {ShadingDescription{}})));
    EXPECT_FALSE(pool.AddMesh(nullptr));
    EXPECT_FALSE(pool.FindMesh(""));
    EXPECT_TRUE(log.capture->Contains("AuthorMeshPool::FindMesh with empty meshName"));
    pool.RemoveMesh("M");
    EXPECT_TRUE(pool.WasRemoved("M"));
    EXPECT_FALSE(pool.FindMesh("M"));
    pool.RemoveMesh("M");
    EXPECT_TRUE(log.capture->Contains(
        "AuthorMeshPool::RemoveMesh cannot remove mesh 'M', was not added previously"));
    // Declared again after its removal and removed once more: the second record is refused.
    ASSERT_TRUE(pool.AddMesh(MakeMesh("M", 3, 1, {ShadingDescription{}})));
    pool.RemoveMesh("M");
    EXPECT_TRUE(log.capture->Contains(
        "AuthorMeshPool::RemoveMesh cannot add mesh 'M' to list of removed meshes, DUPLICATE"));
    EXPECT_TRUE(pool.meshes.empty());
    EXPECT_EQ(log.capture->AtLevel(2).size(), 3u);
}

TEST(MeshPool, UnknownBlockKindMakesNoMesh) {
    ScopedLogCapture log;
    auto data = std::make_shared<CLODMeshData>();
    data->blockKind = 0xFFFFFF60;
    EXPECT_FALSE(AuthorMesh::Create(data));
    EXPECT_TRUE(log.capture->Contains("Invalid blockType AuthorMesh::Create()"));
}

}  // namespace
