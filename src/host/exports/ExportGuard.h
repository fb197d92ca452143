#pragma once
// Nothing may leave an export as an exception: the host is C. The only one that can arise
// on these paths is heap exhaustion (copying text and buffers); it is logged and the export
// answers with its neutral value.

#include <new>
#include <utility>

#include "util/Logger.h"

namespace Kestrum::Exports {

template <typename R, typename F>
R Guarded(R fallback, F&& body) noexcept {
    try {
        return std::forward<F>(body)();
    } catch (const std::bad_alloc&) {
        Velmora::Utility::Logger::Log(Velmora::Utility::LogLevel::Error, "OUT OF MEMORY");
    } catch (...) {}
    return fallback;
}

template <typename F>
void Guarded(F&& body) noexcept {
    try {
        std::forward<F>(body)();
    } catch (const std::bad_alloc&) {
        Velmora::Utility::Logger::Log(Velmora::Utility::LogLevel::Error, "OUT OF MEMORY");
    } catch (...) {}
}

}  // namespace Kestrum::Exports
