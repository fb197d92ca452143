#include "GLTestEnvironment.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"

namespace kestrum_test {

using Velmora::Rendering::OpenGLContext;
using Velmora::Rendering::Renderer;
using Velmora::Rendering::RendererCreationInfo;

bool EnsureGLContext() {
    Renderer& renderer = Renderer::Instance();
    if (!renderer.IsInitialized()) {
        RendererCreationInfo info;
        info.verticalSync = false;
        if (!renderer.Init(info)) return false;
    }
    OpenGLContext& context = OpenGLContext::Instance();
    if (!context.CurrentDC()) return context.Activate(context.SharedDC());
    return true;
}

void ResetGLContext() {
    Renderer& renderer = Renderer::Instance();
    if (renderer.IsInitialized()) renderer.Shutdown();
}

std::string TakeGLError() {
    GLenum first = GL_NO_ERROR;
    // A lost context reports errors forever; the bound keeps this loop finite.
    for (int i = 0; i < 32; ++i) {
        const GLenum error = glGetError();
        if (error == GL_NO_ERROR) break;
        if (first == GL_NO_ERROR) first = error;
    }
    return first == GL_NO_ERROR ? std::string() : fmt::format("GL error 0x{:04X}", first);
}

namespace {

GLuint CompileStage(GLenum kind, const std::string& source) {
    const GLuint shader = glCreateShader(kind);
    const char* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint ok = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    if (ok != GL_TRUE) {
        char log[2048] = {};
        glGetShaderInfoLog(shader, sizeof(log), nullptr, log);
        ADD_FAILURE() << log;
    }
    return shader;
}

}  // namespace

unsigned LinkProgram(const std::string& vertexSource, const std::string& fragmentSource) {
    const GLuint vertex = CompileStage(GL_VERTEX_SHADER, vertexSource);
    const GLuint fragment = CompileStage(GL_FRAGMENT_SHADER, fragmentSource);
    const GLuint program = glCreateProgram();
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    glLinkProgram(program);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    GLint ok = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &ok);
    if (ok == GL_TRUE) return program;
    ADD_FAILURE() << "program did not link";
    glDeleteProgram(program);
    return 0;
}

}  // namespace kestrum_test
