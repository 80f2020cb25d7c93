// tests/log/logger_test.cpp: channels, composed lines and the way of a line through callbacks and files.
#include "tests/log/log_file_fixture.h"
#include <functional>
#include <gmock/gmock.h>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

using testing::_;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr int kUnknownWord = -1;

class OpenLogger : public Logger {
public:
    using Logger::addChannel;
    using Logger::findChannel;
    using Logger::Logger;
};

// What the callbacks were given, and what they do besides.
Names s_calls;
std::function<void()> s_inCallback;

template <char Output>
void record(LogItemSeverityLevel severity, int channel, char const* text, int prefixLength, char const* fileName) {
    s_calls.push_back(std::string(1, Output) + ' ' + std::to_string(severity) + ' ' + std::to_string(channel) + ' ' +
                      std::string(text).insert(static_cast<std::size_t>(prefixLength), "|") + '>' + fileName);
    s_inCallback();
}

class LoggerTest : public LogFileTest {
protected:
    LoggerTest() {
        s_calls.clear();
        s_inCallback = [] {};
        m_logger.setUseDialogs(false);
        m_logger.SetConditionalDateFlag(Log::Generic, false);
        m_logger.setConsoleLogFunction(&record<'C'>);
        m_logger.setDBLogFunction(&record<'D'>);
        m_logger.setPipeLogFunction(&record<'P'>);
    }

    // What the console gets of a line "x".
    Names console(int severity, int channel) {
        s_calls.clear();
        m_logger.screenlog(static_cast<LogItemSeverityLevel>(severity), channel, "%c", 'x');
        return s_calls;
    }
    std::string mainFile() const { return m_folder.read("S_00001.txt"); }

    OpenLogger m_logger{"S", ""};
};

TEST_F(LoggerTest, LinesBeginWithLevelWordAndNameAsTheFlagsSay) {
    m_logger.SetConditional(Log::Network, LogSev_Detail);
    Names lines;
    for (const int flags : {3, 2, 1, 0}) {
        m_logger.SetConditionalLevelFlag(Log::Network, (flags & 1) != 0);
        m_logger.SetConditionalNameFlag(Log::Network, (flags & 2) != 0);
        for (const int severity : {-1, 1, 2, 3, 4, 5, 6}) {
            lines.push_back(flags == 3 || severity > 3 ? console(severity, Log::Network).at(0) : "");
        }
    }
    std::erase(lines, "");
    EXPECT_EQ(lines, (Names{"C -1 1 Network: |x>", "C 1 1 ERROR Network: |x>", "C 2 1 ERROR Network: |x>",
                            "C 3 1 ERROR Network: |x>", "C 4 1 WARNING Network: |x>", "C 5 1 Network: |x>",
                            "C 6 1 Network: |x>", "C 4 1 Network: |x>", "C 5 1 Network: |x>", "C 6 1 Network: |x>",
                            "C 4 1 WARNING : |x>", "C 5 1 |x>", "C 6 1 |x>", "C 4 1 |x>", "C 5 1 |x>", "C 6 1 |x>"}));
}

TEST_F(LoggerTest, ChannelsAdmitWhatTheirLevelsSay) {
    EXPECT_EQ(console(LogSev_Info, Log::Network), Names{});
    EXPECT_EQ(console(LogSev_Warning, Log::Max - 1).size(), 1U);
    EXPECT_EQ(console(LogSev_Detail, Log::Generic), Names{"C 6 0 |x>"});
    EXPECT_EQ(console(LogSev_Warning, Log::Generic), Names{"C 4 0 WARNING : |x>"});
    EXPECT_EQ(console(LogSev_None, Log::Generic), Names{});
    EXPECT_TRUE(m_logger.CheckConditional(Log::Network, LogSev_Warning));
    EXPECT_FALSE(m_logger.CheckConditional(Log::Network, LogSev_Info));
    m_logger.SetConditional(Log::Network, LogSev_None);
    EXPECT_EQ(console(LogSev_Fatal, Log::Network), Names{});
    EXPECT_EQ(console(kUnknownWord, Log::Network), Names{"C -1 1 Network: |x>"});
    for (const int channel : {-1, int{Log::Max}, 500}) {
        m_logger.SetConditional(channel, LogSev_Detail);
        m_logger.SetConditionalNameFlag(channel, true);
        m_logger.SetConditionalChannel(channel, "");
        EXPECT_EQ(m_logger.GetConditional(channel), LogSev_Error);
        EXPECT_FALSE(m_logger.CheckConditional(channel, LogSev_Fatal));
        EXPECT_EQ(console(LogSev_Warning, channel), Names{});
        EXPECT_EQ(console(LogSev_Error, channel), Names{"C 3 " + std::to_string(channel) + " |x>"});
    }
    log(m_logger, "bare", LogSev_Error, 500);
    EXPECT_THAT(mainFile(), MatchesRegex(".{24} bare\r\n"));
}

TEST_F(LoggerTest, EachEntryPointReachesItsOutputsInTheirOrderAsFarAsTheMaskHasThem) {
    // The file is written between console and database.
    s_inCallback = [this] { s_calls.push_back(m_folder.names().empty() ? "no file" : mainFile()); };
    m_logger.syslog(LogSev_Info, Log::Generic, "%d", 1);
    EXPECT_EQ(s_calls, (Names{"C 5 0 |1>", "no file", "D 5 0 |1>", "1\r\n", "P 5 0 |1>", "1\r\n"}));
    s_calls.clear();
    s_inCallback = [] {};
    for (const int mask : {-1, LogLocation_File | LogLocation_Pipe, 0x7FFF0000}) {
        m_logger.setLogLocationMask(mask);
        m_logger.syslog(LogSev_Info, Log::Generic, "2");
        m_logger.debuglog(LogSev_Info, Log::Generic, "3");
        m_logger.screenlog(LogSev_Info, Log::Generic, "4");
        s_calls.emplace_back();
    }
    EXPECT_EQ(s_calls,
              (Names{"C 5 0 |2>", "D 5 0 |2>", "P 5 0 |2>", "D 5 0 |3>", "C 5 0 |4>", "", "P 5 0 |2>", "", ""}));
    m_logger.setLogLocationMask(-1);
    m_logger.setConsoleLogFunction(nullptr);
    m_logger.setPipeLogFunction(nullptr);
    log(m_logger, "5");
    m_logger.setBSquelchLogger(true);
    log(m_logger, "6");
    EXPECT_EQ(s_calls.back(), "D 5 0 |5>");
    EXPECT_EQ(mainFile(), "1\r\n2\r\n3\r\n2\r\n3\r\n5\r\n");
}

TEST_F(LoggerTest, LinesAreCutAtTheDocumentedLengths) {
    const std::string longText(5000, 't');
    m_logger.SetConditional(Log::Network, LogSev_Detail);
    // A conversion that the end of the format cuts is dropped; the nine characters in front of the message count.
    const std::pair<std::string, std::string> cases[] = {{"%s", longText.substr(0, 4095 - 9)},
                                                         {longText + "%s", longText.substr(0, 1023 - 9)},
                                                         {longText.substr(0, 1013) + "%2s", longText.substr(0, 1013)},
                                                         {longText.substr(0, 1012) + "%2s", longText.substr(0, 1012)},
                                                         {longText.substr(0, 1011) + "%2s", longText.substr(0, 4086)}};
    for (const auto& [format, message] : cases) {
        s_calls.clear();
        m_logger.screenlog(LogSev_Info, Log::Network, format.c_str(), longText.c_str());
        EXPECT_EQ(s_calls, Names{"C 5 1 Network: |" + message + '>'});
    }
    m_logger.SetConditionalDateFlag(Log::Network, false);
    log(m_logger, longText, LogSev_Info, Log::Network);
    EXPECT_EQ(mainFile(), "Network: " + longText.substr(0, 4094 - 9) + "\r\n");
}

TEST_F(LoggerTest, LineOfAThreadInsideALogCallIsDroppedPerLogger) {
    static Logger other("O", "");
    other.setConsoleLogFunction(&record<'o'>);
    s_inCallback = [this] {
        log(m_logger, "again");
        other.screenlog(LogSev_Info, Log::Generic, "other");
        m_logger.setUseDialogs(false);
    };
    m_logger.screenlog(LogSev_Info, Log::Generic, "first");
    // The other logger takes the line, and its callback reaches neither of the two.
    EXPECT_EQ(s_calls, (Names{"C 5 0 |first>", "o 5 0 |other>"}));
    s_inCallback = [] { throw std::runtime_error("from the host"); };
    EXPECT_THROW(log(m_logger, "thrown"), std::runtime_error);
    s_inCallback = [] {};
    std::thread([&] { m_logger.screenlog(LogSev_Info, Log::Generic, "usable by every thread"); }).join();
    m_logger.screenlog(LogSev_Info, Log::Generic, "by this one too");
    EXPECT_EQ(s_calls.size(), 5U);
}

TEST_F(LoggerTest, ChannelsShareTheFileOfTheSameName) {
    m_logger.SetConditionalChannel(Log::Network, "Chat");
    m_logger.SetConditionalChannel(Log::Generic, "Chat");
    m_logger.SetConditionalChannel(Log::RPC, "chat");
    const std::pair<const char*, int> names[] = {{"Chat", 1}, {"chat", 2}, {"", 0}, {"Chat2", -1}, {nullptr, -1}};
    for (const auto& [name, index] : names) {
        EXPECT_EQ(m_logger.findChannel(name), index);
    }
    EXPECT_EQ(m_logger.addChannel("S", nullptr), 0);
    for (int index = 3; index < 20; ++index) {
        EXPECT_EQ(m_logger.addChannel(index == 3 ? nullptr : "S", std::to_string(index).c_str()), index);
        EXPECT_EQ(m_logger.addChannel("S", std::to_string(index).c_str()), index);
    }
    log(m_logger, "x", LogSev_Error, Log::Network);
    log(m_logger, "y");
    m_logger.SetConditionalChannel(Log::Generic, nullptr);
    log(m_logger, "z");
    EXPECT_THAT(s_calls, ElementsAre("C 3 1 ERROR Network: |x>Chat", _, _, "C 5 0 |y>Chat", _, _, "C 5 0 |z>", _, _));
    EXPECT_EQ(m_folder.names(), (Names{"Chat_S_00001.txt", "S_00001.txt"}));
    EXPECT_THAT(m_folder.read("Chat_S_00001.txt"), MatchesRegex(".{24} ERROR Network: x\r\ny\r\n"));
}

TEST(Severity, NamesAndLevelsMatchInEitherCase) {
    for (const char* name : {"Fatal", "Assert", "Error", "Warning", "Info", "Detail"}) {
        EXPECT_EQ(LogSevLevelToName(LogSevNameToLevel(name)), name);
    }
    const std::pair<const char*, int> words[] = {{"WARNING", 4}, {"none", 0}, {"warnings", -1}, {"", -1}};
    for (const auto& [word, level] : words) {
        EXPECT_EQ(LogSevNameToLevel(word), level);
    }
    for (const int level : {0, -1, 7, 1000}) {
        EXPECT_EQ(LogSevLevelToName(static_cast<LogItemSeverityLevel>(level)), "Error");
    }
}

TEST(LogChannelNames, AreNoFormats) {
    for (int channel = 0; channel < Log::Max; ++channel) {
        const std::string name = Log_ValueToName(static_cast<Log>(channel));
        EXPECT_TRUE(name.find('%') == std::string::npos && name.size() < 500) << name;
    }
}

} // namespace
