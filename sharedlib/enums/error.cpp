// sharedlib/enums/error.cpp: the tables and lookups of the error codes.
#include "sharedlib/enums/error.h"
#include "sharedlib/enums/internal/enum_lookup.h"

const char* gError_Names[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) #name,
#include "sharedlib/enums/error_table.inc"
    enum_lookup::kMaxName, enum_lookup::kTableEnd};

const char* gError_Description[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) (description),
#include "sharedlib/enums/error_table.inc"
    enum_lookup::kMaxDescription, enum_lookup::kTableEnd};

Error Error_NameToValue(const char* name) {
    return enum_lookup::valueOfName<Error>(gError_Names, name);
}

const char* Error_ValueToName(Error value) {
    return enum_lookup::entryOfValue(gError_Names, value);
}

const char* Error_ValueToDescription(Error value) {
    return enum_lookup::entryOfValue(gError_Description, value);
}
