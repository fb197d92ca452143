#pragma once
// A small RGBA8 off-screen framebuffer for GL tests: the test context may have no window
// surface, so anything that draws (or merely needs a complete framebuffer) binds one of these.
// Bound and made the viewport on construction; unbound and deleted on destruction.

#include <epoxy/gl.h>

namespace kestrum_test {

class ColorTarget {
public:
    ColorTarget(GLsizei width, GLsizei height) {
        glGenFramebuffers(1, &fbo_);
        glGenRenderbuffers(1, &color_);
        glBindRenderbuffer(GL_RENDERBUFFER, color_);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, width, height);
        glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, color_);
        glViewport(0, 0, width, height);
    }
    ~ColorTarget() {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glDeleteFramebuffers(1, &fbo_);
        glDeleteRenderbuffers(1, &color_);
    }
    ColorTarget(const ColorTarget&) = delete;
    ColorTarget& operator=(const ColorTarget&) = delete;

    bool Complete() const { return glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE; }

private:
    GLuint fbo_ = 0;
    GLuint color_ = 0;
};

}  // namespace kestrum_test
