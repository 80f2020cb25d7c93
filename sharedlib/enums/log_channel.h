// sharedlib/enums/log_channel.h: the log channels, their names and descriptions.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>

/// Keeps the enumerators apart from those of the other enumerations; `Log` below brings the type out.
namespace LogEnum {

/// A log channel: the subject that a line of the log belongs to.
/// The values run without a gap from 0 to `Max` - 1; log_channel_table.inc describes each.
enum Log : std::int32_t {
#define SHAREDLIB_ENUM_ENTRY(name, description) name,
#include "sharedlib/enums/log_channel_table.inc"
    /// One higher than the last enum value
    Max
};

} // namespace LogEnum

using LogEnum::Log;

/// The name of each log channel, by value; then "Max", then an empty string that closes the table. Static strings.
/// Check a value that comes from outside before indexing; `Log_ValueToName` does so. Any thread may read.
SHAREDLIB_API extern const char* gLog_Names[Log::Max + 2];

/// The one-line description of each log channel, by value, closed like `gLog_Names`.
SHAREDLIB_API extern const char* gLog_Description[Log::Max + 2];

/// The log channel called `name`, without regard to the case of ASCII letters; -1 when there is none ("Max" and "" are
/// none). `name` must not be null. Any thread.
SHAREDLIB_API Log Log_NameToValue(const char* name);

/// The name of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* Log_ValueToName(Log value);

/// The description of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* Log_ValueToDescription(Log value);
