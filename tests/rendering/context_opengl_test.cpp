// The context layer on its own: drawables, activation and the driver text helpers.

#include <memory>
#include <optional>
#include <string>

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include "GLTestEnvironment.h"
#include "rendering/GLVersion.h"
#include "rendering/OpenGLContext.h"
#include "support/LogCapture.h"

namespace {

using namespace Velmora::Rendering;
using Velmora::Test::LogCapture;

TEST(GLVersionText, ParsesVersionStrings) {
    int32_t major = -1, minor = -1;
    EXPECT_TRUE(ParseGLVersion("4.5 (Core Profile) Mesa 22.3.6", major, minor));
    EXPECT_EQ(major, 4);
    EXPECT_EQ(minor, 5);
    EXPECT_TRUE(ParseGLVersion("4.50", major, minor));
    EXPECT_EQ(major, 4);
    EXPECT_EQ(minor, 50);
    EXPECT_TRUE(ParseGLVersion("OpenGL ES 3.2 Mesa", major, minor));
    EXPECT_EQ(major, 3);
    EXPECT_EQ(minor, 2);
    EXPECT_TRUE(ParseGLVersion("3.30 NVIDIA via Cg compiler", major, minor));
    EXPECT_EQ(minor, 30);

    for (const char* bad : {"", "abc", "4", "4.", "4.x", "99999999999.1"}) {
        EXPECT_FALSE(ParseGLVersion(bad, major, minor)) << bad;
        EXPECT_EQ(major, 0) << bad;
        EXPECT_EQ(minor, 0) << bad;
    }
    EXPECT_FALSE(ParseGLVersion(nullptr, major, minor));
}

TEST(GLVersionText, DetectsVendorCaseInsensitively) {
    EXPECT_EQ(DetectVendor("NVIDIA Corporation"), GLVendor::Nvidia);
    EXPECT_EQ(DetectVendor("ATI Technologies Inc."), GLVendor::Amd);
    EXPECT_EQ(DetectVendor("Advanced Micro Devices (AMD)"), GLVendor::Amd);
    EXPECT_EQ(DetectVendor("Intel Open Source Technology Center"), GLVendor::Intel);
    EXPECT_EQ(DetectVendor("Mesa"), GLVendor::Unknown);
    EXPECT_EQ(DetectVendor(""), GLVendor::Unknown);
}

TEST(GLVersionText, NamesAntiAliasingModes) {
    EXPECT_EQ(AntiAliasingModeName(0, 4), "4xMSAA");
    EXPECT_EQ(AntiAliasingModeName(1, 8), "8xMSAA");
    EXPECT_EQ(AntiAliasingModeName(16, 4), "4xMSAA + 16xCSAA");
    EXPECT_EQ(AntiAliasingModeName(0, 1), "No AA");
    EXPECT_EQ(AntiAliasingModeName(8, 0), "No AA");
}

class ContextTest : public ::testing::Test {
protected:
    void SetUp() override {
        log_ = std::make_unique<LogCapture>();
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
    }
    void TearDown() override { log_.reset(); }
    // An error line that is exactly text.
    bool Logged(const std::string& text) const { return log_->HasLine(text, 1); }
    // The last error line, or nothing when none was logged.
    std::optional<std::string> LastError() const {
        const auto lines = log_->Lines();
        for (auto line = lines.rbegin(); line != lines.rend(); ++line)
            if (line->level == 1) return line->text;
        return std::nullopt;
    }
    std::unique_ptr<LogCapture> log_;
};

TEST_F(ContextTest, RefusesMissingDrawables) {
    OpenGLContext& context = OpenGLContext::Instance();
    EXPECT_FALSE(context.CreateContextForWindow(nullptr));
    EXPECT_TRUE(Logged("No valid draw window DC provided, cannot create OpenGL context!"));
    EXPECT_FALSE(context.Activate(nullptr));
    EXPECT_TRUE(Logged("OpenGLContext - failed to activate, invalid data!"));
    EXPECT_FALSE(context.Deactivate(nullptr));
    EXPECT_TRUE(Logged("OpenGLContext - error on context deactivation"));

    // A drawable that never got its surface cannot be made current.
    DeviceContext unbound;
    log_->Clear();
    EXPECT_FALSE(context.Activate(&unbound));
    EXPECT_TRUE(Logged("OpenGLContext - failed to activate, invalid data!"));
    EXPECT_EQ(context.CurrentDC(), context.SharedDC());
}

TEST_F(ContextTest, OffscreenDrawableSharesTheContext) {
    OpenGLContext& context = OpenGLContext::Instance();
    // A texture made on the shared drawable is visible on the second one: one context.
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

    // Deactivating the current drawable returns to the shared one; others are left alone.
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

TEST_F(ContextTest, WindowDrawableNeedsAWindowSystem) {
    OpenGLContext& context = OpenGLContext::Instance();
    if (context.HasWindowSystem()) GTEST_SKIP() << "an X server is reachable; covered by the window tests";
    DeviceContext window;
    window.window = 0x1234;
    EXPECT_FALSE(context.CreateContextForWindow(&window));
    EXPECT_FALSE(window.bound);
    const std::optional<std::string> error = LastError();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->rfind("Failed to SetPixelFormat(): '", 0), 0u) << *error;
}

}  // namespace
