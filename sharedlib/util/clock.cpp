// sharedlib/util/clock.cpp: the process-wide adjustable clock.
#include "sharedlib/util/clock.h"
#include "sharedlib/platform/clock.h"
#include <atomic>

namespace {

// One word is the whole state, so an atomic serves as its lock and needs no creation. Unsigned, so that sums wrap.
constinit std::atomic<std::uint64_t> clockOffset{0};

constexpr std::uint64_t kSessionPeriodSeconds = 3ULL * 365 * 24 * 60 * 60;
constexpr std::uint64_t kSessionIdsPerSecond = 30;

} // namespace

std::int64_t GetSecondsSinceEpoch() {
    auto const systemTime = static_cast<std::uint64_t>(platform::systemSeconds());
    return static_cast<std::int64_t>(systemTime + clockOffset.load(std::memory_order_relaxed));
}

void SetSecondsSinceEpoch(std::int64_t seconds) {
    auto const systemTime = static_cast<std::uint64_t>(platform::systemSeconds());
    clockOffset.store(static_cast<std::uint64_t>(seconds) - systemTime, std::memory_order_relaxed);
}

unsigned long getTimeSessionId() {
    auto const seconds = static_cast<std::uint64_t>(GetSecondsSinceEpoch());
    return static_cast<unsigned long>(kSessionIdsPerSecond * (seconds % kSessionPeriodSeconds));
}

void cleanupSharedTools() {
    // The offset holds no system resource; hosts call this on every system.
}
