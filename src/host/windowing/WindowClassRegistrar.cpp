#include "host/windowing/WindowClassRegistrar.h"

#include <new>

#include "util/Logger.h"
#include "util/Strings.h"

namespace Velmora::Windowing {

using Utility::Logger;
using Utility::LogLevel;

WindowClassRegistrar& WindowClassRegistrar::Instance() {
    static WindowClassRegistrar registrar;
    return registrar;
}

bool WindowClassRegistrar::Register(const WindowClassRecord& record) {
    const std::string name = Utility::WideToUtf8(record.name);
    if (name.empty() || !record.procedure) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    if (classes_.count(record.name) != 0) return true;
    try {
        classes_.emplace(record.name, record);
    } catch (const std::bad_alloc&) {
        // The class itself is usable; only our record of it is missing.
        Logger::LogF(LogLevel::Error,
                     "WindowClassRegistrar::Register - failed to insert registered class '{:s}': '{:s}'", name,
                     "OUT OF MEMORY");
    }
    return true;
}

bool WindowClassRegistrar::IsRegistered(const std::u16string& name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return classes_.count(name) != 0;
}

void WindowClassRegistrar::UnregisterAll() {
    std::lock_guard<std::mutex> lock(mutex_);
    classes_.clear();
}

}  // namespace Velmora::Windowing
