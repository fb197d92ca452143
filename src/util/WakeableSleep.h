#pragma once
// A pause that another thread can cut short. Polling threads (the log writers, the thread run
// loop) keep their fixed period when idle, but a stop or new work need not wait it out.
//
// WakeSure() passes through the lock first, so a sleeper that checked `done` before the state
// changed is already waiting and gets the signal. It makes no system call when nobody sleeps.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace Velmora::Utility {

class WakeableSleep {
public:
    // Sleeps up to `ms`, less once `done()` holds at a check (before, and after each wake).
    template <typename Done>
    void SleepFor(int64_t ms, Done done) {
        if (ms <= 0) return;
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait_for(lock, std::chrono::milliseconds(ms), done);
    }

    void WakeSure() {
        { std::lock_guard<std::mutex> lock(mutex_); }
        wake_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable wake_;
};

}  // namespace Velmora::Utility
