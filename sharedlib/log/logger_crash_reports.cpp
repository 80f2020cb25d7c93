// sharedlib/log/logger_crash_reports.cpp: how the logger connects to the crash service and hands lines to it.
#include "sharedlib/log/internal/log_file.h"
#include "sharedlib/log/internal/log_line.h"
#include "sharedlib/log/logger.h"
#include "sharedlib/platform/crash_service.h"
#include "sharedlib/platform/process.h"
#include <string_view>

namespace {

// The service's own level numbers.
constexpr int kReportWarning = 1;
constexpr int kReportError = 2;
constexpr int kReportFatal = 3;

} // namespace

int Logger::reportLevel(LogItemSeverityLevel severity) noexcept {
    switch (severity) {
    case LogSev_Fatal:
    case LogSev_Assert:
        return kReportFatal;
    case LogSev_Error:
        return kReportError;
    case LogSev_Warning:
        return kReportWarning;
    default:
        return 0;
    }
}

void Logger::initializeSentry(std::string dsn) {
    constexpr std::string_view scheme = "http://";
    // Also an address with another scheme gets this one in front.
    if (dsn.find(scheme) == std::string::npos) {
        dsn.insert(0, scheme);
    }
    // A folder per process, so that two processes may start from one working directory.
    std::string const folder = ".sentry-native/" + std::to_string(platform::currentProcessId());
    m_sentryInitialized.store(platform::startCrashService(dsn.c_str(), folder.c_str()), std::memory_order_release);
}

void Logger::reportToCrashService(LogLine const& line) const {
    if (line.reportLevel >= kReportError && m_sentryInitialized.load(std::memory_order_acquire)) {
        platform::reportEvent(line.reportLevel, line.file->name().c_str(), conditional(line.channel).m_prefix.c_str(),
                              line.text.data());
    }
}
