#pragma once
// Registry of window classes by name. X11 has no window classes; the registry remains so that
// each kind of window is declared once with its procedure and duplicate registrations are
// recognised.

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "host/windowing/WindowMessages.h"

namespace Velmora::Windowing {

class WindowBase;

// The shared procedure of a class: routes a message to the window object behind the handle.
using WindowProcedure = intptr_t (*)(NativeHandle hwnd, uint32_t message, uintptr_t wparam, intptr_t lparam);

struct WindowClassRecord {
    std::u16string name;
    WindowProcedure procedure = nullptr;
};

class WindowClassRegistrar {
public:
    static WindowClassRegistrar& Instance();

    // True when the class is (now) registered; an empty name or a missing procedure fails
    // quietly.
    bool Register(const WindowClassRecord& record);
    bool IsRegistered(const std::u16string& name) const;
    void UnregisterAll();

private:
    WindowClassRegistrar() = default;
    mutable std::mutex mutex_;
    std::map<std::u16string, WindowClassRecord> classes_;
};

}  // namespace Velmora::Windowing
