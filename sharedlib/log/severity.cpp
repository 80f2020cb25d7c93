// sharedlib/log/severity.cpp: how severe a log line is, and the names of the severities.
#include "sharedlib/log/severity.h"
#include "sharedlib/enums/internal/enum_lookup.h"
#include <array>
#include <cstddef>

namespace {

// By value; asking for the name of None gives "Error" nevertheless.
constexpr std::array<char const*, 7> kNames{"None", "Fatal", "Assert", "Error", "Warning", "Info", "Detail"};

} // namespace

std::string LogSevLevelToName(LogItemSeverityLevel severity) {
    bool const named = severity >= LogSev_Fatal && severity <= LogSev_Detail;
    return kNames[static_cast<std::size_t>(named ? severity : LogSev_Error)];
}

LogItemSeverityLevel LogSevNameToLevel(std::string const& name) {
    // A name that only begins like a level is none.
    bool const whole = name.find('\0') == std::string::npos;
    for (std::int32_t value = LogSev_None; whole && value <= LogSev_Detail; ++value) {
        if (enum_lookup::sameIgnoringCase(kNames[static_cast<std::size_t>(value)], name.c_str())) {
            return static_cast<LogItemSeverityLevel>(value);
        }
    }
    return static_cast<LogItemSeverityLevel>(-1);
}
