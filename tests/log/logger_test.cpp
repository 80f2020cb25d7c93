// tests/log/logger_test.cpp: channels, composed lines and the way of a line through callbacks and files.
#include "sharedlib/log/logger.h"
#include "sharedlib/util/paths.h"
#include "tests/support/temp_folder.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr auto kUnknownWord = static_cast<LogItemSeverityLevel>(-1);

class OpenLogger : public Logger {
public:
    using Logger::addChannel;
    using Logger::findChannel;
    using Logger::Logger;
};

// What the callbacks were given, and what they do besides.
std::vector<std::string> s_calls;
void (*s_inCallback)() = nullptr;

template <char Output>
void record(LogItemSeverityLevel severity, int channel, char const* text, int prefixLength, char const* fileName) {
    const std::string message = std::string(text).insert(static_cast<std::size_t>(prefixLength), "|");
    s_calls.push_back(std::string(1, Output) + ' ' + std::to_string(severity) + ' ' + std::to_string(channel) + ' ' +
                      message + (*fileName != '\0' ? " > " + std::string(fileName) : ""));
    if (s_inCallback != nullptr) {
        s_inCallback();
    }
}

class LoggerTest : public testing::Test {
protected:
    LoggerTest() {
        SetOutputPath(m_folder.library().c_str());
        m_logger.setUseDialogs(false);
        listen(m_logger);
        s_logger = &m_logger;
    }
    ~LoggerTest() override {
        s_calls.clear();
        s_inCallback = nullptr;
    }

    static void listen(Logger& logger) {
        logger.setConsoleLogFunction(&record<'C'>);
        logger.setDBLogFunction(&record<'D'>);
        logger.setPipeLogFunction(&record<'P'>);
    }

    std::vector<std::string> callsOf(LogItemSeverityLevel severity, int channel, const char* text) {
        s_calls.clear();
        m_logger.screenlog(severity, channel, "%s", text);
        return std::exchange(s_calls, {});
    }

    std::string mainFile() const { return m_folder.read("S_00001.txt"); }

    static Logger* s_logger;
    static const TempFolder* s_folder;
    TempFolder m_folder;
    OpenLogger m_logger{"S", ""};
};

Logger* LoggerTest::s_logger = nullptr;
const TempFolder* LoggerTest::s_folder = nullptr;

TEST_F(LoggerTest, LinesBeginWithLevelWordAndNameAsTheFlagsSay) {
    m_logger.SetConditional(Log::Network, LogSev_Detail);
    EXPECT_THAT(callsOf(LogSev_Fatal, Log::Network, "x"), ElementsAre("C 1 1 ERROR Network: |x"));
    EXPECT_THAT(callsOf(LogSev_Assert, Log::Network, "x"), ElementsAre("C 2 1 ERROR Network: |x"));
    EXPECT_THAT(callsOf(LogSev_Error, Log::Network, "x"), ElementsAre("C 3 1 ERROR Network: |x"));
    EXPECT_THAT(callsOf(LogSev_Warning, Log::Network, "x"), ElementsAre("C 4 1 WARNING Network: |x"));
    EXPECT_THAT(callsOf(LogSev_Info, Log::Network, "x"), ElementsAre("C 5 1 Network: |x"));
    EXPECT_THAT(callsOf(LogSev_Detail, Log::Network, "x"), ElementsAre("C 6 1 Network: |x"));
    EXPECT_THAT(callsOf(kUnknownWord, Log::Network, "x"), ElementsAre("C -1 1 Network: |x"));
    m_logger.SetConditionalNameFlag(Log::Network, false);
    EXPECT_THAT(callsOf(LogSev_Warning, Log::Network, "x"), ElementsAre("C 4 1 WARNING : |x"));
    EXPECT_THAT(callsOf(LogSev_Info, Log::Network, "x"), ElementsAre("C 5 1 |x"));
    m_logger.SetConditionalLevelFlag(Log::Network, false);
    EXPECT_THAT(callsOf(LogSev_Error, Log::Network, "x"), ElementsAre("C 3 1 |x"));
    m_logger.SetConditionalNameFlag(Log::Network, true);
    EXPECT_THAT(callsOf(LogSev_Error, Log::Network, "x"), ElementsAre("C 3 1 Network: |x"));
}

TEST_F(LoggerTest, FreshLoggerWritesWarningsAndEverythingOnGeneric) {
    EXPECT_THAT(callsOf(LogSev_Info, Log::Network, "x"), IsEmpty());
    EXPECT_THAT(callsOf(LogSev_Warning, Log::Max - 1, "x"), ElementsAre(testing::StartsWith("C 4 194 WARNING ")));
    EXPECT_THAT(callsOf(LogSev_Detail, Log::Generic, "x"), ElementsAre("C 6 0 |x"));
    EXPECT_THAT(callsOf(LogSev_Warning, Log::Generic, "x"), ElementsAre("C 4 0 WARNING : |x"));
    EXPECT_THAT(callsOf(LogSev_None, Log::Generic, "x"), IsEmpty());
    m_logger.SetConditional(Log::Network, LogSev_None);
    EXPECT_THAT(callsOf(LogSev_Fatal, Log::Network, "x"), IsEmpty());
    EXPECT_THAT(callsOf(LogSev_None, Log::Network, "x"), IsEmpty());
    EXPECT_THAT(callsOf(kUnknownWord, Log::Network, "x"), ElementsAre("C -1 1 Network: |x"));
}

TEST_F(LoggerTest, ChannelOutsideTheTableCountsAsOneAtLevelErrorWithoutPrefix) {
    for (const int channel : {-1, int{Log::Max}, 500}) {
        m_logger.SetConditional(channel, LogSev_Detail);
        m_logger.SetConditionalNameFlag(channel, true);
        m_logger.SetConditionalChannel(channel, "");
        EXPECT_EQ(m_logger.GetConditional(channel), LogSev_Error);
        EXPECT_FALSE(m_logger.CheckConditional(channel, LogSev_Fatal));
        EXPECT_THAT(callsOf(LogSev_Warning, channel, "x"), IsEmpty());
        EXPECT_THAT(callsOf(LogSev_Error, channel, "x"), ElementsAre("C 3 " + std::to_string(channel) + " |x"));
    }
    m_logger.syslog(LogSev_Error, 500, "bare");
    EXPECT_THAT(mainFile(), MatchesRegex(".{24} bare\r\n"));
    EXPECT_TRUE(m_logger.CheckConditional(Log::Network, LogSev_Warning));
    EXPECT_FALSE(m_logger.CheckConditional(Log::Network, LogSev_Info));
}

TEST_F(LoggerTest, EachEntryPointReachesItsOutputsInTheirOrder) {
    m_logger.SetConditionalDateFlag(Log::Generic, false);
    s_folder = &m_folder;
    // The file is written between console and database.
    s_inCallback = [] { s_calls.push_back(s_folder->names().empty() ? "no file" : s_folder->read("S_00001.txt")); };
    m_logger.syslog(LogSev_Info, Log::Generic, "%d", 1);
    EXPECT_THAT(std::exchange(s_calls, {}),
                ElementsAre("C 5 0 |1", "no file", "D 5 0 |1", "1\r\n", "P 5 0 |1", "1\r\n"));
    s_inCallback = nullptr;
    m_logger.debuglog(LogSev_Info, Log::Generic, "%d", 2);
    EXPECT_THAT(std::exchange(s_calls, {}), ElementsAre("D 5 0 |2"));
    m_logger.screenlog(LogSev_Info, Log::Generic, "%d", 3);
    EXPECT_THAT(std::exchange(s_calls, {}), ElementsAre("C 5 0 |3"));
    EXPECT_EQ(mainFile(), "1\r\n2\r\n");
}

TEST_F(LoggerTest, MaskTakesOutputsAwayFromEveryEntryPoint) {
    m_logger.SetConditionalDateFlag(Log::Generic, false);
    m_logger.setLogLocationMask(LogLocation_File | LogLocation_Pipe);
    m_logger.syslog(LogSev_Info, Log::Generic, "1");
    m_logger.debuglog(LogSev_Info, Log::Generic, "2");
    m_logger.screenlog(LogSev_Info, Log::Generic, "3");
    EXPECT_THAT(s_calls, ElementsAre("P 5 0 |1"));
    m_logger.setLogLocationMask(0x7FFF0000);
    m_logger.syslog(LogSev_Info, Log::Generic, "4");
    m_logger.setLogLocationMask(-1);
    m_logger.setConsoleLogFunction(nullptr);
    m_logger.setPipeLogFunction(nullptr);
    m_logger.syslog(LogSev_Info, Log::Generic, "5");
    m_logger.setBSquelchLogger(true);
    m_logger.syslog(LogSev_Info, Log::Generic, "6");
    EXPECT_THAT(s_calls, ElementsAre("P 5 0 |1", "D 5 0 |5"));
    EXPECT_EQ(mainFile(), "1\r\n2\r\n5\r\n");
}

TEST_F(LoggerTest, LinesAreCutAtTheDocumentedLengths) {
    const std::string longText(5000, 't');
    m_logger.SetConditional(Log::Network, LogSev_Detail);
    EXPECT_THAT(callsOf(LogSev_Info, Log::Network, longText.c_str()),
                ElementsAre("C 5 1 Network: |" + longText.substr(0, 4095 - 9)));
    // A conversion that the end of the format cuts is dropped; the nine characters of the prefix count.
    for (const std::size_t literal : {1013U, 1012U, 1011U}) {
        const std::string text(literal, 'f');
        m_logger.screenlog(LogSev_Info, Log::Network, (text + "%5d").c_str(), 7);
        EXPECT_EQ(std::exchange(s_calls, {}).at(0), "C 5 1 Network: |" + text + (literal == 1011 ? "    7" : ""));
    }
    m_logger.screenlog(LogSev_Info, Log::Network, longText.c_str());
    EXPECT_EQ(s_calls.at(0), "C 5 1 Network: |" + longText.substr(0, 1023 - 9));
    m_logger.debuglog(LogSev_Info, Log::Generic, "%s", longText.c_str());
    EXPECT_EQ(mainFile().substr(24), " " + longText.substr(0, 4094 - 25) + "\r\n");
}

TEST_F(LoggerTest, OnlyErrorsWithTheirLevelWordAreFlushedInAnyCase) {
    m_logger.setFlushOnWrite(false);
    m_logger.SetConditionalDateFlag(Log::Generic, false);
    m_logger.syslog(LogSev_Warning, Log::Generic, "1");
    EXPECT_EQ(mainFile(), "");
    for (const LogItemSeverityLevel severity : {LogSev_Error, LogSev_Assert, LogSev_Fatal}) {
        const std::size_t before = mainFile().size();
        m_logger.syslog(severity, Log::Generic, "2");
        EXPECT_GT(mainFile().size(), before);
    }
    const std::string flushed = mainFile();
    m_logger.SetConditionalLevelFlag(Log::Generic, false);
    m_logger.syslog(LogSev_Fatal, Log::Generic, "3");
    m_logger.syslog(LogSev_Error, 500, "4");
    m_logger.syslog(kUnknownWord, Log::Generic, "5");
    EXPECT_EQ(mainFile(), flushed);
}

TEST_F(LoggerTest, LineOfAThreadInsideALogCallIsDroppedPerLogger) {
    static Logger other("O", "");
    other.setUseDialogs(false);
    other.setConsoleLogFunction(&record<'o'>);
    s_inCallback = [] {
        s_logger->syslog(LogSev_Error, Log::Generic, "again");
        other.screenlog(LogSev_Error, Log::Generic, "other");
        s_logger->setUseDialogs(false);
    };
    m_logger.screenlog(LogSev_Info, Log::Generic, "first");
    // The other logger takes the line, and its callback reaches neither of the two.
    EXPECT_THAT(s_calls, ElementsAre("C 5 0 |first", "o 3 0 ERROR : |other"));
}

TEST_F(LoggerTest, ThrowingCallbackLeavesTheLoggerUsableByEveryThread) {
    s_inCallback = [] { throw std::runtime_error("from the host"); };
    EXPECT_THROW(m_logger.syslog(LogSev_Info, Log::Generic, "1"), std::runtime_error);
    s_inCallback = nullptr;
    std::thread([&] { m_logger.screenlog(LogSev_Info, Log::Generic, "2"); }).join();
    m_logger.screenlog(LogSev_Info, Log::Generic, "3");
    EXPECT_THAT(s_calls, ElementsAre("C 5 0 |1", "C 5 0 |2", "C 5 0 |3"));
}

TEST_F(LoggerTest, ChannelsShareTheFileOfTheSameName) {
    m_logger.SetConditionalChannel(Log::Network, "Chat");
    m_logger.SetConditionalChannel(Log::Generic, "Chat");
    m_logger.SetConditionalChannel(Log::RPC, "chat");
    EXPECT_EQ(m_logger.findChannel("Chat"), 1);
    EXPECT_EQ(m_logger.findChannel("chat"), 2);
    EXPECT_EQ(m_logger.findChannel(""), 0);
    EXPECT_EQ(m_logger.findChannel("Chat2"), -1);
    EXPECT_EQ(m_logger.findChannel(nullptr), -1);
    EXPECT_EQ(m_logger.addChannel("S", nullptr), 0);
    for (int index = 3; index < 20; ++index) {
        EXPECT_EQ(m_logger.addChannel(index == 3 ? nullptr : "S", std::to_string(index).c_str()), index);
        EXPECT_EQ(m_logger.addChannel("S", std::to_string(index).c_str()), index);
    }
    m_logger.syslog(LogSev_Error, Log::Network, "x");
    m_logger.syslog(LogSev_Error, Log::Generic, "y");
    m_logger.SetConditionalChannel(Log::Generic, nullptr);
    m_logger.syslog(LogSev_Error, Log::Generic, "z");
    EXPECT_EQ(s_calls.at(0), "C 3 1 ERROR Network: |x > Chat");
    EXPECT_EQ(s_calls.at(6), "C 3 0 ERROR : |z");
    EXPECT_THAT(m_folder.names(), ElementsAre("Chat_S_00001.txt", "S_00001.txt"));
    EXPECT_THAT(m_folder.read("Chat_S_00001.txt"), MatchesRegex(".{24} ERROR Network: x\r\n.{24} ERROR : y\r\n"));
}

TEST_F(LoggerTest, EightThreadsLogWholeLinesWhileSettingsChange) {
    constexpr int kLines = 300;
    m_logger.setConsoleLogFunction([](LogItemSeverityLevel, int, char const*, int, char const*) {});
    m_logger.setDBLogFunction(nullptr);
    m_logger.SetConditionalDateFlag(Log::Generic, false);
    m_logger.SetConditionalChannel(Log::Network, "N0");
    std::vector<std::thread> threads;
    for (int id = 0; id < 8; ++id) {
        threads.emplace_back([this, id] {
            for (int line = 0; line < kLines; ++line) {
                m_logger.syslog(LogSev_Info, Log::Generic, "%d.%d.%s", id, line, "end");
                m_logger.syslog(LogSev_Warning, Log::Network, "%d", line);
            }
        });
    }
    for (int round = 0; round < kLines; ++round) {
        m_logger.SetConditional(Log::Network, round % 2 == 0 ? LogSev_Error : LogSev_Detail);
        m_logger.SetConditionalChannel(Log::Network, ("N" + std::to_string(round % 10)).c_str());
        m_logger.SetConditionalNameFlag(Log::Network, round % 3 == 0);
        m_logger.SetConditionalLevelFlag(Log::Network, round % 3 == 1);
        m_logger.SetConditionalDateFlag(Log::Network, round % 3 == 2);
        m_logger.setFlushOnWrite(round % 4 != 0);
        m_logger.setPipeLogFunction(round % 2 == 0 ? nullptr : &record<'P'>);
        m_logger.setLogLocationMask(round % 2 == 0 ? -1 : LogLocation_File | LogLocation_Pipe);
        m_logger.setOutputToDebugger(round % 2 == 0);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    m_logger.flush();
    std::vector<int> next(8);
    std::istringstream lines(mainFile());
    for (std::string line; std::getline(lines, line);) {
        const std::size_t id = std::stoul(line);
        EXPECT_EQ(line, std::to_string(id) + '.' + std::to_string(next.at(id)++) + ".end\r");
    }
    EXPECT_THAT(next, testing::Each(kLines));
}

TEST(ConditionalLogTest, CopiesTakeEveryField) {
    struct Conditional : ConditionalLog {
        Conditional(const std::string& name, LogItemSeverityLevel level) : ConditionalLog(name, level, 3) {}
    };
    Conditional first("First", LogSev_Info);
    EXPECT_EQ(first.getUserData(), 0U);
    first.setUserData(7);
    Conditional copied(first);
    Conditional assigned("Other", LogSev_None);
    assigned = first;
    for (const Conditional* copy : {&copied, &assigned}) {
        EXPECT_EQ(copy->getPrefix(), "First");
        EXPECT_EQ(copy->getUserData(), 7U);
    }
}

TEST(Severity, NamesAndLevelsMatchInEitherCase) {
    for (const char* name : {"Fatal", "Assert", "Error", "Warning", "Info", "Detail"}) {
        EXPECT_EQ(LogSevLevelToName(LogSevNameToLevel(name)), name);
    }
    EXPECT_EQ(LogSevNameToLevel("WARNING"), LogSev_Warning);
    EXPECT_EQ(LogSevNameToLevel("none"), LogSev_None);
    EXPECT_EQ(LogSevNameToLevel("warnings"), kUnknownWord);
    EXPECT_EQ(LogSevNameToLevel(""), kUnknownWord);
    for (const int level : {0, -1, 7, 1000}) {
        EXPECT_EQ(LogSevLevelToName(static_cast<LogItemSeverityLevel>(level)), "Error");
    }
}

TEST(LogChannelNames, AreNoFormats) {
    for (int channel = 0; channel < Log::Max; ++channel) {
        const std::string name = Log_ValueToName(static_cast<Log>(channel));
        EXPECT_EQ(name.find('%'), std::string::npos) << name;
        EXPECT_LT(name.size(), 500U) << name;
    }
}

} // namespace
