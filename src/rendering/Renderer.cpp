#include "rendering/Renderer.h"

#include <algorithm>

#include <epoxy/gl.h>

#include "rendering/Mesh.h"
#include "rendering/OpenGLContext.h"
#include "rendering/RenderView.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// What every scene needs beyond the core version: rectangle textures for the screen quad,
// framebuffer objects, vertex arrays and buffers, uniform blocks and anisotropic filtering.
const std::vector<std::string>& RequiredExtensions() {
    static const std::vector<std::string> extensions = {
        "GL_ARB_texture_rectangle",    "GL_ARB_framebuffer_object",    "GL_ARB_vertex_array_object",
        "GL_ARB_vertex_buffer_object", "GL_ARB_uniform_buffer_object", "GL_EXT_texture_filter_anisotropic"};
    return extensions;
}

// Rasterizers that run on the CPU, by the names their GL_RENDERER text starts with.
bool IsSoftwareRasterizer(const std::string& renderer) {
    for (const char* name : {"llvmpipe", "softpipe", "Software Rasterizer", "SWR"})
        if (renderer.rfind(name, 0) == 0) return true;
    return false;
}

// Primitives per draw call on a software rasterizer (see Mesh::SetDrawBatchLimit).
constexpr uint32_t kSoftwareDrawBatch = 4096;

// A driver that reports absurd coverage mode counts must not make us allocate without bound.
constexpr GLint kMaxCoverageModes = 64;

}  // namespace

Renderer& Renderer::Instance() {
    static Renderer renderer;
    return renderer;
}

bool Renderer::Init(const RendererCreationInfo& info) {
    Logger::Log(LogLevel::Verbose, "Initializing renderer... ");
    if (initialised_) {
        Logger::Log(LogLevel::Error, "Renderer already initialized...");
        return false;
    }
    if (!StartGL(info)) return false;
    // The image codecs need no start-up of their own, so nothing can fail here.
    useFramebufferObject_ = info.useFramebufferObject;
    EnableVerticalSync(info.verticalSync);
    initialised_ = true;
    return true;
}

bool Renderer::StartGL(const RendererCreationInfo& info) {
    OpenGLContextCreationInfo context;
    context.orHigher = false;
    context.major = info.glMajor;
    context.minor = info.glMinor;
    if (info.glMajor == 0) {
        context.orHigher = true;
        context.major = kMinimumMajor;
        context.minor = kMinimumMinor;
    } else if (info.glMajor < kMinimumMajor || (info.glMajor == kMinimumMajor && info.glMinor < kMinimumMinor)) {
        Logger::Log(LogLevel::Error, "Minimum required OpenGL version is %d.%d, request version: %d.%d", kMinimumMajor,
                    kMinimumMinor, info.glMajor, info.glMinor);
        return false;
    }
    Logger::Log(LogLevel::Info, "Trying to create OpenGL context for version %d.%d %s", context.major, context.minor,
                context.orHigher ? "(or higher)" : "");
    context.requiredExtensions = RequiredExtensions();
    context.autoAntiAliasing = info.autoAntiAliasing;
    context.msaaSamples = info.msaaSamples;
    context.csaaSamples = info.csaaSamples;
    if (!OpenGLContext::Instance().Create(context)) {
        Logger::Log(LogLevel::Error, "Failed to initialize OpenGL context!");
        return false;
    }
    InitGLStates();
    return true;
}

void Renderer::InitGLStates() {
    Logger::Log(LogLevel::Verbose, "Initializing OpenGL states");
    GLint vertexBlocks = 0, fragmentBlocks = 0;
    glGetIntegerv(GL_MAX_VERTEX_UNIFORM_BLOCKS, &vertexBlocks);
    glGetIntegerv(GL_MAX_FRAGMENT_UNIFORM_BLOCKS, &fragmentBlocks);
    maxBindingPoints_ = std::min(vertexBlocks, fragmentBlocks);
    Logger::Log(LogLevel::Info, "OpenGL max block binding points: %d", maxBindingPoints_);
    matricesBlockPoint_ = GetAvailableUniformBlockBindingPoint();
    lightsBlockPoint_ = GetAvailableUniformBlockBindingPoint();

    EnumerateAntiAliasingModes();

    GLfloat anisotropy = 0.0f;
    glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &anisotropy);
    maxAnisotropy_ = anisotropy >= 1.0f ? static_cast<uint32_t>(anisotropy) : 1;
    Logger::Log(LogLevel::Info, "OpenGL max anisotropy: %d", static_cast<int32_t>(maxAnisotropy_));

    GLint64 tboSize = 0;
    glGetInteger64v(GL_MAX_TEXTURE_BUFFER_SIZE, &tboSize);
    maxTextureBufferSize_ = tboSize;
    Logger::Log(LogLevel::Info, "OpenGL max TBO size: %lld", static_cast<long long>(maxTextureBufferSize_));

    // Batches are paced by fences, which a 3.1 context has only through the extension.
    const OpenGLContext& context = OpenGLContext::Instance();
    const bool fences = epoxy_gl_version() >= 32 || context.HasExtension("GL_ARB_sync");
    Mesh::SetDrawBatchLimit(fences && IsSoftwareRasterizer(context.RendererString()) ? kSoftwareDrawBatch : 0);
}

void Renderer::AddAntiAliasingMode(uint32_t coverageSamples, uint32_t colorSamples) {
    AntiAliasingMode mode;
    mode.name = AntiAliasingModeName(coverageSamples, colorSamples);
    mode.coverageSamples = coverageSamples;
    mode.colorSamples = colorSamples;
    Logger::Log(LogLevel::Info, "Available FSAA Mode: %s", mode.name.c_str());
    antiAliasingModes_.push_back(std::move(mode));
}

void Renderer::EnumerateAntiAliasingModes() {
    antiAliasingModes_.clear();
    hasCoverageSampling_ = false;
    GLint samples = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &samples);
    maxSamples_ = samples > 0 ? static_cast<uint32_t>(samples) : 0;
    Logger::Log(LogLevel::Info, "OpenGL max samples: %d", samples);
    for (uint32_t s = 2; s <= maxSamples_; s *= 2) AddAntiAliasingMode(0, s);

    const OpenGLContext& context = OpenGLContext::Instance();
    if (context.Vendor() == GLVendor::Nvidia && context.HasExtension("GL_NV_framebuffer_multisample_coverage")) {
        hasCoverageSampling_ = true;
        GLint count = 0;
        glGetIntegerv(GL_MAX_MULTISAMPLE_COVERAGE_MODES_NV, &count);
        count = std::clamp(count, 0, kMaxCoverageModes);
        std::vector<GLint> pairs(static_cast<size_t>(count) * 2);
        if (count > 0) glGetIntegerv(GL_MULTISAMPLE_COVERAGE_MODES_NV, pairs.data());
        for (GLint i = 0; i < count; ++i) {
            const GLint coverage = pairs[static_cast<size_t>(i) * 2];
            const GLint color = pairs[static_cast<size_t>(i) * 2 + 1];
            AddAntiAliasingMode(static_cast<uint32_t>(std::max(coverage, 0)),
                                static_cast<uint32_t>(std::max(color, 0)));
        }
    }
}

bool Renderer::SupportsAntiAliasingMode(uint32_t colorSamples, uint32_t coverageSamples) const {
    if (colorSamples == 0 && coverageSamples == 0) return true;
    return std::any_of(antiAliasingModes_.begin(), antiAliasingModes_.end(), [&](const AntiAliasingMode& m) {
        return m.colorSamples == colorSamples && m.coverageSamples == coverageSamples;
    });
}

void Renderer::Shutdown() {
    Logger::Log(LogLevel::Verbose, "Shutting down renderer");
    if (!views_.empty()) Logger::Log(LogLevel::Error, "Not all renderviews have been released!");
    views_.clear();
    OpenGLContext::Instance().Release();
    usedBindingPoints_.clear();
    matricesBlockPoint_ = -1;
    lightsBlockPoint_ = -1;
    blendMode_ = kNoBlendMode;
    antiAliasingModes_.clear();
    hasCoverageSampling_ = false;
    maxBindingPoints_ = 0;
    maxAnisotropy_ = 1;
    maxSamples_ = 1;
    maxTextureBufferSize_ = 0;
    verticalSync_ = true;
    initialised_ = false;
}

bool Renderer::AddRenderView(const std::shared_ptr<RenderView>& view) {
    if (!view) {
        Logger::Log(LogLevel::Error, "AddRenderView without a valid view!");
        return false;
    }
    for (const auto& listed : views_) {
        if (listed == view || listed->GetName() == view->GetName()) {
            Logger::LogF(LogLevel::Error, "AddRenderView - duplicate view '{:s}', will not be added!", view->GetName());
            return false;
        }
    }
    views_.push_back(view);
    return true;
}

void Renderer::RemoveRenderView(const std::shared_ptr<RenderView>& view) {
    auto it = std::find(views_.begin(), views_.end(), view);
    if (!view || it == views_.end()) {
        Logger::Log(LogLevel::Error, "RemoveRenderView trying to remove a non-existing view!");
        return;
    }
    views_.erase(it);
}

void Renderer::RenderAllViews(uint64_t timeMs) {
    for (const auto& view : views_) view->Render(timeMs);
}

void Renderer::SetBlendMode(uint32_t mode) {
    GLenum source = GL_ONE, destination = GL_ONE;
    switch (mode) {
        case BlendMode::Additive:
            source = GL_ONE;
            destination = GL_ONE;
            break;
        case BlendMode::Modulate:
            source = GL_ZERO;
            destination = GL_SRC_COLOR;
            break;
        case BlendMode::Alpha:
            source = GL_SRC_ALPHA;
            destination = GL_ONE_MINUS_SRC_ALPHA;
            break;
        case BlendMode::InverseAlpha:
            source = GL_ONE_MINUS_SRC_ALPHA;
            destination = GL_SRC_ALPHA;
            break;
        default: Logger::Log(LogLevel::Error, "Renderer::SetBlendMode() - INVALID BLEND MODE!"); return;
    }
    if (blendMode_ == mode) return;
    blendMode_ = mode;
    glEnable(GL_BLEND);
    glBlendFunc(source, destination);
}

void Renderer::EnableVerticalSync(bool on) {
    if (vrActive_) {
        verticalSync_ = false;
        Logger::Log(LogLevel::Error, "Renderer::EnableVerticalSync() - cannot enable VSYNC when using VR!");
        return;
    }
    if (on != verticalSync_) {
        OpenGLContext& context = OpenGLContext::Instance();
        DeviceContext* previous = context.CurrentDC();
        for (const auto& view : views_) {
            if (context.Activate(view->GetDC())) context.SetSwapInterval(on ? 1 : 0);
        }
        if (previous && previous != context.CurrentDC()) context.Activate(previous);
    }
    verticalSync_ = on;
    Logger::Log(LogLevel::Info, "VSync %s", on ? "ENABLED" : "DISABLED");
}

int32_t Renderer::GetAvailableUniformBlockBindingPoint() {
    for (int32_t point = 0; point < maxBindingPoints_; ++point) {
        if (usedBindingPoints_.insert(point).second) return point;
    }
    Logger::Log(LogLevel::Error, "GetAvailableUniformBlockBindingPoint() cannot find available binding point!");
    return -1;
}

void Renderer::ReleaseBlockBindingPoint(int32_t point) {
    if (usedBindingPoints_.erase(point) == 0)
        Logger::Log(LogLevel::Error, "ReleaseBlockBindingPoint() with invalid binding point!");
}

uint32_t Renderer::ContextMajor() const { return static_cast<uint32_t>(OpenGLContext::Instance().ContextMajor()); }
uint32_t Renderer::ContextMinor() const { return static_cast<uint32_t>(OpenGLContext::Instance().ContextMinor()); }
uint32_t Renderer::ShaderMajor() const { return static_cast<uint32_t>(OpenGLContext::Instance().ShaderMajor()); }
uint32_t Renderer::ShaderMinor() const { return static_cast<uint32_t>(OpenGLContext::Instance().ShaderMinor()); }

}  // namespace Velmora::Rendering
