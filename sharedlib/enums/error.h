// sharedlib/enums/error.h: the error codes, their names and descriptions.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>

/// Keeps the enumerators apart from those of the other enumerations; `Error` below brings the type out.
namespace ErrorEnum {

/// An error code that client and servers share; 0 (`None`) is success.
/// The values run without a gap from 0 to `Max` - 1; error_table.inc describes each.
/// The aim errors between `AimBegin` and `AimEnd` stand in the order of the game's own aim results.
enum Error : std::int32_t {
#define SHAREDLIB_ENUM_ENTRY(name, description) name,
#include "sharedlib/enums/error_table.inc"
    /// One higher than the last enum value
    Max
};

} // namespace ErrorEnum

using ErrorEnum::Error;

/// The name of each error code, by value; then "Max", then an empty string that closes the table. Static strings.
/// Check a value that comes from outside before indexing; `Error_ValueToName` does so. Any thread may read.
SHAREDLIB_API extern const char* gError_Names[Error::Max + 2];

/// The one-line description of each error code, by value, closed like `gError_Names`.
SHAREDLIB_API extern const char* gError_Description[Error::Max + 2];

/// The error code called `name`, without regard to the case of ASCII letters; -1 when there is none ("Max" and "" are
/// none). `name` must not be null. Any thread.
SHAREDLIB_API Error Error_NameToValue(const char* name);

/// The name of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* Error_ValueToName(Error value);

/// The description of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* Error_ValueToDescription(Error value);
