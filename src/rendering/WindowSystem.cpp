#include "rendering/WindowSystem.h"

#include <atomic>

namespace Velmora::Rendering {

namespace {
// Constant-initialised, so an installation from another file's start-up code cannot run
// before it exists.
std::atomic<WindowSystem*> installed{nullptr};
}  // namespace

void WindowSystem::Install(WindowSystem* system) { installed.store(system); }

WindowSystem* WindowSystem::Installed() { return installed.load(); }

}  // namespace Velmora::Rendering
