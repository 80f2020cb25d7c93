// sharedlib/enums/db_type.h: the database column types, their names and descriptions.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>

/// Keeps the enumerators apart from those of the other enumerations; `DBType` below brings the type out.
namespace DBTypeEnum {

/// A database column type; its description is the SQL column type that stores it.
/// The values run without a gap from 0 to `Max` - 1; db_type_table.inc describes each.
enum DBType : std::int32_t {
#define SHAREDLIB_ENUM_ENTRY(name, description) name,
#include "sharedlib/enums/db_type_table.inc"
    /// One higher than the last enum value
    Max
};

} // namespace DBTypeEnum

using DBTypeEnum::DBType;

/// The name of each column type, by value; then "Max", then an empty string that closes the table. Static strings.
/// Check a value that comes from outside before indexing; `DBType_ValueToName` does so. Any thread may read.
SHAREDLIB_API extern const char* gDBType_Names[DBType::Max + 2];

/// The one-line description of each column type, by value, closed like `gDBType_Names`.
SHAREDLIB_API extern const char* gDBType_Description[DBType::Max + 2];

/// The column type called `name`, without regard to the case of ASCII letters; -1 when there is none ("Max" and "" are
/// none). `name` must not be null. Any thread.
SHAREDLIB_API DBType DBType_NameToValue(const char* name);

/// The name of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* DBType_ValueToName(DBType value);

/// The description of `value`, or "Error" when it is negative or not below `Max`. A static string. Any thread.
SHAREDLIB_API const char* DBType_ValueToDescription(DBType value);
