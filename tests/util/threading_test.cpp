#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "util/Clock.h"
#include "util/SimpleThread.h"
#include "util/ThreadCallable.h"
#include "util/ThreadManager.h"

using namespace Velmora::Utility;

namespace {

// A worker like RenderThread's: one Update that loops by itself and drains its queue.
class Worker {
public:
    // A worker held from the start never drains, even before the test's first line runs.
    explicit Worker(bool drain = true, bool held = false) : drain_(drain), hold_(held) {
        auto functor = std::make_shared<MemberThreadFunctor<Worker>>(this, &Worker::Body, 100);
        functor_ = functor;
        id_.store(ThreadManager::Instance().CreateThread(functor, "TestWorker"));
    }
    ~Worker() { Stop(); }
    void Stop() {
        if (id_.load() == 0) return;
        stop_.store(true);
        ThreadManager::Instance().DestroyThread(id_.load());
        id_.store(0);
    }
    uint32_t Id() const { return id_.load(); }
    void Hold(bool hold) { hold_.store(hold); }
    std::atomic<int> loops{0};

private:
    void Body() {
        while (!stop_.load()) {
            if (!hold_.load() && drain_) ThreadManager::Instance().ProcessQueue(id_.load());
            loops.fetch_add(1);
            Sleep(1);
        }
    }
    bool drain_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> hold_{false};
    std::weak_ptr<ThreadFunctor> functor_;
    std::atomic<uint32_t> id_{0};  // set after CreateThread returns, read by the body
};

struct Target {
    std::atomic<int> count{0};
    std::atomic<uint32_t> lastOsId{0};
    std::vector<int> order;

    void Bump() {
        count.fetch_add(1);
        lastOsId.store(CurrentThreadOsId());
    }
    void Record(int i) { order.push_back(i); }
    int32_t Add(int32_t a, int32_t b) { return a + b; }
    uint32_t Where() { return CurrentThreadOsId(); }
};

struct Nested {
    uint32_t threadId = 0;
    Target* target = nullptr;
    int32_t innerResult = -1;
    uint32_t innerOsId = 0;
    bool postResult = true;
    void Outer() {
        // On the worker: Call to the same thread runs inline, without waiting.
        innerResult = ThreadManager::Instance().Call<int32_t>(MakeCaller(target, &Target::Add, 20, 22), threadId);
        innerOsId = ThreadManager::Instance().Call<uint32_t>(MakeCaller(target, &Target::Where), threadId);
        // Post to the same thread runs inline and reports false.
        postResult = ThreadManager::Instance().Post(MakeCaller(target, &Target::Bump), threadId);
    }
};
}  // namespace

TEST(ThreadManager, CallFromInsideACallObjectRunsInline) {
    Worker w;
    Target t;
    Nested n{w.Id(), &t};
    ThreadManager::Instance().Call<void>(MakeCaller(&n, &Nested::Outer), w.Id());
    EXPECT_EQ(n.innerResult, 42);
    EXPECT_EQ(n.innerOsId, ThreadManager::Instance().Find(w.Id())->ThreadId());
    EXPECT_FALSE(n.postResult);
    EXPECT_EQ(t.count.load(), 1);  // it ran, inline
}

TEST(ThreadManager, The8193rdEntryIsRefused) {
    Worker w(true, true);  // the worker does not drain
    Target t;
    auto& tm = ThreadManager::Instance();
    for (int i = 0; i < 8192; ++i) ASSERT_TRUE(tm.Post(MakeCaller(&t, &Target::Bump), w.Id())) << i;
    EXPECT_FALSE(tm.Post(MakeCaller(&t, &Target::Record, 8193), w.Id()));
    EXPECT_EQ(tm.Call<int32_t>(MakeCaller(&t, &Target::Add, 1, 2), w.Id()), 0);
    w.Hold(false);
    while (tm.Find(w.Id())->Functor()->queue.Pending() != 0) Sleep(1);
    tm.Call<void>(MakeCaller(&t, &Target::Bump), w.Id());
    EXPECT_EQ(t.count.load(), 8193);
    EXPECT_TRUE(t.order.empty());  // the refused one never ran
}

TEST(ThreadManager, BlockingCallCaughtByStopIsReleased) {
    auto w = std::make_unique<Worker>(true, true);
    Target t;
    const uint32_t id = w->Id();
    std::atomic<bool> returned{false};
    std::atomic<int32_t> result{-1};
    std::thread caller([&] {
        result.store(ThreadManager::Instance().Call<int32_t>(MakeCaller(&t, &Target::Add, 1, 2), id));
        returned.store(true);
    });
    while (ThreadManager::Instance().Find(id)->Functor()->queue.Pending() == 0) Sleep(1);
    w->Stop();
    caller.join();
    EXPECT_TRUE(returned.load());
    EXPECT_EQ(result.load(), 0);
}

TEST(ThreadManager, ManyThreadsPostAndCall) {
    Worker w;
    Target t;
    constexpr int kThreads = 4, kEach = 500;
    std::vector<std::thread> posters;
    std::atomic<int> accepted{0};
    for (int i = 0; i < kThreads; ++i) {
        posters.emplace_back([&] {
            for (int j = 0; j < kEach; ++j) {
                if (ThreadManager::Instance().Post(MakeCaller(&t, &Target::Bump), w.Id())) accepted.fetch_add(1);
                if (j % 50 == 0) {
                    EXPECT_EQ(ThreadManager::Instance().Call<int32_t>(MakeCaller(&t, &Target::Add, j, 1), w.Id()),
                              j + 1);
                }
            }
        });
    }
    for (auto& p : posters) p.join();
    ThreadManager::Instance().Call<void>(MakeCaller(&t, &Target::Where), w.Id());
    EXPECT_EQ(t.count.load(), accepted.load());
    EXPECT_EQ(accepted.load(), kThreads * kEach);
}

namespace {
class CountingFunctor : public ThreadFunctor {
public:
    explicit CountingFunctor(int64_t sleepMs) : ThreadFunctor(sleepMs) {}
    void Update() override { updates.fetch_add(1); }
    void OnStart() override { starts.fetch_add(1); }
    void OnStop() override { stops.fetch_add(1); }
    std::atomic<int> updates{0}, starts{0}, stops{0};
};
}  // namespace

// A long pause between updates must not hold up a stop: the pause ends when stop is asked.
TEST(SimpleThread, StopCutsTheLongPauseShort) {
    auto f = std::make_shared<CountingFunctor>(60000);
    SimpleThread thread(f, "LongPause");
    ASSERT_TRUE(thread.Start());
    while (f->updates.load() < 1) Sleep(1);
    const auto start = std::chrono::steady_clock::now();
    thread.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(f->updates.load(), 1);
    EXPECT_EQ(f->stops.load(), 1);
}
