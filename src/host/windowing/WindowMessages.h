#pragma once
// The messages a window procedure handles, with the classic desktop numbering and packing:
// positions and sizes travel in the second parameter as two signed 16-bit halves (x or width
// low, y or height high), the wheel delta in the high half of the first parameter. X events
// are translated into these before they reach WindowBase::WindowProc.

#include <cstdint>

namespace Velmora::Windowing {

using NativeHandle = uintptr_t;  // an X11 window id, or a pseudo id for off-screen windows

enum WindowMessage : uint32_t {
    kMessageSize = 0x0005,
    kMessageActivate = 0x0006,
    kMessageKillFocus = 0x0008,
    kMessageMouseMove = 0x0200,
    kMessageLeftDown = 0x0201,
    kMessageLeftUp = 0x0202,
    kMessageRightDown = 0x0204,
    kMessageRightUp = 0x0205,
    kMessageMiddleDown = 0x0207,
    kMessageMiddleUp = 0x0208,
    kMessageMouseWheel = 0x020A,
};

// One notch of the wheel.
constexpr int32_t kWheelDelta = 120;

constexpr intptr_t PackPoint(int32_t x, int32_t y) {
    return static_cast<intptr_t>((static_cast<uint32_t>(static_cast<uint16_t>(x))) |
                                 (static_cast<uint32_t>(static_cast<uint16_t>(y)) << 16));
}
constexpr int32_t LowSigned(uintptr_t value) { return static_cast<int16_t>(value & 0xFFFF); }
constexpr int32_t HighSigned(uintptr_t value) { return static_cast<int16_t>((value >> 16) & 0xFFFF); }
constexpr uint32_t LowWord(uintptr_t value) { return static_cast<uint32_t>(value & 0xFFFF); }

}  // namespace Velmora::Windowing
