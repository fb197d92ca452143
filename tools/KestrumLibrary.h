#pragma once
// The command-line host's view of the library: loaded with dlopen and used only through its
// exported functions, exactly as a host application would.

#include "Kestrum.h"
#include "exportslib/KestrumExports.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KestrumTool {

struct Library : KestrumExports::Functions {
    std::string path;  // the file that was loaded
};

// The places searched for the library when no path is given, in order: the build tree beside
// this program (../src/), the install location (../lib/), then the loader's own search.
std::vector<std::string> CandidateLibraryPaths();

// Loads the library from `explicitPath` (or the candidates when empty) and resolves every
// function. On failure `error` says why and false comes back.
bool LoadLibrary(const std::string& explicitPath, Library& library, std::string& error);

// An unmapped top-level window on the tool's own X connection: the parent a render proxy
// needs for its child window. Never shown; it only anchors the library's view.
struct HostWindow {
    void* display = nullptr;  // the X connection (Display*)
    uintptr_t window = 0;
};

// False when no X display is reachable ($DISPLAY unset or the server does not answer).
bool OpenHostWindow(int width, int height, HostWindow& host);
// Destroys the window and closes the connection; the render proxy must be gone first, since
// its child window goes with the parent.
void CloseHostWindow(HostWindow& host);

// Text conversions of the host side.
std::u16string ToUtf16(const std::string& utf8);
std::string ToUtf8(const char16_t* text, size_t units);

}  // namespace KestrumTool
