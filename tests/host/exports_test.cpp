// The exported interface through the built library: names, logging, loads, captures and exports.

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "Kestrum.h"
#include "capture_library.h"

namespace {

using namespace Kestrum;

using namespace KestrumCaptureTest;
using ExportsTest = CaptureTest;

// A view handle does not matter to an export that names no scene: the capture proxy takes it.
TEST_F(ExportsTest, ExportWithoutAHandleGoesToTheCaptureProxy) {
    Request r = Request::File("/nonexistent/x.prc");
    r.userTag = 5;
    const Answer a = Export(r, KESTRUM_EXPORT_PRC, reinterpret_cast<RenderProxy3D*>(uintptr_t{0x10}));
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 0);
    EXPECT_EQ(a.userTag, 5u);
    EXPECT_FALSE(a.exportData);
}

TEST_F(ExportsTest, ShutdownStopsTheThreadOnceNoListenerIsLeft) {
    const Answer a = Load(Request::File(""));
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 0);
    Settle();
    lib.ClearLog();
    lib.ShutdownRenderer();
    EXPECT_TRUE(lib.LogSaw("Shutting down renderer\n"));
}

const std::string kSample = SourceFile("scenes/sample.u3d");

// A fresh folder for one test, removed with it.
class TempFolder {
public:
    TempFolder() {
        char pattern[] = "/tmp/kestrum_capture_XXXXXX";
        path = mkdtemp(pattern) ? pattern : "";
    }
    ~TempFolder() {
        std::error_code ignored;
        if (!path.empty()) std::filesystem::remove_all(path, ignored);
    }
    std::string path;
};

std::string Magic(const std::string& path) {
    std::vector<uint8_t> bytes = ReadBytes(path);
    bytes.resize(std::min<size_t>(bytes.size(), 4));
    return std::string(bytes.begin(), bytes.end());
}

using CaptureExports = CaptureTest;

TEST_F(CaptureExports, MemoryCaptureGivesFourBytesAPixelAndReportsTheNewScene) {
    Request r = Request::File(kSample);
    r.width = 161;  // odd sizes catch row padding
    r.height = 97;
    r.userTag = 4242;
    r.captureFlags = KESTRUM_CAPTURE_TO_MEMORY | KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_TRUE(a.answered);
    ASSERT_EQ(a.success, 1);
    EXPECT_EQ(a.pixelBytes, 161u * 97u * 4u);
    EXPECT_EQ(a.pixels.size(), 161u * 97u * 4u);
    EXPECT_EQ(a.width, 161);
    EXPECT_EQ(a.height, 97);
    EXPECT_EQ(a.userTag, 4242u);
    EXPECT_NE(a.handle, 0u);
    EXPECT_EQ(a.validFields,
              KESTRUM_CAPTURE_VALID_SCENE_HANDLE | KESTRUM_CAPTURE_VALID_SCENE_PATH | KESTRUM_CAPTURE_VALID_PIXELS);
    EXPECT_EQ(a.scenePath, kSample);
    EXPECT_GT(SolidCoverage(FromAnswer(a), 0xFFFFFF), 161 * 97 / 10);
    for (size_t i = 3; i < a.pixels.size(); i += 4) ASSERT_EQ(a.pixels[i], 255) << i;
}

TEST_F(CaptureExports, BackgroundColourFillsWhatTheSceneDoesNotCover) {
    Request r = Request::File(kSample);
    r.background = 0x3366CC;
    r.captureFlags = KESTRUM_CAPTURE_TO_MEMORY | KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_EQ(a.success, 1);
    const Picture p = FromAnswer(a);
    for (auto [x, y] : {std::pair{2, 2}, std::pair{p.width - 3, 2}, std::pair{2, p.height - 3}}) {
        const uint8_t* px = p.At(x, y);
        EXPECT_FALSE(Differs(px, 0x3366CC, 2))
            << x << "," << y << ": " << int(px[2]) << " " << int(px[1]) << " " << int(px[0]);
    }
}

TEST_F(CaptureExports, UnloadFlagLeavesNothingLoaded) {
    const Answer keeper = Load(Request::File(TestFile("box.u3d")));
    ASSERT_EQ(keeper.success, 1);
    Request r = Request::File(kSample);
    r.captureFlags = KESTRUM_CAPTURE_TO_MEMORY | KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer captured = Capture(r);
    ASSERT_EQ(captured.success, 1);
    ASSERT_NE(captured.handle, keeper.handle);
    lib.ClearLog();
    EXPECT_TRUE(Unload(captured.handle));
    EXPECT_EQ(Capture(Request::ByHandle(captured.handle)).success, 0);
    EXPECT_TRUE(Unload(keeper.handle));
    Settle();
    // Nothing is left: the next unload is answered at once as an unknown handle.
    lib.ClearLog();
    EXPECT_TRUE(Unload(keeper.handle, 300));
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::DoUnloadScene: Invalid scene handle!"));
}

TEST_F(CaptureExports, SamePathTwiceByHandleSharesOneSceneWithTwoReferences) {
    Request r = Request::File(kSample);
    r.loadFlags = Kestrum::KESTRUM_LOAD_BY_HANDLE | Kestrum::KESTRUM_LOAD_FROM_FILE;
    const Answer first = Load(r);
    ASSERT_EQ(first.success, 1);
    lib.ClearLog();
    const Answer second = Load(r);
    ASSERT_EQ(second.success, 1);
    EXPECT_EQ(second.handle, first.handle);
    EXPECT_TRUE(Unload(first.handle));
    EXPECT_EQ(Capture(Request::ByHandle(first.handle)).success, 1);
    EXPECT_TRUE(Unload(first.handle));
    EXPECT_EQ(Capture(Request::ByHandle(first.handle)).success, 0);
}

TEST_F(CaptureExports, FileFormatFollowsTheExtension) {
    TempFolder folder;
    const Answer loaded = Load(Request::File(kSample));
    ASSERT_EQ(loaded.success, 1);
    const std::string png = "\x89PNG", jpeg = "\xFF\xD8\xFF", tiff = "II*";
    for (auto [name, magic] : {std::pair{"a.png", png}, std::pair{"b.jpg", jpeg}, std::pair{"c.JPEG", jpeg},
                               std::pair{"d.tif", tiff}, std::pair{"e.tiff", tiff}, std::pair{"f.unknown", png}}) {
        Request r = Request::ByHandle(loaded.handle);
        r.captureFlags = KESTRUM_CAPTURE_TO_FILE;
        r.outputPath = folder.path + "/" + name;
        const Answer a = Capture(r);
        ASSERT_EQ(a.success, 1) << name;
        EXPECT_EQ(a.outputPath, r.outputPath);
        EXPECT_EQ(a.validFields, KESTRUM_CAPTURE_VALID_SCENE_HANDLE | KESTRUM_CAPTURE_VALID_OUTPUT_PATH) << name;
        EXPECT_TRUE(a.pixels.empty());
        EXPECT_EQ(Magic(r.outputPath).substr(0, magic.size()), magic) << name;
    }
    Picture p;
    ASSERT_TRUE(ReadPng(folder.path + "/a.png", p));
    EXPECT_EQ(p.width, 160);
    EXPECT_EQ(p.height, 120);
    EXPECT_GT(SolidCoverage(p, 0xFFFFFF), 160 * 120 / 10);
}

TEST_F(CaptureExports, LoadFailuresAnswerWithTheirMessages) {
    Answer a = Load(Request::File("/nonexistent/scene.u3d"));
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 0);
    EXPECT_EQ(a.handle, 0u);
    TempFolder folder;
    const std::string junk = folder.path + "/junk.u3d";
    std::ofstream(junk) << "this is no scene at all";
    a = Load(Request::File(junk));
    EXPECT_EQ(a.success, 0);
}

TEST_F(CaptureExports, ExportRoutesToTheFormatsAndReportsTheirRefusal) {
    const Answer loaded = Load(Request::File(kSample));
    ASSERT_EQ(loaded.success, 1);
    Request byHandle = Request::ByHandle(loaded.handle);
    byHandle.userTag = 9;
    Answer a = Export(byHandle, Kestrum::KESTRUM_EXPORT_U3D);
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 0);
    EXPECT_EQ(a.handle, loaded.handle);
    EXPECT_EQ(a.userTag, 9u);
    EXPECT_FALSE(a.exportData);
    a = Export(byHandle, Kestrum::KESTRUM_EXPORT_OPTION_A);
    EXPECT_EQ(a.success, 0);
    EXPECT_EQ(Capture(Request::ByHandle(loaded.handle)).success, 1);
    a = Export(Request::File(kSample), Kestrum::KESTRUM_EXPORT_OBJ);
    EXPECT_EQ(a.success, 0);
    ASSERT_NE(a.handle, 0u);
    EXPECT_NE(a.handle, loaded.handle);
    lib.ClearLog();
    EXPECT_TRUE(Unload(a.handle));
}

std::atomic<int> g_loaded{-1};

void OnExitLoad(Kestrum::LoadSceneResult*, int success) { g_loaded = success; }

[[noreturn]] void LoadThenExit() {
    void* library = dlopen(KESTRUM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) std::_Exit(2);
    auto load = reinterpret_cast<Kestrum::KestrumFn_LoadCaptureScene>(dlsym(library, "LoadCaptureScene"));
    if (load == nullptr) std::_Exit(3);
    const std::string path = std::string(KESTRUM_SOURCE_DIR) + "/scenes/sample.u3d";
    std::u16string wide(path.begin(), path.end());
    Kestrum::LoadSceneParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.flags = Kestrum::KESTRUM_LOAD_FROM_FILE;
    parameters.path = wide.c_str();
    load(0, parameters, OnExitLoad);
    for (int i = 0; i < 3000 && g_loaded.load() < 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::exit(g_loaded.load() == 1 ? 0 : 4);  // static destructors run with the thread alive
}

TEST(ProcessExit, WithSceneLoadedAndRenderThreadRunningEndsCleanly) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(LoadThenExit(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
