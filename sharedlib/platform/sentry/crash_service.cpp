// sharedlib/platform/sentry/crash_service.cpp: the crash service through sentry-native; the one file that knows it.
#include "sharedlib/platform/crash_service.h"
#include <sentry.h>

bool platform::startCrashService(char const* dsn, char const* databaseFolder) {
    sentry_options_t* const options = sentry_options_new();
    if (options == nullptr) {
        return false;
    }
    sentry_options_set_dsn(options, dsn);
    sentry_options_set_database_path(options, databaseFolder);
    // The options are the service's from here on, also when it fails.
    return sentry_init(options) == 0;
}

void platform::reportEvent(int level, char const* loggerName, char const* prefix, char const* text) {
    sentry_value_t const extra = sentry_value_new_object();
    sentry_value_set_by_key(extra, "prefix", sentry_value_new_string(prefix));
    sentry_set_extra("prefix", extra);
    sentry_capture_event(sentry_value_new_message_event(static_cast<sentry_level_t>(level), loggerName, text));
}

void platform::stopCrashService() {
    // Deprecated in newer versions in favour of a call that older ones lack; the build says that we know.
    sentry_shutdown();
}
