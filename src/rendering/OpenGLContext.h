#pragma once
// The window-system binding of the renderer, on EGL. It makes a throw-away helper context to
// learn what the driver offers and to choose the configuration for real drawables, then
// creates one core-profile context that every drawable of the library shares. Nothing above
// this class touches EGL. Render thread only.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "rendering/DeviceContext.h"
#include "rendering/GLVersion.h"

namespace Velmora::Rendering {

struct OpenGLContextCreationInfo {
    int32_t major = 3;
    int32_t minor = 1;
    bool orHigher = true;
    std::vector<std::string> requiredExtensions;
    bool autoAntiAliasing = false;
    uint32_t msaaSamples = 0;
    uint32_t csaaSamples = 0;
};

class OpenGLContext {
public:
    static OpenGLContext& Instance();

    bool Create(const OpenGLContextCreationInfo& info);
    // Binds a surface of the chosen configuration to the drawable and, the first time,
    // creates the shared context on it.
    bool CreateContextForWindow(DeviceContext* dc);
    bool Activate(DeviceContext* dc);
    bool Deactivate(DeviceContext* dc);
    // Frees the drawable's surface (deactivating it first); the window calls this before it
    // goes away.
    void ReleaseDC(DeviceContext* dc);
    // Presents the back buffer of a window drawable; off-screen drawables have nothing to show.
    bool SwapBuffers(DeviceContext* dc);
    // Swap interval of the drawable that is current.
    bool SetSwapInterval(int32_t interval);
    // Blocks until the driver has carried out everything issued so far. A software driver
    // queues frames to its worker threads and keeps every frame it ever needed at once, each
    // holding its command memory and the textures and buffers it drew with until it is reused;
    // work nobody waits for (framebuffer clears of a new view, say) lets that queue grow.
    void Finish();
    // Draws nothing a few times into a one-pixel target and waits for it. A software driver
    // keeps the last frames it drew, with the programs, buffers and textures they used, until
    // it draws again; once no scene is left, this lets those go as well.
    void RetireDriverFrames();
    // Makes nothing current, deletes the context and its drawables and forgets all state. The
    // EGL display (and the X connection under it) stays open for the next start.
    void Release();

    bool IsCreated() const { return context_ != nullptr; }
    // True when windows can be made (an X server was reached at start).
    bool HasWindowSystem() const { return nativeDisplay_ != nullptr; }
    DeviceContext* CurrentDC() const { return currentDC_; }
    DeviceContext* SharedDC() { return sharedDC_.bound ? &sharedDC_ : nullptr; }

    uint32_t MsaaSamples() const { return msaaSamples_; }
    uint32_t CsaaSamples() const { return csaaSamples_; }
    const std::string& RendererString() const { return renderer_; }
    GLVendor Vendor() const { return vendor_; }
    int32_t ContextMajor() const { return contextMajor_; }
    int32_t ContextMinor() const { return contextMinor_; }
    int32_t MaxMajor() const { return maxMajor_; }
    int32_t MaxMinor() const { return maxMinor_; }
    int32_t ShaderMajor() const { return shaderMajor_; }
    int32_t ShaderMinor() const { return shaderMinor_; }
    bool HasExtension(const std::string& name) const { return extensions_.count(name) != 0; }
    int32_t PixelFormat() const { return pixelFormat_; }
    // X visual that windows must have to take a surface of the chosen configuration, 0 any.
    uint32_t NativeVisualId() const { return nativeVisualId_; }

private:
    OpenGLContext() = default;

    bool OpenDisplay();
    bool BindDesktopGL();
    bool CreateHelper();
    void DestroyHelper();
    bool ReadVersionInfo();
    bool ReadExtensions();
    bool CheckRequiredExtensions(const std::vector<std::string>& required);
    void ChooseConfig(const OpenGLContextCreationInfo& info);
    bool FindConfig(const int32_t* attributes, void*& config);
    bool CreateSurface(DeviceContext* dc);

    DeviceContext sharedDC_;  // the hidden drawable that holds the shared context
    DeviceContext* currentDC_ = nullptr;
    void* context_ = nullptr;
    uint32_t msaaSamples_ = 0;
    uint32_t csaaSamples_ = 0;
    std::string version_, shaderVersion_, vendorName_, renderer_;
    GLVendor vendor_ = GLVendor::Unknown;
    int32_t contextMajor_ = 0, contextMinor_ = 0;
    int32_t maxMajor_ = 0, maxMinor_ = 0;
    int32_t shaderMajor_ = 0, shaderMinor_ = 0;
    std::set<std::string> extensions_;
    uint32_t nativeVisualId_ = 0;
    int32_t pixelFormat_ = 0;  // EGL_CONFIG_ID of the chosen configuration, 0 none
    // Drawables holding a surface; a release of the display unbinds whatever is left.
    std::set<DeviceContext*> boundDCs_;

    // EGL side.
    void* display_ = nullptr;        // EGLDisplay
    void* nativeDisplay_ = nullptr;  // X connection, null on a headless display
    bool surfacelessOk_ = false;     // the X display can make a context current without a surface
    void* config_ = nullptr;         // chosen EGLConfig
    void* helperContext_ = nullptr;
    void* helperSurface_ = nullptr;
    int32_t contextMajorRequest_ = 0, contextMinorRequest_ = 0;
};

}  // namespace Velmora::Rendering
