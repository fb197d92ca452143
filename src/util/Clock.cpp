#include "util/Clock.h"

#include <cerrno>
#include <chrono>
#include <ctime>
#include <limits>

namespace Velmora::Utility {

uint64_t SteadyMs() {
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void Sleep(int64_t ms) {
    if (ms <= 0) return;
    using namespace std::chrono;
    using Rep = steady_clock::duration::rep;
    const Rep now = duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
    constexpr Rep kMax = std::numeric_limits<Rep>::max();
    Rep deadline;
    if (ms > (kMax - now) / 1000000) {
        deadline = kMax;
    } else {
        deadline = now + static_cast<Rep>(ms) * 1000000;
    }
    for (;;) {
        const Rep current = duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
        if (current >= deadline) return;
        const Rep left = deadline - current;
        timespec ts{};
        ts.tv_sec = static_cast<time_t>(left / 1000000000);
        ts.tv_nsec = static_cast<long>(left % 1000000000);
        nanosleep(&ts, nullptr);  // EINTR: loop and wait for the rest
    }
}

}  // namespace Velmora::Utility
