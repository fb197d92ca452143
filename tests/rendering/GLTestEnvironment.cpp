#include "GLTestEnvironment.h"

#include <fmt/format.h>

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

}  // namespace kestrum_test
