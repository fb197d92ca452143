// Whole U3D files built into scene graphs on a headless GL context: meshes with the declared
// face counts, one model per node instance, textures, cameras, lights, and the failure paths.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>

#include "build_support.h"
#include "format/AuthoringInterrupt.h"
#include "format/FormatManager.h"
#include "format/ProgressListener.h"
#include "host/FormatRegistration.h"
#include "rendering/LightModel.h"
#include "rendering/MathUtil.h"
#include "support/LogCapture.h"
#include "u3d/AuthoringPool_U3D.h"

namespace {

using namespace Velmora::U3D;
using Velmora::FormatGlue::AuthoringInterrupt;
using Velmora::FormatGlue::AuthoringPool;
using Velmora::FormatGlue::FormatManager;
using Velmora::FormatGlue::ImportDescriptor;
using Velmora::Rendering::InvisibleModel;
using Velmora::Rendering::Model;
using Velmora::Rendering::SceneGraph;
using Velmora::Rendering::SceneManager;
using Velmora::Test::LogCapture;
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

std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
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
        EXPECT_EQ(log.Count("Failed to upload"), 0u);
        EXPECT_EQ(log.Count("Cannot find mesh"), 0u);
        // Every embedded image decodes, single or as a colour and alpha pair.
        EXPECT_EQ(log.Count("Failed to create renderable texture"), 0u);
        const auto& textureManager = scene->GetResources().textureManager;
        EXPECT_EQ(textureManager.GetTextureNames().size(), textures + 1);
        for (const std::string& name : pairs) {
            const auto texture = textureManager.GetTexture(textureManager.GetTextureId(name));
            ASSERT_TRUE(texture);
            EXPECT_TRUE(texture->HasAlpha()) << name;
            ++blended;
        }
        EXPECT_TRUE(pool->MeshPool().meshes.empty()) << "staging meshes are freed as they are built";

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

TEST_F(U3DSceneBuild, ImportSceneRunsReadAndBuildFromFileAndMemory) {
    LogCapture log(3);
    ImportDescriptor file;
    file.kind = ImportDescriptor::File;
    file.path = TestFile("box.u3d");
    const uint32_t fromFile = FormatManager::Instance().ImportScene(file);
    ASSERT_NE(fromFile, 0u);
    SceneGuard fileGuard(fromFile);
    EXPECT_TRUE(log.Has("U3D-Scene statistics:"));
    EXPECT_TRUE(log.Has("Triangles: 12"));

    const std::vector<uint8_t> bytes = ReadBytes(TestFile("box.u3d"));
    ImportDescriptor memory;
    memory.kind = ImportDescriptor::Memory;
    memory.data = bytes.data();
    memory.dataSize = uint32_t(bytes.size());
    const uint32_t fromMemory = FormatManager::Instance().ImportScene(memory);
    ASSERT_NE(fromMemory, 0u);
    SceneGuard memoryGuard(fromMemory);
    EXPECT_NE(fromMemory, fromFile);
    EXPECT_EQ(CountDocumentMeshes(*memoryGuard.Scene()).triangles, 12u);
    EXPECT_EQ(CountDocumentMeshes(*fileGuard.Scene()).triangles, 12u);
}

struct PercentRecorder : Velmora::FormatGlue::ProgressListener {
    std::vector<int32_t> percents;
    void OnProgress(const Velmora::FormatGlue::ProgressInfo& info) override { percents.push_back(info.percent); }
};

TEST_F(U3DSceneBuild, ProgressRisesToExactlyOneHundredOverReadAndBuild) {
    PercentRecorder recorder;
    ImportDescriptor file;
    file.kind = ImportDescriptor::File;
    file.path = TestFile("SimpleShapesAnimation.u3d");
    file.listener = &recorder;
    const uint32_t handle = FormatManager::Instance().ImportScene(file);
    SceneGuard guard(handle);
    ASSERT_NE(handle, 0u);
    ASSERT_FALSE(recorder.percents.empty());
    EXPECT_EQ(recorder.percents.back(), 100);
    for (size_t i = 1; i < recorder.percents.size(); ++i) EXPECT_LE(recorder.percents[i - 1], recorder.percents[i]);
}

TEST_F(U3DSceneBuild, TexturedLayersReachTheModels) {
    auto pool = MakePool();
    ASSERT_TRUE(pool->LoadFromFile(TestFile("TextureLayers.u3d"), nullptr));
    const size_t declared = pool->TexturePool().Textures().size();
    ASSERT_GT(declared, 0u);
    LogCapture log(2);
    uint32_t handle = 0;
    ASSERT_TRUE(pool->BuildSceneGraph(handle, nullptr));
    SceneGuard guard(handle);
    EXPECT_EQ(log.Count("Failed to create renderable texture"), 0u);
    EXPECT_EQ(log.Count("Cannot find texture"), 0u);
    const auto& textures = guard.Scene()->GetResources().textureManager;
    EXPECT_EQ(textures.GetTextureNames().size(), declared + 1) << "the file's textures and the default one";
    for (const auto& [name, texture] : pool->TexturePool().Textures())
        for (const RawTextureImage& raw : texture->rawImages) EXPECT_TRUE(raw.bytes.empty()) << "freed once built";

    size_t layers = 0;
    ForEachModel(*guard.Scene()->GetModelTree(), [&](const Model& model) {
        const auto& infos = model.GetRenderInfo().shaderInfos;
        for (size_t i = 0; i < infos.size(); ++i) {
            const auto& description = model.GetShaderDescriptions()[i];
            for (uint32_t layer = 0; layer < 8; ++layer) {
                if (!(description.textureLayers & (1u << layer))) continue;
                ++layers;
                EXPECT_TRUE(infos[i].textureMask & (1u << layer));
                EXPECT_NE(infos[i].texture[layer], textures.GetDefaultTextureId());
                EXPECT_TRUE(description.Has(1u << layer)) << "the mesh carries the layer's coordinates";
            }
        }
    });
    EXPECT_GE(layers, declared);
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
            EXPECT_TRUE(log.Has("camera '" + name + "' ignored!") || log.Has("Unable to add camera info '" + name + "'"))
                << name;
            continue;
        }
        ++found;
        const auto& camera = it->second;
        EXPECT_GT(camera.nearClip, 0.0f);
        // Orientation rows stay orthonormal and the target lies one unit along the view row.
        for (int r = 0; r < 3; ++r) {
            const auto& row = camera.orientation[r];
            EXPECT_NEAR(row[0] * row[0] + row[1] * row[1] + row[2] * row[2], 1.0f, 1e-4f);
        }
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(camera.target[k] - camera.eye[k], camera.orientation[2][k], 1e-4f);
    }
    EXPECT_GE(found, 2u);
    EXPECT_EQ(log.Count("No cameras added"), 0u);
}

TEST_F(U3DSceneBuild, LightNodesReachTheLightManager) {
    for (const char* file : {"mp_box_light.u3d", "mp_box_light_direct.u3d"}) {
        SCOPED_TRACE(file);
        auto pool = MakePool();
        ASSERT_TRUE(pool->LoadFromFile(TestFile(file), nullptr));
        const uint32_t declared = pool->LightPool().lightCount;
        const size_t nodes = pool->NodePool().LightNodes().size();
        ASSERT_GT(declared + (pool->LightPool().hasAmbient ? 1 : 0), 0u);
        uint32_t handle = 0;
        ASSERT_TRUE(pool->BuildSceneGraph(handle, nullptr));
        SceneGuard guard(handle);
        const auto& lights = guard.Scene()->GetResources().lightManager;
        // Each light stands where its node puts it: directions along the node's third axis,
        // positions scaled like the geometry (the light tree itself carries the centring).
        size_t checked = 0;
        for (const auto& [name, node] : pool->NodePool().LightNodes()) {
            const auto* data = dynamic_cast<const LightNodeData*>(node->data.get());
            ASSERT_TRUE(data);
            const AuthorLightPool::Entry* entry = pool->LightPool().FindLight(data->resourceName);
            if (!entry) continue;
            // A light below a top-level node takes that node's first instance's matrix.
            Matrix4 m = node->transform;
            if (!node->parentName.empty() && node->parentName != "PDF3D Scene") {
                const auto& top = pool->NodePool().GetRoot()->children;
                const auto parent = top.find(node->parentName);
                if (parent == top.end()) continue;
                m = Velmora::Rendering::MathUtil::Multiply(parent->second->transform, m);
            }
            Velmora::Rendering::LightInfo info;
            ASSERT_TRUE(lights.GetLightInfo(entry->lightIndex, info));
            if (entry->lightType == AuthorLightPool::Directional) {
                const float length = std::sqrt(m[8] * m[8] + m[9] * m[9] + m[10] * m[10]);
                for (int k = 0; k < 3; ++k) EXPECT_NEAR(info.position[k], m[8 + k] / length, 1e-5f);
                EXPECT_EQ(info.position[3], 0.0f);
            } else {
                const float r = guard.Scene()->GetRescaleFactor();
                for (int k = 0; k < 3; ++k) EXPECT_NEAR(info.position[k], m[12 + k] * r, 1e-4f * (1 + std::fabs(m[12 + k])));
                EXPECT_EQ(info.position[3], 1.0f);
            }
            for (int k = 0; k < 3; ++k) EXPECT_EQ(info.diffuse[k], entry->data.diffuse[k]);
            ++checked;
        }
        EXPECT_GT(checked, 0u);
        uint32_t active = 0;
        for (uint32_t i = 0; i < 8; ++i) active += lights.GetBlock().flags[i][0] != 0;
        EXPECT_GT(active, 0u);
        EXPECT_LE(active, declared);
        EXPECT_EQ(lights.GetBlock().enableLighting, 1);
        EXPECT_LE(lights.GetLightModels().size(), nodes);
        for (const auto& [index, marker] : lights.GetLightModels()) {
            ASSERT_TRUE(marker);
            auto model = std::dynamic_pointer_cast<Velmora::Rendering::LightModel>(marker);
            ASSERT_TRUE(model);
            EXPECT_TRUE(guard.Scene()->FindLightModel(model->GetName()));
            Velmora::Rendering::LightInfo info;
            ASSERT_TRUE(lights.GetLightInfo(index, info));
            EXPECT_EQ(model->GetLightType(), info.Type());
        }
    }
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
    EXPECT_TRUE(log.Has("Cannot find mesh '" + lost + "'"));
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

    // Nothing renderable: SceneGraph::Init refuses the empty scene and the handle goes.
    auto lines = MakePool();
    ASSERT_TRUE(lines->LoadFromFile(TestFile("lineset.u3d"), nullptr));
    LogCapture log(2);
    EXPECT_FALSE(lines->BuildSceneGraph(handle, nullptr));
    EXPECT_TRUE(log.Has("Failed to create SceneGraph!", 1));
    EXPECT_EQ(SceneManager::Instance().GetScenes().size(), before);
}

// Truncations and byte damage of a real file: each import either fails or yields a scene
// whose meshes are whole; nothing crashes (the sanitizer build checks the rest).
TEST_F(U3DSceneBuild, DamagedFilesFailCleanlyOrBuildWhatTheyCan) {
    const std::vector<uint8_t> original = ReadBytes(TestFile("box_2shaders.u3d"));
    ASSERT_GT(original.size(), 200u);
    LogCapture quiet(0);
    size_t succeeded = 0, failed = 0;
    auto import = [&](std::vector<uint8_t> bytes) {
        ImportDescriptor memory;
        memory.kind = ImportDescriptor::Memory;
        memory.data = bytes.data();
        memory.dataSize = uint32_t(bytes.size());
        memory.profile = false;
        const uint32_t handle = FormatManager::Instance().ImportScene(memory);
        SceneGuard guard(handle);
        if (handle == 0) {
            ++failed;
            return;
        }
        ++succeeded;
        for (const auto& [name, mesh] : guard.Scene()->GetResources().meshManager.GetMeshes()) {
            if (name.rfind("___", 0) == 0) continue;
            for (uint32_t i = 0; i < mesh->GetSubObjectCount(); ++i) {
                EXPECT_EQ(mesh->GetDrawInfo(i)->drawCount % 3, 0u);
            }
        }
    };
    for (size_t cut = 16; cut < original.size(); cut += 61)
        import(std::vector<uint8_t>(original.begin(), original.begin() + long(cut)));
    uint32_t seed = 12345;
    for (int round = 0; round < 40; ++round) {
        std::vector<uint8_t> bytes = original;
        for (int k = 0; k < 4; ++k) {
            seed = seed * 1664525u + 1013904223u;
            const size_t at = 4 + (seed >> 8) % (bytes.size() - 4);  // keep the signature
            bytes[at] = uint8_t(seed >> 24);
        }
        import(std::move(bytes));
    }
    EXPECT_GT(failed, 0u);
    EXPECT_GT(succeeded, 0u);
}

}  // namespace
