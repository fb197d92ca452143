// The command-line host as a person uses it: `kestrum view` driven with synthetic input under a
// virtual X server, and `kestrum capture` keeping the terminal free of the library's log.

#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <png.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/capture_library.h"
#include "support/Polling.h"

namespace {

namespace fs = std::filesystem;
using KestrumCaptureTest::Picture;
using KestrumCaptureTest::ReadPng;

constexpr auto kPatience = std::chrono::seconds(60);
constexpr int kViewWidth = 400;
constexpr int kViewHeight = 300;

std::string KestrumPath() {
    const std::string library = KESTRUM_LIBRARY_PATH;
    return library.substr(0, library.rfind('/')) + "/../tools/kestrum";
}

std::string BoxScene() { return std::string(KESTRUM_TESTDATA) + "/u3d/box.u3d"; }

bool WaitFor(const std::function<bool()>& condition) {
    return Velmora::Test::WaitFor(condition, int(std::chrono::milliseconds(kPatience).count()), 50);
}

std::string ReadText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Standard output of a shell command.
std::string Shell(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return {};
    std::string output;
    char buffer[256];
    while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
    pclose(pipe);
    return output;
}

// The model against the white background: how much of the picture it covers and where its
// middle is, as fractions of the picture.
struct Coverage {
    double share = 0;
    double centreX = 0;
    double centreY = 0;
};

Coverage MeasureModel(const Picture& picture) {
    constexpr int kBackgroundLimit = 200;  // darker than this in every channel: the grey model
    Coverage coverage;
    size_t count = 0;
    double sumX = 0, sumY = 0;
    for (int32_t y = 0; y < picture.height; ++y)
        for (int32_t x = 0; x < picture.width; ++x) {
            const uint8_t* p = picture.At(x, y);
            if (p[0] < kBackgroundLimit && p[1] < kBackgroundLimit && p[2] < kBackgroundLimit) {
                ++count;
                sumX += x;
                sumY += y;
            }
        }
    if (count == 0) return coverage;
    coverage.share = double(count) / (double(picture.width) * picture.height);
    coverage.centreX = sumX / count / picture.width;
    coverage.centreY = sumY / count / picture.height;
    return coverage;
}

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

// One run of the tool in the background with its output in files, KESTRUM_DEBUG unset unless
// `debug` gives its value. A run that hangs is ended by `timeout`.
class ToolRun {
public:
    ToolRun(const std::string& args, const fs::path& folder, const std::string& debug = {})
        : out_(folder / "out.txt"), err_(folder / "err.txt") {
        const std::string command = (debug.empty() ? "env -u KESTRUM_DEBUG" : "env KESTRUM_DEBUG=" + debug) +
                                    " timeout -s KILL 120 " + Quoted(KestrumPath()) + " -L " +
                                    Quoted(KESTRUM_LIBRARY_PATH) + " " + args + " >" + Quoted(out_) + " 2>" +
                                    Quoted(err_);
        status_ = std::async(std::launch::async, [command] { return std::system(command.c_str()); });
    }
    int Wait() {
        const int status = status_.get();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Out() const { return ReadText(out_); }
    std::string Err() const { return ReadText(err_); }

private:
    fs::path out_;
    fs::path err_;
    std::future<int> status_;
};

class ToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (access(KestrumPath().c_str(), X_OK) != 0) GTEST_SKIP() << "kestrum is not built: " << KestrumPath();
        folder_ = fs::temp_directory_path() / ("kestrum_viewer_test_" + std::to_string(getpid()));
        fs::create_directories(folder_);
    }
    void TearDown() override {
        std::error_code error;
        fs::remove_all(folder_, error);
    }
    fs::path folder_;
};

class ViewerTest : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        if (IsSkipped()) return;
        if (Shell("command -v xdotool").empty()) GTEST_SKIP() << "xdotool is not installed";
        display_ = XOpenDisplay(nullptr);
        if (!display_) GTEST_SKIP() << "no X server";
    }
    void TearDown() override {
        if (display_) XCloseDisplay(display_);
        ToolTest::TearDown();
    }
    // The viewer's window, found by its title.
    std::string FindWindow(const std::string& title) {
        std::string id;
        WaitFor([&] {
            id = Shell("xdotool search --name '" + title + "' 2>/dev/null");
            id = id.substr(0, id.find('\n'));
            return !id.empty();
        });
        return id;
    }
    // Asks for a screenshot and reads it once it is complete.
    bool Screenshot(const std::string& window, int number, Picture& picture) {
        Shell("xdotool key --window " + window + " s");
        char name[32];
        std::snprintf(name, sizeof name, "box-%03d.png", number);
        return WaitFor([&] { return ReadPng(folder_ / name, picture); });
    }
    // What a window manager sends when the user closes the window.
    void RequestClose(const std::string& window) {
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = std::stoul(window);
        event.xclient.message_type = XInternAtom(display_, "WM_PROTOCOLS", False);
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(XInternAtom(display_, "WM_DELETE_WINDOW", False));
        event.xclient.data.l[1] = CurrentTime;
        XSendEvent(display_, event.xclient.window, False, NoEventMask, &event);
        XFlush(display_);
    }
    Display* display_ = nullptr;
};

TEST_F(ViewerTest, OrbitTurnsTheModelResizeFollowsAndCloseExitsCleanly) {
    const std::string size = std::to_string(kViewWidth) + "x" + std::to_string(kViewHeight);
    ToolRun viewer("view " + Quoted(BoxScene()) + " --size " + size + " --screenshot-dir " + Quoted(folder_), folder_);
    const std::string window = FindWindow("box.u3d");
    ASSERT_FALSE(window.empty()) << viewer.Err();
    // The camera comes with the end of the load, and the title shows it.
    ASSERT_TRUE(WaitFor([&] { return viewer.Out().find("camera: ") != std::string::npos; })) << viewer.Err();
    EXPECT_NE(Shell("xdotool getwindowname " + window).find("box.u3d - <Built-In-Camera>"), std::string::npos);

    Picture before;
    ASSERT_TRUE(Screenshot(window, 1, before)) << viewer.Out() << viewer.Err();
    ASSERT_EQ(before.width, kViewWidth);
    ASSERT_EQ(before.height, kViewHeight);

    // A left drag across the middle, one step per frame or so: the library reads a press, the
    // moves and the release in separate frames.
    std::string drag = "xdotool mousemove --window " + window + " 200 150 sleep 0.2 mousedown 1 sleep 0.2";
    for (int x = 215; x <= 335; x += 15)
        drag += " mousemove --window " + window + " " + std::to_string(x) + " 165 sleep 0.1";
    drag += " mouseup 1 sleep 0.3";
    Shell(drag);
    Picture after;
    ASSERT_TRUE(Screenshot(window, 2, after)) << viewer.Out() << viewer.Err();
    ASSERT_EQ(after.width, before.width);
    ASSERT_EQ(after.height, before.height);

    const Coverage front = MeasureModel(before);
    const Coverage turned = MeasureModel(after);
    EXPECT_GT(front.share, 0.2);
    EXPECT_GT(turned.share, 0.2);
    EXPECT_NEAR(turned.centreX, 0.5, 0.2);
    EXPECT_NEAR(turned.centreY, 0.5, 0.2);
    EXPECT_GT(KestrumCaptureTest::DifferentShare(before, after, 8), 0.04);

    // The view follows the window's size.
    Shell("xdotool windowsize " + window + " 300 200");
    Picture smaller;
    // The new size reaches the library a frame or so later; until then pictures keep the old one.
    int number = 3;
    EXPECT_TRUE(WaitFor([&] {
        return Screenshot(window, number++, smaller) && smaller.width == 300 && smaller.height == 200;
    })) << smaller.width
        << "x" << smaller.height;
    EXPECT_GT(MeasureModel(smaller).share, 0.2);

    RequestClose(window);
    EXPECT_EQ(viewer.Wait(), 0) << viewer.Err();
}

TEST_F(ViewerTest, CameraKeyWalksTheSceneCamerasAndQuitKeyCloses) {
    ToolRun viewer("view " + Quoted(KESTRUM_SOURCE_DIR "/scenes/sample.u3d") + " --size 200x150", folder_);
    const std::string window = FindWindow("sample.u3d");
    ASSERT_FALSE(window.empty()) << viewer.Err();
    ASSERT_TRUE(WaitFor([&] { return viewer.Out().find("camera: ") != std::string::npos; })) << viewer.Err();
    // The scene's cameras in name order after the built-in one, and round again.
    Shell("xdotool key --window " + window + " c");
    EXPECT_TRUE(WaitFor([&] { return Shell("xdotool getwindowname " + window).find("sample.u3d - Front") == 0; }));
    Shell("xdotool key --window " + window + " c");
    EXPECT_TRUE(WaitFor([&] { return Shell("xdotool getwindowname " + window).find("sample.u3d - Top") == 0; }));
    Shell("xdotool key --window " + window + " c");
    EXPECT_TRUE(
        WaitFor([&] { return Shell("xdotool getwindowname " + window).find("sample.u3d - <Built-In-Camera>") == 0; }));
    Shell("xdotool key --window " + window + " q");
    EXPECT_EQ(viewer.Wait(), 0) << viewer.Err();
}

TEST_F(ViewerTest, SceneThatDoesNotLoadEndsWithExitOne) {
    const fs::path broken = folder_ / "broken.u3d";
    std::ofstream(broken) << "not a scene";
    ToolRun viewer("view " + Quoted(broken), folder_);
    EXPECT_EQ(viewer.Wait(), 1);
    EXPECT_NE(viewer.Err().find("did not load"), std::string::npos) << viewer.Err();
}

// Standard error of a capture, with the tool's own progress bar taken out.
std::string WithoutProgress(std::string text) {
    for (size_t start; (start = text.find("loading [")) != std::string::npos;) {
        const size_t end = text.find('%', start);
        text.erase(start, end == std::string::npos ? std::string::npos : end + 1 - start);
    }
    std::string left;
    for (char c : text)
        if (c != '\r' && c != '\n') left += c;
    return left;
}

TEST_F(ToolTest, CaptureLeavesTheLibraryLogOffTheTerminalUnlessAskedFor) {
    const std::string capture = "capture " + Quoted(BoxScene()) + " -o " + Quoted(folder_ / "box.png");
    const std::string logFile = "--log " + Quoted(folder_ / "capture.log") + " ";
    ToolRun quiet(logFile + capture, folder_);
    ASSERT_EQ(quiet.Wait(), 0) << quiet.Err();
    EXPECT_EQ(WithoutProgress(quiet.Err()), "");
    // The log itself still has everything.
    EXPECT_NE(ReadText(folder_ / "capture.log").find("Scene statistics"), std::string::npos);

    ToolRun hooked(capture, folder_);
    ASSERT_EQ(hooked.Wait(), 0) << hooked.Err();
    EXPECT_EQ(WithoutProgress(hooked.Err()), "");

    ToolRun asked(logFile + capture, folder_, "1");
    ASSERT_EQ(asked.Wait(), 0) << asked.Err();
    EXPECT_NE(asked.Err().find("Scene statistics"), std::string::npos) << asked.Err();
}

}  // namespace
