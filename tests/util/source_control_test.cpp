// tests/util/source_control_test.cpp: what the source control's client is told, by a client that writes it down.
#include "sharedlib/util/paths.h"
#include "sharedlib/util/source_control.h"
#include "tests/support/each.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"
#include <cerrno>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>

namespace {

/// Drive C is a temporary folder, in which clients are installed that record their arguments and end with a code.
class SourceControl : public testing::Test {
protected:
    SourceControl() { MapDrive('c', m_folder.native().c_str()); }
    ~SourceControl() override { MapDrive('c', nullptr); }

    /// Installs the client of 64 or 32 bits.
    void install(int bits, int exitCode) {
        const std::string name =
            (bits == 64 ? "Program Files" : "Program Files (x86)") + std::string("/Perforce/p4.exe");
        m_folder.write(name, "#!/bin/sh\n{ printf " + std::to_string(bits) +
                                 "'|'; for a; do printf '%s|' \"$a\"; done; " + "echo; } >>" +
                                 m_folder.native("calls") + "\nexit " + std::to_string(exitCode) + "\n");
        std::filesystem::permissions(m_folder.native(name), std::filesystem::perms::owner_all);
    }
    /// The calls since the last question.
    std::string calls() {
        if (!std::filesystem::exists(m_folder.native("calls"))) {
            return "";
        }
        std::string all = m_folder.read("calls");
        std::filesystem::remove(m_folder.native("calls"));
        return all;
    }

    TempFolder m_folder;
    LogCapture m_log;
};

struct Command {
    const char* name;
    std::function<void(const char*)> run;
    bool isQuoted = true;
};

const Command kCommands[] = {{"add", PerforceAddFile},
                             {"add", PerforceAddFileNoQuotes, false},
                             {"edit", PerforceCheckoutFile},
                             {"delete", PerforceDeleteFile},
                             {"revert", PerforceRevertFile}};

} // namespace

TEST_F(SourceControl, EachCommandRunsTheFirstClientOnlyUnlessItFails) {
    install(64, 0);
    install(32, 0);
    for (const Command& command : kCommands) {
        m_log.clear();
        command.run("C:\\a b.txt");
        const std::string name = command.name;
        EXPECT_EQ((Texts{command.isQuoted ? "p4 " + name + " \"C:\\a b.txt\" " : "p4 add C:\\a b.txt "}),
                  m_log.texts(Log::Generic));
        EXPECT_EQ(command.isQuoted ? "64|" + name + "|C:\\a b.txt|\n" : "64|add|C:\\a|b.txt|\n", calls());
    }
    EXPECT_TRUE(PerforceCheckoutFile("x"));
    install(64, 1);
    calls();
    EXPECT_TRUE(PerforceCheckoutFile("x"));
    EXPECT_EQ("64|edit|x|\n32|edit|x|\n", calls());
}

TEST_F(SourceControl, TheSecondClientServesWhereTheFirstIsMissing) {
    install(32, 0);
    for (const Command& command : kCommands) {
        m_log.clear();
        command.run("x");
        EXPECT_EQ("32|" + std::string(command.name) + "|x|\n", calls());
        EXPECT_EQ(1, m_log.countContaining("Failed to execute \"C:\\Program Files\\Perforce\\p4.exe\""));
        EXPECT_EQ(0, m_log.countContaining("Failed to run"));
    }
}

TEST_F(SourceControl, WhenBothFailOneLineNamesTheFileAndTheErrorThatStands) {
    for (const Command& command : kCommands) {
        m_log.clear();
        command.run("a %s");
        EXPECT_EQ((LogLineSeen{LogSev_Error, Log::Generic,
                               "Failed to run 'p4 " + std::string(command.name) + " a %s': No such file or directory"}),
                  m_log.lines().back());
        EXPECT_EQ(1, m_log.countContaining("Failed to run"));
    }
    install(64, 1);
    install(32, 2);
    errno = EDOM;
    EXPECT_FALSE(PerforceCheckoutFile("x"));
    EXPECT_EQ("64|edit|x|\n32|edit|x|\n", calls());
    EXPECT_EQ("Failed to run 'p4 edit x': Numerical argument out of domain", m_log.lines().back().text);
    theLogger = nullptr;
    EXPECT_FALSE(PerforceCheckoutFile("x"));
}

TEST_F(SourceControl, TheNameReachesTheClientAsItIs) {
    install(64, 0);
    const std::pair<const char*, const char*> cases[] = {{"$(touch x);a.txt", "$(touch x);a.txt|"},
                                                         {R"(a" "b)", "a|b|"},
                                                         {"`id` 'x' *", "`id` 'x' *|"},
                                                         {R"(C:\folder\)", R"(C:\folder" |)"},
                                                         {"", "|"},
                                                         {nullptr, "|"}};
    for (const auto& [file, arguments] : cases) {
        PerforceDeleteFile(file);
        EXPECT_EQ("64|delete|" + std::string(arguments) + '\n', calls());
    }
    EXPECT_EQ((std::vector<std::string>{"Program Files"}), m_folder.names());
}

TEST_F(SourceControl, ANameThatDoesNotFitIsNotRun) {
    install(64, 0);
    const std::string fits(2045, 'a');
    EXPECT_TRUE(PerforceCheckoutFile(fits.c_str()));
    EXPECT_EQ("64|edit|" + fits + "|\n", calls());
    m_log.clear();
    const std::string tooLong(2046, 'a');
    PerforceDeleteFile(tooLong.c_str());
    EXPECT_FALSE(PerforceCheckoutFile(tooLong.c_str()));
    EXPECT_EQ("", calls());
    EXPECT_EQ((Texts{"Failed to run 'p4 delete " + tooLong + "': File name too long",
                     "Failed to run 'p4 edit " + tooLong + "': File name too long"}),
              m_log.texts(Log::Generic));
    PerforceAddFileNoQuotes(tooLong.c_str());
    EXPECT_EQ("64|add|" + tooLong + "|\n", calls());
}
