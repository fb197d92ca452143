// Lighting schemes seen on a lit white sphere: each scheme switches the light block of the
// scene, and the picture shows it (shading, tint, ambient floor, the light on the camera).

#include <set>

#include "rendering/LightManager.h"
#include "rendering/LightingSchemeManager.h"
#include "scene_test_support.h"

namespace kestrum_test::scene {
namespace {

class SceneLighting : public SceneTest {
protected:
    void SetUp() override {
        SceneTest::SetUp();
        handle_ = NewScene();
        ASSERT_NE(handle_, 0u);
        auto root = InvisibleModel::Create(handle_, "___TEST_ROOT");
        auto sphere = MakeModel(handle_, "sphere", MakeSphere(handle_, "sphereMesh", 1.0f, 32, 64, {1, 1, 1, 1}),
                                ShaderFlags::FrontFaces | ShaderFlags::Lighting);
        ASSERT_TRUE(root && sphere && root->AddChild(sphere, ""));
        root->UpdateWorldMatrix();
        SceneCreationInfo info;
        info.modelTree = root;
        info.axisVisible = info.gridVisible = false;
        ASSERT_TRUE(Scene(handle_)->Init(info));
        view_ = std::make_unique<CaptureView>("lit", 96, 96);
        ASSERT_TRUE(*view_);
        ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle_, view_->get()));
    }
    void TearDown() override {
        view_.reset();
        SceneTest::TearDown();
    }
    LightingSchemeManager& Schemes() { return Scene(handle_)->GetResources().lightingSchemeManager; }
    LightManager& Lights() { return Scene(handle_)->GetResources().lightManager; }
    Picture Shot() {
        // A frame first, so that lights on the camera follow it, then the capture.
        (*view_)->Render(frameTime_ += 16);
        Picture picture;
        EXPECT_TRUE(view_->Capture(picture));
        return picture;
    }
    // Brightness (sum of the channels) at a point of the sphere.
    static int Brightness(const Picture& p, uint32_t x, uint32_t y) {
        const auto c = p.At(x, y);
        return c[0] + c[1] + c[2];
    }

    SceneHandle handle_ = 0;
    std::unique_ptr<CaptureView> view_;
    uint64_t frameTime_ = 1000;
};

TEST_F(SceneLighting, LightsOffShowsTheFlatVertexColour) {
    ASSERT_TRUE(Schemes().ActivateScheme(LightingScheme::None));
    EXPECT_EQ(Lights().GetBlock().enableLighting, 0);
    const Picture p = Shot();
    const auto e = p.Extent(kBlack);
    ASSERT_GE(e[0], 0);
    for (uint32_t y = uint32_t(e[1]) + 2; y + 2 < uint32_t(e[3]); y += 3) {
        const uint32_t x = p.width / 2;
        EXPECT_EQ(p.At(x, y), (std::array<int, 3>{255, 255, 255})) << y;
    }
}

TEST_F(SceneLighting, EveryNamedSchemeActivatesAndChangesThePicture) {
    // The document's own light, to be kept as "Artwork": one reddish light from the front.
    LightInfo own;
    const float position[4] = {0.0f, 0.0f, -1.0f, 0.0f};  // travels down -z, towards the scene
    const float color[4] = {0.9f, 0.3f, 0.3f, 1.0f};
    std::copy(position, position + 4, own.position);
    std::copy(color, color + 4, own.diffuse);
    std::copy(color, color + 4, own.specular);
    ASSERT_TRUE(Lights().SetLightInfo(0, own, true));
    Lights().SetLightingEnabled(true);
    ASSERT_TRUE(Schemes().StoreCurrentAsArtwork());
    const Picture artworkBefore = Shot();

    std::vector<Picture> pictures;
    for (uint32_t id = 0; id < 12; ++id) {
        std::string name;
        ASSERT_TRUE(LightingSchemeManager::GetLightingSchemeName(id, name));
        SCOPED_TRACE(name);
        ASSERT_TRUE(Schemes().ActivateScheme(id));
        EXPECT_EQ(Schemes().GetActiveScheme(), id);
        EXPECT_TRUE(log_->Has("LightingSchemes::ActivateScheme('" + name + "')", 4));
        pictures.push_back(Shot());
    }
    // Twelve different pictures.
    for (size_t a = 0; a < pictures.size(); ++a)
        for (size_t b = a + 1; b < pictures.size(); ++b)
            EXPECT_GT(pictures[a].CountDifferent(pictures[b], 2), 50u) << a << " vs " << b;
    // Artwork brings back exactly what the document had.
    EXPECT_EQ(pictures[LightingScheme::Artwork].bgra, artworkBefore.bgra);

    const uint32_t cx = 48, cy = 48;
    // Lit schemes shade: the unlit picture is the brightest possible everywhere.
    for (uint32_t id = LightingScheme::White; id < 12; ++id)
        EXPECT_LT(pictures[id].Mean(0, kBlack) + pictures[id].Mean(1, kBlack) + pictures[id].Mean(2, kBlack),
                  3 * 255.0 - 1.0)
            << id;
    // Tinted schemes tint.
    const Picture& red = pictures[LightingScheme::Red];
    const Picture& blue = pictures[LightingScheme::Blue];
    EXPECT_GT(red.Mean(0, kBlack), red.Mean(2, kBlack) + 10);
    EXPECT_GT(blue.Mean(2, kBlack), blue.Mean(0, kBlack) + 10);
    // The artwork light is reddish too.
    EXPECT_GT(pictures[LightingScheme::Artwork].At(cx, cy)[0], pictures[LightingScheme::Artwork].At(cx, cy)[2]);
    // "Hard" has an ambient floor of one half: no pixel of the sphere is darker than that.
    const Picture& hard = pictures[LightingScheme::Hard];
    int darkest = 3 * 255;
    for (uint32_t y = 0; y < hard.height; ++y)
        for (uint32_t x = 0; x < hard.width; ++x)
            if (hard.At(x, y) != kBlack) darkest = std::min(darkest, Brightness(hard, x, y));
    EXPECT_GE(darkest, 3 * 126);
    // The headlamp follows the camera: brightest where the sphere faces the viewer.
    const Picture& head = pictures[LightingScheme::Headlamp];
    EXPECT_GT(Brightness(head, cx, cy), Brightness(head, cx + 30, cy) + 30);
    EXPECT_GT(Brightness(head, cx, cy), Brightness(head, cx, cy - 30) + 30);
    EXPECT_EQ(Lights().GetCameraLights().count(0), 1u);
}

TEST_F(SceneLighting, ArtworkWithoutStoredLightsIsRefused) {
    EXPECT_FALSE(Schemes().ActivateScheme(LightingScheme::Artwork));
    EXPECT_TRUE(log_->Has("trying to change to 'Artwork' scheme, but no lights were saved for that scheme!", 2));
}

TEST_F(SceneLighting, SchemeMarkersHangInTheLightTree) {
    ASSERT_TRUE(Schemes().ActivateScheme(LightingScheme::Day));
    auto scene = Scene(handle_);
    // One marker per light of the scheme, named after the scheme, in the scene's light tree.
    EXPECT_NE(scene->FindLightModel("__Light_Day0"), nullptr);
    EXPECT_NE(scene->FindLightModel("__Light_Day2"), nullptr);
    EXPECT_EQ(scene->FindLightModel("__Light_Day3"), nullptr);
    // Markers are hidden unless asked for; shown, they draw (the picture changes).
    const Picture hidden = Shot();
    Lights().SetLightModelsVisible(true);
    const Picture shown = Shot();
    EXPECT_GT(hidden.CountDifferent(shown, 0), 0u);
}

}  // namespace
}  // namespace kestrum_test::scene
