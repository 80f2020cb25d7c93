// sharedlib/enums/msg.cpp: the tables and lookups of the network message types.
#include "sharedlib/enums/msg.h"
#include "sharedlib/enums/internal/enum_lookup.h"

const char* gMsg_Names[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) #name,
#include "sharedlib/enums/msg_table.inc"
    enum_lookup::kMaxName, enum_lookup::kTableEnd};

const char* gMsg_Description[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) (description),
#include "sharedlib/enums/msg_table.inc"
    enum_lookup::kMaxDescription, enum_lookup::kTableEnd};

Msg Msg_NameToValue(const char* name) {
    return enum_lookup::valueOfName<Msg>(gMsg_Names, name);
}

const char* Msg_ValueToName(Msg value) {
    return enum_lookup::entryOfValue(gMsg_Names, value);
}

const char* Msg_ValueToDescription(Msg value) {
    return enum_lookup::entryOfValue(gMsg_Description, value);
}
