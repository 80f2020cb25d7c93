// tests/crash/sentry/sentry.cpp: a crash service that sends nothing and writes down how it was used.
#include "sentry.h"
#include "recording.h"
#include <memory>
#include <mutex>

struct sentry_options_s {
    std::string dsn;
    std::string databasePath;
};

namespace {

std::mutex s_mutex;
// Values are numbers of texts here.
std::vector<std::string> s_values;

void record(std::string const& call) {
    std::lock_guard const guard(s_mutex);
    sentryRecording().calls.push_back(call);
}

sentry_value_t newValue(std::string const& text) {
    std::lock_guard const guard(s_mutex);
    s_values.push_back(text);
    return {.bits = s_values.size() - 1};
}

std::string textOf(sentry_value_t value) {
    std::lock_guard const guard(s_mutex);
    return s_values.at(value.bits);
}

} // namespace

SentryRecording& sentryRecording() {
    static SentryRecording s_recording;
    return s_recording;
}

sentry_options_t* sentry_options_new() {
    return new sentry_options_t;
}

void sentry_options_set_dsn(sentry_options_t* options, char const* dsn) {
    options->dsn = dsn;
}

void sentry_options_set_database_path(sentry_options_t* options, char const* path) {
    options->databasePath = path;
}

int sentry_init(sentry_options_t* options) {
    std::unique_ptr<sentry_options_t> const owned(options);
    record("init " + owned->dsn + ' ' + owned->databasePath);
    return sentryRecording().initResult;
}

sentry_value_t sentry_value_new_object() {
    return newValue("{}");
}

sentry_value_t sentry_value_new_string(char const* text) {
    return newValue(text);
}

int sentry_value_set_by_key(sentry_value_t object, char const* key, sentry_value_t value) {
    std::string const member = key + (": " + textOf(value));
    std::lock_guard const guard(s_mutex);
    s_values.at(object.bits).insert(1, member);
    return 0;
}

void sentry_set_extra(char const* key, sentry_value_t value) {
    record("extra " + std::string(key) + ' ' + textOf(value));
}

sentry_value_t sentry_value_new_message_event(sentry_level_t level, char const* logger, char const* text) {
    return newValue(std::to_string(level) + " <" + logger + "> " + text);
}

sentry_uuid_t sentry_capture_event(sentry_value_t event) {
    record("event " + textOf(event));
    sentryRecording().whileCapturing();
    return {};
}

int sentry_shutdown() {
    record("shutdown");
    return 0;
}
