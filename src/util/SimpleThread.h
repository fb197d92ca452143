#pragma once
// A named thread around a functor.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "util/ConcurrentQueue.h"
#include "util/ThreadCallable.h"
#include "util/WakeableSleep.h"

namespace Velmora::Utility {

// The operating system id of the calling thread (gettid), as a 32-bit number.
uint32_t CurrentThreadOsId();

class SimpleThread {
public:
    // Abstract body of a thread. The queue holds heap call objects owned by it: a drain runs
    // and deletes them, the destructor deletes what is left without running it.
    class ThreadFunctor {
    public:
        explicit ThreadFunctor(int64_t sleepMs = 0) : sleepMs(sleepMs) {}
        virtual ~ThreadFunctor();
        ThreadFunctor(const ThreadFunctor&) = delete;
        ThreadFunctor& operator=(const ThreadFunctor&) = delete;

        virtual void Update() = 0;
        virtual void OnStart() {}
        virtual void OnStop() {}

        // The drain: while the atomic counter is not zero pop the front, run it
        // without the queue lock, delete it. Work posted from inside runs in the same drain.
        // Call it on the thread that owns the queue. Returns how many entries ran.
        uint32_t ProcessQueue();
        // Deletes every queued entry without running it. Returns how many were dropped.
        uint32_t DiscardQueue();

        // Sets stopRequested and ends a pause between two Update calls at once.
        void RequestStop() {
            stopRequested.store(true);
            pause.WakeSure();
        }

        std::atomic<bool> running{false};        // set while the run loop is inside the body
        std::atomic<bool> stopRequested{false};  // set by SimpleThread::Stop
        std::atomic<int64_t> sleepMs;            // pause between two Update calls
        WakeableSleep pause;                     // that pause, cut short by RequestStop
        ConcurrentQueue<ThreadCallable*> queue;  // pending call objects
    };

    // ThreadFunctor whose Update calls a stored member function of a stored object once.
    template <typename T>
    class MemberThreadFunctor : public ThreadFunctor {
    public:
        using Method = void (T::*)();
        MemberThreadFunctor(T* object, Method method, int64_t sleepMs)
            : ThreadFunctor(sleepMs), object_(object), method_(method) {}
        void Update() override {
            if (object_ != nullptr && method_ != nullptr) (object_->*method_)();
        }

    private:
        T* object_;
        Method method_;
    };

    SimpleThread(std::shared_ptr<ThreadFunctor> functor, std::string name);
    ~SimpleThread();  // Stop()
    SimpleThread(const SimpleThread&) = delete;
    SimpleThread& operator=(const SimpleThread&) = delete;

    // False without a functor, true if already started. Creates the thread; false (and
    // `joinable` cleared) if it could not be created.
    bool Start();
    // Asks the functor to stop (when joinable), joins and releases the thread. Errors from the
    // join are written to stderr after "Simple Thread exception: " and swallowed. Stop from
    // the thread itself cannot join; the thread is then detached.
    void Stop();

    ThreadFunctor* Functor() const { return functor_; }
    const std::shared_ptr<ThreadFunctor>& FunctorOwner() const { return functorOwner_; }
    const std::string& Name() const { return name_; }
    bool Joinable() const { return joinable_.load(); }
    // Operating system id of the thread; 0 until the thread has begun to run.
    uint32_t ThreadId() const { return threadId_.load(std::memory_order_acquire); }
    bool IsCurrentThread() const { return ThreadId() != 0 && ThreadId() == CurrentThreadOsId(); }

private:
    void ThreadMain();

    ThreadFunctor* functor_;
    std::shared_ptr<ThreadFunctor> functorOwner_;
    std::string name_;
    std::shared_ptr<std::thread> thread_;
    std::atomic<bool> joinable_{false};
    std::atomic<uint32_t> threadId_{0};
};

using ThreadFunctor = SimpleThread::ThreadFunctor;
template <typename T>
using MemberThreadFunctor = SimpleThread::MemberThreadFunctor<T>;

}  // namespace Velmora::Utility
