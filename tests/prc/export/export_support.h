#pragma once
// Export through the exported interface, with the log collected by this program's own hook so
// that a test can read the statistics lines of the scenes it loads.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/capture_library.h"
#include "support/Polling.h"

namespace PrcExportTest {

using namespace KestrumCaptureTest;

// Everything the library logs, from the moment the hook is installed.
class CollectedLog {
public:
    static CollectedLog& Get() {
        static CollectedLog log;
        return log;
    }
    void Clear() {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        std::lock_guard<std::mutex> lock(mutex_);
        text_.clear();
    }
    // Waits up to timeoutMs for the text.
    bool Saw(const std::string& text, int timeoutMs = 3000) {
        return Velmora::Test::WaitFor([&] { return Text().find(text) != std::string::npos; }, timeoutMs);
    }
    std::string Text() {
        std::lock_guard<std::mutex> lock(mutex_);
        return text_;
    }

private:
    CollectedLog() { Library::Get().SetLoggingHook(this, &CollectedLog::Hook); }
    static void Hook(void* self, int32_t, Kestrum::KestrumSystemString message) {
        auto* log = static_cast<CollectedLog*>(self);
        std::lock_guard<std::mutex> lock(log->mutex_);
        for (const char16_t* p = message; p && *p; ++p) log->text_.push_back(*p < 128 ? static_cast<char>(*p) : '?');
        log->text_.push_back('\n');
    }
    std::mutex mutex_;
    std::string text_;
};

// Primitive counts of a load, as its statistics lines give them: of the distinct meshes, and
// of every model that draws one.
struct PrimitiveCounts {
    uint64_t points = 0, lines = 0, triangles = 0;
    bool operator==(const PrimitiveCounts&) const = default;
};
struct SceneCounts {
    PrimitiveCounts meshes, instanced;
};

inline std::ostream& operator<<(std::ostream& out, const PrimitiveCounts& c) {
    return out << c.points << "/" << c.lines << "/" << c.triangles;
}
// The counts of the first load in the text.
inline SceneCounts CountsIn(const std::string& text) {
    auto read = [&text](const char* head, PrimitiveCounts& counts) {
        const size_t at = text.find(head);
        unsigned long long points = 0, lines = 0, triangles = 0;
        if (at != std::string::npos &&
            std::sscanf(text.c_str() + at + std::strlen(head), "%*u (Points: %llu, Lines: %llu, Triangles: %llu)",
                        &points, &lines, &triangles) == 3)
            counts = {points, lines, triangles};
    };
    SceneCounts counts;
    read("Primitives: ", counts.meshes);
    read("Primitives (instanced): ", counts.instanced);
    return counts;
}

struct ExportAnswer {
    bool answered = false;
    int success = -1;
    std::vector<uint8_t> bytes;  // copied: the library frees its block after the callback
};
using PendingExport = BasicPending<ExportAnswer>;

inline void OnExportBytes(Kestrum::ExportSceneResult* result, int success) {
    ExportAnswer a;
    a.success = success;
    if (result->data && result->dataSize) {
        const auto* p = static_cast<const uint8_t*>(result->data);
        a.bytes.assign(p, p + result->dataSize);
    }
    PendingExport::Get().Deliver(std::move(a));
}

// Exports what r names as PRC; to memory when outputPath is empty.
inline ExportAnswer ExportPrc(const Request& r, uint32_t extraFlags = 0) {
    g_captureRequested = true;
    std::u16string path16;
    const std::u16string output16 = Utf16(r.outputPath);
    Kestrum::ExportParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.load = FlatLoad(r, path16);
    parameters.exportFlags = Kestrum::KESTRUM_EXPORT_PRC | extraFlags;
    parameters.outputPath = output16.c_str();
    PendingExport::Get().Reset();
    Library::Get().ExportScene(0, nullptr, parameters, OnExportBytes);
    return PendingExport::Get().Wait();
}

// A picture of the scene that r names, unloaded after, through the built-in camera and fixed
// lights, so that a scene and its export (which carries no lights) are lit alike.
// A dark background: some documents draw in white.
inline constexpr uint32_t kBackground = 0x203040;

inline Answer Picture160(const Request& r) {
    constexpr float kFieldOfView = 45.0f;
    constexpr uint32_t kScaleShorterSide = 2;
    constexpr uint32_t kCadLighting = 10;
    constexpr int32_t kWidth = 160, kHeight = 120;
    g_captureRequested = true;
    std::u16string path16;
    const std::u16string empty16;
    Kestrum::CaptureParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.load = FlatLoad(r, path16);
    parameters.view.flags = Kestrum::KESTRUM_VIEW_ACTIVATE;
    parameters.view.backgroundColor = kBackground;
    parameters.view.lightingScheme = kCadLighting;
    parameters.view.cameraName = empty16.c_str();
    parameters.view.fieldOfView = kFieldOfView;
    parameters.view.projectionScaling = kScaleShorterSide;
    parameters.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    parameters.outputPath = empty16.c_str();
    parameters.width = kWidth;
    parameters.height = kHeight;
    Pending::Get().Reset();
    Library::Get().CaptureScene(0, parameters, OnCapture);
    return Pending::Get().Wait();
}

inline Request FromMemory(const std::vector<uint8_t>& bytes) {
    Request r;
    r.loadFlags = Kestrum::KESTRUM_LOAD_FROM_MEMORY;
    r.data = bytes;
    return r;
}

class ExportTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(Library::Get().Loaded()) << KESTRUM_LIBRARY_PATH << ": " << dlerror();
        log.Clear();
    }
    void TearDown() override { UnloadAll(300); }
    CollectedLog& log = CollectedLog::Get();
};

}  // namespace PrcExportTest
