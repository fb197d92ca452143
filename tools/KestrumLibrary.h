#pragma once
// The command-line host's view of the library: loaded with dlopen and used only through its
// exported functions, exactly as a host application would.

#include "Kestrum.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KestrumTool {

struct Library {
    Kestrum::KestrumFn_StartLoggingToDefault StartLoggingToDefault = nullptr;
    Kestrum::KestrumFn_StopLoggingToDefault StopLoggingToDefault = nullptr;
    Kestrum::KestrumFn_IsLoggingToDefault IsLoggingToDefault = nullptr;
    Kestrum::KestrumFn_SetLogLevel SetLogLevel = nullptr;
    Kestrum::KestrumFn_GetLogLevel GetLogLevel = nullptr;
    Kestrum::KestrumFn_Log Log = nullptr;
    Kestrum::KestrumFn_SetLoggingHook SetLoggingHook = nullptr;
    Kestrum::KestrumFn_GetLoggingHook GetLoggingHook = nullptr;
    Kestrum::KestrumFn_SetCompanyName SetCompanyName = nullptr;
    Kestrum::KestrumFn_GetCompanyName GetCompanyName = nullptr;
    Kestrum::KestrumFn_SetApplicationName SetApplicationName = nullptr;
    Kestrum::KestrumFn_GetApplicationName GetApplicationName = nullptr;
    Kestrum::KestrumFn_SetupRenderer SetupRenderer = nullptr;
    Kestrum::KestrumFn_ShutdownRenderer ShutdownRenderer = nullptr;
    Kestrum::KestrumFn_GetLibraryVersion GetLibraryVersion = nullptr;
    Kestrum::KestrumFn_LoadCaptureScene LoadCaptureScene = nullptr;
    Kestrum::KestrumFn_UnloadCaptureScene UnloadCaptureScene = nullptr;
    Kestrum::KestrumFn_UnloadAllCaptureScenes UnloadAllCaptureScenes = nullptr;
    Kestrum::KestrumFn_CaptureScene CaptureScene = nullptr;
    Kestrum::KestrumFn_CreateRenderProxy CreateRenderProxy = nullptr;
    Kestrum::KestrumFn_DestroyRenderProxy DestroyRenderProxy = nullptr;
    Kestrum::KestrumFn_GetRenderProxyHwnd GetRenderProxyHwnd = nullptr;
    Kestrum::KestrumFn_LoadScene LoadScene = nullptr;
    Kestrum::KestrumFn_CloseScene CloseScene = nullptr;
    Kestrum::KestrumFn_IsSceneLoaded IsSceneLoaded = nullptr;
    Kestrum::KestrumFn_InterruptCurrentImport InterruptCurrentImport = nullptr;
    Kestrum::KestrumFn_ActivateCamera ActivateCamera = nullptr;
    Kestrum::KestrumFn_GetAvailableCameras GetAvailableCameras = nullptr;
    Kestrum::KestrumFn_Screenshot Screenshot = nullptr;
    Kestrum::KestrumFn_LoadViewInfoFromFile LoadViewInfoFromFile = nullptr;
    Kestrum::KestrumFn_LoadViewInfoFromString LoadViewInfoFromString = nullptr;
    Kestrum::KestrumFn_ExportScene ExportScene = nullptr;
    Kestrum::KestrumFn_SetProperty_Bool SetProperty_Bool = nullptr;
    Kestrum::KestrumFn_SetProperty_Int32 SetProperty_Int32 = nullptr;
    Kestrum::KestrumFn_SetProperty_Int64 SetProperty_Int64 = nullptr;
    Kestrum::KestrumFn_SetProperty_Double SetProperty_Double = nullptr;
    Kestrum::KestrumFn_SetProperty_String SetProperty_String = nullptr;
    Kestrum::KestrumFn_GetProperty_Bool GetProperty_Bool = nullptr;
    Kestrum::KestrumFn_GetProperty_Int32 GetProperty_Int32 = nullptr;
    Kestrum::KestrumFn_GetProperty_Int64 GetProperty_Int64 = nullptr;
    Kestrum::KestrumFn_GetProperty_Double GetProperty_Double = nullptr;
    Kestrum::KestrumFn_GetProperty_String GetProperty_String = nullptr;
    Kestrum::KestrumFn_FreeSystemString FreeSystemString = nullptr;

    void* handle = nullptr;
    std::string path;  // the file that was loaded
};

// The places searched for the library when no path is given, in order: the build tree beside
// this program (../src/), the install location (../lib/), then the loader's own search.
std::vector<std::string> CandidateLibraryPaths();

// Loads the library from `explicitPath` (or the candidates when empty) and resolves every
// function. On failure `error` says why and false comes back.
bool LoadLibrary(const std::string& explicitPath, Library& library, std::string& error);

// An unmapped top-level window on the tool's own X connection: the parent a render proxy
// needs for its child window. Never shown; it only anchors the library's view.
struct HostWindow {
    void* display = nullptr;  // the X connection (Display*)
    uintptr_t window = 0;
};

// False when no X display is reachable ($DISPLAY unset or the server does not answer).
bool OpenHostWindow(int width, int height, HostWindow& host);
// Destroys the window and closes the connection; the render proxy must be gone first, since
// its child window goes with the parent.
void CloseHostWindow(HostWindow& host);

// Text conversions of the host side.
std::u16string ToUtf16(const std::string& utf8);
std::string ToUtf8(const char16_t* text, size_t units);

}  // namespace KestrumTool
