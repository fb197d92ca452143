#include "ViewerCommand.h"

#include <cstdlib>
#include <cstring>

#include "PdfDocument.h"
#include "SceneSource.h"
#include "Viewer.h"

namespace KestrumTool {

namespace {

// The library makes no view smaller than 50 pixels a side.
constexpr long kSmallestSide = 50;
constexpr long kLargestSide = 16384;
constexpr long kLastLightingScheme = 11;
constexpr long kLargestColor = 0xFFFFFF;
constexpr int kHexBase = 16;
constexpr size_t kColorDigits = 6;

bool ParseNumber(const std::string& text, long low, long high, long& value, int base = 10) {
    char* end = nullptr;
    value = std::strtol(text.c_str(), &end, base);
    return end != text.c_str() && *end == '\0' && value >= low && value <= high;
}

bool ParseSize(const std::string& text, int32_t& width, int32_t& height) {
    const size_t x = text.find('x');
    long w = 0, h = 0;
    if (x == std::string::npos || !ParseNumber(text.substr(0, x), kSmallestSide, kLargestSide, w) ||
        !ParseNumber(text.substr(x + 1), kSmallestSide, kLargestSide, h))
        return false;
    width = static_cast<int32_t>(w);
    height = static_cast<int32_t>(h);
    return true;
}

bool ParseColor(std::string text, uint32_t& color) {
    if (!text.empty() && text[0] == '#') text.erase(0, 1);
    long value = 0;
    if (text.size() != kColorDigits || !ParseNumber(text, 0, kLargestColor, value, kHexBase)) return false;
    color = static_cast<uint32_t>(value);
    return true;
}

// False with a message on a bad command line; `help` set for -h.
bool ParseViewArguments(const std::vector<std::string>& args, ViewerSource& source, ViewerOptions& options,
                        SceneRequest& request, bool& help) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        auto value = [&](const char* name, std::string& out) {
            if (i + 1 >= args.size()) {
                std::fprintf(stderr, "kestrum: %s needs a value\n", name);
                return false;
            }
            out = args[++i];
            return true;
        };
        auto bad = [&](const char* name, const std::string& v, const char* what) {
            std::fprintf(stderr, "kestrum: %s takes %s, not '%s'\n", name, what, v.c_str());
            return false;
        };
        std::string v;
        long number = 0;
        if (arg == "-h" || arg == "--help") {
            help = true;
        } else if (arg == "--size") {
            if (!value("--size", v)) return false;
            if (!ParseSize(v, options.width, options.height)) return bad("--size", v, "WxH (50 to 16384 each)");
        } else if (arg == "--background") {
            if (!value("--background", v)) return false;
            if (!ParseColor(v, options.background)) return bad("--background", v, "RRGGBB in hex");
        } else if (arg == "--lighting") {
            if (!value("--lighting", v)) return false;
            if (!ParseNumber(v, 0, kLastLightingScheme, number)) return bad("--lighting", v, "0 to 11");
            options.lighting = static_cast<uint32_t>(number);
        } else if (arg == "--camera") {
            if (!value("--camera", options.camera)) return false;
        } else if (arg == "--view") {
            if (!value("--view", request.view)) return false;
        } else if (arg == "--annotation") {
            if (!value("--annotation", v)) return false;
            if (!ParseNumber(v, 0, kMaxAnnotationIndex, number)) return bad("--annotation", v, "a number from 0");
            request.annotation = static_cast<size_t>(number);
        } else if (arg == "--screenshot-dir") {
            if (!value("--screenshot-dir", options.screenshotDir)) return false;
        } else if (!arg.empty() && arg[0] != '-' && source.path.empty()) {
            source.path = arg;
        } else {
            std::fprintf(stderr, "kestrum: unknown argument '%s'\n", arg.c_str());
            return false;
        }
    }
    if (source.path.empty() && !help) {
        std::fprintf(stderr, "kestrum: view needs a scene file\n");
        return false;
    }
    return true;
}

}  // namespace

void PrintViewUsage(FILE* out) {
    std::fprintf(
        out,
        "usage: kestrum [options] view SCENE [--size WxH] [--background RRGGBB] [--lighting N]\n"
        "                              [--camera NAME] [--screenshot-dir DIR] [--annotation N] [--view NAME|N]\n"
        "  view      show SCENE in a window: left drag orbits, right drag pans, the wheel\n"
        "            zooms; c/b cameras, l/L lighting, a axes, g grid, f fine zoom,\n"
        "            r reset, s screenshot (DIR, default the working folder), q closes\n");
}

int RunViewCommand(const Library& lib, const std::vector<std::string>& args) {
    ViewerSource source;
    ViewerOptions options;
    SceneRequest request;
    bool help = false;
    if (!ParseViewArguments(args, source, options, request, help)) {
        PrintViewUsage(stderr);
        return 2;
    }
    if (help) {
        PrintViewUsage(stdout);
        return 0;
    }
    // A document's 3D stream comes in as bytes, with its views as texts that become cameras.
    if (PdfDocument::IsPdf(source.path)) {
        SceneSource scene;
        std::string error;
        if (!PrepareSource(source.path, request, scene, error)) {
            std::fprintf(stderr, "kestrum: %s\n", error.c_str());
            return 1;
        }
        source.name = source.path;
        source.data = std::move(scene.pdf.bytes);
        source.viewTexts = std::move(scene.pdf.viewTexts);
        source.selectedView = scene.pdf.selectedView;
    } else if (options.camera.empty()) {
        // Outside documents a view is a camera of the scene, as for capture.
        options.camera = request.view;
    }
    return RunViewer(lib, source, options);
}

}  // namespace KestrumTool
