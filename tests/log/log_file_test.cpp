// tests/log/log_file_test.cpp: names, bytes and flushing of log files in a real folder.
#include "sharedlib/log/logger.h"
#include "sharedlib/util/clock.h"
#include "sharedlib/util/paths.h"
#include "tests/support/temp_folder.h"
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

void log(Logger& logger, const std::string& text, LogItemSeverityLevel severity = LogSev_Info) {
    logger.syslog(severity, Log::Generic, "%s", text.c_str());
}

class LogFileTest : public testing::Test {
protected:
    LogFileTest() { SetOutputPath(m_folder.library().c_str()); }

    // A logger whose Generic lines are the bare text.
    static std::unique_ptr<Logger> makeLogger(const char* folderName = "logs", const char* prefix = "Server") {
        auto logger = std::make_unique<Logger>(prefix, folderName);
        logger->setOutputToDebugger(false);
        logger->SetConditionalDateFlag(Log::Generic, false);
        return logger;
    }

    // The name of the file that a new logger's first line goes to, with these names already in its folder.
    std::string firstNameBeside(const Names& planted) {
        fs::remove_all(m_folder.native("logs"));
        for (const std::string& name : planted) {
            m_folder.write("logs/" + name);
        }
        return nextName();
    }

    std::string nextName() {
        const auto logger = makeLogger();
        log(*logger, "line");
        const std::string name = logger->getFileName();
        const std::string folder = m_folder.library("logs\\");
        EXPECT_EQ(name.substr(0, folder.size()), folder);
        EXPECT_EQ(m_folder.read("logs/" + name.substr(folder.size())), "line\r\n");
        return name.substr(folder.size());
    }

    TempFolder m_folder;
};

TEST_F(LogFileTest, NextNumberFollowsTheHighestThatIsThere) {
    const std::pair<Names, const char*> cases[] = {
        {{}, "Server_00001.txt"},
        {{"Server_00007.txt", "Server_00012.txt"}, "Server_00013.txt"},
        {{"Server_x.txt", "Server_.txt", "Server_-5.txt"}, "Server_00001.txt"},
        {{"Server_7x.txt", "Server_3.old.txt"}, "Server_00008.txt"},
        {{"Server_99999.txt"}, "Server_100000.txt"},
        {{"Server_4711_00001.txt"}, "Server_04712.txt"},
        {{"SERVER_00005.TXT"}, "Server_00006.txt"},
        {{"Server_00005.log", "Other_00006.txt", "Server00007.txt", "XServer_00008.txt"}, "Server_00001.txt"},
        {{"Server_2147483647.txt"}, "Server_2147483648.txt"},
        {{"Server_4294967295.txt"}, "Server_4294967296.txt"},
        {{"Server_00003.txt", "Server_99999999999999999999.txt"}, "Server_00004.txt"},
        {{"Server_18446744073709551615.txt"}, "Server_00001.txt"},
        {{"Server_9223372036854775806.txt"}, "Server_9223372036854775807.txt"},
    };
    for (const auto& [planted, expected] : cases) {
        EXPECT_EQ(firstNameBeside(planted), expected) << (planted.empty() ? "" : planted[0]);
    }
    EXPECT_EQ(nextName(), "Server_9223372036854775808.txt") << "behind the last that counts";
}

TEST_F(LogFileTest, WhateverBearsANumberIsLeftAlone) {
    m_folder.makeFolder("logs/Server_00001.txt");
    m_folder.write("outside", "kept");
    fs::create_symlink(m_folder.native("outside"), m_folder.native("logs/Server_00002.txt"));
    fs::create_symlink(m_folder.native("nowhere"), m_folder.native("logs/Server_00003.txt"));
    ASSERT_EQ(::mkfifo(m_folder.native("logs/Server_00004.txt").c_str(), 0600), 0);
    EXPECT_EQ(nextName(), "Server_00005.txt");
    EXPECT_EQ(m_folder.read("outside"), "kept");
    EXPECT_EQ(m_folder.names(), (Names{"logs", "outside"}));
}

TEST_F(LogFileTest, FileReplacedByALinkIsNotWrittenThrough) {
    const auto logger = makeLogger();
    log(*logger, "line");
    m_folder.write("outside", "kept");
    fs::remove(m_folder.native("logs/Server_00001.txt"));
    fs::create_symlink(m_folder.native("outside"), m_folder.native("logs/Server_00001.txt"));
    logger->setFilePrefix("Zone");
    log(*logger, "lost");
    logger.get()->setFilePrefix("Last");
    log(*logger, "lost");
    EXPECT_EQ(m_folder.read("outside"), "kept");
    EXPECT_EQ(m_folder.names("logs"), Names{"Last_00001.txt"});
}

TEST_F(LogFileTest, FileMovesWithItsPrefixAndKeepsItsLines) {
    m_folder.write("logs/Zone_00001.txt");
    const auto logger = makeLogger();
    EXPECT_EQ(logger->getFileName(), "");
    logger->SetConditionalChannel(Log::Network, "Chat");
    logger->SetConditionalDateFlag(Log::Network, false);
    EXPECT_FALSE(fs::exists(m_folder.native("logs/Server_00001.txt"))) << "no file without a line";
    log(*logger, "one");
    logger->setFilePrefix("Server");
    log(*logger, "two");
    logger->syslog(LogSev_Warning, Log::Network, "hello");
    EXPECT_EQ(m_folder.names("logs"), (Names{"Chat_Server_00001.txt", "Server_00001.txt", "Zone_00001.txt"}));

    logger->setFilePrefix("Zone");
    EXPECT_EQ(logger->getFilePrefix(), "Zone");
    EXPECT_EQ(logger->getFileName(), m_folder.library("logs\\Server_00001.txt")) << "until the next line";
    log(*logger, "three");
    EXPECT_EQ(m_folder.names("logs"), (Names{"Chat_Server_00001.txt", "Zone_00001.txt", "Zone_00002.txt"}));
    EXPECT_EQ(m_folder.read("logs/Zone_00002.txt"), "one\r\ntwo\r\nthree\r\n");

    const std::string withId = "Zone_" + std::to_string(::getpid());
    logger->setIncludePIDInName(true);
    log(*logger, "four");
    EXPECT_EQ(logger->getFilePrefix(), "Zone") << "until the prefix is set anew";
    logger->resetFilePrefix();
    log(*logger, "five");
    logger->syslog(LogSev_Warning, Log::Network, "bye");
    EXPECT_EQ(m_folder.names("logs"),
              (Names{"Chat_" + withId + "_00001.txt", "Zone_00001.txt", withId + "_00001.txt"}));
    EXPECT_EQ(m_folder.read("logs/" + withId + "_00001.txt"), "one\r\ntwo\r\nthree\r\nfour\r\nfive\r\n");
    EXPECT_EQ(m_folder.read("logs/Chat_" + withId + "_00001.txt"),
              "WARNING Network: hello\r\nWARNING Network: bye\r\n");
}

TEST_F(LogFileTest, FileMovesIntoANewOutputFolder) {
    const auto logger = makeLogger();
    log(*logger, "one");
    m_folder.makeFolder("new");
    SetOutputPath(m_folder.library("NEW").c_str());
    log(*logger, "two");
    EXPECT_EQ(logger->getFileName(), m_folder.library("NEW\\logs\\Server_00001.txt"));
    EXPECT_EQ(m_folder.read("new/logs/Server_00001.txt"), "one\r\ntwo\r\n");
    EXPECT_EQ(m_folder.names("logs"), Names{});

    const auto besides = makeLogger("", "Tool");
    log(*besides, "x");
    EXPECT_EQ(besides->getFileName(), m_folder.library("NEW\\\\Tool_00001.txt"));
    EXPECT_EQ(m_folder.read("new/Tool_00001.txt"), "x\r\n");
    const auto elsewhere = makeLogger(m_folder.library("logs").c_str(), "Tool");
    log(*elsewhere, "x");
    EXPECT_EQ(m_folder.names("logs"), Names{"Tool_00001.txt"});
}

TEST_F(LogFileTest, FailedOpeningIsFinalUntilPrefixOrFolderChange) {
    const auto logger = makeLogger("above\\logs");
    log(*logger, "lost: only the last folder is created");
    m_folder.makeFolder("above/logs");
    log(*logger, "lost");
    EXPECT_EQ(logger->getFileName(), "");
    EXPECT_EQ(m_folder.names("above/logs"), Names{});
    logger->setFilePrefix("Zone");
    log(*logger, "one");
    EXPECT_EQ(m_folder.read("above/logs/Zone_00001.txt"), "one\r\n");

    const auto second = makeLogger("deep\\logs");
    log(*second, "lost");
    m_folder.makeFolder("other/deep");
    SetOutputPath(m_folder.library("other").c_str());
    log(*second, "one");
    EXPECT_EQ(m_folder.read("other/deep/logs/Server_00001.txt"), "one\r\n");
}

TEST_F(LogFileTest, LineHasExactBytesUpToItsLimit) {
    const auto logger = makeLogger();
    const std::string longest(4094, 'x');
    log(*logger, "a\nb\r\nc\n");
    log(*logger, "");
    log(*logger, "tab\t\x01\xff%d");
    log(*logger, longest + "y");
    log(*logger, std::string(4095, '\n'));
    std::string expected = "a\r\nb\r\r\nc\r\n\r\n\r\ntab\t\x01\xff%d\r\n" + longest + "\r\n";
    for (int lines = 0; lines < 4095; ++lines) {
        expected += "\r\n";
    }
    EXPECT_EQ(m_folder.read("logs/Server_00001.txt"), expected);
}

TEST_F(LogFileTest, TimeStampIsTheLocalTimeOfWriting) {
    const char* const zone = std::getenv("TZ");
    const std::string oldZone = zone == nullptr ? "" : zone;
    ::setenv("TZ", "XYZ-5:45", 1);
    ::tzset();
    const auto logger = makeLogger();
    logger->SetConditionalDateFlag(Log::Generic, true);
    std::string expected;
    for (std::time_t before = 0; expected.empty();) {
        before = std::time(nullptr);
        fs::remove_all(m_folder.native("logs"));
        logger->setFilePrefix(logger->getFilePrefix() == "A" ? "B" : "A");
        log(*logger, std::string(4095, 'x'));
        log(*logger, "short");
        if (std::time(nullptr) == before) {
            const std::string stamp = std::string(std::ctime(&before)).substr(0, 24) + ' ';
            expected = stamp + std::string(4094 - 25, 'x') + "\r\n" + stamp + "short\r\n";
        }
    }
    EXPECT_EQ(m_folder.read("logs/" + m_folder.names("logs").at(0)), expected);
    zone == nullptr ? ::unsetenv("TZ") : ::setenv("TZ", oldZone.c_str(), 1);
    ::tzset();
}

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

TEST_F(LogFileTest, ProcessesThatStartTogetherWriteDifferentFiles) {
    constexpr int kProcesses = 12;
    int gate[2];
    ASSERT_EQ(::pipe(gate), 0);
    for (int process = 0; process < kProcesses; ++process) {
        if (::fork() == 0) {
            ::close(gate[1]);
            char released = 0;
            (void)!::read(gate[0], &released, 1);
            {
                const auto logger = makeLogger();
                log(*logger, "process " + std::to_string(process));
            }
            ::_exit(0);
        }
    }
    ::close(gate[0]);
    ::close(gate[1]);
    while (::wait(nullptr) > 0) {
    }
    const Names names = m_folder.names("logs");
    EXPECT_EQ(names.size(), static_cast<std::size_t>(kProcesses));
    std::vector<std::string> lines;
    for (const std::string& name : names) {
        lines.push_back(m_folder.read("logs/" + name));
        EXPECT_EQ(lines.back().find("\r\n"), lines.back().size() - 2) << name;
    }
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(std::unique(lines.begin(), lines.end()), lines.end());
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
