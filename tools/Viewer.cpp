#include "Viewer.h"

#include <poll.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

// Last: Xlib's macros (None, Bool, Status) would clash with names in the headers above.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

namespace KestrumTool {

namespace {

namespace fs = std::filesystem;

// Scheme numbers of the lighting property, in the library's order.
constexpr const char* kLightingNames[] = {"None",    "Artwork", "White", "Day",  "Night", "Hard",
                                          "Primary", "Blue",    "Red",   "Cube", "CAD",   "Headlamp"};
constexpr int32_t kLightingCount = static_cast<int32_t>(sizeof kLightingNames / sizeof kLightingNames[0]);

// The library refuses a view smaller than this on either side.
constexpr int kMinimumViewSize = 50;
// How long the loop waits for X events before it looks at the library's answers again.
constexpr int kIdleWaitMs = 20;
// The library's name of its built-in camera, and the one its camera lists give the host.
constexpr const char* kInternalDefaultCamera = "___DefaultCamera";
constexpr const char* kBuiltInCamera = "<Built-In-Camera>";
// The built-in camera stands two scene sizes away: this field of view, on the shorter side of
// the window, keeps the whole scene in sight.
constexpr float kBuiltInFieldOfView = 45.0f;
constexpr uint32_t kFieldOfViewOnShorterSide = 2;
// Screenshots are numbered; a run never overwrites an earlier one.
constexpr int kMaxScreenshotNumber = 9999;

constexpr const char* kKeyHelp =
    "keys: c next camera, b built-in camera, l/L next/previous lighting, a axes, g grid,\n"
    "      f fine zoom, r reset view, s screenshot, h this list, q or Esc close\n"
    "mouse: left drag orbit, right drag pan, wheel zoom\n";

// What the render thread hands back; the callbacks carry no user data, so there is one.
struct Answers {
    std::mutex mutex;
    bool loadAnswered = false;
    bool loadSucceeded = false;
    std::vector<std::string> cameras;
    std::string activeCamera;
    bool cameraChanged = false;
};

Answers& TheAnswers() {
    static Answers answers;
    return answers;
}

std::string CameraTitle(const char* name, size_t length) {
    std::string camera(name ? name : "", name ? length : 0);
    return camera == kInternalDefaultCamera ? std::string(kBuiltInCamera) : camera;
}

void OnLoaded(Kestrum::LoadSceneResult* result, int success) {
    Answers& answers = TheAnswers();
    std::lock_guard<std::mutex> lock(answers.mutex);
    answers.loadAnswered = true;
    answers.loadSucceeded = success != 0 && result != nullptr;
    answers.cameras.clear();
    if (result == nullptr) return;
    for (uint32_t i = 0; i < result->cameraCount && result->cameraNames && result->cameraNameLengths; ++i)
        answers.cameras.emplace_back(result->cameraNames[i], static_cast<size_t>(result->cameraNameLengths[i]));
    if (result->activeCamera) {
        answers.activeCamera = CameraTitle(result->activeCamera->name, result->activeCamera->nameLength);
        answers.cameraChanged = true;
    }
}

void OnCameraActivated(Kestrum::ActiveCameraInfo* info, int success) {
    if (!success || info == nullptr) return;
    Answers& answers = TheAnswers();
    std::lock_guard<std::mutex> lock(answers.mutex);
    answers.activeCamera = CameraTitle(info->name, info->nameLength);
    answers.cameraChanged = true;
}

void OnSceneClosed(uint32_t) {}

class Viewer {
public:
    Viewer(const Library& lib, const ViewerSource& source, const ViewerOptions& options)
        : lib_(lib),
          source_(source),
          options_(options),
          width_(options.width),
          height_(options.height),
          lighting_(static_cast<int32_t>(options.lighting)) {}

    int Run();

private:
    enum class LoadState { Loading, Shown, Failed };

    std::string Name() const;
    bool OpenWindow();
    bool CreateProxy();
    void PrepareLoad();
    void StartLoad();
    void Loop();
    void HandleEvent(XEvent& event);
    void HandleKey(XKeyEvent& event);
    void HandleAnswers();
    void Resize(int width, int height);
    void UpdateTitle();
    void CycleLighting(int32_t step);
    void ToggleProperty(uint32_t id, bool& state, const char* what);
    void ActivateCamera(Kestrum::ECameraActivationType type);
    void ResetView();
    void SaveScreenshot();
    std::string NextScreenshotPath() const;
    void Close();

    const Library& lib_;
    const ViewerSource& source_;
    const ViewerOptions& options_;
    HostWindow host_;
    Display* display_ = nullptr;
    Window window_ = 0;
    Atom deleteWindow_ = 0;
    Kestrum::RenderProxy3D* proxy_ = nullptr;
    int width_;
    int height_;
    int32_t lighting_;
    bool axes_ = false;
    bool grid_ = false;
    bool fineZoom_ = false;
    LoadState loadState_ = LoadState::Loading;
    std::string activeCamera_;
    bool quit_ = false;
    int exitCode_ = 0;

    // Kept alive for the load requests, which read them on the render thread.
    std::u16string path16_;
    std::u16string camera16_;
    std::vector<std::u16string> views16_;
    std::vector<const char16_t*> viewPointers_;
    Kestrum::LoadSceneParameters load_{};
    Kestrum::ViewParameters view_{};
};

std::string Viewer::Name() const {
    if (!source_.name.empty()) return source_.name;
    return fs::path(source_.path).filename().string();
}

bool Viewer::OpenWindow() {
    if (!OpenHostWindow(width_, height_, host_)) {
        std::fprintf(stderr, "kestrum: view needs an X display\n");
        return false;
    }
    display_ = static_cast<Display*>(host_.display);
    window_ = static_cast<Window>(host_.window);
    XSelectInput(display_, window_, KeyPressMask | StructureNotifyMask);
    // The close button asks rather than kills, so that the view goes down in order.
    deleteWindow_ = XInternAtom(display_, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(display_, window_, &deleteWindow_, 1);
    XSizeHints* hints = XAllocSizeHints();
    if (hints) {
        hints->flags = PMinSize;
        hints->min_width = kMinimumViewSize;
        hints->min_height = kMinimumViewSize;
        XSetWMNormalHints(display_, window_, hints);
        XFree(hints);
    }
    XClassHint* classHint = XAllocClassHint();
    if (classHint) {
        char name[] = "kestrum";
        classHint->res_name = name;
        classHint->res_class = name;
        XSetClassHint(display_, window_, classHint);
        XFree(classHint);
    }
    UpdateTitle();
    return true;
}

bool Viewer::CreateProxy() {
    Kestrum::CreateInfo create;
    std::memset(&create, 0, sizeof create);
    create.parentWindow = host_.window;
    create.width = width_;
    create.height = height_;
    Kestrum::RenderProxyInfo info;
    std::memset(&info, 0, sizeof info);
    proxy_ = lib_.CreateRenderProxy(create, &info);
    if (proxy_ == nullptr) {
        std::fprintf(stderr, "kestrum: the library could not make its view\n");
        return false;
    }
    return true;
}

// The load and view records, built once: a reset repeats the very same load.
void Viewer::PrepareLoad() {
    std::memset(&load_, 0, sizeof load_);
    if (!source_.data.empty()) {
        load_.flags = Kestrum::KESTRUM_LOAD_FROM_MEMORY;
        load_.data = source_.data.data();
        load_.dataSize = static_cast<uint32_t>(source_.data.size());
    } else {
        path16_ = ToUtf16(fs::absolute(source_.path).string());
        load_.flags = Kestrum::KESTRUM_LOAD_FROM_FILE;
        load_.path = path16_.c_str();
    }
    for (const std::string& text : source_.viewTexts) views16_.push_back(ToUtf16(text));
    for (const std::u16string& text : views16_) viewPointers_.push_back(text.c_str());
    if (!viewPointers_.empty()) {
        load_.viewStringFlags = Kestrum::KESTRUM_VIEW_STRINGS_ARE_TEXT;
        load_.viewStrings = viewPointers_.data();
        load_.viewStringCount = static_cast<int32_t>(viewPointers_.size());
        load_.selectedViewIndex = source_.selectedView;
    }

    std::memset(&view_, 0, sizeof view_);
    camera16_ = ToUtf16(options_.camera);
    view_.flags = Kestrum::KESTRUM_VIEW_ACTIVATE;
    view_.backgroundColor = options_.background;
    view_.lightingScheme = options_.lighting;
    view_.cameraName = camera16_.c_str();
    if (camera16_.empty()) {
        view_.fieldOfView = kBuiltInFieldOfView;
        view_.projectionScaling = kFieldOfViewOnShorterSide;
    }
}

void Viewer::StartLoad() {
    {
        Answers& answers = TheAnswers();
        std::lock_guard<std::mutex> lock(answers.mutex);
        answers.loadAnswered = false;
    }
    loadState_ = LoadState::Loading;
    lighting_ = static_cast<int32_t>(options_.lighting);
    lib_.LoadScene(0, proxy_, load_, view_, OnLoaded);
}

void Viewer::Loop() {
    const int fd = ConnectionNumber(display_);
    while (!quit_) {
        while (!quit_ && XPending(display_) > 0) {
            XEvent event;
            XNextEvent(display_, &event);
            HandleEvent(event);
        }
        HandleAnswers();
        if (quit_) break;
        pollfd wait{fd, POLLIN, 0};
        poll(&wait, 1, kIdleWaitMs);
    }
}

void Viewer::HandleEvent(XEvent& event) {
    switch (event.type) {
        case ClientMessage:
            if (static_cast<Atom>(event.xclient.data.l[0]) == deleteWindow_) quit_ = true;
            break;
        case ConfigureNotify:
            if (event.xconfigure.window == window_) Resize(event.xconfigure.width, event.xconfigure.height);
            break;
        case DestroyNotify:
            if (event.xdestroywindow.window == window_) {
                host_.window = 0;  // gone already
                quit_ = true;
            }
            break;
        case KeyPress: HandleKey(event.xkey); break;
        default: break;
    }
}

void Viewer::HandleKey(XKeyEvent& event) {
    char text[8] = {};
    KeySym key = 0;
    XLookupString(&event, text, sizeof text - 1, &key, nullptr);
    switch (key) {
        case XK_Escape:
        case XK_q: quit_ = true; break;
        case XK_h:
        case XK_question: std::fputs(kKeyHelp, stdout); break;
        case XK_s: SaveScreenshot(); break;
        case XK_r: ResetView(); break;
        case XK_c: ActivateCamera(Kestrum::KESTRUM_CAMERA_NEXT); break;
        case XK_b: ActivateCamera(Kestrum::KESTRUM_CAMERA_BUILT_IN); break;
        case XK_l: CycleLighting(1); break;
        case XK_L: CycleLighting(-1); break;
        case XK_a: ToggleProperty(Kestrum::KESTRUM_PROPERTY_SCENE_FLAG_A, axes_, "axes"); break;
        case XK_g: ToggleProperty(Kestrum::KESTRUM_PROPERTY_SCENE_FLAG_B, grid_, "grid"); break;
        case XK_f: ToggleProperty(Kestrum::KESTRUM_PROPERTY_CONTROLLER_FLAG_A, fineZoom_, "fine zoom"); break;
        default: break;
    }
    std::fflush(stdout);
}

void Viewer::HandleAnswers() {
    Answers& answers = TheAnswers();
    bool titleChanged = false;
    bool loadEnded = false;
    {
        std::lock_guard<std::mutex> lock(answers.mutex);
        if (loadState_ == LoadState::Loading && answers.loadAnswered) {
            loadState_ = answers.loadSucceeded ? LoadState::Shown : LoadState::Failed;
            loadEnded = true;
        }
        if (answers.cameraChanged) {
            answers.cameraChanged = false;
            activeCamera_ = answers.activeCamera;
            titleChanged = true;
        }
    }
    if (loadState_ == LoadState::Failed) {
        std::fprintf(stderr, "kestrum: '%s' did not load\n", Name().c_str());
        exitCode_ = 1;
        quit_ = true;
        return;
    }
    if (loadEnded) {
        // The scene decides whether its axes and grid show; the toggles start from there.
        axes_ = lib_.GetProperty_Bool(proxy_, Kestrum::KESTRUM_PROPERTY_SCENE_FLAG_A) != 0;
        grid_ = lib_.GetProperty_Bool(proxy_, Kestrum::KESTRUM_PROPERTY_SCENE_FLAG_B) != 0;
    }
    if (titleChanged) {
        UpdateTitle();
        std::printf("camera: %s\n", activeCamera_.c_str());
        std::fflush(stdout);
    }
}

// The proxy's window follows the top-level window; the library notices the new size itself.
void Viewer::Resize(int width, int height) {
    width = width < kMinimumViewSize ? kMinimumViewSize : width;
    height = height < kMinimumViewSize ? kMinimumViewSize : height;
    if (width == width_ && height == height_) return;
    width_ = width;
    height_ = height;
    if (proxy_ == nullptr) return;
    const Kestrum::KestrumWindow child = lib_.GetRenderProxyHwnd(proxy_);
    if (child != 0)
        XResizeWindow(display_, static_cast<Window>(child), static_cast<unsigned>(width),
                      static_cast<unsigned>(height));
}

void Viewer::UpdateTitle() {
    std::string title = Name();
    if (!activeCamera_.empty()) title += " - " + activeCamera_;
    title += " - kestrum";
    XStoreName(display_, window_, title.c_str());
    // Window managers prefer the UTF-8 name; the one above is for the others.
    const Atom netName = XInternAtom(display_, "_NET_WM_NAME", False);
    const Atom utf8 = XInternAtom(display_, "UTF8_STRING", False);
    XChangeProperty(display_, window_, netName, utf8, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(title.data()), static_cast<int>(title.size()));
    XFlush(display_);
}

void Viewer::CycleLighting(int32_t step) {
    if (loadState_ != LoadState::Shown) return;
    lighting_ = ((lighting_ + step) % kLightingCount + kLightingCount) % kLightingCount;
    lib_.SetProperty_Int32(proxy_, Kestrum::KESTRUM_PROPERTY_LIGHTING_SCHEME, lighting_, 1);
    std::printf("lighting: %d %s\n", lighting_, kLightingNames[lighting_]);
}

void Viewer::ToggleProperty(uint32_t id, bool& state, const char* what) {
    if (loadState_ != LoadState::Shown) return;
    state = !state;
    lib_.SetProperty_Bool(proxy_, id, state ? 1 : 0, 1);
    std::printf("%s: %s\n", what, state ? "on" : "off");
}

void Viewer::ActivateCamera(Kestrum::ECameraActivationType type) {
    if (loadState_ != LoadState::Shown) return;
    lib_.ActivateCamera(0, proxy_, type, nullptr, OnCameraActivated);
}

// The orbit moves the camera itself, so going back means loading the scene again.
void Viewer::ResetView() {
    if (loadState_ != LoadState::Shown) return;
    lib_.CloseScene(proxy_, OnSceneClosed);
    StartLoad();
    std::printf("view reset\n");
}

void Viewer::SaveScreenshot() {
    if (loadState_ != LoadState::Shown) return;
    const std::string path = NextScreenshotPath();
    if (path.empty()) {
        std::fprintf(stderr, "kestrum: no free screenshot name left in '%s'\n", options_.screenshotDir.c_str());
        return;
    }
    const std::u16string path16 = ToUtf16(path);
    // The request copies the path before it returns.
    lib_.Screenshot(0, proxy_, path16.c_str());
    std::printf("screenshot: %s\n", path.c_str());
}

std::string Viewer::NextScreenshotPath() const {
    std::error_code error;
    const fs::path folder =
        fs::absolute(options_.screenshotDir.empty() ? fs::path(".") : fs::path(options_.screenshotDir), error);
    if (error) return {};
    const std::string stem = fs::path(Name()).stem().string();
    for (int number = 1; number <= kMaxScreenshotNumber; ++number) {
        char suffix[16];
        std::snprintf(suffix, sizeof suffix, "-%03d.png", number);
        const fs::path candidate = (folder / (stem + suffix)).lexically_normal();
        if (!fs::exists(candidate, error)) return candidate.string();
    }
    return {};
}

// The proxy's child window goes before the host window that holds it, and the render thread
// must not outlive the program: the library's statics go at exit.
void Viewer::Close() {
    if (proxy_ != nullptr) lib_.DestroyRenderProxy(proxy_);
    proxy_ = nullptr;
    CloseHostWindow(host_);
    // With every view gone the first call stops the thread; the second covers a queued release.
    lib_.ShutdownRenderer();
    lib_.ShutdownRenderer();
}

int Viewer::Run() {
    if (!OpenWindow()) return 1;
    if (!CreateProxy()) {
        Close();
        return 1;
    }
    PrepareLoad();
    StartLoad();
    XMapWindow(display_, window_);
    XFlush(display_);
    std::fputs(kKeyHelp, stdout);
    std::fflush(stdout);
    Loop();
    Close();
    return exitCode_;
}

}  // namespace

int RunViewer(const Library& lib, const ViewerSource& source, const ViewerOptions& options) {
    Viewer viewer(lib, source, options);
    return viewer.Run();
}

}  // namespace KestrumTool
