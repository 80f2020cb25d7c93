// tests/contract/message_pipe_contract_test.cpp: what every implementation of platform/message_pipe.h promises.
#include "sharedlib/platform/message_pipe.h"
#include "tests/support/environment.h"
#include "tests/support/temp_folder.h"
#include <array>
#include <cstdint>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

int numberOf(void* handle) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
}

// A pipe's server.
class Server {
public:
    Server(const std::string& path, int waiting) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        EXPECT_EQ(::listen(m_listener, waiting), 0);
    }
    ~Server() { ::close(m_listener); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] int accept() const { return ::accept(m_listener, nullptr, nullptr); }

private:
    int m_listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
};

class MessagePipeContract : public testing::Test {
protected:
    TempFolder m_folder;
    Environment m_environment{{{"XDG_RUNTIME_DIR", m_folder.native()}}};
};

TEST_F(MessagePipeContract, MessagesArriveOneByOneUntilTheClose) {
    const Server server(m_folder.native("log"), 1);
    void* const pipe = platform::openMessagePipe(R"(\\.\pipe\log)");
    ASSERT_NE(pipe, nullptr);
    EXPECT_EQ(::fcntl(numberOf(pipe), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(::fcntl(numberOf(pipe), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(::write(numberOf(pipe), "first", 5), 5);
    EXPECT_EQ(::write(numberOf(pipe), "2nd", 3), 3);
    platform::closeMessagePipe(pipe);
    const int client = server.accept();
    std::array<char, 64> message{};
    EXPECT_EQ(::read(client, message.data(), message.size()), 5);
    EXPECT_EQ(::read(client, message.data(), message.size()), 3);
    EXPECT_EQ(::read(client, message.data(), message.size()), 0);
    ::close(client);
    platform::closeMessagePipe(nullptr);
}

TEST_F(MessagePipeContract, HandleIsNeverNullEvenWhenTheLowestNumberIsFree) {
    const Server server(m_folder.native("log"), 1);
    const int input = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    void* const pipe = platform::openMessagePipe(R"(\\.\PIPE\log)");
    EXPECT_NE(pipe, nullptr);
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);
    platform::closeMessagePipe(pipe);
    ::dup2(input, STDIN_FILENO);
    ::close(input);
}

TEST_F(MessagePipeContract, WhatIsNoPipeHasNoHandle) {
    m_folder.makeFolder("sub");
    const Server inside(m_folder.native("sub/log"), 1);
    const Server dotted(m_folder.native("a..b"), 1);
    m_folder.write("file");
    for (const char* name : {"", "log", R"(\\.\pipe\)", R"(\\.\pipe)", R"(\\.\pipe\nobody)", R"(\\.\pipe\file)",
                             R"(\\.\pipe\sub/log)", R"(\\.\pipe\sub\log)", R"(\\.\pipe\sub/../sub/log)",
                             R"(\\.\pipe\..)", R"(\\.\pipe\a..b)", R"(\\host\pipe\log)"}) {
        EXPECT_EQ(platform::openMessagePipe(name), nullptr) << name;
    }
    EXPECT_EQ(platform::openMessagePipe((R"(\\.\pipe\)" + std::string(200, 'x')).c_str()), nullptr);
}

TEST_F(MessagePipeContract, ServerThatTakesNobodyIsNotWaitedFor) {
    const Server server(m_folder.native("busy"), 0);
    std::vector<void*> pipes;
    while (pipes.size() < 16) {
        void* const pipe = platform::openMessagePipe(R"(\\.\pipe\busy)");
        if (pipe == nullptr) {
            break;
        }
        pipes.push_back(pipe);
    }
    EXPECT_LT(pipes.size(), 16U);
    for (void* pipe : pipes) {
        platform::closeMessagePipe(pipe);
    }
}

TEST_F(MessagePipeContract, FolderRelativeToTheWorkingFolderIsNotUsed) {
    const Server server(m_folder.native("log"), 1);
    const Environment relative{{{"XDG_RUNTIME_DIR", "."}}};
    std::array<char, 4096> before{};
    ASSERT_NE(::getcwd(before.data(), before.size()), nullptr);
    ASSERT_EQ(::chdir(m_folder.native().c_str()), 0);
    EXPECT_EQ(platform::openMessagePipe(R"(\\.\pipe\log)"), nullptr);
    ASSERT_EQ(::chdir(before.data()), 0);
}

} // namespace
