#pragma once
// The built library as a host sees it: loaded with dlopen, used through its exported functions
// only, its log collected through the logging hook. One instance per test program; tests that
// drive captures and tests that drive live views both use it.

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "Kestrum.h"
#include "exportslib/KestrumExports.h"
#include "support/Polling.h"

namespace Velmora::Test {

class ExportedLibrary : public KestrumExports::Functions {
public:
    static ExportedLibrary& Get() {
        static ExportedLibrary library;
        return library;
    }
    // False when the library or one of its exports could not be found.
    bool Loaded() const { return handle != nullptr; }

    // The hook runs on the library's log thread; waits up to timeoutMs for the text.
    bool LogSaw(const std::string& text, int timeoutMs = 2000) {
        return Test::WaitFor(
            [&] {
                std::lock_guard<std::mutex> lock(logMutex_);
                return log_.find(text) != std::string::npos;
            },
            timeoutMs);
    }
    // Lets the hook deliver what is queued, then clears the collected text.
    void ClearLog() {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        std::lock_guard<std::mutex> lock(logMutex_);
        // Give the memory back too: a soak samples the process size after clearing.
        std::string().swap(log_);
    }

private:
    // Everything the library logs, verbose messages included, reaches the hook.
    static constexpr int32_t kCollectedLogLevel = 4;

    ExportedLibrary() {
        std::string error;
        if (KestrumExports::Open(KESTRUM_LIBRARY_PATH, *this, error) != KestrumExports::OpenResult::Opened) return;
        SetLoggingHook(this, &ExportedLibrary::Hook);
        SetLogLevel(kCollectedLogLevel);
    }
    // The collected text is ASCII; anything else becomes '?'.
    static void Hook(void* self, int32_t, Kestrum::KestrumSystemString message) {
        auto* library = static_cast<ExportedLibrary*>(self);
        std::lock_guard<std::mutex> lock(library->logMutex_);
        for (const char16_t* p = message; p && *p; ++p) library->log_.push_back(*p < 128 ? static_cast<char>(*p) : '?');
    }

    std::mutex logMutex_;
    std::string log_;
};

}  // namespace Velmora::Test
