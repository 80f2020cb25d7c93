// sharedlib/enums/msg.h: the network message types, their names and descriptions.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>

/// Keeps the enumerators apart from those of the other enumerations; `Msg` below brings the type out.
namespace MsgEnum {

/// A network message type as it travels in every message header.
/// The values run without a gap from 0 to `Max` - 1; msg_table.inc describes each.
/// Types 13 to 23 are deprecated and keep their numbers.
enum Msg : std::int32_t {
#define SHAREDLIB_ENUM_ENTRY(name, description) name,
#include "sharedlib/enums/msg_table.inc"
    /// One higher than the last enum value
    Max
};

} // namespace MsgEnum

using MsgEnum::Msg;

/// The name of each message type, by value; then "Max", then an empty string that closes the table. Static strings.
/// Check a value that comes from outside before indexing; `Msg_ValueToName` does so. Any thread may read.
SHAREDLIB_API extern const char* gMsg_Names[Msg::Max + 2];

/// The one-line description of each message type, by value, closed like `gMsg_Names`.
SHAREDLIB_API extern const char* gMsg_Description[Msg::Max + 2];

/// The message type called `name`, without regard to the case of ASCII letters; -1 when there is none ("Max" and "" are
/// none). `name` must not be null. Any thread.
SHAREDLIB_API Msg Msg_NameToValue(const char* name);

/// The name of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* Msg_ValueToName(Msg value);

/// The description of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* Msg_ValueToDescription(Msg value);
