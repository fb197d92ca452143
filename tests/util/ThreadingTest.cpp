#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "util/Clock.h"
#include "util/ConcurrentQueue.h"
#include "util/SimpleThread.h"
#include "util/ThreadCallable.h"
#include "util/ThreadManager.h"

using namespace Velmora::Utility;

namespace {

// A worker like RenderThread's: one Update that loops by itself and drains its queue.
class Worker {
public:
    explicit Worker(bool drain = true) : drain_(drain) {
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
    std::string text;
    std::vector<int> order;

    void Bump() { count.fetch_add(1); lastOsId.store(CurrentThreadOsId()); }
    void Append(const std::string& s) { text += s; }
    void Mutate(std::string& s) { s += "!"; text = s; }
    void Record(int i) { order.push_back(i); }
    bool IsPositive(int32_t v) { return v > 0; }
    int32_t Add(int32_t a, int32_t b) { return a + b; }
    int64_t Wide(int64_t a, int64_t b, int64_t c) { return a * b * c; }
    double Half(double v) const { return v / 2; }
    std::string Join(const std::string& a, std::string b, const char* c, int d) {
        return a + b + c + std::to_string(d);
    }
    uint32_t Where() { return CurrentThreadOsId(); }
};

}  // namespace

TEST(ThreadCallable, StoresValueCopies) {
    Target t;
    std::string s = "one";
    auto call = MakeCaller(&t, &Target::Append, s);
    s = "changed";
    call.Invoke();
    EXPECT_EQ(t.text, "one");
    auto copy = call;
    copy.Invoke();
    EXPECT_EQ(t.text, "oneone");
    // A non-const reference parameter binds to the copy inside the call object.
    std::string m = "x";
    auto mutate = MakeCaller(&t, &Target::Mutate, m);
    mutate.Invoke();
    mutate.Invoke();
    EXPECT_EQ(m, "x");
    EXPECT_EQ(t.text, "x!!");
    auto join = MakeCaller(&t, &Target::Join, "a", std::string("b"), "c", 4);
    EXPECT_EQ(join.Call(), "abc4");
    auto half = MakeCaller(&t, &Target::Half, 3.0);
    EXPECT_DOUBLE_EQ(half.Call(), 1.5);
    MemberFunctionCaller_2<Target, int32_t (Target::*)(int32_t, int32_t), int32_t, int32_t> add(&t, &Target::Add, 2, 3);
    EXPECT_EQ(add.Call(), 5);
}

TEST(ConcurrentQueue, BoundedAt8192) {
    ConcurrentQueue<int> q;
    for (int i = 0; i < 8192; ++i) ASSERT_TRUE(q.Push(i));
    EXPECT_FALSE(q.Push(8192));
    EXPECT_EQ(q.Pending(), 8192u);
    int v = -1;
    ASSERT_TRUE(q.TryPop(v));
    EXPECT_EQ(v, 0);
    EXPECT_TRUE(q.Push(9999));
    EXPECT_FALSE(q.Push(10000));
    for (int i = 1; i < 8192; ++i) { ASSERT_TRUE(q.TryPop(v)); EXPECT_EQ(v, i); }
    ASSERT_TRUE(q.TryPop(v));
    EXPECT_EQ(v, 9999);
    EXPECT_FALSE(q.TryPop(v));
    EXPECT_TRUE(q.Empty());
}

TEST(ThreadManager, IdentifiersCountUpAndNeverFallBack) {
    Worker a;
    uint32_t first = a.Id();
    ASSERT_NE(first, 0u);
    a.Stop();
    Worker b;
    EXPECT_GT(b.Id(), first);
    EXPECT_NE(ThreadManager::Instance().Find(b.Id()), nullptr);
    EXPECT_EQ(ThreadManager::Instance().Find(first), nullptr);
}

TEST(ThreadManager, CreateThreadWithoutFunctorFails) {
    EXPECT_EQ(ThreadManager::Instance().CreateThread(nullptr, "x"), 0u);
}

TEST(ThreadManager, PostRunsOnTheWorkerInOrder) {
    Worker w;
    Target t;
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(ThreadManager::Instance().Post(MakeCaller(&t, &Target::Record, i), w.Id()));
    // A blocking call behind them: they have all run when it returns.
    uint32_t where = ThreadManager::Instance().Call<uint32_t>(MakeCaller(&t, &Target::Where), w.Id());
    EXPECT_EQ(where, ThreadManager::Instance().Find(w.Id())->ThreadId());
    EXPECT_NE(where, CurrentThreadOsId());
    ASSERT_EQ(t.order.size(), 100u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(t.order[i], i);
}

TEST(ThreadManager, PostToUnknownIdDropsTheWork) {
    Target t;
    EXPECT_FALSE(ThreadManager::Instance().Post(MakeCaller(&t, &Target::Bump), 0));
    EXPECT_FALSE(ThreadManager::Instance().Post(MakeCaller(&t, &Target::Bump), 0xFFFFFFF0u));
    EXPECT_EQ(t.count.load(), 0);
    // Call to an unknown id returns at once with the empty result.
    EXPECT_FALSE(ThreadManager::Instance().Call<bool>(MakeCaller(&t, &Target::IsPositive, 5), 0));
    EXPECT_EQ(ThreadManager::Instance().Call<int32_t>(MakeCaller(&t, &Target::Add, 1, 2), 0), 0);
    EXPECT_EQ(ThreadManager::Instance().Call<std::string>(MakeCaller(&t, &Target::Join, "a", "b", "c", 1), 0), "");
    ThreadManager::Instance().Call<void>(MakeCaller(&t, &Target::Bump), 0);
    EXPECT_EQ(t.count.load(), 0);
}

TEST(ThreadManager, CallResultTypes) {
    Worker w;
    Target t;
    auto& tm = ThreadManager::Instance();
    EXPECT_TRUE(tm.Call<bool>(MakeCaller(&t, &Target::IsPositive, 3), w.Id()));
    EXPECT_FALSE(tm.Call<bool>(MakeCaller(&t, &Target::IsPositive, -3), w.Id()));
    EXPECT_EQ(tm.Call<int32_t>(MakeCaller(&t, &Target::Add, 40, 2), w.Id()), 42);
    EXPECT_EQ(tm.Call<int64_t>(MakeCaller(&t, &Target::Wide, int64_t(1) << 20, int64_t(1) << 20, 4), w.Id()), int64_t(1) << 42);
    EXPECT_DOUBLE_EQ(tm.Call<double>(MakeCaller(&t, &Target::Half, 5.0), w.Id()), 2.5);
    EXPECT_EQ(tm.Call<std::string>(MakeCaller(&t, &Target::Join, "x", "y", "z", 7), w.Id()), "xyz7");
    tm.Call<void>(MakeCaller(&t, &Target::Bump), w.Id());
    EXPECT_EQ(t.count.load(), 1);
    EXPECT_EQ(t.lastOsId.load(), tm.Find(w.Id())->ThreadId());
    EXPECT_EQ(tm.CallAuto(MakeCaller(&t, &Target::Add, 1, 1), w.Id()), 2);
}

namespace {
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
    Worker w;
    w.Hold(true);  // the worker does not drain
    Target t;
    auto& tm = ThreadManager::Instance();
    for (int i = 0; i < 8192; ++i) ASSERT_TRUE(tm.Post(MakeCaller(&t, &Target::Bump), w.Id())) << i;
    EXPECT_FALSE(tm.Post(MakeCaller(&t, &Target::Record, 8193), w.Id()));
    // A blocking call that cannot be queued returns at once with the empty result.
    EXPECT_EQ(tm.Call<int32_t>(MakeCaller(&t, &Target::Add, 1, 2), w.Id()), 0);
    w.Hold(false);
    while (tm.Find(w.Id())->Functor()->queue.Pending() != 0) Sleep(1);
    tm.Call<void>(MakeCaller(&t, &Target::Bump), w.Id());
    EXPECT_EQ(t.count.load(), 8193);
    EXPECT_TRUE(t.order.empty());  // the refused one never ran
}

TEST(ThreadManager, StopDiscardsQueuedWorkWithoutRunningIt) {
    auto w = std::make_unique<Worker>();
    w->Hold(true);
    Target t;
    auto& tm = ThreadManager::Instance();
    for (int i = 0; i < 50; ++i) ASSERT_TRUE(tm.Post(MakeCaller(&t, &Target::Bump), w->Id()));
    w->Stop();
    EXPECT_EQ(t.count.load(), 0);
}

TEST(ThreadManager, BlockingCallCaughtByStopIsReleased) {
    auto w = std::make_unique<Worker>();
    w->Hold(true);
    Target t;
    const uint32_t id = w->Id();
    std::atomic<bool> returned{false};
    std::atomic<int32_t> result{-1};
    std::thread caller([&] {
        result.store(ThreadManager::Instance().Call<int32_t>(MakeCaller(&t, &Target::Add, 1, 2), id));
        returned.store(true);
    });
    // Wait until the call object is queued, then stop the thread with it still queued.
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
                    EXPECT_EQ(ThreadManager::Instance().Call<int32_t>(MakeCaller(&t, &Target::Add, j, 1), w.Id()), j + 1);
                }
            }
        });
    }
    for (auto& p : posters) p.join();
    ThreadManager::Instance().Call<void>(MakeCaller(&t, &Target::Where), w.Id());
    EXPECT_EQ(t.count.load(), accepted.load());
    EXPECT_EQ(accepted.load(), kThreads * kEach);
}

TEST(ThreadManager, FunctionCallerLambda) {
    Worker w;
    std::atomic<uint32_t> where{0};
    int32_t r = ThreadManager::Instance().Call<int32_t>(MakeFunctionCaller([&where]() -> int32_t {
        where.store(CurrentThreadOsId());
        return 9;
    }), w.Id());
    EXPECT_EQ(r, 9);
    EXPECT_EQ(where.load(), ThreadManager::Instance().Find(w.Id())->ThreadId());
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

TEST(SimpleThread, LifecycleAndName) {
    auto f = std::make_shared<CountingFunctor>(5);
    SimpleThread thread(f, "NamedWorkerThreadLong");
    EXPECT_EQ(thread.ThreadId(), 0u);
    ASSERT_TRUE(thread.Start());
    EXPECT_TRUE(thread.Start());  // already started
    while (f->updates.load() < 3) Sleep(1);
    EXPECT_TRUE(f->running.load());
    EXPECT_NE(thread.ThreadId(), 0u);
    EXPECT_FALSE(thread.IsCurrentThread());
    thread.Stop();
    EXPECT_FALSE(f->running.load());
    EXPECT_EQ(f->starts.load(), 1);
    EXPECT_EQ(f->stops.load(), 1);
    EXPECT_FALSE(thread.Joinable());
    thread.Stop();  // twice is fine
}

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

TEST(SimpleThread, NoFunctorDoesNotStart) {
    SimpleThread thread(nullptr, "x");
    EXPECT_FALSE(thread.Start());
}

TEST(Clock, TickCountAdvancesAndSleepWaits) {
    auto t0 = std::chrono::steady_clock::now();
    Sleep(20);
    auto waited = std::chrono::steady_clock::now() - t0;
    EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(waited).count(), 20);
    Sleep(0);
    Sleep(-5);
    // Wrap-safe difference
    uint32_t last = 0xFFFFFFF0u, now = 0x10u;
    EXPECT_EQ(static_cast<uint32_t>(now - last), 0x20u);
}
