// tests/log/logger_crash_scripted_test.cpp: what the crash service gets of the logger and its lines, and when.
#include "sharedlib/platform/process.h"
#include "tests/crash/sentry/recording.h"
#include "tests/log/log_file_fixture.h"
#include "tests/scripted/dialog.h"
#include <future>
#include <gmock/gmock.h>
#include <string_view>
#include <thread>
#include <utility>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::string_view kNetworkExtra = "extra prefix {prefix: Network}";

class LoggerCrash : public LogFileTest {
protected:
    LoggerCrash() { sentryRecording() = {}; }

    // The calls since the last time.
    static Names calls() { return std::exchange(sentryRecording().calls, {}); }
    // A logger that has connected already, and whose lines go to the file "S_00001.txt".
    static std::unique_ptr<Logger> connected() {
        auto logger = makeLogger("", "S");
        logger->initializeSentry("k@host/1");
        calls();
        return logger;
    }

    DialogScript m_dialog;
};

TEST_F(LoggerCrash, StartHasTheAddressWithItsSchemeAndAFolderOfTheProcess) {
    const std::string folder = " .sentry-native/" + std::to_string(platform::currentProcessId());
    const std::pair<const char*, const char*> addresses[] = {{"k@host/1", "http://k@host/1"},
                                                             {"http://k@host/1", "http://k@host/1"},
                                                             {"https://k@host", "http://https://k@host"},
                                                             {"HTTP://k@host", "http://HTTP://k@host"},
                                                             {"k@host?via=http://x", "k@host?via=http://x"},
                                                             {"", "http://"}};
    Logger logger("S", "");
    EXPECT_EQ(calls(), Names{});
    for (const auto& [given, sent] : addresses) {
        logger.initializeSentry(given);
        EXPECT_EQ(calls(), Names{"init " + (sent + folder)});
    }
}

TEST_F(LoggerCrash, ErrorsAreSentWithTheirChannelAndTheRestIsNot) {
    const auto logger = connected();
    logger->SetConditional(Log::Network, LogSev_Detail);
    logger->SetConditionalChannel(Log::Network, "net");
    for (const int severity : {-1, 0, 1, 2, 3, 4, 5, 6}) {
        log(*logger, std::to_string(severity), severity, Log::Network);
    }
    logger->SetConditionalNameFlag(Log::Network, false);
    logger->debuglog(LogSev_Error, Log::Network, "%s", "no name");
    logger->screenlog(LogSev_Fatal, Log::Generic, "main file");
    EXPECT_THAT(calls(), ElementsAre(kNetworkExtra, "event 3 <net> ERROR Network: 1", kNetworkExtra,
                                     "event 3 <net> ERROR Network: 2", kNetworkExtra, "event 2 <net> ERROR Network: 3",
                                     kNetworkExtra, "event 2 <net> ERROR : no name", "extra prefix {prefix: Generic}",
                                     "event 3 <> ERROR : main file"));
}

TEST_F(LoggerCrash, LevelFlagMaskAndConnectionDecide) {
    const auto unconnected = makeLogger("", "S");
    log(*unconnected, "never connected", LogSev_Fatal);
    EXPECT_EQ(calls(), Names{});
    sentryRecording().initResult = 1;
    unconnected->initializeSentry("k@host/1");
    log(*unconnected, "refused", LogSev_Error);
    EXPECT_EQ(calls().size(), 1U);
    sentryRecording().initResult = 0;
    const auto logger = connected();
    log(*logger, "outside the table", LogSev_Fatal, 500);
    logger->SetConditionalLevelFlag(Log::Network, false);
    log(*logger, "no level flag", LogSev_Error, Log::Network);
    logger->setBSquelchLogger(true);
    log(*logger, "squelched", LogSev_Error);
    logger->setBSquelchLogger(false);
    logger->setLogLocationMask(0x10000);
    log(*logger, "only bits above the sixteenth", LogSev_Error);
    logger->setLogLocationMask(LogLocation_Console);
    logger->debuglog(LogSev_Error, Log::Generic, "a debug line has no console");
    EXPECT_EQ(calls(), Names{});

    logger->setLogLocationMask(0x20);
    log(*logger, "a bit without an output", LogSev_Error);
    EXPECT_THAT(calls(), ElementsAre("extra prefix {prefix: Generic}", "event 2 <> ERROR : a bit without an output"));
    // A failure of a second start ends the reports of the first.
    sentryRecording().initResult = -1;
    logger->initializeSentry("k@host/2");
    calls();
    log(*logger, "no longer connected", LogSev_Error);
    EXPECT_EQ(calls(), Names{});
}

TEST_F(LoggerCrash, ReportComesBeforeAnyOtherOutputAndHoldsNoLock) {
    const auto logger = connected();
    logger->setUseDialogs(true);
    std::future<void> other;
    sentryRecording().whileCapturing = [&] {
        EXPECT_EQ(m_dialog.shown, Names{});
        EXPECT_EQ(m_folder.names(), Names{});
        log(*logger, "the service's own trouble: dropped", LogSev_Error);
        other = std::async(std::launch::async, [&] { log(*logger, "another thread"); });
        EXPECT_EQ(other.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    };
    logger->SetConditionalDateFlag(Log::Network, false);
    log(*logger, std::string(5000, 'x'), LogSev_Assert, Log::Network);
    EXPECT_THAT(m_dialog.shown, ElementsAre(HasSubstr("Error: ERROR Network: xxx")));
    EXPECT_EQ(calls().at(1).size(), std::string("event 3 <> ").size() + 4095);
    EXPECT_THAT(m_folder.read("S_00001.txt"), testing::StartsWith("another thread\r\nERROR Network: xxx"));
    EXPECT_THAT(m_folder.read("S_00001.txt"), Not(HasSubstr("trouble")));
}

TEST_F(LoggerCrash, ThreadsReportSideBySide) {
    const auto logger = connected();
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&logger] {
            for (int line = 0; line < 50; ++line) {
                log(*logger, "same", LogSev_Error, Log::Network);
            }
        });
    }
    threads.clear();
    const Names all = calls();
    EXPECT_EQ(std::ranges::count(all, kNetworkExtra), 200);
    EXPECT_EQ(std::ranges::count(all, "event 2 <> ERROR Network: same"), 200);
}

TEST_F(LoggerCrash, EndOfAnyLoggerEndsTheService) {
    std::make_unique<Logger>("S", "").reset();
    EXPECT_EQ(calls(), Names{"shutdown"});
    connected().reset();
    EXPECT_EQ(calls(), Names{"shutdown"});
}

} // namespace
