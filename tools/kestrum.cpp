// kestrum: a command-line host of the scene library. It loads the library with dlopen and
// talks to it only through the exported functions, so it doubles as a check that a host can
// be written from the public header alone.
//
//   kestrum [-L|--library FILE] [--log FILE] [--log-level N] --version
//
// Without --log, messages up to --log-level go to standard error through the log hook.

#include "KestrumLibrary.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using KestrumTool::Library;

struct Options {
    std::string libraryPath;
    std::string logFile;
    int32_t logLevel = 2;
    bool logLevelGiven = false;
    bool version = false;
    bool help = false;
};

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: kestrum [options] --version\n"
                 "options:\n"
                 "  -L, --library FILE   load the library from FILE\n"
                 "      --log FILE       write the library's log to FILE\n"
                 "      --log-level N    0 messages .. 5 extra verbose (default 2)\n"
                 "      --version        print the library's version table\n"
                 "  -h, --help           this text\n");
}

bool ParseLevel(const char* text, int32_t& level) {
    char* end = nullptr;
    long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 0 || value > 5) return false;
    level = static_cast<int32_t>(value);
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
        if (arg == "-L" || arg == "--library") {
            const char* v = value("--library");
            if (!v) return false;
            options.libraryPath = v;
        } else if (arg == "--log") {
            const char* v = value("--log");
            if (!v) return false;
            options.logFile = v;
        } else if (arg == "--log-level") {
            const char* v = value("--log-level");
            if (!v) return false;
            if (!ParseLevel(v, options.logLevel)) {
                std::fprintf(stderr, "kestrum: --log-level takes 0 to 5, not '%s'\n", v);
                return false;
            }
            options.logLevelGiven = true;
        } else if (arg == "--version") {
            options.version = true;
        } else if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else {
            std::fprintf(stderr, "kestrum: unknown argument '%s'\n", arg.c_str());
            return false;
        }
    }
    return true;
}

// The hook's text is the library's system string: a 32-bit byte count precedes it.
void StderrHook(void*, int32_t, Kestrum::KestrumSystemString message) {
    if (!message) return;
    uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(message) - sizeof bytes, sizeof bytes);
    std::string text = KestrumTool::ToUtf8(message, bytes / 2);
    std::fputs(text.c_str(), stderr);
}

// Routes the library's log as the options ask. False when the log file cannot be started.
bool StartLogging(const Library& lib, const Options& options) {
    if (!options.logFile.empty()) {
        std::u16string path = KestrumTool::ToUtf16(options.logFile);
        if (!lib.StartLoggingToDefault(0, path.c_str(), 0, static_cast<uint32_t>(options.logLevel))) {
            std::fprintf(stderr, "kestrum: cannot log to '%s'\n", options.logFile.c_str());
            return false;
        }
        return true;
    }
    lib.SetLoggingHook(nullptr, StderrHook);
    lib.SetLogLevel(options.logLevel);
    return true;
}

void StopLogging(const Library& lib, const Options& options) {
    if (options.logFile.empty()) {
        // The hook is served every 50 ms and does not drain when stopped; let it catch up.
        std::this_thread::sleep_for(std::chrono::milliseconds(120));
        lib.SetLoggingHook(nullptr, nullptr);
    }
    lib.StopLoggingToDefault();
}

int PrintVersions(const Library& lib) {
    std::printf("%s\n", lib.path.c_str());
    for (int32_t id = 0; id <= 4; ++id) {
        uint32_t major = 0, minor = 0, build = 0;
        lib.GetLibraryVersion(id, &major, &minor, &build);
        std::printf("  %-10s %d: %u.%u.%u\n", id == 4 ? "library" : "component", id, major, minor, build);
    }
    return 0;
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
    if (!options.version) {
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

    int rc = PrintVersions(lib);

    StopLogging(lib, options);
    return rc;
}
