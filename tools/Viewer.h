#pragma once
// `kestrum view`: one scene, live, in a window of its own. The window holds a render proxy, so
// the library draws the scene, and its own input handling turns the mouse into orbit (left
// drag), pan (right drag) and zoom (wheel). The keys act through the exports:
//
//   c / b      next camera / the built-in camera      l / L   next / previous lighting scheme
//   a / g      axes / grid on or off                  f       fine zoom on or off
//   r          back to the view of the load           s       screenshot (PNG)
//   h          list the keys                          q, Esc  close (as the window's close button)

#include "KestrumLibrary.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KestrumTool {

// Where the scene comes from: a file, or bytes already in memory (a 3D stream taken out of a
// document), which the library tells apart by their content.
struct ViewerSource {
    std::string path;                    // a scene file; unused when `data` holds the scene
    std::vector<uint8_t> data;           // the scene itself
    std::string name;                    // for the title and screenshot names; else the path's
    std::vector<std::string> viewTexts;  // view dictionaries in PDF syntax, applied after the load
    uint32_t selectedView = 0;           // the entry of `viewTexts` that becomes the active camera
};

struct ViewerOptions {
    int32_t width = 800;
    int32_t height = 600;
    uint32_t background = 0xFFFFFF;
    uint32_t lighting = 1;  // the scene's own lights
    std::string camera;     // empty: the built-in camera
    std::string screenshotDir;
};

// Shows the scene until the window is closed, then stops the library's render thread. 0 after
// a clean close; 1 without an X display, when the library cannot make its view or when the
// scene does not load.
int RunViewer(const Library& lib, const ViewerSource& source, const ViewerOptions& options);

}  // namespace KestrumTool
