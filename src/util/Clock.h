#pragma once
// Time helpers of the threading layer: the millisecond clock and Sleep.

#include <cstdint>

namespace Velmora::Utility {

// Milliseconds of the steady clock as a 64-bit count (does not wrap).
uint64_t SteadyMs();

// Waits at least `ms` whole milliseconds, measured on the steady clock. The deadline is
// clamped when it would overflow a signed 64-bit nanosecond count; an interrupted wait goes
// on until the deadline has passed. Zero or negative returns at once.
void Sleep(int64_t ms);

}  // namespace Velmora::Utility
