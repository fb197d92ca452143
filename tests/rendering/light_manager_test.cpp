// LightManager on its CPU block: gamma, light slots, markers, reset and the lights that
// follow the camera.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "camera_fake_scene.h"
#include "rendering/LightManager.h"
#include "support/LogCapture.h"

namespace kestrum_test {
namespace {

using namespace cam;
using Velmora::Test::LogCapture;

constexpr SceneHandle kHandle = 43;

LightInfo PointLight(float x, float y, float z) {
    LightInfo info;
    info.position[0] = x;
    info.position[1] = y;
    info.position[2] = z;
    info.position[3] = 1.0f;
    info.diffuse[0] = 1.0f;
    return info;
}

struct LightFixture : ::testing::Test {
    LightFixture() { lights.InitWithoutBuffer(); }
    ~LightFixture() override { lights.Shutdown(); }
    LogCapture capture;
    LightManager lights{kHandle};
};

TEST_F(LightFixture, DefaultBlock) {
    const LightBlock& b = lights.GetBlock();
    EXPECT_EQ(b.enableLighting, 0);
    EXPECT_EQ(b.enableAmbient, 0);
    EXPECT_EQ(b.enableGamma, 0);
    EXPECT_FLOAT_EQ(b.gamma, 1.4f);
    for (float a : b.ambientIntensity) EXPECT_FLOAT_EQ(a, 0.1f);
    for (const LightInfo& l : b.light) {
        EXPECT_EQ(l.position[3], 0.0f);
        EXPECT_EQ(l.position[0], 1.0f);
        EXPECT_EQ(l.spotCutoff, -1.0f);
        EXPECT_EQ(l.Type(), LightType::Directional);
    }
}

TEST_F(LightFixture, GammaRange) {
    EXPECT_FALSE(lights.SetGamma(0.9f));
    EXPECT_TRUE(capture.Has("LightManager::SetGamma( 0.90 ) - INVALID GAMMA VALUE!", 1));
    EXPECT_FALSE(lights.SetGamma(5.1f));
    EXPECT_TRUE(capture.Has("LightManager::SetGamma( 5.10 ) - INVALID GAMMA VALUE!", 1));
    EXPECT_FALSE(lights.SetGamma(NAN));
    EXPECT_FLOAT_EQ(lights.GetBlock().gamma, 1.4f);
    EXPECT_TRUE(lights.SetGamma(1.0f));
    EXPECT_TRUE(lights.SetGamma(5.0f));
    EXPECT_TRUE(lights.SetGamma(2.2f));
    EXPECT_TRUE(capture.Has("Gamma setting now 2.20", 4));
    EXPECT_FLOAT_EQ(lights.GetBlock().gamma, 2.2f);
    lights.SetGammaEnabled(false);
    EXPECT_TRUE(capture.Has("Gamma now DISABLED", 4));
    EXPECT_EQ(lights.GetBlock().enableGamma, 0);
}

TEST_F(LightFixture, LightSlotsAndIndexLimit) {
    EXPECT_FALSE(lights.SetLightInfo(8, PointLight(1, 2, 3), true));
    EXPECT_TRUE(capture.Has("LightManager::SetLightInfo( 8 ) - INVALID INDEX", 2));
    ASSERT_TRUE(lights.SetLightInfo(7, PointLight(1, 2, 3), true));
    EXPECT_EQ(lights.GetBlock().flags[7][0], 1);
    EXPECT_EQ(lights.GetBlock().light[7].position[2], 3.0f);
    ASSERT_TRUE(lights.SetLightInfo(7, PointLight(1, 2, 3), false));
    bool active = true;
    ASSERT_TRUE(lights.GetLightActive(7, active));
    EXPECT_FALSE(active);
    EXPECT_FALSE(lights.GetLightActive(9, active));
    EXPECT_TRUE(capture.Has("LightManager::GetLightActive( 9 ) - INVALID INDEX", 2));
}

TEST_F(LightFixture, MarkersShowTypeActivityAndPlace) {
    LightModelCreationInfo shown;
    shown.visible = true;
    auto marker = std::make_shared<FakeMarker>(shown);
    EXPECT_FALSE(lights.SetLightModel(8, marker));
    ASSERT_TRUE(lights.SetLightModel(2, marker));
    EXPECT_TRUE(marker->visible);  // binding keeps the marker's own visibility
    EXPECT_EQ(marker->updates, 1);

    ASSERT_TRUE(lights.SetLightInfo(2, PointLight(4, 5, 6), true));
    EXPECT_EQ(marker->lightType, LightType::Point);
    EXPECT_EQ(marker->color, (Vec4{1.0f, 1.0f, 0.5f, 1.0f}));
    EXPECT_EQ(marker->placement[12], 4.0f);
    EXPECT_EQ(marker->placement[14], 6.0f);

    LightInfo spot = PointLight(1, 0, 0);
    spot.spotCutoff = 0.5f;
    spot.spotDirection[1] = -2.0f;
    ASSERT_TRUE(lights.SetLightInfo(2, spot, false));
    EXPECT_EQ(marker->lightType, LightType::Spot);
    EXPECT_EQ(marker->color, (Vec4{0.2f, 0.2f, 0.2f, 1.0f}));
    // The ray (mesh x axis) points along the spot direction, from the light.
    const Vec4 tip = MathUtil::Transform(marker->placement, {10, 0, 0, 1});
    EXPECT_NEAR(tip[0], 1.0f, 1e-5f);
    EXPECT_NEAR(tip[1], -10.0f, 1e-5f);

    LightInfo directional;
    directional.position[0] = 0.0f;
    directional.position[1] = 0.0f;
    directional.position[2] = -3.0f;
    ASSERT_TRUE(lights.SetLightInfo(2, directional, true));
    EXPECT_EQ(marker->lightType, LightType::Directional);
    const Vec4 head = MathUtil::Transform(marker->placement, {90, 0, 0, 1});
    EXPECT_NEAR(head[2], -90.0f, 1e-4f);

    lights.SetLightModelsVisible(false);
    EXPECT_FALSE(marker->visible);
    lights.SetLightModelsVisible(true);
    EXPECT_TRUE(marker->visible);
}

TEST_F(LightFixture, ResetHidesMarkersAndRestoresDefaults) {
    auto marker = std::make_shared<FakeMarker>(LightModelCreationInfo{});
    lights.SetLightModelsVisible(true);
    lights.SetLightModel(0, marker);
    lights.SetLightInfo(0, PointLight(1, 1, 1), true);
    lights.SetLightingEnabled(true);
    lights.SetAmbient(true, {0.5f, 0.5f, 0.5f, 1.0f});
    lights.SetGamma(3.0f);
    lights.AttachLightToCamera(0);
    lights.Reset();
    EXPECT_FALSE(marker->visible);
    EXPECT_TRUE(lights.GetLightModels().empty());
    EXPECT_TRUE(lights.GetCameraLights().empty());
    const LightBlock defaults;
    EXPECT_EQ(std::memcmp(&lights.GetBlock(), &defaults, sizeof(LightBlock)), 0);
}

TEST_F(LightFixture, CameraLightsFollowEyeAndView) {
    LightInfo directional;
    LightInfo spot = PointLight(0, 0, 0);
    spot.spotCutoff = 0.9f;
    lights.SetLightInfo(0, directional, true);
    lights.SetLightInfo(1, PointLight(9, 9, 9), false);
    lights.SetLightInfo(2, spot, true);
    EXPECT_FALSE(lights.AttachLightToCamera(8));
    for (uint32_t i = 0; i < 3; ++i) ASSERT_TRUE(lights.AttachLightToCamera(i));
    EXPECT_TRUE(lights.IsCameraAttachedDirty());
    lights.UpdateCameraLights(Vec3{1, 2, 3}, Vec3{0, 0, -1});
    EXPECT_FALSE(lights.IsCameraAttachedDirty());
    const LightBlock& b = lights.GetBlock();
    EXPECT_EQ(b.light[0].position[2], -1.0f);
    EXPECT_EQ(b.light[0].position[3], 0.0f);
    EXPECT_EQ(b.light[1].position[0], 1.0f);
    EXPECT_EQ(b.light[1].position[3], 1.0f);
    EXPECT_EQ(b.flags[1][0], 0);  // stays off
    EXPECT_EQ(b.light[2].position[2], 3.0f);
    EXPECT_EQ(b.light[2].spotDirection[2], -1.0f);
    EXPECT_EQ(b.light[2].Type(), LightType::Spot);
}

TEST(LightManagerLifetime, UnfinishedShutdownIsReported) {
    LogCapture capture;
    {
        LightManager lights(kHandle);
        lights.InitWithoutBuffer();
    }
    EXPECT_TRUE(capture.Has("LightManager instance was not shut down!", 1));
    capture.Clear();
    {
        LightManager lights(kHandle);
        lights.InitWithoutBuffer();
        lights.Shutdown();
    }
    EXPECT_FALSE(capture.Has("LightManager instance was not shut down!", 1));
}

}  // namespace
}  // namespace kestrum_test
