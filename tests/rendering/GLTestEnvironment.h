#pragma once
// GL tests share one renderer, started by the first call on its thread (3.1 up, no window
// anti-aliasing or vertical sync). Tests keep no GL objects from one case to the next: a test
// of the start-up path may shut the renderer down and start it again.

#include <gtest/gtest.h>

#include <string>

namespace kestrum_test {

// True when a core context is current on this thread.
bool EnsureGLContext();

// Shuts the renderer down (if it runs); the next EnsureGLContext starts it afresh.
void ResetGLContext();

// Text of the first GL error since the last call, or empty; clears the error flags.
std::string TakeGLError();

// A linked program of the two stages, or 0; compile and link logs become test failures.
unsigned LinkProgram(const std::string& vertexSource, const std::string& fragmentSource);

// A test on the shared context that must leave no GL error behind.
class GLTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(EnsureGLContext());
        TakeGLError();
    }
    void TearDown() override { EXPECT_EQ(TakeGLError(), ""); }
};

}  // namespace kestrum_test
