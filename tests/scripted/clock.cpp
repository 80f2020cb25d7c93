// tests/scripted/clock.cpp: clocks whose answers the test sets.
#include "tests/scripted/clock.h"
#include "sharedlib/platform/clock.h"
#include "tests/scripted/per_test.h"
#include <utility>

namespace scripted {
namespace {

const PerTest kPerTest([](bool) { clock() = Clock(); }, [] {});

} // namespace

Clock& clock() {
    static Clock instance;
    return instance;
}

} // namespace scripted

namespace platform {

using scripted::clock;

std::int64_t performanceCounter() {
    ++clock().counterReadings;
    return std::exchange(clock().counter, clock().counter + clock().counterStep);
}

std::int64_t stretchCounter() {
    return performanceCounter();
}

std::int64_t performanceFrequency() {
    ++clock().frequencyReadings;
    return clock().frequency;
}

std::uint32_t tickCountMs() {
    return std::exchange(clock().ticks, clock().ticks + clock().tickStep);
}

std::int64_t systemSeconds() {
    return clock().seconds;
}

/// Returns at once, with the counter and the tick count moved on.
void sleepMs(unsigned long milliseconds) {
    clock().counter += static_cast<std::int64_t>(milliseconds) * clock().frequency / 1000;
    clock().ticks += static_cast<std::uint32_t>(milliseconds);
}

} // namespace platform
