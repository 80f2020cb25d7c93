// sharedlib/enums/db_type.cpp: the tables and lookups of the database column types.
#include "sharedlib/enums/db_type.h"
#include "sharedlib/enums/internal/enum_lookup.h"

const char* gDBType_Names[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) #name,
#include "sharedlib/enums/db_type_table.inc"
    enum_lookup::kMaxName, enum_lookup::kTableEnd};

const char* gDBType_Description[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) (description),
#include "sharedlib/enums/db_type_table.inc"
    enum_lookup::kMaxDescription, enum_lookup::kTableEnd};

DBType DBType_NameToValue(const char* name) {
    return enum_lookup::valueOfName<DBType>(gDBType_Names, name);
}

const char* DBType_ValueToName(DBType value) {
    return enum_lookup::entryOfValue(gDBType_Names, value);
}

const char* DBType_ValueToDescription(DBType value) {
    return enum_lookup::entryOfValue(gDBType_Description, value);
}
