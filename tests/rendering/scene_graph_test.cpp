// The scene registry and the scene graph: handles, the size rule and the grid, the default
// camera, document cameras, helper models, and the lifetime of a scene through its views.

#include "scene_test_support.h"

namespace kestrum_test::scene {
namespace {

class SceneGraphTest : public SceneTest {};

TEST_F(SceneGraphTest, HandlesCountUpAndAreNeverReused) {
    const SceneHandle a = NewScene();
    const SceneHandle b = NewScene();
    ASSERT_NE(a, 0u);
    EXPECT_EQ(b, a + 1);
    SceneManager::Instance().ReleaseScene(a);
    EXPECT_EQ(SceneManager::Instance().GetScene(a), nullptr);
    EXPECT_EQ(NewScene(), b + 1);
    // Releasing an unknown handle does nothing.
    SceneManager::Instance().ReleaseScene(a);
    SceneManager::Instance().ReleaseScene(0);
}

struct SizeCase {
    float extent;
    float rescale;
    float maxDimension;
    float grid;
};

TEST_F(SceneGraphTest, SizeRuleMovesOnlyTheExponent) {
    // 0.01f lies just below 0.01, so its power of ten is 0.001 and its grid 0.01.
    const SizeCase cases[] = {
        {250.0f, 1.0f, 250.0f, 1000.0f},  {2500.0f, 0.1f, 250.0f, 1000.0f}, {0.005f, 10.0f, 0.05f, 0.1f},
        {100.0f, 1.0f, 100.0f, 1000.0f},  {0.01f, 1.0f, 0.01f, 0.01f},       {50.0f, 1.0f, 50.0f, 100.0f},
        {10.0f, 1.0f, 10.0f, 100.0f},     {2.0f, 1.0f, 2.0f, 10.0f},
    };
    for (const SizeCase& c : cases) {
        SCOPED_TRACE(c.extent);
        log_->Clear();
        // The box starts at the origin so that its extent is the float given, exactly.
        const SceneHandle handle = BoxScene({0, 0, 0}, {c.extent, c.extent * 0.5f, c.extent * 0.25f});
        ASSERT_NE(handle, 0u);
        auto scene = Scene(handle);
        EXPECT_FLOAT_EQ(scene->GetRescaleFactor(), c.rescale);
        EXPECT_NEAR(scene->GetMaxDimension(), c.maxDimension, c.maxDimension * 1e-5f);
        EXPECT_NEAR(scene->GetGridSize(), c.grid, c.grid * 1e-5f);
        EXPECT_EQ(log_->Has("Scene dimensions outside allowed range, rescaled by a factor of", 3), c.rescale != 1.0f);
        // The model tree carries the rescale and the move of the centre to the origin.
        const Vec3 center = scene->GetCenter();
        EXPECT_NEAR(center[0], c.maxDimension * 0.5f, c.maxDimension * 1e-5f);
        EXPECT_FLOAT_EQ(scene->GetModelTree()->GetScale()[0], c.rescale);
        SceneManager::Instance().ReleaseScene(handle);
    }
}

TEST_F(SceneGraphTest, GridRuleIsTheNextPowerOfTen) {
    EXPECT_FLOAT_EQ(SceneGraph::GridSizeFor(250.0f), 1000.0f);
    EXPECT_FLOAT_EQ(SceneGraph::GridSizeFor(50.0f), 100.0f);
    EXPECT_FLOAT_EQ(SceneGraph::GridSizeFor(10.0f), 100.0f);
    EXPECT_FLOAT_EQ(SceneGraph::GridSizeFor(99.0f), 100.0f);
    EXPECT_NEAR(SceneGraph::GridSizeFor(0.05f), 0.1f, 1e-6f);
}

TEST_F(SceneGraphTest, SceneMeasuresLogTheirFigures) {
    ASSERT_NE(BoxScene({-1, -2, -3}, {1, 2, 3}), 0u);
    EXPECT_TRUE(log_->Has("Scene BBox is now: (-1.00,-2.00,-3.00)(1.00,2.00,3.00)", 3));
    EXPECT_TRUE(log_->Has("Scene Dimensions calculated as: (2.000, 4.000, 6.000) -> max 6.0000", 3));
    EXPECT_TRUE(log_->Has("Scene Center calculated as: (0.000, 0.000, 0.000)", 3));
    EXPECT_TRUE(log_->Has("Actual world size: 6.0000, resulting grid size: 10.0000", 3));
}

TEST_F(SceneGraphTest, AllZeroExtentsFailInit) {
    EXPECT_EQ(BoxScene({3, 3, 3}, {3, 3, 3}), 0u);
    EXPECT_TRUE(log_->Has("SceneGraph::CalculateSceneDimensions - scene dimenions ZERO -> no geometry?", 1));
    EXPECT_TRUE(log_->Has("SceneGraph::Init - Failed to calculate scene dimensions", 1));
}

TEST_F(SceneGraphTest, InitWithoutTreeFails) {
    const SceneHandle handle = NewScene();
    SceneCreationInfo info;
    EXPECT_FALSE(Scene(handle)->Init(info));
    EXPECT_TRUE(log_->Has("SceneGraph::Init - No model tree provided", 1));
}

TEST_F(SceneGraphTest, TreeHangsUnderRootBesideTheLights) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    auto scene = Scene(handle);
    EXPECT_EQ(scene->GetRootModel()->GetName(), "root");
    EXPECT_EQ(scene->GetLightModelTree()->GetName(), "lights");
    EXPECT_EQ(scene->GetRootModel()->FindChild("lights"), scene->GetLightModelTree());
    EXPECT_EQ(scene->GetRootModel()->FindChild("box"), scene->GetModelTree()->FindChild("box"));
    // lights, the test root and the box.
    EXPECT_EQ(scene->CountModels(), 3u);
    // The scene's box and axis hang on the tree root, hidden.
    ASSERT_NE(scene->GetModelTree()->GetBoundingBoxModel(), nullptr);
    EXPECT_FALSE(scene->GetModelTree()->GetBoundingBoxModel()->IsVisible());
    ASSERT_NE(scene->GetModelTree()->GetAxisModel(), nullptr);
    EXPECT_FALSE(scene->GetModelTree()->GetAxisModel()->IsVisible());
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

TEST_F(SceneGraphTest, DefaultCameraLooksDownMinusZInDocumentUnits) {
    const SceneHandle handle = BoxScene({1000, 0, 0}, {3000, 500, 500});  // rescaled by 0.1
    auto scene = Scene(handle);
    ASSERT_FLOAT_EQ(scene->GetRescaleFactor(), 0.1f);
    const auto& cameras = scene->GetCameras();
    ASSERT_EQ(cameras.count(kDefaultCameraName), 1u);
    const CameraInfo& camera = cameras.at(kDefaultCameraName);
    EXPECT_EQ(camera.type, CameraType::Orbit);
    EXPECT_TRUE(camera.isDefault);
    // Target: the centre back in document units; eye twice the largest extent in front.
    EXPECT_NEAR(camera.target[0], 2000.0f, 0.05f);
    EXPECT_NEAR(camera.target[1], 250.0f, 0.05f);
    EXPECT_NEAR(camera.target[2], 250.0f, 0.05f);
    EXPECT_NEAR(camera.eye[2], 250.0f + 4000.0f, 0.1f);
    EXPECT_FLOAT_EQ(camera.orientation[2][2], -1.0f);
    EXPECT_NEAR(camera.nearClip, scene->GetGridSize() * 0.0001f, 1e-6f);
    EXPECT_NEAR(camera.farClip, scene->GetGridSize() * 100.0f, 1e-3f);
}

TEST_F(SceneGraphTest, DuplicateDocumentCameraIsDroppedAndInitSucceeds) {
    const SceneHandle handle = NewScene();
    auto root = InvisibleModel::Create(handle, "___TEST_ROOT");
    root->AddChild(MakeModel(handle, "box", MakeBox(handle, "m", {-1, -1, -1}, {1, 1, 1}, FaceColors())), "");
    root->UpdateWorldMatrix();
    CameraInfo a;
    a.type = CameraType::Orbit;
    a.name = "Front";
    a.eye = {0, 0, 5};
    a.target = {0, 0, 0};
    a.orientation[0] = {-1, 0, 0};
    a.orientation[1] = {0, 1, 0};
    a.orientation[2] = {0, 0, -1};
    CameraInfo b = a;
    b.eye = {0, 0, 9};
    CameraInfo invalid = a;
    invalid.name = "Broken";
    invalid.eye = invalid.target;
    SceneCreationInfo info;
    info.modelTree = root;
    info.cameras = {a, b, invalid};
    ASSERT_TRUE(Scene(handle)->Init(info));
    EXPECT_TRUE(log_->Has("SceneGraph::AddCamera - duplicate entry for camera 'Front'", 1));
    EXPECT_TRUE(log_->Has("SceneGraph::CreateSceneCameras - failed to add camera 'Front', this camera won't be available", 2));
    EXPECT_TRUE(log_->Has("SceneGraph::AddCamera - invalid camera info", 1));
    EXPECT_TRUE(log_->Has("failed to add camera 'Broken'", 2));
    const auto& cameras = Scene(handle)->GetCameras();
    ASSERT_EQ(cameras.size(), 2u);
    EXPECT_FLOAT_EQ(cameras.at("Front").eye[2], 5.0f);  // the first one stays
}

TEST_F(SceneGraphTest, LinkingTwiceWarnsAndSucceeds) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("twice", 16, 16);
    ASSERT_TRUE(view);
    EXPECT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    EXPECT_TRUE(log_->Has("SceneManager::LinkSceneToRenderView - RenderView 'twice' successfully linked to scene", 3));
    EXPECT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    EXPECT_TRUE(log_->Has("SceneManager::LinkSceneToRenderView - RenderView 'twice' already linked to scene", 2));
    EXPECT_EQ(SceneManager::Instance().GetReferenceCount(handle), 1u);
    EXPECT_EQ(view->GetSceneHandle(), handle);

    EXPECT_FALSE(SceneManager::Instance().LinkSceneToRenderView(handle + 1000, view.get()));
    EXPECT_FALSE(SceneManager::Instance().LinkSceneToRenderView(handle, nullptr));
    EXPECT_EQ(log_->Count("SceneManager::LinkSceneToRenderView with invalid scene and/or renderView!"), 2u);
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
    EXPECT_FALSE(log_->Has("not referenced any more", 3));

    EXPECT_TRUE(SceneManager::Instance().UnlinkSceneFromRenderView(second.get()));
    EXPECT_TRUE(log_->Has("SceneManager::UnlinkSceneFromRenderView - RenderView 'second' successfully unlinked from scene", 3));
    EXPECT_TRUE(log_->Has("not referenced any more, will be released", 3));
    EXPECT_EQ(Scene(handle), nullptr);
    EXPECT_TRUE(watch.expired());
    // A view without a scene has nothing to unlink, silently.
    log_->Clear();
    EXPECT_FALSE(SceneManager::Instance().UnlinkSceneFromRenderView(second.get()));
    EXPECT_FALSE(log_->Has("UnlinkSceneFromRenderView", 1));
    EXPECT_TRUE(kestrum_test::TakeGLError().empty());
}

TEST_F(SceneGraphTest, ReleasingALinkedSceneWarnsAndLaterUnlinkIsInvalid) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("released", 16, 16);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    SceneManager::Instance().ReleaseScene(handle);
    EXPECT_TRUE(log_->Has("is being released but still referenced by 1 RenderViews!", 1));
    EXPECT_EQ(Scene(handle), nullptr);
    // The view still shows the handle; drawing it is harmless, unlinking reports the scene gone.
    view->Render(100);
    EXPECT_FALSE(SceneManager::Instance().UnlinkSceneFromRenderView(view.get()));
    EXPECT_TRUE(log_->Has("SceneManager::UnlinkSceneFromRenderView with invalid scene and/or renderView!", 1));
    view->ClearSceneGraph();
}

TEST_F(SceneGraphTest, RunningOutOfBlockBindingPointsFailsCreateScene) {
    // Each scene takes two uniform block binding points; the renderer has a fixed number.
    std::vector<SceneHandle> made;
    SceneHandle last = 0;
    for (int i = 0; i < 64; ++i) {
        const SceneHandle handle = SceneManager::Instance().CreateScene();
        if (handle == 0) break;
        made.push_back(last = handle);
    }
    EXPECT_TRUE(log_->Has("SceneGraph::Init - Failed to init resource managers!", 1));
    EXPECT_LT(made.size(), 64u);
    for (SceneHandle handle : made) SceneManager::Instance().ReleaseScene(handle);
    // The failed attempt used up a handle; the points are free again.
    const SceneHandle again = NewScene();
    EXPECT_EQ(again, last + 2);
}

TEST_F(SceneGraphTest, TwoScenesInTwoViewsKeepTheirOwnCameras) {
    const SceneHandle small = BoxScene({-1, -1, -1}, {1, 1, 1});
    const SceneHandle large = BoxScene({-5, -1, -1}, {5, 1, 1});
    CaptureView a("a", 64, 64), b("b", 64, 64);
    ASSERT_TRUE(a && b);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(small, a.get()));
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(large, b.get()));
    Picture first, second, third;
    ASSERT_TRUE(a.Capture(first));
    ASSERT_TRUE(b.Capture(second));
    ASSERT_TRUE(a.Capture(third));
    // Drawing the other scene in between changes nothing in this one's picture.
    EXPECT_EQ(first.bgra, third.bgra);
    EXPECT_NE(first.bgra, second.bgra);
    // Each scene has its own matrices block.
    EXPECT_NE(Scene(small)->GetResources().GetMatricesBindingPoint(),
              Scene(large)->GetResources().GetMatricesBindingPoint());
}

TEST_F(SceneGraphTest, SetSceneGraphRefusesUnknownScenes) {
    CaptureView view("unknown", 16, 16);
    ASSERT_TRUE(view);
    EXPECT_FALSE(view->SetSceneGraph(987654));
    EXPECT_TRUE(log_->Has("RenderView::SetSceneGraph - invalid scene!", 1));
    EXPECT_EQ(view->GetSceneHandle(), 0u);
}

TEST_F(SceneGraphTest, LightModelsNeedANameAndALightTree) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    auto scene = Scene(handle);
    EXPECT_FALSE(scene->AddLightModel(nullptr));
    EXPECT_TRUE(log_->Has("Failed to add model to light model tree", 1));
    auto marker = InvisibleModel::Create(handle, "lamp");
    ASSERT_TRUE(scene->AddLightModel(marker));
    EXPECT_EQ(scene->FindLightModel("lamp"), marker);
    // The light tree is moved like the model tree: the marker's world matrix has the shift.
    EXPECT_FLOAT_EQ(marker->GetWorldMatrix()[12], scene->GetLightModelTree()->GetWorldMatrix()[12]);
}

}  // namespace
}  // namespace kestrum_test::scene
