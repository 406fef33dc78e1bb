#pragma once

#include <cstdint>

// The clocks behind Timer, one implementation per platform backend.
namespace Tarn::Platform::Detail {

/// Monotonic high-resolution counter reading, in ticks.
int64_t performanceCounter();
/// Ticks per second of performanceCounter (constant for the process lifetime, never 0).
int64_t performanceFrequency();
/// Wall clock: microseconds since 1970-01-01 00:00 UTC.
int64_t systemTimeMicroseconds();

} // namespace Tarn::Platform::Detail
