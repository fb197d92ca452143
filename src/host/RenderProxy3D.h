#pragma once
// The interactive half of the host interface: one object per embedded 3D view, with a child
// window inside a host window, a render view and at most one open scene. The host holds it
// by the pointer CreateRenderProxy returned; everything that touches the scene runs as a
// Thread_ operation on the render thread. From Create to Release the proxy is a render
// thread listener and so keeps the thread alive.

#include <atomic>
#include <cstdint>
#include <string>

#include "Kestrum.h"
#include "host/RenderThreadListener.h"
#include "host/SceneParameters.h"

namespace Kestrum {

class RenderProxy3D : public Velmora::RenderThreadListener {
public:
    // Null on failure, with the reason in the log.
    static RenderProxy3D* Create(const CreateInfo& createInfo, RenderProxyInfo* info);
    // Detaches from window, view and render thread, then deletes the proxy.
    void Release();

    // Read by host threads without a lock.
    bool IsSceneLoaded() const { return sceneLoaded_.load(); }
    KestrumWindow WindowHandle() const { return windowHandle_.load(); }
    uint32_t RenderThreadId() const { return renderThreadId_.load(); }
    const std::string& InstanceName() const { return instanceName_; }

    // ---- render thread ------------------------------------------------------------------
    void Thread_LoadScene(const Velmora::Utility::LoadSceneParameters& load,
                          const Velmora::Utility::ViewParameters& view, LoadSceneCallback callback);
    void Thread_CloseScene(HandleCallback callback);
    void Thread_ExportScene(const Velmora::Utility::ExportParameters& parameters, ExportCallback callback);
    void Thread_ActivateCamera(uint32_t type, const std::string& name, CameraCallback callback);
    void Thread_GetAvailableCameras(CameraListCallback callback);
    void Thread_Screenshot(const std::string& path);
    void Thread_LoadViewInfoFromFile(const std::string& path, bool activate, CameraCallback callback);
    void Thread_LoadViewInfoFromString(const std::string& text, bool activate, CameraCallback callback);

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

    void OnRenderThreadUpdate(uint64_t nowMs) override;

private:
    RenderProxy3D();
    ~RenderProxy3D() override;
    RenderProxy3D(const RenderProxy3D&) = delete;
    RenderProxy3D& operator=(const RenderProxy3D&) = delete;

    std::atomic<bool> active_{false};
    std::string instanceName_;
    std::atomic<KestrumWindow> windowHandle_{0};
    std::atomic<uint32_t> renderThreadId_{0};
    std::atomic<bool> sceneLoaded_{false};
    bool controllerFlagA_ = false;  // property 10, re-applied after each load
    bool controllerFlagB_ = false;  // property 11
};

}  // namespace Kestrum
