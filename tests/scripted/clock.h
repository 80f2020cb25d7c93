// tests/scripted/clock.h: clocks whose answers the test sets.
#pragma once
#include <cstdint>

namespace scripted {

/// What platform/clock.h answers; each clock goes up by its step after a reading. Every test begins with these values.
struct Clock {
    std::int64_t counter = 1'000'000'000;
    std::int64_t counterStep = 0;
    std::int64_t frequency = 10'000'000;
    std::uint32_t ticks = 1'000'000;
    std::uint32_t tickStep = 0;
    std::int64_t seconds = 1'700'000'000;
    /// How often counter and frequency were read.
    int counterReadings = 0;
    int frequencyReadings = 0;
};

/// The clock of the running test. For one thread.
Clock& clock();

} // namespace scripted
