// tests/contract/loopback.h: sockets on the loopback network for the contract suites, real or scripted.
#pragma once
#include "sharedlib/platform/event_set.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include <array>
#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

inline constexpr std::uint32_t kLoopbackIp = 0x7F000001;
inline constexpr int kErrorNotSocket = 10038;
inline constexpr int kErrorInvalid = 10022;
inline constexpr int kErrorRefused = 10061;

/// Asks again until `done` is true, for at most five seconds.
template <typename Done>
[[nodiscard]] bool eventually(Done&& done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// An open socket that is closed at the end, unless it was before.
class OwnedSocket {
public:
    OwnedSocket() = default;
    explicit OwnedSocket(NativeSocket socket) : m_socket(socket) {}
    explicit OwnedSocket(platform::SocketKind kind) : m_socket(platform::openSocket(kind).socket) {
        EXPECT_NE(m_socket, kInvalidSocket);
    }
    OwnedSocket(OwnedSocket&& other) noexcept : m_socket(std::exchange(other.m_socket, kInvalidSocket)) {}
    OwnedSocket& operator=(OwnedSocket&& other) noexcept {
        std::swap(m_socket, other.m_socket);
        return *this;
    }
    ~OwnedSocket() { close(); }

    void close() {
        if (m_socket != kInvalidSocket) {
            platform::closeSocket(std::exchange(m_socket, kInvalidSocket));
        }
    }
    operator NativeSocket() const { return m_socket; }

private:
    NativeSocket m_socket = kInvalidSocket;
};

/// An event object that is closed at the end, unless it was before.
class OwnedEvent {
public:
    OwnedEvent() : m_event(platform::createSocketEvent()) { EXPECT_NE(m_event, nullptr); }
    OwnedEvent(NativeSocket socket, long mask) : OwnedEvent() {
        EXPECT_EQ(platform::selectSocketEvents(socket, m_event, mask), 0);
    }
    OwnedEvent(OwnedEvent&& other) noexcept : m_event(std::exchange(other.m_event, nullptr)) {}
    OwnedEvent& operator=(OwnedEvent&& other) = delete;
    ~OwnedEvent() { close(); }

    void close() { platform::closeSocketEvent(std::exchange(m_event, nullptr)); }
    operator void*() const { return m_event; }

private:
    void* m_event;
};

inline std::uint16_t portOf(NativeSocket socket) {
    platform::Endpoint local;
    EXPECT_EQ(platform::getLocalEndpoint(socket, local), 0);
    return local.port;
}

inline OwnedSocket listenOnLoopback(std::uint16_t port = 0, int backlog = 100) {
    OwnedSocket listener(platform::SocketKind::Stream);
    EXPECT_EQ(platform::setSocketBlocking(listener, false), 0);
    EXPECT_EQ(platform::setAddressReuse(listener), 0);
    EXPECT_EQ(platform::bindSocket(listener, {kLoopbackIp, port}), 0);
    EXPECT_EQ(platform::listenOnSocket(listener, backlog), 0);
    return listener;
}

/// Starts to connect; the attempt may have ended when this returns.
inline OwnedSocket startConnecting(std::uint16_t port) {
    OwnedSocket socket(platform::SocketKind::Stream);
    EXPECT_EQ(platform::setSocketBlocking(socket, false), 0);
    EXPECT_EQ(platform::connectSocket(socket, {kLoopbackIp, port}), platform::kErrorWouldBlock);
    return socket;
}

inline OwnedSocket acceptOne(NativeSocket listener) {
    platform::AcceptResult result;
    EXPECT_TRUE(eventually([&] {
        result = platform::acceptSocket(listener);
        return result.error != platform::kErrorWouldBlock;
    }));
    EXPECT_EQ(result.error, 0);
    return OwnedSocket(result.socket);
}

inline bool connectEnds(NativeSocket socket, platform::ConnectProgress& progress) {
    return eventually([&] {
        progress = platform::pollConnect(socket);
        return progress.writable || progress.failed || progress.error != 0;
    });
}

/// Two ends of a standing connection, both non-blocking.
struct SocketPair {
    OwnedSocket listener = listenOnLoopback();
    OwnedSocket client = startConnecting(portOf(listener));
    OwnedSocket server = acceptOne(listener);
};

inline OwnedSocket bindDatagram(std::uint16_t port = 0) {
    OwnedSocket socket(platform::SocketKind::Datagram);
    EXPECT_EQ(platform::setSocketBlocking(socket, false), 0);
    EXPECT_EQ(platform::bindSocket(socket, {kLoopbackIp, port}), 0);
    return socket;
}

inline void sendAll(NativeSocket socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const platform::TransferResult sent = platform::sendBytes(socket, bytes.data(), bytes.size());
        ASSERT_TRUE(sent.count > 0 || sent.error == platform::kErrorWouldBlock) << sent.error;
        bytes.remove_prefix(sent.count > 0 ? static_cast<std::size_t>(sent.count) : 0);
    }
}

/// What one receive that does not have to wait any more answers.
inline platform::TransferResult receiveOnce(NativeSocket socket, std::string& bytes) {
    std::array<char, 4096> buffer{};
    platform::TransferResult received;
    EXPECT_TRUE(eventually([&] {
        received = platform::receiveBytes(socket, buffer.data(), buffer.size());
        return received.error != platform::kErrorWouldBlock;
    }));
    if (received.count > 0) {
        bytes.append(buffer.data(), static_cast<std::size_t>(received.count));
    }
    return received;
}

/// Closes with an answer of "reset" to the peer: bytes that nobody read make it so.
inline void resetPeer(OwnedSocket& socket, NativeSocket peer) {
    sendAll(peer, "never read");
    std::string first;
    std::array<char, 1> byte{};
    ASSERT_TRUE(eventually([&] { return platform::receiveBytes(socket, byte.data(), byte.size()).count == 1; }));
    socket.close();
}

/// The events of one enumeration; -1 when it fails.
inline long enumerated(NativeSocket socket, void* event, int* connectError = nullptr, int* closeError = nullptr) {
    WSANETWORKEVENTS events{};
    if (platform::enumerateSocketEvents(socket, event, events) != 0) {
        return -1;
    }
    if (connectError != nullptr) {
        *connectError = events.iErrorCode[4];
    }
    if (closeError != nullptr) {
        *closeError = events.iErrorCode[5];
    }
    return events.lNetworkEvents;
}

/// Waits until the event object is signalled and enumerates it.
inline long nextEvents(NativeSocket socket, void* event, int* connectError = nullptr, int* closeError = nullptr) {
    void* const events[] = {event};
    EXPECT_EQ(platform::waitForSocketEvents(events, 1, 5000), 0) << "nothing happened";
    return enumerated(socket, event, connectError, closeError);
}

inline bool isSilent(void* event) {
    void* const events[] = {event};
    return platform::waitForSocketEvents(events, 1, 0) == -1;
}
