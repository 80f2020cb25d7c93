// tests/log/gate_test.cpp: the guarded log call.
#include "sharedlib/log/gate.h"
#include "tests/support/log_capture.h"

namespace {

int s_evaluated = 0;
int s_onConsole = 0;

void logBoth(LogItemSeverityLevel severity) {
    SHAREDLIB_LOG(severity, Log::Network, "%d of %s", ++s_evaluated, "two");
    SHAREDLIB_DEBUGLOG(severity, Log::Network, "%d", ++s_evaluated);
}

TEST(Gate, EvaluatesNoArgumentWhileShutAndEachOnceWhenOpen) {
    logBoth(LogSev_Fatal);
    LogCapture log;
    log.logger().setLogLocationMask(LogLocation_DB | LogLocation_Console);
    log.logger().setConsoleLogFunction([](LogItemSeverityLevel, int, char const*, int, char const*) { ++s_onConsole; });
    logBoth(LogSev_Info);
    log.logger().setBSquelchLogger(true);
    logBoth(LogSev_Warning);
    EXPECT_EQ(s_evaluated, 0);
    log.logger().setBSquelchLogger(false);
    logBoth(LogSev_Warning);
    EXPECT_EQ(s_onConsole, 1) << "the debug line stays away";
    if (s_evaluated == 0)
        SHAREDLIB_LOG(LogSev_Warning, Log::Network, "not here");
    else
        SHAREDLIB_LOG(LogSev_Warning, Log::Network, "a statement like any other");
    EXPECT_EQ(log.texts(Log::Network), (std::vector<std::string>{"1 of two", "2", "a statement like any other"}));
}

} // namespace
