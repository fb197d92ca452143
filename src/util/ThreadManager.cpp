#include "util/ThreadManager.h"

namespace Velmora::Utility {

namespace {
std::atomic<uint32_t> g_threadCounter{0};
}

ThreadManager& ThreadManager::Instance() {
    static ThreadManager manager;
    return manager;
}

ThreadManager::~ThreadManager() {
    // Process exit: threads still registered are left alone (their owners stop them).
}

uint32_t ThreadManager::CreateThread(std::shared_ptr<ThreadFunctor> functor, const std::string& name) {
    const uint32_t id = g_threadCounter.fetch_add(1) + 1;
    if (!functor) return 0;
    SimpleThread* thread = nullptr;
    try {
        thread = new SimpleThread(std::move(functor), name);
        {
            // Registered before it starts, so that its own first posts find it.
            std::unique_lock<std::shared_mutex> lock(mapLock_);
            threads_[id] = thread;
        }
        if (!thread->Start()) {
            {
                std::unique_lock<std::shared_mutex> lock(mapLock_);
                threads_.erase(id);
            }
            delete thread;
            return 0;
        }
    } catch (...) {
        {
            std::unique_lock<std::shared_mutex> lock(mapLock_);
            auto it = threads_.find(id);
            if (it != threads_.end() && it->second == thread) threads_.erase(it);
        }
        delete thread;
        return 0;
    }
    return id;
}

bool ThreadManager::DestroyThread(uint32_t threadId) {
    SimpleThread* thread = nullptr;
    {
        std::unique_lock<std::shared_mutex> lock(mapLock_);
        auto it = threads_.find(threadId);
        if (it == threads_.end()) return false;
        thread = it->second;
        threads_.erase(it);
    }
    if (thread != nullptr) {
        thread->Stop();
        delete thread;
    }
    return true;
}

SimpleThread* ThreadManager::Find(uint32_t threadId) const {
    std::shared_lock<std::shared_mutex> lock(mapLock_);
    auto it = threads_.find(threadId);
    return it == threads_.end() ? nullptr : it->second;
}

std::shared_ptr<ThreadFunctor> ThreadManager::Lookup(uint32_t threadId, uint32_t* osThreadId) const {
    std::shared_lock<std::shared_mutex> lock(mapLock_);
    auto it = threads_.find(threadId);
    if (it == threads_.end() || it->second == nullptr) return nullptr;
    if (osThreadId != nullptr) *osThreadId = it->second->ThreadId();
    return it->second->FunctorOwner();
}

uint32_t ThreadManager::ProcessQueue(uint32_t threadId) {
    std::shared_ptr<ThreadFunctor> functor = Lookup(threadId, nullptr);
    if (!functor) return 0;
    return functor->ProcessQueue();
}

bool ThreadManager::IsCurrentThread(uint32_t threadId) const {
    uint32_t osId = 0;
    if (!Lookup(threadId, &osId)) return false;
    return osId != 0 && osId == CurrentThreadOsId();
}

}  // namespace Velmora::Utility
