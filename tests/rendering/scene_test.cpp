// Scenes: the scene graph's size rules, helpers, cameras and links to views; the model tree.

#include <epoxy/gl.h>

#include <vector>

#include "color_target.h"
#include "rendering/SimpleMeshFactory.h"
#include "scene_test_support.h"

namespace kestrum_test::scene {
namespace {

class SceneGraphTest : public SceneTest {};

struct SizeCase {
    float extent;
    float rescale;
    float maxDimension;
    float grid;
};

TEST_F(SceneGraphTest, SizeRuleMovesOnlyTheExponent) {
    const SizeCase cases[] = {
        {250.0f, 1.0f, 250.0f, 1000.0f}, {2500.0f, 0.1f, 250.0f, 1000.0f}, {0.005f, 10.0f, 0.05f, 0.1f},
        {100.0f, 1.0f, 100.0f, 1000.0f}, {0.01f, 1.0f, 0.01f, 0.01f},      {50.0f, 1.0f, 50.0f, 100.0f},
        {10.0f, 1.0f, 10.0f, 100.0f},    {2.0f, 1.0f, 2.0f, 10.0f},
    };
    for (const SizeCase& c : cases) {
        SCOPED_TRACE(c.extent);
        log_->Clear();
        const SceneHandle handle = BoxScene({0, 0, 0}, {c.extent, c.extent * 0.5f, c.extent * 0.25f});
        ASSERT_NE(handle, 0u);
        auto scene = Scene(handle);
        EXPECT_FLOAT_EQ(scene->GetRescaleFactor(), c.rescale);
        EXPECT_NEAR(scene->GetMaxDimension(), c.maxDimension, c.maxDimension * 1e-5f);
        EXPECT_NEAR(scene->GetGridSize(), c.grid, c.grid * 1e-5f);
        const Vec3 center = scene->GetCenter();
        EXPECT_NEAR(center[0], c.maxDimension * 0.5f, c.maxDimension * 1e-5f);
        EXPECT_FLOAT_EQ(scene->GetModelTree()->GetScale()[0], c.rescale);
        SceneManager::Instance().ReleaseScene(handle);
    }
}

TEST_F(SceneGraphTest, WorldAxisAndGridAxisAreNeverShownTogether) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    auto scene = Scene(handle);
    const struct {
        bool axis, grid, gridAxis;
    } cases[] = {{true, true, false}, {false, true, true}, {true, false, false}, {false, false, false}};
    for (const auto& c : cases) {
        scene->SetAxisVisible(c.axis);
        scene->SetGridVisible(c.grid);
        EXPECT_EQ(scene->GetWorldAxis()->IsVisible(), c.axis);
        EXPECT_EQ(scene->GetWorldGrid()->IsVisible(), c.grid);
        EXPECT_EQ(scene->GetWorldGridAxis()->IsVisible(), c.gridAxis);
    }
}

// The orbit crosshair is one helper mesh of two arcs; both draw with the helper's one shader.
TEST_F(SceneGraphTest, HelperOfSeveralSubObjectsDraws) {
    const SceneHandle handle = BoxScene({0, 0, 0}, {1, 1, 1});
    ASSERT_NE(handle, 0u);
    auto crosshair = Scene(handle)->CreateUIElement(SimpleMeshType::SphereCrosshairUI, 0, {1, 1, 0, 1});
    ASSERT_TRUE(crosshair);
    kestrum_test::ColorTarget target(64, 64);
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    crosshair->SetVisible(true);
    crosshair->Render(0.0f, 0.0f);
    const std::vector<uint8_t> rgba = target.Read();
    glUseProgram(0);
    glBindVertexArray(0);
    size_t lit = 0;
    for (size_t i = 0; i < rgba.size(); i += 4) lit += rgba[i] != 0 ? 1 : 0;
    EXPECT_GT(lit, 0u);
}

TEST_F(SceneGraphTest, DefaultCameraLooksDownMinusZInDocumentUnits) {
    const SceneHandle handle = BoxScene({1000, 0, 0}, {3000, 500, 500});  // rescaled by 0.1
    auto scene = Scene(handle);
    ASSERT_FLOAT_EQ(scene->GetRescaleFactor(), 0.1f);
    const auto& cameras = scene->GetCameras();
    ASSERT_EQ(cameras.count(kDefaultCameraName), 1u);
    const CameraInfo& camera = cameras.at(kDefaultCameraName);
    EXPECT_EQ(camera.type, CameraType::Orbit);
    EXPECT_TRUE(camera.isDefault);
    EXPECT_NEAR(camera.target[0], 2000.0f, 0.05f);
    EXPECT_NEAR(camera.target[1], 250.0f, 0.05f);
    EXPECT_NEAR(camera.target[2], 250.0f, 0.05f);
    EXPECT_NEAR(camera.eye[2], 250.0f + 4000.0f, 0.1f);
    EXPECT_FLOAT_EQ(camera.orientation[2][2], -1.0f);
    EXPECT_NEAR(camera.nearClip, scene->GetGridSize() * 0.0001f, 1e-6f);
    EXPECT_NEAR(camera.farClip, scene->GetGridSize() * 100.0f, 1e-3f);
}

TEST_F(SceneGraphTest, UnlinkingTheLastViewReleasesTheScene) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView first("first", 16, 16), second("second", 16, 16);
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, first.get()));
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, second.get()));
    EXPECT_EQ(SceneManager::Instance().GetReferenceCount(handle), 2u);
    std::weak_ptr<SceneGraph> watch = Scene(handle);
    EXPECT_TRUE(SceneManager::Instance().UnlinkSceneFromRenderView(first.get()));
    EXPECT_EQ(first->GetSceneHandle(), 0u);
    EXPECT_FALSE(first->HasScreenQuad());
    EXPECT_NE(Scene(handle), nullptr);
    EXPECT_TRUE(SceneManager::Instance().UnlinkSceneFromRenderView(second.get()));
    EXPECT_EQ(Scene(handle), nullptr);
    EXPECT_TRUE(watch.expired());
    log_->Clear();
    EXPECT_FALSE(SceneManager::Instance().UnlinkSceneFromRenderView(second.get()));
    EXPECT_TRUE(kestrum_test::TakeGLError().empty());
}

class ModelTree : public SceneTest {
protected:
    void SetUp() override {
        SceneTest::SetUp();
        handle_ = NewScene();
        ASSERT_NE(handle_, 0u);
        mesh_ = MakeBox(handle_, "cubeMesh", {-1, -1, -1}, {1, 1, 1}, FaceColors());
        ASSERT_NE(mesh_, nullptr);
    }
    std::shared_ptr<Model> Make(const std::string& name) { return MakeModel(handle_, name, mesh_); }

    SceneHandle handle_ = 0;
    std::shared_ptr<Mesh> mesh_;
};

TEST_F(ModelTree, SetMatrixDecomposesAndRebuildsTheMatrix) {
    auto model = Make("m");
    const Mat4 m{0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 5, 6, 7, 1};
    model->SetMatrix(m);
    EXPECT_TRUE(model->IsDirty());
    model->UpdateWorldMatrix();
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(model->GetWorldMatrix()[size_t(i)], m[size_t(i)], 1e-5f) << i;
    EXPECT_FLOAT_EQ(model->GetScale()[1], 3.0f);
    const Mat3& n = model->GetRenderInfo().normalMatrix;
    EXPECT_NEAR(n[1], 0.5f, 1e-5f);          // column 0 = (0, 1/2, 0)
    EXPECT_NEAR(n[3], -1.0f / 3.0f, 1e-5f);  // column 1 = (-1/3, 0, 0)
    EXPECT_NEAR(n[8], 0.25f, 1e-5f);
    // A quarter turn about y, doubled: the normal matrix is the turn halved.
    model->SetMatrix({0, 0, -2, 0, 0, 2, 0, 0, 2, 0, 0, 0, 0, 0, 0, 1});
    model->UpdateWorldMatrix();
    EXPECT_NEAR(n[2], -0.5f, 1e-5f);  // column 0 = (0, 0, -1/2)
    EXPECT_NEAR(n[6], 0.5f, 1e-5f);   // column 2 = (1/2, 0, 0)
}

TEST_F(ModelTree, ParentMatricesReachTheWholeSubtree) {
    auto root = InvisibleModel::Create(handle_, "root");
    auto child = Make("child");
    child->SetTranslation({0, 1, 0});
    root->AddChild(child, "");
    root->SetTranslation({10, 0, 0});
    root->UpdateWorldMatrix();
    EXPECT_FLOAT_EQ(child->GetWorldMatrix()[12], 10.0f);
    EXPECT_FLOAT_EQ(child->GetWorldMatrix()[13], 1.0f);
    SceneBoundingBox box;
    root->CalculateBoundingBox(box);
    ASSERT_TRUE(box.valid);
    EXPECT_FLOAT_EQ(box.min[0], 9.0f);
    EXPECT_FLOAT_EQ(box.max[1], 2.0f);
}

// Scenes drawn for the pass and visibility rules: a red opaque cube at the back and a half
// transparent green slab in front of it, named so that map order would draw the slab first.
class ModelPasses : public SceneTest {
protected:
    SceneHandle Build(bool slabTransparent) {
        const SceneHandle handle = NewScene();
        auto root = InvisibleModel::Create(handle, "___TEST_ROOT");
        auto back = MakeModel(handle, "z_back", MakeBox(handle, "back", {-1, -1, -1}, {1, 1, 0}, {{1, 0, 0, 1}}));
        auto slab = MakeModel(handle, "a_slab", MakeBox(handle, "slab", {-1, -1, 0.5f}, {1, 1, 1}, {{0, 1, 0, 0.5f}}));
        slab->SetTransparent(slabTransparent);
        root->AddChild(back, "");
        root->AddChild(slab, "");
        root->UpdateWorldMatrix();
        SceneCreationInfo info;
        info.modelTree = root;
        info.axisVisible = info.gridVisible = false;
        return Scene(handle)->Init(info) ? handle : 0;
    }
    std::array<int, 3> CentreOf(SceneHandle handle) {
        CaptureView view("passes", 64, 64);
        if (!view || !SceneManager::Instance().LinkSceneToRenderView(handle, view.get())) return {-1, -1, -1};
        Picture picture;
        if (!view.Capture(picture)) return {-1, -1, -1};
        return picture.At(32, 32);
    }
};

TEST_F(ModelPasses, TransparentModelIsDrawnAfterTheOpaqueOnes) {
    const auto centre = CentreOf(Build(true));
    EXPECT_NEAR(centre[0], 127, 2);
    EXPECT_NEAR(centre[1], 128, 2);
    EXPECT_EQ(centre[2], 0);
}

}  // namespace
}  // namespace kestrum_test::scene
