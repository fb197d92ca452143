// Scene exports: capture scenes go to the process-wide CaptureProxy, everything else to the
// RenderProxy3D the host holds. Each one converts the flat records into owned ones and posts
// a call object to the render thread (inline when already on it, so that callbacks may call
// back in). A null proxy is a silent no-op, callback included.

#include "Kestrum.h"
#include "format/FormatManager.h"
#include "host/CaptureProxy.h"
#include "host/RenderProxy3D.h"
#include "host/exports/ExportGuard.h"
#include "util/SceneParameters.h"
#include "util/Strings.h"
#include "util/ThreadManager.h"

namespace Kestrum {

using Velmora::CaptureProxy;
using Velmora::Utility::MakeCaller;
using Velmora::Utility::ThreadManager;
using Velmora::Utility::ToOwned;
using Velmora::Utility::WideToUtf8;

namespace {

// Queues a Thread_ operation of `proxy` on its render thread.
template <typename... Args>
void PostToProxy(RenderProxy3D* proxy, Args&&... args) {
    ThreadManager::Instance().Post(MakeCaller(proxy, std::forward<Args>(args)...), proxy->RenderThreadId());
}

}  // namespace

// ---- capture scenes ---------------------------------------------------------------------

void LoadCaptureScene(uint32_t, LoadSceneParameters load, LoadSceneCallback callback) {
    Exports::Guarded([&] { CaptureProxy::Instance().RequestLoadScene(ToOwned(load), callback); });
}

void UnloadCaptureScene(uint32_t handle, HandleCallback callback) {
    Exports::Guarded([&] { CaptureProxy::Instance().RequestUnloadScene(handle, callback); });
}

void UnloadAllCaptureScenes(DoneCallback callback) {
    Exports::Guarded([&] { CaptureProxy::Instance().RequestUnloadAllScenes(callback); });
}

void CaptureScene(uint32_t, CaptureParameters parameters, CaptureCallback callback) {
    Exports::Guarded([&] { CaptureProxy::Instance().RequestCapture(ToOwned(parameters), callback); });
}

// ---- render proxies ---------------------------------------------------------------------

RenderProxy3D* CreateRenderProxy(CreateInfo createInfo, RenderProxyInfo* info) {
    return Exports::Guarded<RenderProxy3D*>(nullptr, [&] { return RenderProxy3D::Create(createInfo, info); });
}

void DestroyRenderProxy(RenderProxy3D* proxy) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] { proxy->Release(); });
}

KestrumWindow GetRenderProxyHwnd(RenderProxy3D* proxy) { return proxy != nullptr ? proxy->WindowHandle() : 0; }

void LoadScene(uint32_t, RenderProxy3D* proxy, LoadSceneParameters load, ViewParameters view,
               LoadSceneCallback callback) {
    if (proxy == nullptr) return;
    Exports::Guarded(
        [&] { PostToProxy(proxy, &RenderProxy3D::Thread_LoadScene, ToOwned(load), ToOwned(view), callback); });
}

void CloseScene(RenderProxy3D* proxy, HandleCallback callback) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] { PostToProxy(proxy, &RenderProxy3D::Thread_CloseScene, callback); });
}

uint8_t IsSceneLoaded(RenderProxy3D* proxy) { return proxy != nullptr && proxy->IsSceneLoaded() ? 1 : 0; }

void InterruptCurrentImport(void) {
    // Runs beside a load on purpose: it only raises the flag the importing pool polls.
    Velmora::FormatGlue::FormatManager::InterruptCurrentImport();
}

void ActivateCamera(uint32_t, RenderProxy3D* proxy, ECameraActivationType type, const char16_t* name,
                    CameraCallback callback) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] {
        PostToProxy(proxy, &RenderProxy3D::Thread_ActivateCamera, static_cast<uint32_t>(type), WideToUtf8(name),
                    callback);
    });
}

void GetAvailableCameras(RenderProxy3D* proxy, CameraListCallback callback) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] { PostToProxy(proxy, &RenderProxy3D::Thread_GetAvailableCameras, callback); });
}

void Screenshot(uint32_t, RenderProxy3D* proxy, const char16_t* path) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] { PostToProxy(proxy, &RenderProxy3D::Thread_Screenshot, WideToUtf8(path)); });
}

void LoadViewInfoFromFile(uint32_t, RenderProxy3D* proxy, const char16_t* path, int activate, CameraCallback callback) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] {
        PostToProxy(proxy, &RenderProxy3D::Thread_LoadViewInfoFromFile, WideToUtf8(path), activate != 0, callback);
    });
}

void LoadViewInfoFromString(uint32_t, RenderProxy3D* proxy, const char16_t* text, int activate,
                            CameraCallback callback) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] {
        PostToProxy(proxy, &RenderProxy3D::Thread_LoadViewInfoFromString, WideToUtf8(text), activate != 0, callback);
    });
}

void ExportScene(uint32_t, RenderProxy3D* proxy, ExportParameters parameters, ExportCallback callback) {
    Exports::Guarded([&] {
        Velmora::Utility::ExportParameters owned = ToOwned(parameters);
        // A proxy's own scene is named by handle; everything else is the capture proxy's,
        // which may load the scene first.
        if (proxy != nullptr && owned.load.HasByHandle() && owned.load.sceneHandle > 0) {
            PostToProxy(proxy, &RenderProxy3D::Thread_ExportScene, std::move(owned), callback);
            return;
        }
        CaptureProxy::Instance().RequestExport(std::move(owned), callback);
    });
}

}  // namespace Kestrum
