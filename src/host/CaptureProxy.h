#pragma once
// The headless half of the host interface: one process-wide object that loads scenes without
// a host window, keeps them in a table with reference counts, and captures or exports them.
//
// Two kinds of entry:
//  - Request*: called by the exports on a host thread. They make sure of the render thread
//    (registering this object as a listener, which keeps the thread alive), then post the
//    work. Without a render thread they answer as the interface promises (see each one).
//  - LoadScene, Capture, Export, UnloadScene, UnloadAllScenes: the work, on the render thread.
//
// The proxy registers on first need and unregisters when its last scene is gone and no request
// is outstanding, so an empty proxy does not keep the render thread alive, and a request on its
// way always finds the registration (and so the thread) there. Every request gets exactly one
// callback.
//
// A capture to memory hands back BGRA pixels, width * height * 4 bytes, top row first; a
// capture to a file picks PNG, JPEG or TIFF by the target's extension (PNG for anything else).
// Once a capture has loaded or found its scene, the result names it even when the picture
// then fails, so that the unload flag (and the host) can still let go of it.

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Kestrum.h"
#include "format/ProgressListener.h"
#include "host/RenderThreadListener.h"
#include "host/SceneLoading.h"
#include "util/SceneParameters.h"

namespace Velmora {

namespace Rendering {
class RenderView;
}
namespace Windowing {
class CaptureWindow;
}

class CaptureProxy : public RenderThreadListener, public FormatGlue::ProgressListener {
public:
    // One loaded scene with the hidden window and the render view it is drawn into. The view
    // goes before the window: it holds the window's drawable.
    struct SceneInfo {
        uint32_t sceneHandle = 0;
        std::string path;  // empty for a memory load
        std::shared_ptr<Rendering::RenderView> view;
        std::shared_ptr<Windowing::CaptureWindow> window;
        int32_t refCount = 1;
    };

    static CaptureProxy& Instance();

    // On the caller's thread: starts the render thread if needed and registers this object.
    bool CheckCreateRenderThread();
    // Identifier of the render thread this proxy is registered with; 0 when not registered.
    uint32_t RenderThreadId() const { return renderThreadId_.load(); }

    // ---- host side ----------------------------------------------------------------------
    // No render thread: logs, and the callback is never called.
    void RequestLoadScene(Utility::LoadSceneParameters load, Kestrum::LoadSceneCallback callback);
    // No render thread: logs, and the callback runs at once with a zeroed result (userTag set).
    void RequestCapture(Utility::CaptureParameters parameters, Kestrum::CaptureCallback callback);
    // No render thread: logs, and the callback runs at once with the request's handle.
    void RequestExport(Utility::ExportParameters parameters, Kestrum::ExportCallback callback);
    // Without a render thread these do nothing, callback included. An idle proxy (nothing
    // registered, no request on its way) on a running thread holds no scene: the callback
    // runs at once.
    void RequestUnloadScene(uint32_t handle, Kestrum::HandleCallback callback);
    void RequestUnloadAllScenes(Kestrum::DoneCallback callback);

    // ---- render thread ------------------------------------------------------------------
    void LoadScene(const Utility::LoadSceneParameters& load, Kestrum::LoadSceneCallback callback);
    void Capture(const Utility::CaptureParameters& parameters, Kestrum::CaptureCallback callback);
    void Export(const Utility::ExportParameters& parameters, Kestrum::ExportCallback callback);
    void UnloadScene(uint32_t handle, Kestrum::HandleCallback callback);
    void UnloadAllScenes(Kestrum::DoneCallback callback);

    void OnRenderThreadUpdate(uint64_t nowMs) override;
    // Load progress of the import in progress, handed on to the request's callback.
    void OnProgress(const FormatGlue::ProgressInfo& info) override;

    // A new file for a capture of `scenePath` without a target:
    // <APPDATA>/<company>/<application>/<stem>_<time>_<counter>.png, folders created. Empty,
    // with a message, when the scene has no name (memory loads) or no folder can be made.
    static std::string GetCaptureFilePath(const std::string& scenePath);

private:
    CaptureProxy() = default;
    ~CaptureProxy() override;
    CaptureProxy(const CaptureProxy&) = delete;
    CaptureProxy& operator=(const CaptureProxy&) = delete;

    SceneInfo* DoLoadScene(const Utility::LoadSceneParameters& load);
    // Stages of DoLoadScene. Each failing one has said why and undone its own part.
    SceneInfo* FindSceneByPath(const std::string& path);
    std::shared_ptr<Windowing::CaptureWindow> CreateCaptureWindow();
    std::shared_ptr<Rendering::RenderView> CreateCaptureView(const Windowing::CaptureWindow& window);
    // The scene's handle once imported and shown in view; 0 on failure.
    uint32_t ImportIntoView(const Utility::LoadSceneParameters& load, SceneLoading::LoadSource source,
                            const std::shared_ptr<Rendering::RenderView>& view);
    SceneInfo* RegisterScene(uint32_t sceneHandle, const std::string& path,
                             const std::shared_ptr<Rendering::RenderView>& view,
                             const std::shared_ptr<Windowing::CaptureWindow>& window);
    void DoUnloadScene(uint32_t handle);
    bool AddRefForScene(uint32_t handle);
    bool RemoveRefForScene(uint32_t handle);  // true when the count reached 0
    // An empty proxy lets go of the render thread (queued unregistration).
    void ReleaseRenderThreadIfEmpty();
    // Work can arrive after the proxy let go of the thread; take it back before loading. On
    // the render thread only: it alone decides the registration.
    bool EnsureRegistered();
    // Host side: counts a request as outstanding and makes sure of the registration. The
    // render thread's identifier, or 0 (nothing counted) when there is none to run it.
    uint32_t BeginRequest();
    // Render thread: the request is done; an empty proxy with none outstanding lets go.
    void FinishRequest();
    bool IsIdle();
    // The queued form of each request: the work, then FinishRequest.
    void RunLoadScene(const Utility::LoadSceneParameters& load, Kestrum::LoadSceneCallback callback);
    void RunCapture(const Utility::CaptureParameters& parameters, Kestrum::CaptureCallback callback);
    void RunExport(const Utility::ExportParameters& parameters, Kestrum::ExportCallback callback);
    void RunUnloadScene(uint32_t handle, Kestrum::HandleCallback callback);
    void RunUnloadAllScenes(Kestrum::DoneCallback callback);
    bool CaptureWork(const Utility::CaptureParameters& parameters, Kestrum::CaptureResult& result,
                     std::string& scenePath);
    bool ExportWork(const Utility::ExportParameters& parameters, Kestrum::ExportSceneResult& result,
                    uint32_t& loadedHandle);
    SceneInfo* FindScene(uint32_t handle);
    // Picture of the scene's view into a file (format by the path's extension) or, with
    // toMemory, into a malloc'd BGRA block of width * height * 4 bytes, top row first.
    bool WriteCapture(SceneInfo& scene, bool toMemory, const std::string& target, Kestrum::CaptureResult& result);
    // Undoes a half-made scene: unlinks or releases the scene and takes the view off the
    // renderer.
    void DiscardScene(uint32_t sceneHandle, const std::shared_ptr<Rendering::RenderView>& view, bool linked);

    // What a progress notification is handed back: the callback of the load in progress.
    struct ProgressSlot {
        Kestrum::ProgressCallback callback = nullptr;
        uint32_t tag = 0;
    };

    std::atomic<uint32_t> renderThreadId_{0};
    std::map<uint32_t, std::shared_ptr<SceneInfo>> scenes_;
    ProgressSlot progress_;
    std::vector<uint8_t> pixelScratch_;  // read-back of every capture, kept between captures
    static uint32_t viewCounter_;
    std::mutex checkMutex_;  // two host threads asking at once start the thread only once
    // Guards the registration (renderThreadId_) together with pending_: a request counted
    // while registered keeps the registration until its FinishRequest.
    std::mutex stateMutex_;
    uint32_t pending_ = 0;  // requests posted and not yet finished on the render thread
};

}  // namespace Velmora
