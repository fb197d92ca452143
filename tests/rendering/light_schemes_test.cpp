// Lighting schemes: names, the light set each scheme installs, "Artwork" storing and restoring,
// and the markers a scheme hangs into the scene.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>

#include "camera_fake_scene.h"
#include "rendering/CameraController.h"
#include "rendering/LightingSchemeManager.h"
#include "support/LogCapture.h"

namespace kestrum_test {
namespace {

using namespace cam;
using Velmora::Test::LogCapture;

constexpr SceneHandle kHandle = 44;

struct SchemeFixture : ::testing::Test {
    SchemeFixture() : scene(kHandle) {}
    LogCapture capture;
    FakeScene scene;
    LightingSchemeManager schemes{kHandle};

    int ActiveLights() const {
        int n = 0;
        for (const auto& flag : scene.lights.GetBlock().flags) n += flag[0] != 0;
        return n;
    }
};

TEST(LightingSchemeNames, RoundTripAndUnknowns) {
    LogCapture capture;
    const char* names[] = {"None", "Artwork", "White", "Day",      "Night", "Hard",           "Primary",
                           "Blue", "Red",     "Cube",  "CAD",      "Headlamp", "DemoDirectional", "DemoMixed"};
    for (uint32_t id = 0; id < 14; ++id) {
        std::string name;
        ASSERT_TRUE(LightingSchemeManager::GetLightingSchemeName(id, name));
        EXPECT_EQ(name, names[id]);
        EXPECT_EQ(LightingSchemeManager::GetLightingSchemeFromName(names[id]), id);
    }
    std::string name;
    EXPECT_FALSE(LightingSchemeManager::GetLightingSchemeName(14, name));
    EXPECT_TRUE(capture.Has("LightingSchemeManager::GetLightingSchemeName() - INVALID ID PROVIDED!", 1));
    EXPECT_EQ(LightingSchemeManager::GetLightingSchemeFromName("cad"), LightingScheme::Invalid);
    EXPECT_TRUE(
        capture.Has("LightingSchemeManager::GetLightingSchemeFromName() - INVALID STRING PROVIDED!", 1));
}

TEST_F(SchemeFixture, EveryFixedSchemeInstallsItsLightSet) {
    // Lights per scheme id 2..13, and whether ambient light is on.
    const int counts[] = {3, 3, 3, 3, 3, 3, 3, 6, 4, 1, 2, 3};
    const bool ambient[] = {false, false, false, true, false, false, false, false, false, true, true, true};
    for (uint32_t id = 2; id < 14; ++id) {
        SCOPED_TRACE(id);
        ASSERT_TRUE(schemes.ActivateScheme(id));
        EXPECT_EQ(schemes.GetActiveScheme(), id);
        const LightBlock& b = scene.lights.GetBlock();
        EXPECT_EQ(b.enableLighting, 1);
        EXPECT_EQ(ActiveLights(), counts[id - 2]);
        EXPECT_EQ(b.enableAmbient, ambient[id - 2] ? 1 : 0);
        for (int i = 0; i < counts[id - 2]; ++i) {
            const LightInfo& l = b.light[i];
            EXPECT_EQ(b.flags[i][0], 1);
            // Colours are opaque and equal for diffuse and specular except the demo lamps.
            EXPECT_EQ(l.diffuse[3], 1.0f);
            if (l.Type() == LightType::Directional) {
                const float length = std::sqrt(l.position[0] * l.position[0] + l.position[1] * l.position[1] +
                                               l.position[2] * l.position[2]);
                EXPECT_NEAR(length, 1.0f, 1e-3f);
                EXPECT_EQ(std::memcmp(l.diffuse, l.specular, sizeof(l.diffuse)), 0);
            }
        }
        EXPECT_EQ(scene.lights.GetLightModels().size(), static_cast<size_t>(counts[id - 2]));
    }
}

TEST_F(SchemeFixture, SchemeValuesFromTheTable) {
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Night));
    const LightBlock& b = scene.lights.GetBlock();
    EXPECT_FLOAT_EQ(b.light[0].position[0], -0.784465f);
    EXPECT_FLOAT_EQ(b.light[0].diffuse[1], 0.75f);
    EXPECT_FLOAT_EQ(b.light[1].specular[2], 0.55f);
    EXPECT_FLOAT_EQ(b.light[2].position[2], 1.0f);

    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Hard));
    EXPECT_FLOAT_EQ(b.ambientIntensity[0], 0.5f);
    EXPECT_FLOAT_EQ(b.ambientIntensity[3], 1.0f);

    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::DemoMixed));
    EXPECT_EQ(b.light[0].Type(), LightType::Directional);
    EXPECT_EQ(b.light[1].Type(), LightType::Point);
    EXPECT_EQ(b.light[2].Type(), LightType::Spot);
    EXPECT_FLOAT_EQ(b.light[1].linearAttenuation, 0.1f);
    EXPECT_FLOAT_EQ(b.light[1].constantAttenuation, 0.0f);
    EXPECT_FLOAT_EQ(b.light[1].specular[2], 0.2f);
    EXPECT_NEAR(b.light[2].spotCutoff, std::cos(0.698132f), 1e-6f);
    EXPECT_FLOAT_EQ(b.light[2].spotExponent, 50.0f);
    EXPECT_FLOAT_EQ(b.ambientIntensity[0], 0.1f);
    EXPECT_FLOAT_EQ(b.ambientIntensity[3], 1.0f);
    // Switching to a scheme without ambient turns it off again.
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::White));
    EXPECT_EQ(b.enableAmbient, 0);
    EXPECT_EQ(ActiveLights(), 3);
}

TEST_F(SchemeFixture, NoneSwitchesLightingOff) {
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::CAD));
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::None));
    EXPECT_EQ(scene.lights.GetBlock().enableLighting, 0);
    EXPECT_EQ(ActiveLights(), 0);
    EXPECT_TRUE(capture.Has("LightingSchemes::ActivateScheme('None') [0]", 4));
}

TEST_F(SchemeFixture, GammaSurvivesASwitch) {
    scene.lights.SetGamma(2.5f);
    scene.lights.SetGammaEnabled(true);
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Day));
    EXPECT_FLOAT_EQ(scene.lights.GetBlock().gamma, 2.5f);
    EXPECT_EQ(scene.lights.GetBlock().enableGamma, 1);
    EXPECT_TRUE(capture.Has("Gamma now ENABLED", 4));
}

TEST_F(SchemeFixture, HeadlampFollowsTheCamera) {
    scene.AddDefaultCamera();
    CameraController controller;
    controller.OnViewportChanged({0, 0, 400, 400});
    ASSERT_TRUE(controller.OnSceneGraphSet(kHandle));
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Headlamp));
    EXPECT_EQ(scene.lights.GetCameraLights(), std::set<uint32_t>{0});
    // The next frame brings the light to the camera's view direction, and so does a drag.
    controller.Render(false, scene, 0.0f, 0.0f);
    const LightBlock& b = scene.lights.GetBlock();
    const Vec3 forward = controller.GetActiveCamera().GetForward();
    for (int i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(b.light[0].position[i], forward[i]);
    controller.OnPrimaryDown(200, 200);
    controller.OnPrimaryMove(300, 150);
    controller.OnPrimaryUp();
    const Vec3 turned = controller.GetActiveCamera().GetForward();
    ASSERT_NE(turned, forward);
    for (int i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(b.light[0].position[i], turned[i]);
    EXPECT_EQ(b.light[0].position[3], 0.0f);
    EXPECT_EQ(ActiveLights(), 1);
}

TEST_F(SchemeFixture, CadHasOneCameraLightOfFour) {
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::CAD));
    EXPECT_EQ(scene.lights.GetCameraLights(), std::set<uint32_t>{0});
    EXPECT_EQ(ActiveLights(), 4);
}

TEST_F(SchemeFixture, MarkersAreNamedSizedAndReused) {
    scene.gridSize = 1000.0f;
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::CAD));
    ASSERT_EQ(scene.markers.count("__Light_CAD0"), 1u);
    ASSERT_EQ(scene.markers.count("__Light_CAD3"), 1u);
    EXPECT_FLOAT_EQ(scene.markers["__Light_CAD0"]->info.matrix[0], 4.0f);
    EXPECT_EQ(scene.markersCreated, 4);
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::White));
    EXPECT_EQ(scene.markersCreated, 7);
    EXPECT_FALSE(scene.markers["__Light_CAD0"]->visible);
    scene.lights.SetLightModelsVisible(true);
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::CAD));
    EXPECT_EQ(scene.markersCreated, 7);  // found again, not made again
    EXPECT_TRUE(scene.markers["__Light_CAD0"]->visible);
    EXPECT_FALSE(scene.markers["__Light_White0"]->visible);
    EXPECT_EQ(scene.lights.GetLightModels().at(0), scene.markers["__Light_CAD0"]);
}

TEST_F(SchemeFixture, MarkerFailuresStillInstallTheLights) {
    scene.failMarkers = true;
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Blue));
    EXPECT_TRUE(capture.Has("LightingSchemeManager: Unable to create light model for '__Light_Blue0'", 1));
    EXPECT_EQ(ActiveLights(), 3);
}

TEST_F(SchemeFixture, ArtworkNeedsStoredLights) {
    EXPECT_FALSE(schemes.ActivateScheme(LightingScheme::Artwork));
    EXPECT_TRUE(capture.Has("LightingSchemeManager::ActivateScheme() - trying to change to 'Artwork' scheme, but "
                            "no lights were saved for that scheme!",
                            2));
    EXPECT_FALSE(schemes.StoreCurrentAsArtwork());
    EXPECT_TRUE(capture.Has("Failed to store current light as 'Artwork' light, because no valid lights available!", 1));
    EXPECT_FALSE(schemes.HasArtwork());
    // Ambient light alone is enough.
    scene.lights.SetAmbient(true, {0.0f, 0.2f, 0.0f, 0.0f});
    EXPECT_TRUE(schemes.StoreCurrentAsArtwork());
}

TEST_F(SchemeFixture, ArtworkRestoresTheDocumentLights) {
    LightInfo documentLight;
    documentLight.position[0] = 0.0f;
    documentLight.position[1] = -1.0f;
    documentLight.position[2] = 0.0f;
    documentLight.diffuse[0] = 0.25f;
    auto marker = std::make_shared<FakeMarker>(LightModelCreationInfo{});
    scene.lights.SetLightModel(5, marker);
    scene.lights.SetLightInfo(5, documentLight, true);
    scene.lights.SetLightingEnabled(true);
    ASSERT_TRUE(schemes.StoreCurrentAsArtwork());

    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Cube));
    EXPECT_EQ(ActiveLights(), 6);
    scene.lights.SetGamma(3.0f);
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Artwork));
    const LightBlock& b = scene.lights.GetBlock();
    EXPECT_EQ(ActiveLights(), 1);
    EXPECT_EQ(b.flags[5][0], 1);
    EXPECT_FLOAT_EQ(b.light[5].diffuse[0], 0.25f);
    EXPECT_EQ(b.enableLighting, 1);
    EXPECT_FLOAT_EQ(b.gamma, 3.0f);
    EXPECT_EQ(scene.lights.GetLightModels().at(5), marker);
    EXPECT_FALSE(marker->visible);
    // With light models shown, the restored marker is shown as well.
    scene.lights.SetLightModelsVisible(true);
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Day));
    EXPECT_FALSE(marker->visible);
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Artwork));
    EXPECT_TRUE(marker->visible);
    EXPECT_EQ(marker->lightType, LightType::Directional);
}

TEST(SchemeWithoutScene, IsRefused) {
    LogCapture capture;
    LightingSchemeManager schemes(999);
    EXPECT_FALSE(schemes.ActivateScheme(LightingScheme::Day));
    EXPECT_TRUE(capture.Has("LightingSchemeManager::ActivateScheme has no active scene!", 1));
    EXPECT_FALSE(schemes.ActivateScheme(20));
    EXPECT_TRUE(capture.Has("LightingSchemeManager::ActivateScheme() - failed to get scheme name!", 2));
    EXPECT_FALSE(schemes.StoreCurrentAsArtwork());
    EXPECT_TRUE(capture.Has("LightingSchemeManager::StoreCurrentAsArtwork has no active scene!", 1));
}

}  // namespace
}  // namespace kestrum_test
