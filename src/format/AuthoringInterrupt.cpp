#include "format/AuthoringInterrupt.h"

#include <atomic>

#include "util/Logger.h"

namespace Velmora::FormatGlue {

namespace {
std::atomic<bool>& Flag() {
    static std::atomic<bool> flag{false};
    return flag;
}
}  // namespace

bool AuthoringInterrupt::Interrupted() { return Flag().load(std::memory_order_relaxed); }

void AuthoringInterrupt::Set() {
    Utility::Logger::Log(Utility::LogLevel::Warning, "AuthoringInterrupt: Interrupt flag SET");
    Flag().store(true, std::memory_order_relaxed);
}

void AuthoringInterrupt::Reset() {
    Utility::Logger::Log(Utility::LogLevel::Warning, "AuthoringInterrupt: Interrupt flag RESET");
    Flag().store(false, std::memory_order_relaxed);
}

}  // namespace Velmora::FormatGlue
