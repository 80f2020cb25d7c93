// tests/contract/message_pipe_contract_test.cpp: what every implementation of platform/message_pipe.h promises.
#include "sharedlib/platform/message_pipe.h"
#include "tests/support/environment.h"
#include "tests/support/pipe_server.h"
#include "tests/support/temp_folder.h"
#include <cstdint>
#include <fcntl.h>

namespace {

int numberOf(void* handle) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
}

class MessagePipeContract : public testing::Test {
protected:
    TempFolder m_folder;
    Environment m_environment{{{"XDG_RUNTIME_DIR", m_folder.native()}}};
    PipeServer m_server{m_folder.native("log")};
};

TEST_F(MessagePipeContract, MessagesArriveOneByOneUntilTheClose) {
    // The handle is never null, even when the lowest number is free.
    const int input = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    void* const pipe = platform::openMessagePipe(R"(\\.\PIPE\log)");
    ASSERT_NE(pipe, nullptr);
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);
    EXPECT_EQ(::fcntl(numberOf(pipe), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(::fcntl(numberOf(pipe), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(::write(numberOf(pipe), "first", 5), 5);
    EXPECT_EQ(::write(numberOf(pipe), "2nd", 3), 3);
    platform::closeMessagePipe(pipe);
    platform::closeMessagePipe(nullptr);
    ::dup2(input, STDIN_FILENO);
    ::close(input);
    EXPECT_EQ(m_server.messages(), "first|2nd|");
}

TEST_F(MessagePipeContract, WhatIsNoPipeHasNoHandle) {
    m_folder.makeFolder("sub");
    const PipeServer inside(m_folder.native("sub/log"));
    const PipeServer dotted(m_folder.native("a..b"));
    m_folder.write("file");
    const std::string tooLong = R"(\\.\pipe\)" + std::string(200, 'x');
    for (const char* name : {"", "log", R"(\\.\pipe\)", R"(\\.\pipe)", R"(\\.\pipe\nobody)", R"(\\.\pipe\file)",
                             R"(\\.\pipe\sub/log)", R"(\\.\pipe\sub\log)", R"(\\.\pipe\sub/../sub/log)",
                             R"(\\.\pipe\..)", R"(\\.\pipe\a..b)", R"(\\host\pipe\log)", tooLong.c_str()}) {
        EXPECT_EQ(platform::openMessagePipe(name), nullptr) << name;
    }
    // A folder relative to the working folder is not used.
    const Environment relative{{{"XDG_RUNTIME_DIR", "."}}};
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.native());
    EXPECT_EQ(platform::openMessagePipe(R"(\\.\pipe\log)"), nullptr);
    std::filesystem::current_path(before);
}

TEST_F(MessagePipeContract, ServerThatTakesNobodyIsNotWaitedFor) {
    const PipeServer server(m_folder.native("busy"), 0);
    int opened = 0;
    for (int count = 0; count < 16; ++count) {
        void* const pipe = platform::openMessagePipe(R"(\\.\pipe\busy)");
        opened += pipe != nullptr ? 1 : 0;
        platform::closeMessagePipe(pipe);
    }
    EXPECT_LT(opened, 16);
}

} // namespace
