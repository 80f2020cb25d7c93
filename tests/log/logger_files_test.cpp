// tests/log/logger_files_test.cpp: when lines reach their file, settings that change meanwhile, and the message pipe.
#include "sharedlib/util/clock.h"
#include "tests/log/log_file_fixture.h"
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

class LogFileFlush : public LogFileTest {
protected:
    LogFileFlush() { m_logger->setFlushOnWrite(false); }
    ~LogFileFlush() override { SetSecondsSinceEpoch(std::time(nullptr)); }

    std::string bytes() { return m_folder.read("logs/Server_00001.txt"); }

    // Whether a line written at `now` with these settings is flushed by the clock.
    bool isFlushedAt(std::int64_t now, std::int64_t lastFlush, int interval) {
        m_logger->flush();
        const std::size_t before = m_count++ == 0 ? 0 : bytes().size();
        m_logger->setSecondsBetweenFlushes(interval);
        do {
            m_logger->setLastFlush(lastFlush);
            SetSecondsSinceEpoch(now);
            log(*m_logger, "x");
            // Once more if a second began meanwhile.
        } while (GetSecondsSinceEpoch() != now);
        const bool isFlushed = bytes().size() > before;
        EXPECT_EQ(m_logger->getLastFlush(), isFlushed ? now : lastFlush) << now << ' ' << lastFlush;
        return isFlushed;
    }

    std::unique_ptr<Logger> m_logger = makeLogger();
    int m_count = 0;
};

TEST_F(LogFileFlush, LinesWaitForAnErrorAFlushOrTheEnd) {
    log(*m_logger, "one");
    log(*m_logger, "two", LogSev_Warning);
    EXPECT_EQ(bytes(), "");
    log(*m_logger, "three", LogSev_Error);
    const std::string flushed = "one\r\nWARNING : two\r\nERROR : three\r\n";
    EXPECT_EQ(bytes(), flushed);
    EXPECT_EQ(m_logger->getLastFlush(), 0);
    m_logger->SetConditionalLevelFlag(Log::Generic, false);
    log(*m_logger, "four", LogSev_Error);
    EXPECT_EQ(bytes(), flushed) << "without its level word an error waits like the others";
    m_logger->flush();
    EXPECT_EQ(bytes(), flushed + "four\r\n");
    log(*m_logger, "five");
    m_logger->setFlushOnWrite(true);
    EXPECT_EQ(bytes(), flushed + "four\r\n");
    log(*m_logger, "six");
    EXPECT_EQ(bytes(), flushed + "four\r\nfive\r\nsix\r\n");
    m_logger->setFlushOnWrite(false);
    log(*m_logger, "seven");
    m_logger.reset();
    EXPECT_EQ(bytes(), flushed + "four\r\nfive\r\nsix\r\nseven\r\n");
}

TEST_F(LogFileFlush, ClockFlushesWhenMoreThanTheIntervalIsOver) {
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    EXPECT_FALSE(isFlushedAt(1000, 990, 10));
    EXPECT_TRUE(isFlushedAt(1001, 990, 10));
    EXPECT_FALSE(isFlushedAt(5000, 0, 0));
    EXPECT_FALSE(isFlushedAt(5000, 0, -5));
    EXPECT_FALSE(isFlushedAt(500, 1000, 10)) << "a clock set back";
    EXPECT_FALSE(isFlushedAt(1000, kMax, 10)) << "the end of the interval lies beyond all time";
    EXPECT_FALSE(isFlushedAt(1000, kMax - 5, 10));
    EXPECT_TRUE(isFlushedAt(1000, -kMax - 1, std::numeric_limits<int>::max()));
}

TEST_F(LogFileFlush, FullBufferIsWrittenAtALineEnd) {
    std::string expected;
    const std::string text(1500, 'x');
    for (int count = 0; count < 500; ++count) {
        log(*m_logger, text + std::to_string(count));
        expected += text + std::to_string(count) + "\r\n";
    }
    const std::string written = bytes();
    EXPECT_GT(written.size(), expected.size() / 2);
    EXPECT_LT(written.size(), expected.size());
    EXPECT_EQ(written, expected.substr(0, written.size()));
    EXPECT_TRUE(written.ends_with("\r\n"));
    m_logger->flush();
    EXPECT_EQ(bytes(), expected);
}

TEST_F(LogFileTest, SettingsMayChangeWhileThreadsLog) {
    constexpr int kThreads = 8;
    constexpr int kLines = 300;
    auto logger = makeLogger();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&logger, thread] {
            for (int line = 0; line < kLines; ++line) {
                log(*logger, std::to_string(thread) + ' ' + std::to_string(line));
            }
        });
    }
    for (int round = 0; round < 100; ++round) {
        logger->setFlushOnWrite(round % 2 == 0);
        logger->setSecondsBetweenFlushes(round % 3);
        logger->setLastFlush(round);
        logger->setIncludePIDInName(round % 5 == 0);
        logger->setFilePrefix(round % 7 == 0 ? "Zone" : "Server");
        logger->SetConditionalChannel(Log::Network, std::to_string(round % 6).c_str());
        logger->flush();
        EXPECT_TRUE(logger->getFilePrefix().starts_with(round % 7 == 0 ? "Zone" : "Server"));
        (void)logger->getFileName();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    logger.reset();
    const Names names = m_folder.names("logs");
    ASSERT_EQ(names.size(), 1U);
    const std::string bytes = m_folder.read("logs/" + names[0]);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\n'), kThreads * kLines);
    for (int thread = 0; thread < kThreads; ++thread) {
        std::size_t position = 0;
        for (int line = 0; line < kLines && position != std::string::npos; ++line) {
            // The first line of the file has no line end in front.
            const std::string text = std::to_string(thread) + ' ' + std::to_string(line) + "\r\n";
            position = line == 0 && bytes.starts_with(text) ? 0 : bytes.find('\n' + text, position);
        }
        EXPECT_NE(position, std::string::npos) << "thread " << thread;
    }
}

TEST_F(LogFileTest, PipeIsReplacedAndClosed) {
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    const std::string oldRuntime = runtime == nullptr ? "" : runtime;
    ::setenv("XDG_RUNTIME_DIR", m_folder.native().c_str(), 1);
    const int server = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    m_folder.native("game").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(server, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(server, 4), 0);

    const auto logger = makeLogger();
    EXPECT_EQ(logger->getPipe(), nullptr);
    logger->setPipeName("\\\\.\\pipe\\game");
    EXPECT_NE(logger->getPipe(), nullptr);
    const int accepted = ::accept(server, nullptr, nullptr);
    logger->setPipeName("\\\\.\\pipe\\nobody");
    EXPECT_EQ(logger->getPipe(), nullptr);
    char byte = 0;
    EXPECT_EQ(::recv(accepted, &byte, 1, MSG_DONTWAIT), 0) << "the old pipe is closed";
    logger->setPipeName("\\\\.\\pipe\\game");
    logger->setPipeName(nullptr);
    EXPECT_EQ(logger->getPipe(), nullptr);
    ::close(accepted);
    ::close(server);
    runtime == nullptr ? ::unsetenv("XDG_RUNTIME_DIR") : ::setenv("XDG_RUNTIME_DIR", oldRuntime.c_str(), 1);
}

} // namespace
