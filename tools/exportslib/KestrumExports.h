#pragma once
// The library's exported functions as a host reaches them: loaded with dlopen and used only
// through one pointer per export. The command-line host and the tests that drive the built
// library share it.

#include <string>

#include "Kestrum.h"

namespace KestrumExports {

struct Functions {
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

    void* handle = nullptr;  // the dlopen handle; null while nothing is loaded
};

enum class OpenResult {
    Opened,
    NotLoaded,       // the loader refused the file; the error is its message
    MissingExports,  // the file loaded but lacks exports; the error names them
};

// Loads `path` and resolves every export into `functions`. On anything but Opened the
// library is closed again, `functions` is left empty and `error` says why.
OpenResult Open(const std::string& path, Functions& functions, std::string& error);

}  // namespace KestrumExports
