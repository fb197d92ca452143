// The concurrent capture hosts of capture_stress.h while a further host thread creates render
// proxies in a window of its own, loads a scene into each, lets it be drawn for a few frames and
// releases it: the live views and the capture views draw in between each other on the one
// context, and neither may change the other's pictures.

#include "host/capture_stress.h"

// After the test headers: Xlib's macros would clash with names in them.
#include <X11/Xlib.h>

namespace {

using namespace KestrumCaptureStress;

// Frames a proxy's scene is drawn for before the proxy goes (at most one frame per 6 ms).
constexpr int kProxyLifeMs = 30;
constexpr int32_t kProxyWidth = 160;
constexpr int32_t kProxyHeight = 120;

// Creates, loads and releases proxies until the hosts are done.
void ProxyActivity(StressRun& run) {
    Display* host = XOpenDisplay(nullptr);
    if (!host) {
        run.failures.Add("proxy thread: no X server");
        return;
    }
    const Window window = XCreateSimpleWindow(host, DefaultRootWindow(host), 0, 0, 400, 300, 0, 0, 0);
    XMapWindow(host, window);
    XSync(host, False);
    Library& lib = Library::Get();
    int created = 0;
    for (uint32_t cycle = 0; !run.hostsDone; ++cycle) {
        Kestrum::CreateInfo create{};
        create.parentWindow = window;
        create.width = kProxyWidth;
        create.height = kProxyHeight;
        Kestrum::RenderProxyInfo info{};
        Kestrum::RenderProxy3D* proxy = lib.CreateRenderProxy(create, &info);
        if (!proxy) {
            run.failures.Add("proxy " + std::to_string(cycle) + ": creation failed");
            break;
        }
        ++created;
        const std::string& file = run.files[cycle % run.files.size()];
        const std::u16string path16 = Utf16(file);
        Kestrum::LoadSceneParameters load;
        std::memset(&load, 0, sizeof load);
        load.flags = Kestrum::KESTRUM_LOAD_FROM_FILE;
        load.path = path16.c_str();
        load.userTag = kSideKeyBit | cycle;
        Kestrum::ViewParameters view;
        std::memset(&view, 0, sizeof view);
        view.flags = Kestrum::KESTRUM_VIEW_ACTIVATE;
        view.lightingScheme = 1;
        view.fieldOfView = 45.0f;
        lib.LoadScene(0, proxy, load, view, OnStressLoad);
        ++run.sideRequests;
        const Answer loaded = Answers::Get().Take(kSideKeyBit | cycle);
        if (!loaded.answered || loaded.success != 1)
            run.failures.Add("proxy " + std::to_string(cycle) + ": load " +
                             (loaded.answered ? "failed" : "unanswered"));
        std::this_thread::sleep_for(std::chrono::milliseconds(kProxyLifeMs));
        lib.DestroyRenderProxy(proxy);
    }
    XDestroyWindow(host, window);
    XCloseDisplay(host);
    if (created == 0) run.failures.Add("proxy thread: no proxy was made while the hosts ran");
}

class CaptureStressWithProxies : public CaptureTest {};

TEST_F(CaptureStressWithProxies, CapturesBesideLiveViewsGetEveryAnswerOnceAndTheLonePicture) {
    if (std::getenv("DISPLAY") == nullptr) GTEST_SKIP() << "no X server";
    RunCaptureStress(ProxyActivity);
}

}  // namespace
