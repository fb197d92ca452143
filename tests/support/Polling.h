#pragma once
// Waiting for another thread or process: polls until the condition holds or time runs out.

#include <chrono>
#include <functional>
#include <thread>

namespace Velmora::Test {

inline bool WaitFor(const std::function<bool()>& condition, int timeoutMs = 5000, int pollMs = 5) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(pollMs));
    }
    return condition();
}

}  // namespace Velmora::Test
