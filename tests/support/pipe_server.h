// tests/support/pipe_server.h: the server's end of a message pipe.
#pragma once
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// Listens at the socket `path` with room for `waiting` clients that nobody has accepted.
class PipeServer {
public:
    explicit PipeServer(const std::string& path, int waiting = 1) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        EXPECT_EQ(::listen(m_listener, waiting), 0);
    }
    ~PipeServer() { ::close(m_listener); }
    PipeServer(const PipeServer&) = delete;
    PipeServer& operator=(const PipeServer&) = delete;

    /// All messages of the next client, which must have closed its end, each with a '|' behind it.
    [[nodiscard]] std::string messages() const {
        const int client = ::accept(m_listener, nullptr, nullptr);
        std::string all;
        char message[64];
        for (ssize_t size = 0; (size = ::recv(client, message, sizeof(message), MSG_DONTWAIT)) != 0;) {
            if (size < 0) {
                ADD_FAILURE() << "still open";
                break;
            }
            all += std::string(message, static_cast<std::size_t>(size)) + '|';
        }
        ::close(client);
        return all;
    }

private:
    int m_listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
};
