// tests/log/logger_no_crash_scripted_test.cpp: the logger of a library that is built without a crash service.
#include "sharedlib/platform/crash_service.h"
#include "tests/log/log_file_fixture.h"
#include <filesystem>

namespace {

TEST_F(LogFileTest, LoggerWithoutACrashServiceGoesOn) {
    EXPECT_FALSE(platform::startCrashService("http://k@host/1", ".sentry-native/1"));
    auto logger = makeLogger("", "S");
    logger->initializeSentry("http://k@host/1");
    log(*logger, "fatal", LogSev_Fatal);
    log(*logger, "info");
    EXPECT_EQ(m_folder.read("S_00001.txt"), "ERROR : fatal\r\ninfo\r\n");
    EXPECT_FALSE(std::filesystem::exists(".sentry-native"));
    logger.reset();
    EXPECT_FALSE(platform::startCrashService("http://k@host/1", ".sentry-native/1"));
}

} // namespace
