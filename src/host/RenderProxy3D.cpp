#include "host/RenderProxy3D.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>

#include "format/FormatManager.h"
#include "host/RenderThread.h"
#include "host/SceneLoading.h"
#include "host/windowing/InputHandler.h"
#include "host/windowing/RenderWindow.h"
#include "rendering/CameraInputTarget.h"
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

namespace Kestrum {

using Velmora::RenderThread;
namespace SceneLoading = Velmora::SceneLoading;
using Velmora::Rendering::RenderView;
using Velmora::Rendering::SceneGraph;
using Velmora::Rendering::SceneManager;
using Velmora::U3D::U3DSceneDescription;
using Velmora::Utility::Logger;
using Velmora::Utility::LogLevel;
using Velmora::Utility::MakeCaller;
using Velmora::Utility::ThreadManager;

namespace {

std::atomic<int32_t> g_instanceCounter{0};

// The view files LoadExternalViews picks up beside a scene file.
constexpr const char* kViewFileMask = "*.vws";

// RenderProxyInfo.flags: the view draws into a framebuffer object; the device samples coverage.
constexpr uint32_t kInfoDrawsIntoFramebuffer = 1u << 0;
constexpr uint32_t kInfoCoverageSampling = 1u << 1;

// The kinds of list a capability callback is handed.
constexpr uint32_t kCapabilityAntiAliasingModes = 0;
constexpr uint32_t kCapabilityAnisotropyLevels = 1;

// The anisotropy a new view asks for; a device with less gets its maximum.
constexpr uint32_t kViewAnisotropy = 16;

bool IsExistingRegularFile(const std::string& path) {
    return !path.empty() && Velmora::Utility::Exists(path) && Velmora::Utility::IsRegular(path);
}

}  // namespace

RenderProxy3D::RenderProxy3D() = default;
RenderProxy3D::~RenderProxy3D() = default;

uint32_t RenderProxy3D::MapRenderMode(uint32_t mode) {
    if (mode >= 1 && mode <= 11) return mode;
    if (mode == 12 || mode == 13) return 12;
    return 0;
}

uint32_t RenderProxy3D::ProjectionTypeFor(int32_t cameraType) {
    if (cameraType == 1) return 2;
    if (cameraType == 2) return 0;
    return 1;
}

// ---- creation and release --------------------------------------------------------------------

RenderProxy3D* RenderProxy3D::Create(const CreateInfo& createInfo, RenderProxyInfo* info) {
    const int32_t number = g_instanceCounter.fetch_add(1);
    std::string name = fmt::format("RenderProxy3D_Inst_{:d}", number);

    if (info == nullptr) {
        Logger::Log(LogLevel::Error, "RenderProxy creation failed - invalid input parameters!");
        return nullptr;
    }
    if (name.empty()) {
        Logger::Log(LogLevel::Error, "RenderProxy creation failed - missing View name!");
        return nullptr;
    }
    const uint32_t threadId = StartRenderThread();
    if (threadId == 0) return nullptr;

    RenderProxy3D* proxy = new (std::nothrow) RenderProxy3D();
    if (proxy == nullptr) {
        Logger::Log(LogLevel::Error, "RenderProxy creation failed - OUT OF MEMORY");
        return nullptr;
    }
    proxy->instanceName_ = std::move(name);
    proxy->renderThreadId_ = threadId;

    if (!proxy->CreateProxyWindow(createInfo)) {
        Logger::Log(LogLevel::Error, "RenderProxy creation failed - unable to create Win32 window!");
        return Fail(proxy, false, false);
    }
    if (!ThreadManager::Instance().Call<bool>(MakeCaller(proxy, &RenderProxy3D::Thread_Create, createInfo), threadId)) {
        Logger::Log(LogLevel::Error, "RenderProxy creation failed - unable to create RenderView!");
        return Fail(proxy, true, false);
    }
    if (!RenderThread::Instance().RegisterRenderThreadListener(proxy)) return Fail(proxy, true, false);

    // The input handler is made on the render thread with the view (Thread_Create); from here
    // on window events reach it.
    proxy->window_->AddObserver(proxy);

    *info = proxy->createdInfo_;
    info->instanceName = proxy->instanceName_.c_str();
    info->instanceNameLength = static_cast<uint32_t>(proxy->instanceName_.size());
    proxy->active_ = true;
    proxy->ReportCapabilities(createInfo.capabilityCallback);
    return proxy;
}

uint32_t RenderProxy3D::StartRenderThread() {
    RenderThread& renderThread = RenderThread::Instance();
    if (!renderThread.Start()) {
        Logger::Log(LogLevel::Error, "RenderProxy creation failed - RenderThread failt to initialize");
        return 0;
    }
    if (!Velmora::Rendering::Renderer::Instance().IsInitialized()) {
        Logger::Log(LogLevel::Error, "RenderProxy creation failed - Renderer not initialized!");
        return 0;
    }
    const uint32_t threadId = renderThread.ThreadId();
    if (threadId == 0) Logger::Log(LogLevel::Error, "RenderProxy creation failed - RenderThread not available!");
    return threadId;
}

// Made on the library's X connection; the render thread reads its events.
bool RenderProxy3D::CreateProxyWindow(const CreateInfo& createInfo) {
    window_.reset(new (std::nothrow) Velmora::Windowing::RenderWindow(), [](Velmora::Windowing::RenderWindow* window) {
        if (window == nullptr) return;
        window->Destroy();
        delete window;
    });
    Velmora::Windowing::WindowBase::CreateInfo windowInfo;
    windowInfo.parent = static_cast<Velmora::Windowing::NativeHandle>(createInfo.parentWindow);
    windowInfo.width = createInfo.width;
    windowInfo.height = createInfo.height;
    if (!window_ || !window_->Create(windowInfo)) return false;
    windowHandle_ = static_cast<KestrumWindow>(window_->GetHandle());
    return true;
}

// Each list goes to the host only when it is not empty.
void RenderProxy3D::ReportCapabilities(CapabilityCallback callback) const {
    if (callback == nullptr) return;
    if (!antiAliasingModes_.empty())
        callback(kCapabilityAntiAliasingModes, antiAliasingModes_.data(),
                 static_cast<uint32_t>(antiAliasingModes_.size()));
    if (!anisotropyLevels_.empty())
        callback(kCapabilityAnisotropyLevels, anisotropyLevels_.data(),
                 static_cast<uint32_t>(anisotropyLevels_.size()));
}

RenderProxy3D* RenderProxy3D::Fail(RenderProxy3D* proxy, bool viewMade, bool listening) {
    const uint32_t threadId = proxy->renderThreadId_.load();
    if (viewMade) ThreadManager::Instance().Call<void>(MakeCaller(proxy, &RenderProxy3D::Thread_Destroy), threadId);
    proxy->window_.reset();
    if (listening) RenderThread::Instance().UnregisterRenderThreadListener(proxy);
    delete proxy;
    return nullptr;
}

bool RenderProxy3D::Thread_Create(const CreateInfo& createInfo) {
    using namespace Velmora::Rendering;
    Renderer& renderer = Renderer::Instance();
    RenderViewCreationInfo viewInfo;
    viewInfo.name = instanceName_;
    viewInfo.window = window_ ? window_->GetHandle() : 0;
    viewInfo.width = static_cast<uint32_t>(std::max(createInfo.width, 0));
    viewInfo.height = static_cast<uint32_t>(std::max(createInfo.height, 0));
    viewInfo.anisotropy = std::min(kViewAnisotropy, std::max(renderer.MaxAnisotropy(), 1u));
    view_ = RenderView::Create(viewInfo);
    if (!view_) return false;
    if (!renderer.AddRenderView(view_)) {
        view_.reset();
        return false;
    }

    inputTarget_ = std::make_unique<CameraInputTarget>(view_->GetCameraController());
    input_ = std::make_shared<Velmora::Windowing::InputHandler>(inputTarget_.get(), renderThreadId_.load());
    input_->SetFineZoom(controllerFlagA_);

    createdInfo_ = RenderProxyInfo{};
    createdInfo_.flags = (view_->UsesFramebufferObject() ? kInfoDrawsIntoFramebuffer : 0u) |
                         (renderer.HasCoverageSampling() ? kInfoCoverageSampling : 0u);
    createdInfo_.colorSamples = static_cast<uint16_t>(view_->GetColorSamples());
    createdInfo_.coverageSamples = static_cast<uint16_t>(view_->GetCoverageSamples());
    createdInfo_.anisotropy = view_->GetAnisotropy();

    antiAliasingModes_.clear();
    for (const AntiAliasingMode& mode : renderer.GetAntiAliasingModes())
        antiAliasingModes_.push_back((mode.colorSamples << 16) | (mode.coverageSamples & 0xFFFFu));
    anisotropyLevels_.clear();
    for (uint32_t level = 2; level <= renderer.MaxAnisotropy() && level != 0; level *= 2)
        anisotropyLevels_.push_back(level);
    return true;
}

void RenderProxy3D::Release() {
    if (window_) window_->RemoveObserver(this);
    // The input handler and the view go on the render thread, where they are used.
    ThreadManager::Instance().Call<void>(MakeCaller(this, &RenderProxy3D::Thread_Destroy), renderThreadId_.load());
    window_.reset();
    windowHandle_ = 0;
    RenderThread::Instance().UnregisterRenderThreadListener(this);
    active_ = false;
    delete this;
}

void RenderProxy3D::Thread_Destroy() {
    input_.reset();
    if (view_) {
        if (view_->GetSceneHandle() != 0) SceneManager::Instance().UnlinkSceneFromRenderView(view_.get());
        Velmora::Rendering::Renderer::Instance().RemoveRenderView(view_);
        view_.reset();
    }
    // The window is destroyed on the host's thread; its drawable must leave the GL context
    // here, on the thread that has it current.
    if (window_ && window_->GetDC()->bound) Velmora::Rendering::OpenGLContext::Instance().ReleaseDC(window_->GetDC());
    inputTarget_.reset();
    sceneLoaded_ = false;
}

// ---- frame and window events -----------------------------------------------------------------

void RenderProxy3D::OnRenderThreadUpdate(uint64_t) {
    bool pending = false;
    {
        std::shared_lock<std::shared_mutex> lock(resizeLock_);
        pending = resizePending_;
    }
    if (pending) {
        Velmora::Rendering::CameraViewport rect;
        {
            std::unique_lock<std::shared_mutex> lock(resizeLock_);
            resizePending_ = false;
            rect.x = pendingRect_[0];
            rect.y = pendingRect_[1];
            rect.width = static_cast<uint32_t>(std::max(pendingRect_[2], 0));
            rect.height = static_cast<uint32_t>(std::max(pendingRect_[3], 0));
        }
        if (view_) view_->SetViewport(rect);
    }
    if (input_) input_->Process();
}

void RenderProxy3D::OnResize(int32_t width, int32_t height) {
    std::unique_lock<std::shared_mutex> lock(resizeLock_);
    pendingRect_[0] = 0;
    pendingRect_[1] = 0;
    pendingRect_[2] = width;
    pendingRect_[3] = height;
    resizePending_ = true;
}

void RenderProxy3D::OnMouseMove(int32_t x, int32_t y) {
    if (input_) input_->OnMouseMove(x, y);
}

void RenderProxy3D::OnMouseButton(uint32_t button, bool down, int32_t x, int32_t y) {
    if (input_) input_->OnMouseButton(button, down, x, y);
}

void RenderProxy3D::OnMouseWheel(int32_t delta) {
    if (input_) input_->OnMouseWheel(delta);
}

void RenderProxy3D::OnProgress(const Velmora::FormatGlue::ProgressInfo& info) {
    if (progressCallback_ != nullptr) progressCallback_(static_cast<float>(info.percent), progressTag_);
}

// ---- scenes ----------------------------------------------------------------------------------

uint32_t RenderProxy3D::SceneHandle() const { return view_ ? view_->GetSceneHandle() : 0; }

void RenderProxy3D::ApplyControllerFlags() {
    if (input_) input_->SetFineZoom(controllerFlagA_);
    if (std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(SceneHandle()))
        scene->GetResources().lightManager.SetLightModelsVisible(controllerFlagB_);
}

void RenderProxy3D::Thread_LoadScene(const Velmora::Utility::LoadSceneParameters& load,
                                     const Velmora::Utility::ViewParameters& view, LoadSceneCallback callback) {
    LoadSceneResult result{};
    result.path = load.path.c_str();
    result.pathLength = static_cast<uint32_t>(load.path.size());
    result.userTag = load.userTag;
    const uint32_t handle = ImportIntoView(load, view);
    if (handle == 0) {
        if (callback) callback(&result, 0);
        return;
    }
    ApplyRequestedViews(load, view, handle);
    sceneLoaded_ = true;
    ReplyLoaded(result, handle, callback);
}

uint32_t RenderProxy3D::ImportIntoView(const Velmora::Utility::LoadSceneParameters& load,
                                       const Velmora::Utility::ViewParameters& view) {
    using Velmora::Utility::ViewParameters;
    if (!view_) return 0;
    const SceneLoading::LoadSource source = SceneLoading::SourceOf(load);
    if (source.fromFile && !IsExistingRegularFile(load.path)) return 0;

    if (view_->GetSceneHandle() != 0) {
        Logger::Log(LogLevel::Warning, "Attempting to open scene while another one is still open: auto-closing!");
        CloseSceneNow();
    }

    SceneLoading::ImportRequest request;
    request.loadOptionA = view.Has(ViewParameters::LoadOptionA);
    request.loadOptionB = view.Has(ViewParameters::LoadOptionB);
    progressCallback_ = load.progressCallback;
    progressTag_ = load.userTag;
    if (progressCallback_ != nullptr) request.listener = this;
    uint32_t handle = 0;
    std::shared_ptr<SceneGraph> scene =
        SceneLoading::ImportScene(SceneLoading::MakeImportDescriptor(load, source, request), handle);
    progressCallback_ = nullptr;
    if (!scene) {
        Logger::Log(LogLevel::Error, "RenderProxy3D::Thread_LoadScene: Failed to create SceneGraph for '%s'!",
                    load.path.c_str());
        return 0;
    }
    SceneManager& sceneManager = SceneManager::Instance();
    if (!sceneManager.LinkSceneToRenderView(handle, view_.get())) {
        Logger::Log(LogLevel::Error, "RenderProxy3D::Thread_LoadScene: Failed to link SceneGraph '%s' to RenderView!",
                    load.path.c_str());
        sceneManager.ReleaseScene(handle);  // imported but never shown: nobody else holds it
        return 0;
    }

    SceneLoading::ShowStoredColours(*scene);
    ApplyControllerFlags();
    return handle;
}

void RenderProxy3D::ApplyRequestedViews(const Velmora::Utility::LoadSceneParameters& load,
                                        const Velmora::Utility::ViewParameters& view, uint32_t handle) {
    using Velmora::Utility::ViewParameters;
    if (view.Has(ViewParameters::LoadExternalViews)) LoadExternalViews(load, view);

    const Velmora::U3D::ViewportRect rect{0.0f, 0.0f, float(view_->GetWidth()), float(view_->GetHeight())};
    if (!SceneLoading::ApplyViewParameters(view, rect, handle, view_.get()))
        Logger::Log(LogLevel::Error,
                    "RenderProxy3D::Thread_LoadScene: Failed to apply the generated SceneDescription to "
                    "RenderView!");

    ApplyViewStrings(load, handle);
}

void RenderProxy3D::ApplyViewStrings(const Velmora::Utility::LoadSceneParameters& load, uint32_t handle) {
    using SceneLoading::ViewStringOutcome;
    const bool viewStringsAreText = load.ViewStringsAreDictionaryText();
    std::string selectedCamera;
    for (size_t i = 0; i < load.viewStrings.size(); ++i) {
        const std::string& source = load.viewStrings[i];
        std::string cameraName;
        const ViewStringOutcome outcome =
            SceneLoading::ApplyViewString(source, viewStringsAreText, handle, view_.get(), cameraName);
        if (outcome == ViewStringOutcome::NotMade) {
            Logger::Log(
                LogLevel::Error,
                "RenderProxy3D::Thread_LoadScene: Failed to create scene description from provided string\n'%s'",
                source.c_str());
            continue;
        }
        if (i == load.selectedViewIndex) selectedCamera = cameraName;
        if (outcome == ViewStringOutcome::NotApplied)
            Logger::Log(LogLevel::Error,
                        "RenderProxy3D::Thread_LoadScene: Failed to apply scene description from provided string");
    }
    if (!selectedCamera.empty() && !view_->GetCameraController().ActivateCamera(selectedCamera))
        Logger::Log(LogLevel::Error, "RenderProxy3D::Thread_LoadScene: Failed to activate selected camera");
}

void RenderProxy3D::ReplyLoaded(LoadSceneResult& result, uint32_t handle, LoadSceneCallback callback) {
    CollectCameraNames();
    ActiveCameraInfo active{};
    const bool haveActive = FillActiveCameraInfo(active);
    result.sceneHandle = handle;
    result.cameraNames = cameraNames_.data();
    result.cameraNameLengths = cameraNameLengths_.data();
    result.cameraCount = static_cast<uint32_t>(cameraNames_.size());
    result.activeCamera = haveActive ? &active : nullptr;
    // The scene graph keeps no render mode of its own: every scene starts solid.
    result.renderMode = MapRenderMode(0);
    if (callback) callback(&result, 1);
}

void RenderProxy3D::LoadExternalViews(const Velmora::Utility::LoadSceneParameters& load,
                                      const Velmora::Utility::ViewParameters&) {
    if (!load.HasFromFile() || load.HasFromMemory() || !Velmora::Utility::Exists(load.path)) return;
    const std::string folder = Velmora::Utility::ParentPath(load.path);
    const uint32_t handle = SceneHandle();
    for (const std::string& name : Velmora::Utility::FindFilesInFolder(folder, kViewFileMask)) {
        const std::string path = folder.empty() ? name : folder + "/" + name;
        U3DSceneDescription description;
        if (!description.CreateFromFile(path)) {
            Logger::Log(LogLevel::Error,
                        "RenderProxy3D::LoadExternalViews: Failed to create scene description from '%s'", path.c_str());
            continue;
        }
        // Not activated: the views of files stand beside the scene's own as " [ViewFile]".
        if (!description.ApplyToScene(handle, false, view_.get()))
            Logger::Log(LogLevel::Error, "RenderProxy3D::LoadExternalViews: Failed to apply scene description '%s'",
                        path.c_str());
    }
}

bool RenderProxy3D::CloseSceneNow() {
    if (!view_ || view_->GetSceneHandle() == 0) return false;
    SceneManager::Instance().UnlinkSceneFromRenderView(view_.get());
    view_->SetClearColor({0.0f, 0.0f, 0.0f});
    sceneLoaded_ = false;
    return true;
}

void RenderProxy3D::Thread_CloseScene(HandleCallback callback) {
    const uint32_t handle = SceneHandle();
    if (handle == 0) {
        if (callback) callback(0);
        return;
    }
    CloseSceneNow();
    if (callback) callback(handle);
}

void RenderProxy3D::Thread_ExportScene(const Velmora::Utility::ExportParameters& parameters, ExportCallback callback) {
    ExportSceneResult result{};
    result.sceneHandle = parameters.load.sceneHandle;
    result.userTag = parameters.load.userTag;
    const uint32_t format = parameters.FormatId();
    if (format == Velmora::Utility::NoExportFormat) {
        Logger::Log(LogLevel::Error, "RenderProxy3D::Thread_ExportScene: No target format specified!");
        if (callback) callback(&result, 0);
        return;
    }
    const uint32_t handle = SceneHandle();
    if (handle == 0) {
        Logger::Log(LogLevel::Error, "RenderProxy3D::Thread_ExportScene: No scene available to export!");
        if (callback) callback(&result, 0);
        return;
    }
    const Velmora::FormatGlue::ExportDescriptor descriptor = SceneLoading::MakeExportDescriptor(handle, parameters);
    Velmora::FormatGlue::ExportBuffer buffer;
    const bool ok = Velmora::FormatGlue::FormatManager::Instance().ExportScene(descriptor, &buffer);
    if (parameters.outputPath.empty() && buffer.data != nullptr && buffer.size != 0) {
        result.data = buffer.data;
        result.dataSize = buffer.size;
    }
    if (callback) callback(&result, ok ? 1 : 0);
    std::free(buffer.data);
}

// ---- cameras ---------------------------------------------------------------------------------

void RenderProxy3D::CollectCameraNames() {
    cameraNames_.clear();
    cameraNameLengths_.clear();
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(SceneHandle());
    if (!scene) return;
    static const std::string builtIn = kBuiltInCameraName;
    for (const auto& [name, info] : scene->GetCameras()) {
        const std::string& shown = name == kDefaultCameraName ? builtIn : name;
        cameraNames_.push_back(shown.c_str());
        cameraNameLengths_.push_back(static_cast<int32_t>(shown.size()));
    }
}

bool RenderProxy3D::FillActiveCameraInfo(ActiveCameraInfo& info) {
    if (!view_) {
        Logger::Log(LogLevel::Error, "Failed to set ActiveCameraInfo!");
        return false;
    }
    Velmora::Rendering::CameraController& controller = view_->GetCameraController();
    if (!controller.HasActiveCamera()) {
        Logger::Log(LogLevel::Error, "Failed to set ActiveCameraInfo!");
        return false;
    }
    const Velmora::Rendering::SceneCamera& camera = controller.GetActiveCamera();
    activeCameraName_ = camera.GetName() == kDefaultCameraName ? std::string(kBuiltInCameraName) : camera.GetName();
    info.name = activeCameraName_.c_str();
    info.nameLength = static_cast<uint32_t>(activeCameraName_.size());
    info.projectionType = ProjectionTypeFor(camera.GetType());
    info.flagA = camera.IsOrthographic() ? 1u : 0u;
    info.flagB = camera.GetInfo().isDefault ? 1u : 0u;
    return true;
}

void RenderProxy3D::ReplyActiveCamera(CameraCallback callback) {
    if (!callback) return;
    ActiveCameraInfo info{};
    if (FillActiveCameraInfo(info))
        callback(&info, 1);
    else
        callback(nullptr, 0);
}

bool RenderProxy3D::ActivateByType(uint32_t type, const std::string& name) {
    Velmora::Rendering::CameraController& controller = view_->GetCameraController();
    switch (type) {
        case 0: return controller.ActivateCamera(name == kBuiltInCameraName ? std::string(kDefaultCameraName) : name);
        case 1: return !controller.GetCameras().empty() && controller.ActivateFirstCamera();
        case 2: return !controller.GetCameras().empty() && controller.ActivateNextCamera();
        case 3: return controller.ActivateCamera(kDefaultCameraName);
        default:
            Logger::Log(LogLevel::Error, "RenderProxy3D::Thread_ActivateCamera - with invalid activation type");
            return false;
    }
}

void RenderProxy3D::Thread_ActivateCamera(uint32_t type, const std::string& name, CameraCallback callback) {
    if (!view_) {
        if (callback) callback(nullptr, 0);
        return;
    }
    if (!ActivateByType(type, name)) {
        if (callback) callback(nullptr, 0);
        return;
    }
    ReplyActiveCamera(callback);
}

void RenderProxy3D::Thread_GetAvailableCameras(CameraListCallback callback) {
    CollectCameraNames();
    if (callback)
        callback(0, cameraNames_.data(), cameraNameLengths_.data(), static_cast<uint32_t>(cameraNames_.size()));
}

// ---- views and pictures ----------------------------------------------------------------------

void RenderProxy3D::Thread_Screenshot(const std::string& path) {
    if (!view_) return;
    // A request without a scene would stay pending and fail again every frame.
    if (view_->GetSceneHandle() == 0) {
        Logger::Log(LogLevel::Error, "RenderProxy3D::Thread_Screenshot: no scene to take a picture of");
        return;
    }
    view_->Screenshot(path, static_cast<int32_t>(Velmora::Rendering::Image::FormatForPath(path)));
}

void RenderProxy3D::LoadViewInfo(const std::string& source, bool fromText, bool activate, CameraCallback callback) {
    if (!view_) return;
    const uint32_t handle = SceneHandle();
    if (handle == 0 || (!fromText && !IsExistingRegularFile(source))) {
        if (callback) callback(nullptr, 0);
        return;
    }
    U3DSceneDescription description;
    const bool made = fromText ? description.CreateFromString(source) : description.CreateFromFile(source);
    if (!made) {
        Logger::Log(LogLevel::Error,
                    "RenderProxy3D::Thread_LoadViewInfoFromFile: Failed to create scene description from '%s'",
                    source.c_str());
        if (callback) callback(nullptr, 0);
        return;
    }
    if (!description.ApplyToScene(handle, activate, view_.get())) {
        Logger::Log(LogLevel::Error,
                    "RenderProxy3D::Thread_LoadViewInfoFromFile: Failed to apply scene description '%s'",
                    source.c_str());
        if (callback) callback(nullptr, 0);
        return;
    }
    Logger::Log(LogLevel::Info,
                "RenderProxy3D::Thread_LoadViewInfoFromFile: Successfully applied scene description from '%s'",
                source.c_str());
    ReplyActiveCamera(callback);
}

void RenderProxy3D::Thread_LoadViewInfoFromFile(const std::string& path, bool activate, CameraCallback callback) {
    LoadViewInfo(path, false, activate, callback);
}

void RenderProxy3D::Thread_LoadViewInfoFromString(const std::string& text, bool activate, CameraCallback callback) {
    LoadViewInfo(text, true, activate, callback);
}

// ---- properties ------------------------------------------------------------------------------

void RenderProxy3D::Thread_SetPropertyBool(uint32_t id, bool value) {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(SceneHandle());
    switch (id) {
        case 8:
            if (scene) scene->SetAxisVisible(value);
            return;
        case 9:
            if (scene) scene->SetGridVisible(value);
            return;
        case 10:
            controllerFlagA_ = value;
            ApplyControllerFlags();
            return;
        case 11:
            controllerFlagB_ = value;
            ApplyControllerFlags();
            return;
        default:
            Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_SetPropertyBool with invalid property ID: {:d}", id);
    }
}

bool RenderProxy3D::Thread_GetPropertyBool(uint32_t id) {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(SceneHandle());
    switch (id) {
        case 3: return Velmora::Rendering::Renderer::Instance().HasCoverageSampling();
        case 8: return scene && scene->IsAxisVisible();
        case 9: return scene && scene->IsGridVisible();
        case 10: return controllerFlagA_;
        case 11: return controllerFlagB_;
        default:
            // The getter reports with the setter's text.
            Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_SetPropertyBool with invalid property ID: {:d}", id);
            return false;
    }
}

void RenderProxy3D::Thread_SetPropertyInt32(uint32_t id, int32_t value) {
    const uint32_t bits = static_cast<uint32_t>(value);
    switch (id) {
        case 4:
            if (view_) view_->SetFBOAAModeExplicitely(bits & 0xFFFFu, bits >> 16);
            return;
        case 5:
            if (view_) view_->SetAnisotropy(bits);
            return;
        case 6:
            if (std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(SceneHandle()))
                scene->GetResources().lightingSchemeManager.ActivateScheme(bits);
            return;
        case 7:
            if (view_)
                view_->SetClearColor({float((bits >> 16) & 0xFFu) / 255.0f, float((bits >> 8) & 0xFFu) / 255.0f,
                                      float(bits & 0xFFu) / 255.0f});
            return;
        default:
            Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_SetPropertyInt32 with invalid property ID: {:d}", id);
    }
}

int32_t RenderProxy3D::Thread_GetPropertyInt32(uint32_t id) {
    switch (id) {
        case 1: return static_cast<int32_t>(RenderThread::Instance().GLVersionInfo(0));
        case 2: return static_cast<int32_t>(RenderThread::Instance().GLVersionInfo(1));
        case 4: return view_ ? static_cast<int32_t>(view_->GetColorSamples()) : 0;
        case 5: return view_ ? static_cast<int32_t>(view_->GetAnisotropy()) : 0;
        case 6: {
            std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(SceneHandle());
            return scene ? static_cast<int32_t>(scene->GetResources().lightingSchemeManager.GetActiveScheme()) : 0;
        }
        case 7: {
            if (!view_) return 0;
            const auto& c = view_->GetClearColor();
            auto channel = [](float v) { return static_cast<uint32_t>(std::clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f); };
            return static_cast<int32_t>((channel(c[0]) << 16) | (channel(c[1]) << 8) | channel(c[2]));
        }
        default:
            Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_GetPropertyInt32 with invalid property ID: {:d}", id);
            return 0;
    }
}

// No identifier has an Int64, Double or String type: these always refuse.
void RenderProxy3D::Thread_SetPropertyInt64(uint32_t id, int64_t) {
    Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_SetPropertyInt64 with invalid property ID: {:d}", id);
}

int64_t RenderProxy3D::Thread_GetPropertyInt64(uint32_t id) {
    Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_GetPropertyInt64 with invalid property ID: {:d}", id);
    return 0;
}

void RenderProxy3D::Thread_SetPropertyDouble(uint32_t id, double) {
    Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_SetPropertyDouble with invalid property ID: {:d}", id);
}

double RenderProxy3D::Thread_GetPropertyDouble(uint32_t id) {
    Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_GetPropertyDouble with invalid property ID: {:d}", id);
    return 0.0;
}

void RenderProxy3D::Thread_SetPropertyString(uint32_t id, const std::string&) {
    Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_SetPropertyString with invalid property ID: {:d}", id);
}

std::string RenderProxy3D::Thread_GetPropertyString(uint32_t id) {
    Logger::LogF(LogLevel::Error, "RenderProxy3D::Thread_GetPropertyString with invalid property ID: {:d}", id);
    return std::string();
}

}  // namespace Kestrum
