// Mesh blocks: declarations, base meshes, progressive updates, adjacency and index sets.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "mesh_support.h"
#include "u3d/AdjacencySet.h"
#include "u3d/CLODMeshData.h"
#include "u3dwriter/U3DWriter.h"

using namespace U3DWriter;

namespace {

using namespace Velmora::U3D;
using U3DWriter::BitStreamWriter;
using Velmora::U3D::Test::ReadMeshBlock;
using Velmora::U3D::Test::ScopedLogCapture;

struct Shading {
    uint32_t attributes = 0;
    std::vector<uint32_t> layers;
};

struct Declaration {
    std::string name = "Mesh";
    uint32_t attributes = 0;  // bit 0: no normals
    uint32_t faces = 8, positions = 8, normals = 16, diffuse = 0, specular = 0, texCoords = 0;
    std::vector<Shading> shadings{Shading{}};
    uint32_t maxResolution = 8;
    float quantPosition = 0.5f;
};

std::vector<uint8_t> DeclarationBlock(const Declaration& d) {
    BitStreamWriter w;
    w.WriteString(d.name);
    w.WriteU32(0);
    for (uint32_t v : {d.attributes, d.faces, d.positions, d.normals, d.diffuse, d.specular, d.texCoords,
                       static_cast<uint32_t>(d.shadings.size())})
        w.WriteU32(v);
    for (const Shading& s : d.shadings) {
        w.WriteU32(s.attributes);
        w.WriteU32(static_cast<uint32_t>(s.layers.size()));
        for (uint32_t dim : s.layers) w.WriteU32(dim);
        w.WriteU32(0);
    }
    w.WriteU32(0);
    w.WriteU32(d.maxResolution);
    for (int i = 0; i < 3; ++i) w.WriteU32(1000);
    for (float f : {d.quantPosition, 1.0f, 1.0f, 1.0f, 1.0f}) w.WriteF32(f);
    for (float f : {0.9f, 0.5f, 0.1f}) w.WriteF32(f);
    return w.Finish();
}

struct BaseFace {
    uint32_t shading = 0;
    std::array<uint32_t, 3> positions{}, normals{};
};

// A base block with P positions, N normals and faces (no colours, no tex coords).
std::vector<uint8_t> BaseBlock(const std::string& name, const std::vector<Vec3f>& positions,
                               const std::vector<Vec3f>& normals, const std::vector<BaseFace>& faces,
                               bool withNormals = true) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(0);
    const uint32_t P = static_cast<uint32_t>(positions.size());
    const uint32_t N = static_cast<uint32_t>(normals.size());
    for (uint32_t v : {static_cast<uint32_t>(faces.size()), P, N, 0u, 0u, 0u}) w.WriteU32(v);
    for (const Vec3f& p : positions)
        for (float c : p) w.WriteF32(c);
    for (const Vec3f& n : normals)
        for (float c : n) w.WriteF32(c);
    for (const BaseFace& f : faces) {
        w.WriteCompressedU32(1, f.shading);
        for (int c = 0; c < 3; ++c) {
            w.WriteCompressedU32(P + 1024, f.positions[c]);
            if (withNormals) w.WriteCompressedU32(N + 1024, f.normals[c]);
        }
    }
    return w.Finish();
}

class MeshBlocks : public testing::Test {
protected:
    bool Read(uint32_t type, const std::vector<uint8_t>& data) {
        return ReadMeshBlock(pool, type, data.data(), static_cast<uint32_t>(data.size()), false);
    }
    bool Declare(const Declaration& d) { return Read(BlockType::CLODMeshDeclaration, DeclarationBlock(d)); }
    CLODMeshContinuationData* Data(const std::string& name) {
        auto it = pool.meshes.find(name);
        return it == pool.meshes.end() ? nullptr : it->second->ContinuationAs<CLODMeshContinuationData>();
    }
    ScopedLogCapture log;
    AuthorMeshPool pool;
};

// Base mesh

const std::vector<Vec3f> kSquare = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
const std::vector<Vec3f> kUp = {{0, 0, 1}};

TEST_F(MeshBlocks, BaseMeshFillsArraysFacesAndAdjacency) {
    ASSERT_TRUE(Declare(Declaration{}));
    ASSERT_TRUE(Read(BlockType::CLODBaseMeshContinuation,
                     BaseBlock("Mesh", kSquare, kUp, {{0, {0, 1, 2}, {0, 0, 0}}, {0, {0, 2, 3}, {0, 0, 0}}})));
    auto* data = Data("Mesh");
    ASSERT_TRUE(data);
    EXPECT_EQ(data->positions, kSquare);
    EXPECT_EQ(data->normals, kUp);
    ASSERT_EQ(data->primitiveCount, 2u);
    EXPECT_EQ(data->primitives[1].positions, (std::array<uint32_t, 3>{0, 2, 3}));
    EXPECT_EQ(data->faceCorners[1].positions, data->primitives[1].positions);
    std::span<const uint32_t> faces;
    auto mesh = pool.FindMesh("Mesh");
    ASSERT_TRUE(mesh->adjacencySet.GetFaceSet(0, faces));
    EXPECT_EQ(std::vector<uint32_t>(faces.begin(), faces.end()), (std::vector<uint32_t>{0, 1}));
    ASSERT_TRUE(mesh->adjacencySet.GetFaceSet(3, faces));
    EXPECT_EQ(std::vector<uint32_t>(faces.begin(), faces.end()), (std::vector<uint32_t>{1}));
    EXPECT_TRUE(log.capture->AtLevel(1).empty());
}

TEST_F(MeshBlocks, BaseMeshWithShadingIdOutOfRangeCostsOnlyItsMesh) {
    Declaration other;
    other.name = "Other";
    ASSERT_TRUE(Declare(Declaration{}));
    ASSERT_TRUE(Declare(other));
    EXPECT_TRUE(Read(BlockType::CLODBaseMeshContinuation,
                     BaseBlock("Mesh", kSquare, kUp, {{0, {0, 1, 2}, {}}, {1, {0, 2, 3}, {}}})));
    EXPECT_TRUE(log.capture->Contains("Invalid shading ID for AuthorMesh 'Mesh'"));
    EXPECT_TRUE(
        log.capture->Contains("AuthorMesh 'Mesh' has been removed due to read error -> MESH WILL NOT BE CREATED!"));
    EXPECT_EQ(pool.meshes.count("Mesh"), 0u);
    EXPECT_EQ(pool.removedMeshes.count("Mesh"), 1u);
    ASSERT_TRUE(Read(BlockType::CLODBaseMeshContinuation, BaseBlock("Other", kSquare, kUp, {{0, {0, 1, 2}, {}}})));
    ASSERT_TRUE(Data("Other"));
    EXPECT_EQ(Data("Other")->primitiveCount, 1u);
}

TEST_F(MeshBlocks, BaseCountsBeyondDeclarationOrBlockAreRefusedBeforeAllocation) {
    ASSERT_TRUE(Declare(Declaration{}));
    for (uint32_t positions : {9u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(positions);
        Declaration d;
        d.name = "Big" + std::to_string(positions);
        d.positions = 0xFFFFFFFF;
        d.faces = 0xFFFFFFFF;
        ASSERT_TRUE(Declare(d));
        BitStreamWriter w;
        w.WriteString(d.name);
        w.WriteU32(0);
        for (uint32_t v : {1u, positions, 0u, 0u, 0u, 0u}) w.WriteU32(v);
        w.WriteF32(1.0f);  // far fewer floats than claimed
        EXPECT_TRUE(Read(BlockType::CLODBaseMeshContinuation, w.Finish()));
        EXPECT_EQ(pool.removedMeshes.count(d.name), 1u);
    }
    EXPECT_TRUE(log.capture->Contains("invalid counts in AuthorMesh 'Big9'"));
}

// Progressive updates

// Writes the updates of a tiny mesh without normals or attributes:
//   r0, r1: the first two positions; r2: face (0 2 1); r3: split position 1, new face
//   (3 1 2) on the right, and face 0 moves its corner from 1 to 3.
std::vector<uint8_t> TinyProgressive(const std::string& name, uint32_t start, uint32_t end) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(0);
    w.WriteU32(start);
    w.WriteU32(end);
    auto header = [&](uint32_t r, uint32_t split, uint32_t faces) {
        w.WriteCompressedU32(r + 1024, split);
        w.WriteCompressedU16(99, 0);
        w.WriteCompressedU16(101, 0);
        w.WriteCompressedU16(123, 0);
        w.WriteCompressedU32(1, faces);
    };
    auto position = [&](uint8_t sign, uint32_t x, uint32_t y, uint32_t z) {
        w.WriteCompressedU8(20, sign);
        w.WriteCompressedU32(21, x);
        w.WriteCompressedU32(22, y);
        w.WriteCompressedU32(23, z);
    };
    const auto wanted = [&](uint32_t r) { return start <= r && r < end; };
    if (wanted(0)) {  // position (2, 0, 0) from the origin (quantisation 0.5)
        header(0, 0, 0);
        position(0, 4, 0, 0);
    }
    if (wanted(1)) {  // position (0, 0, 0): split 0, x negated
        header(1, 0, 0);
        position(1, 4, 0, 0);
    }
    if (wanted(2)) {  // one face, orientation 1 (split, new, third), third = global 1
        header(2, 0, 1);
        w.WriteCompressedU32(65, 0);
        w.WriteCompressedU8(2, 1);
        w.WriteCompressedU8(3, 2);
        w.WriteCompressedU32(1026, 1);
        position(0, 0, 4, 0);  // (2, 2, 0)
    }
    if (wanted(3)) {
        // Split position 1; neighbours of 1 are {2, 0}, ranked from the top: local 0 is 2.
        header(3, 1, 1);
        w.WriteCompressedU32(65, 0);
        w.WriteCompressedU8(2, 2);  // orientation 2: new, split, third
        w.WriteCompressedU8(3, 1);  // local third
        w.WriteCompressedU32(4, 0);
        // Face 0 (0 2 1): split at corner 2, a = 0, b = 2 in rightThird -> class 2; moves.
        w.WriteCompressedU8(17, 1);
        position(0, 0, 4, 0);  // (0, 2, 0) from (0, 0, 0)
    }
    return w.Finish();
}

Declaration TinyDeclaration() {
    Declaration d;
    d.name = "Tiny";
    d.attributes = 1;  // no normals
    d.faces = 2;
    d.positions = 4;
    d.normals = 0;
    d.maxResolution = 4;
    return d;
}

TEST_F(MeshBlocks, ProgressiveUpdatesSplitMoveAndAddFaces) {
    ASSERT_TRUE(Declare(TinyDeclaration()));
    ASSERT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, TinyProgressive("Tiny", 0, 4)));
    EXPECT_TRUE(log.capture->AtLevel(1).empty());
    auto* data = Data("Tiny");
    ASSERT_TRUE(data);
    EXPECT_EQ(data->positions, (std::vector<Vec3f>{{2, 0, 0}, {0, 0, 0}, {2, 2, 0}, {0, 2, 0}}));
    ASSERT_EQ(data->primitiveCount, 2u);
    EXPECT_EQ(data->primitives[0].positions, (std::array<uint32_t, 3>{0, 2, 3}));
    EXPECT_EQ(data->primitives[1].positions, (std::array<uint32_t, 3>{3, 1, 2}));
    for (uint32_t i = 0; i < 2; ++i) EXPECT_EQ(data->faceCorners[i].positions, data->primitives[i].positions);
    auto mesh = pool.FindMesh("Tiny");
    std::span<const uint32_t> faces;
    ASSERT_TRUE(mesh->adjacencySet.GetFaceSet(1, faces));
    EXPECT_EQ(std::vector<uint32_t>(faces.begin(), faces.end()), (std::vector<uint32_t>{1}));
    ASSERT_TRUE(mesh->adjacencySet.GetFaceSet(3, faces));
    EXPECT_EQ(std::vector<uint32_t>(faces.begin(), faces.end()), (std::vector<uint32_t>{0, 1}));
}

TEST_F(MeshBlocks, ProgressiveUpdatesContinueAcrossBlocks) {
    ASSERT_TRUE(Declare(TinyDeclaration()));
    ASSERT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, TinyProgressive("Tiny", 0, 3)));
    ASSERT_EQ(Data("Tiny")->positions.size(), 3u);
    ASSERT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, TinyProgressive("Tiny", 3, 4)));
    EXPECT_TRUE(log.capture->AtLevel(1).empty());
    ASSERT_EQ(Data("Tiny")->primitiveCount, 2u);
    EXPECT_EQ(Data("Tiny")->primitives[0].positions, (std::array<uint32_t, 3>{0, 2, 3}));
}

TEST_F(MeshBlocks, SplitPositionBeyondThePositionsRemovesTheMesh) {
    ASSERT_TRUE(Declare(TinyDeclaration()));
    BitStreamWriter w;
    w.WriteString("Tiny");
    w.WriteU32(0);
    w.WriteU32(0);
    w.WriteU32(1);
    w.WriteCompressedU32(1024, 5);
    EXPECT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, w.Finish()));
    EXPECT_TRUE(log.capture->Contains("Invalid split position index for AuthorMesh 'Tiny' [Update 0]"));
    EXPECT_EQ(pool.removedMeshes.count("Tiny"), 1u);
}

TEST_F(MeshBlocks, TruncatedProgressiveBlockRemovesTheMeshWithoutCrash) {
    ASSERT_TRUE(Declare(TinyDeclaration()));
    auto block = TinyProgressive("Tiny", 0, 4);
    for (size_t cut = 12; cut < block.size(); cut += 3) {
        SCOPED_TRACE(cut);
        AuthorMeshPool local;
        ASSERT_TRUE(ReadMeshBlock(local, BlockType::CLODMeshDeclaration, DeclarationBlock(TinyDeclaration()).data(),
                                  static_cast<uint32_t>(DeclarationBlock(TinyDeclaration()).size()), false));
        std::vector<uint8_t> cutBlock(block.begin(), block.begin() + cut);
        EXPECT_TRUE(ReadMeshBlock(local, BlockType::CLODProgressiveMeshContinuation, cutBlock.data(),
                                  static_cast<uint32_t>(cutBlock.size()), false));
        if (local.meshes.count("Tiny")) {
            const auto* data = local.meshes["Tiny"]->ContinuationAs<CLODMeshContinuationData>();
            EXPECT_LE(data->primitiveCount, 2u);
        }
    }
}

TEST_F(MeshBlocks, CheaplyCodedCountsCannotGrowAMeshBeyondItsBlock) {
    Declaration d = TinyDeclaration();
    d.diffuse = 0xFFFFFFFF;
    d.shadings = {Shading{1, {}}};
    ASSERT_TRUE(Declare(d));
    BitStreamWriter w;
    w.WriteString("Tiny");
    w.WriteU32(0);
    w.WriteU32(0);
    w.WriteU32(1);
    w.WriteCompressedU32(1024, 0);
    w.WriteCompressedU16(99, 60000);
    for (int i = 0; i < 60000; ++i) {
        w.WriteCompressedU8(100, 0);
        for (uint32_t k = 0; k < 4; ++k) w.WriteCompressedU32(60 + k, 0);
    }
    const auto block = w.Finish();
    ASSERT_LT(block.size() * 8 + 4096, 60000u);
    EXPECT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, block));
    EXPECT_TRUE(log.capture->Contains("Invalid diffuse color count for AuthorMesh 'Tiny' [Update 0]"));
    EXPECT_EQ(pool.removedMeshes.count("Tiny"), 1u);
}

TEST_F(MeshBlocks, RandomBlocksNeverCrashOrOverrunTheDeclaration) {
    std::mt19937 random(12345);
    Declaration d;
    d.name = "Fuzz";
    d.shadings = {Shading{3, {2}}, Shading{0, {2, 2, 2, 2, 2}}};
    d.diffuse = d.specular = d.texCoords = 64;
    d.faces = 64;
    d.positions = 40;
    d.maxResolution = 40;
    const auto declaration = DeclarationBlock(d);
    for (int round = 0; round < 200; ++round) {
        AuthorMeshPool local;
        ASSERT_TRUE(ReadMeshBlock(local, BlockType::CLODMeshDeclaration, declaration.data(),
                                  static_cast<uint32_t>(declaration.size()), false));
        BitStreamWriter w;
        w.WriteString("Fuzz");
        w.WriteU32(0);
        w.WriteU32(0);
        w.WriteU32(random() % 48);
        std::vector<uint8_t> block = w.Finish();
        const size_t tail = 16 + random() % 400;
        for (size_t i = 0; i < tail; ++i) block.push_back(static_cast<uint8_t>(random()));
        const uint32_t type =
            round % 3 == 0 ? BlockType::CLODBaseMeshContinuation : BlockType::CLODProgressiveMeshContinuation;
        if (type == BlockType::CLODBaseMeshContinuation) block.erase(block.begin() + 6, block.begin() + 14);
        EXPECT_TRUE(ReadMeshBlock(local, type, block.data(), static_cast<uint32_t>(block.size()), round % 2 == 0));
        for (const auto& [name, mesh] : local.meshes) {
            const auto* data = mesh->ContinuationAs<CLODMeshContinuationData>();
            EXPECT_LE(data->primitiveCount, d.faces);
            EXPECT_LE(data->positions.size(), d.positions);
        }
    }
}

// Colours and tex coords the meshes of these tests declare, enough for every index they use.
constexpr uint32_t kAttributeCount = 16;

std::shared_ptr<AuthorMesh> MakeMesh(const std::string& name, uint32_t positions, uint32_t faces,
                                     std::vector<ShadingDescription> shadings) {
    auto data = std::make_shared<CLODMeshData>();
    data->blockKind = BlockType::CLODMeshDeclaration;
    data->meshName = name;
    data->positionCount = positions;
    data->faceCount = faces;
    data->shadingCount = static_cast<uint32_t>(shadings.size());
    data->shadingDescriptions = std::move(shadings);
    data->diffuseCount = data->texCoordCount = kAttributeCount;
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
    mesh->adjacencySet.Remove(7, 0);
    IndexSet out;
    EXPECT_FALSE(mesh->adjacencySet.GetTexCoordSet(4, 0, out));
    EXPECT_EQ(log.capture->AtLevel(1).size(), 3u);
}

TEST(Adjacency, AttributeSetsTakeTheCornerOfThePositionAndRankFromTheTop) {
    ShadingDescription colored;
    colored.shadingAttributes = ShadingDescription::kDiffuse;
    colored.layerCount = 1;
    auto mesh = MakeMesh("C", 4, 10, {colored, ShadingDescription{}});
    ASSERT_TRUE(mesh);
    auto* data = mesh->ContinuationAs<CLODMeshContinuationData>();
    CLODFace added[3];
    CLODFaceAttributes attributes[3];
    added[0].positions = {0, 1, 2};
    attributes[0].diffuse = {7, 3, 9};
    attributes[0].texCoords[0] = {4, 5, 6};
    added[1].positions = {2, 1, 3};
    attributes[1].diffuse = {1, 8, 2};
    added[2].positions = {1, 0, 3};
    added[2].shadingId = 1;  // no diffuse: not part of the colour set
    attributes[2].diffuse = {11, 11, 11};
    for (uint32_t index = 0; index < 3; ++index) {
        data->AddFace(added[index], &attributes[index]);
        for (uint32_t p : added[index].positions) mesh->adjacencySet.AddFace(p, index);
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

using Velmora::U3D::IndexSet;

std::vector<uint32_t> Members(const IndexSet& set) { return {set.begin(), set.end()}; }

// Sizes on both sides of the small-set path, with few distinct values (the corners around
// one position) and with many (mostly distinct), plus values at the ends of the u32 range.
TEST(FaceAttributes, FacesKeepWhatTheirDeclarationCanGiveAndReadZerosBeyond) {
    ShadingDescription twoLayers, fourLayers;
    twoLayers.layerCount = 2;
    fourLayers.layerCount = 4;
    auto mesh = MakeMesh("K", 4, 10, {twoLayers, fourLayers});  // diffuse and tex coords, no specular
    ASSERT_TRUE(mesh);
    auto* data = mesh->ContinuationAs<CLODMeshContinuationData>();
    EXPECT_EQ(data->KeptLayers(), 4u);
    constexpr uint32_t kFaces = 3;
    for (uint32_t face = 0; face < kFaces; ++face) {
        CLODFaceAttributes attributes;
        attributes.diffuse = {face, face + 1, face + 2};
        attributes.specular = {9, 9, 9};
        for (uint32_t layer = 0; layer < ShadingDescription::kMaxLayers; ++layer)
            attributes.texCoords[layer] = {face, layer, 7};
        data->AddFace(CLODFace{}, &attributes);
    }
    for (uint32_t face = 0; face < kFaces; ++face) {
        EXPECT_EQ(data->Diffuse(face), (CornerIndices{face, face + 1, face + 2}));
        EXPECT_EQ(data->TexCoords(face, 3), (CornerIndices{face, 3, 7}));
        EXPECT_EQ(data->TexCoords(face, 4), CornerIndices{});
        EXPECT_EQ(data->Specular(face), CornerIndices{});
    }
    EXPECT_EQ(data->SpecularOf(0), nullptr);
    EXPECT_EQ(data->TexCoordsOf(0, 4), nullptr);
    EXPECT_EQ(data->TexCoordsOf(kFaces, 0), nullptr);

    // Layers need tex coords to index, and no shading indexes more than kMaxLayers.
    CLODMeshData declaration;
    declaration.shadingDescriptions = {fourLayers};
    CLODMeshContinuationData untextured;
    untextured.KeepAttributesOf(declaration);
    EXPECT_EQ(untextured.KeptLayers(), 0u);
    declaration.texCoordCount = 1;
    declaration.shadingDescriptions[0].layerCount = ShadingDescription::kMaxLayers + 4;
    CLODMeshContinuationData layered;
    layered.KeepAttributesOf(declaration);
    EXPECT_EQ(layered.KeptLayers(), ShadingDescription::kMaxLayers);
}

TEST(IndexSet, NormalizeGivesDistinctMembersInDescendingOrder) {
    std::mt19937 random(7);
    IndexSet set;
    for (uint32_t size = 0; size <= 90; ++size) {
        for (uint32_t spread : {3u, 12u, 1000u, 0xFFFFFFFFu}) {
            set.clear();
            std::set<uint32_t, std::greater<uint32_t>> expected;
            for (uint32_t i = 0; i < size; ++i) {
                uint32_t value = spread == 0xFFFFFFFFu ? uint32_t(random()) : uint32_t(random() % spread);
                if (i % 17 == 5) value = 0;
                if (i % 19 == 7) value = 0xFFFFFFFFu;
                set.Append(value);
                expected.insert(value);
            }
            set.Normalize();
            ASSERT_EQ(Members(set), std::vector<uint32_t>(expected.begin(), expected.end()))
                << "size " << size << " spread " << spread;
        }
    }
}

using Velmora::U3D::Test::MeshBlockWalk;

double Dot(const Vec3f& a, const Vec3f& b) { return double(a[0]) * b[0] + double(a[1]) * b[1] + double(a[2]) * b[2]; }
Vec3f Edge(const Vec3f& from, const Vec3f& to) { return {to[0] - from[0], to[1] - from[1], to[2] - from[2]}; }

// Files whose meshes are mostly built by progressive updates, with corners moved by splits.
class FaceRecords : public ::testing::TestWithParam<const char*> {};

TEST_P(FaceRecords, FollowTheFacesAndCacheOnlyNormalsOfTheirPresentCorners) {
    ScopedLogCapture log;
    AuthorMeshPool pool;
    MeshBlockWalk walk(pool);
    ASSERT_TRUE(walk.Walk(std::string(KESTRUM_TESTDATA) + "/u3d/" + GetParam()));
    ASSERT_EQ(walk.failedBlocks, 0);
    size_t cached = 0;
    for (const auto& [name, mesh] : pool.meshes) {
        const auto* data = mesh->ContinuationAs<CLODMeshContinuationData>();
        if (!data) continue;
        ASSERT_EQ(data->faceCorners.size(), data->primitives.size()) << name;
        for (size_t i = 0; i < data->primitives.size(); ++i) {
            const FaceCorners& record = data->faceCorners[i];
            ASSERT_EQ(record.positions, data->primitives[i].positions) << name << " face " << i;
            ASSERT_EQ(record.shadingId, data->primitives[i].shadingId) << name << " face " << i;
            if (record.normalState != FaceCorners::kNormalValid) continue;
            ++cached;
            const Vec3f& p0 = data->positions[record.positions[0]];
            const Vec3f e1 = Edge(p0, data->positions[record.positions[1]]);
            const Vec3f e2 = Edge(p0, data->positions[record.positions[2]]);
            EXPECT_NEAR(Dot(record.normal, record.normal), 1.0, 1e-5) << name << " face " << i;
            EXPECT_NEAR(Dot(record.normal, e1) / std::sqrt(Dot(e1, e1)), 0.0, 1e-4) << name << " face " << i;
            EXPECT_NEAR(Dot(record.normal, e2) / std::sqrt(Dot(e2, e2)), 0.0, 1e-4) << name << " face " << i;
        }
    }
    EXPECT_GT(cached, 0u);
}

INSTANTIATE_TEST_SUITE_P(Testdata, FaceRecords,
                         ::testing::Values("shape.u3d", "plane64x64.u3d", "sphere_shading.u3d", "bearing.u3d"));

}  // namespace
