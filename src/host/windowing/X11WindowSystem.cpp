#include "host/windowing/X11WindowSystem.h"

#include "host/windowing/WindowBase.h"
#include "host/windowing/X11Connection.h"

namespace Velmora::Windowing {

X11WindowSystem& X11WindowSystem::Instance() {
    static X11WindowSystem system;
    return system;
}

_XDisplay* X11WindowSystem::OpenDisplay() { return X11Connection::Instance().Open(); }

void X11WindowSystem::CloseDisplay() { X11Connection::Instance().Close(); }

Rendering::DeviceContext* X11WindowSystem::FindDrawable(uintptr_t window) { return WindowBase::GetDC(window); }

}  // namespace Velmora::Windowing
