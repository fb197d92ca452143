// Projection matrices and mouse navigation: orbit by the arcball, free rotation, panning and
// zoom, checked by projecting world points through the matrices the camera writes.

#include <gtest/gtest.h>

#include <cmath>

#include "camera_fake_scene.h"
#include "rendering/CameraController.h"
#include "support/LogCapture.h"

namespace kestrum_test {
namespace {

using namespace cam;
using Velmora::Test::LogCapture;

constexpr SceneHandle kHandle = 42;
constexpr uint32_t kWidth = 800;
constexpr uint32_t kHeight = 600;

Vec3 Ndc(const FakeScene& scene, const Vec3& p) {
    const Vec4 c = ToClip(scene.projection, scene.view, p);
    return {c[0] / c[3], c[1] / c[3], c[2] / c[3]};
}

struct NavigationFixture : ::testing::Test {
    NavigationFixture() : scene(kHandle) {
        scene.AddDefaultCamera();  // orbit camera on +z looking at the origin, distance 100
        controller.OnViewportChanged({0, 0, kWidth, kHeight});
        EXPECT_TRUE(controller.OnSceneGraphSet(kHandle));
    }

    void Drag(int32_t x0, int32_t y0, int32_t x1, int32_t y1, int steps = 8) {
        controller.OnPrimaryDown(x0, y0);
        for (int i = 1; i <= steps; ++i)
            controller.OnPrimaryMove(x0 + (x1 - x0) * i / steps, y0 + (y1 - y0) * i / steps);
        controller.OnPrimaryUp();
    }

    SceneCamera& Active() { return controller.GetActiveCamera(); }

    LogCapture capture;
    FakeScene scene;
    CameraController controller;
};

TEST_F(NavigationFixture, PerspectiveProjectionFollowsFieldOfViewAndAspect) {
    const SceneCamera& camera = Active();
    const float n = camera.GetNearClip();
    const float f = camera.GetFarClip();
    const float top = std::tan(45.0f * 0.5f * MathUtil::kDegToRad) * n;
    const float right = top * kWidth / kHeight;
    // Corners of the near plane land on the corners of clip space, the far plane at depth 1.
    const Mat4& p = scene.projection;
    Vec4 c = MathUtil::Transform(p, {right, top, -n, 1});
    EXPECT_NEAR(c[0] / c[3], 1.0f, 1e-4f);
    EXPECT_NEAR(c[1] / c[3], 1.0f, 1e-4f);
    EXPECT_NEAR(c[2] / c[3], -1.0f, 1e-4f);
    c = MathUtil::Transform(p, {0, 0, -f, 1});
    EXPECT_NEAR(c[2] / c[3], 1.0f, 1e-3f);
    // Perspective: the same offset looks smaller further away.
    const Vec3 nearPoint = Ndc(scene, {10, 0, 0});
    const Vec3 farPoint = Ndc(scene, {10, 0, -100});
    EXPECT_GT(nearPoint[0], farPoint[0] * 1.5f);
}

TEST_F(NavigationFixture, OrthographicProjectionIgnoresDepth) {
    CameraInfo info = scene.cameras.at(kDefaultCameraName);
    info.name = "Ortho";
    info.isDefault = false;
    info.orthographic = true;
    info.orthoZoom = 2.0f;
    info.orthoViewHeightFactor = 0.1f;  // 60 units high at zoom 1
    ASSERT_TRUE(controller.AddCamera(info));
    ASSERT_TRUE(controller.ActivateCamera("Ortho"));
    EXPECT_FLOAT_EQ(Active().GetOrthoViewHeight(), 60.0f);
    // At zoom 2 the view is 30 units high and 40 wide.
    EXPECT_NEAR(Ndc(scene, {0, 15, 0})[1], 1.0f, 1e-5f);
    EXPECT_NEAR(Ndc(scene, {20, 0, 0})[0], 1.0f, 1e-5f);
    EXPECT_NEAR(Ndc(scene, {20, 0, -50})[0], 1.0f, 1e-5f);
    EXPECT_EQ(scene.projection[11], 0.0f);  // no perspective divide
}

TEST_F(NavigationFixture, OrbitKeepsTheTargetAtTheScreenCentre) {
    Drag(400, 300, 650, 120);
    Drag(100, 500, 420, 310, 3);
    EXPECT_TRUE(MathUtil::Length(MathUtil::Sub(Active().GetEye(), Vec3{0, 0, 100})) > 1.0f);
    const Vec3 target = Ndc(scene, Active().GetTarget());
    EXPECT_NEAR(target[0], 0.0f, 1e-5f);
    EXPECT_NEAR(target[1], 0.0f, 1e-5f);
    EXPECT_NEAR(MathUtil::Length(MathUtil::Sub(Active().GetEye(), Active().GetTarget())), 100.0f, 1e-3f);
    // The frame stays orthonormal with right x up = forward.
    const Vec3 cross = MathUtil::Cross(Active().GetRight(), Active().GetUp());
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(cross[i], Active().GetForward()[i], 1e-5f);
}

TEST_F(NavigationFixture, OrbitTurnsTheSceneWithTheMouse) {
    // A point on the object's front face, between target and eye.
    const Vec3 front{0, 0, 30};
    Drag(400, 300, 520, 300);  // to the right
    EXPECT_GT(Ndc(scene, front)[0], 0.05f);
    EXPECT_NEAR(Ndc(scene, front)[1], 0.0f, 1e-4f);
    Drag(520, 300, 400, 300);  // and back
    EXPECT_NEAR(Ndc(scene, front)[0], 0.0f, 1e-4f);
    Drag(400, 300, 400, 420);  // downwards in the window
    EXPECT_LT(Ndc(scene, front)[1], -0.05f);
}

TEST_F(NavigationFixture, DragShowsSphereAndCrosshairOnlyWhileRotating) {
    controller.OnPrimaryDown(400, 300);
    EXPECT_TRUE(controller.IsRotating());
    EXPECT_TRUE(scene.uiElements[0]->visible);
    EXPECT_TRUE(scene.uiElements[1]->visible);
    controller.OnPrimaryMove(500, 300);
    // The crosshair follows the pointer: clip x of its centre is the sphere point's x.
    const Vec4 c = MathUtil::Transform(scene.uiElements[1]->matrix, {0, 0, 0, 1});
    EXPECT_NEAR(c[0], 100.0f / controller.GetSphereRadiusPixels() * controller.GetCrosshairScaleX(), 1e-5f);
    controller.OnPrimaryUp();
    EXPECT_FALSE(controller.IsRotating());
    EXPECT_FALSE(scene.uiElements[0]->visible);
    EXPECT_FALSE(scene.uiElements[1]->visible);
}

TEST_F(NavigationFixture, FreeRotationKeepsTheEye) {
    CameraInfo walk = scene.cameras.at(kDefaultCameraName);
    walk.name = "Walk";
    walk.isDefault = false;
    walk.type = CameraType::Walk;
    ASSERT_TRUE(controller.AddCamera(walk));
    ASSERT_TRUE(controller.ActivateCamera("Walk"));
    const Vec3 eye = Active().GetEye();
    Drag(400, 300, 600, 200);
    EXPECT_EQ(Active().GetEye(), eye);
    EXPECT_GT(MathUtil::Length(MathUtil::Sub(Active().GetForward(), Vec3{0, 0, -1})), 0.1f);
    // The target stays straight ahead.
    const Vec3 target = Ndc(scene, Active().GetTarget());
    EXPECT_NEAR(target[0], 0.0f, 1e-5f);
    EXPECT_NEAR(target[1], 0.0f, 1e-5f);
}

TEST_F(NavigationFixture, PanningDragsTheSceneByTheViewDistance) {
    const Vec3 eye = Active().GetEye();
    controller.PanBy(80.0f, 0.0f);  // a tenth of the width: 10 units at distance 100
    controller.PanBy(0.0f, 60.0f);  // a tenth of the height
    const Vec3 moved = MathUtil::Sub(Active().GetEye(), eye);
    EXPECT_NEAR(MathUtil::Dot(moved, Active().GetRight()), 10.0f, 1e-4f);
    EXPECT_NEAR(MathUtil::Dot(moved, Active().GetUp()), 10.0f, 1e-4f);
    EXPECT_EQ(MathUtil::Sub(Active().GetTarget(), Active().GetEye()), MathUtil::Sub(Vec3{0, 0, 0}, eye));
    // The old centre moved right and down on screen, with the pointer.
    const Vec3 origin = Ndc(scene, {0, 0, 0});
    EXPECT_GT(origin[0], 0.0f);
    EXPECT_LT(origin[1], 0.0f);
}

TEST_F(NavigationFixture, WheelZoomsWithinTheClippingRange) {
    SceneCamera& camera = Active();
    const float scale = camera.GetMovementScale();
    ASSERT_FLOAT_EQ(scale, 100.0f);  // the grid
    controller.Zoom(-0.1f);  // closer
    EXPECT_FLOAT_EQ(camera.GetTargetDistance(), 100.0f - scale * 0.1f);
    controller.Zoom(0.01f);  // fine step back
    EXPECT_FLOAT_EQ(camera.GetTargetDistance(), 90.0f + scale * 0.01f);
    for (int i = 0; i < 50; ++i) controller.Zoom(-0.1f);
    EXPECT_FLOAT_EQ(camera.GetTargetDistance(), camera.GetNearClip() * 1.5f);
    // The camera approaches the target distance over the following frames.
    controller.Render(false, scene, 0.0f, 0.05f);
    EXPECT_FLOAT_EQ(camera.GetDistance(), 100.0f - 5.0f);
    EXPECT_NEAR(Ndc(scene, camera.GetTarget())[0], 0.0f, 1e-5f);
}

TEST_F(NavigationFixture, FixedCameraIgnoresWheelDragAndPan) {
    CameraInfo fixed = scene.cameras.at(kDefaultCameraName);
    fixed.name = "Fixed";
    fixed.isDefault = false;
    fixed.type = CameraType::Fixed;
    ASSERT_TRUE(controller.AddCamera(fixed));
    ASSERT_TRUE(controller.ActivateCamera("Fixed"));
    const Mat4 view = scene.view;
    const Mat4 projection = scene.projection;
    controller.Zoom(-0.1f);
    controller.OnPrimaryDown(500, 100);
    controller.OnPrimaryMove(100, 100);
    controller.PanBy(-400.0f, 0.0f);
    controller.Render(false, scene, 0.0f, 0.05f);
    EXPECT_FALSE(controller.IsRotating());
    EXPECT_EQ(scene.view, view);
    EXPECT_EQ(scene.projection, projection);
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
    // Orthographic cameras do not travel.
    const Mat4 view = scene.view;
    controller.Render(false, scene, 0.0f, 0.05f);
    EXPECT_EQ(scene.view, view);
}

}  // namespace
}  // namespace kestrum_test
