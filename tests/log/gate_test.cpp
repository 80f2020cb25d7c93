// tests/log/gate_test.cpp: the guarded log call.
#include "sharedlib/log/gate.h"
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

int s_evaluated = 0;
std::vector<std::string> s_lines;

int counted(int value) {
    ++s_evaluated;
    return value;
}

void record(LogItemSeverityLevel, int, char const* text, int, char const*) {
    s_lines.emplace_back(text);
}

class GateTest : public testing::Test {
protected:
    GateTest() {
        m_logger.setConsoleLogFunction(&record);
        m_logger.setLogLocationMask(~int{LogLocation_File});
        s_evaluated = 0;
        s_lines.clear();
    }
    ~GateTest() override { theLogger = nullptr; }

    Logger m_logger{"gate", nullptr};
};

void logBoth(LogItemSeverityLevel severity) {
    SHAREDLIB_LOG(severity, Log::Network, "%d of %s", counted(1), "two");
    SHAREDLIB_DEBUGLOG(severity, Log::Network, "%d", counted(2));
}

TEST_F(GateTest, ShutGateEvaluatesNoArgument) {
    logBoth(LogSev_Fatal);
    theLogger = &m_logger;
    logBoth(LogSev_Info);
    m_logger.setBSquelchLogger(true);
    logBoth(LogSev_Warning);
    EXPECT_EQ(s_evaluated, 0);
    EXPECT_TRUE(s_lines.empty());
}

TEST_F(GateTest, OpenGateEvaluatesEachArgumentOnceAndKeepsTheDebugLineFromTheConsole) {
    theLogger = &m_logger;
    logBoth(LogSev_Warning);
    EXPECT_EQ(s_evaluated, 2);
    EXPECT_EQ(s_lines, std::vector<std::string>{"WARNING Network: 1 of two"});
    m_logger.SetConditional(Log::Network, LogSev_Detail);
    if (s_lines.empty())
        SHAREDLIB_LOG(LogSev_Detail, Log::Network, "not here");
    else
        SHAREDLIB_LOG(LogSev_Detail, Log::Network, "a statement like any other");
    EXPECT_EQ(s_lines.back(), "Network: a statement like any other");
}

} // namespace
