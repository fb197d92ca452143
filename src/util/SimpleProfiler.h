#pragma once
// Named tree of timers for diagnostics only: its results never influence a scene.

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::Utility {

class SimpleProfiler {
public:
    explicit SimpleProfiler(std::string name) : name_(std::move(name)) {}

    void Start();
    void Stop();
    // The sub-timer of that name, created on first use (empty on allocation failure).
    std::shared_ptr<SimpleProfiler> SubTimer(const std::string& name);

    const std::string& Name() const { return name_; }
    double Milliseconds() const;
    // One line per timer: the name indented by depth, padded with blanks to column 70, and
    // the time in milliseconds.
    void Print(std::vector<std::string>& lines, int depth = 0) const;
    std::string PrintText() const;

private:
    using Clock = std::chrono::steady_clock;
    std::string name_;
    Clock::time_point start_{};
    Clock::duration elapsed_{};
    bool running_ = false;
    std::map<std::string, std::shared_ptr<SimpleProfiler>> subTimers_;
    std::vector<std::string> order_;
};

// A sub-timer of `parent` that runs from construction until Stop or the end of the scope;
// nothing at all without a parent. One that cannot be made is logged and left out.
class ScopedSubTimer {
public:
    ScopedSubTimer(const std::shared_ptr<SimpleProfiler>& parent, const char* name);
    ~ScopedSubTimer() { Stop(); }
    ScopedSubTimer(const ScopedSubTimer&) = delete;
    ScopedSubTimer& operator=(const ScopedSubTimer&) = delete;

    void Stop();
    // The running sub-timer, to nest further timers under; null when there is none.
    const std::shared_ptr<SimpleProfiler>& Timer() const { return timer_; }

private:
    std::shared_ptr<SimpleProfiler> timer_;
};

}  // namespace Velmora::Utility
