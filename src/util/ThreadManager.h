#pragma once
// Registry of worker threads and the call marshalling onto them.
//
// Post(call, id): runs `call` on thread `id` later; on that very thread it runs at once,
//   inline, and the result is false. False also for an unknown id (the work is dropped) and
//   for a full queue (8192 entries; the work is dropped).
// Call<R>(call, id): the blocking form; R is the member's result type (bool, int32_t,
//   int64_t, double, std::string or void). An unknown id gives R{} at once.

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <type_traits>
#include <utility>

#include "util/SimpleThread.h"
#include "util/ThreadCallable.h"

namespace Velmora::Utility {

class ThreadManager {
public:
    static ThreadManager& Instance();

    // Makes a SimpleThread around `functor`, starts it and registers it. Identifiers come
    // from a counter: the first thread is 1, and it never falls back. 0 on failure.
    uint32_t CreateThread(std::shared_ptr<ThreadFunctor> functor, const std::string& name);

    // Takes the thread out of the registry, stops it (joins) and deletes it. Work still
    // queued is deleted without being run; a blocking Call waiting on such work wakes up with
    // its result unchanged. False for an unknown id. Not from the thread itself.
    bool DestroyThread(uint32_t threadId);

    // The registered thread, or null. The pointer stays valid until DestroyThread.
    SimpleThread* Find(uint32_t threadId) const;

    // Asynchronous call; see the top of this file.
    template <typename C>
    bool Post(C callable, uint32_t threadId);

    // Blocking call; see the top of this file.
    template <typename R, typename C>
    R Call(C callable, uint32_t threadId);
    // The same with the result type taken from the call object.
    template <typename C>
    typename C::Result CallAuto(C callable, uint32_t threadId) {
        return Call<typename C::Result>(std::move(callable), threadId);
    }

    // Runs the queued work of `threadId`; meant for the thread's own loop. Returns how many
    // call objects ran (0 for an unknown id).
    uint32_t ProcessQueue(uint32_t threadId);

    // True when the calling thread is the registered thread `threadId`.
    bool IsCurrentThread(uint32_t threadId) const;

private:
    ThreadManager() = default;
    ~ThreadManager();

    // Shared state of one blocking call. `done` is set under the mutex (a wake-up cannot be
    // lost), in this order: result, then flag, then notify.
    struct SyncState {
        std::mutex mutex;
        std::condition_variable condition;
        bool done = false;
        void Finish() {
            {
                std::lock_guard<std::mutex> lock(mutex);
                done = true;
            }
            condition.notify_one();
        }
        void Wait() {
            std::unique_lock<std::mutex> lock(mutex);
            condition.wait(lock, [this] { return done; });
        }
    };
    // Held only by the call objects of one blocking call: when the last of them goes (run or
    // discarded unrun), the waiter is released.
    struct SyncTicket {
        std::shared_ptr<SyncState> state;
        ~SyncTicket() { state->Finish(); }
    };

    // On the worker: runs the inner call object, stores the result, releases the waiter.
    template <typename C, typename R>
    void RunSync(SyncCallable<C>& sync, std::shared_ptr<SyncTicket>& ticket, R* result) {
        if constexpr (std::is_void_v<R>) {
            (void)result;
            sync.Call();
        } else {
            *result = sync.Call();
        }
        ticket->state->Finish();
    }

    std::shared_ptr<ThreadFunctor> Lookup(uint32_t threadId, uint32_t* osThreadId) const;

    mutable std::shared_mutex mapLock_;
    std::map<uint32_t, SimpleThread*> threads_;
};

template <typename C>
bool ThreadManager::Post(C callable, uint32_t threadId) {
    static_assert(std::is_base_of_v<ThreadCallable, C>, "Post needs a ThreadCallable");
    uint32_t osId = 0;
    std::shared_ptr<ThreadFunctor> functor = Lookup(threadId, &osId);
    if (!functor) return false;
    if (osId != 0 && osId == CurrentThreadOsId()) {
        callable.Invoke();
        return false;  // deliberate: tells the blocking path not to wait
    }
    ThreadCallable* copy = new C(std::move(callable));
    if (!functor->queue.Push(copy)) {
        delete copy;
        return false;
    }
    return true;
}

template <typename R, typename C>
R ThreadManager::Call(C callable, uint32_t threadId) {
    using Stored = std::conditional_t<std::is_void_v<R>, int, R>;
    Stored result{};
    auto state = std::make_shared<SyncState>();
    bool posted;
    {
        auto ticket = std::make_shared<SyncTicket>();
        ticket->state = state;
        using Method = void (ThreadManager::*)(SyncCallable<C>&, std::shared_ptr<SyncTicket>&, R*);
        using Caller = MemberFunctionCaller<ThreadManager, Method, SyncCallable<C>, std::shared_ptr<SyncTicket>, R*>;
        R* resultPointer = nullptr;
        if constexpr (!std::is_void_v<R>) resultPointer = &result;
        Caller caller(this, &ThreadManager::RunSync<C, R>, SyncCallable<C>{std::move(callable)}, std::move(ticket),
                      resultPointer);
        posted = Post(std::move(caller), threadId);
    }
    if (posted) state->Wait();
    if constexpr (!std::is_void_v<R>) return result;
}

}  // namespace Velmora::Utility
