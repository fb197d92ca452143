#include "host/CaptureProxy.h"

#include <cstdlib>
#include <locale>

#include "host/ApplicationNames.h"
#include "host/RenderThread.h"
#include "rendering/Renderer.h"
#include "util/Logger.h"
#include "util/Paths.h"
#include "util/ThreadManager.h"

namespace Velmora {

using Utility::Logger;
using Utility::ThreadManager;

namespace {

// Case-insensitive comparison in the classic locale, as paths are compared for reuse.
bool EqualsIgnoreCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    const std::locale& classic = std::locale::classic();
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(a[i], classic) != std::tolower(b[i], classic)) return false;
    return true;
}

bool IsExistingRegularFile(const std::string& path) {
    return Utility::Exists(path) && Utility::IsRegular(path);
}

}  // namespace

CaptureProxy& CaptureProxy::Instance() {
    static CaptureProxy instance;
    return instance;
}

CaptureProxy::~CaptureProxy() {
    if (renderThreadId_.load() != 0)
        Logger::Log(1, "CaptureProxy::~CaptureProxy: Still registered to RenderThread!");
    if (!scenes_.empty()) Logger::Log(1, "CaptureProxy::~CaptureProxy: Has not unloaded all scenes!");
}

bool CaptureProxy::CheckCreateRenderThread() {
    if (renderThreadId_.load() != 0) return true;

    RenderThread& renderThread = RenderThread::Instance();
    // A host thread holds the lock across the blocking start; the render thread itself (a
    // callback calling back in) must not wait for it.
    std::unique_lock<std::mutex> lock(checkMutex_, std::defer_lock);
    if (!renderThread.IsRenderThread()) lock.lock();
    if (renderThreadId_.load() != 0) return true;

    if (renderThread.ThreadId() == 0) {
        if (!renderThread.Start()) {
            Logger::Log(1, "CaptureProxy::CheckCreateRenderThread - RenderThread failed to initialize");
            return false;
        }
        if (!Rendering::Renderer::Instance().IsInitialized()) {
            Logger::Log(1, "CaptureProxy creation failed - Renderer not initialized!");
            return false;
        }
    }
    if (!renderThread.RegisterRenderThreadListener(this)) {
        Logger::Log(1, "CaptureProxy::CheckCreateRenderThread - failed to register to RenderThread");
        return false;
    }
    renderThreadId_ = renderThread.ThreadId();
    return true;
}

// ---- host side -----------------------------------------------------------------------------

void CaptureProxy::RequestLoadScene(Utility::LoadSceneParameters load, Kestrum::LoadSceneCallback callback) {
    if (!CheckCreateRenderThread()) {
        Logger::Log(1, "CaptureProxy::LoadScene: RenderThread not available!");
        return;
    }
    ThreadManager::Instance().Post(Utility::MakeCaller(this, &CaptureProxy::LoadScene, std::move(load), callback),
                                   renderThreadId_.load());
}

void CaptureProxy::RequestCapture(Utility::CaptureParameters parameters, Kestrum::CaptureCallback callback) {
    if (!CheckCreateRenderThread()) {
        Logger::Log(1, "CaptureProxy::Capture: RenderThread not available!");
        Kestrum::CaptureResult result{};
        result.userTag = parameters.load.userTag;
        if (callback) callback(&result, 0);
        return;
    }
    ThreadManager::Instance().Post(
        Utility::MakeCaller(this, &CaptureProxy::Capture, std::move(parameters), callback), renderThreadId_.load());
}

void CaptureProxy::RequestExport(Utility::ExportParameters parameters, Kestrum::ExportCallback callback) {
    if (!CheckCreateRenderThread()) {
        Logger::Log(1, "CaptureProxy::Export: RenderThread not available!");
        Kestrum::ExportSceneResult result{};
        result.sceneHandle = parameters.load.sceneHandle;
        result.userTag = parameters.load.userTag;
        if (callback) callback(&result, 0);
        return;
    }
    ThreadManager::Instance().Post(
        Utility::MakeCaller(this, &CaptureProxy::Export, std::move(parameters), callback), renderThreadId_.load());
}

void CaptureProxy::RequestUnloadScene(uint32_t handle, Kestrum::HandleCallback callback) {
    const uint32_t threadId = renderThreadId_.load();
    if (threadId == 0) return;
    ThreadManager::Instance().Post(Utility::MakeCaller(this, &CaptureProxy::UnloadScene, handle, callback), threadId);
}

void CaptureProxy::RequestUnloadAllScenes(Kestrum::DoneCallback callback) {
    const uint32_t threadId = renderThreadId_.load();
    if (threadId == 0) return;
    ThreadManager::Instance().Post(Utility::MakeCaller(this, &CaptureProxy::UnloadAllScenes, callback), threadId);
}

// ---- render thread -------------------------------------------------------------------------

void CaptureProxy::OnRenderThreadUpdate(uint64_t) {}

void CaptureProxy::EnsureRegistered() {
    if (renderThreadId_.load() != 0) return;
    RenderThread& renderThread = RenderThread::Instance();
    // On the render thread this registration runs inline.
    if (renderThread.RegisterRenderThreadListener(this)) renderThreadId_ = renderThread.ThreadId();
}

void CaptureProxy::ReleaseRenderThreadIfEmpty() {
    if (!scenes_.empty() || renderThreadId_.load() == 0) return;
    RenderThread::Instance().PostUnregisterRenderThreadListener(this);
    renderThreadId_ = 0;
}

void CaptureProxy::LoadScene(const Utility::LoadSceneParameters& load, Kestrum::LoadSceneCallback callback) {
    SceneInfo* scene = DoLoadScene(load);

    Kestrum::LoadSceneResult result{};
    result.path = load.path.c_str();
    result.pathLength = static_cast<uint32_t>(load.path.size());
    result.userTag = load.userTag;
    if (scene != nullptr) {
        Logger::Log(3, "Successfully loaded scene '%s'", load.path.c_str());
        result.sceneHandle = scene->sceneHandle;
    }
    if (callback) callback(&result, scene != nullptr ? 1 : 0);
}

CaptureProxy::SceneInfo* CaptureProxy::DoLoadScene(const Utility::LoadSceneParameters& load) {
    EnsureRegistered();

    // The path counts only when it is the source: a memory request ignores it.
    const bool fromFile = load.HasFromFile() && !load.HasFromMemory();
    if (fromFile && (load.path.empty() || !IsExistingRegularFile(load.path))) {
        Logger::Log(1, "CaptureProxy::DoLoadScene: Invalid filename '%s'!", load.path.c_str());
        ReleaseRenderThreadIfEmpty();
        return nullptr;
    }

    if (load.HasByHandle()) {
        for (auto& [handle, info] : scenes_) {
            if (!EqualsIgnoreCase(info->path, load.path)) continue;
            Logger::Log(3, "CaptureProxy::DoLoadScene: Scene '%s' already loaded!", load.path.c_str());
            if (!AddRefForScene(handle)) return nullptr;
            return info.get();
        }
    }

    // The hidden window is the first thing a new scene needs; this build has no window
    // system for capture yet, so no scene can be made.
    Logger::Log(1, "CaptureProxy::DoLoadScene: Failed to create CaptureWindow!");
    ReleaseRenderThreadIfEmpty();
    return nullptr;
}

std::string CaptureProxy::GetCaptureFilePath(const std::string& scenePath) {
    if (scenePath.empty()) {
        Logger::Log(1, "CaptureProxy::GetCaptureFilePath with invalid input filename!");
        return std::string();
    }
    const std::string stem = Utility::Stem(scenePath);
    const std::string appData = Utility::GetEnvironmentFolder("APPDATA");
    if (appData.empty()) {
        Logger::Log(1, "CaptureProxy::GetCaptureFilePath cannot get APPDATA folder!");
        return std::string();
    }
    const std::string folder = appData + "/" + ApplicationNames::EffectiveCompanyName() + "/" +
                               ApplicationNames::EffectiveApplicationName();
    if (!Utility::CheckCreateDirectory(folder)) {
        Logger::LogF(1, "CaptureProxy::GetCaptureFilePath cannot find folder '{:s}'", folder);
        return std::string();
    }
    return Utility::GetUniqueFileName(stem, ".png", folder);
}

CaptureProxy::SceneInfo* CaptureProxy::FindScene(uint32_t handle) {
    auto it = scenes_.find(handle);
    return it == scenes_.end() ? nullptr : it->second.get();
}

bool CaptureProxy::AddRefForScene(uint32_t handle) {
    SceneInfo* scene = FindScene(handle);
    if (scene == nullptr) {
        Logger::Log(1, "CaptureProxy::AddRefForScene - with in valid scene handle!");
        return false;
    }
    ++scene->refCount;
    return true;
}

bool CaptureProxy::RemoveRefForScene(uint32_t handle) {
    SceneInfo* scene = FindScene(handle);
    if (scene == nullptr) {
        Logger::Log(1, "CaptureProxy::RemoveRefForScene - with in valid scene handle!");
        return false;
    }
    return --scene->refCount <= 0;
}

void CaptureProxy::DoUnloadScene(uint32_t handle) {
    if (handle == 0 || FindScene(handle) == nullptr) {
        Logger::Log(1, "CaptureProxy::DoUnloadScene: Invalid scene handle!");
        return;
    }
    if (!RemoveRefForScene(handle)) return;
    scenes_.erase(handle);
    ReleaseRenderThreadIfEmpty();
}

void CaptureProxy::UnloadScene(uint32_t handle, Kestrum::HandleCallback callback) {
    DoUnloadScene(handle);
    if (callback) callback(handle);
}

void CaptureProxy::UnloadAllScenes(Kestrum::DoneCallback callback) {
    // DoUnloadScene only counts down: a scene loaded twice goes in two rounds.
    while (!scenes_.empty()) DoUnloadScene(scenes_.begin()->first);
    ReleaseRenderThreadIfEmpty();
    if (callback) callback();
}

void CaptureProxy::Capture(const Utility::CaptureParameters& parameters, Kestrum::CaptureCallback callback) {
    Kestrum::CaptureResult result{};
    result.userTag = parameters.load.userTag;
    std::string scenePath;
    const bool ok = CaptureWork(parameters, result, scenePath);
    if (callback) callback(&result, ok ? 1 : 0);
    if ((parameters.captureFlags & Utility::CaptureParameters::UnloadAfter) &&
        (result.validFields & Kestrum::KESTRUM_CAPTURE_VALID_SCENE_HANDLE) && result.sceneHandle != 0)
        DoUnloadScene(result.sceneHandle);
    std::free(const_cast<void*>(result.pixels));
}

bool CaptureProxy::CaptureWork(const Utility::CaptureParameters& parameters, Kestrum::CaptureResult&,
                               std::string&) {
    using Utility::CaptureParameters;
    const Utility::LoadSceneParameters& load = parameters.load;
    const uint32_t flags = parameters.captureFlags;
    if (flags == 0 || parameters.width == 0 || parameters.height == 0 ||
        (flags & (CaptureParameters::ToFile | CaptureParameters::ToMemory)) == 0)
        return false;
    if (load.HasByHandle() && load.sceneHandle == 0) return false;
    if (load.HasFromFile() && !load.HasFromMemory() && load.path.empty()) return false;
    if (load.HasFromMemory() && load.data.empty()) return false;

    SceneInfo* scene = load.HasByHandle() ? FindScene(load.sceneHandle) : DoLoadScene(load);
    if (scene == nullptr) return false;
    // A scene exists only after a successful import, which needs the capture window; this
    // build has none, so there is no view to draw.
    return false;
}

void CaptureProxy::Export(const Utility::ExportParameters& parameters, Kestrum::ExportCallback callback) {
    Kestrum::ExportSceneResult result{};
    result.userTag = parameters.load.userTag;
    uint32_t loadedHandle = 0;
    const bool ok = ExportWork(parameters, result, loadedHandle);
    if (callback) callback(&result, ok ? 1 : 0);
    if (loadedHandle != 0) DoUnloadScene(loadedHandle);
    std::free(const_cast<void*>(result.data));
}

bool CaptureProxy::ExportWork(const Utility::ExportParameters& parameters, Kestrum::ExportSceneResult& result,
                              uint32_t& loadedHandle) {
    const Utility::LoadSceneParameters& load = parameters.load;
    result.sceneHandle = load.sceneHandle;
    SceneInfo* scene = nullptr;
    if (load.HasByHandle()) {
        scene = FindScene(load.sceneHandle);
    } else {
        scene = DoLoadScene(load);
        if (scene != nullptr) loadedHandle = scene->sceneHandle;
    }
    if (scene == nullptr) return false;
    result.sceneHandle = scene->sceneHandle;
    // Scenes reach the table only through an import, which is not available in this build.
    return false;
}

}  // namespace Velmora
