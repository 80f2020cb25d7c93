// sharedlib/platform/none/crash_service.cpp: the crash service of a library that is built without one.
#include "sharedlib/platform/crash_service.h"

bool platform::startCrashService(char const* /*dsn*/, char const* /*databaseFolder*/) {
    return false;
}

void platform::reportEvent(int /*level*/, char const* /*loggerName*/, char const* /*prefix*/, char const* /*text*/) {
}

void platform::stopCrashService() {
}
