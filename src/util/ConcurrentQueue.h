#pragma once
// Bounded FIFO shared between threads: a doubly linked list under a mutex,
// with an atomic copy of the element count so that a drain loop can look without the lock.

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <utility>

namespace Velmora::Utility {

template <typename T>
class ConcurrentQueue {
public:
    static constexpr uint32_t kDefaultCapacity = 8192;

    explicit ConcurrentQueue(uint32_t capacity = kDefaultCapacity) : capacity_(capacity) {}
    ConcurrentQueue(const ConcurrentQueue&) = delete;
    ConcurrentQueue& operator=(const ConcurrentQueue&) = delete;

    // Appends at the back. False, storing nothing, when the queue already holds `capacity`.
    bool Push(T value) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (count_ >= capacity_) return false;
        list_.push_back(std::move(value));
        ++count_;
        pending_.fetch_add(1, std::memory_order_release);
        return true;
    }

    // Takes the front into `out`. False when empty.
    bool TryPop(T& out) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (list_.empty()) return false;
        out = std::move(list_.front());
        list_.pop_front();
        --count_;
        pending_.fetch_sub(1, std::memory_order_relaxed);
        return true;
    }

    // Element count read without the lock (the atomic counter).
    uint32_t Pending() const { return pending_.load(std::memory_order_acquire); }
    bool Empty() const { return Pending() == 0; }

private:
    const uint32_t capacity_;
    std::atomic<uint32_t> pending_{0};
    std::list<T> list_;
    uint32_t count_ = 0;
    std::mutex mutex_;
};

}  // namespace Velmora::Utility
