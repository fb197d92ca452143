#pragma once
// Capture tests drive the library the way a host does: dlopen of the built shared library,
// the exported functions only, answers through the callbacks and the log hook. Each request
// here waits for its callback, so a test reads top-down like a synchronous script.
//
// Pixels of a memory capture are BGRA, top row first.

#include <gtest/gtest.h>
#include <png.h>

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Kestrum.h"
#include "support/ExportedLibrary.h"

namespace KestrumCaptureTest {

inline std::string TestFile(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/u3d/" + name; }
inline std::string SourceFile(const std::string& relative) {
    // The source tree's root comes from the build: __FILE__ may be relative under ccache.
    return std::string(KESTRUM_SOURCE_DIR) + "/" + relative;
}

inline std::u16string Utf16(const std::string& text) {
    // Paths in these tests are ASCII.
    return std::u16string(text.begin(), text.end());
}

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

using Library = Velmora::Test::ExportedLibrary;

struct Answer {
    bool answered = false;
    int success = -1;
    uint32_t handle = 0;
    uint32_t userTag = 0;
    uint32_t validFields = 0;
    std::string scenePath;
    std::string outputPath;
    std::vector<uint8_t> pixels;  // copied: the library frees its block after the callback
    uint32_t pixelBytes = 0;
    int32_t width = 0;
    int32_t height = 0;
    bool exportData = false;
};

// One answer of type T (with an `answered` flag) handed from a callback to the waiting test.
template <typename T>
class BasicPending {
public:
    static BasicPending& Get() {
        static BasicPending pending;
        return pending;
    }
    void Reset() {
        std::lock_guard<std::mutex> lock(mutex_);
        answer_ = T{};
    }
    void Deliver(T answer) {
        std::lock_guard<std::mutex> lock(mutex_);
        answer.answered = true;
        answer_ = std::move(answer);
        done_.notify_all();
    }
    // A scene import of head.u3d under the sanitizers takes seconds; a missing answer shows
    // up as answered == false rather than as a hang.
    T Wait(int timeoutMs = 120000) {
        std::unique_lock<std::mutex> lock(mutex_);
        done_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return answer_.answered; });
        return answer_;
    }

private:
    std::mutex mutex_;
    std::condition_variable done_;
    T answer_;
};
using Pending = BasicPending<Answer>;

inline void OnLoad(Kestrum::LoadSceneResult* result, int success) {
    Answer a;
    a.success = success;
    a.handle = result->sceneHandle;
    a.userTag = result->userTag;
    a.scenePath.assign(result->path ? result->path : "", result->pathLength);
    Pending::Get().Deliver(std::move(a));
}

inline void OnCapture(Kestrum::CaptureResult* result, int success) {
    Answer a;
    a.success = success;
    a.handle = result->sceneHandle;
    a.userTag = result->userTag;
    a.validFields = result->validFields;
    if (result->scenePath) a.scenePath.assign(result->scenePath, result->scenePathLength);
    if (result->outputPath) a.outputPath.assign(result->outputPath, result->outputPathLength);
    if (result->pixels) {
        const auto* p = static_cast<const uint8_t*>(result->pixels);
        a.pixels.assign(p, p + result->pixelBytes);
    }
    a.pixelBytes = result->pixelBytes;
    a.width = result->width;
    a.height = result->height;
    Pending::Get().Deliver(std::move(a));
}

inline void OnExport(Kestrum::ExportSceneResult* result, int success) {
    Answer a;
    a.success = success;
    a.handle = result->sceneHandle;
    a.userTag = result->userTag;
    a.exportData = result->data != nullptr;
    Pending::Get().Deliver(std::move(a));
}

inline void OnHandle(uint32_t handle) {
    Answer a;
    a.success = 1;
    a.handle = handle;
    Pending::Get().Deliver(std::move(a));
}

inline void OnDone() {
    Answer a;
    a.success = 1;
    Pending::Get().Deliver(std::move(a));
}

struct Request {
    uint32_t loadFlags = Kestrum::KESTRUM_LOAD_FROM_FILE;
    std::string path;
    uint32_t handle = 0;
    std::vector<uint8_t> data;
    uint32_t userTag = 0;
    Kestrum::ProgressCallback progress = nullptr;

    uint32_t captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY;
    std::string outputPath;
    int32_t width = 160;
    int32_t height = 120;
    uint32_t background = 0xFFFFFF;
    uint32_t lighting = 1;
    uint32_t viewFlags = Kestrum::KESTRUM_VIEW_ACTIVATE;
    std::string camera;

    static Request File(const std::string& path) {
        Request r;
        r.path = path;
        return r;
    }
    static Request ByHandle(uint32_t handle) {
        Request r;
        r.loadFlags = Kestrum::KESTRUM_LOAD_BY_HANDLE;
        r.handle = handle;
        return r;
    }
};

// The flat load record of a request; its text lives in `path16`.
inline Kestrum::LoadSceneParameters FlatLoad(const Request& r, std::u16string& path16) {
    path16 = Utf16(r.path);
    Kestrum::LoadSceneParameters load;
    std::memset(&load, 0, sizeof load);
    load.flags = r.loadFlags;
    load.path = path16.c_str();
    load.sceneHandle = r.handle;
    load.data = r.data.empty() ? nullptr : r.data.data();
    load.dataSize = static_cast<uint32_t>(r.data.size());
    load.userTag = r.userTag;
    load.progressCallback = r.progress;
    return load;
}

// Whether any capture-scene request was posted: only then can an unload be answered at exit.
inline std::atomic<bool> g_captureRequested{false};

inline Answer Load(const Request& r) {
    g_captureRequested = true;
    std::u16string path16;
    Pending::Get().Reset();
    Library::Get().LoadCaptureScene(0, FlatLoad(r, path16), OnLoad);
    return Pending::Get().Wait();
}

// Posts the capture that r describes; the strings it points at live until the call returns.
inline void StartCapture(const Request& r, Kestrum::CaptureCallback callback) {
    g_captureRequested = true;
    std::u16string path16;
    const std::u16string output16 = Utf16(r.outputPath), camera16 = Utf16(r.camera);
    Kestrum::CaptureParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.load = FlatLoad(r, path16);
    parameters.view.flags = r.viewFlags;
    parameters.view.backgroundColor = r.background;
    parameters.view.lightingScheme = r.lighting;
    parameters.view.cameraName = camera16.c_str();
    parameters.captureFlags = r.captureFlags;
    parameters.outputPath = output16.c_str();
    parameters.width = r.width;
    parameters.height = r.height;
    Library::Get().CaptureScene(0, parameters, callback);
}

inline Answer Capture(const Request& r) {
    Pending::Get().Reset();
    StartCapture(r, OnCapture);
    return Pending::Get().Wait();
}

inline Answer Export(const Request& r, uint32_t exportFlags, Kestrum::RenderProxy3D* proxy = nullptr) {
    g_captureRequested = true;
    std::u16string path16;
    const std::u16string output16 = Utf16(r.outputPath);
    Kestrum::ExportParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.load = FlatLoad(r, path16);
    parameters.exportFlags = exportFlags;
    parameters.outputPath = output16.c_str();
    Pending::Get().Reset();
    Library::Get().ExportScene(0, proxy, parameters, OnExport);
    return Pending::Get().Wait();
}

// A capture calls back before it unloads (with the unload flag) and lets go of the render
// thread; a request that must see the outcome waits for that step to end.
inline void Settle() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }

// Every unload is answered; the wait only bounds a test that would otherwise hang.
inline bool Unload(uint32_t handle, int timeoutMs = 1000) {
    Pending::Get().Reset();
    Library::Get().UnloadCaptureScene(handle, OnHandle);
    return Pending::Get().Wait(timeoutMs).answered;
}

inline bool UnloadAll(int timeoutMs = 1000) {
    Pending::Get().Reset();
    Library::Get().UnloadAllCaptureScenes(OnDone);
    return Pending::Get().Wait(timeoutMs).answered;
}

// The render thread must be gone before the process exits: the library's statics go then.
class ShutdownEnvironment : public ::testing::Environment {
public:
    void TearDown() override {
        if (!Library::Get().Loaded()) return;
        // Before any render thread exists an unload stays unanswered; waiting for it would
        // only add its timeout to every run of a program that never captured.
        if (g_captureRequested) UnloadAll();
        Library::Get().ShutdownRenderer();
        Library::Get().ShutdownRenderer();
    }
};
inline ::testing::Environment* const kShutdownEnvironment =
    ::testing::AddGlobalTestEnvironment(new ShutdownEnvironment);

// Base of the capture tests: a loaded library, a clean log and no scene left behind.
class CaptureTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(Library::Get().Loaded()) << KESTRUM_LIBRARY_PATH << ": " << dlerror();
        Library::Get().ClearLog();
    }
    void TearDown() override { UnloadAll(300); }
    Library& lib = Library::Get();
};

struct Picture {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> bgra;  // top row first

    const uint8_t* At(int32_t x, int32_t y) const { return bgra.data() + (size_t(y) * width + x) * 4; }
};

inline Picture FromAnswer(const Answer& a) { return Picture{a.width, a.height, a.pixels}; }

// Whether a pixel differs from an 0xRRGGBB colour by more than `tolerance` in any channel.
inline bool Differs(const uint8_t* bgra, uint32_t rgb, int tolerance = 24) {
    const int b = rgb & 0xFF, g = (rgb >> 8) & 0xFF, r = (rgb >> 16) & 0xFF;
    return std::abs(bgra[0] - b) > tolerance || std::abs(bgra[1] - g) > tolerance || std::abs(bgra[2] - r) > tolerance;
}

// Pixels that differ from the background together with their eight neighbours: areas of
// the scene itself. The helper grid and axes are lines one pixel wide and drop out.
inline int SolidCoverage(const Picture& p, uint32_t background) {
    int count = 0;
    for (int32_t y = 1; y + 1 < p.height; ++y)
        for (int32_t x = 1; x + 1 < p.width; ++x) {
            bool solid = true;
            for (int dy = -1; dy <= 1 && solid; ++dy)
                for (int dx = -1; dx <= 1 && solid; ++dx) solid = Differs(p.At(x + dx, y + dy), background);
            count += solid ? 1 : 0;
        }
    return count;
}

// Solid scene pixels (as for SolidCoverage), where they centre and how bright they get.
struct SceneShot {
    int coverage = 0;
    double centreX = 0, centreY = 0;   // of the box around the covered pixels, 0..1
    int darkest = 255, brightest = 0;  // of the strongest channel
};

inline SceneShot MeasureScene(const Picture& p, uint32_t background) {
    SceneShot s;
    int32_t left = p.width, right = -1, top = p.height, bottom = -1;
    for (int32_t y = 1; y + 1 < p.height; ++y)
        for (int32_t x = 1; x + 1 < p.width; ++x) {
            bool solid = true;
            for (int dy = -1; dy <= 1 && solid; ++dy)
                for (int dx = -1; dx <= 1 && solid; ++dx) solid = Differs(p.At(x + dx, y + dy), background);
            if (!solid) continue;
            ++s.coverage;
            left = std::min(left, x), right = std::max(right, x);
            top = std::min(top, y), bottom = std::max(bottom, y);
            const uint8_t* px = p.At(x, y);
            const int brightness = std::max({px[0], px[1], px[2]});
            s.darkest = std::min(s.darkest, brightness);
            s.brightest = std::max(s.brightest, brightness);
        }
    if (s.coverage) s.centreX = (left + right + 1) / 2.0 / p.width, s.centreY = (top + bottom + 1) / 2.0 / p.height;
    return s;
}

// Share of pixels whose channels differ by more than `tolerance`; 1.0 for pictures of
// different sizes.
inline double DifferentShare(const Picture& a, const Picture& b, int tolerance) {
    if (a.width != b.width || a.height != b.height || a.bgra.size() != b.bgra.size() || a.bgra.empty()) return 1.0;
    size_t different = 0;
    for (size_t i = 0; i < a.bgra.size(); i += 4)
        for (size_t c = 0; c < 3; ++c)
            if (std::abs(int(a.bgra[i + c]) - int(b.bgra[i + c])) > tolerance) {
                ++different;
                break;
            }
    return double(different) / double(a.bgra.size() / 4);
}

inline bool ReadPng(const std::string& path, Picture& picture) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
    image.format = PNG_FORMAT_BGRA;
    picture.width = static_cast<int32_t>(image.width);
    picture.height = static_cast<int32_t>(image.height);
    picture.bgra.assign(PNG_IMAGE_SIZE(image), 0);
    if (!png_image_finish_read(&image, nullptr, picture.bgra.data(), 0, nullptr)) {
        png_image_free(&image);
        return false;
    }
    return true;
}

inline bool WritePng(const std::string& path, const Picture& picture) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_BGRA;
    return png_image_write_to_file(&image, path.c_str(), 0, picture.bgra.data(), 0, nullptr) != 0;
}

// Compares a capture by tolerance with the kept picture tests/<folder>/images/<stem>.png, or
// keeps the capture there with KESTRUM_WRITE_REFERENCE_IMAGES=1. A mismatch is left in /tmp.
inline void ExpectKeptPicture(const Picture& captured, const std::string& folder, const std::string& stem) {
    const std::string path = SourceFile("tests/" + folder + "/images/" + stem + ".png");
    const char* write = std::getenv("KESTRUM_WRITE_REFERENCE_IMAGES");
    if (write && *write == '1') {
        ASSERT_TRUE(WritePng(path, captured)) << path;
        GTEST_SKIP() << "wrote " << path;
    }
    Picture kept;
    ASSERT_TRUE(ReadPng(path, kept)) << path;
    const double share = DifferentShare(captured, kept, 12);
    EXPECT_LT(share, 0.01) << stem;
    if (share >= 0.01) WritePng("/tmp/" + stem + "_actual.png", captured);
}

}  // namespace KestrumCaptureTest
