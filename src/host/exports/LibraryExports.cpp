// Naming, setup, version and system strings.

#include "Kestrum.h"
#include "host/ApplicationNames.h"
#include "host/CaptureProxy.h"
#include "host/RenderThread.h"
#include "host/exports/ExportGuard.h"
#include "host/windowing/WindowClassRegistrar.h"
#include "util/Logger.h"
#include "util/Strings.h"

namespace Kestrum {

using Velmora::ApplicationNames;
using Velmora::Utility::Logger;
using Velmora::Utility::LogLevel;

namespace {

KestrumSystemString ToSystemString(const std::string& text) {
    return Exports::Guarded<KestrumSystemString>(nullptr, [&] { return Velmora::Utility::MakeBstrFromUtf8(text); });
}

// major, minor, build of each component.
constexpr uint32_t kVersions[5][3] = {{0, 18, 364}, {1, 6, 237}, {0, 10, 417}, {0, 7, 57}, {13, 2, 0}};

}  // namespace

void SetCompanyName(uint32_t, const char16_t* name) {
    Exports::Guarded([&] { ApplicationNames::SetCompanyName(Velmora::Utility::WideToUtf8(name)); });
}

KestrumSystemString GetCompanyName(void) {
    return ToSystemString(Exports::Guarded<std::string>({}, [] { return ApplicationNames::CompanyName(); }));
}

void SetApplicationName(uint32_t, const char16_t* name) {
    Exports::Guarded([&] { ApplicationNames::SetApplicationName(Velmora::Utility::WideToUtf8(name)); });
}

KestrumSystemString GetApplicationName(void) {
    return ToSystemString(Exports::Guarded<std::string>({}, [] { return ApplicationNames::ApplicationName(); }));
}

void SetupRenderer(int32_t glMajor, int32_t glMinor, uint32_t antiAliasing, uint32_t options) {
    // Read when the render thread starts; deliberately not locked.
    Velmora::RenderThreadSetup& setup = Velmora::RenderThread::Instance().Setup();
    setup.glMajor = glMajor;
    setup.glMinor = glMinor;
    setup.colorSamples = antiAliasing & 0xFFFFu;
    setup.coverageSamples = antiAliasing >> 16;
    setup.searchBestAntiAliasing = (options & 4u) != 0;
    setup.startupSwitch = (options & 1u) != 0;
    setup.verticalSync = (options & 2u) != 0;
}

void ShutdownRenderer(void) {
    Exports::Guarded([] {
        Velmora::CaptureProxy::Instance().RequestUnloadAllScenes(nullptr);
        // The unload is queued: while the capture proxy or a render proxy is still a
        // listener the thread lives on, and a later call stops it.
        Velmora::RenderThread& renderThread = Velmora::RenderThread::Instance();
        if (renderThread.ListenerCount() > 0) return;
        renderThread.Stop();
        // With the thread gone no window is left; the next start declares its classes anew.
        Velmora::Windowing::WindowClassRegistrar::Instance().UnregisterAll();
    });
}

void GetLibraryVersion(int32_t libraryId, uint32_t* major, uint32_t* minor, uint32_t* build) {
    if (major == nullptr || minor == nullptr || build == nullptr) {
        Logger::Log(LogLevel::Error, "GetLibraryVersion - invalid input data!");
        return;
    }
    if (libraryId < 0 || libraryId > 4) {
        Logger::Log(LogLevel::Error, "GetLibraryVersion - invalid library ID!");
        return;
    }
    *major = kVersions[libraryId][0];
    *minor = kVersions[libraryId][1];
    *build = kVersions[libraryId][2];
}

void FreeSystemString(KestrumSystemString text) { Velmora::Utility::FreeSystemString(text); }

}  // namespace Kestrum
