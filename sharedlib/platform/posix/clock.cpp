// sharedlib/platform/posix/clock.cpp: the system's clocks.
#include "sharedlib/platform/clock.h"
#include <cerrno>
#include <ctime>
#include <sched.h>

#if defined(__x86_64__)
#include <algorithm>
#include <array>
#include <cpuid.h>
#include <fcntl.h>
#include <string_view>
#include <sys/prctl.h>
#include <unistd.h>
#include <x86intrin.h>
#endif

namespace platform {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kNanosecondsPerMs = 1'000'000;

std::int64_t nanoseconds(timespec const& time) {
    return static_cast<std::int64_t>(time.tv_sec) * kNanosecondsPerSecond + time.tv_nsec;
}

std::int64_t readClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return nanoseconds(now);
}

std::int64_t monotonicNanoseconds() {
    return readClock(CLOCK_MONOTONIC);
}

// Ticks of about 100 ns on both ways to count: callers multiply ticks per millisecond with times in 32 bits.
constexpr std::int64_t kNanosecondsPerTick = 100;

#if defined(__x86_64__)

constexpr int kCyclesPerTickShift = 8;
constexpr std::int64_t kCalibrationNanoseconds = kNanosecondsPerMs;

std::int64_t readCycles() {
    // The fence keeps the reading behind what the thread has seen of others, so that time never runs back between them.
    _mm_lfence();
    return static_cast<std::int64_t>(__rdtsc());
}

bool kernelCountsByCycles() {
    int const file = open("/sys/devices/system/clocksource/clocksource0/current_clocksource", O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    std::array<char, 16> name{};
    ssize_t const length = read(file, name.data(), name.size());
    close(file);
    return std::string_view(name.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))) == "tsc\n";
}

bool processorCountsEvenly() {
    constexpr unsigned int kPowerManagementLeaf = 0x8000'0007;
    constexpr unsigned int kInvariantCounter = 1U << 8;
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int c = 0;
    unsigned int d = 0;
    return __get_cpuid(kPowerManagementLeaf, &a, &b, &c, &d) != 0 && (d & kInvariantCounter) != 0;
}

bool processMayReadCycles() {
    int permission = 0;
    return prctl(PR_GET_TSC, &permission) == 0 && permission == PR_TSC_ENABLE;
}

bool countsByCycles() {
    static bool const answer = processMayReadCycles() && processorCountsEvenly() && kernelCountsByCycles();
    return answer;
}

// A reading of the processor's counter and of the monotonic clock at the same moment.
struct Moment {
    std::int64_t cycles;
    std::int64_t nanoseconds;
};

Moment readMoment() {
    // An interruption between the readings would spoil them, so the closest of a few attempts is taken.
    Moment best{};
    std::int64_t bestWidth = INT64_MAX;
    for (int attempt = 0; attempt < 8; ++attempt) {
        std::int64_t const before = readCycles();
        std::int64_t const time = monotonicNanoseconds();
        std::int64_t const width = readCycles() - before;
        if (width < bestWidth) {
            bestWidth = width;
            best = {before + width / 2, time};
        }
    }
    return best;
}

std::int64_t measureTickFrequency() {
    Moment const first = readMoment();
    while (monotonicNanoseconds() - first.nanoseconds < kCalibrationNanoseconds) {
    }
    Moment const last = readMoment();
    double const cyclesPerNanosecond =
        static_cast<double>(last.cycles - first.cycles) / static_cast<double>(last.nanoseconds - first.nanoseconds);
    return static_cast<std::int64_t>(cyclesPerNanosecond * static_cast<double>(kNanosecondsPerSecond)) >>
           kCyclesPerTickShift;
}

#endif

} // namespace

std::int64_t performanceCounter() {
#if defined(__x86_64__)
    if (countsByCycles()) {
        return readCycles() >> kCyclesPerTickShift;
    }
#endif
    return monotonicNanoseconds() / kNanosecondsPerTick;
}

std::int64_t stretchCounter() {
#if defined(__x86_64__)
    if (countsByCycles()) {
        return static_cast<std::int64_t>(__rdtsc()) >> kCyclesPerTickShift;
    }
#endif
    return performanceCounter();
}

std::int64_t performanceFrequency() {
#if defined(__x86_64__)
    if (countsByCycles()) {
        static std::int64_t const frequency = measureTickFrequency();
        return frequency;
    }
#endif
    return kNanosecondsPerSecond / kNanosecondsPerTick;
}

std::uint32_t tickCountMs() {
    // The clock that the system's own tick moves on: a quarter of the cost.
    return static_cast<std::uint32_t>(readClock(CLOCK_MONOTONIC_COARSE) / kNanosecondsPerMs);
}

std::int64_t systemSeconds() {
    return std::time(nullptr);
}

void sleepMs(unsigned long milliseconds) {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    constexpr unsigned long kMsPerSecond = 1000;
    timespec rest{static_cast<time_t>(milliseconds / kMsPerSecond),
                  static_cast<long>(milliseconds % kMsPerSecond) * kNanosecondsPerMs};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
    }
}

} // namespace platform
