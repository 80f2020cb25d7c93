// tests/contract/dialog_contract_test.cpp: what every implementation of platform/dialog.h promises.
#include "sharedlib/platform/dialog.h"
#include "tests/support/environment.h"
#include "tests/support/failing_alloc.h"
#include "tests/support/temp_folder.h"
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;

// A desktop whose programs write down their arguments, one a line, instead of showing a box.
class DialogContract : public testing::Test {
protected:
    void install(const std::string& program, int result) const {
        m_folder.write(program, "#!/bin/sh\nfor argument in \"$@\"; do printf '%s\\n' \"$argument\"; done > " +
                                    m_folder.native(program) + ".log\nexit " + std::to_string(result) + "\n");
        ASSERT_EQ(::chmod(m_folder.native(program).c_str(), 0755), 0);
    }

    [[nodiscard]] bool wasRun(const std::string& program) const {
        return ::access(m_folder.native(program + ".log").c_str(), F_OK) == 0;
    }

    // Shows a box and gives what came out on standard error.
    static std::string show(const std::string& text) {
        testing::internal::CaptureStderr();
        platform::showErrorDialog("Error", text.c_str());
        return testing::internal::GetCapturedStderr();
    }

    TempFolder m_folder;
    Environment m_environment{{{"PATH", m_folder.native()}, {"DISPLAY", ":7"}, {"WAYLAND_DISPLAY", std::nullopt}}};
};

TEST_F(DialogContract, TextReachesTheBoxAsOneArgumentThatIsNoOption) {
    install("zenity", 0);
    const std::string text = "--version $(touch x);\"quoted\" 'more' c:\\new \xC3\xA9";
    EXPECT_EQ(show(text), "");
    EXPECT_EQ(m_folder.read("zenity.log"), "--error\n--no-markup\n--title=Error\n"
                                           "--text=--version $(touch x);\"quoted\" 'more' c:\\\\new \xC3\xA9\n");
    EXPECT_EQ(m_folder.names().size(), 2U);
}

TEST_F(DialogContract, BytesThatAreNoUtf8AppearAsQuestionMarks) {
    install("zenity", 0);
    EXPECT_EQ(show("a\xFF\xC3(\xED\xA0\x80|\xF0\x9F\x98\x80|\xE4\xB8\xAD|\xC0\xAF|\xF4\x90\x80\x80|\xE4\xB8"), "");
    EXPECT_THAT(m_folder.read("zenity.log"),
                HasSubstr("--text=a?\?(?\?\?|\xF0\x9F\x98\x80|\xE4\xB8\xAD|?\?|?\?\?\?|?\?\n"));
}

TEST_F(DialogContract, FirstProgramThatIsThereShowsTheBox) {
    install("xmessage", 0);
    EXPECT_EQ(show("-bg"), "");
    EXPECT_EQ(m_folder.read("xmessage.log"), "-center\n-title\nError\n-buttons\nOK:0\n -bg\n");
    install("kdialog", 0);
    EXPECT_EQ(show("-bg"), "");
    EXPECT_EQ(m_folder.read("kdialog.log"), "--title=Error\n--error=-bg\n");
    install("zenity", 0);
    EXPECT_EQ(show("-bg"), "");
    EXPECT_TRUE(wasRun("zenity"));
}

TEST_F(DialogContract, WithoutDisplayOrProgramTheTextGoesToStandardError) {
    EXPECT_EQ(show("nobody shows it %s"), "Error: nobody shows it %s\n");
    install("zenity", 0);
    const Environment none{{{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}};
    EXPECT_EQ(show("nobody sees it"), "Error: nobody sees it\n");
    EXPECT_FALSE(wasRun("zenity"));
    const Environment wayland{{{"WAYLAND_DISPLAY", "wayland-0"}}};
    EXPECT_EQ(show("seen"), "");
    EXPECT_TRUE(wasRun("zenity"));
}

TEST_F(DialogContract, BoxThatCouldNotBeShownLeavesTheTextOnStandardError) {
    install("zenity", 1);
    EXPECT_EQ(show("display out of reach"), "Error: display out of reach\n");
    install("zenity", 0);
    const std::string text = "memory is exhausted, too little for a box";
    testing::internal::CaptureStderr();
    const FailingAlloc memory(1);
    EXPECT_NO_THROW(platform::showErrorDialog("Error", text.c_str()));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: " + text + "\n");
}

TEST_F(DialogContract, HostThatIgnoresItsChildrenIsNotHeldUp) {
    install("zenity", 0);
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(show("text"), "");
    std::signal(SIGCHLD, before);
    EXPECT_TRUE(wasRun("zenity"));
}

} // namespace
