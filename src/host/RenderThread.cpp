#include "host/RenderThread.h"

#include <malloc.h>

#include "format/FormatManager.h"
#include "host/windowing/WindowBase.h"
#include "host/windowing/WindowClassRegistrar.h"
#include "host/windowing/X11Connection.h"
#include "rendering/OpenGLContext.h"
#include "rendering/SceneManager.h"
#include "util/LogManager.h"

#include "host/CaptureProxy.h"
#include "rendering/Renderer.h"
#include "util/Clock.h"
#include "util/Logger.h"
#include "util/ThreadManager.h"

namespace Velmora {

using Rendering::Renderer;
using Utility::Logger;
using Utility::LogLevel;
using Utility::ThreadManager;

std::atomic<bool> RenderThread::failRendererInitForTesting{false};

namespace {
// Quiet time after the last scene went before freed memory is handed back: long enough that a
// host loading its next scene straight away does not pay for it, short enough that an idle
// host soon shows its real size.
constexpr uint64_t kMemoryReleaseDelayMs = 250;

// Constructed ahead of the RenderThread singleton so that they outlive it at process exit,
// when its destructor still stops the thread through them.
struct EarlySingletons {
    EarlySingletons() {
        Logger::Instance();
        ThreadManager::Instance();
        Renderer::Instance();
        CaptureProxy::Instance();
        // Everything the render thread touches while it winds down: these must still exist
        // when a process exits with the thread running and this singleton stops it.
        Utility::LogManager::Instance();
        Rendering::OpenGLContext::Instance();
        Rendering::SceneManager::Instance();
        FormatGlue::FormatManager::Instance();
        Windowing::X11Connection::Instance();
        Windowing::WindowClassRegistrar::Instance();
        Windowing::WindowBase::FromHandle(0);
    }
};
}  // namespace

RenderThread& RenderThread::Instance() {
    static EarlySingletons early;
    static RenderThread instance;
    (void)early;
    return instance;
}

RenderThread::~RenderThread() {
    std::lock_guard<std::mutex> lock(startMutex_);
    const uint32_t id = threadId_.load();
    if (id != 0 && !IsRenderThread()) {
        // The process ends with the thread still running (no ShutdownRenderer): scenes and
        // their views let go of their GPU objects here, on the thread whose context owns them,
        // not later in static destructors where no context is current.
        if (initState_.load() == 1) {
            ThreadManager::Instance().CallAuto(Utility::MakeFunctionCaller([] {
                                                   CaptureProxy::Instance().UnloadAllScenes(nullptr);
                                                   Rendering::SceneManager::Instance().ReleaseAllScenes();
                                               }),
                                               id);
        }
        StopThread();
    }
    started_ = false;
}

bool RenderThread::Start() {
    std::lock_guard<std::mutex> lock(startMutex_);
    if (started_.load()) return true;

    initState_ = 0;
    stopRequested_ = false;
    entered_ = false;
    memoryReleaseDueMs_ = 0;
    memoryReleases_ = 0;
    auto functor = std::make_shared<Utility::MemberThreadFunctor<RenderThread>>(this, &RenderThread::ThreadMain, 100);
    functor_ = functor.get();
    const uint32_t id = ThreadManager::Instance().CreateThread(std::move(functor), "RenderThread");
    threadId_ = id;
    if (id == 0) {
        functor_ = nullptr;
        return false;
    }

    while (initState_.load() == 0) Utility::Sleep(10);

    if (initState_.load() == 1) {
        const Renderer& renderer = Renderer::Instance();
        glVersionInfo_[0] = renderer.ContextMajor();
        glVersionInfo_[1] = renderer.ContextMinor();
        glVersionInfo_[2] = renderer.ShaderMajor();
        glVersionInfo_[3] = renderer.ShaderMinor();
        started_ = true;
        return true;
    }
    StopThread();
    return false;
}

void RenderThread::Stop() {
    // From the render thread itself the wait for the frame loop to end could never finish.
    if (IsRenderThread()) return;
    std::lock_guard<std::mutex> lock(startMutex_);
    if (!started_.load()) return;
    StopThread();
    started_ = false;
}

void RenderThread::StopThread() {
    const uint32_t id = threadId_.load();
    if (id == 0) return;
    stopRequested_ = true;
    while (running_.load()) Utility::Sleep(20);
    // Joins the thread; destroying its body deletes whatever is still queued, unrun.
    ThreadManager::Instance().DestroyThread(id);
    functor_ = nullptr;
    threadId_ = 0;
    stopRequested_ = false;
}

bool RenderThread::IsRenderThread() const {
    const uint32_t id = threadId_.load();
    return id != 0 && ThreadManager::Instance().IsCurrentThread(id);
}

bool RenderThread::InitRenderer() {
    Renderer& renderer = Renderer::Instance();
    if (renderer.IsInitialized()) {
        Logger::Log(LogLevel::Error, "RenderThread::InitRenderer - Renderer was already initialized!");
        return true;
    }
    Rendering::RendererCreationInfo info;
    info.glMajor = setup_.glMajor;
    info.glMinor = setup_.glMinor;
    info.msaaSamples = setup_.colorSamples;
    info.csaaSamples = setup_.coverageSamples;
    info.autoAntiAliasing = setup_.searchBestAntiAliasing;
    info.useFramebufferObject = setup_.startupSwitch;
    info.verticalSync = setup_.verticalSync;
    if (failRendererInitForTesting.load() || !renderer.Init(info)) {
        Logger::Log(LogLevel::Error, "RenderThread::InitRenderer failed to init Renderer!");
        return false;
    }
    return true;
}

void RenderThread::ThreadMain() {
    // The functor calls this again after each return; one run per thread is all there is.
    if (stopRequested_.load() || entered_.exchange(true)) return;

    if (!InitRenderer()) {
        initState_ = 2;
        Logger::Log(LogLevel::Error, "CreateWindowEx failed to initialize Renderer");
        return;
    }
    running_ = true;
    initState_ = 1;

    Renderer& renderer = Renderer::Instance();
    uint64_t last = Utility::SteadyMs();
    while (!stopRequested_.load()) {
        uint64_t now = Utility::SteadyMs();
        if (now - last < 6) {
            Utility::Sleep(static_cast<int64_t>(6 - (now - last)));
            now = Utility::SteadyMs();
        }

        // Everything posted during the last frame runs before the listeners and the draw.
        functor_->ProcessQueue();

        // Windows are read on the library's own X connection, here, before the listeners.
        Windowing::WindowBase::ProcessPendingEvents();

        // A listener may unregister itself or another one from inside its update: step by
        // key rather than by iterator.
        for (auto it = listeners_.begin(); it != listeners_.end();) {
            RenderThreadListener* listener = it->first;
            listener->OnRenderThreadUpdate(now);
            it = listeners_.upper_bound(listener);
        }

        UpdateFrameRate(now);
        renderer.RenderAllViews(now);
        ReleaseMemoryWhenDue(now);
        last = now;
    }
    renderer.Shutdown();
    running_ = false;
}

void RenderThread::UpdateFrameRate(uint64_t now) {
    Renderer& r = Renderer::Instance();
    if (r.windowStart != 0) {
        ++r.frames;
        if (now < r.windowEnd) return;
        r.framesPerSecond = r.frames * 1000.0 / static_cast<double>(now - r.windowStart);
    }
    r.windowStart = now;
    r.frames = 0;
    r.windowEnd = now + 5000;
}

void RenderThread::ScheduleMemoryRelease() { memoryReleaseDueMs_ = Utility::SteadyMs() + kMemoryReleaseDelayMs; }

void RenderThread::CancelMemoryRelease() { memoryReleaseDueMs_ = 0; }

void RenderThread::ReleaseMemoryWhenDue(uint64_t now) {
    if (memoryReleaseDueMs_ == 0 || now < memoryReleaseDueMs_) return;
    memoryReleaseDueMs_ = 0;
    Rendering::OpenGLContext::Instance().RetireDriverFrames();
#ifdef __GLIBC__
    malloc_trim(0);
#endif
    ++memoryReleases_;
}

bool RenderThread::RegisterRenderThreadListener(RenderThreadListener* listener) {
    return ThreadManager::Instance().Call<bool>(Utility::MakeCaller(this, &RenderThread::Thread_Register, listener),
                                                threadId_.load());
}

void RenderThread::UnregisterRenderThreadListener(RenderThreadListener* listener) {
    ThreadManager::Instance().Call<void>(Utility::MakeCaller(this, &RenderThread::Thread_Unregister, listener),
                                         threadId_.load());
}

void RenderThread::PostUnregisterRenderThreadListener(RenderThreadListener* listener) {
    ThreadManager::Instance().Post(Utility::MakeCaller(this, &RenderThread::Thread_Unregister, listener),
                                   threadId_.load());
}

bool RenderThread::Thread_Register(RenderThreadListener* listener) {
    if (listener == nullptr) {
        Logger::Log(LogLevel::Error,
                    "RenderThread::RegisterRenderThreadListener - invalid RenderThreadListener object");
        return false;
    }
    if (!listeners_.emplace(listener, 0).second) {
        Logger::Log(LogLevel::Error,
                    "RenderThread::RegisterRenderThreadListener - cannot register new RenderThreadListener object");
        return false;
    }
    listenerCount_ = static_cast<uint32_t>(listeners_.size());
    return true;
}

void RenderThread::Thread_Unregister(RenderThreadListener* listener) {
    if (listener == nullptr) return;
    listeners_.erase(listener);
    listenerCount_ = static_cast<uint32_t>(listeners_.size());
}

}  // namespace Velmora
