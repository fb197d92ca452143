#pragma once
// The built library as a host sees it: loaded with dlopen, used through its exported functions
// only, its log collected through the logging hook. One instance per test program; tests that
// drive captures and tests that drive live views both use it.

#include <dlfcn.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "Kestrum.h"

namespace Velmora::Test {

class ExportedLibrary {
public:
    static ExportedLibrary& Get() {
        static ExportedLibrary library;
        return library;
    }
    // False when the library or one of the exports below could not be found.
    bool Loaded() const { return handle_ != nullptr; }

    Kestrum::KestrumFn_LoadCaptureScene LoadCaptureScene = nullptr;
    Kestrum::KestrumFn_UnloadCaptureScene UnloadCaptureScene = nullptr;
    Kestrum::KestrumFn_UnloadAllCaptureScenes UnloadAllCaptureScenes = nullptr;
    Kestrum::KestrumFn_CaptureScene CaptureScene = nullptr;
    Kestrum::KestrumFn_ExportScene ExportScene = nullptr;
    Kestrum::KestrumFn_CreateRenderProxy CreateRenderProxy = nullptr;
    Kestrum::KestrumFn_DestroyRenderProxy DestroyRenderProxy = nullptr;
    Kestrum::KestrumFn_GetRenderProxyHwnd GetRenderProxyHwnd = nullptr;
    Kestrum::KestrumFn_LoadScene LoadScene = nullptr;
    Kestrum::KestrumFn_CloseScene CloseScene = nullptr;
    Kestrum::KestrumFn_IsSceneLoaded IsSceneLoaded = nullptr;
    Kestrum::KestrumFn_ActivateCamera ActivateCamera = nullptr;
    Kestrum::KestrumFn_GetAvailableCameras GetAvailableCameras = nullptr;
    Kestrum::KestrumFn_Screenshot Screenshot = nullptr;
    Kestrum::KestrumFn_LoadViewInfoFromString LoadViewInfoFromString = nullptr;
    Kestrum::KestrumFn_SetProperty_Bool SetProperty_Bool = nullptr;
    Kestrum::KestrumFn_SetProperty_Int32 SetProperty_Int32 = nullptr;
    Kestrum::KestrumFn_SetProperty_Int64 SetProperty_Int64 = nullptr;
    Kestrum::KestrumFn_GetProperty_Bool GetProperty_Bool = nullptr;
    Kestrum::KestrumFn_GetProperty_Int32 GetProperty_Int32 = nullptr;
    Kestrum::KestrumFn_GetProperty_String GetProperty_String = nullptr;
    Kestrum::KestrumFn_FreeSystemString FreeSystemString = nullptr;
    Kestrum::KestrumFn_ShutdownRenderer ShutdownRenderer = nullptr;
    Kestrum::KestrumFn_SetLogLevel SetLogLevel = nullptr;
    Kestrum::KestrumFn_SetLoggingHook SetLoggingHook = nullptr;
    Kestrum::KestrumFn_SetCompanyName SetCompanyName = nullptr;
    Kestrum::KestrumFn_SetApplicationName SetApplicationName = nullptr;

    // The hook runs on the library's log thread; waits up to timeoutMs for the text.
    bool LogSaw(const std::string& text, int timeoutMs = 2000) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        do {
            {
                std::lock_guard<std::mutex> lock(logMutex_);
                if (log_.find(text) != std::string::npos) return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        } while (std::chrono::steady_clock::now() < end);
        return false;
    }
    std::string LogText() {
        std::lock_guard<std::mutex> lock(logMutex_);
        return log_;
    }
    // Lets the hook deliver what is queued, then clears the collected text.
    void ClearLog() {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        std::lock_guard<std::mutex> lock(logMutex_);
        log_.clear();
    }

private:
    ExportedLibrary() {
        handle_ = dlopen(KESTRUM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        Resolve(LoadCaptureScene, "LoadCaptureScene");
        Resolve(UnloadCaptureScene, "UnloadCaptureScene");
        Resolve(UnloadAllCaptureScenes, "UnloadAllCaptureScenes");
        Resolve(CaptureScene, "CaptureScene");
        Resolve(ExportScene, "ExportScene");
        Resolve(CreateRenderProxy, "CreateRenderProxy");
        Resolve(DestroyRenderProxy, "DestroyRenderProxy");
        Resolve(GetRenderProxyHwnd, "GetRenderProxyHwnd");
        Resolve(LoadScene, "LoadScene");
        Resolve(CloseScene, "CloseScene");
        Resolve(IsSceneLoaded, "IsSceneLoaded");
        Resolve(ActivateCamera, "ActivateCamera");
        Resolve(GetAvailableCameras, "GetAvailableCameras");
        Resolve(Screenshot, "Screenshot");
        Resolve(LoadViewInfoFromString, "LoadViewInfoFromString");
        Resolve(SetProperty_Bool, "SetProperty_Bool");
        Resolve(SetProperty_Int32, "SetProperty_Int32");
        Resolve(SetProperty_Int64, "SetProperty_Int64");
        Resolve(GetProperty_Bool, "GetProperty_Bool");
        Resolve(GetProperty_Int32, "GetProperty_Int32");
        Resolve(GetProperty_String, "GetProperty_String");
        Resolve(FreeSystemString, "FreeSystemString");
        Resolve(ShutdownRenderer, "ShutdownRenderer");
        Resolve(SetLogLevel, "SetLogLevel");
        Resolve(SetLoggingHook, "SetLoggingHook");
        Resolve(SetCompanyName, "SetCompanyName");
        Resolve(SetApplicationName, "SetApplicationName");
        if (!handle_) return;
        SetLoggingHook(this, &ExportedLibrary::Hook);
        SetLogLevel(4);
    }
    template <typename F>
    void Resolve(F& target, const char* name) {
        if (!handle_) return;
        target = reinterpret_cast<F>(dlsym(handle_, name));
        if (!target) handle_ = nullptr;
    }
    // The collected text is ASCII; anything else becomes '?'.
    static void Hook(void* self, int32_t, Kestrum::KestrumSystemString message) {
        auto* library = static_cast<ExportedLibrary*>(self);
        std::lock_guard<std::mutex> lock(library->logMutex_);
        for (const char16_t* p = message; p && *p; ++p) library->log_.push_back(*p < 128 ? static_cast<char>(*p) : '?');
    }

    void* handle_ = nullptr;
    std::mutex logMutex_;
    std::string log_;
};

}  // namespace Velmora::Test
