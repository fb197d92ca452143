#pragma once
// The interactive half of the host interface: one object per embedded 3D view, with a child
// window inside a host window, a render view, an input handler and at most one open scene.
// The host holds it by the pointer CreateRenderProxy returned; everything that touches the
// scene runs as a Thread_ operation on the render thread. From Create to Release the proxy is
// a render thread listener and so keeps the thread alive.
//
// Threads: the host thread touches only sceneLoaded, the window and the render thread id.
// The child window is made on the library's X connection, whose events the render thread
// reads; they reach this object as window observer calls, and a new size crosses to the view
// through the resize record under resizeLock_, applied at the next OnRenderThreadUpdate.
//
// Strings handed to callbacks (camera names, the active camera) live in scratch members that
// are reused from call to call and are valid only while the callback runs.
//
// Properties 10 and 11 are the two navigation switches of the view's camera handling, kept
// by the proxy and re-applied to every scene it loads: 10 puts the mouse navigation into its
// fine mode (a tenth of the wheel step, drags held to their dominant axis), 11 shows the
// markers of the scene's lights. Properties 8 and 9 are the scene's helper flags: the world
// axis and the grid.

#include <atomic>
#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include "Kestrum.h"
#include "format/ProgressListener.h"
#include "host/RenderThreadListener.h"
#include "host/windowing/WindowEventListener.h"
#include "util/SceneParameters.h"

namespace Velmora {
namespace Rendering {
class RenderView;
class CameraInputTarget;
}  // namespace Rendering
namespace Windowing {
class RenderWindow;
class InputHandler;
}  // namespace Windowing
}  // namespace Velmora

namespace Kestrum {

class RenderProxy3D : public Velmora::RenderThreadListener,
                      public Velmora::Windowing::WindowEventListener,
                      public Velmora::FormatGlue::ProgressListener {
public:
    // The name the host sees for the built-in camera, and its name inside the scene.
    static constexpr const char* kBuiltInCameraName = "<Built-In-Camera>";
    static constexpr const char* kDefaultCameraName = "___DefaultCamera";

    // Null on failure, with the reason in the log.
    static RenderProxy3D* Create(const CreateInfo& createInfo, RenderProxyInfo* info);
    // Detaches from window, view and render thread, then deletes the proxy. An open scene is
    // unlinked on the way.
    void Release();

    // Read by host threads without a lock.
    bool IsSceneLoaded() const { return sceneLoaded_.load(); }
    KestrumWindow WindowHandle() const { return windowHandle_.load(); }
    uint32_t RenderThreadId() const { return renderThreadId_.load(); }

    // The scene's default render mode as the host's interface numbers it: 1 to 11 stay, 12
    // and 13 become 12, anything else 0.
    static uint32_t MapRenderMode(uint32_t mode);
    // What ActiveCameraInfo.projectionType reports for a camera type: 1 (fixed) gives 2,
    // 2 (orbit) gives 0, any other 1.
    static uint32_t ProjectionTypeFor(int32_t cameraType);

    // ---- render thread ------------------------------------------------------------------
    bool Thread_Create(const CreateInfo& createInfo);
    void Thread_Destroy();
    void Thread_LoadScene(const Velmora::Utility::LoadSceneParameters& load,
                          const Velmora::Utility::ViewParameters& view, LoadSceneCallback callback);
    void Thread_CloseScene(HandleCallback callback);
    void Thread_ExportScene(const Velmora::Utility::ExportParameters& parameters, ExportCallback callback);
    void Thread_ActivateCamera(uint32_t type, const std::string& name, CameraCallback callback);
    void Thread_GetAvailableCameras(CameraListCallback callback);
    void Thread_Screenshot(const std::string& path);
    void Thread_LoadViewInfoFromFile(const std::string& path, bool activate, CameraCallback callback);
    void Thread_LoadViewInfoFromString(const std::string& text, bool activate, CameraCallback callback);
    // Views from the view files in the scene file's folder; failures are logged and skipped.
    void LoadExternalViews(const Velmora::Utility::LoadSceneParameters& load,
                           const Velmora::Utility::ViewParameters& view);

    void Thread_SetPropertyBool(uint32_t id, bool value);
    bool Thread_GetPropertyBool(uint32_t id);
    void Thread_SetPropertyInt32(uint32_t id, int32_t value);
    int32_t Thread_GetPropertyInt32(uint32_t id);
    void Thread_SetPropertyInt64(uint32_t id, int64_t value);
    int64_t Thread_GetPropertyInt64(uint32_t id);
    void Thread_SetPropertyDouble(uint32_t id, double value);
    double Thread_GetPropertyDouble(uint32_t id);
    void Thread_SetPropertyString(uint32_t id, const std::string& value);
    std::string Thread_GetPropertyString(uint32_t id);

    // RenderThreadListener: a pending resize, then the input of the frame.
    void OnRenderThreadUpdate(uint64_t nowMs) override;
    // WindowEventListener
    void OnResize(int32_t width, int32_t height) override;
    void OnMouseMove(int32_t x, int32_t y) override;
    void OnMouseButton(uint32_t button, bool down, int32_t x, int32_t y) override;
    void OnMouseWheel(int32_t delta) override;
    // ProgressListener: the load's progress, handed to the host's callback with its tag.
    void OnProgress(const Velmora::FormatGlue::ProgressInfo& info) override;

private:
    RenderProxy3D();
    ~RenderProxy3D() override;
    RenderProxy3D(const RenderProxy3D&) = delete;
    RenderProxy3D& operator=(const RenderProxy3D&) = delete;

    // Undoes a half-made proxy (creation failed after the window existed) and deletes it.
    static RenderProxy3D* Fail(RenderProxy3D* proxy, bool viewMade, bool listening);
    // Stages of Create. The render thread's identifier once it runs with a renderer; 0 (logged)
    // otherwise.
    static uint32_t StartRenderThread();
    bool CreateProxyWindow(const CreateInfo& createInfo);
    void ReportCapabilities(CapabilityCallback callback) const;
    uint32_t SceneHandle() const;
    bool CloseSceneNow();
    // Stages of Thread_LoadScene. The handle of the scene imported and linked to the view, 0
    // when there is none (failures logged).
    uint32_t ImportIntoView(const Velmora::Utility::LoadSceneParameters& load,
                            const Velmora::Utility::ViewParameters& view);
    // The views beside the file, the one the view parameters make, then the request's strings.
    void ApplyRequestedViews(const Velmora::Utility::LoadSceneParameters& load,
                             const Velmora::Utility::ViewParameters& view, uint32_t handle);
    void ApplyViewStrings(const Velmora::Utility::LoadSceneParameters& load, uint32_t handle);
    // Fills the cameras of the loaded scene into result and reports success.
    void ReplyLoaded(LoadSceneResult& result, uint32_t handle, LoadSceneCallback callback);
    // Properties 10 and 11 onto the open scene and the input handler.
    void ApplyControllerFlags();
    // The active camera of the view in `info`; false (logged) without a view.
    bool FillActiveCameraInfo(ActiveCameraInfo& info);
    // The callback gets the active camera, or failure when there is none to describe.
    void ReplyActiveCamera(CameraCallback callback);
    // The scene's camera names with the built-in camera renamed, into the scratch lists.
    void CollectCameraNames();
    bool ActivateByType(uint32_t type, const std::string& name);
    void LoadViewInfo(const std::string& source, bool fromText, bool activate, CameraCallback callback);

    std::atomic<bool> active_{false};
    std::string instanceName_;
    std::shared_ptr<Velmora::Windowing::RenderWindow> window_;
    std::shared_ptr<Velmora::Rendering::RenderView> view_;
    std::shared_ptr<Velmora::Windowing::InputHandler> input_;
    std::unique_ptr<Velmora::Rendering::CameraInputTarget> inputTarget_;
    std::atomic<uint32_t> renderThreadId_{0};
    std::atomic<bool> sceneLoaded_{false};
    bool resizePending_ = false;  // guarded by resizeLock_
    int32_t pendingRect_[4] = {0, 0, 0, 0};
    bool controllerFlagA_ = false;  // property 10
    bool controllerFlagB_ = false;  // property 11
    ProgressCallback progressCallback_ = nullptr;
    uint32_t progressTag_ = 0;
    std::shared_mutex resizeLock_;

    std::atomic<KestrumWindow> windowHandle_{0};
    // What Thread_Create learnt for the host: RenderProxyInfo fields and the capability lists.
    RenderProxyInfo createdInfo_{};
    std::vector<uint32_t> antiAliasingModes_;
    std::vector<uint32_t> anisotropyLevels_;
    // Callback scratch, reused.
    std::vector<const char*> cameraNames_;
    std::vector<int32_t> cameraNameLengths_;
    std::string activeCameraName_;
};

}  // namespace Kestrum
