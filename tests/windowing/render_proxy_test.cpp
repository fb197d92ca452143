// The render proxy as a host drives it: the built library loaded with dlopen, a host window
// made with Xlib on the test's own X connection, CreateRenderProxy with that window as
// parent, and every request answered through its callback and the log hook.

#include <gtest/gtest.h>
#include <png.h>

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// After gtest: Xlib's macros (None, Bool, Status) would break gtest's templates.
#include <X11/Xlib.h>

#include "Kestrum.h"
#include "support/ExportedLibrary.h"

namespace {

using namespace Kestrum;

std::u16string Utf16(const std::string& text) { return std::u16string(text.begin(), text.end()); }
std::string TestFile(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/u3d/" + name; }
std::string SampleScene() { return std::string(KESTRUM_SOURCE_DIR) + "/scenes/sample.u3d"; }

// Polls `done` every few milliseconds for up to `timeoutMs`.
bool WaitFor(const std::function<bool()>& done, int timeoutMs = 5000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

using Library = Velmora::Test::ExportedLibrary;

// The render thread must stop before the process exits.
class ShutdownEnvironment : public ::testing::Environment {
public:
    void TearDown() override {
        if (!Library::Get().Loaded()) return;
        Library::Get().ShutdownRenderer();
        Library::Get().ShutdownRenderer();
    }
};
::testing::Environment* const kShutdown = ::testing::AddGlobalTestEnvironment(new ShutdownEnvironment);

// ---- answers ---------------------------------------------------------------------------------

struct Answer {
    bool answered = false;
    int success = -1;
    uint32_t handle = 0;
    uint32_t userTag = 0;
    std::vector<std::string> cameras;
    bool hasActive = false;
    std::string active;
    uint32_t projectionType = 0;
    uint32_t renderMode = 0;
};

std::mutex g_mutex;
std::condition_variable g_done;
Answer g_answer;

void Deliver(Answer answer) {
    std::lock_guard<std::mutex> lock(g_mutex);
    answer.answered = true;
    g_answer = std::move(answer);
    g_done.notify_all();
}
void ResetAnswer() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_answer = Answer{};
}
Answer WaitAnswer(int timeoutMs = 60000) {
    std::unique_lock<std::mutex> lock(g_mutex);
    g_done.wait_for(lock, std::chrono::milliseconds(timeoutMs), [] { return g_answer.answered; });
    return g_answer;
}

void TakeActive(const ActiveCameraInfo* info, Answer& a) {
    if (info == nullptr) return;
    a.hasActive = true;
    a.active.assign(info->name, info->nameLength);
    a.projectionType = info->projectionType;
}

void OnLoad(LoadSceneResult* result, int success) {
    Answer a;
    a.success = success;
    a.handle = result->sceneHandle;
    a.userTag = result->userTag;
    a.renderMode = result->renderMode;
    for (uint32_t i = 0; result->cameraNames && i < result->cameraCount; ++i)
        a.cameras.emplace_back(result->cameraNames[i], size_t(result->cameraNameLengths[i]));
    TakeActive(result->activeCamera, a);
    Deliver(std::move(a));
}
void OnCamera(ActiveCameraInfo* info, int success) {
    Answer a;
    a.success = success;
    TakeActive(info, a);
    Deliver(std::move(a));
}
void OnCameraList(int, const char* const* names, const int* lengths, uint32_t count) {
    Answer a;
    a.success = 1;
    for (uint32_t i = 0; i < count; ++i) a.cameras.emplace_back(names[i], size_t(lengths[i]));
    Deliver(std::move(a));
}
void OnHandle(uint32_t handle) {
    Answer a;
    a.success = 1;
    a.handle = handle;
    Deliver(std::move(a));
}

std::vector<uint32_t> g_capabilityKinds;
std::vector<uint32_t> g_anisotropyLevels;
void OnCapability(uint32_t kind, const uint32_t* values, uint32_t count) {
    g_capabilityKinds.push_back(kind);
    if (kind == 1) g_anisotropyLevels.assign(values, values + count);
}

bool Contains(const std::vector<std::string>& list, const std::string& name) {
    for (const std::string& entry : list)
        if (entry == name) return true;
    return false;
}

// ---- pictures --------------------------------------------------------------------------------

struct Picture {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> rgb;
    const uint8_t* At(uint32_t x, uint32_t y) const { return rgb.data() + (size_t(y) * width + x) * 3; }
};

bool ReadPng(const std::string& path, Picture& picture) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
    image.format = PNG_FORMAT_RGB;
    picture.width = image.width;
    picture.height = image.height;
    picture.rgb.resize(PNG_IMAGE_SIZE(image));
    const bool ok = png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr) != 0;
    png_image_free(&image);
    return ok;
}

// ---- fixture ---------------------------------------------------------------------------------

class RenderProxyTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(lib.Loaded()) << KESTRUM_LIBRARY_PATH << ": " << dlerror();
        host_ = XOpenDisplay(nullptr);
        if (!host_) GTEST_SKIP() << "no X server";
        hostWindow_ = XCreateSimpleWindow(host_, DefaultRootWindow(host_), 0, 0, 400, 300, 0, 0, 0);
        XMapWindow(host_, hostWindow_);
        XSync(host_, False);
        lib.ClearLog();
    }
    void TearDown() override {
        if (proxy_) lib.DestroyRenderProxy(proxy_);
        if (host_) {
            XDestroyWindow(host_, hostWindow_);
            XCloseDisplay(host_);
        }
        for (const std::string& file : files_) std::remove(file.c_str());
    }

    RenderProxy3D* MakeProxy(int32_t width = 200, int32_t height = 150) {
        CreateInfo create{};
        create.parentWindow = hostWindow_;
        create.width = width;
        create.height = height;
        create.capabilityCallback = OnCapability;
        info_ = RenderProxyInfo{};
        return lib.CreateRenderProxy(create, &info_);
    }

    struct LoadOptions {
        uint32_t userTag = 0;
        std::vector<std::u16string> viewTexts;
        uint32_t selectedView = 0;
        uint32_t viewFlags = 0;
        ProgressCallback progress = nullptr;
    };
    Answer Load(const std::string& path, uint32_t userTag = 0) {
        LoadOptions options;
        options.userTag = userTag;
        return Load(path, options);
    }
    Answer Load(const std::string& path, const LoadOptions& options) {
        const std::u16string path16 = Utf16(path);
        std::vector<const char16_t*> texts;
        for (const std::u16string& text : options.viewTexts) texts.push_back(text.c_str());
        LoadSceneParameters load;
        std::memset(&load, 0, sizeof load);
        load.flags = KESTRUM_LOAD_FROM_FILE;
        load.path = path16.c_str();
        load.userTag = options.userTag;
        load.viewStringFlags = KESTRUM_VIEW_STRINGS_ARE_TEXT;
        load.viewStrings = texts.empty() ? nullptr : texts.data();
        load.viewStringCount = static_cast<int32_t>(texts.size());
        load.selectedViewIndex = options.selectedView;
        load.progressCallback = options.progress;
        ViewParameters view;
        std::memset(&view, 0, sizeof view);
        view.flags = KESTRUM_VIEW_ACTIVATE | options.viewFlags;
        view.lightingScheme = 1;
        view.fieldOfView = 45.0f;
        ResetAnswer();
        lib.LoadScene(0, proxy_, load, view, OnLoad);
        return WaitAnswer();
    }
    Answer Activate(ECameraActivationType type, const std::string& name = std::string()) {
        const std::u16string name16 = Utf16(name);
        ResetAnswer();
        lib.ActivateCamera(0, proxy_, type, name16.c_str(), OnCamera);
        return WaitAnswer();
    }
    Answer Cameras() {
        ResetAnswer();
        lib.GetAvailableCameras(proxy_, OnCameraList);
        return WaitAnswer();
    }
    // A screenshot is written with the view's next frame.
    bool Shot(Picture& picture) {
        char name[] = "/tmp/kestrum_proxy_XXXXXX";
        const int fd = mkstemp(name);
        if (fd < 0) return false;
        close(fd);
        std::remove(name);
        const std::string path = std::string(name) + ".png";
        files_.push_back(path);
        const std::u16string path16 = Utf16(path);
        lib.Screenshot(0, proxy_, path16.c_str());
        return WaitFor([&] { return ReadPng(path, picture); });
    }

    Library& lib = Library::Get();
    Display* host_ = nullptr;
    Window hostWindow_ = 0;
    RenderProxy3D* proxy_ = nullptr;
    RenderProxyInfo info_{};
    std::vector<std::string> files_;
};

// ---- creation --------------------------------------------------------------------------------

TEST_F(RenderProxyTest, CreationMakesAChildWindowAndReportsTheView) {
    g_capabilityKinds.clear();
    g_anisotropyLevels.clear();
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    EXPECT_EQ(std::string(info_.instanceName, info_.instanceNameLength).rfind("RenderProxy3D_Inst_", 0), 0u);
    EXPECT_GE(info_.anisotropy, 1u);

    // The child window hangs below the host's window.
    const KestrumWindow child = lib.GetRenderProxyHwnd(proxy_);
    ASSERT_NE(child, 0u);
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    ASSERT_TRUE(XQueryTree(host_, static_cast<Window>(child), &root, &parent, &children, &count));
    if (children) XFree(children);
    EXPECT_EQ(parent, hostWindow_);

    // Anisotropy levels: 2, 4, 8 ... doubling up to the device's maximum.
    ASSERT_FALSE(g_anisotropyLevels.empty());
    EXPECT_EQ(g_anisotropyLevels.front(), 2u);
    for (size_t i = 1; i < g_anisotropyLevels.size(); ++i) EXPECT_EQ(g_anisotropyLevels[i], g_anisotropyLevels[i - 1] * 2);
    EXPECT_GE(lib.GetProperty_Int32(proxy_, KESTRUM_PROPERTY_GL_MAJOR), 3);
    EXPECT_EQ(lib.IsSceneLoaded(proxy_), 0);
}

TEST_F(RenderProxyTest, CreationRefusesMissingInfoAndUnusableWindows) {
    CreateInfo create{};
    create.parentWindow = hostWindow_;
    create.width = 200;
    create.height = 150;
    EXPECT_EQ(lib.CreateRenderProxy(create, nullptr), nullptr);
    EXPECT_TRUE(lib.LogSaw("RenderProxy creation failed - invalid input parameters!"));

    RenderProxyInfo info{};
    create.width = 49;  // below the smallest window
    EXPECT_EQ(lib.CreateRenderProxy(create, &info), nullptr);
    EXPECT_TRUE(lib.LogSaw("RenderWindow minimum size requirements not met"));
    create.width = 200;
    create.parentWindow = 0;
    EXPECT_EQ(lib.CreateRenderProxy(create, &info), nullptr);
    EXPECT_TRUE(lib.LogSaw("RenderProxy creation failed - unable to create Win32 window!"));
}

// ---- loading ---------------------------------------------------------------------------------

TEST_F(RenderProxyTest, LoadReportsTheSceneCamerasWithTheBuiltInCameraRenamed) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    const Answer load = Load(SampleScene(), 77);
    ASSERT_EQ(load.success, 1);
    EXPECT_NE(load.handle, 0u);
    EXPECT_EQ(load.userTag, 77u);
    EXPECT_TRUE(Contains(load.cameras, "<Built-In-Camera>"));
    EXPECT_TRUE(Contains(load.cameras, "Front"));
    EXPECT_TRUE(Contains(load.cameras, "Top"));
    EXPECT_FALSE(Contains(load.cameras, "___DefaultCamera"));
    EXPECT_TRUE(load.hasActive);
    EXPECT_EQ(lib.IsSceneLoaded(proxy_), 1);

    const Answer listed = Cameras();
    EXPECT_EQ(listed.cameras, load.cameras);
}

TEST_F(RenderProxyTest, NamedViewsOfAThirdPartyFileAreListed) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    const Answer load = Load(TestFile("views.u3d"));
    ASSERT_EQ(load.success, 1);
    EXPECT_TRUE(Contains(load.cameras, "<Built-In-Camera>"));
    EXPECT_GE(load.cameras.size(), 2u) << "views.u3d holds named views besides the built-in camera";
}

TEST_F(RenderProxyTest, LoadOverAnOpenSceneClosesItWithAWarning) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    const Answer first = Load(SampleScene());
    ASSERT_EQ(first.success, 1);
    const Answer second = Load(TestFile("box.u3d"));
    ASSERT_EQ(second.success, 1);
    EXPECT_NE(second.handle, first.handle);
    EXPECT_TRUE(lib.LogSaw("Attempting to open scene while another one is still open: auto-closing!"));
    // The old scene had no other view: unlinking it released it.
    EXPECT_TRUE(lib.LogSaw("scene " + std::to_string(first.handle) + " not referenced any more, will be released"));
    EXPECT_FALSE(Contains(second.cameras, "Front"));
}

TEST_F(RenderProxyTest, ABadPathFailsAndKeepsThePresentScene) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    const Answer good = Load(SampleScene());
    ASSERT_EQ(good.success, 1);
    const Answer bad = Load("/nonexistent/missing.u3d", 5);
    EXPECT_EQ(bad.success, 0);
    EXPECT_EQ(bad.handle, 0u);
    EXPECT_EQ(bad.userTag, 5u);
    EXPECT_EQ(lib.IsSceneLoaded(proxy_), 1);
    EXPECT_TRUE(Contains(Cameras().cameras, "Front"));

    ResetAnswer();
    lib.CloseScene(proxy_, OnHandle);
    EXPECT_EQ(WaitAnswer().handle, good.handle);
    EXPECT_EQ(lib.IsSceneLoaded(proxy_), 0);
    ResetAnswer();
    lib.CloseScene(proxy_, OnHandle);
    EXPECT_EQ(WaitAnswer().handle, 0u) << "nothing left to close";
}

std::mutex g_progressMutex;
std::vector<float> g_progress;
std::vector<uint32_t> g_progressTags;
void OnProgress(float percent, uint32_t tag) {
    std::lock_guard<std::mutex> lock(g_progressMutex);
    g_progress.push_back(percent);
    g_progressTags.push_back(tag);
}

TEST_F(RenderProxyTest, ProgressReachesTheLoadsCallbackWithItsTag) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    {
        std::lock_guard<std::mutex> lock(g_progressMutex);
        g_progress.clear();
        g_progressTags.clear();
    }
    LoadOptions options;
    options.userTag = 31;
    options.progress = OnProgress;
    ASSERT_EQ(Load(SampleScene(), options).success, 1);
    std::lock_guard<std::mutex> lock(g_progressMutex);
    ASSERT_FALSE(g_progress.empty());
    EXPECT_FLOAT_EQ(g_progress.back(), 100.0f);
    for (uint32_t tag : g_progressTags) EXPECT_EQ(tag, 31u);
    EXPECT_TRUE(std::is_sorted(g_progress.begin(), g_progress.end()));
}

// Two views from text: both become cameras, and the selected one is active after the load
// even though the other was applied after it.
TEST_F(RenderProxyTest, ViewStringsOfTheLoadAddCamerasAndTheSelectedOneIsActive) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    LoadOptions options;
    options.viewTexts = {u"",  // dropped at the boundary: indices count the kept entries
                         u"<< /XN (Left) /3DB [0 0 200 150] /MS /M /C2W [0 1 0 0 0 1 1 0 0 -10 0 0] >>",
                         u"<< /XN (Back) /3DB [0 0 200 150] /MS /M /C2W [-1 0 0 0 0 1 0 1 0 0 10 0] >>",
                         u"<< broken"};
    options.selectedView = 0;
    const Answer load = Load(SampleScene(), options);
    ASSERT_EQ(load.success, 1);
    EXPECT_TRUE(Contains(load.cameras, "Left"));
    EXPECT_TRUE(Contains(load.cameras, "Back"));
    EXPECT_EQ(load.active, "Left");
    EXPECT_TRUE(lib.LogSaw("RenderProxy3D::Thread_LoadScene: Failed to create scene description from provided string"));
}

// A view file beside the scene is applied without activation and listed as a view file's.
TEST_F(RenderProxyTest, ExternalViewFilesBesideTheSceneAreAdded) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    char folder[] = "/tmp/kestrum_views_XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string scene = std::string(folder) + "/sample.u3d";
    const std::string views = std::string(folder) + "/side.vws";
    const std::string broken = std::string(folder) + "/broken.vws";
    files_ = {scene, views, broken, folder};
    {
        FILE* in = std::fopen(SampleScene().c_str(), "rb");
        FILE* out = std::fopen(scene.c_str(), "wb");
        ASSERT_TRUE(in && out);
        char buffer[4096];
        while (size_t n = std::fread(buffer, 1, sizeof buffer, in)) std::fwrite(buffer, 1, n, out);
        std::fclose(in);
        std::fclose(out);
        out = std::fopen(views.c_str(), "w");
        std::fputs("<< /XN (Side) /3DB [0 0 200 150] /MS /M /C2W [1 0 0 0 0 -1 0 1 0 0 -10 0] >>", out);
        std::fclose(out);
        out = std::fopen(broken.c_str(), "w");
        std::fputs("no dictionary here", out);
        std::fclose(out);
    }
    LoadOptions options;
    options.viewFlags = KESTRUM_VIEW_LOAD_EXTERNAL_VIEWS;
    const Answer load = Load(scene, options);
    ASSERT_EQ(load.success, 1) << lib.LogText();
    EXPECT_TRUE(Contains(load.cameras, "Side [ViewFile]")) << ::testing::PrintToString(load.cameras);
    EXPECT_TRUE(lib.LogSaw("RenderProxy3D::LoadExternalViews: Failed to create scene description from '" + broken + "'"));
    // Without the flag the folder is not searched.
    const Answer plain = Load(scene);
    ASSERT_EQ(plain.success, 1);
    EXPECT_FALSE(Contains(plain.cameras, "Side [ViewFile]"));
}

// ---- cameras ---------------------------------------------------------------------------------

TEST_F(RenderProxyTest, ActivationByNameFirstNextAndBuiltIn) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    ASSERT_EQ(Load(SampleScene()).success, 1);

    Answer a = Activate(KESTRUM_CAMERA_BY_NAME, "Front");
    ASSERT_EQ(a.success, 1);
    EXPECT_EQ(a.active, "Front");
    a = Activate(KESTRUM_CAMERA_BUILT_IN, "Front");  // the name is ignored
    ASSERT_EQ(a.success, 1);
    EXPECT_EQ(a.active, "<Built-In-Camera>");
    a = Activate(KESTRUM_CAMERA_BY_NAME, "<Built-In-Camera>");
    ASSERT_EQ(a.success, 1);
    EXPECT_EQ(a.active, "<Built-In-Camera>");

    // Next walks the names in order and wraps around: three steps through three cameras
    // come back to the start, visiting each once.
    std::vector<std::string> seen;
    for (int i = 0; i < 3; ++i) {
        a = Activate(KESTRUM_CAMERA_NEXT);
        ASSERT_EQ(a.success, 1);
        seen.push_back(a.active);
    }
    EXPECT_EQ(seen.back(), "<Built-In-Camera>");
    EXPECT_TRUE(Contains(seen, "Front"));
    EXPECT_TRUE(Contains(seen, "Top"));

    EXPECT_EQ(Activate(KESTRUM_CAMERA_BY_NAME, "NoSuchCamera").success, 0);
    EXPECT_EQ(Activate(7).success, 0);
    EXPECT_TRUE(lib.LogSaw("RenderProxy3D::Thread_ActivateCamera - with invalid activation type"));
}

TEST_F(RenderProxyTest, NextWithASingleCameraKeepsIt) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    // Written without any view node: the built-in camera is the only one.
    const Answer load = Load(TestFile("shape.u3d"));
    ASSERT_EQ(load.success, 1);
    ASSERT_EQ(load.cameras.size(), 1u) << ::testing::PrintToString(load.cameras);
    const Answer a = Activate(KESTRUM_CAMERA_NEXT);
    ASSERT_EQ(a.success, 1);
    EXPECT_EQ(a.active, load.cameras.front());
}

TEST_F(RenderProxyTest, CameraRequestsWithoutASceneFail) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    EXPECT_EQ(Activate(KESTRUM_CAMERA_NEXT).success, 0);
    EXPECT_TRUE(Cameras().cameras.empty());
    ResetAnswer();
    lib.LoadViewInfoFromString(0, proxy_, u"<< /MS /M >>", 1, OnCamera);
    EXPECT_EQ(WaitAnswer().success, 0);
}

TEST_F(RenderProxyTest, ViewTextAddsAndActivatesACamera) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    ASSERT_EQ(Load(SampleScene()).success, 1);
    const std::u16string view =
        u"<< /Type /3DView /XN (Side) /3DB [0 0 200 150] /MS /M /C2W [1 0 0 0 0 -1 0 1 0 0 -10 0] /CO 10 >>";
    ResetAnswer();
    lib.LoadViewInfoFromString(0, proxy_, view.c_str(), 1, OnCamera);
    const Answer a = WaitAnswer();
    ASSERT_EQ(a.success, 1) << (lib.LogSaw("ApplyToScene", 300), lib.LogText());
    EXPECT_EQ(a.active, "Side");
    EXPECT_TRUE(lib.LogSaw("RenderProxy3D::Thread_LoadViewInfoFromFile: Successfully applied scene description"));
    EXPECT_TRUE(Contains(Cameras().cameras, "Side"));
}

// ---- properties ------------------------------------------------------------------------------

TEST_F(RenderProxyTest, PropertiesOfNoTypeAreRefusedAndBlockingCallsReturn) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    lib.SetProperty_Int64(proxy_, 4, 123, 0);  // blocking: returns once the render thread ran it
    EXPECT_TRUE(lib.LogSaw("RenderProxy3D::Thread_SetPropertyInt64 with invalid property ID: 4"));
    lib.SetProperty_Int64(proxy_, 9, 1, 1);
    EXPECT_TRUE(lib.LogSaw("RenderProxy3D::Thread_SetPropertyInt64 with invalid property ID: 9"));

    EXPECT_EQ(lib.GetProperty_Bool(proxy_, 42), 0);
    EXPECT_TRUE(lib.LogSaw("RenderProxy3D::Thread_SetPropertyBool with invalid property ID: 42"));
    KestrumSystemString text = lib.GetProperty_String(proxy_, 1);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::u16string(text), u"<StringError>");
    lib.FreeSystemString(text);
    lib.SetProperty_Int32(proxy_, 12, 1, 0);
    EXPECT_TRUE(lib.LogSaw("RenderProxy3D::Thread_SetPropertyInt32 with invalid property ID: 12"));
    // Scene properties without a scene read 0.
    EXPECT_EQ(lib.GetProperty_Int32(proxy_, KESTRUM_PROPERTY_LIGHTING_SCHEME), 0);
    EXPECT_EQ(lib.GetProperty_Bool(proxy_, KESTRUM_PROPERTY_SCENE_FLAG_A), 0);
}

TEST_F(RenderProxyTest, ControllerFlagsSetBeforeTheLoadHoldForTheScene) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    lib.SetProperty_Bool(proxy_, KESTRUM_PROPERTY_CONTROLLER_FLAG_A, 1, 0);
    lib.SetProperty_Bool(proxy_, KESTRUM_PROPERTY_CONTROLLER_FLAG_B, 1, 1);
    ASSERT_EQ(Load(SampleScene()).success, 1);
    EXPECT_EQ(lib.GetProperty_Bool(proxy_, KESTRUM_PROPERTY_CONTROLLER_FLAG_A), 1);
    EXPECT_EQ(lib.GetProperty_Bool(proxy_, KESTRUM_PROPERTY_CONTROLLER_FLAG_B), 1);
    // And they survive the next scene.
    ASSERT_EQ(Load(TestFile("box.u3d")).success, 1);
    EXPECT_EQ(lib.GetProperty_Bool(proxy_, KESTRUM_PROPERTY_CONTROLLER_FLAG_B), 1);
    lib.SetProperty_Bool(proxy_, KESTRUM_PROPERTY_CONTROLLER_FLAG_A, 0, 0);
    EXPECT_EQ(lib.GetProperty_Bool(proxy_, KESTRUM_PROPERTY_CONTROLLER_FLAG_A), 0);
}

TEST_F(RenderProxyTest, SceneFlagsAndLightingSchemeReachTheScene) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    ASSERT_EQ(Load(SampleScene()).success, 1);
    lib.SetProperty_Bool(proxy_, KESTRUM_PROPERTY_SCENE_FLAG_A, 0, 0);
    EXPECT_EQ(lib.GetProperty_Bool(proxy_, KESTRUM_PROPERTY_SCENE_FLAG_A), 0);
    lib.SetProperty_Bool(proxy_, KESTRUM_PROPERTY_SCENE_FLAG_A, 1, 0);
    EXPECT_EQ(lib.GetProperty_Bool(proxy_, KESTRUM_PROPERTY_SCENE_FLAG_A), 1);
    lib.SetProperty_Int32(proxy_, KESTRUM_PROPERTY_LIGHTING_SCHEME, 10, 0);
    EXPECT_EQ(lib.GetProperty_Int32(proxy_, KESTRUM_PROPERTY_LIGHTING_SCHEME), 10);
}

TEST_F(RenderProxyTest, BackgroundPropertyChangesThePicture) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    ASSERT_EQ(Load(TestFile("box.u3d")).success, 1);

    lib.SetProperty_Int32(proxy_, KESTRUM_PROPERTY_BACKGROUND, 0xFF0000, 0);
    EXPECT_EQ(lib.GetProperty_Int32(proxy_, KESTRUM_PROPERTY_BACKGROUND), 0xFF0000);
    Picture red;
    ASSERT_TRUE(Shot(red));
    ASSERT_EQ(red.width, 200u);
    EXPECT_EQ(red.At(0, 0)[0], 255);
    EXPECT_EQ(red.At(0, 0)[2], 0);

    lib.SetProperty_Int32(proxy_, KESTRUM_PROPERTY_BACKGROUND, 0x0000FF, 1);
    Picture blue;
    ASSERT_TRUE(Shot(blue));
    EXPECT_EQ(blue.At(0, 0)[0], 0);
    EXPECT_EQ(blue.At(0, 0)[2], 255);
}

TEST_F(RenderProxyTest, ResizingTheChildWindowResizesTheView) {
    proxy_ = MakeProxy(200, 150);
    ASSERT_NE(proxy_, nullptr);
    ASSERT_EQ(Load(TestFile("box.u3d")).success, 1);
    const Window child = static_cast<Window>(lib.GetRenderProxyHwnd(proxy_));
    XResizeWindow(host_, child, 260, 180);
    XSync(host_, False);
    // The size crosses to the view at the next frame after the event was read.
    Picture picture;
    const bool resized = WaitFor([&] { return Shot(picture) && picture.width == 260 && picture.height == 180; });
    EXPECT_TRUE(resized) << picture.width << "x" << picture.height;
}

TEST_F(RenderProxyTest, ReleaseWithAnOpenSceneUnlinksIt) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    const Answer load = Load(SampleScene());
    ASSERT_EQ(load.success, 1);
    lib.DestroyRenderProxy(proxy_);
    proxy_ = nullptr;
    EXPECT_TRUE(lib.LogSaw("scene " + std::to_string(load.handle) + " not referenced any more, will be released"));
}

// ---- the command-line host -------------------------------------------------------------------

std::string KestrumTool() {
    std::string library = KESTRUM_LIBRARY_PATH;
    return library.substr(0, library.rfind('/')) + "/../tools/kestrum";
}

TEST(KestrumInfo, PrintsTheCameraNamesOfAScene) {
    const std::string tool = KestrumTool();
    if (access(tool.c_str(), X_OK) != 0) GTEST_SKIP() << "kestrum is not built: " << tool;
    const std::string command = "'" + tool + "' -L '" + KESTRUM_LIBRARY_PATH + "' info '" + SampleScene() + "' 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    char buffer[512];
    while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
    EXPECT_EQ(pclose(pipe), 0) << output;
    EXPECT_NE(output.find("cameras: 3"), std::string::npos) << output;
    EXPECT_NE(output.find("    <Built-In-Camera>\n"), std::string::npos) << output;
    EXPECT_NE(output.find("    Front\n"), std::string::npos) << output;
    EXPECT_NE(output.find("    Top\n"), std::string::npos) << output;
    EXPECT_NE(output.find("U3D-Scene statistics:"), std::string::npos) << output;
}

TEST(KestrumInfo, WithoutADisplayKeepsTheStatisticsAndSaysWhy) {
    const std::string tool = KestrumTool();
    if (access(tool.c_str(), X_OK) != 0) GTEST_SKIP() << "kestrum is not built: " << tool;
    const std::string command =
        "env -u DISPLAY '" + tool + "' -L '" + KESTRUM_LIBRARY_PATH + "' info '" + SampleScene() + "' 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    char buffer[512];
    while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
    EXPECT_EQ(pclose(pipe), 0) << output;
    EXPECT_NE(output.find("U3D-Scene statistics:"), std::string::npos) << output;
    EXPECT_NE(output.find("camera names need an X display"), std::string::npos) << output;
}

}  // namespace
