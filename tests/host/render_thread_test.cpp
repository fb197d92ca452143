// The render thread: a failing renderer start, queued work discarded at a stop, and listeners.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "host/RenderThread.h"
#include "support/LogCapture.h"
#include "support/Polling.h"
#include "util/ThreadManager.h"

namespace {

using Velmora::RenderThread;
using Velmora::RenderThreadListener;
using Velmora::Test::WaitFor;
using Velmora::Utility::MakeCaller;
using Velmora::Utility::MakeFunctionCaller;
using Velmora::Utility::ThreadManager;

class CountingListener : public RenderThreadListener {
public:
    void OnRenderThreadUpdate(uint64_t nowMs) override {
        std::lock_guard<std::mutex> lock(mutex);
        times.push_back(nowMs);
    }
    size_t Updates() {
        std::lock_guard<std::mutex> lock(mutex);
        return times.size();
    }
    std::mutex mutex;
    std::vector<uint64_t> times;
};

class RenderThreadTest : public ::testing::Test {
protected:
    void SetUp() override {
        RenderThread::failRendererInitForTesting = false;
        RenderThread::Instance().Stop();
    }
    void TearDown() override {
        RenderThread::failRendererInitForTesting = false;
        RenderThread::Instance().Stop();
    }
};

TEST_F(RenderThreadTest, FailingRendererLeavesNoThreadAndALaterStartRetries) {
    Velmora::Test::LogCapture capture;
    RenderThread& rt = RenderThread::Instance();
    RenderThread::failRendererInitForTesting = true;
    EXPECT_FALSE(rt.Start());
    EXPECT_EQ(rt.ThreadId(), 0u);
    EXPECT_FALSE(rt.IsStarted());
    EXPECT_EQ(rt.InitState(), 2u);
    RenderThread::failRendererInitForTesting = false;
    EXPECT_TRUE(rt.Start());
    EXPECT_NE(rt.ThreadId(), 0u);
    EXPECT_EQ(rt.InitState(), 1u);
}

// A listener that, once armed, parks the render thread inside its update until released:
// work posted meanwhile is queued behind a finished drain.
class ParkingListener : public RenderThreadListener {
public:
    void OnRenderThreadUpdate(uint64_t) override {
        if (!armed.exchange(false)) return;
        // Leave the listener map now: this object goes away while the thread is stopped.
        RenderThread::Instance().UnregisterRenderThreadListener(this);
        std::unique_lock<std::mutex> lock(mutex);
        parked = true;
        condition.notify_all();
        condition.wait_for(lock, std::chrono::seconds(5), [this] { return released; });
    }
    std::atomic<bool> armed{false};
    std::mutex mutex;
    std::condition_variable condition;
    bool parked = false;
    bool released = false;
};

TEST_F(RenderThreadTest, StopDiscardsQueuedWorkWithoutRunningIt) {
    RenderThread& rt = RenderThread::Instance();
    ASSERT_TRUE(rt.Start());
    ParkingListener listener;
    ASSERT_TRUE(rt.RegisterRenderThreadListener(&listener));
    listener.armed = true;
    {
        std::unique_lock<std::mutex> lock(listener.mutex);
        ASSERT_TRUE(listener.condition.wait_for(lock, std::chrono::seconds(5), [&] { return listener.parked; }));
    }
    std::atomic<int> ran{0};
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(ThreadManager::Instance().Post(MakeFunctionCaller([&ran] { ++ran; }), rt.ThreadId()));
    std::thread stopper([&rt] { rt.Stop(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(60));  // let Stop raise its request
    {
        std::lock_guard<std::mutex> lock(listener.mutex);
        listener.released = true;
    }
    listener.condition.notify_all();
    stopper.join();
    EXPECT_EQ(rt.ThreadId(), 0u);
    EXPECT_EQ(ran.load(), 0);
}

TEST_F(RenderThreadTest, ListenerRegistrationRules) {
    Velmora::Test::LogCapture capture;
    RenderThread& rt = RenderThread::Instance();
    ASSERT_TRUE(rt.Start());
    CountingListener listener;
    EXPECT_FALSE(rt.RegisterRenderThreadListener(nullptr));
    EXPECT_TRUE(capture.Has("RenderThread::RegisterRenderThreadListener - invalid RenderThreadListener object\n"));
    ASSERT_TRUE(rt.RegisterRenderThreadListener(&listener));
    EXPECT_EQ(rt.ListenerCount(), 1u);
    EXPECT_FALSE(rt.RegisterRenderThreadListener(&listener));
    EXPECT_TRUE(
        capture.Has("RenderThread::RegisterRenderThreadListener - cannot register new RenderThreadListener object\n"));
    EXPECT_EQ(rt.ListenerCount(), 1u);
    EXPECT_TRUE(WaitFor([&] { return listener.Updates() >= 5; }));
    CountingListener stranger;
    rt.UnregisterRenderThreadListener(&stranger);
    rt.UnregisterRenderThreadListener(nullptr);
    EXPECT_EQ(rt.ListenerCount(), 1u);
    rt.UnregisterRenderThreadListener(&listener);
    EXPECT_EQ(rt.ListenerCount(), 0u);
    const size_t after = listener.Updates();
    ThreadManager::Instance().Call<void>(MakeFunctionCaller([] {}), rt.ThreadId());
    ThreadManager::Instance().Call<void>(MakeFunctionCaller([] {}), rt.ThreadId());
    EXPECT_EQ(listener.Updates(), after);
}

TEST_F(RenderThreadTest, AListenerMayUnregisterItselfDuringItsUpdate) {
    struct SelfRemoving : RenderThreadListener {
        std::atomic<int> calls{0};
        void OnRenderThreadUpdate(uint64_t) override {
            ++calls;
            RenderThread::Instance().UnregisterRenderThreadListener(this);
        }
    } first, second;
    RenderThread& rt = RenderThread::Instance();
    ASSERT_TRUE(rt.Start());
    ASSERT_TRUE(rt.RegisterRenderThreadListener(&first));
    ASSERT_TRUE(rt.RegisterRenderThreadListener(&second));
    EXPECT_TRUE(WaitFor([&] { return rt.ListenerCount() == 0; }));
    EXPECT_EQ(first.calls.load(), 1);
    EXPECT_EQ(second.calls.load(), 1);
}

// Memory goes back once per quiet spell: a release cancelled before it was due never happens,
// a scheduled one does, and later frames do not repeat it.
TEST_F(RenderThreadTest, ScheduledMemoryReleaseHappensOnceAndCancelledOneNever) {
    RenderThread& rt = RenderThread::Instance();
    ASSERT_TRUE(rt.Start());
    ThreadManager& threads = ThreadManager::Instance();
    auto frames = [&](int count) {
        for (int i = 0; i < count; ++i) threads.Call<void>(MakeFunctionCaller([] {}), rt.ThreadId());
    };
    threads.Call<void>(MakeFunctionCaller([&rt] {
                           rt.ScheduleMemoryRelease();
                           rt.CancelMemoryRelease();
                       }),
                       rt.ThreadId());
    // Well past the moment the cancelled release was due (a quarter of a second).
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    frames(5);
    EXPECT_EQ(rt.MemoryReleaseCount(), 0u);

    threads.Call<void>(MakeFunctionCaller([&rt] { rt.ScheduleMemoryRelease(); }), rt.ThreadId());
    EXPECT_TRUE(WaitFor([&] { return rt.MemoryReleaseCount() != 0; }));
    frames(50);
    EXPECT_EQ(rt.MemoryReleaseCount(), 1u);
}

}  // namespace
