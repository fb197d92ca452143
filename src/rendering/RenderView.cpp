#include "rendering/RenderView.h"

#include <algorithm>
#include <cstring>

#include <epoxy/gl.h>

#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "rendering/SimpleMeshFactory.h"
#include "rendering/Texture.h"
#include "rendering/WindowSystem.h"
#include "rendering/shaders/DynamicShader.h"
#include "util/Logger.h"
#include "util/Paths.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// Share of the shorter viewport side that the camera's rotation sphere spans.
constexpr float kSphereRadiusFactor = 0.9f;

// Flags of the screen quad's program: front faces, positions already in clip space.
constexpr uint32_t kScreenQuadFlags =
    ShaderFlags::FrontFaces | ShaderFlags::NoGlobalMatrices | ShaderFlags::NoModelMatrix;

bool IsPowerOfTwo(uint32_t n) { return n != 0 && (n & (n - 1)) == 0; }

ImageFormat ToImageFormat(int32_t format) {
    switch (format) {
        case int32_t(ImageFormat::JPEG): return ImageFormat::JPEG;
        case int32_t(ImageFormat::TIFF): return ImageFormat::TIFF;
        default: return ImageFormat::PNG;
    }
}

}  // namespace

std::shared_ptr<RenderView> RenderView::Create(const RenderViewCreationInfo& info) {
    if (!Renderer::Instance().IsInitialized()) {
        Logger::Log(LogLevel::Error, "RenderView::Create: Renderer not initialized!");
        return nullptr;
    }
    std::shared_ptr<RenderView> view(new RenderView());
    if (!view->Init(info)) {
        Logger::Log(LogLevel::Error, "RenderView::Create: failed to initialize!");
        return nullptr;
    }
    return view;
}

RenderView::~RenderView() {
    screenQuad_.reset();
    screenQuadInfo_.shaderInfos.clear();
    // GL names belong to the one shared context; with any drawable current they can go.
    OpenGLContext& context = OpenGLContext::Instance();
    if (context.IsCreated() && context.CurrentDC() != nullptr) DeleteFramebuffers();
}

bool RenderView::Init(const RenderViewCreationInfo& info) {
    if (!info.IsValid()) {
        Logger::Log(LogLevel::Error, "Failed to initialize RenderView, invalid CreationInfo!");
        return false;
    }
    if (initialised_) {
        Logger::Log(LogLevel::Error, "RenderView already initialized...");
        return false;
    }
    viewport_ = CameraViewport{0, 0, info.width, info.height};
    name_ = info.name;
    window_ = info.window;
    WindowSystem* windows = WindowSystem::Installed();
    dc_ = windows ? windows->FindDrawable(window_) : nullptr;
    if (dc_ == nullptr) {
        Logger::Log(LogLevel::Error, "No valid device context for window found, cannot create OpenGL context!");
        return false;
    }
    OpenGLContext& context = OpenGLContext::Instance();
    if (!context.CreateContextForWindow(dc_) || !context.Activate(dc_)) {
        Logger::Log(LogLevel::Error, "Failed to create render context for RenderView!");
        return false;
    }

    clearColor_ = {0.0f, 0.0f, 0.0f};
    RestoreGLState();
    frameDirty_ = true;
    Renderer::Instance().SetBlendMode(BlendMode::Alpha);
    if (context.MsaaSamples() > 1) glEnable(GL_MULTISAMPLE);

    polygonMode_ = GL_FILL;
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glDisable(GL_PROGRAM_POINT_SIZE);
    glDisable(GL_CULL_FACE);

    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, GLsizei(viewport_.width), GLsizei(viewport_.height));
    colorSamples_ = context.MsaaSamples();
    coverageSamples_ = context.CsaaSamples();

    if (!CreateFramebuffers()) {
        Logger::Log(LogLevel::Error, "Failed to create a FBO");
        DeleteFramebuffers();
        return false;
    }

    useFramebufferObject_ = Renderer::Instance().UseFramebufferObject();
    cameraController_.SetSphereRadiusFactor(kSphereRadiusFactor);
    cameraController_.OnViewportChanged(viewport_);
    SetAnisotropy(info.anisotropy);
    context.SetSwapInterval(Renderer::Instance().VerticalSync() ? 1 : 0);
    initialised_ = true;
    return true;
}

void RenderView::RestoreGLState() {
    glClearColor(clearColor_[0], clearColor_[1], clearColor_[2], 1.0f);
    glClearDepth(1.0);
    glEnable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
    glDepthFunc(GL_LEQUAL);
    glDepthRange(0.0, 1.0);
    glPointSize(3.0f);
    glEnable(GL_PROGRAM_POINT_SIZE);
    // Another view may have left its own polygon mode in the shared context.
    glPolygonMode(GL_FRONT_AND_BACK, polygonMode_);
    Renderer::Instance().ForgetBlendMode();
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, GLsizei(viewport_.width), GLsizei(viewport_.height));
}

// ---- framebuffers -------------------------------------------------------------------------

bool RenderView::CreateFramebuffers() {
    const GLsizei width = GLsizei(viewport_.width);
    const GLsizei height = GLsizei(viewport_.height);
    bool complete = true;

    glGenFramebuffers(1, &fbo_);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
    glGenTextures(1, &texture_);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, texture_);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_2D, 0);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_, 0);

    // A multisampled view draws into its own framebuffer, which carries the depth buffer; the
    // single-sample one then only receives the resolved colour.
    if (colorSamples_ < 2) {
        glGenRenderbuffers(1, &depth_);
        glBindRenderbuffer(GL_RENDERBUFFER, depth_);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT, width, height);
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth_);
    }
    const GLenum attachment = GL_COLOR_ATTACHMENT0;
    glDrawBuffers(1, &attachment);
    RestoreGLState();
    glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    if (status != GL_FRAMEBUFFER_COMPLETE) {
        Logger::Log(LogLevel::Error, "glCheckFramebufferStatus FAILED! (%d)", int32_t(status));
        complete = false;
    }
    glBindFramebuffer(GL_FRAMEBUFFER, 0);

    if (colorSamples_ >= 2) {
        const bool coverage = Renderer::Instance().HasCoverageSampling() && coverageSamples_ >= 2;
        glGenRenderbuffers(1, &msaaColor_);
        glBindRenderbuffer(GL_RENDERBUFFER, msaaColor_);
        if (coverage)
            glRenderbufferStorageMultisampleCoverageNV(GL_RENDERBUFFER, GLsizei(coverageSamples_),
                                                       GLsizei(colorSamples_), GL_RGBA8, width, height);
        else
            glRenderbufferStorageMultisample(GL_RENDERBUFFER, GLsizei(colorSamples_), GL_RGBA8, width, height);
        glGenRenderbuffers(1, &depth_);
        glBindRenderbuffer(GL_RENDERBUFFER, depth_);
        if (coverage)
            glRenderbufferStorageMultisampleCoverageNV(GL_RENDERBUFFER, GLsizei(coverageSamples_),
                                                       GLsizei(colorSamples_), GL_DEPTH_COMPONENT, width, height);
        else
            glRenderbufferStorageMultisample(GL_RENDERBUFFER, GLsizei(colorSamples_), GL_DEPTH_COMPONENT, width,
                                             height);
        glBindRenderbuffer(GL_RENDERBUFFER, 0);

        glGenFramebuffers(1, &msaaFbo_);
        glBindFramebuffer(GL_FRAMEBUFFER, msaaFbo_);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, msaaColor_);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth_);
        RestoreGLState();
        glBindFramebuffer(GL_FRAMEBUFFER, msaaFbo_);
        status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
        if (status != GL_FRAMEBUFFER_COMPLETE) {
            Logger::Log(LogLevel::Error, "glCheckFramebufferStatus FAILED (MSAA)! (%d)", int32_t(status));
            complete = false;
        }
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    }
    return complete;
}

void RenderView::DeleteFramebuffers() {
    if (msaaFbo_ != 0) glDeleteFramebuffers(1, &msaaFbo_);
    if (depth_ != 0) glDeleteRenderbuffers(1, &depth_);
    if (msaaColor_ != 0) glDeleteRenderbuffers(1, &msaaColor_);
    if (texture_ != 0) glDeleteTextures(1, &texture_);
    if (fbo_ != 0) glDeleteFramebuffers(1, &fbo_);
    msaaFbo_ = depth_ = msaaColor_ = texture_ = fbo_ = 0;
}

bool RenderView::RecreateFramebuffers() {
    DeleteFramebuffers();
    if (!CreateFramebuffers()) {
        Logger::Log(LogLevel::Error, "Renderer::RecreateFramebuffer - FAILED TO RECREATE FBO!");
        return false;
    }
    // The quad shows whatever texture the framebuffer has now.
    if (!screenQuadInfo_.shaderInfos.empty()) screenQuadInfo_.shaderInfos[0].texture[0] = texture_;
    return true;
}

bool RenderView::SetViewport(const CameraViewport& rect) {
    if (rect.width == 0 || rect.height == 0) {
        Logger::Log(LogLevel::Warning, "Trying to set viewport to %ux%u - IGNORED!", rect.width, rect.height);
        return false;
    }
    if (rect.width == viewport_.width && rect.height == viewport_.height) return true;
    ActivateContext();
    viewport_ = rect;
    cameraController_.OnViewportChanged(viewport_);
    bool ok = RecreateFramebuffers();
    if (!ok) Logger::Log(LogLevel::Error, "RenderView::SetViewport - FAILED TO RECREATE FBO!");
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, GLsizei(viewport_.width), GLsizei(viewport_.height));
    frameDirty_ = true;
    return ok;
}

bool RenderView::SetFBOAAModeExplicitely(uint32_t colorSamples, uint32_t coverageSamples) {
    if (!Renderer::Instance().SupportsAntiAliasingMode(colorSamples, coverageSamples)) {
        Logger::Log(LogLevel::Error, "Renderer::SupportsFBOAAMode - unsupported CSAA mode");
        return false;
    }
    ActivateContext();
    const uint32_t oldColor = colorSamples_, oldCoverage = coverageSamples_;
    colorSamples_ = colorSamples;
    coverageSamples_ = coverageSamples;
    if (!RecreateFramebuffers()) {
        colorSamples_ = oldColor;
        coverageSamples_ = oldCoverage;
        RecreateFramebuffers();
        Logger::Log(LogLevel::Error, "Renderer::SetFBOAAModeExplicitely - failed to recreate FBO");
        return false;
    }
    frameDirty_ = true;
    Logger::Log(LogLevel::Info, "Renderer::SetFBOAAModeExplicitely switched to %i coverage and %i color samples",
                int32_t(coverageSamples_), int32_t(colorSamples_));
    return true;
}

bool RenderView::SetAnisotropy(uint32_t anisotropy) {
    if (anisotropy == 0) anisotropy = 1;
    if (anisotropy > Renderer::Instance().MaxAnisotropy() || !IsPowerOfTwo(anisotropy)) {
        Logger::Log(LogLevel::Error, "RenderView::SetAnisotropy with invalid setting: %u", anisotropy);
        return false;
    }
    ActivateContext();
    anisotropy_ = anisotropy;
    Logger::Log(LogLevel::Info, "Anisotropic filtering set to %u", anisotropy_);
    for (const auto& [handle, entry] : SceneManager::Instance().GetScenes()) {
        if (entry.scene) entry.scene->GetResources().textureManager.SetAnisotropy(anisotropy_);
    }
    return true;
}

void RenderView::SetPolygonMode(uint32_t mode) {
    if (mode != GL_FILL && mode != GL_LINE && mode != GL_POINT) return;
    polygonMode_ = mode;
    ActivateContext();
    glPolygonMode(GL_FRONT_AND_BACK, mode);
    // Points take their size from the program only in point mode.
    if (mode == GL_POINT)
        glEnable(GL_PROGRAM_POINT_SIZE);
    else
        glDisable(GL_PROGRAM_POINT_SIZE);
    frameDirty_ = true;
}

bool RenderView::ActivateContext() {
    OpenGLContext& context = OpenGLContext::Instance();
    const DeviceContext* before = context.CurrentDC();
    if (!context.Activate(dc_)) return false;
    if (before != dc_) RestoreGLState();
    return true;
}

// ---- scene --------------------------------------------------------------------------------

bool RenderView::SetSceneGraph(SceneHandle handle) {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(handle);
    if (!scene) {
        Logger::Log(LogLevel::Error, "RenderView::SetSceneGraph - invalid scene!");
        return false;
    }
    ActivateContext();
    scene_ = handle;
    scene->GetResources().textureManager.SetAnisotropy(anisotropy_);
    cameraController_.OnSceneGraphSet(handle);
    if (!CreateScreenQuad()) {
        Logger::Log(LogLevel::Error,
                    "RenderView::SetSceneGraph - failed to create screenquad object (Render-To-FBO not available)!");
    }
    frameDirty_ = true;
    return true;
}

bool RenderView::CreateScreenQuad() {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(scene_);
    if (!scene) {
        Logger::Log(LogLevel::Error, "RenderView::CreateScreenQuad - has no scene!");
        return false;
    }
    std::shared_ptr<Mesh> quad = SimpleMeshFactory::CreateScreenQuad(scene_);
    if (!quad) return false;

    ShaderDescription description;
    description.vertexAttributes = quad->GetVertexAttributes(0);
    description.flags = kScreenQuadFlags;
    description.textureLayers = 1;
    description.layerBlend[0] = LayerBlend::Replace;
    description.texIntensity[0] = 1.0f;
    description.blendMode = BlendMode::Alpha;
    std::shared_ptr<DynamicShader> shader = scene->GetResources().shaderManager.GetShader(description);
    if (!shader || !quad->SetShaderForSubObject(0, shader)) {
        Logger::Log(LogLevel::Error, "Failed to create shader for screen quad!");
        return false;
    }
    screenQuadInfo_ = RenderInfo{};
    screenQuadInfo_.faceVisibility = 3;
    screenQuadInfo_.shaderInfos.resize(1);
    RenderShaderInfo& info = screenQuadInfo_.shaderInfos[0];
    info.shader = std::move(shader);
    info.texture[0] = texture_;
    info.textureMask = 1;
    info.texIntensity[0] = 1.0f;
    screenQuad_ = std::move(quad);
    return true;
}

void RenderView::ClearSceneGraph() {
    cameraController_.Clear();
    screenQuad_.reset();
    screenQuadInfo_.shaderInfos.clear();
    scene_ = 0;
    frameDirty_ = true;
}

// ---- drawing ------------------------------------------------------------------------------

void RenderView::RenderSceneToFramebuffer(SceneGraph& scene, float time, float delta) {
    const GLbitfield clearBits = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT;
    glClearColor(clearColor_[0], clearColor_[1], clearColor_[2], 1.0f);
    glViewport(0, 0, GLsizei(viewport_.width), GLsizei(viewport_.height));
    glEnable(GL_DEPTH_TEST);
    if (colorSamples_ < 2 || msaaFbo_ == 0) {
        glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
        glClear(clearBits);
        DrawScene(scene, time, delta);
        return;
    }
    glEnable(GL_MULTISAMPLE);
    glBindFramebuffer(GL_FRAMEBUFFER, msaaFbo_);
    glClear(clearBits);
    DrawScene(scene, time, delta);
    glDisable(GL_MULTISAMPLE);
    const GLint width = GLint(viewport_.width), height = GLint(viewport_.height);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, msaaFbo_);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, fbo_);
    glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
}

void RenderView::DrawScene(SceneGraph& scene, float time, float delta) {
    scene.GetResources().BindForDrawing();
    cameraController_.Render(true, scene, time, delta);
}

void RenderView::DrawScreenQuad(float time) {
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDisable(GL_DEPTH_TEST);
    if (polygonMode_ != GL_FILL) glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    screenQuad_->Draw(screenQuadInfo_, time);
    if (polygonMode_ != GL_FILL) glPolygonMode(GL_FRONT_AND_BACK, polygonMode_);
    glEnable(GL_DEPTH_TEST);
}

void RenderView::Render(uint64_t timeMs) {
    const float time = float(double(timeMs) / 1000.0);
    const float delta = float(double(int64_t(timeMs) - lastFrameTime_) / 1000.0);
    ActivateContext();
    // A drawable without a surface (the capture window on a headless display) has no default
    // framebuffer: the frame stops in the framebuffer object, which is all a capture reads.
    const bool hasWindowBuffer = dc_ != nullptr && dc_->surface != nullptr;

    std::shared_ptr<SceneGraph> scene = scene_ != 0 ? SceneManager::Instance().GetScene(scene_) : nullptr;
    if (scene_ == 0) {
        if (hasWindowBuffer) {
            glClearColor(clearColor_[0], clearColor_[1], clearColor_[2], 1.0f);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        }
    } else if (scene && scene->IsVisible()) {
        // A hidden or vanished scene leaves the previous picture in place.
        if (!useFramebufferObject_ || !screenQuad_ || fbo_ == 0) {
            if (hasWindowBuffer) {
                glBindFramebuffer(GL_FRAMEBUFFER, 0);
                glClearColor(clearColor_[0], clearColor_[1], clearColor_[2], 1.0f);
                glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
                glEnable(GL_DEPTH_TEST);
                DrawScene(*scene, time, delta);
            }
        } else {
            frameDirty_ = false;
            RenderSceneToFramebuffer(*scene, time, delta);
            if (hasWindowBuffer)
                DrawScreenQuad(time);
            else
                glBindFramebuffer(GL_FRAMEBUFFER, 0);
        }
    }
    if (screenshotPending_) TakeScreenshot();
    OpenGLContext::Instance().SwapBuffers(dc_);
    lastFrameTime_ = int64_t(timeMs);
}

bool RenderView::ReadFramebuffer(std::vector<uint8_t>& pixels, uint32_t& size, bool flip) {
    const size_t rowBytes = size_t(viewport_.width) * 4;
    const size_t bytes = rowBytes * viewport_.height;
    pixels.resize(bytes);
    size = uint32_t(bytes);
    glBindFramebuffer(GL_FRAMEBUFFER, useFramebufferObject_ ? fbo_ : 0);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, GLsizei(viewport_.width), GLsizei(viewport_.height), GL_BGRA, GL_UNSIGNED_BYTE, pixels.data());
    if (flip && viewport_.height > 1) {
        rowScratch_.resize(rowBytes);
        for (uint32_t top = 0, bottom = viewport_.height - 1; top < bottom; ++top, --bottom) {
            uint8_t* a = pixels.data() + rowBytes * top;
            uint8_t* b = pixels.data() + rowBytes * bottom;
            std::memcpy(rowScratch_.data(), a, rowBytes);
            std::memcpy(a, b, rowBytes);
            std::memcpy(b, rowScratch_.data(), rowBytes);
        }
    }
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return true;
}

bool RenderView::RenderToMemory(std::vector<uint8_t>& pixels, uint32_t& size, bool flip) {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(scene_);
    if (!scene || !scene->IsVisible()) {
        Logger::Log(LogLevel::Error, "Cannot render scene to file, no scene loaded, or scene set invisible!");
        return false;
    }
    if (fbo_ == 0) return false;
    OpenGLContext::Instance().Activate(dc_);
    RestoreGLState();
    const bool useFramebufferObject = useFramebufferObject_;
    useFramebufferObject_ = true;
    RenderSceneToFramebuffer(*scene, float(double(lastFrameTime_) / 1000.0), 0.0f);
    const bool ok = ReadFramebuffer(pixels, size, flip);
    useFramebufferObject_ = useFramebufferObject;
    return ok;
}

void RenderView::Screenshot(const std::string& path, int32_t format) {
    screenshotPending_ = true;
    screenshotPath_ = path;
    screenshotFormat_ = format;
}

bool RenderView::TakeScreenshot() {
    std::string path = screenshotPath_;
    if (path.empty()) {
        const std::string folder = Utility::GetModulePath() + "/screenshots";
        Utility::CheckCreateDirectory(folder);
        path = Utility::GetUniqueFileName("Screenshot", Image::Extension(ToImageFormat(screenshotFormat_)), folder);
    }
    std::vector<uint8_t> pixels;
    uint32_t size = 0;
    if (!RenderToMemory(pixels, size, false)) {
        Logger::Log(LogLevel::Error, "Failed to render scene to file!");
        return false;
    }
    std::shared_ptr<TextureData> data =
        TextureData::Create(viewport_.width, viewport_.height, viewport_.width * 4, size, pixels.data());
    if (!data || !Texture::WriteToFile(data, ToImageFormat(screenshotFormat_), path)) {
        Logger::Log(LogLevel::Warning, "Failed to write texture to file!");
        Logger::Log(LogLevel::Error, "Failed to create screenshot!");
        return false;
    }
    screenshotPending_ = false;
    screenshotPath_.clear();
    return true;
}

}  // namespace Velmora::Rendering
