// The window layer on a real X server (the test program runs under a virtual one): a host
// window made on the test's own connection, the library's child window inside it, events sent
// through the server and read back on the library's connection.

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// gtest before Xlib: Xlib's macros (None, Bool, Status) would break gtest's templates.
#include <gtest/gtest.h>
#include <epoxy/gl.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include "host/windowing/CaptureWindow.h"
#include "host/windowing/RenderWindow.h"
#include "host/windowing/WindowClassRegistrar.h"
#include "host/windowing/X11Connection.h"
#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "util/Logger.h"

namespace {

using namespace Velmora::Windowing;
using Velmora::Rendering::OpenGLContext;
using Velmora::Rendering::Renderer;
using Velmora::Utility::LogStream;
using Velmora::Utility::Logger;

class ErrorLog : public LogStream {
public:
    void Write(int32_t level, const std::string& text) override {
        if (level == 1) errors.push_back(text.substr(0, text.find_last_not_of('\n') + 1));
    }
    bool Has(const std::string& text) const { return std::find(errors.begin(), errors.end(), text) != errors.end(); }
    std::vector<std::string> errors;
};

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

TEST(WindowClassRegistrar, RegistersByNameOnce) {
    auto& registrar = WindowClassRegistrar::Instance();
    EXPECT_FALSE(registrar.Register({u"", &WindowBase::SharedWindowProc}));
    EXPECT_FALSE(registrar.Register({u"TestClass", nullptr}));
    EXPECT_FALSE(registrar.IsRegistered(u"TestClass"));
    EXPECT_TRUE(registrar.Register({u"TestClass", &WindowBase::SharedWindowProc}));
    EXPECT_TRUE(registrar.Register({u"TestClass", &WindowBase::SharedWindowProc}));
    EXPECT_TRUE(registrar.IsRegistered(u"TestClass"));
    registrar.UnregisterAll();
    EXPECT_FALSE(registrar.IsRegistered(u"TestClass"));
}

// The library's connection plus a host connection with a mapped top-level window.
class WindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        previous_ = Logger::Instance().Stream();
        log_ = std::make_shared<ErrorLog>();
        Logger::Instance().SetStream(log_);
        host_ = XOpenDisplay(nullptr);
        if (!host_) GTEST_SKIP() << "no X server";
        ASSERT_NE(X11Connection::Instance().Open(), nullptr);
        hostWindow_ = XCreateSimpleWindow(host_, DefaultRootWindow(host_), 0, 0, 400, 300, 0, 0, 0);
        XMapWindow(host_, hostWindow_);
        XSync(host_, False);
    }
    void TearDown() override {
        if (host_) {
            XDestroyWindow(host_, hostWindow_);
            XCloseDisplay(host_);
        }
        Logger::Instance().SetStream(previous_);
    }
    // Reads the library's connection until `done` holds or a second has passed.
    template <typename Done>
    bool PumpUntil(Done done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        while (std::chrono::steady_clock::now() < deadline) {
            WindowBase::ProcessPendingEvents();
            if (done()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return false;
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

    std::shared_ptr<ErrorLog> log_;
    std::shared_ptr<LogStream> previous_;
    Display* host_ = nullptr;
    Window hostWindow_ = 0;
};

TEST_F(WindowTest, RenderWindowRefusesBadParentsAndSmallSizes) {
    RenderWindow window;
    EXPECT_FALSE(window.Create({0, 100, 100}));
    EXPECT_TRUE(log_->Has("RenderWindow class needs parent hwnd"));
    log_->errors.clear();
    EXPECT_FALSE(window.Create({hostWindow_, 49, 100}));
    EXPECT_TRUE(log_->Has("RenderWindow minimum size requirements not met"));
    log_->errors.clear();
    EXPECT_FALSE(window.Create({hostWindow_, 100, 49}));
    EXPECT_TRUE(log_->Has("RenderWindow minimum size requirements not met"));
    EXPECT_EQ(window.GetHandle(), 0u);

    // A parent id that names no window costs the window, not the process.
    log_->errors.clear();
    EXPECT_FALSE(window.Create({0x1FFFFF0u, 100, 100}));
    EXPECT_TRUE(log_->Has("CreateWindowEx failed to create RenderWindow"));
    EXPECT_EQ(window.GetHandle(), 0u);

    EXPECT_TRUE(window.Create({hostWindow_, 50, 50}));
    EXPECT_NE(window.GetHandle(), 0u);
}

TEST_F(WindowTest, ChildWindowOfHostReceivesPointerEvents) {
    RenderWindow window;
    ASSERT_TRUE(window.Create({hostWindow_, 200, 150}));
    EXPECT_TRUE(WindowClassRegistrar::Instance().IsRegistered(RenderWindow::kClassName));
    EventRecorder recorder;
    window.AddObserver(&recorder);

    // The child really hangs below the host window.
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
    const std::vector<std::string> expected = {"button 0 down 10,20", "move 11,22", "button 0 up 12,24",
                                               "button 1 down 30,40", "button 2 up 31,41", "wheel 120",
                                               "wheel -120"};
    EXPECT_TRUE(PumpUntil([&] { return recorder.events.size() >= expected.size(); }));
    EXPECT_EQ(recorder.events, expected);

    // A removed observer hears nothing more.
    window.RemoveObserver(&recorder);
    SendMotion(child, 1, 1);
    Settle();
    EXPECT_EQ(recorder.events.size(), expected.size());
}

TEST_F(WindowTest, ResizeNotifiesOnlyWhenTheSizeChanges) {
    RenderWindow window;
    ASSERT_TRUE(window.Create({hostWindow_, 120, 80}));
    EventRecorder recorder;
    window.AddObserver(&recorder);
    const Window child = static_cast<Window>(window.GetHandle());

    // A move reports the same size: nobody is told.
    XMoveWindow(host_, child, 5, 5);
    XSync(host_, False);
    Settle();
    window.WindowProc(window.GetHandle(), kMessageSize, 0, PackPoint(120, 80));
    EXPECT_TRUE(recorder.events.empty());

    XResizeWindow(host_, child, 160, 90);
    XSync(host_, False);
    EXPECT_TRUE(PumpUntil([&] { return !recorder.events.empty(); }));
    EXPECT_EQ(recorder.events, (std::vector<std::string>{"size 160,90"}));
    EXPECT_EQ(window.GetWidth(), 160);
    EXPECT_EQ(window.GetHeight(), 90);
    EXPECT_EQ(window.GetDC()->width, 160);
    window.RemoveObserver(&recorder);
}

TEST_F(WindowTest, DestroyedWindowIsForgotten) {
    auto window = std::make_unique<RenderWindow>();
    ASSERT_TRUE(window->Create({hostWindow_, 64, 64}));
    const NativeHandle handle = window->GetHandle();
    EXPECT_EQ(WindowBase::FromHandle(handle), window.get());
    EXPECT_EQ(WindowBase::GetDC(handle), window->GetDC());
    EXPECT_EQ(window->GetDC()->window, handle);
    EventRecorder recorder;
    window->AddObserver(&recorder);
    // Events already on their way when the window goes away reach nobody.
    SendButton(static_cast<Window>(handle), Button1, true, 3, 3);
    XSync(host_, False);
    window->Destroy();
    EXPECT_EQ(window->GetHandle(), 0u);
    EXPECT_EQ(WindowBase::FromHandle(handle), nullptr);
    Settle();
    EXPECT_TRUE(recorder.events.empty());
    window->RemoveObserver(&recorder);
    window.reset();
}

TEST_F(WindowTest, CaptureWindowIsAnOffscreenDrawable) {
    CaptureWindow a, b;
    ASSERT_TRUE(a.Create({0, 50, 50}));
    ASSERT_TRUE(b.Create({0, 0, 0}));
    EXPECT_TRUE(WindowClassRegistrar::Instance().IsRegistered(CaptureWindow::kClassName));
    EXPECT_NE(a.GetHandle(), 0u);
    EXPECT_NE(a.GetHandle(), b.GetHandle());
    // Pseudo ids never collide with X ids (29 bits).
    EXPECT_GT(a.GetHandle(), 0x1FFFFFFFu);
    EXPECT_EQ(a.GetDC()->window, 0u);
    EXPECT_EQ(b.GetWidth(), 50);
    EXPECT_EQ(WindowBase::FromHandle(b.GetHandle()), &b);
    const NativeHandle handle = a.GetHandle();
    a.Destroy();
    EXPECT_EQ(WindowBase::FromHandle(handle), nullptr);
}

// The GL side of windows: a window surface on the child window and a pbuffer for capture.
class WindowGLTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        Renderer& renderer = Renderer::Instance();
        if (!renderer.IsInitialized()) {
            ASSERT_TRUE(renderer.Init({}));
        }
        ASSERT_TRUE(OpenGLContext::Instance().HasWindowSystem());
    }
};

TEST_F(WindowGLTest, RenderWindowShowsWhatIsDrawn) {
    OpenGLContext& context = OpenGLContext::Instance();
    RenderWindow window;
    ASSERT_TRUE(window.Create({hostWindow_, 80, 60}));
    Velmora::Rendering::DeviceContext* dc = WindowBase::GetDC(window.GetHandle());
    ASSERT_TRUE(context.CreateContextForWindow(dc));
    ASSERT_TRUE(context.Activate(dc));
    glViewport(0, 0, 80, 60);
    glClearColor(1.0f, 0.0f, 0.0f, 1.0f);

    // The server presents a swap (and maps the window) asynchronously, so a read right after
    // the swap may still see the old contents: draw and look again until the colour shows.
    unsigned long pixel = 0, redMask = 0, otherMask = 0;
    bool red = false;
    for (int attempt = 0; attempt < 100 && !red; ++attempt) {
        glClear(GL_COLOR_BUFFER_BIT);
        ASSERT_TRUE(context.SwapBuffers(dc));
        ASSERT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
        XSync(host_, False);
        XImage* image = XGetImage(host_, static_cast<Window>(window.GetHandle()), 0, 0, 80, 60, AllPlanes, ZPixmap);
        ASSERT_NE(image, nullptr);
        pixel = XGetPixel(image, 40, 30);
        redMask = image->red_mask;
        otherMask = image->green_mask | image->blue_mask;
        XDestroyImage(image);
        red = (pixel & redMask) == redMask && (pixel & otherMask) == 0;
        if (!red) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    // What the server shows in the child window is the cleared colour.
    EXPECT_EQ(pixel & redMask, redMask);
    EXPECT_EQ(pixel & otherMask, 0u);

    // Destroying the window gives its surface back and returns to the shared drawable.
    window.Destroy();
    EXPECT_FALSE(dc->bound);
    EXPECT_EQ(context.CurrentDC(), context.SharedDC());
}

TEST_F(WindowGLTest, CaptureWindowTakesAPbuffer) {
    OpenGLContext& context = OpenGLContext::Instance();
    CaptureWindow window;
    ASSERT_TRUE(window.Create({0, 50, 50}));
    auto* dc = window.GetDC();
    ASSERT_TRUE(context.CreateContextForWindow(dc));
    EXPECT_NE(dc->surface, nullptr);
    ASSERT_TRUE(context.Activate(dc));
    glClearColor(0.0f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    unsigned char rgba[4] = {};
    glReadPixels(10, 10, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
    EXPECT_EQ(rgba[1], 255);
    EXPECT_EQ(rgba[0], 0);
    context.ReleaseDC(dc);
    EXPECT_EQ(context.CurrentDC(), context.SharedDC());
    window.Destroy();
}

}  // namespace
