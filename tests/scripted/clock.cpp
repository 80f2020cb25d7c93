// tests/scripted/clock.cpp: clocks whose answers the test sets.
#include "tests/scripted/clock.h"
#include "sharedlib/platform/clock.h"
#include "tests/scripted/per_test.h"
#include <utility>

namespace scripted {

namespace {

PerTest const perTest([](bool) { clock() = Clock(); }, [] {});

} // namespace

Clock& clock() {
    static Clock instance;
    return instance;
}

void Clock::advanceMs(std::uint64_t milliseconds) {
    counter += static_cast<std::int64_t>(milliseconds) * frequency / 1000;
    ticks += static_cast<std::uint32_t>(milliseconds);
    m_unusedMs += milliseconds;
    seconds += static_cast<std::int64_t>(m_unusedMs / 1000);
    m_unusedMs %= 1000;
}

} // namespace scripted

namespace platform {

std::int64_t performanceCounter() {
    scripted::Clock& clock = scripted::clock();
    ++clock.counterReadings;
    return std::exchange(clock.counter, clock.counter + clock.counterStep);
}

std::int64_t stretchCounter() {
    return performanceCounter();
}

std::int64_t performanceFrequency() {
    ++scripted::clock().frequencyReadings;
    return scripted::clock().frequency;
}

std::uint32_t tickCountMs() {
    scripted::Clock& clock = scripted::clock();
    ++clock.tickReadings;
    return std::exchange(clock.ticks, clock.ticks + clock.tickStep);
}

std::int64_t systemSeconds() {
    scripted::Clock& clock = scripted::clock();
    ++clock.secondsReadings;
    return std::exchange(clock.seconds, clock.seconds + clock.secondsStep);
}

void sleepMs(unsigned long milliseconds) {
    scripted::clock().sleptMs += milliseconds;
    scripted::clock().advanceMs(milliseconds);
}

} // namespace platform
