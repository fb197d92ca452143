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
// The proxy registers on first need and unregisters when its last scene is gone, so an empty
// proxy does not keep the render thread alive.

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Kestrum.h"
#include "host/RenderThreadListener.h"
#include "host/SceneParameters.h"

namespace Velmora {

class CaptureProxy : public RenderThreadListener {
public:
    // One loaded scene. Its hidden window and render view join this record together with the
    // scene import; until a scene can be imported the table stays empty.
    struct SceneInfo {
        uint32_t sceneHandle = 0;
        std::string path;  // empty for a memory load
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
    // Without a render thread these do nothing, callback included.
    void RequestUnloadScene(uint32_t handle, Kestrum::HandleCallback callback);
    void RequestUnloadAllScenes(Kestrum::DoneCallback callback);

    // ---- render thread ------------------------------------------------------------------
    void LoadScene(const Utility::LoadSceneParameters& load, Kestrum::LoadSceneCallback callback);
    void Capture(const Utility::CaptureParameters& parameters, Kestrum::CaptureCallback callback);
    void Export(const Utility::ExportParameters& parameters, Kestrum::ExportCallback callback);
    void UnloadScene(uint32_t handle, Kestrum::HandleCallback callback);
    void UnloadAllScenes(Kestrum::DoneCallback callback);

    void OnRenderThreadUpdate(uint64_t nowMs) override;

    // Render thread only.
    size_t SceneCount() const { return scenes_.size(); }

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
    void DoUnloadScene(uint32_t handle);
    bool AddRefForScene(uint32_t handle);
    bool RemoveRefForScene(uint32_t handle);  // true when the count reached 0
    // An empty proxy lets go of the render thread (queued unregistration).
    void ReleaseRenderThreadIfEmpty();
    // Work can arrive after the proxy let go of the thread; take it back before loading.
    void EnsureRegistered();
    bool CaptureWork(const Utility::CaptureParameters& parameters, Kestrum::CaptureResult& result,
                     std::string& scenePath);
    bool ExportWork(const Utility::ExportParameters& parameters, Kestrum::ExportSceneResult& result,
                    uint32_t& loadedHandle);
    SceneInfo* FindScene(uint32_t handle);

    std::atomic<uint32_t> renderThreadId_{0};
    std::map<uint32_t, std::shared_ptr<SceneInfo>> scenes_;
    std::mutex checkMutex_;  // two host threads asking at once register only once
};

}  // namespace Velmora
