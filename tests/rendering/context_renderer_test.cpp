// Start-up of the renderer and its context on the machine's driver (Mesa's software
// rasteriser here), and the renderer's bookkeeping: views, binding points, blend modes.

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include "GLTestEnvironment.h"
#include "rendering/OpenGLContext.h"
#include "rendering/RenderView.h"
#include "rendering/Renderer.h"
#include "support/LogCapture.h"

namespace {

using namespace Velmora::Rendering;
using Velmora::Test::LogCapture;

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

class FakeView : public RenderView {
public:
    FakeView(std::string name, std::vector<std::string>* order) : name_(std::move(name)), order_(order) {}
    void Render(uint64_t timeMs) override {
        lastTime = timeMs;
        if (order_) order_->push_back(name_);
    }
    const std::string& GetName() const override { return name_; }
    DeviceContext* GetDC() const override { return OpenGLContext::Instance().SharedDC(); }
    uint64_t lastTime = 0;

private:
    std::string name_;
    std::vector<std::string>* order_;
};

TEST_F(RendererTest, StartsCoreContextAndFindsRequiredExtensions) {
    ASSERT_TRUE(FreshInit(RendererCreationInfo{}));
    EXPECT_TRUE(Renderer::Instance().IsInitialized());
    EXPECT_TRUE(log_->HasLine("Initializing renderer... ", 4));
    EXPECT_TRUE(log_->HasLine("Trying to create OpenGL context for version 3.1 (or higher)", 3));
    EXPECT_TRUE(log_->HasPrefix("Available Max-Version: OpenGL ", 3));
    EXPECT_TRUE(log_->HasPrefix("Version: ", 3));
    for (const char* name : {"GL_ARB_texture_rectangle", "GL_ARB_framebuffer_object", "GL_ARB_vertex_array_object",
                             "GL_ARB_vertex_buffer_object", "GL_ARB_uniform_buffer_object",
                             "GL_EXT_texture_filter_anisotropic"}) {
        EXPECT_TRUE(log_->HasLine(std::string("Found OpenGL extension: '") + name + "'", 5)) << name;
    }
    EXPECT_TRUE(log_->HasLine("Success:: Found all required extensisons", 3));
    // The extension check runs before the states are read.
    const long extensions = log_->IndexOfLine("Success:: Found all required extensisons");
    EXPECT_GE(extensions, 0);
    EXPECT_LT(extensions, log_->IndexOfLine("Initializing OpenGL states"));

    // With "or higher" the context takes the highest version the driver has.
    const OpenGLContext& context = OpenGLContext::Instance();
    EXPECT_EQ(context.ContextMajor(), context.MaxMajor());
    EXPECT_EQ(context.ContextMinor(), context.MaxMinor());
    EXPECT_GE(Renderer::Instance().ContextMajor() * 10 + Renderer::Instance().ContextMinor(), 31u);
    EXPECT_GE(Renderer::Instance().ShaderMajor(), 1u);

    // The current context really is a core context of at least that version.
    GLint major = 0, minor = 0, profile = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    EXPECT_GE(major * 10 + minor, context.ContextMajor() * 10 + context.ContextMinor());
    EXPECT_TRUE(profile & GL_CONTEXT_CORE_PROFILE_BIT);
    EXPECT_EQ(kestrum_test::TakeGLError(), "");
    EXPECT_EQ(Renderer::Instance().ShaderMajor(), static_cast<uint32_t>(context.ShaderMajor()));

    // Measured limits are logged and kept.
    EXPECT_GT(Renderer::Instance().MaxBindingPoints(), 0);
    EXPECT_TRUE(log_->HasLine("OpenGL max block binding points: " + std::to_string(Renderer::Instance().MaxBindingPoints()), 3));
    EXPECT_GE(Renderer::Instance().MaxAnisotropy(), 1u);
    EXPECT_TRUE(log_->HasLine("OpenGL max anisotropy: " + std::to_string(Renderer::Instance().MaxAnisotropy()), 3));
    EXPECT_GT(Renderer::Instance().MaxTextureBufferSize(), 0);
    EXPECT_TRUE(log_->HasLine("OpenGL max TBO size: " + std::to_string(Renderer::Instance().MaxTextureBufferSize()), 3));
}

TEST_F(RendererTest, RefusesVersionsBelowTheMinimum) {
    RendererCreationInfo info;
    info.glMajor = 3;
    info.glMinor = 0;
    EXPECT_FALSE(FreshInit(info));
    EXPECT_TRUE(log_->HasLine("Minimum required OpenGL version is 3.1, request version: 3.0", 1));
    EXPECT_FALSE(Renderer::Instance().IsInitialized());
    EXPECT_FALSE(OpenGLContext::Instance().IsCreated());

    info.glMajor = 2;
    info.glMinor = 1;
    EXPECT_FALSE(FreshInit(info));
    EXPECT_TRUE(log_->HasLine("Minimum required OpenGL version is 3.1, request version: 2.1", 1));
}

TEST_F(RendererTest, ExplicitVersionIsKeptAndTooHighFailsCleanly) {
    RendererCreationInfo info;
    info.glMajor = 3;
    info.glMinor = 3;
    ASSERT_TRUE(FreshInit(info));
    EXPECT_TRUE(log_->HasLine("Trying to create OpenGL context for version 3.3 ", 3));
    EXPECT_EQ(Renderer::Instance().ContextMajor(), 3u);
    EXPECT_EQ(Renderer::Instance().ContextMinor(), 3u);
    GLint profile = 0;
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    EXPECT_TRUE(profile & GL_CONTEXT_CORE_PROFILE_BIT);

    info.glMajor = 9;
    info.glMinor = 7;
    EXPECT_FALSE(FreshInit(info));
    EXPECT_TRUE(log_->HasLine("Minimum requirement: OpenGL 9.7 -> ABORTING", 1));
    EXPECT_TRUE(log_->HasLine("Failed to initialize OpenGL context!", 1));
    EXPECT_FALSE(OpenGLContext::Instance().IsCreated());

    // Nothing of the failed start stays behind: the next start works.
    EXPECT_TRUE(FreshInit(RendererCreationInfo{}));
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

TEST_F(RendererTest, SecondInitIsRefusedAndShutdownReportsViewsLeft) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    EXPECT_FALSE(Renderer::Instance().Init(RendererCreationInfo{}));
    EXPECT_TRUE(log_->HasLine("Renderer already initialized...", 1));
    EXPECT_TRUE(Renderer::Instance().IsInitialized());

    auto view = std::make_shared<FakeView>("left", nullptr);
    ASSERT_TRUE(Renderer::Instance().AddRenderView(view));
    Renderer::Instance().Shutdown();
    EXPECT_TRUE(log_->HasLine("Shutting down renderer", 4));
    EXPECT_TRUE(log_->HasLine("Not all renderviews have been released!", 1));
    EXPECT_FALSE(Renderer::Instance().IsInitialized());
    EXPECT_FALSE(OpenGLContext::Instance().IsCreated());
    EXPECT_EQ(view.use_count(), 1);
}

TEST_F(RendererTest, BindingPointsAreSmallestFreeFirst) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    Renderer& renderer = Renderer::Instance();
    ASSERT_GE(renderer.MaxBindingPoints(), 3);
    std::vector<int32_t> taken;
    for (int32_t i = 0; i < 3; ++i) taken.push_back(renderer.GetAvailableUniformBlockBindingPoint());
    EXPECT_EQ(taken, (std::vector<int32_t>{0, 1, 2}));
    renderer.ReleaseBlockBindingPoint(1);
    EXPECT_EQ(renderer.GetAvailableUniformBlockBindingPoint(), 1);

    log_->Clear();
    renderer.ReleaseBlockBindingPoint(renderer.MaxBindingPoints() + 5);
    EXPECT_TRUE(log_->HasLine("ReleaseBlockBindingPoint() with invalid binding point!", 1));

    // Exhaustion is reported, and a release makes room again.
    for (int32_t i = 3; i < renderer.MaxBindingPoints(); ++i) EXPECT_EQ(renderer.GetAvailableUniformBlockBindingPoint(), i);
    EXPECT_EQ(renderer.GetAvailableUniformBlockBindingPoint(), -1);
    EXPECT_TRUE(log_->HasLine("GetAvailableUniformBlockBindingPoint() cannot find available binding point!", 1));
    renderer.ReleaseBlockBindingPoint(2);
    EXPECT_EQ(renderer.GetAvailableUniformBlockBindingPoint(), 2);
    for (int32_t i = 0; i < renderer.MaxBindingPoints(); ++i) renderer.ReleaseBlockBindingPoint(i);
}

TEST_F(RendererTest, BlendModeSetsFunctionsAndSkipsRepeats) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    Renderer& renderer = Renderer::Instance();
    auto blend = [] {
        GLint src = 0, dst = 0;
        glGetIntegerv(GL_BLEND_SRC_RGB, &src);
        glGetIntegerv(GL_BLEND_DST_RGB, &dst);
        return std::pair<GLint, GLint>(src, dst);
    };
    const std::pair<uint32_t, std::pair<GLint, GLint>> table[] = {
        {1, {GL_ONE, GL_ONE}},
        {2, {GL_ZERO, GL_SRC_COLOR}},
        {3, {GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA}},
        {4, {GL_ONE_MINUS_SRC_ALPHA, GL_SRC_ALPHA}},
    };
    for (const auto& [mode, functions] : table) {
        glDisable(GL_BLEND);
        renderer.SetBlendMode(mode);
        EXPECT_TRUE(glIsEnabled(GL_BLEND)) << mode;
        EXPECT_EQ(blend(), functions) << mode;
    }
    // The same mode again on the same drawable is not sent to GL.
    glBlendFunc(GL_DST_COLOR, GL_ZERO);
    renderer.SetBlendMode(4);
    EXPECT_EQ(blend(), (std::pair<GLint, GLint>(GL_DST_COLOR, GL_ZERO)));

    log_->Clear();
    renderer.SetBlendMode(5);
    renderer.SetBlendMode(0);
    EXPECT_EQ(log_->CountLine("Renderer::SetBlendMode() - INVALID BLEND MODE!", 1), 2u);
    EXPECT_EQ(blend(), (std::pair<GLint, GLint>(GL_DST_COLOR, GL_ZERO)));
    renderer.SetBlendMode(3);
    EXPECT_EQ(blend(), (std::pair<GLint, GLint>(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA)));
    EXPECT_EQ(kestrum_test::TakeGLError(), "");
}

TEST_F(RendererTest, AntiAliasingModesFollowMaxSamples) {
    ASSERT_TRUE(FreshInit(RendererCreationInfo{}));
    GLint maxSamples = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    EXPECT_EQ(Renderer::Instance().MaxSamples(), static_cast<uint32_t>(maxSamples));
    EXPECT_TRUE(log_->HasLine("OpenGL max samples: " + std::to_string(maxSamples), 3));

    std::vector<std::string> expected;
    for (int32_t s = 2; s <= maxSamples; s *= 2) expected.push_back(std::to_string(s) + "xMSAA");
    std::vector<std::string> names;
    for (const auto& mode : Renderer::Instance().GetAntiAliasingModes()) {
        names.push_back(mode.name);
        EXPECT_TRUE(log_->HasLine("Available FSAA Mode: " + mode.name, 3));
    }
    if (OpenGLContext::Instance().Vendor() != GLVendor::Nvidia) {
        EXPECT_EQ(names, expected);
        EXPECT_FALSE(Renderer::Instance().HasCoverageSampling());
    }
    EXPECT_TRUE(Renderer::Instance().SupportsAntiAliasingMode(0, 0));
    if (maxSamples >= 4) {
        EXPECT_TRUE(Renderer::Instance().SupportsAntiAliasingMode(4, 0));
    }
    EXPECT_FALSE(Renderer::Instance().SupportsAntiAliasingMode(3, 0));
}

TEST_F(RendererTest, WindowAntiAliasingFallsBackInOrder) {
    RendererCreationInfo info;
    info.autoAntiAliasing = true;
    ASSERT_TRUE(FreshInit(info));
    // A line that is not there has index -1.
    const long csaa = log_->IndexOfLine("CSAA not supported, or failed to initialize");
    ASSERT_GE(csaa, 0);
    const uint32_t samples = OpenGLContext::Instance().MsaaSamples();
    if (samples >= 2) {
        const long mode = log_->IndexOfLine("Window anti-aliasing mode: " + std::to_string(samples) + "xMSAA");
        EXPECT_GE(mode, 0);
        EXPECT_GT(mode, csaa);
    } else {
        EXPECT_GT(log_->IndexOfLine("MSAA not supported, or failed to initialize"), csaa);
        EXPECT_GE(log_->IndexOfLine("Window anti-aliasing mode: NONE"), 0);
    }
    EXPECT_NE(OpenGLContext::Instance().PixelFormat(), 0);

    // Without any request only the plain configuration is looked for.
    ASSERT_TRUE(FreshInit(RendererCreationInfo{}));
    EXPECT_FALSE(log_->HasLine("CSAA not supported, or failed to initialize", 2));
    EXPECT_TRUE(log_->HasLine("Window anti-aliasing mode: NONE", 3));
    EXPECT_EQ(OpenGLContext::Instance().MsaaSamples(), 0u);
}

TEST_F(RendererTest, ViewsAreListedOnceAndDrawnInOrder) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    Renderer& renderer = Renderer::Instance();
    std::vector<std::string> order;
    auto a = std::make_shared<FakeView>("A", &order);
    auto b = std::make_shared<FakeView>("B", &order);
    auto sameName = std::make_shared<FakeView>("A", &order);

    EXPECT_FALSE(renderer.AddRenderView(nullptr));
    EXPECT_TRUE(log_->HasLine("AddRenderView without a valid view!", 1));
    EXPECT_TRUE(renderer.AddRenderView(a));
    EXPECT_TRUE(renderer.AddRenderView(b));
    EXPECT_FALSE(renderer.AddRenderView(sameName));
    EXPECT_TRUE(log_->HasLine("AddRenderView - duplicate view 'A', will not be added!", 1));

    renderer.RenderAllViews(1234);
    EXPECT_EQ(order, (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(b->lastTime, 1234u);

    renderer.RemoveRenderView(sameName);
    EXPECT_TRUE(log_->HasLine("RemoveRenderView trying to remove a non-existing view!", 1));
    renderer.RemoveRenderView(a);
    order.clear();
    renderer.RenderAllViews(1300);
    EXPECT_EQ(order, (std::vector<std::string>{"B"}));
    renderer.RemoveRenderView(b);
    EXPECT_TRUE(renderer.RenderViews().empty());
}

TEST_F(RendererTest, VerticalSyncIsStoredAndLogged) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    Renderer& renderer = Renderer::Instance();
    auto view = std::make_shared<FakeView>("vsync", nullptr);
    ASSERT_TRUE(renderer.AddRenderView(view));
    renderer.EnableVerticalSync(true);
    EXPECT_TRUE(renderer.VerticalSync());
    EXPECT_TRUE(log_->HasLine("VSync ENABLED", 3));
    renderer.EnableVerticalSync(false);
    EXPECT_FALSE(renderer.VerticalSync());
    EXPECT_TRUE(log_->HasLine("VSync DISABLED", 3));
    // Switching drawables for the swap interval leaves the shared drawable current.
    EXPECT_EQ(OpenGLContext::Instance().CurrentDC(), OpenGLContext::Instance().SharedDC());
    renderer.RemoveRenderView(view);
}

}  // namespace
