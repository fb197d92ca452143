#include "util/SimpleProfiler.h"

#include <cstdio>
#include <new>

#include "util/Logger.h"

namespace Velmora::Utility {

void SimpleProfiler::Start() {
    start_ = Clock::now();
    running_ = true;
}

void SimpleProfiler::Stop() {
    if (!running_) return;
    elapsed_ += Clock::now() - start_;
    running_ = false;
}

double SimpleProfiler::Milliseconds() const {
    Clock::duration total = elapsed_;
    if (running_) total += Clock::now() - start_;
    return std::chrono::duration<double, std::milli>(total).count();
}

std::shared_ptr<SimpleProfiler> SimpleProfiler::SubTimer(const std::string& name) {
    try {
        auto& slot = subTimers_[name];
        if (!slot) {
            slot = std::make_shared<SimpleProfiler>(name);
            order_.push_back(name);
        }
        return slot;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void SimpleProfiler::Print(std::vector<std::string>& lines, int depth) const {
    std::string line(size_t(depth) * 2, ' ');
    line += name_;
    if (line.size() < 70) line.resize(70, ' ');
    char time[48];
    std::snprintf(time, sizeof time, " %10.3f ms", Milliseconds());
    lines.push_back(line + time);
    for (const std::string& name : order_) subTimers_.at(name)->Print(lines, depth + 1);
}

std::string SimpleProfiler::PrintText() const {
    std::vector<std::string> lines;
    Print(lines);
    std::string text;
    for (const std::string& line : lines) text += "\n" + line;
    return text;
}

ScopedSubTimer::ScopedSubTimer(const std::shared_ptr<SimpleProfiler>& parent, const char* name) {
    if (!parent) return;
    timer_ = parent->SubTimer(name);
    if (!timer_) {
        Logger::Log(LogLevel::Error, "Cannot create subtimer '%s'", name);
        return;
    }
    timer_->Start();
}

void ScopedSubTimer::Stop() {
    if (timer_) timer_->Stop();
}

}  // namespace Velmora::Utility
