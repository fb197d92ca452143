#pragma once
// The renderer's view of the window system: the native display its GL platform is opened on,
// and the drawable of a window named by its native handle. The window layer installs its
// implementation at start-up; with none installed the renderer has no windows and runs
// headless, drawing only into off-screen drawables.

#include <cstdint>

#include "rendering/DeviceContext.h"

struct _XDisplay;

namespace Velmora::Rendering {

class WindowSystem {
public:
    virtual ~WindowSystem() = default;

    // The native display, opened on first use; null when no display server can be reached.
    virtual _XDisplay* OpenDisplay() = 0;
    // Gives the display back once the renderer has failed to use it.
    virtual void CloseDisplay() = 0;
    // The drawable of the live window behind a native handle, or null.
    virtual DeviceContext* FindDrawable(uintptr_t window) = 0;

    // The implementation must outlive every renderer start; null uninstalls it.
    static void Install(WindowSystem* system);
    static WindowSystem* Installed();
};

}  // namespace Velmora::Rendering
