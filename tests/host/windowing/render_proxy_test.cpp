// Live views under a virtual X server: windows, the render proxy and the tool's camera listing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <dlfcn.h>
#include <epoxy/gl.h>
#include <png.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Kestrum.h"
#include "host/capture_library.h"
#include "host/windowing/RenderWindow.h"
#include "host/windowing/WindowClassRegistrar.h"
#include "host/windowing/X11Connection.h"
#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "support/ExportedLibrary.h"
#include "support/LogCapture.h"
#include "support/Polling.h"

namespace {

using namespace Velmora::Windowing;
using KestrumCaptureTest::Picture;
using KestrumCaptureTest::ReadPng;
using Velmora::Rendering::OpenGLContext;
using Velmora::Rendering::Renderer;

class EventRecorder : public WindowEventListener {
public:
    void OnResize(int32_t w, int32_t h) override { events.push_back("size " + Pair(w, h)); }
    void OnMouseMove(int32_t x, int32_t y) override { events.push_back("move " + Pair(x, y)); }
    void OnMouseButton(uint32_t button, bool down, int32_t x, int32_t y) override {
        events.push_back("button " + std::to_string(button) + (down ? " down " : " up ") + Pair(x, y));
    }
    void OnMouseWheel(int32_t delta) override { events.push_back("wheel " + std::to_string(delta)); }
    static std::string Pair(int32_t a, int32_t b) { return std::to_string(a) + "," + std::to_string(b); }
    std::vector<std::string> events;
};

// A host connection with a mapped top-level window, as the host gives the library.
class HostWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        host_ = XOpenDisplay(nullptr);
        if (!host_) GTEST_SKIP() << "no X server";
        hostWindow_ = XCreateSimpleWindow(host_, DefaultRootWindow(host_), 0, 0, 400, 300, 0, 0, 0);
        XMapWindow(host_, hostWindow_);
        XSync(host_, False);
    }
    void TearDown() override {
        if (host_) {
            XDestroyWindow(host_, hostWindow_);
            XCloseDisplay(host_);
        }
    }
    Display* host_ = nullptr;
    Window hostWindow_ = 0;
};

// The library's own connection beside the host's.
class WindowTest : public HostWindowTest {
protected:
    void SetUp() override {
        HostWindowTest::SetUp();
        if (IsSkipped()) return;
        ASSERT_NE(X11Connection::Instance().Open(), nullptr);
    }
    static constexpr int kPumpTimeoutMs = 1000;
    static constexpr int kPumpPollMs = 2;
    // Reads the library's connection until `done` holds or a second has passed.
    template <typename Done>
    bool PumpUntil(Done done) {
        return Velmora::Test::WaitFor(
            [&] {
                WindowBase::ProcessPendingEvents();
                return done();
            },
            kPumpTimeoutMs, kPumpPollMs);
    }
    // Everything the server has sent the library so far, dispatched.
    void Settle() {
        XSync(host_, False);
        X11Connection::Instance().SyncAndTakeError();
        WindowBase::ProcessPendingEvents();
    }
    void SendButton(Window window, unsigned button, bool down, int x, int y) {
        XEvent event{};
        event.xbutton.type = down ? ButtonPress : ButtonRelease;
        event.xbutton.display = host_;
        event.xbutton.window = window;
        event.xbutton.button = button;
        event.xbutton.x = x;
        event.xbutton.y = y;
        event.xbutton.same_screen = True;
        XSendEvent(host_, window, False, down ? ButtonPressMask : ButtonReleaseMask, &event);
        XFlush(host_);
    }
    void SendMotion(Window window, int x, int y) {
        XEvent event{};
        event.xmotion.type = MotionNotify;
        event.xmotion.display = host_;
        event.xmotion.window = window;
        event.xmotion.x = x;
        event.xmotion.y = y;
        event.xmotion.same_screen = True;
        XSendEvent(host_, window, False, PointerMotionMask, &event);
        XFlush(host_);
    }

    Velmora::Test::LogCapture log_;
};

TEST_F(WindowTest, ChildWindowOfHostReceivesPointerEvents) {
    RenderWindow window;
    ASSERT_TRUE(window.Create({hostWindow_, 200, 150}));
    EXPECT_TRUE(WindowClassRegistrar::Instance().IsRegistered(RenderWindow::kClassName));
    EventRecorder recorder;
    window.AddObserver(&recorder);
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    ASSERT_TRUE(XQueryTree(host_, static_cast<Window>(window.GetHandle()), &root, &parent, &children, &count));
    if (children) XFree(children);
    EXPECT_EQ(parent, hostWindow_);
    const Window child = static_cast<Window>(window.GetHandle());
    SendButton(child, Button1, true, 10, 20);
    SendMotion(child, 11, 22);
    SendButton(child, Button1, false, 12, 24);
    SendButton(child, Button3, true, 30, 40);
    SendButton(child, Button2, false, 31, 41);
    SendButton(child, Button4, true, 0, 0);
    SendButton(child, Button4, false, 0, 0);
    SendButton(child, Button5, true, 0, 0);
    const std::vector<std::string> expected = {"button 0 down 10,20", "move 11,22",        "button 0 up 12,24",
                                               "button 1 down 30,40", "button 2 up 31,41", "wheel 120",
                                               "wheel -120"};
    EXPECT_TRUE(PumpUntil([&] { return recorder.events.size() >= expected.size(); }));
    EXPECT_EQ(recorder.events, expected);
    window.RemoveObserver(&recorder);
    SendMotion(child, 1, 1);
    Settle();
    EXPECT_EQ(recorder.events.size(), expected.size());
}

using namespace Kestrum;

using KestrumCaptureTest::Library;
using KestrumCaptureTest::TestFile;
using KestrumCaptureTest::Utf16;
using Velmora::Test::WaitFor;
std::string SampleScene() { return KestrumCaptureTest::SourceFile("scenes/sample.u3d"); }

struct Answer {
    bool answered = false;
    int success = -1;
    uint32_t handle = 0;
    uint32_t userTag = 0;
    std::vector<std::string> cameras;
    bool hasActive = false;
    std::string active;
};

using Pending = KestrumCaptureTest::BasicPending<Answer>;

void TakeActive(const ActiveCameraInfo* info, Answer& a) {
    if (info == nullptr) return;
    a.hasActive = true;
    a.active.assign(info->name, info->nameLength);
}

void OnLoad(LoadSceneResult* result, int success) {
    Answer a;
    a.success = success;
    a.handle = result->sceneHandle;
    a.userTag = result->userTag;
    for (uint32_t i = 0; result->cameraNames && i < result->cameraCount; ++i)
        a.cameras.emplace_back(result->cameraNames[i], size_t(result->cameraNameLengths[i]));
    TakeActive(result->activeCamera, a);
    Pending::Get().Deliver(std::move(a));
}
void OnCamera(ActiveCameraInfo* info, int success) {
    Answer a;
    a.success = success;
    TakeActive(info, a);
    Pending::Get().Deliver(std::move(a));
}
void OnCameraList(int, const char* const* names, const int* lengths, uint32_t count) {
    Answer a;
    a.success = 1;
    for (uint32_t i = 0; i < count; ++i) a.cameras.emplace_back(names[i], size_t(lengths[i]));
    Pending::Get().Deliver(std::move(a));
}
void OnHandle(uint32_t handle) {
    Answer a;
    a.success = 1;
    a.handle = handle;
    Pending::Get().Deliver(std::move(a));
}

std::vector<uint32_t> g_anisotropyLevels;
void OnCapability(uint32_t kind, const uint32_t* values, uint32_t count) {
    if (kind == 1) g_anisotropyLevels.assign(values, values + count);
}

class RenderProxyTest : public HostWindowTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(lib.Loaded()) << KESTRUM_LIBRARY_PATH << ": " << dlerror();
        HostWindowTest::SetUp();
        lib.ClearLog();
    }
    void TearDown() override {
        if (proxy_) lib.DestroyRenderProxy(proxy_);
        HostWindowTest::TearDown();
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
        Pending::Get().Reset();
        lib.LoadScene(0, proxy_, load, view, OnLoad);
        return Pending::Get().Wait();
    }
    Answer Activate(ECameraActivationType type, const std::string& name = std::string()) {
        const std::u16string name16 = Utf16(name);
        Pending::Get().Reset();
        lib.ActivateCamera(0, proxy_, type, name16.c_str(), OnCamera);
        return Pending::Get().Wait();
    }
    Answer Cameras() {
        Pending::Get().Reset();
        lib.GetAvailableCameras(proxy_, OnCameraList);
        return Pending::Get().Wait();
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
    RenderProxy3D* proxy_ = nullptr;
    RenderProxyInfo info_{};
    std::vector<std::string> files_;
};

TEST_F(RenderProxyTest, CreationMakesAChildWindowAndReportsTheView) {
    g_anisotropyLevels.clear();
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    EXPECT_EQ(std::string(info_.instanceName, info_.instanceNameLength).rfind("RenderProxy3D_Inst_", 0), 0u);
    EXPECT_GE(info_.anisotropy, 1u);
    const KestrumWindow child = lib.GetRenderProxyHwnd(proxy_);
    ASSERT_NE(child, 0u);
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    ASSERT_TRUE(XQueryTree(host_, static_cast<Window>(child), &root, &parent, &children, &count));
    if (children) XFree(children);
    EXPECT_EQ(parent, hostWindow_);
    ASSERT_FALSE(g_anisotropyLevels.empty());
    EXPECT_EQ(g_anisotropyLevels.front(), 2u);
    for (size_t i = 1; i < g_anisotropyLevels.size(); ++i)
        EXPECT_EQ(g_anisotropyLevels[i], g_anisotropyLevels[i - 1] * 2);
    EXPECT_GE(lib.GetProperty_Int32(proxy_, KESTRUM_PROPERTY_GL_MAJOR), 3);
    EXPECT_EQ(lib.IsSceneLoaded(proxy_), 0);
}

TEST_F(RenderProxyTest, LoadReportsTheSceneCamerasWithTheBuiltInCameraRenamed) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    const Answer load = Load(SampleScene(), 77);
    ASSERT_EQ(load.success, 1);
    EXPECT_NE(load.handle, 0u);
    EXPECT_EQ(load.userTag, 77u);
    EXPECT_THAT(load.cameras, testing::Contains("<Built-In-Camera>"));
    EXPECT_THAT(load.cameras, testing::Contains("Front"));
    EXPECT_THAT(load.cameras, testing::Contains("Top"));
    EXPECT_THAT(load.cameras, testing::Not(testing::Contains("___DefaultCamera")));
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
    EXPECT_THAT(load.cameras, testing::Contains("<Built-In-Camera>"));
    EXPECT_GE(load.cameras.size(), 2u) << "views.u3d holds named views besides the built-in camera";
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
    EXPECT_THAT(Cameras().cameras, testing::Contains("Front"));
    Pending::Get().Reset();
    lib.CloseScene(proxy_, OnHandle);
    EXPECT_EQ(Pending::Get().Wait().handle, good.handle);
    EXPECT_EQ(lib.IsSceneLoaded(proxy_), 0);
    Pending::Get().Reset();
    lib.CloseScene(proxy_, OnHandle);
    EXPECT_EQ(Pending::Get().Wait().handle, 0u) << "nothing left to close";
}

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
    std::vector<std::string> seen;
    for (int i = 0; i < 3; ++i) {
        a = Activate(KESTRUM_CAMERA_NEXT);
        ASSERT_EQ(a.success, 1);
        seen.push_back(a.active);
    }
    EXPECT_EQ(seen.back(), "<Built-In-Camera>");
    EXPECT_THAT(seen, testing::Contains("Front"));
    EXPECT_THAT(seen, testing::Contains("Top"));
    EXPECT_EQ(Activate(KESTRUM_CAMERA_BY_NAME, "NoSuchCamera").success, 0);
    EXPECT_EQ(Activate(7).success, 0);
}

TEST_F(RenderProxyTest, BackgroundPropertyChangesThePicture) {
    proxy_ = MakeProxy();
    ASSERT_NE(proxy_, nullptr);
    ASSERT_EQ(Load(TestFile("box.u3d")).success, 1);
    lib.SetProperty_Int32(proxy_, KESTRUM_PROPERTY_BACKGROUND, 0xFF0000, 0);
    EXPECT_EQ(lib.GetProperty_Int32(proxy_, KESTRUM_PROPERTY_BACKGROUND), 0xFF0000);
    Picture red;
    ASSERT_TRUE(Shot(red));
    ASSERT_EQ(red.width, 200);
    EXPECT_EQ(red.At(0, 0)[2], 255);  // BGRA
    EXPECT_EQ(red.At(0, 0)[0], 0);
    lib.SetProperty_Int32(proxy_, KESTRUM_PROPERTY_BACKGROUND, 0x0000FF, 1);
    Picture blue;
    ASSERT_TRUE(Shot(blue));
    EXPECT_EQ(blue.At(0, 0)[2], 0);
    EXPECT_EQ(blue.At(0, 0)[0], 255);
}

}  // namespace
