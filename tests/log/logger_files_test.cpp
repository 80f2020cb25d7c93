// tests/log/logger_files_test.cpp: when lines reach their file, settings that change meanwhile, and the message pipe.
#include "sharedlib/util/clock.h"
#include "tests/log/log_file_fixture.h"
#include "tests/support/environment.h"
#include "tests/support/pipe_server.h"
#include <cstdint>
#include <ctime>
#include <sstream>
#include <thread>

namespace {

class LogFileFlush : public LogFileTest {
protected:
    LogFileFlush() { m_logger->setFlushOnWrite(false); }
    ~LogFileFlush() override { SetSecondsSinceEpoch(std::time(nullptr)); }

    std::string bytes() { return m_folder.read("logs/Server_00001.txt"); }

    std::unique_ptr<Logger> m_logger = makeLogger();
};

TEST_F(LogFileFlush, LinesWaitForAnErrorAFlushOrTheEnd) {
    log(*m_logger, "1");
    log(*m_logger, "2", LogSev_Warning);
    EXPECT_EQ(bytes(), "");
    std::string expected = "1\r\nWARNING : 2\r\n";
    for (const LogItemSeverityLevel severity : {LogSev_Error, LogSev_Assert, LogSev_Fatal}) {
        log(*m_logger, "3", severity);
        expected += "ERROR : 3\r\n";
        EXPECT_EQ(bytes(), expected);
    }
    EXPECT_EQ(m_logger->getLastFlush(), 0);
    // Only the level word makes an error one that does not wait.
    m_logger->SetConditionalLevelFlag(Log::Generic, false);
    log(*m_logger, "4", LogSev_Fatal);
    log(*m_logger, "5", -1);
    EXPECT_EQ(bytes(), expected);
    m_logger->flush();
    EXPECT_EQ(bytes(), expected += "4\r\n5\r\n");
    log(*m_logger, "6");
    m_logger->setFlushOnWrite(true);
    EXPECT_EQ(bytes(), expected);
    log(*m_logger, "7");
    EXPECT_EQ(bytes(), expected += "6\r\n7\r\n");
    m_logger->setFlushOnWrite(false);
    log(*m_logger, "8");
    m_logger.reset();
    EXPECT_EQ(bytes(), expected += "8\r\n");
}

TEST_F(LogFileFlush, ClockFlushesWhenMoreThanTheIntervalIsOver) {
    constexpr std::int64_t kMax = INT64_MAX;
    // The clock may be set back, and the end of the interval may lie beyond all time.
    const std::tuple<std::int64_t, std::int64_t, int, bool> cases[] = {
        {1000, 990, 10, false}, {1001, 990, 10, true},   {5000, 0, 0, false},         {5000, 0, -5, false},
        {500, 1000, 10, false}, {1000, kMax, 10, false}, {1000, kMax - 5, 10, false}, {1000, -kMax - 1, 1 << 30, true}};
    log(*m_logger, "x");
    for (const auto& [now, lastFlush, interval, isFlushed] : cases) {
        m_logger->setSecondsBetweenFlushes(interval);
        std::string before;
        do {
            m_logger->flush();
            before = bytes();
            m_logger->setLastFlush(lastFlush);
            SetSecondsSinceEpoch(now);
            log(*m_logger, "x");
            // Once more if a second began meanwhile.
        } while (GetSecondsSinceEpoch() != now);
        EXPECT_EQ(bytes() != before, isFlushed) << now << ' ' << lastFlush;
        EXPECT_EQ(m_logger->getLastFlush(), isFlushed ? now : lastFlush);
    }
}

TEST_F(LogFileFlush, FullBufferIsWrittenAtALineEnd) {
    const std::string line(1500, 'x');
    for (int count = 0; count < 500; ++count) {
        log(*m_logger, line);
    }
    const std::size_t written = bytes().size();
    EXPECT_TRUE(written % 1502 == 0 && written > 400 * 1502 && written < 500 * 1502) << written;
    m_logger->flush();
    EXPECT_EQ(bytes().size(), 500U * 1502);
    EXPECT_EQ(bytes().find(line + "\r\n" + line, written - 1502), written - 1502);
}

TEST_F(LogFileTest, EightThreadsLogWholeLinesInOrderWhileSettingsChange) {
    constexpr int kLines = 300;
    const auto logger = makeLogger();
    logger->SetConditionalChannel(Log::Network, "N0");
    std::vector<std::thread> threads;
    for (int id = 0; id < 8; ++id) {
        threads.emplace_back([&logger, id] {
            for (int line = 0; line < kLines; ++line) {
                log(*logger, std::to_string(id) + '.' + std::to_string(line) + ".end");
                log(*logger, "x", LogSev_Warning, Log::Network);
            }
        });
    }
    for (int round = 0; round < kLines; ++round) {
        logger->SetConditional(Log::Network, round % 2 == 0 ? LogSev_Error : LogSev_Detail);
        logger->SetConditionalChannel(Log::Network, ("N" + std::to_string(round % 10)).c_str());
        logger->SetConditionalNameFlag(Log::Network, round % 3 == 0);
        logger->SetConditionalDateFlag(Log::Network, round % 3 == 2);
        logger->setFlushOnWrite(round % 4 != 0);
        logger->setSecondsBetweenFlushes(round % 3);
        logger->setLastFlush(round);
        logger->setPipeLogFunction(round % 2 == 0 ? nullptr
                                                  : +[](LogItemSeverityLevel, int, char const*, int, char const*) {});
        logger->setLogLocationMask(round % 2 == 0 ? -1 : LogLocation_File | LogLocation_Pipe);
        logger->setFilePrefix(round % 7 == 0 ? "Zone" : "Server");
        EXPECT_EQ(logger->getFilePrefix(), round % 7 == 0 ? "Zone" : "Server");
        logger->flush();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    logger->setFilePrefix("End");
    log(*logger, "8.0.end");
    std::vector<int> next(9);
    std::istringstream lines(m_folder.read("logs/End_00001.txt"));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t id = std::stoul(line);
        EXPECT_EQ(line, std::to_string(id) + '.' + std::to_string(next.at(id)++) + ".end\r");
    }
    EXPECT_EQ(next, (std::vector<int>{kLines, kLines, kLines, kLines, kLines, kLines, kLines, kLines, 1}));
}

TEST_F(LogFileTest, PipeIsReplacedAndClosed) {
    const Environment runtime{{{"XDG_RUNTIME_DIR", m_folder.native()}}};
    const PipeServer server(m_folder.native("game"));
    const auto logger = makeLogger();
    EXPECT_EQ(logger->getPipe(), nullptr);
    for (const char* next : {"\\\\.\\pipe\\nobody", static_cast<const char*>(nullptr)}) {
        logger->setPipeName("\\\\.\\pipe\\game");
        EXPECT_NE(logger->getPipe(), nullptr);
        logger->setPipeName(next);
        EXPECT_EQ(logger->getPipe(), nullptr);
        EXPECT_EQ(server.messages(), "") << "the old pipe is closed";
    }
}

} // namespace
