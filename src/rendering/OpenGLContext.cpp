#include "rendering/OpenGLContext.h"

#include <cstring>

#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include "rendering/WindowSystem.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// Every drawable needs colour with alpha, depth and stencil; the render views rely on all three.
constexpr EGLint kColorBits = 8;
constexpr EGLint kDepthBits = 24;
constexpr EGLint kStencilBits = 8;
// Size of the hidden drawable that carries the shared context.
constexpr EGLint kHiddenSurfaceSize = 50;
// Sample counts tried by automatic anti-aliasing, halved down to 2.
constexpr uint32_t kMaxAutoSamples = 32;
// Frames the software rasteriser keeps in flight; drawing this many empty ones retires them all.
constexpr uint32_t kDriverFramesKept = 2;

std::string EglErrorText(EGLint error) {
    const char* name = nullptr;
    switch (error) {
        case EGL_SUCCESS: name = "EGL_SUCCESS"; break;
        case EGL_NOT_INITIALIZED: name = "EGL_NOT_INITIALIZED"; break;
        case EGL_BAD_ACCESS: name = "EGL_BAD_ACCESS"; break;
        case EGL_BAD_ALLOC: name = "EGL_BAD_ALLOC"; break;
        case EGL_BAD_ATTRIBUTE: name = "EGL_BAD_ATTRIBUTE"; break;
        case EGL_BAD_CONFIG: name = "EGL_BAD_CONFIG"; break;
        case EGL_BAD_CONTEXT: name = "EGL_BAD_CONTEXT"; break;
        case EGL_BAD_CURRENT_SURFACE: name = "EGL_BAD_CURRENT_SURFACE"; break;
        case EGL_BAD_DISPLAY: name = "EGL_BAD_DISPLAY"; break;
        case EGL_BAD_MATCH: name = "EGL_BAD_MATCH"; break;
        case EGL_BAD_NATIVE_PIXMAP: name = "EGL_BAD_NATIVE_PIXMAP"; break;
        case EGL_BAD_NATIVE_WINDOW: name = "EGL_BAD_NATIVE_WINDOW"; break;
        case EGL_BAD_PARAMETER: name = "EGL_BAD_PARAMETER"; break;
        case EGL_BAD_SURFACE: name = "EGL_BAD_SURFACE"; break;
        case EGL_CONTEXT_LOST: name = "EGL_CONTEXT_LOST"; break;
        default: break;
    }
    if (name) return fmt::format("{:s} (0x{:04X})", name, error);
    return fmt::format("EGL error 0x{:04X}", error);
}

std::string LastEglError() { return EglErrorText(eglGetError()); }

// Whole-word lookup in a space-separated extension string.
bool HasWord(const char* list, const char* word) {
    if (!list) return false;
    const size_t n = std::strlen(word);
    for (const char* p = list; (p = std::strstr(p, word)) != nullptr; p += n) {
        const bool startOk = p == list || p[-1] == ' ';
        const bool endOk = p[n] == '\0' || p[n] == ' ';
        if (startOk && endOk) return true;
    }
    return false;
}

std::string GLText(GLenum name) {
    const GLubyte* text = glGetString(name);
    return text ? reinterpret_cast<const char*>(text) : std::string();
}

}  // namespace

OpenGLContext& OpenGLContext::Instance() {
    static OpenGLContext context;
    return context;
}

bool OpenGLContext::OpenDisplay() {
    // A display stays initialised from the first start to the end of the process: terminating
    // it unloads the driver, which leaks a little of its own memory on every unload, and a
    // restart of the renderer would pay for loading it again.
    if (display_) return BindDesktopGL();
    surfacelessOk_ = false;
    const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!HasWord(client, "EGL_EXT_platform_base")) {
        Logger::Log(LogLevel::Error, "OpenGLContext - EGL platform displays not supported");
        return false;
    }
    // Windows need the X platform; without a reachable server the library runs headless.
    WindowSystem* windows = WindowSystem::Installed();
    _XDisplay* xdisplay = windows ? windows->OpenDisplay() : nullptr;
    if (xdisplay && (HasWord(client, "EGL_KHR_platform_x11") || HasWord(client, "EGL_EXT_platform_x11"))) {
        EGLDisplay display = eglGetPlatformDisplayEXT(EGL_PLATFORM_X11_KHR, xdisplay, nullptr);
        if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr)) {
            display_ = display;
            nativeDisplay_ = xdisplay;
            surfacelessOk_ = HasWord(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context");
            Logger::Log(LogLevel::Verbose, "OpenGLContext - using the X11 EGL platform");
        }
    }
    if (!display_) {
        if (xdisplay) windows->CloseDisplay();
        if (!HasWord(client, "EGL_MESA_platform_surfaceless")) {
            Logger::Log(LogLevel::Error, "OpenGLContext - no X server and no headless EGL platform available");
            return false;
        }
        EGLDisplay display = eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr)) {
            Logger::LogF(LogLevel::Error, "OpenGLContext - failed to initialize EGL: '{:s}'", LastEglError());
            return false;
        }
        display_ = display;
        Logger::Log(LogLevel::Verbose, "OpenGLContext - using the surfaceless EGL platform");
    }
    return BindDesktopGL();
}

// The bound API is per thread and falls back to OpenGL ES when the thread is released, so it
// is set on every start.
bool OpenGLContext::BindDesktopGL() {
    if (eglBindAPI(EGL_OPENGL_API)) return true;
    Logger::LogF(LogLevel::Error, "OpenGLContext - desktop OpenGL not available: '{:s}'", LastEglError());
    return false;
}

bool OpenGLContext::FindConfig(const int32_t* attributes, void*& config) {
    EGLConfig found = nullptr;
    EGLint count = 0;
    if (!eglChooseConfig(display_, attributes, &found, 1, &count) || count < 1) return false;
    config = found;
    return true;
}

bool OpenGLContext::CreateHelper() {
    const EGLint configAttributes[] = {
        EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_RED_SIZE,
        kColorBits,       EGL_GREEN_SIZE,  kColorBits,          EGL_BLUE_SIZE,  kColorBits,
        EGL_DEPTH_SIZE,   kDepthBits,      EGL_STENCIL_SIZE,    kStencilBits,   EGL_NONE};
    void* helperConfig = nullptr;
    if (!FindConfig(configAttributes, helperConfig)) {
        Logger::Log(LogLevel::Error, "Failed to set helper pixel format");
        return false;
    }
    // A core request reports the highest core version the driver has; a legacy context may
    // report a lower compatibility version on some drivers.
    const EGLint coreAttributes[] = {
        EGL_CONTEXT_MAJOR_VERSION,           3,       EGL_CONTEXT_MINOR_VERSION, 2, EGL_CONTEXT_OPENGL_PROFILE_MASK,
        EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
    helperContext_ = eglCreateContext(display_, helperConfig, EGL_NO_CONTEXT, coreAttributes);
    if (!helperContext_) helperContext_ = eglCreateContext(display_, helperConfig, EGL_NO_CONTEXT, nullptr);
    if (!helperContext_) {
        Logger::Log(LogLevel::Error, "Failed to create helper context");
        return false;
    }
    if (nativeDisplay_) {
        const EGLint pbuffer[] = {EGL_WIDTH, kHiddenSurfaceSize, EGL_HEIGHT, kHiddenSurfaceSize, EGL_NONE};
        helperSurface_ = eglCreatePbufferSurface(display_, helperConfig, pbuffer);
    }
    EGLSurface surface = helperSurface_ ? helperSurface_ : EGL_NO_SURFACE;
    if (!eglMakeCurrent(display_, surface, surface, helperContext_)) {
        Logger::Log(LogLevel::Error, "Failed to make helper context current");
        return false;
    }
    return true;
}

void OpenGLContext::DestroyHelper() {
    if (!display_) return;
    if (helperContext_ && eglGetCurrentContext() == helperContext_)
        eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (helperContext_) eglDestroyContext(display_, helperContext_);
    if (helperSurface_) eglDestroySurface(display_, helperSurface_);
    helperContext_ = nullptr;
    helperSurface_ = nullptr;
}

bool OpenGLContext::ReadVersionInfo() {
    version_ = GLText(GL_VERSION);
    shaderVersion_ = GLText(GL_SHADING_LANGUAGE_VERSION);
    vendorName_ = GLText(GL_VENDOR);
    renderer_ = GLText(GL_RENDERER);
    ParseGLVersion(shaderVersion_.c_str(), shaderMajor_, shaderMinor_);
    vendor_ = DetectVendor(vendorName_);
    if (vendor_ == GLVendor::Unknown)
        Logger::Log(LogLevel::Warning, "Cannot determine vendor from '%s'", vendorName_.c_str());
    if (maxMajor_ == 0 || maxMinor_ < 0 || shaderMajor_ == 0 || shaderMinor_ < 0) {
        Logger::Log(LogLevel::Error, "Failed to retrieve OpenGL version info!");
        return false;
    }
    Logger::Log(LogLevel::Info, "Version: %s (OpenGL %d.%d, Shader %d.%d, Vendor: %s, Renderer: %s)", version_.c_str(),
                maxMajor_, maxMinor_, shaderMajor_, shaderMinor_, vendorName_.c_str(), renderer_.c_str());
    return true;
}

bool OpenGLContext::ReadExtensions() {
    extensions_.clear();
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    for (GLint i = 0; i < count; ++i) {
        const GLubyte* name = glGetStringi(GL_EXTENSIONS, static_cast<GLuint>(i));
        if (name) extensions_.emplace(reinterpret_cast<const char*>(name));
    }
    if (extensions_.empty()) {
        Logger::Log(LogLevel::Error, "Failed to retrieve OpenGL extension info!");
        return false;
    }
    if (Logger::Instance().MaxLevel() > 4) {
        Logger::Log(LogLevel::Info, "Available Extensions:");
        for (const auto& name : extensions_) Logger::Log(LogLevel::Info, "  %s", name.c_str());
    }
    return true;
}

bool OpenGLContext::CheckRequiredExtensions(const std::vector<std::string>& required) {
    Logger::Log(LogLevel::Info, "Checking for supported extensions...");
    for (const auto& name : required) {
        if (!HasExtension(name)) {
            Logger::Log(LogLevel::Error, "Cannot find OpenGL extension '%s' - NOT SUPPORTED", name.c_str());
            return false;
        }
        Logger::Log(LogLevel::ExtraVerbose, "Found OpenGL extension: '%s'", name.c_str());
    }
    Logger::Log(LogLevel::Info, "Success:: Found all required extensisons");
    return true;
}

// The configuration of every real drawable, best anti-aliasing first. EGL has no coverage
// sample attribute, so the coverage step can only report that it is unavailable.
void OpenGLContext::ChooseConfig(const OpenGLContextCreationInfo& info) {
    const EGLint surfaceTypes = nativeDisplay_ ? (EGL_WINDOW_BIT | EGL_PBUFFER_BIT) : EGL_PBUFFER_BIT;
    config_ = nullptr;
    pixelFormat_ = 0;
    nativeVisualId_ = 0;
    msaaSamples_ = 0;
    csaaSamples_ = 0;

    if (info.autoAntiAliasing || info.csaaSamples > 0)
        Logger::Log(LogLevel::Warning, "CSAA not supported, or failed to initialize");

    if (info.autoAntiAliasing || info.msaaSamples > 1) {
        uint32_t samples = info.autoAntiAliasing ? kMaxAutoSamples : info.msaaSamples;
        const uint32_t last = info.autoAntiAliasing ? 2 : info.msaaSamples;
        for (; samples >= last && samples >= 2; samples /= 2) {
            const EGLint attributes[] = {EGL_SURFACE_TYPE,
                                         surfaceTypes,
                                         EGL_RENDERABLE_TYPE,
                                         EGL_OPENGL_BIT,
                                         EGL_RED_SIZE,
                                         kColorBits,
                                         EGL_GREEN_SIZE,
                                         kColorBits,
                                         EGL_BLUE_SIZE,
                                         kColorBits,
                                         EGL_ALPHA_SIZE,
                                         kColorBits,
                                         EGL_DEPTH_SIZE,
                                         kDepthBits,
                                         EGL_STENCIL_SIZE,
                                         kStencilBits,
                                         EGL_SAMPLE_BUFFERS,
                                         1,
                                         EGL_SAMPLES,
                                         static_cast<EGLint>(samples),
                                         EGL_NONE};
            if (FindConfig(attributes, config_)) break;
        }
        if (config_) {
            EGLint found = 0;
            eglGetConfigAttrib(display_, config_, EGL_SAMPLES, &found);
            msaaSamples_ = static_cast<uint32_t>(found);
            Logger::Log(LogLevel::Info, "Window anti-aliasing mode: %s", AntiAliasingModeName(0, msaaSamples_).c_str());
        } else {
            Logger::Log(LogLevel::Warning, "MSAA not supported, or failed to initialize");
        }
    }

    if (!config_) {
        const EGLint attributes[] = {
            EGL_SURFACE_TYPE, surfaceTypes, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_RED_SIZE,       kColorBits,
            EGL_GREEN_SIZE,   kColorBits,   EGL_BLUE_SIZE,       kColorBits,     EGL_ALPHA_SIZE,     kColorBits,
            EGL_DEPTH_SIZE,   kDepthBits,   EGL_STENCIL_SIZE,    kStencilBits,   EGL_SAMPLE_BUFFERS, 0,
            EGL_NONE};
        if (!FindConfig(attributes, config_)) {
            config_ = nullptr;
            Logger::Log(LogLevel::Warning, "Failed to choose pixel format (ARB)");
        }
        Logger::Log(LogLevel::Info, "Window anti-aliasing mode: NONE");
    }
    if (config_) {
        EGLint id = 0;
        eglGetConfigAttrib(display_, config_, EGL_CONFIG_ID, &id);
        pixelFormat_ = id;
        EGLint visual = 0;
        if (nativeDisplay_ && eglGetConfigAttrib(display_, config_, EGL_NATIVE_VISUAL_ID, &visual))
            nativeVisualId_ = static_cast<uint32_t>(visual);
    }
}

bool OpenGLContext::Create(const OpenGLContextCreationInfo& info) {
    if (context_) {
        Logger::Log(LogLevel::Error, "OpenGLContext::Create - context already exists");
        return false;
    }
    contextMajorRequest_ = info.major;
    contextMinorRequest_ = info.minor;

    bool ok = OpenDisplay();
    if (!ok) {
        Logger::Log(LogLevel::Error, "OpenGLContext failed to create helper window");
        return false;
    }
    ok = CreateHelper();
    if (ok && (!eglGetProcAddress("glGetStringi") || epoxy_gl_version() == 0)) {
        Logger::Log(LogLevel::Error, "Failed to load OpenGL functions!");
        ok = false;
    }
    if (ok) {
        // The context attributes come from EGL 1.5 or its create-context extension.
        const char* eglVersion = eglQueryString(display_, EGL_VERSION);
        int32_t eglMajor = 0, eglMinor = 0;
        ParseGLVersion(eglVersion, eglMajor, eglMinor);
        const bool attributesKnown = eglMajor > 1 || (eglMajor == 1 && eglMinor >= 5) ||
                                     HasWord(eglQueryString(display_, EGL_EXTENSIONS), "EGL_KHR_create_context");
        if (!attributesKnown) Logger::Log(LogLevel::Warning, "Partially failed to load OpenGL wgl functions!");

        ParseGLVersion(GLText(GL_VERSION).c_str(), maxMajor_, maxMinor_);
        Logger::Log(LogLevel::Info, "Available Max-Version: OpenGL %d.%d", maxMajor_, maxMinor_);
        if (maxMajor_ < info.major || (maxMajor_ == info.major && maxMinor_ < info.minor)) {
            Logger::Log(LogLevel::Error, "Minimum requirement: OpenGL %d.%d -> ABORTING", info.major, info.minor);
            ok = false;
        }
    }
    ok = ok && ReadVersionInfo();
    if (ok) {
        contextMajor_ = info.major;
        contextMinor_ = info.minor;
        if (info.orHigher) {
            contextMajor_ = maxMajor_;
            contextMinor_ = maxMinor_;
        }
    }
    ok = ok && ReadExtensions() && CheckRequiredExtensions(info.requiredExtensions);
    if (ok) {
        ChooseConfig(info);
        sharedDC_ = DeviceContext{};
        sharedDC_.width = kHiddenSurfaceSize;
        sharedDC_.height = kHiddenSurfaceSize;
        ok = CreateContextForWindow(&sharedDC_);
    }
    DestroyHelper();
    currentDC_ = nullptr;
    if (ok) ok = Activate(&sharedDC_);
    if (!ok) Release();
    return ok;
}

bool OpenGLContext::CreateSurface(DeviceContext* dc) {
    EGLSurface surface = EGL_NO_SURFACE;
    if (dc->window != 0) {
        if (!nativeDisplay_) {
            eglGetError();  // clear, the failure is ours
            return false;
        }
        surface = eglCreateWindowSurface(display_, config_, static_cast<EGLNativeWindowType>(dc->window), nullptr);
        if (surface == EGL_NO_SURFACE) return false;
    } else if (nativeDisplay_ && (msaaSamples_ < 2 || !surfacelessOk_)) {
        // Multisampled pbuffers leak driver memory with every surface on Mesa's X11 platform;
        // with a multisampled configuration off-screen drawables go without a surface instead
        // (views draw into framebuffer objects either way).
        const EGLint pbuffer[] = {EGL_WIDTH, dc->width > 0 ? dc->width : 1, EGL_HEIGHT, dc->height > 0 ? dc->height : 1,
                                  EGL_NONE};
        surface = eglCreatePbufferSurface(display_, config_, pbuffer);
        if (surface == EGL_NO_SURFACE) return false;
    }
    // On a headless display the off-screen drawable has no surface of its own: the context is
    // made current without one and all drawing goes to framebuffer objects.
    dc->surface = surface;
    dc->bound = true;
    boundDCs_.insert(dc);
    return true;
}

bool OpenGLContext::CreateContextForWindow(DeviceContext* dc) {
    if (!dc) {
        Logger::Log(LogLevel::Error, "No valid draw window DC provided, cannot create OpenGL context!");
        return false;
    }
    if (pixelFormat_ == 0 || !config_ || !display_) {
        Logger::Log(LogLevel::Error, "No valid pixel format available, cannot create OpenGL context!");
        return false;
    }
    if (!dc->bound) {
        if (!CreateSurface(dc)) {
            Logger::LogF(LogLevel::Error, "Failed to SetPixelFormat(): '{:s}'", LastEglError());
            return false;
        }
    }
    if (context_) return true;

    const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION,
                                 contextMajor_,
                                 EGL_CONTEXT_MINOR_VERSION,
                                 contextMinor_,
                                 EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                 EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                                 EGL_CONTEXT_FLAGS_KHR,
                                 0,
                                 EGL_NONE};
    context_ = eglCreateContext(display_, config_, EGL_NO_CONTEXT, attributes);
    if (!context_) {
        Logger::Log(LogLevel::Warning,
                    "Falling back to default context creation as wglCreateContextAttribsARB seems not available");
        context_ = eglCreateContext(display_, config_, EGL_NO_CONTEXT, nullptr);
        if (!context_) {
            Logger::Log(LogLevel::Error, "Failed to wglCreateContext()");
            return false;
        }
    }
    return true;
}

bool OpenGLContext::Activate(DeviceContext* dc) {
    if (!context_ || !dc || !dc->bound) {
        Logger::Log(LogLevel::Error, "OpenGLContext - failed to activate, invalid data!");
        return false;
    }
    if (dc == currentDC_) return true;
    EGLSurface surface = dc->surface ? dc->surface : EGL_NO_SURFACE;
    if (!eglMakeCurrent(display_, surface, surface, context_)) {
        Logger::LogF(LogLevel::Error, "OpenGLContext - failed on wglMakeCurrent: '{:s}'", LastEglError());
        return false;
    }
    currentDC_ = dc;
    return true;
}

bool OpenGLContext::Deactivate(DeviceContext* dc) {
    if (!context_ || !dc) {
        Logger::Log(LogLevel::Error, "OpenGLContext - error on context deactivation");
        return false;
    }
    if (dc != currentDC_) return true;
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    currentDC_ = nullptr;
    if (dc == &sharedDC_) return true;
    return Activate(&sharedDC_);
}

void OpenGLContext::ReleaseDC(DeviceContext* dc) {
    if (!dc || !dc->bound) return;
    if (dc == currentDC_) {
        if (dc != &sharedDC_ && sharedDC_.bound) {
            Deactivate(dc);
        } else {
            eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
            currentDC_ = nullptr;
        }
    }
    if (dc->surface && display_) eglDestroySurface(display_, dc->surface);
    dc->surface = nullptr;
    dc->bound = false;
    boundDCs_.erase(dc);
}

bool OpenGLContext::SwapBuffers(DeviceContext* dc) {
    if (!display_ || !dc || !dc->bound || !dc->surface || dc->window == 0) return false;
    return eglSwapBuffers(display_, dc->surface) == EGL_TRUE;
}

bool OpenGLContext::SetSwapInterval(int32_t interval) {
    if (!display_ || !currentDC_ || !currentDC_->surface) return false;
    return eglSwapInterval(display_, interval) == EGL_TRUE;
}

void OpenGLContext::Finish() {
    if (context_ && currentDC_) glFinish();
}

void OpenGLContext::RetireDriverFrames() {
    if (!context_ || !sharedDC_.bound || !Activate(&sharedDC_)) return;
    GLuint target = 0, framebuffer = 0;
    glGenRenderbuffers(1, &target);
    glBindRenderbuffer(GL_RENDERBUFFER, target);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, 1, 1);
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, target);
    for (uint32_t frame = 0; frame < kDriverFramesKept; ++frame) {
        glClear(GL_COLOR_BUFFER_BIT);
        glFlush();
    }
    glFinish();
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(1, &target);
}

void OpenGLContext::Release() {
    DestroyHelper();
    if (display_) eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    currentDC_ = nullptr;
    ReleaseDC(&sharedDC_);
    // Drawables of windows that outlived the context: their surfaces die with the display.
    while (!boundDCs_.empty()) ReleaseDC(*boundDCs_.begin());
    if (context_ && display_) eglDestroyContext(display_, context_);
    context_ = nullptr;
    if (display_) eglReleaseThread();
    config_ = nullptr;
    pixelFormat_ = 0;
    nativeVisualId_ = 0;
    msaaSamples_ = csaaSamples_ = 0;
    version_.clear();
    shaderVersion_.clear();
    vendorName_.clear();
    renderer_.clear();
    vendor_ = GLVendor::Unknown;
    contextMajor_ = contextMinor_ = maxMajor_ = maxMinor_ = shaderMajor_ = shaderMinor_ = 0;
    extensions_.clear();
}

}  // namespace Velmora::Rendering
