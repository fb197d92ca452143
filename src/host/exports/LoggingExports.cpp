// Logging exports: a thin layer over LogManager and the logger's level.

#include <string>

#include "Kestrum.h"
#include "host/exports/ExportGuard.h"
#include "util/LogManager.h"
#include "util/Logger.h"
#include "util/Strings.h"

namespace Kestrum {

using Velmora::Utility::Logger;
using Velmora::Utility::LogManager;

uint8_t StartLoggingToDefault(uint32_t, const char16_t* path, int append, uint32_t level) {
    if (level > 5) return 0;
    return Exports::Guarded<uint8_t>(0, [&]() -> uint8_t {
        std::u16string widePath = path != nullptr ? std::u16string(path) : std::u16string();
        return LogManager::Instance().StartDefault(widePath, append != 0, static_cast<int32_t>(level)) ? 1 : 0;
    });
}

void StopLoggingToDefault(void) {
    Exports::Guarded([] { LogManager::Instance().StopDefault(); });
}

uint8_t IsLoggingToDefault(void) { return LogManager::Instance().IsLoggingToDefault() ? 1 : 0; }

void SetLogLevel(int32_t level) { Logger::Instance().SetMaxLevel(level); }

int32_t GetLogLevel(void) { return Logger::Instance().MaxLevel(); }

void Log(uint32_t, int32_t level, const char16_t* message) {
    const auto hostLevel = static_cast<Velmora::Utility::LogLevel>(level);
    if (!Logger::Passes(hostLevel)) return;
    Exports::Guarded([&] {
        // The host's text is a format with no arguments. Only "%%" has a meaning then; any
        // other conversion would read arguments that are not there, so it stays as written.
        std::string text = Velmora::Utility::WideToUtf8(message);
        std::string formatted;
        formatted.reserve(text.size());
        for (size_t i = 0; i < text.size(); ++i) {
            formatted.push_back(text[i]);
            if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') ++i;
        }
        Logger::WriteText(hostLevel, formatted);
    });
}

LoggingHook SetLoggingHook(void* userData, LoggingHook hook) {
    return Exports::Guarded<LoggingHook>(nullptr,
                                         [&] { return LogManager::Instance().SetLoggingHook(userData, hook); });
}

LoggingHook GetLoggingHook(void** userData) { return LogManager::Instance().GetLoggingHook(userData); }

}  // namespace Kestrum
