#include "exportslib/KestrumExports.h"

#include <dlfcn.h>

namespace KestrumExports {

namespace {

// A missing export is added to `missing`, which then reads "missing exports: A B ...".
template <typename F>
bool ResolveOne(void* handle, const char* name, F& target, std::string& missing) {
    void* symbol = dlsym(handle, name);
    if (!symbol) {
        missing += missing.empty() ? "missing exports:" : "";
        missing += ' ';
        missing += name;
        return false;
    }
    target = reinterpret_cast<F>(symbol);
    return true;
}

bool ResolveAll(Functions& functions, std::string& missing) {
    bool ok = true;
    ok &= ResolveOne(functions.handle, "StartLoggingToDefault", functions.StartLoggingToDefault, missing);
    ok &= ResolveOne(functions.handle, "StopLoggingToDefault", functions.StopLoggingToDefault, missing);
    ok &= ResolveOne(functions.handle, "IsLoggingToDefault", functions.IsLoggingToDefault, missing);
    ok &= ResolveOne(functions.handle, "SetLogLevel", functions.SetLogLevel, missing);
    ok &= ResolveOne(functions.handle, "GetLogLevel", functions.GetLogLevel, missing);
    ok &= ResolveOne(functions.handle, "Log", functions.Log, missing);
    ok &= ResolveOne(functions.handle, "SetLoggingHook", functions.SetLoggingHook, missing);
    ok &= ResolveOne(functions.handle, "GetLoggingHook", functions.GetLoggingHook, missing);
    ok &= ResolveOne(functions.handle, "SetCompanyName", functions.SetCompanyName, missing);
    ok &= ResolveOne(functions.handle, "GetCompanyName", functions.GetCompanyName, missing);
    ok &= ResolveOne(functions.handle, "SetApplicationName", functions.SetApplicationName, missing);
    ok &= ResolveOne(functions.handle, "GetApplicationName", functions.GetApplicationName, missing);
    ok &= ResolveOne(functions.handle, "SetupRenderer", functions.SetupRenderer, missing);
    ok &= ResolveOne(functions.handle, "ShutdownRenderer", functions.ShutdownRenderer, missing);
    ok &= ResolveOne(functions.handle, "GetLibraryVersion", functions.GetLibraryVersion, missing);
    ok &= ResolveOne(functions.handle, "LoadCaptureScene", functions.LoadCaptureScene, missing);
    ok &= ResolveOne(functions.handle, "UnloadCaptureScene", functions.UnloadCaptureScene, missing);
    ok &= ResolveOne(functions.handle, "UnloadAllCaptureScenes", functions.UnloadAllCaptureScenes, missing);
    ok &= ResolveOne(functions.handle, "CaptureScene", functions.CaptureScene, missing);
    ok &= ResolveOne(functions.handle, "CreateRenderProxy", functions.CreateRenderProxy, missing);
    ok &= ResolveOne(functions.handle, "DestroyRenderProxy", functions.DestroyRenderProxy, missing);
    ok &= ResolveOne(functions.handle, "GetRenderProxyHwnd", functions.GetRenderProxyHwnd, missing);
    ok &= ResolveOne(functions.handle, "LoadScene", functions.LoadScene, missing);
    ok &= ResolveOne(functions.handle, "CloseScene", functions.CloseScene, missing);
    ok &= ResolveOne(functions.handle, "IsSceneLoaded", functions.IsSceneLoaded, missing);
    ok &= ResolveOne(functions.handle, "InterruptCurrentImport", functions.InterruptCurrentImport, missing);
    ok &= ResolveOne(functions.handle, "ActivateCamera", functions.ActivateCamera, missing);
    ok &= ResolveOne(functions.handle, "GetAvailableCameras", functions.GetAvailableCameras, missing);
    ok &= ResolveOne(functions.handle, "Screenshot", functions.Screenshot, missing);
    ok &= ResolveOne(functions.handle, "LoadViewInfoFromFile", functions.LoadViewInfoFromFile, missing);
    ok &= ResolveOne(functions.handle, "LoadViewInfoFromString", functions.LoadViewInfoFromString, missing);
    ok &= ResolveOne(functions.handle, "ExportScene", functions.ExportScene, missing);
    ok &= ResolveOne(functions.handle, "SetProperty_Bool", functions.SetProperty_Bool, missing);
    ok &= ResolveOne(functions.handle, "SetProperty_Int32", functions.SetProperty_Int32, missing);
    ok &= ResolveOne(functions.handle, "SetProperty_Int64", functions.SetProperty_Int64, missing);
    ok &= ResolveOne(functions.handle, "SetProperty_Double", functions.SetProperty_Double, missing);
    ok &= ResolveOne(functions.handle, "SetProperty_String", functions.SetProperty_String, missing);
    ok &= ResolveOne(functions.handle, "GetProperty_Bool", functions.GetProperty_Bool, missing);
    ok &= ResolveOne(functions.handle, "GetProperty_Int32", functions.GetProperty_Int32, missing);
    ok &= ResolveOne(functions.handle, "GetProperty_Int64", functions.GetProperty_Int64, missing);
    ok &= ResolveOne(functions.handle, "GetProperty_Double", functions.GetProperty_Double, missing);
    ok &= ResolveOne(functions.handle, "GetProperty_String", functions.GetProperty_String, missing);
    ok &= ResolveOne(functions.handle, "FreeSystemString", functions.FreeSystemString, missing);
    return ok;
}

}  // namespace

OpenResult Open(const std::string& path, Functions& functions, std::string& error) {
    functions = Functions{};
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* why = dlerror();
        error = why ? why : "cannot load";
        return OpenResult::NotLoaded;
    }
    functions.handle = handle;
    std::string missing;
    if (!ResolveAll(functions, missing)) {
        error = missing;
        dlclose(handle);
        functions = Functions{};
        return OpenResult::MissingExports;
    }
    return OpenResult::Opened;
}

}  // namespace KestrumExports
