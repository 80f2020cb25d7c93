// sharedlib/enums/log_channel.cpp: the tables and lookups of the log channels.
#include "sharedlib/enums/log_channel.h"
#include "sharedlib/enums/internal/enum_lookup.h"

const char* gLog_Names[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) #name,
#include "sharedlib/enums/log_channel_table.inc"
    enum_lookup::kMaxName, enum_lookup::kTableEnd};

const char* gLog_Description[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) (description),
#include "sharedlib/enums/log_channel_table.inc"
    enum_lookup::kMaxDescription, enum_lookup::kTableEnd};

Log Log_NameToValue(const char* name) {
    return enum_lookup::valueOfName<Log>(gLog_Names, name);
}

const char* Log_ValueToName(Log value) {
    return enum_lookup::entryOfValue(gLog_Names, value);
}

const char* Log_ValueToDescription(Log value) {
    return enum_lookup::entryOfValue(gLog_Description, value);
}
