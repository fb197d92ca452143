// Cameras: the arcball, the controller's camera set, clipping, navigation by mouse and wheel.

#include <gtest/gtest.h>

#include <cmath>

#include "camera_fake_scene.h"
#include "rendering/Arcball.h"
#include "rendering/CameraController.h"
#include "rendering/CameraInfo.h"
#include "rendering/MathUtil.h"
#include "support/LogCapture.h"

namespace kestrum_test {
namespace {

using namespace cam;
using Velmora::Test::LogCapture;

TEST(Arcball, MapsCentreRimAndOutside) {
    Vec3 p = Arcball::MapToSphere(100, 50, 200, 100, 45);
    EXPECT_EQ(p, (Vec3{0, 0, 1}));
    p = Arcball::MapToSphere(100 + 45, 50, 200, 100, 45);
    EXPECT_NEAR(p[0], 1.0f, 1e-6f);
    EXPECT_NEAR(p[2], 0.0f, 1e-6f);
    p = Arcball::MapToSphere(100 + 300, 50 + 400, 200, 100, 45);
    EXPECT_NEAR(p[0], 0.6f, 1e-6f);
    EXPECT_NEAR(p[1], 0.8f, 1e-6f);
    EXPECT_EQ(p[2], 0.0f);
    p = Arcball::MapToSphere(110, 40, 200, 100, 45);
    EXPECT_NEAR(MathUtil::Length(p), 1.0f, 1e-6f);
    EXPECT_LT(p[1], 0.0f);  // above the centre in the window is negative y
}

constexpr SceneHandle kHandle = 41;
constexpr uint32_t kWidth = 800;
constexpr uint32_t kHeight = 600;

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
        controller.OnViewportChanged({0, 0, kWidth, kHeight});
        return controller.OnSceneGraphSet(kHandle);
    }

    LogCapture capture;
    FakeScene scene;
    CameraController controller;
};

TEST_F(ControllerFixture, RescaleAndCentreApplyToEveryCamera) {
    scene.rescale = 0.1f;
    scene.center = {10, 20, 30};
    scene.maxDimension = 250.0f;
    scene.gridSize = 1000.0f;
    scene.AddDefaultCamera();
    ASSERT_TRUE(Attach());
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
    int active = 0;
    for (const auto& [name, camera] : controller.GetCameras()) active += camera.IsActive();
    EXPECT_EQ(active, 1);
    EXPECT_EQ(scene.view, controller.GetActiveCamera().GetViewMatrix());
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
    info.nearClip = 1.0f;
    info.farClip = 0.5f;
    ASSERT_TRUE(camera.Init(info));
    EXPECT_FLOAT_EQ(camera.GetFarClip(), 1000.0f);
    SceneCamera noGrid(kHandle, 0.0f);
    EXPECT_FALSE(noGrid.Init(info));
}

TEST(SceneCameraInit, FarAwayCameraIsPulledInGradually) {
    LogCapture capture;
    FakeScene scene(kHandle);
    SceneCamera camera(kHandle, 1.0f);  // far at most 100, max distance 90
    CameraInfo info = OrbitCamera("Far", {0, 0, 95}, {0, 0, 0});
    info.farClip = 100.0f;
    ASSERT_TRUE(camera.Init(info));
    EXPECT_FLOAT_EQ(camera.GetDistance(), 95.0f);
    EXPECT_FLOAT_EQ(camera.GetTargetDistance(), 90.0f);
    camera.SetMovementScale(2.0f);
    camera.Update(1.0f);  // 2 units a second
    EXPECT_FLOAT_EQ(camera.GetDistance(), 93.0f);
    EXPECT_NEAR(camera.GetEye()[2], 93.0f, 1e-4f);
    camera.Update(10.0f);  // never past the target distance
    EXPECT_FLOAT_EQ(camera.GetDistance(), 90.0f);
}

Vec3 Ndc(const FakeScene& scene, const Vec3& p) {
    const Vec4 c = ToClip(scene.projection, scene.view, p);
    return {c[0] / c[3], c[1] / c[3], c[2] / c[3]};
}

// The default orbit camera on +z looking at the origin from 100 units, in an 800 x 600 view.
struct NavigationFixture : ControllerFixture {
    NavigationFixture() { EXPECT_TRUE(Attach()); }

    void Drag(int32_t x0, int32_t y0, int32_t x1, int32_t y1, int steps = 8) {
        controller.OnPrimaryDown(x0, y0);
        for (int i = 1; i <= steps; ++i)
            controller.OnPrimaryMove(x0 + (x1 - x0) * i / steps, y0 + (y1 - y0) * i / steps);
        controller.OnPrimaryUp();
    }

    SceneCamera& Active() { return controller.GetActiveCamera(); }
};

TEST_F(NavigationFixture, PerspectiveProjectionFollowsFieldOfViewAndAspect) {
    const SceneCamera& camera = Active();
    const float n = camera.GetNearClip();
    const float f = camera.GetFarClip();
    const float top = std::tan(45.0f * 0.5f * MathUtil::kDegToRad) * n;
    const float right = top * kWidth / kHeight;
    const Mat4& p = scene.projection;
    Vec4 c = MathUtil::Transform(p, {right, top, -n, 1});
    EXPECT_NEAR(c[0] / c[3], 1.0f, 1e-4f);
    EXPECT_NEAR(c[1] / c[3], 1.0f, 1e-4f);
    EXPECT_NEAR(c[2] / c[3], -1.0f, 1e-4f);
    c = MathUtil::Transform(p, {0, 0, -f, 1});
    EXPECT_NEAR(c[2] / c[3], 1.0f, 1e-3f);
    const Vec3 nearPoint = Ndc(scene, {10, 0, 0});
    const Vec3 farPoint = Ndc(scene, {10, 0, -100});
    EXPECT_GT(nearPoint[0], farPoint[0] * 1.5f);
}

TEST_F(NavigationFixture, OrbitKeepsTheTargetAtTheScreenCentre) {
    Drag(400, 300, 650, 120);
    Drag(100, 500, 420, 310, 3);
    EXPECT_TRUE(MathUtil::Length(MathUtil::Sub(Active().GetEye(), Vec3{0, 0, 100})) > 1.0f);
    const Vec3 target = Ndc(scene, Active().GetTarget());
    EXPECT_NEAR(target[0], 0.0f, 1e-5f);
    EXPECT_NEAR(target[1], 0.0f, 1e-5f);
    EXPECT_NEAR(MathUtil::Length(MathUtil::Sub(Active().GetEye(), Active().GetTarget())), 100.0f, 1e-3f);
    const Vec3 cross = MathUtil::Cross(Active().GetRight(), Active().GetUp());
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(cross[i], Active().GetForward()[i], 1e-5f);
}

TEST_F(NavigationFixture, PanningDragsTheSceneByTheViewDistance) {
    const Vec3 eye = Active().GetEye();
    controller.PanBy(80.0f, 0.0f);  // a tenth of the width: 10 units at distance 100
    controller.PanBy(0.0f, 60.0f);  // a tenth of the height
    const Vec3 moved = MathUtil::Sub(Active().GetEye(), eye);
    EXPECT_NEAR(MathUtil::Dot(moved, Active().GetRight()), 10.0f, 1e-4f);
    EXPECT_NEAR(MathUtil::Dot(moved, Active().GetUp()), 10.0f, 1e-4f);
    EXPECT_EQ(MathUtil::Sub(Active().GetTarget(), Active().GetEye()), MathUtil::Sub(Vec3{0, 0, 0}, eye));
    const Vec3 origin = Ndc(scene, {0, 0, 0});
    EXPECT_GT(origin[0], 0.0f);
    EXPECT_LT(origin[1], 0.0f);
}

TEST_F(NavigationFixture, WheelZoomsWithinTheClippingRange) {
    SceneCamera& camera = Active();
    const float scale = camera.GetMovementScale();
    ASSERT_FLOAT_EQ(scale, 100.0f);  // the grid
    controller.Zoom(-0.1f);          // negative: closer
    EXPECT_FLOAT_EQ(camera.GetTargetDistance(), 100.0f - scale * 0.1f);
    controller.Zoom(0.01f);  // fine step back
    EXPECT_FLOAT_EQ(camera.GetTargetDistance(), 90.0f + scale * 0.01f);
    for (int i = 0; i < 50; ++i) controller.Zoom(-0.1f);
    EXPECT_FLOAT_EQ(camera.GetTargetDistance(), camera.GetNearClip() * 1.5f);
    controller.Render(false, scene, 0.0f, 0.05f);
    EXPECT_FLOAT_EQ(camera.GetDistance(), 100.0f - 5.0f);
    EXPECT_NEAR(Ndc(scene, camera.GetTarget())[0], 0.0f, 1e-5f);
}

TEST_F(NavigationFixture, OrthographicWheelScalesTheZoomWithinBounds) {
    CameraInfo info = scene.cameras.at(kDefaultCameraName);
    info.name = "Ortho";
    info.isDefault = false;
    info.orthographic = true;
    info.orthoZoom = 2.0f;
    info.orthoViewHeightFactor = 0.1f;
    ASSERT_TRUE(controller.AddCamera(info));
    ASSERT_TRUE(controller.ActivateCamera("Ortho"));
    controller.Zoom(-0.1f);
    EXPECT_FLOAT_EQ(Active().GetOrthoZoom(), 2.2f);
    EXPECT_NEAR(Ndc(scene, {0, 60.0f / 4.4f, 0})[1], 1.0f, 1e-5f);
    for (int i = 0; i < 200; ++i) controller.Zoom(-0.1f);
    EXPECT_FLOAT_EQ(Active().GetOrthoZoom(), 200.0f);
    for (int i = 0; i < 400; ++i) controller.Zoom(0.1f);
    EXPECT_FLOAT_EQ(Active().GetOrthoZoom(), 0.002f);
    const Mat4 view = scene.view;
    controller.Render(false, scene, 0.0f, 0.05f);
    EXPECT_EQ(scene.view, view);
}

}  // namespace
}  // namespace kestrum_test
