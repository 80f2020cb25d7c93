// sharedlib/net/internal/elapsed_time.h: what the connection's timers add for a stretch of time.
#pragma once
#include "sharedlib/log/frame_event_log.h"
#include "sharedlib/platform/clock.h"
#include <cstdint>
#include <limits>

namespace elapsed_time {

/// Whole milliseconds in `ticks` of the performance counter, divided in single precision like `PrecisionPerfCounter`.
inline std::uint32_t wholeMilliseconds(std::int64_t ticks) {
    const std::uint64_t divisor = FrameEventLogger::ticksPerMillisecond();
    if (ticks < static_cast<std::int64_t>(divisor / 2)) {
        return 0;
    }
    const float quotient =
        static_cast<float>(static_cast<double>(ticks)) / static_cast<float>(static_cast<double>(divisor));
    constexpr float kLimit = 4294967296.0F;
    return quotient < kLimit ? static_cast<std::uint32_t>(quotient) : std::numeric_limits<std::uint32_t>::max();
}

} // namespace elapsed_time
