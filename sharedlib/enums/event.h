// sharedlib/enums/event.h: the events sent to scripts and objects, their names and descriptions.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>

/// Keeps the enumerators apart from those of the other enumerations; `Event` below brings the type out.
namespace EventEnum {

/// An event that the game sends to scripts and objects.
/// The values run without a gap from 0 to `Max` - 1; event_table.inc describes each.
enum Event : std::int32_t {
#define SHAREDLIB_ENUM_ENTRY(name, description) name,
#include "sharedlib/enums/event_table.inc"
    /// One higher than the last enum value
    Max
};

} // namespace EventEnum

using EventEnum::Event;

/// The name of each event, by value; then "Max", then an empty string that closes the table. Static strings.
/// Check a value that comes from outside before indexing; `Event_ValueToName` does so. Any thread may read.
SHAREDLIB_API extern const char* gEvent_Names[Event::Max + 2];

/// The one-line description of each event, by value, closed like `gEvent_Names`.
SHAREDLIB_API extern const char* gEvent_Description[Event::Max + 2];

/// The event called `name`, without regard to the case of ASCII letters; -1 when there is none ("Max" and "" are none).
/// `name` must not be null. Any thread.
SHAREDLIB_API Event Event_NameToValue(const char* name);

/// The name of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* Event_ValueToName(Event value);

/// The description of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* Event_ValueToDescription(Event value);
