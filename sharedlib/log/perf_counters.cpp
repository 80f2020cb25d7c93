// sharedlib/log/perf_counters.cpp: scoped timers that add to a counter or write a log line.
#include "sharedlib/log/perf_counters.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/platform/clock.h"

namespace {

std::int64_t ticksBetween(std::int64_t start, std::int64_t now) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(now) - static_cast<std::uint64_t>(start));
}

// Both numbers are narrowed to single precision before the division.
float quotient(std::int64_t ticks, std::uint64_t divisor) {
    return static_cast<float>(static_cast<double>(ticks)) / static_cast<float>(static_cast<double>(divisor));
}

// The low 32 bits of the whole number in `value`; 0 beyond 64 bits.
std::uint32_t truncated(float value) {
    constexpr float kTwoTo63 = 9223372036854775808.0F;
    bool const fits = value > -kTwoTo63 && value < kTwoTo63;
    return fits ? static_cast<std::uint32_t>(static_cast<std::int64_t>(value)) : 0;
}

} // namespace

std::uint32_t PerfCounter::readTickCount() {
    return platform::tickCountMs();
}

std::uint32_t PrecisionPerfCounter::elapsed(std::int64_t now) const {
    std::uint64_t const divisor = m_rawTicks ? 1 : FrameEventLogger::ticksPerMillisecond();
    return truncated(quotient(ticksBetween(m_start, now), divisor));
}

void PerfLogCounter::report() const {
    std::int64_t const elapsed = ticksBetween(m_start, FrameEventLogger::readCounter());
    std::uint64_t const divisor = FrameEventLogger::ticksPerMillisecond();
    // Thresholds are counted in 32 bits with a sign, as every host's settings expect.
    auto const threshold = static_cast<std::int32_t>(m_threshold * static_cast<std::uint32_t>(divisor));
    if (elapsed >= threshold) {
        SHAREDLIB_DEBUGLOG(LogSev_Info, m_channel, "%s time=%.4lf ms", m_name,
                           static_cast<double>(quotient(elapsed, divisor)));
    }
}
