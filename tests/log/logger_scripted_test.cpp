// tests/log/logger_scripted_test.cpp: the logger's two outputs that a test cannot look at: debugger and error box.
#include "sharedlib/log/logger.h"
#include "tests/scripted/debugger.h"
#include "tests/scripted/dialog.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace {

using testing::ElementsAre;

class LoggerScripted : public testing::Test {
protected:
    LoggerScripted() { m_logger.setLogLocationMask(~int{LogLocation_File}); }

    DebuggerScript m_debugger;
    DialogScript m_dialog;
    Logger m_logger{"S", nullptr};
};

TEST_F(LoggerScripted, DebuggerGetsTheLineAndThenItsEnd) {
    m_logger.syslog(LogSev_Warning, Log::Network, "%d", 1);
    m_logger.debuglog(LogSev_Info, Log::Generic, "2");
    m_logger.screenlog(LogSev_Info, Log::Generic, "3");
    m_logger.setOutputToDebugger(false);
    m_logger.syslog(LogSev_Error, Log::Generic, "switched off");
    m_logger.setOutputToDebugger(true);
    m_logger.setLogLocationMask(~int{LogLocation_File | LogLocation_Debugger});
    m_logger.syslog(LogSev_Error, Log::Generic, "masked out");
    m_logger.setLogLocationMask(LogLocation_Debugger);
    m_debugger.attached = false;
    m_logger.syslog(LogSev_Error, Log::Generic, "nobody there");
    EXPECT_THAT(m_debugger.pieces, ElementsAre("WARNING Network: 1", "\n", "2", "\n", "3", "\n"));
}

TEST_F(LoggerScripted, FatalAndAssertLinesRaiseTheBoxWhateverTheMask) {
    m_logger.setLogLocationMask(0);
    for (int severity = -1; severity <= LogSev_Detail; ++severity) {
        m_logger.syslog(static_cast<LogItemSeverityLevel>(severity), Log::Generic, "%d", severity);
    }
    m_logger.syslog(LogSev_Fatal, 500, "outside");
    m_logger.SetConditional(Log::Network, LogSev_None);
    m_logger.syslog(LogSev_Fatal, Log::Network, "not admitted");
    m_logger.setUseDialogs(false);
    m_logger.syslog(LogSev_Fatal, Log::Generic, "dialogs off");
    m_logger.setUseDialogs(true);
    m_logger.setBSquelchLogger(true);
    m_logger.syslog(LogSev_Fatal, Log::Generic, "squelched");
    EXPECT_THAT(m_dialog.shown, ElementsAre("Error: ERROR : 1", "Error: ERROR : 2", "Error: outside"));
}

TEST_F(LoggerScripted, OpenBoxKeepsNeitherTheLockNorOtherThreads) {
    m_dialog.whileOpen = [this] {
        m_logger.syslog(LogSev_Error, Log::Generic, "from inside: dropped");
        std::thread([this] { m_logger.syslog(LogSev_Info, Log::Generic, "another thread"); }).join();
    };
    m_logger.syslog(LogSev_Assert, Log::Generic, "box");
    EXPECT_THAT(m_debugger.pieces, ElementsAre("ERROR : box", "\n", "another thread", "\n"));
}

} // namespace
