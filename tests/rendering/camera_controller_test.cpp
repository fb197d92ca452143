// CameraController: taking a scene's cameras, the scene frame, switching, removal, the frame's
// pass order and the clipping and distance rules of SceneCamera.

#include <gtest/gtest.h>

#include <cmath>

#include "camera_fake_scene.h"
#include "rendering/CameraController.h"
#include "support/LogCapture.h"

namespace kestrum_test {
namespace {

using namespace cam;
using Velmora::Test::LogCapture;

constexpr SceneHandle kHandle = 41;

CameraInfo OrbitCamera(const std::string& name, const Vec3& eye, const Vec3& target) {
    CameraInfo info;
    info.type = CameraType::Orbit;
    info.name = name;
    info.eye = eye;
    info.target = target;
    info.orientation[0] = {-1, 0, 0};
    info.orientation[1] = {0, 1, 0};
    info.orientation[2] = MathUtil::Normalize(MathUtil::Sub(target, eye));
    info.nearClip = 0.1f;
    info.farClip = 1000.0f;
    return info;
}

struct ControllerFixture : ::testing::Test {
    ControllerFixture() : scene(kHandle) { scene.AddDefaultCamera(); }

    bool Attach() {
        controller.OnViewportChanged({0, 0, 800, 600});
        return controller.OnSceneGraphSet(kHandle);
    }

    LogCapture capture;
    FakeScene scene;
    CameraController controller;
};

TEST_F(ControllerFixture, SceneSetActivatesDefaultCameraAndMakesHiddenOverlay) {
    ASSERT_TRUE(Attach());
    ASSERT_TRUE(controller.HasActiveCamera());
    EXPECT_EQ(controller.GetActiveCamera().GetName(), kDefaultCameraName);
    EXPECT_TRUE(capture.Has("Active camera switched to '___DefaultCamera' [Ortho: FALSE]", 3));
    // The active camera wrote both matrices into the scene's block.
    EXPECT_GT(scene.viewWrites, 0);
    EXPECT_GT(scene.projectionWrites, 0);
    ASSERT_EQ(scene.uiRequests.size(), 2u);
    EXPECT_EQ(scene.uiRequests[0].meshType, 10u);
    EXPECT_EQ(scene.uiRequests[1].meshType, 12u);
    EXPECT_EQ(scene.uiRequests[0].flags, 0x29u);
    EXPECT_FALSE(scene.uiElements[0]->visible);
    EXPECT_FALSE(scene.uiElements[1]->visible);
}

TEST_F(ControllerFixture, SceneSetRefusals) {
    EXPECT_FALSE(controller.OnSceneGraphSet(0));
    EXPECT_TRUE(capture.Has("CameraController::OnSceneGraphSet() - Invalid SceneHandle!", 1));
    EXPECT_FALSE(controller.OnSceneGraphSet(kHandle + 1));
    EXPECT_TRUE(capture.Has("CameraController::OnSceneGraphSet() - Invalid Scene!", 1));
    ASSERT_TRUE(controller.OnSceneGraphSet(kHandle));
    EXPECT_FALSE(controller.OnSceneGraphSet(kHandle));
    EXPECT_TRUE(capture.Has("CameraController::OnSceneGraphSet() - CameraMap not empty!", 1));

    CameraController other;
    scene.failUI = true;
    EXPECT_FALSE(other.OnSceneGraphSet(kHandle));
    EXPECT_TRUE(capture.Has("Failed to create rotation sphere!", 1));
    EXPECT_TRUE(capture.Has("CameraController::OnSceneGraphSet() - Failed to create camera UI elements!", 1));
}

TEST_F(ControllerFixture, SceneWithoutCamerasIsRefused) {
    scene.cameras.clear();
    EXPECT_FALSE(controller.OnSceneGraphSet(kHandle));
    EXPECT_TRUE(capture.Has("Cannot get cameras for scene!", 1));
}

TEST_F(ControllerFixture, DuplicateNameIsRefused) {
    ASSERT_TRUE(Attach());
    ASSERT_TRUE(controller.AddCamera(OrbitCamera("Front", {0, -10, 0}, {0, 0, 0})));
    EXPECT_FALSE(controller.AddCamera(OrbitCamera("Front", {0, -20, 0}, {0, 0, 0})));
    EXPECT_TRUE(capture.Has("CameraController::AddCamera - duplicate entry for camera 'Front'", 1));
    // The first record stays.
    EXPECT_NEAR(controller.GetCameras().at("Front").GetEye()[1], -10.0f, 1e-6f);
    CameraInfo invalid;
    EXPECT_FALSE(controller.AddCamera(invalid));
    EXPECT_TRUE(capture.Has("CameraController::AddCamera - invalid camera info", 1));
}

TEST_F(ControllerFixture, RescaleAndCentreApplyToEveryCamera) {
    // A scene of document size 2500 shrunk by 0.1 whose rescaled centre is (10, 20, 30).
    scene.rescale = 0.1f;
    scene.center = {10, 20, 30};
    scene.maxDimension = 250.0f;
    scene.gridSize = 1000.0f;
    scene.AddDefaultCamera();
    ASSERT_TRUE(Attach());
    // The default camera aims at the document centre, which ends at the origin.
    const SceneCamera& def = controller.GetCameras().at(kDefaultCameraName);
    EXPECT_NEAR(MathUtil::Length(def.GetTarget()), 0.0f, 1e-4f);
    EXPECT_NEAR(def.GetDistance(), 500.0f, 1e-3f);  // twice the rescaled size

    ASSERT_TRUE(controller.AddCamera(OrbitCamera("Doc", {100, 200, 1300}, {100, 200, 300})));
    const SceneCamera& doc = controller.GetCameras().at("Doc");
    EXPECT_NEAR(doc.GetEye()[0], 0.0f, 1e-4f);
    EXPECT_NEAR(doc.GetEye()[1], 0.0f, 1e-4f);
    EXPECT_NEAR(doc.GetEye()[2], 100.0f, 1e-3f);
    EXPECT_NEAR(doc.GetTarget()[2], 0.0f, 1e-4f);
    EXPECT_NEAR(doc.GetDistance(), 100.0f, 1e-3f);
}

TEST_F(ControllerFixture, EditReplacesTheCameraInTheSceneFrame) {
    scene.center = {0, 0, 5};
    ASSERT_TRUE(Attach());
    ASSERT_TRUE(controller.AddCamera(OrbitCamera("Side", {10, 0, 5}, {0, 0, 5})));
    ASSERT_TRUE(controller.EditCamera(OrbitCamera("Side", {0, 20, 5}, {0, 0, 5})));
    const SceneCamera& side = controller.GetCameras().at("Side");
    EXPECT_NEAR(side.GetEye()[1], 20.0f, 1e-5f);
    EXPECT_NEAR(side.GetEye()[2], 0.0f, 1e-5f);
    EXPECT_FALSE(controller.EditCamera(OrbitCamera("Nobody", {1, 0, 0}, {0, 0, 0})));
    EXPECT_TRUE(capture.Has("CameraController::EditCamera - cannot find camera 'Nobody'", 1));
}

TEST_F(ControllerFixture, ActivationByNameAndUnknownName) {
    ASSERT_TRUE(Attach());
    CameraInfo ortho = OrbitCamera("Top", {0, 0, 50}, {0, 0, 0});
    ortho.orthographic = true;
    ortho.orthoViewHeightFactor = 0.1f;
    ASSERT_TRUE(controller.AddCamera(ortho));
    ASSERT_TRUE(controller.ActivateCamera("Top"));
    EXPECT_TRUE(capture.Has("Active camera switched to 'Top' [Ortho: TRUE]", 3));
    EXPECT_FALSE(controller.GetCameras().at(kDefaultCameraName).IsActive());
    EXPECT_EQ(scene.projection, controller.GetActiveCamera().GetProjectionMatrix());
    EXPECT_FALSE(controller.ActivateCamera("Missing"));
    EXPECT_TRUE(capture.Has("Cannot activate camera 'Missing' - NOT FOUND", 2));
    EXPECT_EQ(controller.GetActiveCamera().GetName(), "Top");
}

TEST_F(ControllerFixture, RemovingTheActiveCameraMovesToTheNextNameAndWraps) {
    ASSERT_TRUE(Attach());
    ASSERT_TRUE(controller.AddCamera(OrbitCamera("A", {0, -10, 0}, {0, 0, 0})));
    ASSERT_TRUE(controller.AddCamera(OrbitCamera("B", {0, -11, 0}, {0, 0, 0})));
    // Map order: "A", "B", "___DefaultCamera".
    ASSERT_TRUE(controller.ActivateCamera("A"));
    ASSERT_TRUE(controller.RemoveCamera("A"));
    EXPECT_EQ(controller.GetActiveCamera().GetName(), "B");
    // Lower case sorts after "___": "zeta" is the last name.
    ASSERT_TRUE(controller.AddCamera(OrbitCamera("zeta", {0, -12, 0}, {0, 0, 0})));
    ASSERT_TRUE(controller.ActivateCamera("zeta"));
    ASSERT_TRUE(controller.RemoveCamera("zeta"));
    EXPECT_EQ(controller.GetActiveCamera().GetName(), "B");  // wrapped to the first name
    EXPECT_EQ(controller.GetCameras().size(), 2u);
}

TEST_F(ControllerFixture, NextCameraCyclesInNameOrder) {
    ASSERT_TRUE(Attach());
    ASSERT_TRUE(controller.AddCamera(OrbitCamera("A", {0, -10, 0}, {0, 0, 0})));
    ASSERT_TRUE(controller.AddCamera(OrbitCamera("B", {0, -11, 0}, {0, 0, 0})));
    ASSERT_TRUE(controller.ActivateFirstCamera());
    EXPECT_EQ(controller.GetActiveCamera().GetName(), "A");
    ASSERT_TRUE(controller.ActivateNextCamera());
    EXPECT_EQ(controller.GetActiveCamera().GetName(), "B");
    ASSERT_TRUE(controller.ActivateNextCamera());
    EXPECT_EQ(controller.GetActiveCamera().GetName(), kDefaultCameraName);
    ASSERT_TRUE(controller.ActivateNextCamera());
    EXPECT_EQ(controller.GetActiveCamera().GetName(), "A");
    // Only one camera is ever active, and the scene holds its matrices.
    int active = 0;
    for (const auto& [name, camera] : controller.GetCameras()) active += camera.IsActive();
    EXPECT_EQ(active, 1);
    EXPECT_EQ(scene.view, controller.GetActiveCamera().GetViewMatrix());
}

TEST_F(ControllerFixture, WalkCameraCarriesItsTargetAlong) {
    ASSERT_TRUE(Attach());
    CameraInfo walk = OrbitCamera("Walk", {0, 0, 50}, {0, 0, 40});
    walk.type = CameraType::Walk;
    ASSERT_TRUE(controller.AddCamera(walk));
    ASSERT_TRUE(controller.ActivateCamera("Walk"));
    controller.Zoom(-0.1f);  // 10 units forward at grid 100
    for (int frame = 0; frame < 20; ++frame) controller.Render(false, scene, 0.0f, 0.05f);
    const SceneCamera& camera = controller.GetActiveCamera();
    EXPECT_NEAR(camera.GetEye()[2], 40.0f, 1e-4f);
    EXPECT_NEAR(camera.GetTarget()[2], 30.0f, 1e-4f);
    EXPECT_FLOAT_EQ(camera.GetDistance(), camera.GetTargetDistance());
}

TEST_F(ControllerFixture, RemovalRefusals) {
    ASSERT_TRUE(Attach());
    EXPECT_FALSE(controller.RemoveCamera(kDefaultCameraName));
    EXPECT_TRUE(capture.Has("CameraController::RemoveCamera - Cannot remove default cameras!", 2));
    EXPECT_FALSE(controller.RemoveCamera("Other"));
    EXPECT_TRUE(capture.Has("CameraController::RemoveCamera - Cannot remove the only camera in the scene!", 2));
    ASSERT_TRUE(controller.AddCamera(OrbitCamera("A", {0, -10, 0}, {0, 0, 0})));
    EXPECT_FALSE(controller.RemoveCamera("Other"));
    EXPECT_TRUE(capture.Has("CameraController::RemoveCamera - Cannot remove camera 'Other' - NOT FOUND", 2));
}

TEST_F(ControllerFixture, NoActiveCameraGivesTheSafetyCamera) {
    SceneCamera& camera = controller.GetActiveCamera();
    EXPECT_EQ(camera.GetName(), "__SAFETY_CAM_DO_NOT_USE__");
    EXPECT_EQ(camera.GetType(), CameraType::Fixed);
    EXPECT_EQ(camera.GetViewportWidth(), 640u);
    EXPECT_EQ(camera.GetViewportHeight(), 360u);
    EXPECT_TRUE(capture.Has("SceneGraph::GetActiveCamera - NO ACTIVE CAMERA AVAILABLE", 1));
}

TEST_F(ControllerFixture, ViewportSetsSphereAndAspectCorrectedScale) {
    ASSERT_TRUE(Attach());
    EXPECT_FLOAT_EQ(controller.GetSphereRadiusPixels(), 600.0f * 0.9f * 0.5f);
    EXPECT_FLOAT_EQ(controller.GetCrosshairScaleY(), 0.9f);
    EXPECT_FLOAT_EQ(controller.GetCrosshairScaleX(), 0.9f * 600.0f / 800.0f);
    EXPECT_FLOAT_EQ(scene.uiElements[0]->matrix[0], controller.GetCrosshairScaleX());
    EXPECT_FLOAT_EQ(scene.uiElements[0]->matrix[5], controller.GetCrosshairScaleY());
    EXPECT_FALSE(controller.OnViewportChanged({0, 0, 0, 10}));
    EXPECT_TRUE(capture.Has("CameraController::OnViewportChanged() - Invalid viewport", 1));
    // A tall viewport: the short side is now x.
    ASSERT_TRUE(controller.OnViewportChanged({0, 0, 300, 600}));
    EXPECT_FLOAT_EQ(controller.GetCrosshairScaleX(), 0.9f);
    EXPECT_FLOAT_EQ(controller.GetCrosshairScaleY(), 0.45f);
    EXPECT_EQ(controller.GetActiveCamera().GetViewportWidth(), 300u);
}

TEST_F(ControllerFixture, RenderRunsThePassesInOrderAndZeroesStalls) {
    ASSERT_TRUE(Attach());
    controller.Render(false, scene, 1.0f, 0.016f);
    const std::vector<ScenePass> expected = {ScenePass::WorldAxis, ScenePass::WorldGrid,
                                             ScenePass::GridAxis,  ScenePass::LightTree,
                                             ScenePass::ModelTree, ScenePass::ModelTreeTransparent};
    EXPECT_EQ(scene.passes, expected);
    EXPECT_FLOAT_EQ(scene.passDeltas.front(), 0.016f);
    scene.passes.clear();
    scene.passDeltas.clear();
    controller.Render(false, scene, 2.0f, 0.5f);
    EXPECT_EQ(scene.passDeltas.front(), 0.0f);
    scene.passes.clear();
    scene.renderable = false;
    controller.Render(false, scene, 3.0f, 0.016f);
    EXPECT_TRUE(scene.passes.empty());
}

TEST(SceneCameraInit, ClippingIsBoundByTheGrid) {
    LogCapture capture;
    FakeScene scene(kHandle);
    SceneCamera camera(kHandle, 10.0f);  // near >= 0.001, far <= 1000
    CameraInfo info = OrbitCamera("Clip", {0, 0, 5}, {0, 0, 0});
    info.nearClip = 0.0001f;
    info.farClip = 5000.0f;
    ASSERT_TRUE(camera.Init(info));
    EXPECT_FLOAT_EQ(camera.GetNearClip(), 0.001f);
    EXPECT_FLOAT_EQ(camera.GetFarClip(), 1000.0f);
    EXPECT_TRUE(capture.Has("SceneCamera adjusted near clipping distance from 0.000100 to 0.001000", 3));
    EXPECT_TRUE(capture.Has("SceneCamera adjusted far clipping distance from 5000.000000 to 1000.000000", 3));
    // A far plane not beyond the near plane is replaced as well.
    info.nearClip = 1.0f;
    info.farClip = 0.5f;
    ASSERT_TRUE(camera.Init(info));
    EXPECT_FLOAT_EQ(camera.GetFarClip(), 1000.0f);

    SceneCamera noGrid(kHandle, 0.0f);
    EXPECT_FALSE(noGrid.Init(info));
    EXPECT_TRUE(capture.Has("SceneCamera::Init: Invalid CameraInfo", 1));
}

TEST(SceneCameraInit, FarAwayCameraIsPulledInGradually) {
    LogCapture capture;
    FakeScene scene(kHandle);
    SceneCamera camera(kHandle, 1.0f);  // far at most 100, max distance 90
    CameraInfo info = OrbitCamera("Far", {0, 0, 95}, {0, 0, 0});
    info.farClip = 100.0f;
    ASSERT_TRUE(camera.Init(info));
    EXPECT_TRUE(capture.Has("Camera 'Far' was too far away, automatically repositioned!", 2));
    EXPECT_FLOAT_EQ(camera.GetDistance(), 95.0f);
    EXPECT_FLOAT_EQ(camera.GetTargetDistance(), 90.0f);
    camera.SetMovementScale(2.0f);
    camera.Update(1.0f);  // 2 units a second
    EXPECT_FLOAT_EQ(camera.GetDistance(), 93.0f);
    EXPECT_NEAR(camera.GetEye()[2], 93.0f, 1e-4f);
    camera.Update(10.0f);  // never past the target distance
    EXPECT_FLOAT_EQ(camera.GetDistance(), 90.0f);
}

TEST(SceneCameraInit, MovementScaleHasAFloor) {
    LogCapture capture;
    SceneCamera camera(kHandle, 1.0f);
    camera.SetMovementScale(0.0f);
    EXPECT_FLOAT_EQ(camera.GetMovementScale(), 0.0001f);
    EXPECT_TRUE(capture.Has("SceneCamera::SetMovementScale - invalid scale 0.000", 2));
}

}  // namespace
}  // namespace kestrum_test
