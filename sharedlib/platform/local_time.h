// sharedlib/platform/local_time.h: the local time as text.
#pragma once
#include <cstdint>

namespace platform {

/// Characters of `localTimeText` without its line feed.
inline constexpr int kLocalTimeLength = 24;

/// Writes the local time of `seconds` since 1970 in the classic form "Tue Nov 17 17:44:52 2026", a line feed and a zero
/// into `text`; months and days are English in every locale. False, with "" in `text`, for a year above 9999. Any
/// thread.
bool localTimeText(std::int64_t seconds, char (&text)[kLocalTimeLength + 2]);

} // namespace platform
