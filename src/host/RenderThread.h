#pragma once
// The one thread on which every OpenGL call and every scene change happens. Host threads only
// post call objects to it (ThreadManager::Post / Call with ThreadId()).
//
// Frame loop: a 6 ms floor per frame; drain the call queue; let each listener update; keep the
// renderer's frame-rate window; let the renderer draw. Started lazily and blocking by the
// first piece of scene work; stopped only by ShutdownRenderer with no listener left. Work
// still queued when it stops is discarded, never run.

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "host/RenderThreadListener.h"
#include "util/SimpleThread.h"

namespace Velmora {

// Renderer settings of SetupRenderer, read when the thread starts. Written by the exports
// without a lock; a change after the start takes effect at the next start.
struct RenderThreadSetup {
    int32_t glMajor = 0;  // 0: any version from 3.1 up
    int32_t glMinor = 0;
    uint32_t colorSamples = 0;
    uint32_t coverageSamples = 0;
    bool searchBestAntiAliasing = false;
    bool startupSwitch = false;
    bool verticalSync = false;
};

class RenderThread {
public:
    static RenderThread& Instance();

    // Starts the thread and blocks until the renderer is up (true) or failed (false, the
    // thread torn down again). True at once when already started.
    bool Start();
    // Stops a started thread under the start mutex and clears the started state. Queued
    // work is discarded. Not from the render thread itself.
    void Stop();

    // On the render thread through a blocking call. Null or an already registered listener
    // is refused with a message; false also when there is no thread.
    bool RegisterRenderThreadListener(RenderThreadListener* listener);
    // Blocking; a null or unknown listener is ignored.
    void UnregisterRenderThreadListener(RenderThreadListener* listener);
    // Queued (inline on the render thread itself); for callers that must not wait.
    void PostUnregisterRenderThreadListener(RenderThreadListener* listener);

    // Render thread only. Scene work leaves freed memory in the allocator's arenas, where it
    // stays resident; once the thread has been left without work for a short while it hands that
    // memory back to the system. Scheduling again moves the moment on; cancelling drops it, as
    // new work is about to use the memory again.
    void ScheduleMemoryRelease();
    void CancelMemoryRelease();
    // Times the memory went back since the thread started; readable from any thread.
    uint32_t MemoryReleaseCount() const { return memoryReleases_.load(); }

    RenderThreadSetup& Setup() { return setup_; }

    bool IsStarted() const { return started_.load(); }
    // ThreadManager identifier, 0 when there is no thread.
    uint32_t ThreadId() const { return threadId_.load(); }
    // 0 pending, 1 renderer up, 2 renderer failed.
    uint32_t InitState() const { return initState_.load(); }
    bool IsRunning() const { return running_.load(); }
    bool IsRenderThread() const;
    // Number of registered listeners; readable from any thread.
    uint32_t ListenerCount() const { return listenerCount_.load(); }

    // Context version, context minor, shading language major and minor of the last good start.
    uint32_t GLVersionInfo(int index) const { return index >= 0 && index < 4 ? glVersionInfo_[index] : 0; }

    // Test hook: while set, the renderer start fails as if no context could be made.
    static std::atomic<bool> failRendererInitForTesting;

private:
    RenderThread() = default;
    ~RenderThread();
    RenderThread(const RenderThread&) = delete;
    RenderThread& operator=(const RenderThread&) = delete;

    void StopThread();  // caller holds startMutex_
    bool InitRenderer();
    void ThreadMain();
    void UpdateFrameRate(uint64_t now);
    void ReleaseMemoryWhenDue(uint64_t now);
    bool Thread_Register(RenderThreadListener* listener);
    void Thread_Unregister(RenderThreadListener* listener);

    std::atomic<bool> started_{false};
    RenderThreadSetup setup_;
    std::mutex startMutex_;
    std::atomic<uint32_t> threadId_{0};
    std::atomic<uint32_t> initState_{0};
    std::atomic<bool> stopRequested_{false};
    std::atomic<bool> running_{false};
    std::map<RenderThreadListener*, int> listeners_;  // render thread only
    std::atomic<uint32_t> listenerCount_{0};
    uint32_t glVersionInfo_[4] = {0, 0, 0, 0};
    // The body of the running thread, for draining its queue without a registry look-up.
    Utility::ThreadFunctor* functor_ = nullptr;
    std::atomic<bool> entered_{false};  // ThreadMain runs once per thread
    uint64_t memoryReleaseDueMs_ = 0;   // render thread only; 0 when none is scheduled
    std::atomic<uint32_t> memoryReleases_{0};
};

}  // namespace Velmora
