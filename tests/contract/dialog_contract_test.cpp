// tests/contract/dialog_contract_test.cpp: what every implementation of platform/dialog.h promises.
#include "sharedlib/platform/dialog.h"
#include "tests/support/environment.h"
#include "tests/support/failing_alloc.h"
#include "tests/support/temp_folder.h"
#include <csignal>
#include <sys/stat.h>

namespace {

// A desktop whose programs write down their arguments, one a line, instead of showing a box.
class DialogContract : public testing::Test {
protected:
    void install(const std::string& program, int result = 0) const {
        m_folder.write(program, "#!/bin/sh\nfor argument in \"$@\"; do printf '%s\\n' \"$argument\"; done > " +
                                    m_folder.native("log") + "\nexit " + std::to_string(result) + "\n");
        ASSERT_EQ(::chmod(m_folder.native(program).c_str(), 0755), 0);
    }

    // Shows a box and gives what the program was told, and then what came out on standard error.
    std::string show(const std::string& text, int failingAllocation = 0) const {
        m_folder.write("log");
        testing::internal::CaptureStderr();
        {
            const FailingAlloc memory(failingAllocation);
            EXPECT_NO_THROW(platform::showErrorDialog("Error", text.c_str()));
        }
        return m_folder.read("log") + testing::internal::GetCapturedStderr();
    }

    TempFolder m_folder;
    Environment m_environment{{{"PATH", m_folder.native()}, {"DISPLAY", ":7"}, {"WAYLAND_DISPLAY", std::nullopt}}};
};

TEST_F(DialogContract, TextReachesTheBoxAsOneArgumentThatIsNoOption) {
    install("zenity");
    EXPECT_EQ(show("--version $(touch x);\"quoted\" 'more' c:\\new \xC3\xA9"),
              "--error\n--no-markup\n--title=Error\n"
              "--text=--version $(touch x);\"quoted\" 'more' c:\\\\new \xC3\xA9\n");
    EXPECT_EQ(m_folder.names().size(), 2U);
    EXPECT_EQ(show("a\xFF\xC3(\xED\xA0\x80|\xF0\x9F\x98\x80|\xE4\xB8\xAD|\xC0\xAF|\xF4\x90\x80\x80|\xE4\xB8"),
              "--error\n--no-markup\n--title=Error\n"
              "--text=a?\?(?\?\?|\xF0\x9F\x98\x80|\xE4\xB8\xAD|?\?|?\?\?\?|?\?\n");
}

TEST_F(DialogContract, FirstProgramThatIsThereShowsTheBox) {
    install("xmessage");
    EXPECT_EQ(show("-bg"), "-center\n-title\nError\n-buttons\nOK:0\n -bg\n");
    install("kdialog");
    EXPECT_EQ(show("-bg"), "--title=Error\n--error=-bg\n");
    install("zenity");
    // A host that ignores its children is not held up.
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(show("-bg"), "--error\n--no-markup\n--title=Error\n--text=-bg\n");
    std::signal(SIGCHLD, before);
}

TEST_F(DialogContract, TextOfABoxThatNobodySeesGoesToStandardError) {
    EXPECT_EQ(show("no program %s"), "Error: no program %s\n");
    install("zenity", 1);
    EXPECT_EQ(show("x"), "--error\n--no-markup\n--title=Error\n--text=x\nError: x\n") << "a display out of reach";
    EXPECT_EQ(show("memory is exhausted", 1), "Error: memory is exhausted\n");
    install("zenity");
    const Environment none{{{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}};
    EXPECT_EQ(show("no display"), "Error: no display\n");
    const Environment wayland{{{"WAYLAND_DISPLAY", "wayland-0"}}};
    EXPECT_EQ(show("x"), "--error\n--no-markup\n--title=Error\n--text=x\n");
}

} // namespace
