// Window input reaching the cameras: InputHandler records events, and once a frame its
// navigation steps drive the view's CameraController through CameraInputTarget.

#include <gtest/gtest.h>

#include "camera_fake_scene.h"
#include "host/windowing/InputHandler.h"
#include "rendering/CameraInputTarget.h"
#include "support/LogCapture.h"

namespace kestrum_test {
namespace {

using namespace cam;
using Velmora::Test::LogCapture;
using Velmora::Windowing::InputHandler;

constexpr SceneHandle kHandle = 45;

struct InputFixture : ::testing::Test {
    InputFixture() : scene(kHandle), target(controller), input(&target, 0) {
        scene.AddDefaultCamera();
        controller.OnViewportChanged({0, 0, 400, 400});
        EXPECT_TRUE(controller.OnSceneGraphSet(kHandle));
    }
    SceneCamera& Camera() { return controller.GetActiveCamera(); }

    LogCapture capture;
    FakeScene scene;
    CameraController controller;
    CameraInputTarget target;
    InputHandler input;
};

TEST_F(InputFixture, WheelBringsTheCameraCloser) {
    const float before = Camera().GetTargetDistance();
    input.OnMouseWheel(120);
    input.Process();
    EXPECT_TRUE(target.TakeChanged());
    EXPECT_FALSE(target.TakeChanged());
    EXPECT_FLOAT_EQ(Camera().GetTargetDistance(), before - 0.1f * Camera().GetMovementScale());
    input.SetFineZoom(true);
    input.OnMouseWheel(-120);
    input.Process();
    EXPECT_FLOAT_EQ(Camera().GetTargetDistance(), before - 0.09f * Camera().GetMovementScale());
}

TEST_F(InputFixture, PrimaryDragOrbitsAroundTheTarget) {
    const Vec3 eye = Camera().GetEye();
    input.OnMouseButton(0, true, 200, 200);
    input.Process();
    EXPECT_TRUE(controller.IsRotating());
    EXPECT_TRUE(scene.uiElements[0]->visible);
    for (int x = 210; x <= 300; x += 10) {
        input.OnMouseMove(x, 200);
        input.Process();
    }
    input.OnMouseButton(0, false, 300, 200);
    input.Process();
    EXPECT_FALSE(controller.IsRotating());
    EXPECT_FALSE(scene.uiElements[0]->visible);
    EXPECT_GT(MathUtil::Length(MathUtil::Sub(Camera().GetEye(), eye)), 1.0f);
    EXPECT_NEAR(MathUtil::Length(MathUtil::Sub(Camera().GetEye(), Camera().GetTarget())), 100.0f, 1e-3f);
    const Vec4 clip = ToClip(scene.projection, scene.view, Camera().GetTarget());
    EXPECT_NEAR(clip[0] / clip[3], 0.0f, 1e-5f);
}

TEST_F(InputFixture, SecondaryDragPans) {
    const Vec3 eye = Camera().GetEye();
    input.OnMouseButton(1, true, 100, 100);
    input.Process();
    input.OnMouseMove(140, 100);  // a tenth of the width: a tenth of the distance
    input.Process();
    input.OnMouseButton(1, false, 140, 100);
    input.Process();
    const Vec3 moved = MathUtil::Sub(Camera().GetEye(), eye);
    EXPECT_NEAR(MathUtil::Dot(moved, Camera().GetRight()), 10.0f, 1e-4f);
    EXPECT_NEAR(MathUtil::Dot(moved, Camera().GetUp()), 0.0f, 1e-4f);
}

}  // namespace
}  // namespace kestrum_test
