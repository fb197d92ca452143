// Scenes built from pools filled by hand, without the file reader: node tree, mesh, shading
// modifier, shader, material, light and view are set exactly, so each rule of the build is
// checked against known input.

#include <gtest/gtest.h>

#include <cmath>

#include "build_support.h"
#include "format/AuthoringInterrupt.h"
#include "support/LogCapture.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/BlockBase.h"

namespace {

using namespace Velmora::U3D;
using Velmora::FormatGlue::AuthoringPool;
using Velmora::Rendering::InvisibleModel;
using Velmora::Rendering::Model;
using Velmora::Test::LogCapture;
using Velmora::U3D::Test::EnsureBuildContext;
using Velmora::U3D::Test::MeshMaker;
using Velmora::U3D::Test::SceneGuard;

Matrix4 Translated(float x, float y, float z) {
    Matrix4 m = kIdentity;
    m[12] = x;
    m[13] = y;
    m[14] = z;
    return m;
}

class HandMadePool : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(EnsureBuildContext());
        Velmora::FormatGlue::AuthoringInterrupt::Reset();
        pool = AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
        ASSERT_TRUE(pool);
        ASSERT_TRUE(pool->NodePool().Init());
    }

    template <typename Data>
    AuthorNodeHandle AddNode(uint32_t kind, const std::string& name, const std::string& parent, const Matrix4& m,
                             std::shared_ptr<Data> data = std::make_shared<Data>()) {
        data->blockKind = kind;
        data->nodeName = name;
        AuthorNodeHandle node = AuthorNode::Create(parent, m, 0, data);
        pool->NodePool().AddNode(node);
        return node;
    }
    void AddModel(const std::string& name, const std::string& parent, const std::string& mesh, const Matrix4& m) {
        auto data = std::make_shared<ModelNodeData>();
        data->resourceName = mesh;
        AddNode(BlockType::ModelNode, name, parent, m, data);
    }
    // A unit square mesh of two faces in z = 0.
    void AddSquareMesh(const std::string& name) {
        MeshMaker maker(name, 2);
        maker.Data().positions = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
        maker.AddFace(0, 1, 2);
        maker.AddFace(0, 2, 3);
        ASSERT_TRUE(pool->MeshPool().AddMesh(maker.mesh));
    }
    void AddShading(const std::string& node, const std::string& shaderName, const std::string& material) {
        auto group = std::make_shared<ShadingGroup>();
        group->name = node;
        group->shaderLists = {{shaderName}};
        pool->ShaderPool().AddShadingModifier(group);
        auto shader = std::make_shared<AuthorShader>();
        shader->name = shaderName;
        shader->attributes = 1;
        shader->colorBlendFunction = 0x606;
        shader->materialName = material;
        pool->ShaderPool().AddShader(shader);
    }
    uint32_t Build() {
        uint32_t handle = 0;
        EXPECT_TRUE(pool->BuildSceneGraph(handle, nullptr));
        return handle;
    }

    std::shared_ptr<AuthoringPool_U3D> pool;
};

TEST_F(HandMadePool, ModelsCarryMaterialShaderStateAndTransparency) {
    AddSquareMesh("sq");
    AddModel("opaque", "", "sq", Translated(0, 0, 0));
    AddModel("glass", "PDF3D Scene", "sq", Translated(2, 0, 0));
    AddShading("opaque", "s1", "red");
    AddShading("glass", "s2", "clear");
    AuthorMaterial red;
    red.diffuse = {1, 0, 0, 1};
    red.reflectivity = 0.5f;
    AuthorMaterial clear = red;
    clear.opacity = 0.4f;
    pool->MaterialPool().AddMaterial("red", red);
    pool->MaterialPool().AddMaterial("clear", clear);

    LogCapture log;
    SceneGuard guard(Build());
    auto scene = guard.Scene();
    ASSERT_TRUE(scene);
    const auto& materials = scene->GetResources().materialManager;
    const uint32_t redIndex = materials.GetMaterialMap().at("red");
    EXPECT_FLOAT_EQ(materials.GetMaterials()[redIndex].Shininess(), 64.0f) << "reflectivity scaled to shininess";

    auto tree = scene->GetModelTree();
    auto opaque = tree->FindChild("opaque_p0");
    auto glass = tree->FindChild("glass_p0");
    ASSERT_TRUE(opaque && glass);
    EXPECT_EQ(opaque->GetRenderInfo().shaderInfos[0].materialIndex, redIndex);
    EXPECT_EQ(opaque->GetShaderDescriptions()[0].blendMode, 3u);
    EXPECT_FALSE(opaque->IsTransparent());
    EXPECT_TRUE(glass->IsTransparent());
    EXPECT_TRUE(log.Has("Model glass_p0 is TRANSPARENT", 4));
    // Both share one GPU mesh; the second sits two units along x.
    EXPECT_EQ(opaque->GetMesh(), glass->GetMesh());
    EXPECT_FLOAT_EQ(glass->GetTranslation()[0], 2.0f);
    EXPECT_TRUE(log.Has("No cameras added to scene from U3D file!", 2));
    EXPECT_TRUE(log.Has("No lights added to scene from U3D file!", 2));
}

TEST_F(HandMadePool, LostMeshGivesInvisibleModelWhoseChildrenAreStillBuilt) {
    AddSquareMesh("sq");
    AddModel("ghost", "", "missing", Translated(0, 0, 0));
    AddModel("child", "ghost", "sq", Translated(1, 0, 0));
    AddShading("child", "s", "");
    LogCapture log;
    SceneGuard guard(Build());
    ASSERT_TRUE(guard.Scene());
    EXPECT_TRUE(log.Has("Cannot find mesh 'missing' for node 'ghost' -> creating invisible model/mesh", 2));
    auto ghost = guard.Scene()->GetModelTree()->FindChild("ghost_p0");
    ASSERT_TRUE(ghost);
    EXPECT_TRUE(dynamic_cast<InvisibleModel*>(ghost.get()));
    auto child = ghost->FindChild("child_p0");
    ASSERT_TRUE(child);
    EXPECT_TRUE(child->GetMesh());
}

TEST_F(HandMadePool, ViewsBecomeCamerasInTheirParentsFrame) {
    AddSquareMesh("sq");
    AddModel("box", "", "sq", Translated(10, 0, 0));
    AddShading("box", "s", "");
    auto view = std::make_shared<ViewNodeData>();
    view->fieldOfView = 30.0f;
    view->nearClip = 0.0f;
    view->farClip = 500.0f;
    AddNode(BlockType::ViewNode, "front", "", Translated(0, 0, 5), view);
    auto child = std::make_shared<ViewNodeData>(*view);
    AddNode(BlockType::ViewNode, "onbox", "box", Translated(0, 0, 5), child);
    auto ortho = std::make_shared<ViewNodeData>(*view);
    ortho->attributes = 2;
    ortho->orthoHeight = 4.0f;
    AddNode(BlockType::ViewNode, "ortho", "nowhere", Translated(0, 0, 5), ortho);
    auto twoPoint = std::make_shared<ViewNodeData>(*view);
    twoPoint->attributes = 4;
    AddNode(BlockType::ViewNode, "twopoint", "", Translated(0, 0, 5), twoPoint);

    LogCapture log;
    SceneGuard guard(Build());
    ASSERT_TRUE(guard.Scene());
    const auto& cameras = guard.Scene()->GetCameras();
    ASSERT_TRUE(cameras.count("front") && cameras.count("onbox") && cameras.count("ortho"));
    EXPECT_FALSE(cameras.count("twopoint"));
    EXPECT_TRUE(log.Has("1Point and 2Point projections not yet supported - camera 'twopoint' ignored!", 2));
    EXPECT_TRUE(log.Has("View 'onbox' with specific parent: 'box' -> matrix will be adjusted", 2));
    EXPECT_TRUE(log.Has("Cannot find parent 'nowhere' for view 'ortho' -> view will be parented to scene", 2));

    const auto& front = cameras.at("front");
    EXPECT_FLOAT_EQ(front.fieldOfView, 30.0f);
    EXPECT_FLOAT_EQ(front.nearClip, 0.0001f);
    EXPECT_FLOAT_EQ(front.eye[2], 5.0f);
    EXPECT_FLOAT_EQ(front.target[2], 4.0f) << "looking down the negative z axis";
    EXPECT_FLOAT_EQ(front.orientation[0][0], -1.0f);
    EXPECT_FLOAT_EQ(front.orientation[1][1], 1.0f);
    EXPECT_FLOAT_EQ(cameras.at("onbox").eye[0], 10.0f);
    EXPECT_TRUE(cameras.at("ortho").orthographic);
}

TEST_F(HandMadePool, LightsFillTheirSlotsAndTheArtworkScheme) {
    AddSquareMesh("sq");
    AddModel("box", "", "sq", kIdentity);
    AddShading("box", "s", "");
    LightData sun;
    sun.diffuse = {1, 1, 1, 1};
    ASSERT_TRUE(pool->LightPool().AddLight("sunlight", sun, AuthorLightPool::Directional));
    LightData lamp;
    lamp.diffuse = {0.5f, 0.5f, 0.5f, 1};
    lamp.attenuation = {1, 0.1f, 0};
    ASSERT_TRUE(pool->LightPool().AddLight("lamp", lamp, AuthorLightPool::Point));
    pool->LightPool().SetAmbient("amb", {0.2f, 0.2f, 0.2f, 0});
    auto sunNode = std::make_shared<LightNodeData>();
    sunNode->resourceName = "sunlight";
    Matrix4 tilted = kIdentity;
    tilted[8] = 0;
    tilted[9] = 0;
    tilted[10] = 2;  // a scaled z axis still gives a unit direction
    AddNode(BlockType::LightNode, "sun", "", tilted, sunNode);
    auto lampNode = std::make_shared<LightNodeData>();
    lampNode->resourceName = "lamp";
    AddNode(BlockType::LightNode, "lampnode", "", Translated(0.5f, 0.5f, 3), lampNode);
    auto lost = std::make_shared<LightNodeData>();
    lost->resourceName = "nothing";
    AddNode(BlockType::LightNode, "lost", "", kIdentity, lost);

    LogCapture log;
    SceneGuard guard(Build());
    ASSERT_TRUE(guard.Scene());
    EXPECT_TRUE(log.Has("AuthoringPool::CreateLightInstance: Cannot find light source for 'lost'", 2));
    EXPECT_TRUE(log.Has("Unable to create light instance 'lost'", 2));
    const auto& lights = guard.Scene()->GetResources().lightManager;
    Velmora::Rendering::LightInfo info;
    ASSERT_TRUE(lights.GetLightInfo(0, info));
    EXPECT_FLOAT_EQ(info.position[2], 1.0f);
    EXPECT_FLOAT_EQ(info.position[3], 0.0f);
    ASSERT_TRUE(lights.GetLightInfo(1, info));
    EXPECT_FLOAT_EQ(info.position[2], 3.0f * guard.Scene()->GetRescaleFactor());
    EXPECT_FLOAT_EQ(info.position[3], 1.0f);
    EXPECT_FLOAT_EQ(info.constantAttenuation, 1.0f);
    EXPECT_FLOAT_EQ(info.linearAttenuation, 0.1f);
    EXPECT_EQ(lights.GetBlock().flags[0][0], 1);
    EXPECT_EQ(lights.GetBlock().flags[1][0], 1);
    EXPECT_EQ(lights.GetBlock().flags[2][0], 0);
    EXPECT_EQ(lights.GetBlock().enableAmbient, 1);
    EXPECT_FLOAT_EQ(lights.GetBlock().ambientIntensity[0], 0.2f);
    EXPECT_EQ(lights.GetLightModels().size(), 2u);
    EXPECT_TRUE(guard.Scene()->FindLightModel("lampnode_p0"));
    EXPECT_TRUE(guard.Scene()->GetResources().lightingSchemeManager.HasArtwork());
}

}  // namespace
