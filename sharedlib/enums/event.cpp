// sharedlib/enums/event.cpp: the tables and lookups of the events sent to scripts and objects.
#include "sharedlib/enums/event.h"
#include "sharedlib/enums/internal/enum_lookup.h"

const char* gEvent_Names[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) #name,
#include "sharedlib/enums/event_table.inc"
    enum_lookup::kMaxName, enum_lookup::kTableEnd};

const char* gEvent_Description[] = {
#define SHAREDLIB_ENUM_ENTRY(name, description) (description),
#include "sharedlib/enums/event_table.inc"
    enum_lookup::kMaxDescription, enum_lookup::kTableEnd};

Event Event_NameToValue(const char* name) {
    return enum_lookup::valueOfName<Event>(gEvent_Names, name);
}

const char* Event_ValueToName(Event value) {
    return enum_lookup::entryOfValue(gEvent_Names, value);
}

const char* Event_ValueToDescription(Event value) {
    return enum_lookup::entryOfValue(gEvent_Description, value);
}
