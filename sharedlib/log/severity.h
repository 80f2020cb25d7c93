// sharedlib/log/severity.h: how severe a log line is, and the names of the severities.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>
#include <string>

/// The severity of a log line, and the level of a log channel: a channel at a level writes the lines whose severity is
/// not greater. A smaller value is more severe. A line of severity `LogSev_None` is never written, and a channel at
/// level `LogSev_None` writes nothing.
enum LogItemSeverityLevel : std::int32_t {
    LogSev_None = 0,
    LogSev_Fatal = 1,
    LogSev_Assert = 2,
    LogSev_Error = 3,
    LogSev_Warning = 4,
    LogSev_Info = 5,
    LogSev_Detail = 6
};

/// The capitalised name of `severity`, such as "Warning". `LogSev_None` and values outside the enumeration give
/// "Error". Any thread.
SHAREDLIB_API std::string LogSevLevelToName(LogItemSeverityLevel severity);

/// The severity called `name` ("none", "fatal", "assert", "error", "warning", "info" or "detail", without regard to the
/// case of ASCII letters); -1 for any other text. Any thread.
SHAREDLIB_API LogItemSeverityLevel LogSevNameToLevel(std::string const& name);
