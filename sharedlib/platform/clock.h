// sharedlib/platform/clock.h: the system's clocks.
#pragma once
#include <cstdint>

namespace platform {

/// Ticks of the high-resolution counter: monotonic, sub-microsecond, a few nanoseconds to read. Any thread.
std::int64_t performanceCounter();
/// The same ticks for a stretch that one thread measures, at half the cost: a reading may lie a few nanoseconds before
/// one that another thread has handed over, and two of a thread may be in the wrong order by as much. Any thread.
std::int64_t stretchCounter();
/// Ticks per second of `performanceCounter`, constant while the process runs; 0 when the system has no such counter.
/// The first call may measure for a millisecond. Any thread.
std::int64_t performanceFrequency();
/// Milliseconds of a monotonic clock, cut to 32 bits, in steps of up to 16. Any thread.
std::uint32_t tickCountMs();
/// Seconds since 1970 of the system's adjustable wall clock. Any thread.
std::int64_t systemSeconds();
/// Gives up the processor for at least `milliseconds`, also when a signal comes; 0 only lets others run. Any thread.
void sleepMs(unsigned long milliseconds);

} // namespace platform
