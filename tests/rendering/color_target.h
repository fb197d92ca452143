#pragma once
// A small RGBA8 off-screen framebuffer for GL tests: the test context may have no window
// surface, so anything that draws (or merely needs a complete framebuffer) binds one of these.
// Bound and made the viewport on construction; unbound and deleted on destruction.

#include <epoxy/gl.h>

#include <cstdint>
#include <vector>

namespace kestrum_test {

class ColorTarget {
public:
    ColorTarget(GLsizei width, GLsizei height, bool withDepth = false) : width_(width), height_(height) {
        glGenFramebuffers(1, &fbo_);
        glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
        Attach(color_, GL_RGBA8, GL_COLOR_ATTACHMENT0);
        if (withDepth) Attach(depth_, GL_DEPTH_COMPONENT24, GL_DEPTH_ATTACHMENT);
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
        glViewport(0, 0, width, height);
    }
    ~ColorTarget() {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glDeleteFramebuffers(1, &fbo_);
        glDeleteRenderbuffers(1, &color_);
        if (depth_) glDeleteRenderbuffers(1, &depth_);
    }
    ColorTarget(const ColorTarget&) = delete;
    ColorTarget& operator=(const ColorTarget&) = delete;

    bool Complete() const { return glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE; }

    // Binds the target again (after other framebuffers were used) and makes it the viewport.
    void Bind() const {
        glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
        glViewport(0, 0, width_, height_);
    }

    // RGBA rows of the whole target, bottom row first.
    std::vector<uint8_t> Read() const {
        std::vector<uint8_t> rgba(size_t(width_) * size_t(height_) * 4);
        glReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
        return rgba;
    }

private:
    void Attach(GLuint& buffer, GLenum format, GLenum attachment) {
        glGenRenderbuffers(1, &buffer);
        glBindRenderbuffer(GL_RENDERBUFFER, buffer);
        glRenderbufferStorage(GL_RENDERBUFFER, format, width_, height_);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, attachment, GL_RENDERBUFFER, buffer);
    }

    GLsizei width_ = 0;
    GLsizei height_ = 0;
    GLuint fbo_ = 0;
    GLuint color_ = 0;
    GLuint depth_ = 0;
};

}  // namespace kestrum_test
