// tests/crash/sentry/sentry.h: a stand-in for the crash service's header, with the eleven functions that the library
// uses.
#pragma once
#include <cstdint>

extern "C" {

struct sentry_options_s;
using sentry_options_t = struct sentry_options_s;

/// A value of the service, passed by value.
union sentry_value_u {
    std::uint64_t bits;
    double number;
};
using sentry_value_t = union sentry_value_u;

struct sentry_uuid_s {
    char bytes[16];
};
using sentry_uuid_t = struct sentry_uuid_s;

enum sentry_level_e {
    SENTRY_LEVEL_DEBUG = -1,
    SENTRY_LEVEL_INFO = 0,
    SENTRY_LEVEL_WARNING = 1,
    SENTRY_LEVEL_ERROR = 2,
    SENTRY_LEVEL_FATAL = 3
};
using sentry_level_t = enum sentry_level_e;

sentry_options_t* sentry_options_new(void);
void sentry_options_set_dsn(sentry_options_t* options, char const* dsn);
void sentry_options_set_database_path(sentry_options_t* options, char const* path);
int sentry_init(sentry_options_t* options);
sentry_value_t sentry_value_new_object(void);
sentry_value_t sentry_value_new_string(char const* text);
int sentry_value_set_by_key(sentry_value_t object, char const* key, sentry_value_t value);
void sentry_set_extra(char const* key, sentry_value_t value);
sentry_value_t sentry_value_new_message_event(sentry_level_t level, char const* logger, char const* text);
sentry_uuid_t sentry_capture_event(sentry_value_t event);
[[deprecated("as in the newer versions of the service")]] int sentry_shutdown(void);
}
