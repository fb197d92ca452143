// Start-up of the renderer and its context on the machine's driver, and the renderer's bookkeeping.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "GLTestEnvironment.h"
#include "rendering/BlendMode.h"
#include "rendering/GLVersion.h"
#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "support/LogCapture.h"

namespace {

using namespace Velmora::Rendering;
using Velmora::Test::LogCapture;

TEST(GLVersionText, ParsesVersionStrings) {
    int32_t major = -1, minor = -1;
    const struct {
        const char* text;
        int32_t major, minor;
    } good[] = {{"4.5 (Core Profile) Mesa 22.3.6", 4, 5},
                {"4.50", 4, 50},
                {"OpenGL ES 3.2 Mesa", 3, 2},
                {"3.30 NVIDIA via Cg compiler", 3, 30}};
    for (const auto& g : good) {
        EXPECT_TRUE(ParseGLVersion(g.text, major, minor)) << g.text;
        EXPECT_EQ(std::pair(major, minor), std::pair(g.major, g.minor)) << g.text;
    }
    for (const char* bad : {"", "abc", "4", "4.", "4.x", "99999999999.1"}) {
        EXPECT_FALSE(ParseGLVersion(bad, major, minor)) << bad;
        EXPECT_EQ(major, 0) << bad;
        EXPECT_EQ(minor, 0) << bad;
    }
    EXPECT_FALSE(ParseGLVersion(nullptr, major, minor));
}

class ContextTest : public ::testing::Test {
protected:
    void SetUp() override {
        log_ = std::make_unique<LogCapture>();
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
    }
    void TearDown() override { log_.reset(); }
    std::unique_ptr<LogCapture> log_;
};

TEST_F(ContextTest, RefusesMissingDrawables) {
    OpenGLContext& context = OpenGLContext::Instance();
    EXPECT_FALSE(context.CreateContextForWindow(nullptr));
    EXPECT_FALSE(context.Activate(nullptr));
    EXPECT_FALSE(context.Deactivate(nullptr));
    DeviceContext unbound;
    EXPECT_FALSE(context.Activate(&unbound));
    EXPECT_EQ(context.CurrentDC(), context.SharedDC());
}

TEST_F(ContextTest, OffscreenDrawableSharesTheContext) {
    OpenGLContext& context = OpenGLContext::Instance();
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    DeviceContext second;
    second.width = 64;
    second.height = 32;
    ASSERT_TRUE(context.CreateContextForWindow(&second));
    EXPECT_TRUE(second.bound);
    ASSERT_TRUE(context.Activate(&second));
    EXPECT_EQ(context.CurrentDC(), &second);
    EXPECT_TRUE(glIsTexture(texture));
    EXPECT_TRUE(context.Deactivate(context.SharedDC()));
    EXPECT_EQ(context.CurrentDC(), &second);
    EXPECT_TRUE(context.Deactivate(&second));
    EXPECT_EQ(context.CurrentDC(), context.SharedDC());
    ASSERT_TRUE(context.Activate(&second));
    context.ReleaseDC(&second);
    EXPECT_FALSE(second.bound);
    EXPECT_EQ(context.CurrentDC(), context.SharedDC());
    glDeleteTextures(1, &texture);
    EXPECT_EQ(kestrum_test::TakeGLError(), "");
}

// Blend state belongs to the context, not to the drawable it is current on: a mode set while
// another drawable was current must not be taken for the one this drawable still has.
TEST_F(ContextTest, BlendModeIsTheContextsAcrossDrawables) {
    OpenGLContext& context = OpenGLContext::Instance();
    Renderer& renderer = Renderer::Instance();
    DeviceContext second;
    ASSERT_TRUE(context.CreateContextForWindow(&second));
    ASSERT_TRUE(context.Activate(context.SharedDC()));
    renderer.SetBlendMode(BlendMode::Additive);
    ASSERT_TRUE(context.Activate(&second));
    renderer.SetBlendMode(BlendMode::Alpha);
    ASSERT_TRUE(context.Activate(context.SharedDC()));
    renderer.SetBlendMode(BlendMode::Additive);
    GLint source = 0, destination = 0;
    glGetIntegerv(GL_BLEND_SRC_RGB, &source);
    glGetIntegerv(GL_BLEND_DST_RGB, &destination);
    EXPECT_EQ(source, GL_ONE);
    EXPECT_EQ(destination, GL_ONE);
    renderer.SetBlendMode(BlendMode::Alpha);
    context.ReleaseDC(&second);
    EXPECT_EQ(kestrum_test::TakeGLError(), "");
}

// The two block points are taken at start and never handed out again, however many scenes
// bind their blocks to them.
TEST_F(ContextTest, BlockPointsOfTheScenesAreReserved) {
    Renderer& renderer = Renderer::Instance();
    const int32_t matrices = renderer.MatricesBlockBindingPoint();
    const int32_t lights = renderer.LightsBlockBindingPoint();
    ASSERT_GE(matrices, 0);
    ASSERT_GE(lights, 0);
    EXPECT_NE(matrices, lights);
    std::vector<int32_t> taken;
    for (int32_t point = renderer.GetAvailableUniformBlockBindingPoint(); point >= 0;
         point = renderer.GetAvailableUniformBlockBindingPoint()) {
        EXPECT_NE(point, matrices);
        EXPECT_NE(point, lights);
        taken.push_back(point);
    }
    EXPECT_EQ(int32_t(taken.size()), renderer.MaxBindingPoints() - 2);
    for (int32_t point : taken) renderer.ReleaseBlockBindingPoint(point);
}

// Captures the log at full verbosity for one test. Several start-up messages are the start of
// others ("... version 3.3 " and "... version 3.3 (or higher)"), so lines are matched whole.
class RendererTest : public ::testing::Test {
protected:
    void SetUp() override { log_ = std::make_unique<LogCapture>(); }
    void TearDown() override { log_.reset(); }
    // A renderer started afresh, so that its start-up lines are in the log.
    bool FreshInit(const RendererCreationInfo& info) {
        kestrum_test::ResetGLContext();
        log_->Clear();
        return Renderer::Instance().Init(info);
    }

    std::unique_ptr<LogCapture> log_;
};

TEST_F(RendererTest, StartsCoreContextAndFindsRequiredExtensions) {
    ASSERT_TRUE(FreshInit(RendererCreationInfo{}));
    EXPECT_TRUE(Renderer::Instance().IsInitialized());
    const long extensions = log_->IndexOfLine("Success:: Found all required extensisons");
    EXPECT_GE(extensions, 0);
    const OpenGLContext& context = OpenGLContext::Instance();
    EXPECT_EQ(context.ContextMajor(), context.MaxMajor());
    EXPECT_EQ(context.ContextMinor(), context.MaxMinor());
    EXPECT_GE(Renderer::Instance().ContextMajor() * 10 + Renderer::Instance().ContextMinor(), 31u);
    EXPECT_GE(Renderer::Instance().ShaderMajor(), 1u);
    GLint major = 0, minor = 0, profile = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    EXPECT_GE(major * 10 + minor, context.ContextMajor() * 10 + context.ContextMinor());
    EXPECT_TRUE(profile & GL_CONTEXT_CORE_PROFILE_BIT);
    EXPECT_EQ(kestrum_test::TakeGLError(), "");
    EXPECT_EQ(Renderer::Instance().ShaderMajor(), static_cast<uint32_t>(context.ShaderMajor()));
    EXPECT_GT(Renderer::Instance().MaxBindingPoints(), 0);
    EXPECT_GE(Renderer::Instance().MaxAnisotropy(), 1u);
    EXPECT_GT(Renderer::Instance().MaxTextureBufferSize(), 0);
}

TEST_F(RendererTest, RefusesVersionsBelowTheMinimum) {
    RendererCreationInfo info;
    info.glMajor = 3;
    info.glMinor = 0;
    EXPECT_FALSE(FreshInit(info));
    EXPECT_FALSE(Renderer::Instance().IsInitialized());
    EXPECT_FALSE(OpenGLContext::Instance().IsCreated());
    info.glMajor = 2;
    info.glMinor = 1;
    EXPECT_FALSE(FreshInit(info));
}

// The render thread is a new thread at every start; EGL keeps per-thread state.
TEST_F(RendererTest, RestartsOnAnotherThread) {
    kestrum_test::ResetGLContext();
    for (int round = 0; round < 2; ++round) {
        bool started = false;
        GLint major = 0;
        std::thread worker([&] {
            started = Renderer::Instance().Init(RendererCreationInfo{});
            if (started) glGetIntegerv(GL_MAJOR_VERSION, &major);
            Renderer::Instance().Shutdown();
        });
        worker.join();
        EXPECT_TRUE(started) << round;
        EXPECT_GE(major, 3) << round;
    }
    EXPECT_TRUE(kestrum_test::EnsureGLContext());
}

}  // namespace
