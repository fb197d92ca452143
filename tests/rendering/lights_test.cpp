// Lights: the GPU light block, the light manager, lighting schemes and their effect on pictures.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <cmath>
#include <cstring>
#include <set>
#include <string>

#include "GLTestEnvironment.h"
#include "camera_fake_scene.h"
#include "color_target.h"
#include "rendering/CameraController.h"
#include "rendering/LightManager.h"
#include "rendering/LightingSchemeManager.h"
#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "rendering/shaders/ShaderSourceGenerator.h"
#include "scene_test_support.h"
#include "support/LogCapture.h"

namespace kestrum_test {
namespace {

using namespace cam;

// A lit program as the generator writes it for a mesh with positions and normals.
GLuint LitProgram() {
    ShaderDescription description;
    description.vertexAttributes = VertexAttribute::Position | VertexAttribute::Normal;
    description.flags = ShaderFlags::FrontFaces | ShaderFlags::Lighting | ShaderFlags::MeshColor;
    description.blendMode = 3;
    const OpenGLContext& context = OpenGLContext::Instance();
    const ShaderSourceGenerator generator(description, 1, context.ShaderMajor(), context.ShaderMinor());
    return LinkProgram(generator.VertexSource(), generator.FragmentSource());
}

using LightBlockGL = GLTest;

// A grey directional light travelling towards -z, onto the quad that faces +z.
LightInfo TowardsTheQuad(float grey) {
    LightInfo light;
    light.position[0] = light.position[1] = 0.0f;
    light.position[2] = -1.0f;
    light.diffuse[0] = light.diffuse[1] = light.diffuse[2] = grey;
    light.diffuse[3] = 1.0f;
    return light;
}

// Draws a white quad facing the viewer with the generated lit program, lit only by what the
// LightManager put into its buffer, and reads the centre pixel back. This pins down the
// block's meaning end to end: a directional light's position is the direction it travels.
class LitQuad {
public:
    LitQuad() {
        program_ = LitProgram();
        const float rows[] = {-1, -1, 0, 0, 0, 1, 1, -1, 0, 0, 0, 1, -1, 1, 0, 0, 0, 1, 1, 1, 0, 0, 0, 1};
        glGenVertexArrays(1, &vao_);
        glBindVertexArray(vao_);
        glGenBuffers(1, &vbo_);
        glBindBuffer(GL_ARRAY_BUFFER, vbo_);
        glBufferData(GL_ARRAY_BUFFER, sizeof(rows), rows, GL_STATIC_DRAW);
        const GLint position = glGetAttribLocation(program_, "vertexPos");
        const GLint normal = glGetAttribLocation(program_, "vertexNormal");
        EXPECT_GE(position, 0);
        EXPECT_GE(normal, 0);
        glEnableVertexAttribArray(GLuint(position));
        glVertexAttribPointer(GLuint(position), 3, GL_FLOAT, GL_FALSE, 24, nullptr);
        glEnableVertexAttribArray(GLuint(normal));
        glVertexAttribPointer(GLuint(normal), 3, GL_FLOAT, GL_FALSE, 24, reinterpret_cast<void*>(12));
        glBindVertexArray(0);

        // View and projection identity: the quad fills clip space at depth 0.
        matricesPoint_ = Renderer::Instance().GetAvailableUniformBlockBindingPoint();
        lightsPoint_ = Renderer::Instance().GetAvailableUniformBlockBindingPoint();
        const Mat4 identities[2] = {MathUtil::Identity4(), MathUtil::Identity4()};
        glGenBuffers(1, &matrices_);
        glBindBuffer(GL_UNIFORM_BUFFER, matrices_);
        glBufferData(GL_UNIFORM_BUFFER, sizeof(identities), identities, GL_STATIC_DRAW);
        glBindBufferRange(GL_UNIFORM_BUFFER, GLuint(matricesPoint_), matrices_, 0, sizeof(identities));
        glBindBuffer(GL_UNIFORM_BUFFER, 0);
        glUniformBlockBinding(program_, glGetUniformBlockIndex(program_, "GlobalMatrices"), GLuint(matricesPoint_));
        glUniformBlockBinding(program_, glGetUniformBlockIndex(program_, "GlobalLights"), GLuint(lightsPoint_));

        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    }
    ~LitQuad() {
        glDeleteBuffers(1, &matrices_);
        glDeleteBuffers(1, &vbo_);
        glDeleteVertexArrays(1, &vao_);
        glDeleteProgram(program_);
        Renderer::Instance().ReleaseBlockBindingPoint(matricesPoint_);
        Renderer::Instance().ReleaseBlockBindingPoint(lightsPoint_);
    }
    uint32_t LightsBindingPoint() const { return uint32_t(lightsPoint_); }

    // Red channel of the centre pixel.
    int Draw() {
        target_.Bind();
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        glUseProgram(program_);
        const Mat4 model = MathUtil::Identity4();
        const float normal[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
        glUniformMatrix4fv(glGetUniformLocation(program_, "modelMatrix"), 1, GL_FALSE, model.data());
        glUniformMatrix3fv(glGetUniformLocation(program_, "normalMatrix"), 1, GL_FALSE, normal);
        glUniform4f(glGetUniformLocation(program_, "meshColor"), 1, 1, 1, 1);
        glBindVertexArray(vao_);
        glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
        glBindVertexArray(0);
        glUseProgram(0);
        uint8_t pixel[4] = {};
        glReadPixels(4, 4, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        return pixel[0];
    }

private:
    ColorTarget target_{8, 8};
    GLuint program_ = 0, vao_ = 0, vbo_ = 0, matrices_ = 0;
    int32_t matricesPoint_ = -1, lightsPoint_ = -1;
};

TEST_F(LightBlockGL, DirectionalLightTravelsAlongItsPosition) {
    LitQuad quad;
    LightManager lights(1);
    ASSERT_TRUE(lights.Init(quad.LightsBindingPoint()));
    LightInfo light = TowardsTheQuad(0.5f);
    lights.SetLightInfo(0, light, true);
    EXPECT_EQ(quad.Draw(), 255);
    lights.SetLightingEnabled(true);
    EXPECT_NEAR(quad.Draw(), 128, 2);
    lights.SetLightInfo(0, light, false);
    EXPECT_EQ(quad.Draw(), 0);
    light.position[2] = 1.0f;
    lights.SetLightInfo(0, light, true);
    EXPECT_EQ(quad.Draw(), 0);
    light.position[2] = -1.0f;
    lights.SetLightInfo(0, light, true);
    lights.SetGamma(2.0f);
    lights.SetGammaEnabled(true);
    EXPECT_NEAR(quad.Draw(), 180, 2);
    lights.SetGammaEnabled(false);
    lights.SetAmbient(true, {0.25f, 0.25f, 0.25f, 1.0f});
    EXPECT_NEAR(quad.Draw(), 191, 2);
    lights.Shutdown();
}

// The fragment loop stops after the last slot that is on: lights in the last slot and behind
// a gap of slots that are off must still count, and a slot switched off again must not.
TEST_F(LightBlockGL, LightsInHighAndScatteredSlotsAllCount) {
    LitQuad quad;
    LightManager lights(1);
    ASSERT_TRUE(lights.Init(quad.LightsBindingPoint()));
    lights.SetLightingEnabled(true);
    lights.SetLightInfo(kMaxLights - 1, TowardsTheQuad(0.5f), true);
    EXPECT_NEAR(quad.Draw(), 128, 2);
    const LightInfo light = TowardsTheQuad(0.25f);
    lights.SetLightInfo(kMaxLights - 1, light, false);
    lights.SetLightInfo(2, light, true);
    lights.SetLightInfo(5, light, true);
    EXPECT_NEAR(quad.Draw(), 128, 2);
    lights.SetLightInfo(5, light, false);
    EXPECT_NEAR(quad.Draw(), 64, 2);
    lights.Shutdown();
}

using Velmora::Test::LogCapture;

constexpr SceneHandle kHandle = 43;

struct LightFixture : ::testing::Test {
    LightFixture() { lights.InitWithoutBuffer(); }
    ~LightFixture() override { lights.Shutdown(); }
    LogCapture capture;
    LightManager lights{kHandle};
};

TEST_F(LightFixture, GammaRange) {
    EXPECT_FALSE(lights.SetGamma(0.9f));
    EXPECT_FALSE(lights.SetGamma(5.1f));
    EXPECT_FALSE(lights.SetGamma(NAN));
    EXPECT_FLOAT_EQ(lights.GetBlock().gamma, 1.4f);
    EXPECT_TRUE(lights.SetGamma(1.0f));
    EXPECT_TRUE(lights.SetGamma(5.0f));
    EXPECT_TRUE(lights.SetGamma(2.2f));
    EXPECT_FLOAT_EQ(lights.GetBlock().gamma, 2.2f);
}

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

// Each fixed scheme fills the first slots with lights of unit direction and one colour.
TEST_F(SchemeFixture, EveryFixedSchemeInstallsItsLightSet) {
    for (uint32_t id = 2; id < 14; ++id) {
        SCOPED_TRACE(id);
        ASSERT_TRUE(schemes.ActivateScheme(id));
        EXPECT_EQ(schemes.GetActiveScheme(), id);
        const LightBlock& b = scene.lights.GetBlock();
        EXPECT_EQ(b.enableLighting, 1);
        const int active = ActiveLights();
        EXPECT_GE(active, 1);
        for (int i = 0; i < active; ++i) {
            const LightInfo& l = b.light[i];
            EXPECT_EQ(b.flags[i][0], 1);
            EXPECT_EQ(l.diffuse[3], 1.0f);
            if (l.Type() == LightType::Directional) {
                const float length = std::sqrt(l.position[0] * l.position[0] + l.position[1] * l.position[1] +
                                               l.position[2] * l.position[2]);
                EXPECT_NEAR(length, 1.0f, 1e-3f);
                EXPECT_EQ(std::memcmp(l.diffuse, l.specular, sizeof(l.diffuse)), 0);
            }
        }
        EXPECT_EQ(scene.lights.GetLightModels().size(), static_cast<size_t>(active));
    }
}

TEST_F(SchemeFixture, HeadlampFollowsTheCamera) {
    scene.AddDefaultCamera();
    CameraController controller;
    controller.OnViewportChanged({0, 0, 400, 400});
    ASSERT_TRUE(controller.OnSceneGraphSet(kHandle));
    ASSERT_TRUE(schemes.ActivateScheme(LightingScheme::Headlamp));
    EXPECT_EQ(scene.lights.GetCameraLights(), std::set<uint32_t>{0});
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

}  // namespace
}  // namespace kestrum_test

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
        pictures.push_back(Shot());
    }
    for (size_t a = 0; a < pictures.size(); ++a)
        for (size_t b = a + 1; b < pictures.size(); ++b)
            EXPECT_GT(pictures[a].CountDifferent(pictures[b], 2), 50u) << a << " vs " << b;
    EXPECT_EQ(pictures[LightingScheme::Artwork].bgra, artworkBefore.bgra);
    const uint32_t cx = 48, cy = 48;
    for (uint32_t id = LightingScheme::White; id < 12; ++id)
        EXPECT_LT(pictures[id].Mean(0, kBlack) + pictures[id].Mean(1, kBlack) + pictures[id].Mean(2, kBlack),
                  3 * 255.0 - 1.0)
            << id;
    const Picture& red = pictures[LightingScheme::Red];
    const Picture& blue = pictures[LightingScheme::Blue];
    EXPECT_GT(red.Mean(0, kBlack), red.Mean(2, kBlack) + 10);
    EXPECT_GT(blue.Mean(2, kBlack), blue.Mean(0, kBlack) + 10);
    EXPECT_GT(pictures[LightingScheme::Artwork].At(cx, cy)[0], pictures[LightingScheme::Artwork].At(cx, cy)[2]);
    const Picture& hard = pictures[LightingScheme::Hard];
    int darkest = 3 * 255;
    for (uint32_t y = 0; y < hard.height; ++y)
        for (uint32_t x = 0; x < hard.width; ++x)
            if (hard.At(x, y) != kBlack) darkest = std::min(darkest, Brightness(hard, x, y));
    EXPECT_GE(darkest, 3 * 126);
    const Picture& head = pictures[LightingScheme::Headlamp];
    EXPECT_GT(Brightness(head, cx, cy), Brightness(head, cx + 30, cy) + 30);
    EXPECT_GT(Brightness(head, cx, cy), Brightness(head, cx, cy - 30) + 30);
    EXPECT_EQ(Lights().GetCameraLights().count(0), 1u);
}

}  // namespace
}  // namespace kestrum_test::scene
