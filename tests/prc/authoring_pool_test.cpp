// The read step of the PRC pool, without a GL context: the staging tree and meshes of the
// third-party files, occurrence graphs that loop or point past their arrays, placements and
// generated normals.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <set>
#include <string>

#include "prc/PrcFileBuilder.h"
#include "prc/reader/AuthorTexture.h"
#include "prc/reader/AuthoringPool_PRC.h"
#include "prc/reader/MeshNormals.h"
#include "prc/reader/TesselationDecoder.h"
#include "prc/reader/TransformMatrix.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using FileStructure::Vec3f;
using Test::BuiltOccurrence;
using Test::BuiltTree;
using Test::LogCapture;

std::string PrcPath(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/prc/" + name; }

struct Loaded {
    std::unique_ptr<AuthoringPool_PRC> pool = std::make_unique<AuthoringPool_PRC>();
    bool ok = false;
};

Loaded LoadFile(const std::string& name) {
    Loaded loaded;
    EXPECT_TRUE(loaded.pool->Init());
    loaded.ok =
        loaded.pool->CreateAuthoringObjectsFromFile(PRCFile::CreateFromFile(PrcPath(name), nullptr, 0.0f), nullptr);
    return loaded;
}

Loaded LoadBytes(const std::vector<uint8_t>& bytes) {
    Loaded loaded;
    EXPECT_TRUE(loaded.pool->Init());
    loaded.ok = loaded.pool->CreateAuthoringObjectsFromFile(
        PRCFile::CreateFromMemory(bytes.data(), static_cast<uint32_t>(bytes.size()), nullptr, 0.0f), nullptr);
    return loaded;
}

// Model nodes of the staging tree, depth first.
std::vector<const AuthorNode*> Models(const AuthorNode& root) {
    std::vector<const AuthorNode*> models, pending{&root};
    while (!pending.empty()) {
        const AuthorNode* node = pending.back();
        pending.pop_back();
        if (node->kind == AuthorNode::Model) models.push_back(node);
        for (const auto& child : node->children) pending.push_back(child.get());
    }
    return models;
}

// Triangles that the models of the tree show, each tessellation counted once.
size_t ShownTriangles(const Loaded& loaded) {
    std::set<std::pair<uint32_t, int32_t>> seen;
    size_t triangles = 0;
    for (const AuthorNode* node : Models(*loaded.pool->MasterNode())) {
        const auto mesh = loaded.pool->MeshPool().FindMesh(node->fileStructure, node->tessellation);
        if (!mesh || !seen.insert({node->fileStructure, node->tessellation}).second) continue;
        triangles += mesh->tessellation->triangleIndices.size() / 3;
    }
    return triangles;
}

struct FileCount {
    const char* name;
    size_t meshes;
    size_t triangles;
};

class PrcPoolFiles : public testing::TestWithParam<FileCount> {};

TEST_P(PrcPoolFiles, TreeShowsEveryDecodedTriangle) {
    LogCapture quiet(0);
    const Loaded loaded = LoadFile(GetParam().name);
    ASSERT_TRUE(loaded.ok);
    EXPECT_EQ(loaded.pool->MeshPool().Count(), GetParam().meshes);
    EXPECT_EQ(ShownTriangles(loaded), GetParam().triangles);
}

INSTANTIATE_TEST_SUITE_P(ThirdParty, PrcPoolFiles,
                         testing::Values(FileCount{"mesh1.prc", 1, 8}, FileCount{"mesh2.prc", 1, 3200},
                                         FileCount{"grid_big.prc", 1, 125000}, FileCount{"torus_mesh.prc", 2, 2316},
                                         FileCount{"cube_tess.prc", 2, 24}, FileCount{"plain_cube.prc", 1, 12}),
                         [](const testing::TestParamInfo<FileCount>& info) {
                             const std::string name = info.param.name;
                             return name.substr(0, name.find('.'));
                         });

TEST(PrcPool, ItemsTakeTheirOwnStyleOrTheOccurrences) {
    LogCapture quiet(0);
    const Loaded torus = LoadFile("torus_mesh.prc");
    ASSERT_TRUE(torus.ok);
    std::map<int32_t, int32_t> styleOfTessellation;
    for (const AuthorNode* node : Models(*torus.pool->MasterNode()))
        styleOfTessellation[node->tessellation] = node->style;
    EXPECT_EQ(styleOfTessellation, (std::map<int32_t, int32_t>{{0, -1}, {1, 1}}));
    // plain_cube's occurrence, part and item all name style 0; its material resolves.
    const Loaded cube = LoadFile("plain_cube.prc");
    ASSERT_TRUE(cube.ok);
    const auto models = Models(*cube.pool->MasterNode());
    ASSERT_EQ(models.size(), 1u);
    EXPECT_EQ(models[0]->style, 0);
    EXPECT_NE(cube.pool->MaterialPool().FindMaterialByLinestyle(0, 0), nullptr);
}

TEST(PrcPool, HighlyCompressedFilesLoad) {
    for (const char* name : {"hc_cube.prc", "hc_sphere.prc", "hc_parts.prc", "sw_triangle.prc", "sw_cylinder.prc"}) {
        LogCapture log(2);
        EXPECT_TRUE(LoadFile(name).ok) << name;
        EXPECT_EQ(log.Count("CONSUMPTION ERROR"), 0u) << name;
        EXPECT_EQ(log.Count("failed to decode tesselation"), 0u) << name;
    }
}

// Occurrence 0 shows part 0 (the triangle) and links to `linked` by `how`.
BuiltTree TwoOccurrences(std::vector<BuiltOccurrence> occurrences) {
    BuiltTree tree;
    tree.parts = {{0}};
    tree.occurrences = std::move(occurrences);
    return tree;
}

TEST(PrcPoolGraphs, PrototypeCycleIsCutWhereItCloses) {
    LogCapture log(2);
    BuiltOccurrence a, b;
    a.part = 0, a.prototype = 1;
    b.prototype = 0;
    const Loaded loaded = LoadBytes(Velmora::Test::BuildTreeFile(TwoOccurrences({a, b})));
    ASSERT_TRUE(loaded.ok);
    EXPECT_EQ(log.Count("refers back to itself", 1), 1u);
    EXPECT_EQ(log.Count("Failed to add prototype node", 1), 1u);
    // The root's triangle and the group of occurrence 1 under it: nothing repeated.
    EXPECT_EQ(loaded.pool->MasterNode()->CountNodes(), 3u);
    EXPECT_EQ(Models(*loaded.pool->MasterNode()).size(), 1u);
}

TEST(PrcPoolGraphs, ExternalDataCycleAndASonOfItselfAreCut) {
    LogCapture log(2);
    BuiltOccurrence a, b;
    a.part = 0, a.external = 1, a.sons = {0};
    b.external = 0;
    const Loaded loaded = LoadBytes(Velmora::Test::BuildTreeFile(TwoOccurrences({a, b})));
    ASSERT_TRUE(loaded.ok);
    EXPECT_EQ(log.Count("refers back to itself", 1), 2u);
    EXPECT_EQ(log.Count("Failed to add external node", 1), 1u);
    EXPECT_EQ(log.Count("Failed to create child node", 1), 1u);
}

TEST(PrcPoolGraphs, SonWithAPartPastThePartsFailsAlone) {
    LogCapture log(2);
    BuiltOccurrence root, son;
    root.part = 0, root.sons = {1, 7};
    son.part = 5;
    const Loaded loaded = LoadBytes(Velmora::Test::BuildTreeFile(TwoOccurrences({root, son})));
    ASSERT_TRUE(loaded.ok);
    EXPECT_EQ(log.Count("invalid part index", 1), 1u);
    EXPECT_EQ(log.Count("Failed to create child node", 1), 2u);  // the bad part and son 7
    EXPECT_EQ(Models(*loaded.pool->MasterNode()).size(), 1u);
}

TEST(PrcPoolGraphs, RootWithAPartPastThePartsEndsTheLoad) {
    LogCapture log(2);
    BuiltOccurrence root;
    root.part = 3;
    EXPECT_FALSE(LoadBytes(Velmora::Test::BuildTreeFile(TwoOccurrences({root}))).ok);
    EXPECT_EQ(log.Count("failed to create tree for filestructure", 1), 1u);
}

TEST(PrcPoolGraphs, ItemOnATessellationPastTheTessellationsShowsNothing) {
    LogCapture quiet(0);
    BuiltTree tree = TwoOccurrences({BuiltOccurrence{}});
    tree.parts = {{9}};
    tree.occurrences[0].part = 0;
    const Loaded loaded = LoadBytes(Velmora::Test::BuildTreeFile(tree));
    ASSERT_TRUE(loaded.ok);  // the triangle is decoded; only the item's reference is bad
    EXPECT_EQ(ShownTriangles(loaded), 0u);
}

TEST(PrcPoolGraphs, SharedSonsCannotMultiplyWithoutBound) {
    // Each occurrence names the next one twice: 2^40 paths from a few hundred bytes.
    constexpr uint32_t kLevels = 40;
    BuiltTree tree;
    tree.parts = {{0}};
    for (uint32_t i = 0; i < kLevels; ++i) {
        BuiltOccurrence o;
        o.part = 0;
        if (i + 1 < kLevels) o.sons = {i + 1, i + 1};
        tree.occurrences.push_back(o);
    }
    LogCapture log(2);
    const Loaded loaded = LoadBytes(Velmora::Test::BuildTreeFile(tree));
    ASSERT_TRUE(loaded.ok);
    EXPECT_LE(loaded.pool->MasterNode()->CountNodes(), AuthoringPool_PRC::kMaxNodes + 1);
    EXPECT_EQ(log.Count("too many nodes", 1), 1u);
}

TEST(PrcPoolGraphs, StylesAreHandedDownToSonsThatHaveNone) {
    LogCapture quiet(0);
    BuiltOccurrence root, styled, plain;
    root.style = 4, root.sons = {1, 2};
    styled.part = 0, styled.style = 6;
    plain.part = 0;
    const Loaded loaded = LoadBytes(Velmora::Test::BuildTreeFile(TwoOccurrences({root, styled, plain})));
    ASSERT_TRUE(loaded.ok);
    std::multiset<int32_t> styles;
    for (const AuthorNode* node : Models(*loaded.pool->MasterNode())) styles.insert(node->style);
    EXPECT_EQ(styles, (std::multiset<int32_t>{4, 6}));
}

Vec3f Apply(const Rendering::Mat4& m, const Vec3f& p) {
    return {m[0] * p[0] + m[4] * p[1] + m[8] * p[2] + m[12], m[1] * p[0] + m[5] * p[1] + m[9] * p[2] + m[13],
            m[2] * p[0] + m[6] * p[1] + m[10] * p[2] + m[14]};
}

TEST(PrcPlacement, CartesianRotatesScalesAndMoves) {
    FileStructure::CartesianTransformation3D t;
    t.flags = FileStructure::kTransformTranslate | FileStructure::kTransformRotate | FileStructure::kTransformScale;
    t.origin = {10, 20, 30};
    t.xAxis = {0, 1, 0};
    t.yAxis = {-1, 0, 0};
    t.uniformScale = 2;
    Rendering::Mat4 m{};
    ASSERT_TRUE(GetMatrixFromTransform(&t, m));
    EXPECT_EQ(Apply(m, {1, 0, 0}), (Vec3f{10, 22, 30}));
    EXPECT_EQ(Apply(m, {0, 0, 1}), (Vec3f{10, 20, 32}));
    t.flags |= FileStructure::kTransformMirror;
    ASSERT_TRUE(GetMatrixFromTransform(&t, m));
    EXPECT_EQ(Apply(m, {0, 0, 1}), (Vec3f{10, 20, 28}));
}

TEST(PrcPlacement, GeneralMatrixWithItsTranslationInEitherPlace) {
    FileStructure::GeneralTransformation rows;
    rows.matrix = {1, 0, 0, 5, 0, 1, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1};
    FileStructure::GeneralTransformation columns;
    columns.matrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1};
    Rendering::Mat4 a{}, b{};
    ASSERT_TRUE(GetMatrixFromTransform(&rows, a));
    ASSERT_TRUE(GetMatrixFromTransform(&columns, b));
    EXPECT_EQ(Apply(a, {1, 1, 1}), (Vec3f{6, 7, 8}));
    EXPECT_EQ(a, b);
    LogCapture log(2);
    EXPECT_FALSE(GetMatrixFromTransform(nullptr, a));
    FileStructure::CartesianTransformation3D bad;
    bad.flags = 0x80;
    EXPECT_FALSE(GetMatrixFromTransform(&bad, a));
    EXPECT_EQ(log.Count("unsupported transformation flag", 1), 1u);
}

std::shared_ptr<FileStructure::BaseTessData> DecodedTessellation(const std::string& name, size_t index) {
    LogCapture quiet(0);
    const auto file = PRCFile::CreateFromFile(PrcPath(name), nullptr, 0.0f);
    if (!file) return nullptr;
    auto tess = file->GetFileStructureBlock(0)->tessellation.tessellations.at(index);
    return TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f) ? tess : nullptr;
}

float Angle(const Vec3f& a, const Vec3f& b) {
    const float dot = a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
    return std::acos(std::clamp(dot, -1.0f, 1.0f));
}

TEST(PrcNormals, CubeCornersKeepTheirFaceNormal) {
    const auto cube = DecodedTessellation("plain_cube.prc", 0);
    ASSERT_TRUE(cube);
    std::vector<Vec3f> normals;
    ASSERT_TRUE(GenerateCornerNormals(*cube, normals));
    ASSERT_EQ(normals.size(), cube->triangleIndices.size());
    for (size_t t = 0; t < normals.size() / 3; ++t) {
        const Vec3f& n = normals[3 * t];
        EXPECT_EQ(n, normals[3 * t + 1]);
        EXPECT_EQ(n, normals[3 * t + 2]);
        // Axis aligned: one component of length one.
        EXPECT_FLOAT_EQ(std::fabs(n[0]) + std::fabs(n[1]) + std::fabs(n[2]), 1.0f) << t;
    }
}

TEST(PrcNormals, TorusComesCloseToItsStoredNormals) {
    constexpr float kMeanLimit = 0.1f, kWorstLimit = 0.3f;  // radians
    const auto torus = DecodedTessellation("torus_mesh.prc", 0);
    ASSERT_TRUE(torus);
    ASSERT_EQ(torus->normals.size(), torus->triangleIndices.size());
    std::vector<Vec3f> generated;
    ASSERT_TRUE(GenerateCornerNormals(*torus, generated));
    ASSERT_EQ(generated.size(), torus->normals.size());
    // The file's winding may be either way round: compare with the better orientation.
    float same = 0, flipped = 0, worst = 0;
    for (size_t i = 0; i < generated.size(); ++i) {
        same += Angle(generated[i], torus->normals[i]);
        flipped += Angle(generated[i], {-torus->normals[i][0], -torus->normals[i][1], -torus->normals[i][2]});
    }
    const bool inverted = flipped < same;
    for (size_t i = 0; i < generated.size(); ++i) {
        Vec3f stored = torus->normals[i];
        if (inverted) stored = {-stored[0], -stored[1], -stored[2]};
        worst = std::max(worst, Angle(generated[i], stored));
    }
    EXPECT_LT(std::min(same, flipped) / float(generated.size()), kMeanLimit);
    EXPECT_LT(worst, kWorstLimit);
}

TEST(PrcTexture, RawBitmapBecomesBgraRowsBottomFirst) {
    FileStructure::Picture picture;
    picture.format = AuthorTexture::BitmapRgb;
    picture.width = 2;
    picture.height = 2;
    const uint8_t rgb[] = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};  // top row first
    AuthorTexture texture;
    ASSERT_TRUE(texture.Init(picture, 0, rgb, sizeof rgb));
    ASSERT_TRUE(texture.pixels);
    const uint8_t* p = texture.pixels->pixels.get();
    EXPECT_EQ(std::vector<uint8_t>(p, p + 8), (std::vector<uint8_t>{90, 80, 70, 255, 120, 110, 100, 255}));
    EXPECT_FALSE(texture.hasAlpha);
    LogCapture log(2);
    picture.height = 3;  // more rows than the file holds
    EXPECT_FALSE(texture.Init(picture, 0, rgb, sizeof rgb));
    picture.format = AuthorTexture::Png;  // bytes that are no PNG
    EXPECT_FALSE(texture.Init(picture, 7, rgb, sizeof rgb));
    EXPECT_EQ(log.Count("for Pic#7", 1), 1u);
}

}  // namespace
}  // namespace Velmora::PRC
