// tests/scripted/clock.h: clocks whose answers the test sets.
#pragma once
#include <cstdint>

namespace scripted {

/// What platform/clock.h answers. Every test begins with these values. For one thread.
struct Clock {
    /// The answer of `performanceCounter`, which goes up by `counterStep` after each reading.
    std::int64_t counter = 1'000'000'000;
    std::int64_t counterStep = 0;
    /// The answer of `performanceFrequency`.
    std::int64_t frequency = 10'000'000;
    /// The answer of `tickCountMs`, which goes up by `tickStep` after each reading.
    std::uint32_t ticks = 1'000'000;
    std::uint32_t tickStep = 0;
    /// The answer of `systemSeconds`, which goes up by `secondsStep` after each reading.
    std::int64_t seconds = 1'700'000'000;
    std::int64_t secondsStep = 0;
    /// How often each clock was read.
    int counterReadings = 0;
    int frequencyReadings = 0;
    int tickReadings = 0;
    int secondsReadings = 0;
    /// All times passed to `sleepMs`, which returns at once after moving the clocks.
    std::uint64_t sleptMs = 0;

    /// Moves counter, tick count and, by whole seconds since the test's start, the wall clock.
    void advanceMs(std::uint64_t milliseconds);

private:
    std::uint64_t m_unusedMs = 0;
};

/// The clock of the running test.
Clock& clock();

} // namespace scripted
