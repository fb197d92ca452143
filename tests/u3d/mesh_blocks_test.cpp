// Mesh blocks built value by value with the test-side writer: declarations, base meshes,
// progressive updates on a tiny mesh, and the ways a hostile block must cost only its mesh.

#include <gtest/gtest.h>

#include <random>

#include "mesh_support.h"
#include "u3dwriter/U3DWriter.h"
#include "u3d/CLODMeshData.h"

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

// ---------------------------------------------------------------------------------------
// Declaration

TEST_F(MeshBlocks, DeclarationKeepsCountsShadingAndLayers) {
    Declaration d;
    d.name = "Decl";
    d.shadings = {Shading{3, {2, 2}}, Shading{0, {2, 2, 2, 2, 2, 2, 2, 2, 2, 2}}};
    d.diffuse = 5;
    ASSERT_TRUE(Declare(d));
    auto mesh = pool.FindMesh("Decl");
    ASSERT_TRUE(mesh);
    EXPECT_EQ(mesh->meshKind, MeshKind::CLOD);
    const auto* decl = mesh->DeclarationAs<CLODMeshData>();
    ASSERT_TRUE(decl);
    EXPECT_EQ(decl->faceCount, 8u);
    EXPECT_EQ(decl->diffuseCount, 5u);
    EXPECT_EQ(decl->maxResolution, 8u);
    EXPECT_FLOAT_EQ(decl->inverseQuantPosition, 0.5f);
    EXPECT_FLOAT_EQ(decl->normalTolerance, 0.1f);
    ASSERT_EQ(decl->shadingDescriptions.size(), 2u);
    EXPECT_TRUE(decl->shadingDescriptions[0].HasDiffuse());
    EXPECT_TRUE(decl->shadingDescriptions[0].HasSpecular());
    // Ten layers: the count is kept as read, the two beyond eight are logged and dropped.
    EXPECT_EQ(decl->shadingDescriptions[1].layerCount, 10u);
    EXPECT_EQ(log.capture->AtLevel(2).size(), 2u);
    EXPECT_TRUE(log.capture->Contains("MeshDeclaration::ReadShadingDescriptions() for 'Decl' - too many texture layers"));
}

TEST_F(MeshBlocks, DeclarationTooShortForItsShadingCountFails) {
    BitStreamWriter w;
    w.WriteString("Short");
    w.WriteU32(0);
    for (uint32_t v : {0u, 8u, 8u, 8u, 0u, 0u, 0u, 0x7FFFFFFFu}) w.WriteU32(v);
    EXPECT_FALSE(Read(BlockType::CLODMeshDeclaration, w.Finish()));
    EXPECT_TRUE(pool.meshes.empty());
    EXPECT_TRUE(log.capture->Contains("MeshDeclaration::Read() - failed to read mesh specific data for 'Short'"));
}

TEST_F(MeshBlocks, DuplicateDeclarationIsRefused) {
    ASSERT_TRUE(Declare(Declaration{}));
    EXPECT_FALSE(Declare(Declaration{}));
    EXPECT_EQ(pool.meshes.size(), 1u);
}

// ---------------------------------------------------------------------------------------
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
    EXPECT_TRUE(log.capture->Contains("AuthorMesh 'Mesh' has been removed due to read error -> MESH WILL NOT BE CREATED!"));
    EXPECT_EQ(pool.meshes.count("Mesh"), 0u);
    EXPECT_EQ(pool.removedMeshes.count("Mesh"), 1u);
    // The other mesh still takes its base.
    ASSERT_TRUE(Read(BlockType::CLODBaseMeshContinuation, BaseBlock("Other", kSquare, kUp, {{0, {0, 1, 2}, {}}})));
    ASSERT_TRUE(Data("Other"));
    EXPECT_EQ(Data("Other")->primitiveCount, 1u);
}

TEST_F(MeshBlocks, SecondBaseBlockKillsTheMesh) {
    ASSERT_TRUE(Declare(Declaration{}));
    const auto base = BaseBlock("Mesh", kSquare, kUp, {{0, {0, 1, 2}, {}}});
    ASSERT_TRUE(Read(BlockType::CLODBaseMeshContinuation, base));
    ASSERT_TRUE(Data("Mesh"));
    EXPECT_TRUE(Read(BlockType::CLODBaseMeshContinuation, base));
    EXPECT_TRUE(log.capture->Contains(
        "CLODBaseMeshContinuation::ReadMeshSpecificData - base data not empty in AuthorMesh 'Mesh'"));
    EXPECT_FALSE(Data("Mesh"));
    // Later blocks of the removed mesh are skipped without the not-found error of their own.
    EXPECT_TRUE(Read(BlockType::CLODBaseMeshContinuation, base));
    EXPECT_FALSE(log.capture->Contains("Cannot find AuthorMesh 'Mesh'"));
}

TEST_F(MeshBlocks, ContinuationForUnknownMeshIsReadAndReported) {
    EXPECT_TRUE(Read(BlockType::CLODBaseMeshContinuation, BaseBlock("Nowhere", kSquare, kUp, {})));
    EXPECT_TRUE(log.capture->Contains("AuthorMeshPool::FindMesh cannot find mesh by the name 'Nowhere'"));
    EXPECT_TRUE(log.capture->Contains("Cannot find AuthorMesh 'Nowhere' -> MESH WILL NOT BE CREATED!"));
    EXPECT_TRUE(pool.meshes.empty());
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

TEST_F(MeshBlocks, TruncatedBaseBlockRemovesTheMesh) {
    ASSERT_TRUE(Declare(Declaration{}));
    auto base = BaseBlock("Mesh", kSquare, kUp, {{0, {0, 1, 2}, {}}, {0, {0, 2, 3}, {}}});
    ASSERT_GT(base.size(), 12u);
    base.erase(base.end() - 12, base.end());
    EXPECT_TRUE(Read(BlockType::CLODBaseMeshContinuation, base));
    EXPECT_EQ(pool.removedMeshes.count("Mesh"), 1u);
}

// ---------------------------------------------------------------------------------------
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
    // r0: position (2, 0, 0) from the origin (quantisation 0.5).
    header(0, 0, 0);
    position(0, 4, 0, 0);
    // r1: position (0, 0, 0): split 0, x negated.
    header(1, 0, 0);
    position(1, 4, 0, 0);
    // r2: one face, orientation 1 (split, new, third), third = global 1.
    header(2, 0, 1);
    w.WriteCompressedU32(65, 0);
    w.WriteCompressedU8(2, 1);
    w.WriteCompressedU8(3, 2);
    w.WriteCompressedU32(1026, 1);
    position(0, 0, 4, 0);  // (2, 2, 0)
    if (end > 3) {
        // r3: split position 1; neighbours of 1 are {2, 0}, ranked from the top: local 0 is 2.
        header(3, 1, 1);
        w.WriteCompressedU32(65, 0);
        w.WriteCompressedU8(2, 2);   // orientation 2: new, split, third
        w.WriteCompressedU8(3, 1);   // local third
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
    // The same stream cut after update 2 and continued in a second block from 3 on.
    ASSERT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, TinyProgressive("Tiny", 0, 3)));
    ASSERT_EQ(Data("Tiny")->positions.size(), 3u);
    BitStreamWriter w;
    w.WriteString("Tiny");
    w.WriteU32(0);
    w.WriteU32(3);
    w.WriteU32(4);
    w.WriteCompressedU32(1027, 1);
    w.WriteCompressedU16(99, 0);
    w.WriteCompressedU16(101, 0);
    w.WriteCompressedU16(123, 0);
    w.WriteCompressedU32(1, 1);
    w.WriteCompressedU32(65, 0);
    w.WriteCompressedU8(2, 2);
    w.WriteCompressedU8(3, 1);
    w.WriteCompressedU32(4, 0);
    w.WriteCompressedU8(17, 1);
    w.WriteCompressedU8(20, 0);
    w.WriteCompressedU32(21, 0);
    w.WriteCompressedU32(22, 4);
    w.WriteCompressedU32(23, 0);
    ASSERT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, w.Finish()));
    EXPECT_TRUE(log.capture->AtLevel(1).empty());
    ASSERT_EQ(Data("Tiny")->primitiveCount, 2u);
    EXPECT_EQ(Data("Tiny")->primitives[0].positions, (std::array<uint32_t, 3>{0, 2, 3}));
}

TEST_F(MeshBlocks, SplitPositionBeyondThePositionsRemovesTheMesh) {
    ASSERT_TRUE(Declare(TinyDeclaration()));
    // The first update codes its split position on an adaptive context, so any value can
    // arrive; with no position yet only 0 is acceptable.
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

TEST_F(MeshBlocks, ResolutionRangeBeyondDeclarationIsRefused) {
    ASSERT_TRUE(Declare(TinyDeclaration()));
    EXPECT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, TinyProgressive("Tiny", 0, 5)));
    EXPECT_TRUE(log.capture->Contains("Invalid resolution range 0..5 for AuthorMesh 'Tiny'"));
    EXPECT_EQ(pool.removedMeshes.count("Tiny"), 1u);
}

TEST_F(MeshBlocks, ResolutionRangeBeyondTheBlockIsRefusedBeforeSizing) {
    Declaration d = TinyDeclaration();
    d.positions = d.maxResolution = 0xFFFFFFF0;
    ASSERT_TRUE(Declare(d));
    BitStreamWriter w;
    w.WriteString("Tiny");
    w.WriteU32(0);
    w.WriteU32(0);
    w.WriteU32(0xFFFFFFF0);
    EXPECT_TRUE(Read(BlockType::CLODProgressiveMeshContinuation, w.Finish()));
    EXPECT_TRUE(log.capture->Contains("Invalid resolution range 0..4294967280 for AuthorMesh 'Tiny'"));
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
        // Either the update stream still made sense up to the cut (zeros read behind the
        // data decode as something) or the mesh is gone; never more faces than declared.
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
    // One update claiming 60000 new colours, all zero differences: on adaptive contexts
    // each costs a tiny fraction of a bit, so the block is small and the count is refused.
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
        const uint32_t type = round % 3 == 0 ? BlockType::CLODBaseMeshContinuation
                                             : BlockType::CLODProgressiveMeshContinuation;
        if (type == BlockType::CLODBaseMeshContinuation) block.erase(block.begin() + 6, block.begin() + 14);
        EXPECT_TRUE(ReadMeshBlock(local, type, block.data(), static_cast<uint32_t>(block.size()), round % 2 == 0));
        for (const auto& [name, mesh] : local.meshes) {
            const auto* data = mesh->ContinuationAs<CLODMeshContinuationData>();
            EXPECT_LE(data->primitiveCount, d.faces);
            EXPECT_LE(data->positions.size(), d.positions);
        }
    }
}

}  // namespace
