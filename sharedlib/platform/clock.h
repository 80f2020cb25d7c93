// sharedlib/platform/clock.h: the system's clocks.
#pragma once
#include <cstdint>

namespace platform {

/// Ticks of the high-resolution counter: monotonic, sub-microsecond, a few nanoseconds to read. Any thread.
std::int64_t performanceCounter();
/// Ticks per second of `performanceCounter`, constant while the process runs; 0 when the system has no such counter.
std::int64_t performanceFrequency();
/// Milliseconds of a monotonic clock, cut to 32 bits.
std::uint32_t tickCountMs();
/// Seconds since 1970 of the system's adjustable wall clock.
std::int64_t systemSeconds();
/// Gives up the processor for at least `milliseconds`.
void sleepMs(unsigned long milliseconds);

} // namespace platform
