// kestrum: a command-line host of the scene library. It loads the library with dlopen and
// talks to it only through the exported functions, so it doubles as a check that a host can
// be written from the public header alone.
//
//   kestrum [global options] capture [SCENE...] [-o OUT] [--format png|jpg|tif] [--size WxH]
//                                    [--background RRGGBB] [--lighting N] [--camera NAME]
//                                    [--annotation N] [--view NAME|N]
//   kestrum [global options] info SCENE [--annotation N] [--view NAME|N]
//   kestrum [global options] export SCENE -o OUT.prc [--compressed] [--annotation N]
//
// A SCENE may be a PDF document: the 3D stream of one of its 3D annotations is loaded from
// memory, with the annotation's view (or the one --view names) applied.
//
// `info` lists the scene's cameras when an X display is reachable: it loads the scene into a
// render proxy inside an unmapped window of its own, as an embedding host would. Without a
// display it loads the scene headless and prints the statistics only.
//   kestrum [global options] --version
//   kestrum [global options] view SCENE [view options]   (see Viewer.h)
//
// Without --log, the library's errors go to standard error through the log hook; its warnings
// and level-0 texts (scene statistics, load timers) only when --log-level asks for them.
// `info` prints the statistics on standard output instead.

#include "CaptureBatch.h"
#include "KestrumLibrary.h"
#include "PdfDocument.h"
#include "SceneSource.h"
#include "ViewerCommand.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#ifndef KESTRUM_SAMPLE_SCENE
#define KESTRUM_SAMPLE_SCENE ""
#endif

namespace {

using KestrumTool::Library;

enum class Command { None, Version, Capture, Info, View, Export };

struct Options {
    std::string libraryPath;
    std::string logFile;
    int32_t logLevel = 2;
    bool logLevelGiven = false;
    bool help = false;
    Command command = Command::None;
    std::vector<std::string> scenes;
    std::string output;
    std::string format;
    int32_t width = 800;
    int32_t height = 600;
    uint32_t background = 0xFFFFFF;
    bool backgroundGiven = false;
    uint32_t lighting = 1;  // the scene's own lights
    bool lightingGiven = false;
    std::string camera;
    std::string view;                        // of a PDF's 3D annotation, by name or number
    size_t annotation = 0;                   // a PDF's 3D annotation, 0 for the first
    std::vector<std::string> viewArguments;  // everything after "view", read by the viewer
    bool compressed = false;                 // export: highly compressed tessellations
};

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: kestrum [options] capture [SCENE...] [-o OUT] [--format png|jpg|tif] [--size WxH]\n"
                 "                                 [--background RRGGBB] [--lighting N] [--camera NAME]\n"
                 "                                 [--annotation N] [--view NAME|N]\n"
                 "       kestrum [options] info SCENE [--annotation N] [--view NAME|N]\n"
                 "       kestrum [options] export SCENE -o OUT.prc [--compressed] [--annotation N]\n"
                 "       kestrum [options] --version\n"
                 "       kestrum [options] view SCENE [view options]   (kestrum view -h)\n"
                 "commands:\n"
                 "  capture   render SCENE (default: the shipped sample scene) into a picture; the\n"
                 "            format follows OUT's extension (.png, .jpg, .tif); without -o the\n"
                 "            library names a new PNG below the user's data folder. Several scenes,\n"
                 "            or OUT a folder (ending in '/'), capture each into OUT (default: here)\n"
                 "            named after the scene, in --format (default png)\n"
                 "            --size WxH          picture size (default 800x600)\n"
                 "            --background RRGGBB background colour in hex (default FFFFFF)\n"
                 "            --lighting N        lighting scheme 0..11 (default 1, the scene's own)\n"
                 "            --camera NAME       view of the scene to use (default: built-in camera)\n"
                 "  info      load SCENE and print its statistics and cameras\n"
                 "  export    load SCENE and write it as a PRC file OUT.prc; triangle meshes only\n"
                 "            --compressed        highly compressed tessellations (smaller files)\n"
                 "A SCENE may be a PDF with 3D annotations (info lists them with their views):\n"
                 "            --annotation N      the 3D annotation to load, 0 for the first (default)\n"
                 "            --view NAME|N       a view of the annotation's view list, by name or number\n"
                 "                                (default: the annotation's own; for other scenes\n"
                 "                                the same as --camera)\n"
                 "options:\n"
                 "  -L, --library FILE   load the library from FILE\n"
                 "      --log FILE       write the library's log to FILE\n"
                 "      --log-level N    0 messages .. 5 extra verbose (default: errors only)\n"
                 "      --version        print the library's version table\n"
                 "  -h, --help           this text\n");
}

bool ParseNumber(const char* text, long low, long high, long& value, int base = 10) {
    char* end = nullptr;
    value = std::strtol(text, &end, base);
    return end != text && *end == '\0' && value >= low && value <= high;
}

bool ParseSize(const char* text, int32_t& width, int32_t& height) {
    const char* x = std::strchr(text, 'x');
    if (!x) return false;
    std::string w(text, x);
    long wv = 0, hv = 0;
    if (!ParseNumber(w.c_str(), 1, 16384, wv) || !ParseNumber(x + 1, 1, 16384, hv)) return false;
    width = static_cast<int32_t>(wv);
    height = static_cast<int32_t>(hv);
    return true;
}

bool ParseColor(const char* text, uint32_t& color) {
    if (*text == '#') ++text;
    long value = 0;
    if (std::strlen(text) != 6 || !ParseNumber(text, 0, 0xFFFFFF, value, 16)) return false;
    color = static_cast<uint32_t>(value);
    return true;
}

// False with a message on a bad command line.
bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "kestrum: %s needs a value\n", name);
                return nullptr;
            }
            return argv[++i];
        };
        auto bad = [&](const char* name, const char* v, const char* what) {
            std::fprintf(stderr, "kestrum: %s takes %s, not '%s'\n", name, what, v);
            return false;
        };
        const char* v = nullptr;
        long number = 0;
        if (arg == "-L" || arg == "--library") {
            if (!(v = value("--library"))) return false;
            options.libraryPath = v;
        } else if (arg == "--log") {
            if (!(v = value("--log"))) return false;
            options.logFile = v;
        } else if (arg == "--log-level") {
            if (!(v = value("--log-level"))) return false;
            if (!ParseNumber(v, 0, 5, number)) return bad("--log-level", v, "0 to 5");
            options.logLevel = static_cast<int32_t>(number);
            options.logLevelGiven = true;
        } else if (arg == "--version") {
            options.command = Command::Version;
        } else if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (options.command == Command::None && arg == "view") {
            options.command = Command::View;
            options.viewArguments.assign(argv + i + 1, argv + argc);
            break;
        } else if (options.command == Command::None && (arg == "capture" || arg == "info")) {
            options.command = arg == "capture" ? Command::Capture : Command::Info;
        } else if (options.command == Command::None && arg == "export") {
            options.command = Command::Export;
        } else if (options.command == Command::Export && arg == "--compressed") {
            options.compressed = true;
        } else if ((options.command == Command::Capture || options.command == Command::Export) &&
                   (arg == "-o" || arg == "--output")) {
            if (!(v = value("-o"))) return false;
            options.output = v;
        } else if (options.command == Command::Capture && arg == "--size") {
            if (!(v = value("--size"))) return false;
            if (!ParseSize(v, options.width, options.height)) return bad("--size", v, "WxH (1 to 16384 each)");
        } else if (options.command == Command::Capture && arg == "--background") {
            if (!(v = value("--background"))) return false;
            if (!ParseColor(v, options.background)) return bad("--background", v, "RRGGBB in hex");
            options.backgroundGiven = true;
        } else if (options.command == Command::Capture && arg == "--lighting") {
            if (!(v = value("--lighting"))) return false;
            if (!ParseNumber(v, 0, 11, number)) return bad("--lighting", v, "0 to 11");
            options.lighting = static_cast<uint32_t>(number);
            options.lightingGiven = true;
        } else if (options.command == Command::Capture && arg == "--camera") {
            if (!(v = value("--camera"))) return false;
            options.camera = v;
        } else if (options.command == Command::Capture && arg == "--format") {
            if (!(v = value("--format"))) return false;
            if (!KestrumTool::IsPictureFormat(v)) return bad("--format", v, "png, jpg or tif");
            options.format = v;
        } else if (options.command != Command::None && arg == "--view") {
            if (!(v = value("--view"))) return false;
            options.view = v;
        } else if (options.command != Command::None && arg == "--annotation") {
            if (!(v = value("--annotation"))) return false;
            if (!ParseNumber(v, 0, KestrumTool::kMaxAnnotationIndex, number))
                return bad("--annotation", v, "a number from 0");
            options.annotation = static_cast<size_t>(number);
        } else if ((options.command == Command::Capture ||
                    ((options.command == Command::Info || options.command == Command::Export) &&
                     options.scenes.empty())) &&
                   !arg.empty() && arg[0] != '-') {
            options.scenes.push_back(arg);
        } else {
            std::fprintf(stderr, "kestrum: unknown argument '%s'\n", arg.c_str());
            return false;
        }
    }
    if (options.command == Command::Info && options.scenes.empty() && !options.help) {
        std::fprintf(stderr, "kestrum: info needs a scene file\n");
        return false;
    }
    if (options.command == Command::Export && (options.scenes.empty() || options.output.empty()) && !options.help) {
        std::fprintf(stderr, "kestrum: export needs a scene file and -o OUT.prc\n");
        return false;
    }
    return true;
}

// ---- what the library's threads hand back ------------------------------------------------

// One answer from the render thread, waited for by the main thread.
struct Reply {
    std::mutex mutex;
    std::condition_variable done;
    bool arrived = false;
    int success = 0;
    uint32_t sceneHandle = 0;
    uint32_t validFields = 0;
    std::string outputPath;
    std::vector<std::string> cameras;

    // Ready for the next request.
    void Reset() {
        std::lock_guard<std::mutex> lock(mutex);
        arrived = false;
        success = 0;
        sceneHandle = 0;
        validFields = 0;
        outputPath.clear();
        cameras.clear();
    }
    void Finish(int ok) {
        std::lock_guard<std::mutex> lock(mutex);
        success = ok;
        arrived = true;
        done.notify_all();
    }
    bool Wait(std::chrono::seconds limit) {
        std::unique_lock<std::mutex> lock(mutex);
        return done.wait_for(lock, limit, [this] { return arrived; });
    }
};
Reply g_reply;

// What the log hook collected, for `info`, and whether level-0 texts are echoed.
struct HookState {
    std::mutex mutex;
    std::string collected;
    int32_t echoLevel = 2;
    bool echoMessages = false;
    std::atomic<std::chrono::steady_clock::rep> lastLine{0};  // when the last line came
};
HookState g_hook;

// Whether the progress line is open (written by the render thread, read by the log thread).
std::atomic<bool> g_progressShown{false};

// The hook's text is the library's system string: a 32-bit byte count precedes it.
void LogHook(void*, int32_t level, Kestrum::KestrumSystemString message) {
    if (!message) return;
    uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(message) - sizeof bytes, sizeof bytes);
    std::string text = KestrumTool::ToUtf8(message, bytes / 2);
    g_hook.lastLine.store(std::chrono::steady_clock::now().time_since_epoch().count());
    std::lock_guard<std::mutex> lock(g_hook.mutex);
    g_hook.collected += text;
    if (level <= g_hook.echoLevel && (level != 0 || g_hook.echoMessages)) {
        // A log line does not continue the progress bar's line.
        if (g_progressShown.exchange(false)) std::fputc('\n', stderr);
        std::fputs(text.c_str(), stderr);
    }
}

// The load's progress as a bar on standard error.
void OnProgress(float percent, uint32_t) {
    constexpr int kWidth = 40;
    int filled = static_cast<int>(percent * kWidth / 100.0f + 0.5f);
    filled = filled < 0 ? 0 : filled > kWidth ? kWidth : filled;
    char bar[kWidth + 1];
    std::memset(bar, '#', static_cast<size_t>(filled));
    std::memset(bar + filled, '.', static_cast<size_t>(kWidth - filled));
    bar[kWidth] = '\0';
    std::fprintf(stderr, "\rloading [%s] %3d%%", bar, static_cast<int>(percent));
    std::fflush(stderr);
    g_progressShown = true;
}

void EndProgress() {
    if (g_progressShown.exchange(false)) std::fputc('\n', stderr);
}

void OnCapture(Kestrum::CaptureResult* result, int success) {
    g_reply.sceneHandle = result->sceneHandle;
    g_reply.validFields = result->validFields;
    if (result->validFields & Kestrum::KESTRUM_CAPTURE_VALID_OUTPUT_PATH)
        g_reply.outputPath.assign(result->outputPath, result->outputPathLength);
    g_reply.Finish(success);
}

void OnLoad(Kestrum::LoadSceneResult* result, int success) {
    g_reply.sceneHandle = result->sceneHandle;
    for (uint32_t i = 0; i < result->cameraCount && result->cameraNames && result->cameraNameLengths; ++i)
        g_reply.cameras.emplace_back(result->cameraNames[i], static_cast<size_t>(result->cameraNameLengths[i]));
    g_reply.Finish(success);
}

void OnUnload(uint32_t) { g_reply.Finish(1); }

void OnExport(Kestrum::ExportSceneResult* result, int success) {
    g_reply.sceneHandle = result->sceneHandle;
    g_reply.Finish(success);
}

// ---- logging -------------------------------------------------------------------------------

// Routes the library's log as the options ask. False when the log file cannot be started.
bool StartLogging(const Library& lib, const Options& options) {
    // A user reads the results and what went wrong; the library's warnings are for whoever
    // asks for them.
    constexpr int32_t kQuietEchoLevel = 1;
    g_hook.echoLevel = options.logLevelGiven ? options.logLevel : kQuietEchoLevel;
    g_hook.echoMessages = options.logLevelGiven;
    if (!options.logFile.empty()) {
        std::u16string path = KestrumTool::ToUtf16(options.logFile);
        if (!lib.StartLoggingToDefault(0, path.c_str(), 0, static_cast<uint32_t>(options.logLevel))) {
            std::fprintf(stderr, "kestrum: cannot log to '%s'\n", options.logFile.c_str());
            return false;
        }
        // The latest of file and hook gets the messages: the file alone, then.
        return true;
    }
    lib.SetLoggingHook(nullptr, LogHook);
    lib.SetLogLevel(options.logLevel);
    return true;
}

// The hook does not drain when stopped; let it catch up. Lines reach it as they are logged,
// so a short quiet spell means the library has said what it had to say.
void DrainLog() {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (;;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const auto now = Clock::now();
        const auto quiet = now - Clock::time_point(Clock::duration(g_hook.lastLine.load()));
        if (quiet >= std::chrono::milliseconds(20) || now - start >= std::chrono::milliseconds(100)) return;
    }
}

void StopLogging(const Library& lib) {
    DrainLog();
    lib.SetLoggingHook(nullptr, nullptr);
    lib.StopLoggingToDefault();
}

// Unloads a capture scene and waits until that has happened on the render thread.
void Unload(const Library& lib, uint32_t handle) {
    {
        std::lock_guard<std::mutex> lock(g_reply.mutex);
        g_reply.arrived = false;
    }
    lib.UnloadCaptureScene(handle, OnUnload);
    g_reply.Wait(std::chrono::seconds(30));
}

// Stops the render thread, which must not outlive main: the library's statics go at exit.
// With every scene unloaded the first call stops it; the second covers a queued unload.
void Shutdown(const Library& lib) {
    lib.ShutdownRenderer();
    lib.ShutdownRenderer();
}

// ---- commands ------------------------------------------------------------------------------

int PrintVersions(const Library& lib) {
    std::printf("%s\n", lib.path.c_str());
    for (int32_t id = 0; id <= 4; ++id) {
        uint32_t major = 0, minor = 0, build = 0;
        lib.GetLibraryVersion(id, &major, &minor, &build);
        std::printf("  %-10s %d: %u.%u.%u\n", id == 4 ? "library" : "component", id, major, minor, build);
    }
    return 0;
}

// A path the library can open from any working directory.
std::string Absolute(const std::string& path) {
    if (path.empty() || path[0] == '/') return path;
    char cwd[4096];
    if (!getcwd(cwd, sizeof cwd)) return path;
    return std::string(cwd) + "/" + path;
}

// The shipped sample scene: the source tree's copy, or one installed beside the program.
std::string SampleScene() {
    if (access(KESTRUM_SAMPLE_SCENE, R_OK) == 0) return KESTRUM_SAMPLE_SCENE;
    char buffer[4096];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n > 0) {
        std::string folder(buffer, static_cast<size_t>(n));
        folder.resize(folder.rfind('/') + 1);
        for (const char* relative : {"../share/kestrum/sample.u3d", "../../scenes/sample.u3d", "sample.u3d"})
            if (access((folder + relative).c_str(), R_OK) == 0) return folder + relative;
    }
    return {};
}

// The lines of the library's statistics text, without the prefix the log gives each line.
constexpr size_t kFormatNameLength = 3;
std::string ExtractStatistics(const std::string& log) {
    // Each format names itself in front: "U3D-Scene statistics:", "PRC-Scene statistics:", "OBJ-Scene statistics:".
    const size_t marker = log.find("-Scene statistics:");
    if (marker == std::string::npos || marker < kFormatNameLength) return {};
    const size_t start = marker - kFormatNameLength;
    // The text is complete once its last line is.
    size_t end = log.find("Primitives (instanced)", start);
    if (end != std::string::npos) end = log.find('\n', end);
    if (end == std::string::npos) return {};
    return log.substr(start, end - start);
}

// The statistics are a log text of the load; waits until the hook (or the log file) has
// passed them on.
std::string CollectStatistics(const Options& options) {
    std::string statistics;
    for (int i = 0; i < 40 && statistics.empty(); ++i) {
        DrainLog();
        if (!options.logFile.empty()) {
            // The file's writer polls every 50 ms and is not told of new lines.
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            std::ifstream file(options.logFile);
            statistics = ExtractStatistics(std::string(std::istreambuf_iterator<char>(file), {}));
        } else {
            std::lock_guard<std::mutex> lock(g_hook.mutex);
            statistics = ExtractStatistics(g_hook.collected);
        }
    }
    return statistics;
}

constexpr auto kWaitLimit = std::chrono::seconds(600);

using KestrumTool::SceneSource;

KestrumTool::SceneRequest Request(const Options& options) {
    return KestrumTool::SceneRequest{options.camera, options.view, options.annotation};
}

// ---- what the log said ---------------------------------------------------------------------

const char kViewNotApplied[] = "Failed to apply the generated SceneDescription to RenderView!";

std::string LogText(const Options& options) {
    if (!options.logFile.empty()) {
        std::ifstream file(options.logFile);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    std::lock_guard<std::mutex> lock(g_hook.mutex);
    return g_hook.collected;
}

// Whether `text` was logged after the log had `mark` bytes.
bool LoggedSince(const Options& options, size_t mark, const char* text) {
    DrainLog();
    // The file's writer polls every 50 ms and is not told of new lines.
    if (!options.logFile.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::string log = LogText(options);
    return log.size() > mark && log.find(text, mark) != std::string::npos;
}

// ---- cameras -------------------------------------------------------------------------------

// Size of the view that `info` loads into; it is never shown.
constexpr int32_t kInfoViewWidth = 320;
constexpr int32_t kInfoViewHeight = 240;

// Loads the scene into a render proxy inside an unmapped host window: such a load reports
// the scene's camera list. Null proxy (and the window closed again) when the library cannot
// make its view.
Kestrum::RenderProxy3D* LoadIntoProxy(const Library& lib, KestrumTool::HostWindow& host,
                                      const Kestrum::LoadSceneParameters& load) {
    Kestrum::CreateInfo create;
    std::memset(&create, 0, sizeof create);
    create.parentWindow = host.window;
    create.width = kInfoViewWidth;
    create.height = kInfoViewHeight;
    Kestrum::RenderProxyInfo info;
    std::memset(&info, 0, sizeof info);
    Kestrum::RenderProxy3D* proxy = lib.CreateRenderProxy(create, &info);
    if (proxy == nullptr) {
        KestrumTool::CloseHostWindow(host);
        return nullptr;
    }
    Kestrum::ViewParameters view;
    std::memset(&view, 0, sizeof view);
    view.lightingScheme = 1;
    lib.LoadScene(0, proxy, load, view, OnLoad);
    return proxy;
}

// The scene's camera names, which only a load into a live view reports; none without an X
// display.
bool ListCameras(const Library& lib, SceneSource& source, std::vector<std::string>& cameras) {
    KestrumTool::HostWindow host;
    if (!KestrumTool::OpenHostWindow(kInfoViewWidth, kInfoViewHeight, host)) return false;
    Kestrum::LoadSceneParameters load;
    std::memset(&load, 0, sizeof load);
    source.Fill(load);
    g_reply.Reset();
    Kestrum::RenderProxy3D* proxy = LoadIntoProxy(lib, host, load);
    if (proxy == nullptr) return false;
    const bool listed = g_reply.Wait(kWaitLimit) && g_reply.success;
    cameras = g_reply.cameras;
    lib.DestroyRenderProxy(proxy);
    KestrumTool::CloseHostWindow(host);
    return listed;
}

// The reason a named camera or view could not be used, with the names there are.
std::string UnknownViewReason(const Library& lib, SceneSource& source) {
    std::string reason;
    if (source.fromPdf && source.camera.empty() && source.pdf.view.cameraNode.empty())
        return "the view '" + source.pdf.view.name + "' could not be applied";
    if (source.fromPdf && source.camera.empty())
        reason = "the view '" + source.pdf.view.name + "' names the camera '" + source.pdf.view.cameraNode +
                 "', which the scene lacks";
    else
        reason = "no camera '" + source.camera + "' in '" + source.path + "'";
    std::vector<std::string> cameras;
    if (!ListCameras(lib, source, cameras)) return reason + " (camera names need an X display)";
    reason += "; its cameras are:";
    for (const std::string& name : cameras) reason += " '" + name + "'";
    return reason;
}

// ---- capture -------------------------------------------------------------------------------

// Captures one scene into `job.output` (the library names it when that is empty).
bool CaptureOne(const Library& lib, const Options& options, const KestrumTool::CaptureJob& job, std::string& written,
                std::string& error) {
    SceneSource source;
    if (!KestrumTool::PrepareSource(job.input, Request(options), source, error)) return false;
    const std::u16string output = KestrumTool::ToUtf16(job.output.empty() ? "" : Absolute(job.output));
    const std::u16string camera = KestrumTool::ToUtf16(source.camera);
    std::u16string viewCamera, viewName;

    Kestrum::CaptureParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    source.Fill(parameters.load);
    parameters.load.progressCallback = OnProgress;
    parameters.view.flags = Kestrum::KESTRUM_VIEW_ACTIVATE;
    parameters.view.backgroundColor = options.background;
    parameters.view.lightingScheme = options.lighting;
    parameters.view.cameraName = camera.c_str();
    const bool pdfView = source.fromPdf && source.pdf.hasView && camera.empty();
    if (pdfView) {
        const KestrumTool::CaptureOverrides overrides{options.height, options.backgroundGiven, options.lightingGiven};
        KestrumTool::ApplyPdfView(source.pdf.view, overrides, parameters.view, viewCamera, viewName);
    } else if (camera.empty()) {
        // The built-in camera stands two scene sizes away: 45 degrees on the shorter side of
        // the picture keeps the whole scene in sight (the record's defaults would narrow it).
        parameters.view.fieldOfView = 45.0f;
        parameters.view.projectionScaling = 2;  // the field of view applies to the shorter side
    }
    // Unloaded by an explicit call below rather than by the capture's unload flag: its answer
    // tells when the library has let go of the render thread, so that the shutdown stops it.
    parameters.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_FILE;
    parameters.outputPath = output.c_str();
    parameters.width = options.width;
    parameters.height = options.height;

    const size_t mark = LogText(options).size();
    g_reply.Reset();
    lib.CaptureScene(0, parameters, OnCapture);
    const bool answered = g_reply.Wait(kWaitLimit);
    EndProgress();
    // The library's own reasons come first.
    if (!answered || !g_reply.success) DrainLog();
    const bool loaded = answered && (g_reply.validFields & Kestrum::KESTRUM_CAPTURE_VALID_SCENE_HANDLE);
    const uint32_t handle = g_reply.sceneHandle;
    bool ok = false;
    if (!answered) {
        error = "no answer from the library";
    } else if (!loaded) {
        error = "'" + job.input + "' did not load";
    } else if (!g_reply.success) {
        error = "'" + job.input + "' loaded, but no picture could be written";
    } else {
        written = g_reply.outputPath;
        ok = true;
    }
    if (loaded) Unload(lib, handle);
    // A view that named a camera the scene lacks would give a picture from another camera.
    if (ok && (pdfView || !camera.empty()) && LoggedSince(options, mark, kViewNotApplied)) {
        std::remove(written.c_str());
        written.clear();
        error = UnknownViewReason(lib, source);
        ok = false;
    }
    return ok;
}

int RunCapture(const Library& lib, Options& options) {
    if (options.scenes.empty()) {
        const std::string sample = SampleScene();
        if (sample.empty()) {
            std::fprintf(stderr, "kestrum: no scene given and the sample scene is not installed\n");
            return 2;
        }
        options.scenes.push_back(sample);
        // The sample scene's own view shows it from the front; the built-in camera looks down.
        if (options.camera.empty()) options.camera = "Front";
    }
    std::vector<KestrumTool::CaptureJob> jobs;
    std::string error;
    // Checked before anything loads: a picture that cannot be written is not worth a load.
    if (!KestrumTool::PlanCaptures(options.scenes, options.output, options.format, jobs, error)) {
        std::fprintf(stderr, "kestrum: %s\n", error.c_str());
        Shutdown(lib);
        return 1;
    }
    auto capture = [&](const KestrumTool::CaptureJob& job, std::string& written, std::string& why) {
        return CaptureOne(lib, options, job, written, why);
    };
    int rc = 0;
    if (KestrumTool::IsBatch(options.scenes, options.output)) {
        rc = KestrumTool::RunBatch(jobs, capture);
    } else {
        std::string written;
        if (capture(jobs.front(), written, error)) {
            std::printf("%s\n", written.c_str());
        } else {
            std::fprintf(stderr, "kestrum: %s\n", error.c_str());
            rc = 1;
        }
    }
    Shutdown(lib);
    return rc;
}

void PrintAnnotations(const std::string& path, const KestrumTool::PdfDocument& document) {
    const auto& annotations = document.Annotations();
    std::printf("document: %s\n3D annotations: %zu\n", path.c_str(), annotations.size());
    for (size_t i = 0; i < annotations.size(); ++i) {
        const KestrumTool::PdfAnnotationInfo& a = annotations[i];
        std::printf("  annotation %zu: page %d, name '%s', stream %s\n", i, a.page, a.name.c_str(),
                    a.streamType.c_str());
        std::printf("    views: %zu\n", a.viewNames.size());
        for (size_t v = 0; v < a.viewNames.size(); ++v) std::printf("      %zu: %s\n", v, a.viewNames[v].c_str());
        std::printf("    default view: %s\n", a.defaultView.empty() ? "built-in camera" : a.defaultView.c_str());
    }
}

// For a PDF: lists its 3D content and takes the chosen annotation's scene; prints the view
// text the library is given.
bool PrepareInfoSource(const Options& options, SceneSource& source, std::string& error) {
    source.path = Absolute(options.scenes.front());
    if (!KestrumTool::PdfDocument::IsPdf(source.path)) return true;
    KestrumTool::PdfDocument document;
    std::string why;
    if (!document.Open(source.path, why)) {
        error = "'" + options.scenes.front() + "': " + why;
        return false;
    }
    PrintAnnotations(source.path, document);
    if (!KestrumTool::ExtractPdfScene(document, Request(options), source, error)) return false;
    std::printf("loading annotation %zu: %s, %zu bytes\n", options.annotation, StreamTypeName(source.pdf.type),
                source.pdf.bytes.size());
    if (source.pdf.hasView) std::printf("view text: %s\n", source.pdf.viewTexts[source.pdf.selectedView].c_str());
    std::fflush(stdout);
    return true;
}

int RunInfo(const Library& lib, const Options& options) {
    SceneSource source;
    std::string error;
    if (!PrepareInfoSource(options, source, error)) {
        std::fprintf(stderr, "kestrum: %s\n", error.c_str());
        Shutdown(lib);
        return 1;
    }
    Kestrum::LoadSceneParameters load;
    std::memset(&load, 0, sizeof load);
    source.Fill(load);
    load.progressCallback = OnProgress;

    // Camera names come only with a load into a live view, which needs an X display; without
    // one the scene is loaded headless for its statistics.
    KestrumTool::HostWindow host;
    Kestrum::RenderProxy3D* proxy = nullptr;
    g_reply.Reset();
    const bool haveDisplay = KestrumTool::OpenHostWindow(kInfoViewWidth, kInfoViewHeight, host);
    if (haveDisplay) proxy = LoadIntoProxy(lib, host, load);
    if (proxy == nullptr) lib.LoadCaptureScene(0, load, OnLoad);

    const bool answered = g_reply.Wait(kWaitLimit);
    EndProgress();
    const bool loaded = answered && g_reply.success;
    const uint32_t handle = g_reply.sceneHandle;
    const std::vector<std::string> cameras = g_reply.cameras;
    const std::string statistics = loaded ? CollectStatistics(options) : std::string();

    if (proxy != nullptr) {
        // The proxy's child window goes before the host window that holds it.
        lib.DestroyRenderProxy(proxy);
        KestrumTool::CloseHostWindow(host);
    } else if (loaded) {
        Unload(lib, handle);
    }
    if (!loaded) {
        DrainLog();
        std::fprintf(stderr, "kestrum: '%s' did not load\n", options.scenes.front().c_str());
        Shutdown(lib);
        return 1;
    }

    std::printf("scene: %s\nhandle: %u\n", source.path.c_str(), handle);
    std::printf("%s\n", statistics.empty() ? "statistics: not reported" : statistics.c_str());
    if (proxy == nullptr) {
        std::printf("cameras: not listed: camera names need an X display%s (try capture --camera NAME)\n",
                    haveDisplay ? " and a render window" : "");
    } else {
        std::printf("cameras: %zu\n", cameras.size());
        for (const std::string& name : cameras) std::printf("    %s\n", name.c_str());
    }
    Shutdown(lib);
    return 0;
}
// The first line the export logged about its failure, or a plain reason.
std::string ExportFailureReason(const Options& options, size_t mark) {
    DrainLog();
    if (!options.logFile.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::string log = LogText(options);
    for (size_t start = mark, end; start < log.size(); start = end + 1) {
        end = log.find('\n', start);
        if (end == std::string::npos) end = log.size();
        const std::string line = log.substr(start, end - start);
        if (line.find("Export") != std::string::npos || line.find("Writer") != std::string::npos) return line;
    }
    return "the scene could not be exported";
}

int RunExport(const Library& lib, const Options& options) {
    SceneSource source;
    std::string error;
    if (!KestrumTool::PrepareSource(options.scenes.front(), Request(options), source, error)) {
        std::fprintf(stderr, "kestrum: %s\n", error.c_str());
        Shutdown(lib);
        return 1;
    }
    const std::u16string output = KestrumTool::ToUtf16(Absolute(options.output));
    Kestrum::ExportParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    source.Fill(parameters.load);
    parameters.load.progressCallback = OnProgress;
    parameters.exportFlags = Kestrum::KESTRUM_EXPORT_PRC;
    if (options.compressed) parameters.exportFlags |= Kestrum::KESTRUM_EXPORT_OPTION_A;
    parameters.outputPath = output.c_str();

    const size_t mark = LogText(options).size();
    g_reply.Reset();
    lib.ExportScene(0, nullptr, parameters, OnExport);
    const bool answered = g_reply.Wait(kWaitLimit);
    EndProgress();
    int rc = 0;
    if (!answered) {
        std::fprintf(stderr, "kestrum: no answer from the library\n");
        rc = 1;
    } else if (!g_reply.success) {
        std::fprintf(stderr, "kestrum: '%s' was not exported: %s\n", options.scenes.front().c_str(),
                     ExportFailureReason(options, mark).c_str());
        rc = 1;
    } else {
        std::printf("%s\n", Absolute(options.output).c_str());
    }
    Shutdown(lib);
    return rc;
}
}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        PrintUsage(stderr);
        return 2;
    }
    if (options.help) {
        PrintUsage(stdout);
        return 0;
    }
    if (options.command == Command::None) {
        PrintUsage(stderr);
        return 2;
    }

    Library lib;
    std::string error;
    if (!KestrumTool::LoadLibrary(options.libraryPath, lib, error)) {
        std::fprintf(stderr, "kestrum: %s\n", error.c_str());
        return 1;
    }
    if (!StartLogging(lib, options)) return 1;

    int rc = 0;
    switch (options.command) {
        case Command::Version: rc = PrintVersions(lib); break;
        case Command::Capture: rc = RunCapture(lib, options); break;
        case Command::Info: rc = RunInfo(lib, options); break;
        case Command::Export: rc = RunExport(lib, options); break;
        case Command::View: rc = KestrumTool::RunViewCommand(lib, options.viewArguments); break;
        case Command::None: break;
    }

    StopLogging(lib);
    return rc;
}
