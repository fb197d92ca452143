#include "host/RenderProxy3D.h"

#include <atomic>
#include <filesystem>

#include "host/RenderThread.h"
#include "rendering/Renderer.h"
#include "util/Logger.h"

namespace Kestrum {

using Velmora::RenderThread;
using Velmora::Utility::Logger;

namespace {
std::atomic<int32_t> g_instanceCounter{0};
}  // namespace

RenderProxy3D::RenderProxy3D() = default;
RenderProxy3D::~RenderProxy3D() = default;

RenderProxy3D* RenderProxy3D::Create(const CreateInfo& createInfo, RenderProxyInfo* info) {
    const int32_t number = g_instanceCounter.fetch_add(1);
    std::string name = fmt::format("RenderProxy3D_Inst_{:d}", number);

    if (info == nullptr) {
        Logger::Log(1, "RenderProxy creation failed - invalid input parameters!");
        return nullptr;
    }
    if (name.empty()) {
        Logger::Log(1, "RenderProxy creation failed - missing View name!");
        return nullptr;
    }
    RenderThread& renderThread = RenderThread::Instance();
    if (!renderThread.Start()) {
        Logger::Log(1, "RenderProxy creation failed - RenderThread failt to initialize");
        return nullptr;
    }
    if (!Velmora::Rendering::Renderer::Instance().IsInitialized()) {
        Logger::Log(1, "RenderProxy creation failed - Renderer not initialized!");
        return nullptr;
    }
    if (renderThread.ThreadId() == 0) {
        Logger::Log(1, "RenderProxy creation failed - RenderThread not available!");
        return nullptr;
    }
    // The child window inside the host's window comes next; this build has no window
    // system for render proxies, so creation ends here.
    (void)createInfo;
    Logger::Log(1, "RenderProxy creation failed - unable to create Win32 window!");
    return nullptr;
}

void RenderProxy3D::Release() {
    RenderThread::Instance().UnregisterRenderThreadListener(this);
    active_ = false;
    delete this;
}

void RenderProxy3D::OnRenderThreadUpdate(uint64_t) {}

// ---- scene operations: a proxy without a view has nothing to show them in -------------------

void RenderProxy3D::Thread_LoadScene(const Velmora::Utility::LoadSceneParameters& load,
                                     const Velmora::Utility::ViewParameters&, LoadSceneCallback callback) {
    LoadSceneResult result{};
    result.path = load.path.c_str();
    result.pathLength = static_cast<uint32_t>(load.path.size());
    result.userTag = load.userTag;
    if (callback) callback(&result, 0);
}

void RenderProxy3D::Thread_CloseScene(HandleCallback callback) {
    if (callback) callback(0);
}

void RenderProxy3D::Thread_ExportScene(const Velmora::Utility::ExportParameters& parameters,
                                       ExportCallback callback) {
    ExportSceneResult result{};
    result.sceneHandle = parameters.load.sceneHandle;
    result.userTag = parameters.load.userTag;
    if (parameters.FormatId() == 0) {
        Logger::Log(1, "RenderProxy3D::Thread_ExportScene: No target format specified!");
    } else {
        Logger::Log(1, "RenderProxy3D::Thread_ExportScene: No scene available to export!");
    }
    if (callback) callback(&result, 0);
}

void RenderProxy3D::Thread_ActivateCamera(uint32_t, const std::string&, CameraCallback callback) {
    if (callback) callback(nullptr, 0);
}

void RenderProxy3D::Thread_GetAvailableCameras(CameraListCallback callback) {
    if (callback) callback(0, nullptr, nullptr, 0);
}

void RenderProxy3D::Thread_Screenshot(const std::string&) {}

void RenderProxy3D::Thread_LoadViewInfoFromFile(const std::string&, bool, CameraCallback) {}

void RenderProxy3D::Thread_LoadViewInfoFromString(const std::string&, bool, CameraCallback) {}

// ---- properties ------------------------------------------------------------------------------

void RenderProxy3D::Thread_SetPropertyBool(uint32_t id, bool value) {
    switch (id) {
    case 8:
    case 9:
        return;  // flags of the open scene: none is open
    case 10:
        controllerFlagA_ = value;
        return;
    case 11:
        controllerFlagB_ = value;
        return;
    default:
        Logger::LogF(1, "RenderProxy3D::Thread_SetPropertyBool with invalid property ID: {:d}", id);
    }
}

bool RenderProxy3D::Thread_GetPropertyBool(uint32_t id) {
    switch (id) {
    case 3:
        return false;  // coverage sampling is not offered by this renderer
    case 8:
    case 9:
        return false;  // no scene
    case 10:
        return controllerFlagA_;
    case 11:
        return controllerFlagB_;
    default:
        // The getter reports with the setter's text.
        Logger::LogF(1, "RenderProxy3D::Thread_SetPropertyBool with invalid property ID: {:d}", id);
        return false;
    }
}

void RenderProxy3D::Thread_SetPropertyInt32(uint32_t id, int32_t) {
    if (id >= 4 && id <= 7) return;  // view and scene settings: no view
    Logger::LogF(1, "RenderProxy3D::Thread_SetPropertyInt32 with invalid property ID: {:d}", id);
}

int32_t RenderProxy3D::Thread_GetPropertyInt32(uint32_t id) {
    switch (id) {
    case 1:
        return static_cast<int32_t>(RenderThread::Instance().GLVersionInfo(0));
    case 2:
        return static_cast<int32_t>(RenderThread::Instance().GLVersionInfo(1));
    case 4:
    case 5:
    case 6:
    case 7:
        return 0;  // no view, no scene
    default:
        Logger::LogF(1, "RenderProxy3D::Thread_GetPropertyInt32 with invalid property ID: {:d}", id);
        return 0;
    }
}

// No identifier has an Int64, Double or String type: these always refuse.
void RenderProxy3D::Thread_SetPropertyInt64(uint32_t id, int64_t) {
    Logger::LogF(1, "RenderProxy3D::Thread_SetPropertyInt64 with invalid property ID: {:d}", id);
}

int64_t RenderProxy3D::Thread_GetPropertyInt64(uint32_t id) {
    Logger::LogF(1, "RenderProxy3D::Thread_GetPropertyInt64 with invalid property ID: {:d}", id);
    return 0;
}

void RenderProxy3D::Thread_SetPropertyDouble(uint32_t id, double) {
    Logger::LogF(1, "RenderProxy3D::Thread_SetPropertyDouble with invalid property ID: {:d}", id);
}

double RenderProxy3D::Thread_GetPropertyDouble(uint32_t id) {
    Logger::LogF(1, "RenderProxy3D::Thread_GetPropertyDouble with invalid property ID: {:d}", id);
    return 0.0;
}

void RenderProxy3D::Thread_SetPropertyString(uint32_t id, const std::string&) {
    Logger::LogF(1, "RenderProxy3D::Thread_SetPropertyString with invalid property ID: {:d}", id);
}

std::string RenderProxy3D::Thread_GetPropertyString(uint32_t id) {
    Logger::LogF(1, "RenderProxy3D::Thread_GetPropertyString with invalid property ID: {:d}", id);
    return std::string();
}

}  // namespace Kestrum
