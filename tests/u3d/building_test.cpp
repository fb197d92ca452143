// Building scenes from read files: meshes, shading, models and cameras.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "build_support.h"
#include "format/AuthoringInterrupt.h"
#include "format/FormatManager.h"
#include "host/FormatRegistration.h"
#include "support/LogCapture.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/CLODMeshBuilder.h"
#include "u3d/ShaderStateBuilder.h"
#include "u3dwriter/U3DWriter.h"

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
    maker.Data().positions.push_back({0, 0, 1});
    maker.Data().positions.push_back({0, 1, 1});
    maker.AddFace(4, 5, 0);
    maker.decl->faceCount = 3;
    LogCapture log;
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::GenerateMissing, info, oom));
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
    for (uint32_t v = 6; v < 9; ++v) EXPECT_FLOAT_EQ(sub.vertices->Row(v)[3], -1.0f);
    EXPECT_FLOAT_EQ(sub.vertices->Row(4)[0], 1.0f);
    EXPECT_FLOAT_EQ(sub.vertices->Row(4)[1], 1.0f);
}

TEST(CLODMeshBuild, SingleShadingIdIsSizedForDeclaredFacesWithZeroTail) {
    MeshMaker maker("short", 5);
    AddSquare(maker);
    maker.Data().positions[0] = {7, 8, 9};
    LogCapture log;
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    const auto& v = *info.subObjects[0].vertices;
    ASSERT_EQ(v.Count(), 15u);
    EXPECT_FLOAT_EQ(v.Row(0)[0], 7.0f);
    for (uint32_t r = 6; r < 15; ++r)
        for (uint32_t k = 0; k < v.Stride(); ++k) ASSERT_EQ(v.Row(r)[k], 0.0f);
    maker.decl->faceCount = 0xFFFFFFF0u;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    EXPECT_EQ(info.subObjects[0].vertices->Count(), (2u + kMaxMissingFaces) * 3u);
}

TEST(CLODMeshBuild, SeveralShadingIdsGetOneBufferEachWithTheirOwnLayout) {
    MeshMaker maker("multi", 2, {0, 2});
    maker.decl->diffuseCount = 4;
    maker.decl->texCoordCount = 4;
    AddSquare(maker, 1);
    auto& data = maker.Data();
    data.diffuseColors = {{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}, {1, 1, 1, 1}};
    data.texCoords = {{0, 0, 0, 0}, {0.5f, 0, 0, 0}, {0.5f, 0.5f, 0, 0}, {0, 0.5f, 0, 0}};
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    ASSERT_EQ(info.subObjects.size(), 2u);
    EXPECT_EQ(info.subObjects[1].attributes, VA::Position | VA::Diffuse);
    maker.decl->shadingDescriptions[0].layerCount = 1;
    ASSERT_TRUE(BuildCLODMeshData(*maker.mesh, NormalMode::AsRead, info, oom));
    EXPECT_EQ(info.subObjects[0].attributes, VA::Position | VA::Diffuse | VA::TexCoord(0));
    EXPECT_EQ(info.subObjects[1].attributes, VA::Position | VA::Diffuse | VA::TexCoord(0) | VA::TexCoord(1));
    ASSERT_EQ(info.subObjects[0].vertices->Count(), 3u);
    ASSERT_EQ(info.subObjects[1].vertices->Count(), 3u);
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
    }
    {
        MeshMaker noShading("noshading", 2);
        AddSquare(noShading);
        noShading.decl->shadingCount = 0;
        EXPECT_FALSE(BuildCLODMeshData(*noShading.mesh, NormalMode::AsRead, info, oom));
    }
    {
        MeshMaker badId("badid", 2, {0, 0});
        AddSquare(badId, 5);
        EXPECT_FALSE(BuildCLODMeshData(*badId.mesh, NormalMode::AsRead, info, oom));
        EXPECT_FALSE(oom);
    }
    {
        MeshMaker wild("wild", 1);
        wild.Data().positions = {{1, 1, 1}};
        wild.AddFace(0, 1000, 70000);
        ASSERT_TRUE(BuildCLODMeshData(*wild.mesh, NormalMode::AsRead, info, oom));
        EXPECT_FLOAT_EQ(info.subObjects[0].vertices->Row(1)[0], 0.0f);
    }
}

namespace Flags = Velmora::Rendering::ShaderFlags;

AuthorShader TwoLayerShader() {
    AuthorShader shader;
    shader.name = "s";
    shader.attributes = ShaderAttribute::Lighting | ShaderAttribute::AlphaTest;
    shader.alphaTestFunction = 0x612;
    shader.alphaTestReference = 0.25f;
    shader.colorBlendFunction = 0x605;
    shader.shaderChannels = 0x5;  // bits 0 and 2: records 0 and 1
    shader.layerCount = 2;
    shader.alphaTextureChannels = 0x4;
    shader.materialName = "mat";
    shader.layers.resize(2);
    shader.layers[0].textureName = "t0";
    shader.layers[0].intensity = 0.5f;
    shader.layers[0].blendFunction = 2;
    shader.layers[1].textureName = "t1";
    shader.layers[1].intensity = 1.0f;
    shader.layers[1].blendFunction = 1;
    shader.layers[1].blendSource = 1;
    shader.layers[1].blendConstant = 0.75f;
    return shader;
}

TEST(GroupShading, PackedLayersFollowTheChannelBits) {
    const AuthorShader shader = TwoLayerShader();
    LogCapture log;
    const uint32_t attributes = VA::Position | VA::Normal | VA::TexCoord(0) | VA::TexCoord(1);
    const GroupShading state = MakeGroupShading(attributes, &shader, "mesh");
    const auto& d = state.description;
    EXPECT_EQ(d.blendMode, 2u);
    EXPECT_EQ(d.alphaFunction, 3u);
    EXPECT_FLOAT_EQ(d.alphaReference, 0.25f);
    EXPECT_EQ(d.textureLayers, 0x3u);
    EXPECT_EQ(d.layerBlend[0], 0u);
    EXPECT_EQ(d.layerBlend[1], 1u | 0x4u | 0x8u);
    EXPECT_FLOAT_EQ(d.texIntensity[0], 0.5f);
    EXPECT_FLOAT_EQ(d.blendingConstant[1], 0.75f);
    EXPECT_EQ(state.textureNames[0], "t0");
    EXPECT_EQ(state.textureNames[1], "t1");
    EXPECT_EQ(state.materialName, "mat");
    EXPECT_TRUE(state.transparent);
}

TEST(GroupShading, LayerCountMismatchTakesTheSmaller) {
    AuthorShader shader = TwoLayerShader();
    shader.alphaTextureChannels = 0;
    LogCapture log;
    const GroupShading state = MakeGroupShading(VA::Position | VA::TexCoord(0), &shader, "mesh");
    EXPECT_EQ(state.description.textureLayers, 0x1u);
    EXPECT_TRUE(state.textureNames[1].empty());
    EXPECT_FALSE(state.transparent);
    shader.attributes = 0;
    const GroupShading unlit = MakeGroupShading(VA::Position | VA::Normal, &shader, "mesh");
    EXPECT_EQ(unlit.description.alphaFunction, 0u);
    EXPECT_FALSE(unlit.description.HasFlag(Flags::Lighting));
    EXPECT_EQ(unlit.description.textureLayers, 0u);
    shader.attributes = ShaderAttribute::AlphaTest;
    shader.alphaTestFunction = 0x617;
    EXPECT_EQ(MakeGroupShading(VA::Position, &shader, "mesh").description.alphaFunction, 0u);
}

using Velmora::FormatGlue::AuthoringInterrupt;
using Velmora::FormatGlue::AuthoringPool;
using Velmora::FormatGlue::FormatManager;
using Velmora::FormatGlue::ImportDescriptor;
using Velmora::Rendering::InvisibleModel;
using Velmora::Rendering::Model;
using Velmora::Rendering::SceneGraph;
using Velmora::Rendering::SceneManager;
using Velmora::U3D::Test::CountDocumentMeshes;
using Velmora::U3D::Test::EnsureBuildContext;
using Velmora::U3D::Test::ForEachModel;
using Velmora::U3D::Test::SceneGuard;
using Velmora::U3D::Test::TestFile;

struct FacesEntry {
    std::string file;
    uint64_t faceSum = 0;
    uint32_t declarations = 0;
};

std::vector<FacesEntry> FacesTable() {
    std::vector<FacesEntry> entries;
    std::ifstream in(TestFile("faces.tsv"));
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        FacesEntry entry;
        uint64_t size = 0;
        if (fields >> entry.file >> size >> entry.faceSum >> entry.declarations) entries.push_back(entry);
    }
    return entries;
}

std::shared_ptr<AuthoringPool_U3D> MakePool() {
    return AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
}

class U3DSceneBuild : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(EnsureBuildContext());
        Velmora::RegisterStandardFormats();
        AuthoringInterrupt::Reset();
    }
};

TEST_F(U3DSceneBuild, EveryCLODFileBuildsItsDeclaredFacesAndOneModelPerNodeInstance) {
    const auto table = FacesTable();
    ASSERT_GT(table.size(), 40u);
    size_t built = 0, blended = 0;
    for (const FacesEntry& entry : table) {
        if (entry.declarations == 0) continue;
        SCOPED_TRACE(entry.file);
        auto pool = MakePool();
        ASSERT_TRUE(pool);
        ASSERT_TRUE(pool->LoadFromFile(TestFile(entry.file), nullptr));
        const size_t instances = pool->NodePool().GetRoot()->CountDescendants();
        const size_t textures = pool->TexturePool().Textures().size();
        std::vector<std::string> pairs;  // colour plus alpha image
        for (const auto& [name, texture] : pool->TexturePool().Textures())
            if (texture->continuations.size() == 2) pairs.push_back(name);
        LogCapture log(2);
        uint32_t handle = 0;
        const bool ok = pool->BuildSceneGraph(handle, nullptr);
        if (!ok)
            for (const auto& line : log.Lines()) ADD_FAILURE() << line.level << " " << line.text;
        ASSERT_TRUE(ok);
        SceneGuard guard(handle);
        auto scene = guard.Scene();
        ASSERT_TRUE(scene);
        const auto& textureManager = scene->GetResources().textureManager;
        EXPECT_EQ(textureManager.GetTextureNames().size(), textures + 1);
        for (const std::string& name : pairs) {
            const auto texture = textureManager.GetTexture(textureManager.GetTextureId(name));
            ASSERT_TRUE(texture);
            EXPECT_TRUE(texture->HasAlpha()) << name;
            ++blended;
        }
        EXPECT_TRUE(pool->MeshPool().meshes.empty()) << "staging meshes are freed as they are built";
        for (const auto& [name, texture] : pool->TexturePool().Textures())
            for (const RawTextureImage& raw : texture->rawImages) EXPECT_TRUE(raw.bytes.empty()) << "freed once built";
        const auto counts = CountDocumentMeshes(*scene);
        EXPECT_EQ(counts.meshes, entry.declarations);
        EXPECT_EQ(counts.triangles, entry.faceSum);
        size_t models = 0, drawing = 0;
        ForEachModel(*scene->GetModelTree(), [&](const Model& model) {
            ++models;
            if (model.GetMesh()) {
                ++drawing;
                EXPECT_EQ(model.GetShaderDescriptions().size(), model.GetMesh()->GetSubObjectCount());
            }
        });
        EXPECT_EQ(models, instances);
        EXPECT_GT(drawing, 0u);
        EXPECT_NE(scene->GetCameras().count("___DefaultCamera"), 0u);
        ++built;
    }
    EXPECT_GE(built, 50u);
    EXPECT_GT(blended, 0u);
}

TEST_F(U3DSceneBuild, ViewNodesBecomeNamedCameras) {
    auto pool = MakePool();
    ASSERT_TRUE(pool->LoadFromFile(TestFile("views.u3d"), nullptr));
    std::vector<std::string> views;
    for (const auto& [name, node] : pool->NodePool().ViewNodes()) views.push_back(name);
    ASSERT_GE(views.size(), 2u);
    LogCapture log(2);
    uint32_t handle = 0;
    ASSERT_TRUE(pool->BuildSceneGraph(handle, nullptr));
    SceneGuard guard(handle);
    const auto& cameras = guard.Scene()->GetCameras();
    size_t found = 0;
    for (const std::string& name : views) {
        const auto it = cameras.find(name);
        if (it == cameras.end()) {
            EXPECT_TRUE(log.Has("camera '" + name + "' ignored!") ||
                        log.Has("Unable to add camera info '" + name + "'"))
                << name;
            continue;
        }
        ++found;
        const auto& camera = it->second;
        EXPECT_GT(camera.nearClip, 0.0f);
        for (int r = 0; r < 3; ++r) {
            const auto& row = camera.orientation[r];
            EXPECT_NEAR(row[0] * row[0] + row[1] * row[1] + row[2] * row[2], 1.0f, 1e-4f);
        }
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(camera.target[k] - camera.eye[k], camera.orientation[2][k], 1e-4f);
    }
    EXPECT_GE(found, 2u);
}

TEST_F(U3DSceneBuild, ModelWithLostMeshBecomesInvisibleAndTheLoadGoesOn) {
    auto pool = MakePool();
    ASSERT_TRUE(pool->LoadFromFile(TestFile("VertexColor.u3d"), nullptr));
    auto& meshes = pool->MeshPool().meshes;
    ASSERT_GE(meshes.size(), 2u);
    const std::string lost = meshes.begin()->first;
    meshes.erase(meshes.begin());
    const size_t instances = pool->NodePool().GetRoot()->CountDescendants();
    LogCapture log(2);
    uint32_t handle = 0;
    ASSERT_TRUE(pool->BuildSceneGraph(handle, nullptr));
    SceneGuard guard(handle);
    size_t models = 0, invisible = 0;
    ForEachModel(*guard.Scene()->GetModelTree(), [&](const Model& model) {
        ++models;
        if (dynamic_cast<const InvisibleModel*>(&model)) ++invisible;
    });
    EXPECT_EQ(models, instances);
    EXPECT_GE(invisible, 1u);
}

TEST_F(U3DSceneBuild, InterruptedOrEmptyBuildReleasesItsScene) {
    auto pool = MakePool();
    ASSERT_TRUE(pool->LoadFromFile(TestFile("box.u3d"), nullptr));
    const size_t before = SceneManager::Instance().GetScenes().size();
    AuthoringInterrupt::Set();
    uint32_t handle = 123;
    EXPECT_FALSE(pool->BuildSceneGraph(handle, nullptr));
    AuthoringInterrupt::Reset();
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(SceneManager::Instance().GetScenes().size(), before);
    // A file of one group node has nothing to draw.
    U3DWriter::U3DFileWriter file;
    file.AddBlock(0xFFFFFF21, U3DWriter::GroupNodeBlock("group", {U3DWriter::ParentEntry{}}));
    const std::string path = ::testing::TempDir() + "group_only.u3d";
    ASSERT_TRUE(file.WriteTo(path));
    auto empty = MakePool();
    ASSERT_TRUE(empty->LoadFromFile(path, nullptr));
    LogCapture log(2);
    EXPECT_FALSE(empty->BuildSceneGraph(handle, nullptr));
    EXPECT_EQ(SceneManager::Instance().GetScenes().size(), before);
}

}  // namespace
