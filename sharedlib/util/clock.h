// sharedlib/util/clock.h: the process-wide adjustable clock.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>

/// Seconds since 1970 as this process counts them: the system time plus an offset that is 0 until
/// `SetSecondsSinceEpoch`. A sum beyond 64 bits wraps. Any thread.
SHAREDLIB_API std::int64_t GetSecondsSinceEpoch();

/// Sets the clock to `seconds`, from where it advances with the system time. Takes every value. Any thread.
SHAREDLIB_API void SetSecondsSinceEpoch(std::int64_t seconds);

/// A session number that grows by 30 every second, stays below 2838240000 and starts again at 0 every three years of
/// 365 days, counted by `GetSecondsSinceEpoch`. Any thread.
SHAREDLIB_API unsigned long getTimeSessionId();

/// Releases what the clock holds, at process shutdown. The functions above must not be called after it.
SHAREDLIB_API void cleanupSharedTools();
