// tests/log/log_file_test.cpp: names, moves and bytes of log files in a real folder.
#include "tests/log/log_file_fixture.h"
#include "tests/support/failing_alloc.h"
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class LogFileNumbers : public LogFileTest {
protected:
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
};

TEST_F(LogFileNumbers, NextNumberFollowsTheHighestThatIsThere) {
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

TEST_F(LogFileNumbers, PrefixMayLeadIntoAFolderOfItsOwn) {
    for (const std::string separator : {"\\", "/"}) {
        const std::string folder = separator == "/" ? "slash" : "backslash";
        m_folder.write("logs/" + folder + "/S_00007.txt");
        const auto logger = makeLogger("logs", (folder + separator + "S").c_str());
        log(*logger, "line");
        EXPECT_EQ(m_folder.names("logs/" + folder), (Names{"S_00007.txt", "S_00008.txt"}));
    }
}

TEST_F(LogFileNumbers, WhateverBearsANumberIsLeftAlone) {
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

TEST_F(LogFileTest, LinesAreLostWhileMemoryIsExhaustedAndNoneAfterwards) {
    bool failed = true;
    for (int allocation = 1; failed; ++allocation) {
        const auto logger = makeLogger();
        // The first opening, and then a move.
        for (const char* prefix : {"Server", "Zone"}) {
            logger->setFilePrefix(prefix);
            const FailingAlloc memory(allocation);
            EXPECT_NO_THROW(logger->syslog(LogSev_Info, Log::Generic, "perhaps"));
            failed = memory.failed();
        }
        log(*logger, "kept");
        const std::string name = logger->getFileName();
        EXPECT_TRUE(m_folder.read("logs" + name.substr(name.rfind('\\')).replace(0, 1, "/")).ends_with("kept\r\n"));
    }
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

} // namespace
