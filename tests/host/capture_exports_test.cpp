// Capture scenes through the exports: loads with reference counts, captures to memory and to
// files of each format, generated names below the data folder, the unload flag, progress, and
// the export branch of the capture proxy.

#include <cstdlib>
#include <filesystem>

#include "capture_library.h"
#include "support/ScopedEnv.h"

namespace {

using namespace KestrumCaptureTest;
using Kestrum::KESTRUM_CAPTURE_TO_FILE;
using Kestrum::KESTRUM_CAPTURE_TO_MEMORY;
using Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
using Kestrum::KESTRUM_CAPTURE_VALID_OUTPUT_PATH;
using Kestrum::KESTRUM_CAPTURE_VALID_PIXELS;
using Kestrum::KESTRUM_CAPTURE_VALID_SCENE_HANDLE;
using Kestrum::KESTRUM_CAPTURE_VALID_SCENE_PATH;

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
    // The picture is opaque.
    for (size_t i = 3; i < a.pixels.size(); i += 4) ASSERT_EQ(a.pixels[i], 255) << i;
}

TEST_F(CaptureExports, BackgroundColourFillsWhatTheSceneDoesNotCover) {
    Request r = Request::File(kSample);
    r.background = 0x3366CC;
    r.captureFlags = KESTRUM_CAPTURE_TO_MEMORY | KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_EQ(a.success, 1);
    const Picture p = FromAnswer(a);
    // Corners of the built-in view lie outside the scene.
    for (auto [x, y] : {std::pair{2, 2}, std::pair{p.width - 3, 2}, std::pair{2, p.height - 3}}) {
        const uint8_t* px = p.At(x, y);
        EXPECT_FALSE(Differs(px, 0x3366CC, 2)) << x << "," << y << ": " << int(px[2]) << " " << int(px[1]) << " " << int(px[0]);
    }
}

TEST_F(CaptureExports, UnloadFlagLeavesNothingLoaded) {
    // A second scene keeps the proxy (and its answers to unloads) alive.
    const Answer keeper = Load(Request::File(TestFile("box.u3d")));
    ASSERT_EQ(keeper.success, 1);

    Request r = Request::File(kSample);
    r.captureFlags = KESTRUM_CAPTURE_TO_MEMORY | KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer captured = Capture(r);
    ASSERT_EQ(captured.success, 1);
    ASSERT_NE(captured.handle, keeper.handle);

    lib.ClearLog();
    EXPECT_TRUE(Unload(captured.handle));
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::DoUnloadScene: Invalid scene handle!"));
    EXPECT_EQ(Capture(Request::ByHandle(captured.handle)).success, 0);

    EXPECT_TRUE(Unload(keeper.handle));
    Settle();
    // With its last scene gone the proxy lets go of the render thread: unloads go unanswered.
    EXPECT_FALSE(Unload(keeper.handle, 300));
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
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::DoLoadScene: Scene '" + kSample + "' already loaded!"));

    // The first unload only counts down: the scene still captures.
    EXPECT_TRUE(Unload(first.handle));
    EXPECT_EQ(Capture(Request::ByHandle(first.handle)).success, 1);
    EXPECT_TRUE(Unload(first.handle));
    EXPECT_EQ(Capture(Request::ByHandle(first.handle)).success, 0);
}

TEST_F(CaptureExports, SamePathWithoutByHandleLoadsTwoScenes) {
    const Answer first = Load(Request::File(kSample));
    const Answer second = Load(Request::File(kSample));
    ASSERT_EQ(first.success, 1);
    ASSERT_EQ(second.success, 1);
    EXPECT_NE(first.handle, second.handle);
    // One unload each is enough.
    EXPECT_TRUE(Unload(first.handle));
    EXPECT_EQ(Capture(Request::ByHandle(first.handle)).success, 0);
    EXPECT_EQ(Capture(Request::ByHandle(second.handle)).success, 1);
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
    // What was written is the picture: the PNG decodes to the size asked for.
    Picture p;
    ASSERT_TRUE(ReadPng(folder.path + "/a.png", p));
    EXPECT_EQ(p.width, 160);
    EXPECT_EQ(p.height, 120);
    EXPECT_GT(SolidCoverage(p, 0xFFFFFF), 160 * 120 / 10);
}

TEST_F(CaptureExports, AFileThatCannotBeWrittenFailsTheCapture) {
    Request r = Request::File(kSample);
    r.captureFlags = KESTRUM_CAPTURE_TO_FILE | KESTRUM_CAPTURE_UNLOAD_AFTER;
    r.outputPath = "/nonexistent/folder/out.png";
    const Answer a = Capture(r);
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 0);
    // The scene was loaded, so the handle is reported and the unload flag still applies.
    EXPECT_TRUE(a.validFields & KESTRUM_CAPTURE_VALID_SCENE_HANDLE);
    Settle();
    EXPECT_FALSE(Unload(a.handle, 300));
}

using Velmora::Test::ScopedEnv;

TEST_F(CaptureExports, EmptyTargetGetsAGeneratedNameBelowTheDataFolder) {
    TempFolder folder;
    ScopedEnv appData("APPDATA", folder.path);
    lib.SetCompanyName(0, u"Acme Works");
    lib.SetApplicationName(0, u"Capturer");
    Request r = Request::File(kSample);
    r.captureFlags = KESTRUM_CAPTURE_TO_FILE | KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    lib.SetCompanyName(0, nullptr);
    lib.SetApplicationName(0, nullptr);
    ASSERT_EQ(a.success, 1);
    const std::string prefix = folder.path + "/Acme Works/Capturer/sample_";
    EXPECT_EQ(a.outputPath.rfind(prefix, 0), 0u) << a.outputPath;
    EXPECT_EQ(a.outputPath.substr(a.outputPath.size() - 4), ".png");
    EXPECT_EQ(Magic(a.outputPath), "\x89PNG");
}

TEST_F(CaptureExports, FileAndMemoryTogetherReturnPixelsAndTheNameButWriteNothing) {
    TempFolder folder;
    ScopedEnv appData("APPDATA", folder.path);
    Request r = Request::File(kSample);
    r.captureFlags = KESTRUM_CAPTURE_TO_FILE | KESTRUM_CAPTURE_TO_MEMORY | KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_EQ(a.success, 1);
    EXPECT_EQ(a.pixelBytes, 160u * 120u * 4u);
    EXPECT_TRUE(a.validFields & KESTRUM_CAPTURE_VALID_OUTPUT_PATH);
    EXPECT_TRUE(a.validFields & KESTRUM_CAPTURE_VALID_PIXELS);
    EXPECT_EQ(a.outputPath.rfind(folder.path + "/", 0), 0u);
    EXPECT_FALSE(std::filesystem::exists(a.outputPath));
}

TEST_F(CaptureExports, MemorySceneCapturesButHasNoNameToGenerateFrom) {
    Request r;
    r.loadFlags = Kestrum::KESTRUM_LOAD_FROM_MEMORY;
    r.data = ReadBytes(kSample);
    ASSERT_FALSE(r.data.empty());
    const Answer loaded = Load(r);
    ASSERT_EQ(loaded.success, 1);

    Request memory = Request::ByHandle(loaded.handle);
    const Answer pixels = Capture(memory);
    ASSERT_EQ(pixels.success, 1);
    EXPECT_GT(SolidCoverage(FromAnswer(pixels), 0xFFFFFF), 160 * 120 / 10);

    Request file = Request::ByHandle(loaded.handle);
    file.captureFlags = KESTRUM_CAPTURE_TO_FILE;
    lib.ClearLog();
    EXPECT_EQ(Capture(file).success, 0);
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::GetCaptureFilePath with invalid input filename!"));
}

std::mutex g_progressMutex;
std::vector<std::pair<float, uint32_t>> g_progress;

void OnProgress(float percent, uint32_t tag) {
    std::lock_guard<std::mutex> lock(g_progressMutex);
    g_progress.emplace_back(percent, tag);
}

TEST_F(CaptureExports, LoadProgressRisesToAHundredWithTheRequestsTag) {
    {
        std::lock_guard<std::mutex> lock(g_progressMutex);
        g_progress.clear();
    }
    Request r = Request::File(TestFile("bearing.u3d"));
    r.progress = OnProgress;
    r.userTag = 77;
    ASSERT_EQ(Load(r).success, 1);
    std::lock_guard<std::mutex> lock(g_progressMutex);
    ASSERT_FALSE(g_progress.empty());
    EXPECT_EQ(g_progress.back().first, 100.0f);
    for (size_t i = 0; i < g_progress.size(); ++i) {
        EXPECT_EQ(g_progress[i].second, 77u);
        if (i > 0) {
            EXPECT_GE(g_progress[i].first, g_progress[i - 1].first);
        }
    }
}

TEST_F(CaptureExports, LoadFailuresAnswerWithTheirMessages) {
    Answer a = Load(Request::File("/nonexistent/scene.u3d"));
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 0);
    EXPECT_EQ(a.handle, 0u);
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::DoLoadScene: Invalid filename '/nonexistent/scene.u3d'!"));

    TempFolder folder;
    const std::string junk = folder.path + "/junk.u3d";
    std::ofstream(junk) << "this is no scene at all";
    a = Load(Request::File(junk));
    EXPECT_EQ(a.success, 0);
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::LoadScene: Failed to create SceneGraph!"));
}

TEST_F(CaptureExports, UnknownCameraStillCapturesWhatTheViewShows) {
    Request r = Request::File(kSample);
    r.camera = "NoSuchCamera";
    r.captureFlags = KESTRUM_CAPTURE_TO_MEMORY | KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_EQ(a.success, 1);
    EXPECT_TRUE(lib.LogSaw("U3DSceneDescription::ApplyToScene: Cannot find view node 'NoSuchCamera'"));
    EXPECT_TRUE(lib.LogSaw("Failed to apply the generated SceneDescription to RenderView!"));
    EXPECT_GT(SolidCoverage(FromAnswer(a), 0xFFFFFF), 0);
}

TEST_F(CaptureExports, RefusedRequestsFailWithoutLoading) {
    Request r = Request::File(kSample);
    r.width = 0;
    EXPECT_EQ(Capture(r).success, 0);
    r.width = 16;
    r.captureFlags = KESTRUM_CAPTURE_UNLOAD_AFTER;  // neither file nor memory
    EXPECT_EQ(Capture(r).success, 0);
    Request none = Request::ByHandle(0);
    EXPECT_EQ(Capture(none).success, 0);
    EXPECT_FALSE(lib.LogSaw("Successfully loaded scene", 200));
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
    EXPECT_TRUE(lib.LogSaw("ExportScene() - export to '.u3d' not supported"));

    // No format bit: nothing is asked of the formats.
    a = Export(byHandle, Kestrum::KESTRUM_EXPORT_OPTION_A);
    EXPECT_EQ(a.success, 0);
    // The scene named by handle is still there.
    EXPECT_EQ(Capture(Request::ByHandle(loaded.handle)).success, 1);

    // An export that loads its own scene unloads it again.
    a = Export(Request::File(kSample), Kestrum::KESTRUM_EXPORT_OBJ);
    EXPECT_EQ(a.success, 0);
    ASSERT_NE(a.handle, 0u);
    EXPECT_NE(a.handle, loaded.handle);
    lib.ClearLog();
    EXPECT_TRUE(Unload(a.handle));
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::DoUnloadScene: Invalid scene handle!"));
}

}  // namespace
