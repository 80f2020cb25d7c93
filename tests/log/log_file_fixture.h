// tests/log/log_file_fixture.h: loggers that write into a folder of the test's own.
#pragma once
#include "sharedlib/log/logger.h"
#include "sharedlib/util/paths.h"
#include "tests/support/temp_folder.h"
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using Names = std::vector<std::string>;

inline void log(Logger& logger, const std::string& text, int severity = LogSev_Info, int channel = Log::Generic) {
    logger.syslog(static_cast<LogItemSeverityLevel>(severity), channel, "%s", text.c_str());
}

class LogFileTest : public testing::Test {
protected:
    LogFileTest() { SetOutputPath(m_folder.library().c_str()); }

    // A logger whose Generic lines are the bare text.
    static std::unique_ptr<Logger> makeLogger(const char* folderName = "logs", const char* prefix = "Server") {
        auto logger = std::make_unique<Logger>(prefix, folderName);
        logger->setOutputToDebugger(false);
        logger->setUseDialogs(false);
        logger->SetConditionalDateFlag(Log::Generic, false);
        return logger;
    }

    TempFolder m_folder;
};
