#pragma once
// RenderView: one render target. It binds a window's drawable to the shared GL context, owns an
// off-screen framebuffer (multisampled when the view asks for colour samples, resolved into a
// single-sample one by a blit), a full-window quad that shows that framebuffer, and the camera
// controller of the scene it shows. A view shows at most one scene, by handle; the scene
// registry links and unlinks it (SetSceneGraph / ClearSceneGraph).
//
// On a headless display the capture window has no surface at all: everything is drawn into the
// framebuffer object and read back, which is all a capture needs. Render thread only.
//
// The renderer keeps a list of views and calls Render once a frame; Render, GetName and GetDC
// stay virtual so that the renderer can be exercised with stand-in views.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "rendering/CameraController.h"
#include "rendering/DeviceContext.h"
#include "rendering/MeshRenderInfo.h"

namespace Velmora::Rendering {

using SceneHandle = uint32_t;
class Mesh;

struct RenderViewCreationInfo {
    std::string name;
    uintptr_t window = 0;  // native handle of the window whose drawable the view uses
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t anisotropy = 0;

    bool IsValid() const { return !name.empty() && window != 0; }
};

class RenderView {
public:
    // Empty (and logged) when the renderer is not running or the view fails to start.
    static std::shared_ptr<RenderView> Create(const RenderViewCreationInfo& info);

    virtual ~RenderView();
    RenderView(const RenderView&) = delete;
    RenderView& operator=(const RenderView&) = delete;

    bool Init(const RenderViewCreationInfo& info);

    // One frame: the scene into the framebuffer, the framebuffer onto the window through the
    // screen quad, a pending screenshot, the buffer swap.
    virtual void Render(uint64_t timeMs);
    virtual const std::string& GetName() const { return name_; }
    virtual DeviceContext* GetDC() const { return dc_; }

    SceneHandle GetSceneHandle() const { return scene_; }
    bool SetSceneGraph(SceneHandle handle);
    void ClearSceneGraph();

    // A zero-sized rect is ignored; a new size recreates the framebuffers.
    bool SetViewport(const CameraViewport& rect);
    // 0 counts as 1; otherwise a power of two up to the GPU's maximum. Applies to every scene.
    bool SetAnisotropy(uint32_t anisotropy);
    // (0, 0) switches multisampling off; other pairs must be a mode the renderer offers.
    bool SetFBOAAModeExplicitely(uint32_t colorSamples, uint32_t coverageSamples);

    // BGRA, width * height * 4 bytes; rows bottom first unless flip is set. pixels keeps its
    // capacity from call to call, so a caller that reuses it does not allocate per frame.
    bool ReadFramebuffer(std::vector<uint8_t>& pixels, uint32_t& size, bool flip);
    // Draws the scene once into the framebuffer (whatever the renderer's FBO setting) and
    // reads it back. Fails for a missing or hidden scene.
    bool RenderToMemory(std::vector<uint8_t>& pixels, uint32_t& size, bool flip);
    // Asks for a picture of the next frame. An empty path names a new file in the
    // "screenshots" folder beside the library. format: 1 PNG, 2 JPEG, 3 TIFF.
    void Screenshot(const std::string& path, int32_t format);
    // Writes the pending screenshot now; Render calls it.
    bool TakeScreenshot();

    // The state every frame starts from (the context is shared by all views).
    void RestoreGLState();

    void SetClearColor(const Vec3& color) { clearColor_ = color; }
    const Vec3& GetClearColor() const { return clearColor_; }
    // GL_FILL, GL_LINE or GL_POINT.
    void SetPolygonMode(uint32_t mode);

    bool IsInitialized() const { return initialised_; }
    const CameraViewport& GetViewport() const { return viewport_; }
    uint32_t GetWidth() const { return viewport_.width; }
    uint32_t GetHeight() const { return viewport_.height; }
    uint32_t GetColorSamples() const { return colorSamples_; }
    uint32_t GetCoverageSamples() const { return coverageSamples_; }
    uint32_t GetAnisotropy() const { return anisotropy_; }
    bool UsesFramebufferObject() const { return useFramebufferObject_; }
    bool HasScreenQuad() const { return screenQuad_ != nullptr; }
    bool IsScreenshotPending() const { return screenshotPending_; }
    bool IsFrameDirty() const { return frameDirty_; }
    uint32_t GetFramebuffer() const { return fbo_; }
    uint32_t GetColorTexture() const { return texture_; }
    uint32_t GetMultisampleFramebuffer() const { return msaaFbo_; }
    CameraController& GetCameraController() { return cameraController_; }

protected:
    // For stand-in views that only take part in the renderer's view list.
    RenderView() = default;

private:
    bool CreateFramebuffers();
    void DeleteFramebuffers();
    bool RecreateFramebuffers();
    bool CreateScreenQuad();
    // Clears and draws the scene into the framebuffer object (single or multisampled) and
    // leaves the single-sample one holding the picture.
    void RenderSceneToFramebuffer(class SceneGraph& scene, float time, float delta);
    // The scene's blocks and material table go to the shared slots first, then the camera
    // draws it.
    void DrawScene(class SceneGraph& scene, float time, float delta);
    void DrawScreenQuad(float time);
    bool ActivateContext();

    bool initialised_ = false;
    std::string name_;
    uintptr_t window_ = 0;
    DeviceContext* dc_ = nullptr;
    SceneHandle scene_ = 0;
    CameraViewport viewport_;
    std::shared_ptr<Mesh> screenQuad_;
    RenderInfo screenQuadInfo_;
    uint32_t fbo_ = 0;
    uint32_t texture_ = 0;
    uint32_t msaaFbo_ = 0;
    uint32_t msaaColor_ = 0;
    uint32_t depth_ = 0;  // of the multisampled framebuffer when there is one, else of fbo_
    uint32_t colorSamples_ = 0;
    uint32_t coverageSamples_ = 0;
    bool useFramebufferObject_ = true;
    uint32_t anisotropy_ = 1;
    bool screenshotPending_ = false;
    std::string screenshotPath_;
    int32_t screenshotFormat_ = 1;
    int64_t lastFrameTime_ = 0;
    CameraController cameraController_;
    bool frameDirty_ = true;
    Vec3 clearColor_{0.0f, 0.0f, 0.0f};
    uint32_t polygonMode_ = 0x1B02;  // GL_FILL
    // Row scratch of a flipped read-back, kept between calls.
    std::vector<uint8_t> rowScratch_;
};

}  // namespace Velmora::Rendering
