#include "KestrumLibrary.h"

#include <unistd.h>

#include <climits>

// Last: Xlib's macros (None, Bool, Status) would clash with names in the headers above.
#include <X11/Xlib.h>

namespace KestrumTool {

namespace {

// Folder of this executable, with a trailing '/'; empty when it cannot be found.
std::string ExecutableFolder() {
    char buffer[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0) return {};
    std::string path(buffer, static_cast<size_t>(n));
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

}  // namespace

std::vector<std::string> CandidateLibraryPaths() {
    std::vector<std::string> paths;
    std::string folder = ExecutableFolder();
    if (!folder.empty()) {
        paths.push_back(folder + "../src/" KESTRUM_LIBRARY_NAME);
        paths.push_back(folder + "../lib/" KESTRUM_LIBRARY_NAME);
        paths.push_back(folder + KESTRUM_LIBRARY_NAME);
    }
    paths.push_back(KESTRUM_LIBRARY_NAME);  // LD_LIBRARY_PATH and the system folders
    return paths;
}

bool LoadLibrary(const std::string& explicitPath, Library& library, std::string& error) {
    std::vector<std::string> candidates;
    if (!explicitPath.empty())
        candidates.push_back(explicitPath);
    else
        candidates = CandidateLibraryPaths();

    std::string tried;
    for (const std::string& path : candidates) {
        // A bare name goes to the loader's search; a path is tried only when it exists.
        if (path.find('/') != std::string::npos && access(path.c_str(), F_OK) != 0) {
            tried += "\n  " + path + ": not found";
            continue;
        }
        library = Library{};
        std::string why;
        switch (KestrumExports::Open(path, library, why)) {
            case KestrumExports::OpenResult::Opened: library.path = path; return true;
            case KestrumExports::OpenResult::NotLoaded: tried += "\n  " + path + ": " + why; break;
            case KestrumExports::OpenResult::MissingExports: error = path + ": " + why; return false;
        }
    }
    error = "cannot load " KESTRUM_LIBRARY_NAME ", tried:" + tried;
    return false;
}

std::u16string ToUtf16(const std::string& utf8) {
    std::u16string out;
    out.reserve(utf8.size());
    const auto* s = reinterpret_cast<const unsigned char*>(utf8.data());
    size_t n = utf8.size();
    for (size_t i = 0; i < n;) {
        unsigned char c = s[i];
        uint32_t cp = 0xFFFD;
        size_t len = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
        if (len == 0 || i + len > n) {
            ++i;  // stray or truncated byte
        } else {
            cp = len == 1 ? c : c & (0x7F >> len);
            bool ok = true;
            for (size_t k = 1; k < len; ++k) {
                if ((s[i + k] & 0xC0) != 0x80) {
                    ok = false;
                    break;
                }
                cp = (cp << 6) | (s[i + k] & 0x3F);
            }
            static const uint32_t kMin[5] = {0, 0, 0x80, 0x800, 0x10000};
            if (!ok || cp < kMin[len] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
                cp = 0xFFFD;
                ++i;
            } else {
                i += len;
            }
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(cp));
        }
    }
    return out;
}

std::string ToUtf8(const char16_t* text, size_t units) {
    std::string out;
    if (!text) return out;
    out.reserve(units);
    for (size_t i = 0; i < units; ++i) {
        uint32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < units && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    return out;
}

bool OpenHostWindow(int width, int height, HostWindow& host) {
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) return false;
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, static_cast<unsigned>(width),
                                              static_cast<unsigned>(height), 0, 0, 0);
    XSync(display, False);
    if (window == 0) {
        XCloseDisplay(display);
        return false;
    }
    host.display = display;
    host.window = static_cast<uintptr_t>(window);
    return true;
}

void CloseHostWindow(HostWindow& host) {
    auto* display = static_cast<Display*>(host.display);
    if (display == nullptr) return;
    if (host.window != 0) XDestroyWindow(display, static_cast<Window>(host.window));
    XCloseDisplay(display);
    host = HostWindow{};
}

}  // namespace KestrumTool
