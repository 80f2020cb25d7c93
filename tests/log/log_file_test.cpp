// tests/log/log_file_test.cpp: names, moves and bytes of log files in a real folder.
#include "tests/log/log_file_fixture.h"
#include "tests/support/environment.h"
#include "tests/support/failing_alloc.h"
#include <ctime>
#include <filesystem>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

std::string nameIn(Logger& logger) {
    return logger.getFileName().substr(logger.getFileName().rfind('\\') + 1);
}

TEST_F(LogFileTest, NumberFollowsTheHighestThatIsThere) {
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
        fs::remove_all(m_folder.native("logs"));
        for (const std::string& name : planted) {
            m_folder.write("logs/" + name);
        }
        const auto logger = makeLogger();
        log(*logger, "line");
        EXPECT_EQ(logger->getFileName(), m_folder.library("logs\\") + expected);
        EXPECT_EQ(m_folder.read("logs/"s + expected), "line\r\n");
    }
    const auto logger = makeLogger();
    log(*logger, "line");
    EXPECT_EQ(nameIn(*logger), "Server_9223372036854775808.txt") << "behind the last that counts";
}

TEST_F(LogFileTest, PrefixMayLeadIntoAFolderOfItsOwn) {
    for (const std::string prefix : {"a\\S", "b/S"}) {
        const std::string folder = "logs/" + prefix.substr(0, 1);
        m_folder.write(folder + "/S_00007.txt");
        log(*makeLogger("logs", prefix.c_str()), "line");
        EXPECT_EQ(m_folder.names(folder), (Names{"S_00007.txt", "S_00008.txt"}));
    }
}

TEST_F(LogFileTest, FileMovesWithItsPrefixAndKeepsItsLines) {
    m_folder.write("logs/Zone_00001.txt");
    const auto logger = makeLogger();
    logger->SetConditionalChannel(Log::Network, "Chat");
    logger->SetConditionalDateFlag(Log::Network, false);
    EXPECT_EQ(logger->getFileName(), "");
    EXPECT_EQ(m_folder.names("logs"), Names{"Zone_00001.txt"}) << "no file without a line";
    log(*logger, "one");
    logger->setFilePrefix("Server");
    log(*logger, "hello", LogSev_Error, Log::Network);
    EXPECT_EQ(m_folder.names("logs"), (Names{"Chat_Server_00001.txt", "Server_00001.txt", "Zone_00001.txt"}));
    logger->setFilePrefix("Zone");
    EXPECT_EQ(logger->getFileName(), m_folder.library("logs\\Server_00001.txt")) << "until the next line";
    log(*logger, "two");
    EXPECT_EQ(m_folder.names("logs"), (Names{"Chat_Server_00001.txt", "Zone_00001.txt", "Zone_00002.txt"}));
    logger->setIncludePIDInName(true);
    EXPECT_EQ(logger->getFilePrefix(), "Zone") << "until the prefix is set anew";
    logger->resetFilePrefix();
    const std::string withId = "Zone_" + std::to_string(::getpid());
    EXPECT_EQ(logger->getFilePrefix(), withId);
    log(*logger, "three");
    log(*logger, "bye", LogSev_Error, Log::Network);
    EXPECT_EQ(m_folder.read("logs/" + withId + "_00001.txt"), "one\r\ntwo\r\nthree\r\n");
    EXPECT_EQ(m_folder.read("logs/Chat_" + withId + "_00001.txt"), "ERROR Network: hello\r\nERROR Network: bye\r\n");
    EXPECT_EQ(m_folder.names("logs").size(), 3U);
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

    const auto besides = makeLogger("");
    log(*besides, "x");
    EXPECT_EQ(besides->getFileName(), m_folder.library("NEW\\\\Server_00001.txt"));
    log(*makeLogger(m_folder.library("logs").c_str()), "x");
    EXPECT_EQ(m_folder.names("logs"), Names{"Server_00001.txt"});
    log(*makeLogger("above\\logs"), "lost: only the last folder is created");
    EXPECT_EQ(m_folder.names("new"), (Names{"Server_00001.txt", "logs"}));
}

TEST_F(LogFileTest, LinesAreLostWhileMemoryIsExhaustedAndNoneAfterwards) {
    m_folder.makeFolder("logs");
    // The first opening, and then a move to another folder and its folder of logs.
    for (const std::string folder : {"", "logs/"}) {
        bool failed = true;
        for (int allocation = 1; failed; ++allocation) {
            SetOutputPath(m_folder.library().c_str());
            const auto logger = makeLogger();
            if (!folder.empty()) {
                log(*logger, "first");
                SetOutputPath(m_folder.library("logs").c_str());
            }
            {
                const FailingAlloc memory(allocation);
                EXPECT_NO_THROW(logger->syslog(LogSev_Info, Log::Generic, "perhaps"));
                failed = memory.failed();
            }
            log(*logger, "kept");
            EXPECT_TRUE(m_folder.read("logs/" + folder + nameIn(*logger)).ends_with("kept\r\n"));
        }
    }
}

TEST_F(LogFileTest, LineHasExactBytesUpToItsLimit) {
    const auto logger = makeLogger();
    std::string expected = "a\r\nb\r\r\nc\r\n\r\n\r\ntab\t\x01\xff%d\r\n" + std::string(4094, 'x') + "\r\n";
    for (const std::string& line :
         {"a\nb\r\nc\n"s, ""s, "tab\t\x01\xff%d"s, std::string(4095, 'x'), std::string(4095, '\n')}) {
        log(*logger, line);
    }
    for (int lines = 0; lines < 4095; ++lines) {
        expected += "\r\n";
    }
    EXPECT_EQ(m_folder.read("logs/Server_00001.txt"), expected);
}

TEST_F(LogFileTest, TimeStampIsTheLocalTimeOfWriting) {
    const Environment zone{{{"TZ", "XYZ-5:45"}}};
    const auto logger = makeLogger();
    logger->SetConditionalDateFlag(Log::Generic, true);
    const std::time_t before = std::time(nullptr);
    std::string times = std::ctime(&before);
    log(*logger, std::string(4095, 'x'));
    log(*logger, "short");
    const std::time_t after = std::time(nullptr);
    times += std::ctime(&after);
    const std::string bytes = m_folder.read("logs/Server_00001.txt");
    ASSERT_EQ(bytes.size(), 4096U + 24 + 8);
    EXPECT_EQ(bytes.substr(24, 4072), ' ' + std::string(4094 - 25, 'x') + "\r\n");
    EXPECT_EQ(bytes.substr(4096 + 24), " short\r\n");
    EXPECT_NE(times.find(bytes.substr(0, 24)), std::string::npos) << bytes.substr(0, 24);
    EXPECT_NE(times.find(bytes.substr(4096, 24)), std::string::npos) << bytes.substr(4096, 24);
}

} // namespace
