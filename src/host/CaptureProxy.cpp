#include "host/CaptureProxy.h"

#include <fmt/format.h>

#include <cstdlib>
#include <cstring>
#include <locale>
#include <new>

#include "format/FormatManager.h"
#include "host/ApplicationNames.h"
#include "host/RenderThread.h"
#include "host/SceneLoading.h"
#include "host/windowing/CaptureWindow.h"
#include "rendering/Image.h"
#include "rendering/OpenGLContext.h"
#include "rendering/RenderView.h"
#include "rendering/Renderer.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "u3d/U3DSceneDescription.h"
#include "util/Logger.h"
#include "util/Paths.h"
#include "util/ThreadManager.h"

namespace Velmora {

using Utility::Logger;
using Utility::LogLevel;
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

bool IsExistingRegularFile(const std::string& path) { return Utility::Exists(path) && Utility::IsRegular(path); }

// Size of the hidden window; a capture resizes the view, never the window.
constexpr int32_t kCaptureWindowSize = 50;
// Read-back kept between file captures; above this (1024 x 1024) it is handed back.
constexpr size_t kKeptScratchBytes = size_t(1024) * 1024 * 4;
// Starts of the render thread tried when a shutdown stops it before the registration.
constexpr int kRegisterAttempts = 2;

}  // namespace

uint32_t CaptureProxy::viewCounter_ = 0;

CaptureProxy& CaptureProxy::Instance() {
    static CaptureProxy instance;
    return instance;
}

CaptureProxy::~CaptureProxy() {
    if (renderThreadId_.load() != 0)
        Logger::Log(LogLevel::Error, "CaptureProxy::~CaptureProxy: Still registered to RenderThread!");
    if (!scenes_.empty()) Logger::Log(LogLevel::Error, "CaptureProxy::~CaptureProxy: Has not unloaded all scenes!");
}

bool CaptureProxy::CheckCreateRenderThread() {
    if (RenderThreadId() != 0) return true;

    RenderThread& renderThread = RenderThread::Instance();
    // A host thread holds the lock across the blocking start; the render thread itself (a
    // callback calling back in) must not wait for it.
    std::unique_lock<std::mutex> lock(checkMutex_, std::defer_lock);
    if (!renderThread.IsRenderThread()) lock.lock();
    if (RenderThreadId() != 0) return true;

    // A shutdown on another host thread may stop the thread between the start and the
    // registration; the registration then finds no thread and the start is tried again.
    for (int attempt = 0; attempt < kRegisterAttempts; ++attempt) {
        if (renderThread.ThreadId() == 0) {
            if (!renderThread.Start()) {
                Logger::Log(LogLevel::Error,
                            "CaptureProxy::CheckCreateRenderThread - RenderThread failed to initialize");
                return false;
            }
            if (!Rendering::Renderer::Instance().IsInitialized()) {
                Logger::Log(LogLevel::Error, "CaptureProxy creation failed - Renderer not initialized!");
                return false;
            }
        }
        // Registration is decided on the render thread alone, so that a request already queued
        // there and this host thread never both register.
        const bool registered = ThreadManager::Instance().Call<bool>(
            Utility::MakeCaller(this, &CaptureProxy::EnsureRegistered), renderThread.ThreadId());
        if (registered) return true;
        if (renderThread.ThreadId() != 0) break;
    }
    Logger::Log(LogLevel::Error, "CaptureProxy::CheckCreateRenderThread - failed to register to RenderThread");
    return false;
}

uint32_t CaptureProxy::BeginRequest() {
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        ++pending_;
        // Registered with work outstanding: the proxy cannot let go before this request ends.
        if (renderThreadId_.load() != 0) return renderThreadId_.load();
    }
    if (CheckCreateRenderThread()) return RenderThreadId();
    std::lock_guard<std::mutex> lock(stateMutex_);
    --pending_;
    return 0;
}

bool CaptureProxy::IsIdle() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    // Nothing registered and nothing on its way: the table is empty.
    return renderThreadId_.load() == 0 && pending_ == 0;
}

void CaptureProxy::FinishRequest() {
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        --pending_;
    }
    ReleaseRenderThreadIfEmpty();
}

// ---- host side -----------------------------------------------------------------------------

void CaptureProxy::RequestLoadScene(Utility::LoadSceneParameters load, Kestrum::LoadSceneCallback callback) {
    const uint32_t threadId = BeginRequest();
    if (threadId == 0) {
        Logger::Log(LogLevel::Error, "CaptureProxy::LoadScene: RenderThread not available!");
        return;
    }
    ThreadManager::Instance().Post(Utility::MakeCaller(this, &CaptureProxy::RunLoadScene, std::move(load), callback),
                                   threadId);
}

void CaptureProxy::RequestCapture(Utility::CaptureParameters parameters, Kestrum::CaptureCallback callback) {
    const uint32_t threadId = BeginRequest();
    if (threadId == 0) {
        Logger::Log(LogLevel::Error, "CaptureProxy::Capture: RenderThread not available!");
        Kestrum::CaptureResult result{};
        result.userTag = parameters.load.userTag;
        if (callback) callback(&result, 0);
        return;
    }
    ThreadManager::Instance().Post(
        Utility::MakeCaller(this, &CaptureProxy::RunCapture, std::move(parameters), callback), threadId);
}

void CaptureProxy::RequestExport(Utility::ExportParameters parameters, Kestrum::ExportCallback callback) {
    const uint32_t threadId = BeginRequest();
    if (threadId == 0) {
        Logger::Log(LogLevel::Error, "CaptureProxy::Export: RenderThread not available!");
        Kestrum::ExportSceneResult result{};
        result.sceneHandle = parameters.load.sceneHandle;
        result.userTag = parameters.load.userTag;
        if (callback) callback(&result, 0);
        return;
    }
    ThreadManager::Instance().Post(Utility::MakeCaller(this, &CaptureProxy::RunExport, std::move(parameters), callback),
                                   threadId);
}

void CaptureProxy::RequestUnloadScene(uint32_t handle, Kestrum::HandleCallback callback) {
    // An idle proxy holds no scene: the handle is unknown, answered here without touching
    // the render thread. Before any render thread there is nobody to answer.
    const bool idle = IsIdle();
    if (idle && RenderThread::Instance().ThreadId() == 0) return;
    const uint32_t threadId = idle ? 0 : BeginRequest();
    if (threadId == 0) {
        Logger::Log(LogLevel::Error, "CaptureProxy::DoUnloadScene: Invalid scene handle!");
        if (callback) callback(handle);
        return;
    }
    ThreadManager::Instance().Post(Utility::MakeCaller(this, &CaptureProxy::RunUnloadScene, handle, callback),
                                   threadId);
}

void CaptureProxy::RequestUnloadAllScenes(Kestrum::DoneCallback callback) {
    const bool idle = IsIdle();
    if (idle && RenderThread::Instance().ThreadId() == 0) return;
    const uint32_t threadId = idle ? 0 : BeginRequest();
    if (threadId == 0) {
        if (callback) callback();
        return;
    }
    ThreadManager::Instance().Post(Utility::MakeCaller(this, &CaptureProxy::RunUnloadAllScenes, callback), threadId);
}

void CaptureProxy::RunLoadScene(const Utility::LoadSceneParameters& load, Kestrum::LoadSceneCallback callback) {
    LoadScene(load, callback);
    FinishRequest();
}

void CaptureProxy::RunCapture(const Utility::CaptureParameters& parameters, Kestrum::CaptureCallback callback) {
    Capture(parameters, callback);
    FinishRequest();
}

void CaptureProxy::RunExport(const Utility::ExportParameters& parameters, Kestrum::ExportCallback callback) {
    Export(parameters, callback);
    FinishRequest();
}

void CaptureProxy::RunUnloadScene(uint32_t handle, Kestrum::HandleCallback callback) {
    UnloadScene(handle, callback);
    FinishRequest();
}

void CaptureProxy::RunUnloadAllScenes(Kestrum::DoneCallback callback) {
    UnloadAllScenes(callback);
    FinishRequest();
}

// ---- render thread -------------------------------------------------------------------------

void CaptureProxy::OnRenderThreadUpdate(uint64_t) {}

void CaptureProxy::OnProgress(const FormatGlue::ProgressInfo& info) {
    const auto* slot = static_cast<const ProgressSlot*>(info.callbackSlot);
    if (slot != nullptr && slot->callback != nullptr) slot->callback(static_cast<float>(info.percent), slot->tag);
}

bool CaptureProxy::EnsureRegistered() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    if (renderThreadId_.load() != 0) return true;
    RenderThread& renderThread = RenderThread::Instance();
    // On the render thread this registration runs inline.
    if (!renderThread.RegisterRenderThreadListener(this)) return false;
    renderThreadId_ = renderThread.ThreadId();
    // The memory the last scenes left is about to be used again.
    renderThread.CancelMemoryRelease();
    return true;
}

void CaptureProxy::ReleaseRenderThreadIfEmpty() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    // A request still on its way will want the registration; it is let go by the last one.
    if (!scenes_.empty() || pending_ != 0 || renderThreadId_.load() == 0) return;
    RenderThread& renderThread = RenderThread::Instance();
    renderThread.PostUnregisterRenderThreadListener(this);
    renderThreadId_ = 0;
    // Every scene is gone: what they used goes back to the system unless work comes again.
    renderThread.ScheduleMemoryRelease();
}

void CaptureProxy::LoadScene(const Utility::LoadSceneParameters& load, Kestrum::LoadSceneCallback callback) {
    SceneInfo* scene = DoLoadScene(load);

    Kestrum::LoadSceneResult result{};
    result.path = load.path.c_str();
    result.pathLength = static_cast<uint32_t>(load.path.size());
    result.userTag = load.userTag;
    if (scene != nullptr) {
        Logger::Log(LogLevel::Info, "Successfully loaded scene '%s'", load.path.c_str());
        result.sceneHandle = scene->sceneHandle;
    }
    if (callback) callback(&result, scene != nullptr ? 1 : 0);
}

CaptureProxy::SceneInfo* CaptureProxy::DoLoadScene(const Utility::LoadSceneParameters& load) {
    EnsureRegistered();

    const SceneLoading::LoadSource source = SceneLoading::SourceOf(load);
    if (source.fromFile && (load.path.empty() || !IsExistingRegularFile(load.path))) {
        Logger::Log(LogLevel::Error, "CaptureProxy::DoLoadScene: Invalid filename '%s'!", load.path.c_str());
        ReleaseRenderThreadIfEmpty();
        return nullptr;
    }

    if (load.HasByHandle()) {
        if (SceneInfo* loaded = FindSceneByPath(load.path)) {
            Logger::Log(LogLevel::Info, "CaptureProxy::DoLoadScene: Scene '%s' already loaded!", load.path.c_str());
            return AddRefForScene(loaded->sceneHandle) ? loaded : nullptr;
        }
    }

    std::shared_ptr<Windowing::CaptureWindow> window = CreateCaptureWindow();
    if (!window) {
        Logger::Log(LogLevel::Error, "CaptureProxy::DoLoadScene: Failed to create CaptureWindow!");
        ReleaseRenderThreadIfEmpty();
        return nullptr;
    }
    std::shared_ptr<Rendering::RenderView> view = CreateCaptureView(*window);
    if (!view) {
        Logger::Log(LogLevel::Error, "CaptureProxy::LoadScene: Failed to create/register RenderView!");
        ReleaseRenderThreadIfEmpty();
        return nullptr;
    }

    const uint32_t sceneHandle = ImportIntoView(load, source, view);
    // The new view cleared its framebuffers and nothing reads them back until a capture; waiting
    // here keeps hosts that load side by side from piling up frames in the driver.
    Rendering::OpenGLContext::Instance().Finish();
    SceneInfo* info = sceneHandle != 0
                          ? RegisterScene(sceneHandle, source.fromFile ? load.path : std::string(), view, window)
                          : nullptr;
    if (info == nullptr) ReleaseRenderThreadIfEmpty();
    return info;
}

CaptureProxy::SceneInfo* CaptureProxy::FindSceneByPath(const std::string& path) {
    for (auto& [handle, info] : scenes_)
        if (EqualsIgnoreCase(info->path, path)) return info.get();
    return nullptr;
}

std::shared_ptr<Windowing::CaptureWindow> CaptureProxy::CreateCaptureWindow() {
    std::shared_ptr<Windowing::CaptureWindow> window(new (std::nothrow) Windowing::CaptureWindow(),
                                                     [](Windowing::CaptureWindow* w) {
                                                         if (w == nullptr) return;
                                                         w->Destroy();
                                                         delete w;
                                                     });
    Windowing::WindowBase::CreateInfo windowInfo;
    windowInfo.width = kCaptureWindowSize;
    windowInfo.height = kCaptureWindowSize;
    if (!window || !window->Create(windowInfo)) return nullptr;
    return window;
}

std::shared_ptr<Rendering::RenderView> CaptureProxy::CreateCaptureView(const Windowing::CaptureWindow& window) {
    Rendering::RenderViewCreationInfo viewInfo;
    viewInfo.name = fmt::format("CaptureProxy_View_{:d}", ++viewCounter_);
    viewInfo.window = window.GetHandle();
    viewInfo.width = static_cast<uint32_t>(window.GetWidth());
    viewInfo.height = static_cast<uint32_t>(window.GetHeight());
    std::shared_ptr<Rendering::RenderView> view = Rendering::RenderView::Create(viewInfo);
    if (!view || !Rendering::Renderer::Instance().AddRenderView(view)) return nullptr;
    return view;
}

uint32_t CaptureProxy::ImportIntoView(const Utility::LoadSceneParameters& load, SceneLoading::LoadSource source,
                                      const std::shared_ptr<Rendering::RenderView>& view) {
    // A capture hands the format neither load option.
    SceneLoading::ImportRequest request;
    progress_ = ProgressSlot{};
    if (load.progressCallback != nullptr) {
        progress_.callback = load.progressCallback;
        progress_.tag = load.userTag;
        request.listener = this;
        request.callbackSlot = &progress_;
    }
    uint32_t sceneHandle = 0;
    std::shared_ptr<Rendering::SceneGraph> scene =
        SceneLoading::ImportScene(SceneLoading::MakeImportDescriptor(load, source, request), sceneHandle);
    progress_ = ProgressSlot{};
    if (!scene) {
        Logger::Log(LogLevel::Error, "CaptureProxy::LoadScene: Failed to create SceneGraph!");
        DiscardScene(sceneHandle, view, false);
        return 0;
    }

    SceneLoading::ShowStoredColours(*scene);
    if (!Rendering::SceneManager::Instance().LinkSceneToRenderView(sceneHandle, view.get())) {
        Logger::Log(LogLevel::Error, "Failed to link SceneGraph to RenderView!");
        DiscardScene(sceneHandle, view, false);
        return 0;
    }

    // A capture scene is drawn when it is captured, not by every frame of the render loop: a
    // few loaded captures of large scenes would otherwise keep the render thread busy.
    scene->SetVisible(false);
    return sceneHandle;
}

CaptureProxy::SceneInfo* CaptureProxy::RegisterScene(uint32_t sceneHandle, const std::string& path,
                                                     const std::shared_ptr<Rendering::RenderView>& view,
                                                     const std::shared_ptr<Windowing::CaptureWindow>& window) {
    std::shared_ptr<SceneInfo> info(new (std::nothrow) SceneInfo());
    if (info) {
        info->sceneHandle = sceneHandle;
        info->path = path;
        info->view = view;
        info->window = window;
        info->refCount = 1;
    }
    if (!info || !scenes_.emplace(sceneHandle, info).second) {
        Logger::Log(LogLevel::Error, "CaptureProxy::LoadScene: Failed to register SceneInfo!");
        DiscardScene(sceneHandle, view, true);
        return nullptr;
    }
    return info.get();
}

void CaptureProxy::DiscardScene(uint32_t sceneHandle, const std::shared_ptr<Rendering::RenderView>& view, bool linked) {
    Rendering::SceneManager& sceneManager = Rendering::SceneManager::Instance();
    if (linked)
        sceneManager.UnlinkSceneFromRenderView(view.get());
    else if (sceneHandle != 0 && sceneManager.GetScene(sceneHandle))
        sceneManager.ReleaseScene(sceneHandle);  // imported but never shown: nobody else holds it
    Rendering::Renderer::Instance().RemoveRenderView(view);
}

std::string CaptureProxy::GetCaptureFilePath(const std::string& scenePath) {
    if (scenePath.empty()) {
        Logger::Log(LogLevel::Error, "CaptureProxy::GetCaptureFilePath with invalid input filename!");
        return std::string();
    }
    const std::string stem = Utility::Stem(scenePath);
    const std::string appData = Utility::GetEnvironmentFolder("APPDATA");
    if (appData.empty()) {
        Logger::Log(LogLevel::Error, "CaptureProxy::GetCaptureFilePath cannot get APPDATA folder!");
        return std::string();
    }
    const std::string folder =
        appData + "/" + ApplicationNames::EffectiveCompanyName() + "/" + ApplicationNames::EffectiveApplicationName();
    if (!Utility::CheckCreateDirectory(folder)) {
        Logger::LogF(LogLevel::Error, "CaptureProxy::GetCaptureFilePath cannot find folder '{:s}'", folder);
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
        Logger::Log(LogLevel::Error, "CaptureProxy::AddRefForScene - with in valid scene handle!");
        return false;
    }
    ++scene->refCount;
    return true;
}

bool CaptureProxy::RemoveRefForScene(uint32_t handle) {
    SceneInfo* scene = FindScene(handle);
    if (scene == nullptr) {
        Logger::Log(LogLevel::Error, "CaptureProxy::RemoveRefForScene - with in valid scene handle!");
        return false;
    }
    return --scene->refCount <= 0;
}

void CaptureProxy::DoUnloadScene(uint32_t handle) {
    if (handle == 0 || FindScene(handle) == nullptr) {
        Logger::Log(LogLevel::Error, "CaptureProxy::DoUnloadScene: Invalid scene handle!");
        return;
    }
    if (!RemoveRefForScene(handle)) return;
    auto it = scenes_.find(handle);
    std::shared_ptr<SceneInfo> info = it->second;
    scenes_.erase(it);
    if (info->view) {
        Rendering::SceneManager::Instance().UnlinkSceneFromRenderView(info->view.get());
        Rendering::Renderer::Instance().RemoveRenderView(info->view);
    }
    // The view lets go of the window's drawable before the window goes.
    info->view.reset();
    info->window.reset();
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

bool CaptureProxy::CaptureWork(const Utility::CaptureParameters& parameters, Kestrum::CaptureResult& result,
                               std::string& outputPath) {
    using Utility::CaptureParameters;
    const Utility::LoadSceneParameters& load = parameters.load;
    const uint32_t flags = parameters.captureFlags;
    if (flags == 0 || parameters.width <= 0 || parameters.height <= 0 ||
        (flags & (CaptureParameters::ToFile | CaptureParameters::ToMemory)) == 0)
        return false;
    if (load.HasByHandle() && load.sceneHandle == 0) return false;
    if (load.HasFromFile() && !load.HasFromMemory() && load.path.empty()) return false;
    if (load.HasFromMemory() && load.data.empty()) return false;

    const bool isNew = !load.HasByHandle();
    SceneInfo* scene = isNew ? DoLoadScene(load) : FindScene(load.sceneHandle);
    if (scene == nullptr) return false;
    // From here on the caller unloads the scene (with the unload flag) whatever the outcome.
    result.sceneHandle = scene->sceneHandle;
    result.validFields |= Kestrum::KESTRUM_CAPTURE_VALID_SCENE_HANDLE;

    const bool toMemory = (flags & CaptureParameters::ToMemory) != 0;
    if (flags & CaptureParameters::ToFile)
        outputPath = parameters.outputPath.empty() ? GetCaptureFilePath(scene->path) : parameters.outputPath;
    // A generated name that could not be made leaves nowhere to write to.
    if (!toMemory && outputPath.empty()) return false;

    Rendering::RenderView& view = *scene->view;
    Rendering::CameraViewport rect;
    rect.width = static_cast<uint32_t>(parameters.width);
    rect.height = static_cast<uint32_t>(parameters.height);
    view.SetViewport(rect);

    const U3D::ViewportRect viewport{0.0f, 0.0f, float(parameters.width), float(parameters.height)};
    if (!SceneLoading::ApplyViewParameters(parameters.view, viewport, scene->sceneHandle, &view))
        Logger::Log(LogLevel::Error, "Failed to apply the generated SceneDescription to RenderView!");

    if (!WriteCapture(*scene, toMemory, outputPath, result)) return false;

    if (isNew) {
        result.validFields |= Kestrum::KESTRUM_CAPTURE_VALID_SCENE_PATH;
        result.scenePath = load.path.c_str();
        result.scenePathLength = static_cast<uint32_t>(load.path.size());
    }
    if (!outputPath.empty()) {
        // Both bits set: the pixels come back and the generated name is reported, unwritten.
        result.validFields |= Kestrum::KESTRUM_CAPTURE_VALID_OUTPUT_PATH;
        result.outputPath = outputPath.c_str();
        result.outputPathLength = static_cast<uint32_t>(outputPath.size());
    }
    result.width = parameters.width;
    result.height = parameters.height;
    return true;
}

bool CaptureProxy::WriteCapture(SceneInfo& scene, bool toMemory, const std::string& target,
                                Kestrum::CaptureResult& result) {
    std::shared_ptr<Rendering::SceneGraph> graph = Rendering::SceneManager::Instance().GetScene(scene.sceneHandle);
    if (!graph) return false;
    // Shown for this one picture only (see DoLoadScene).
    struct ShownWhileDrawn {
        Rendering::SceneGraph& graph;
        explicit ShownWhileDrawn(Rendering::SceneGraph& g) : graph(g) { graph.SetVisible(true); }
        ~ShownWhileDrawn() { graph.SetVisible(false); }
    } shown(*graph);

    Rendering::RenderView& view = *scene.view;
    uint32_t size = 0;
    if (!toMemory) {
        // Rows stay bottom first: the encoders take them in that order without a copy.
        if (!view.RenderToMemory(pixelScratch_, size, false)) return false;
        const uint32_t width = view.GetWidth(), height = view.GetHeight();
        const Rendering::ImageStatus status =
            Rendering::Image::EncodeToFile(Rendering::Image::FormatForPath(target), target, pixelScratch_.data(), width,
                                           height, size_t(width) * 4, Rendering::PixelLayout::BGRA, false, true);
        // A large capture should not pin its read-back for the life of the process.
        if (pixelScratch_.capacity() > kKeptScratchBytes) std::vector<uint8_t>().swap(pixelScratch_);
        if (status != Rendering::ImageStatus::Ok) {
            Logger::Log(LogLevel::Error, "Failed to write image!");
            return false;
        }
        return true;
    }

    // The read-back goes through the kept scratch as well; the block handed to the host is the
    // only allocation of a memory capture.
    try {
        if (!view.RenderToMemory(pixelScratch_, size, true)) return false;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "CaptureProxy::Capture - OUT OF MEMORY");
        return false;
    }
    void* block = std::malloc(size);
    if (block == nullptr) {
        Logger::Log(LogLevel::Error, "CaptureProxy::Capture - OUT OF MEMORY");
        return false;
    }
    std::memcpy(block, pixelScratch_.data(), size);
    if (pixelScratch_.capacity() > kKeptScratchBytes) std::vector<uint8_t>().swap(pixelScratch_);
    result.pixels = block;
    result.pixelBytes = size;
    result.validFields |= Kestrum::KESTRUM_CAPTURE_VALID_PIXELS;
    return true;
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

    const FormatGlue::ExportDescriptor descriptor = SceneLoading::MakeExportDescriptor(scene->sceneHandle, parameters);
    if (descriptor.format == Utility::NoExportFormat) return false;

    FormatGlue::ExportBuffer buffer;
    const bool ok = FormatGlue::FormatManager::Instance().ExportScene(descriptor, &buffer);
    if (parameters.outputPath.empty() && buffer.data != nullptr && buffer.size != 0) {
        result.data = buffer.data;
        result.dataSize = buffer.size;
    } else {
        std::free(buffer.data);
    }
    return ok;
}

}  // namespace Velmora
