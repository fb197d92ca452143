#include "rendering/SceneResources.h"

#include <epoxy/gl.h>

#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr GLsizeiptr kMatricesBytes = 2 * sizeof(Mat4);
}

SceneResources::SceneResources(SceneHandle handle)
    : lightManager(handle),
      lightingSchemeManager(handle),
      materialManager(handle),
      meshManager(handle),
      textureManager(handle),
      shaderManager(handle) {}

SceneResources::~SceneResources() { Shutdown(); }

bool SceneResources::Init() {
    Renderer& renderer = Renderer::Instance();
    // Every scene uses the renderer's two block points and binds its buffers to them before it
    // is drawn; holding points of its own would cap how many scenes can be loaded at once.
    const int32_t matricesPoint = renderer.MatricesBlockBindingPoint();
    const int32_t lightsPoint = renderer.LightsBlockBindingPoint();
    // The renderer logged it when it could not take them at start.
    if (matricesPoint < 0 || lightsPoint < 0) return false;
    matricesBindingPoint = uint32_t(matricesPoint);
    glGenBuffers(1, &matricesBuffer);
    // The view matrix and the projection matrix sit back to back, as the shaders' block has them.
    float block[32];
    std::copy(viewMatrix.begin(), viewMatrix.end(), block);
    std::copy(projectionMatrix.begin(), projectionMatrix.end(), block + 16);
    glBindBuffer(GL_UNIFORM_BUFFER, matricesBuffer);
    glBufferData(GL_UNIFORM_BUFFER, kMatricesBytes, block, GL_STREAM_DRAW);
    glBindBufferRange(GL_UNIFORM_BUFFER, matricesBindingPoint, matricesBuffer, 0, kMatricesBytes);
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
    initialised_ = true;

    if (!textureManager.Init()) {
        Logger::Log(LogLevel::Error, "SceneResources: Failed to initialize TextureManager");
        return false;
    }
    if (!materialManager.Init()) {
        Logger::Log(LogLevel::Error, "SceneResources: Failed to initialize MaterialManager");
        return false;
    }
    if (!lightManager.IsInitialized() && !lightManager.Init(uint32_t(lightsPoint))) return false;
    return true;
}

void SceneResources::BindForDrawing() const {
    if (matricesBuffer != 0)
        glBindBufferRange(GL_UNIFORM_BUFFER, matricesBindingPoint, matricesBuffer, 0, kMatricesBytes);
    lightManager.BindForDrawing();
    materialManager.BindForDrawing();
}

void SceneResources::Shutdown() {
    if (!initialised_) return;
    initialised_ = false;
    meshManager.Shutdown();
    lightingSchemeManager.ClearLightModels();
    if (lightManager.IsInitialized()) lightManager.Shutdown();
    materialManager.Shutdown();
    textureManager.Shutdown();
    shaderManager.Shutdown();
    // After the context is gone (process exit) its names are gone with it.
    if (matricesBuffer != 0 && OpenGLContext::Instance().CurrentDC() != nullptr) glDeleteBuffers(1, &matricesBuffer);
    matricesBuffer = 0;
}

void SceneResources::SetViewMatrix(const Mat4& view) {
    viewMatrix = view;
    if (matricesBuffer == 0) return;
    glBindBuffer(GL_UNIFORM_BUFFER, matricesBuffer);
    glBufferSubData(GL_UNIFORM_BUFFER, 0, sizeof(Mat4), view.data());
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
}

void SceneResources::SetProjectionMatrix(const Mat4& projection) {
    projectionMatrix = projection;
    if (matricesBuffer == 0) return;
    glBindBuffer(GL_UNIFORM_BUFFER, matricesBuffer);
    glBufferSubData(GL_UNIFORM_BUFFER, sizeof(Mat4), sizeof(Mat4), projection.data());
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
}

}  // namespace Velmora::Rendering
