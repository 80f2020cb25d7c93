// tests/contract/loopback.h: sockets on the loopback network for the contract suites, real or scripted.
#pragma once
#include "sharedlib/platform/event_set.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include "tests/support/pump.h"
#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline constexpr std::uint32_t kLoopbackIp = 0x7F000001;
inline constexpr int kErrorNotSocket = 10038;
inline constexpr int kErrorInvalid = 10022;
inline constexpr int kErrorRefused = 10061;
inline constexpr long kStream = platform::kEventRead | platform::kEventWrite | platform::kEventClose;
inline constexpr long kOutgoing = kStream | platform::kEventConnect;

/// Asks again until `done` is true, for at most five seconds.
template <typename Done>
[[nodiscard]] bool eventually(Done&& done) {
    return pumpUntil([] {}, done);
}

/// Something that is closed at the end, unless it was before.
template <typename Handle, Handle kNone, void (*kClose)(Handle)>
class Owned {
public:
    Owned() = default;
    explicit Owned(Handle handle) : m_handle(handle) { EXPECT_NE(handle, kNone); }
    Owned(Owned&& other) noexcept : m_handle(std::exchange(other.m_handle, kNone)) {}
    Owned& operator=(Owned&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~Owned() { close(); }
    void close() {
        if (m_handle != kNone) {
            kClose(std::exchange(m_handle, kNone));
        }
    }
    operator Handle() const { return m_handle; }

private:
    Handle m_handle = kNone;
};
using OwnedSocket = Owned<NativeSocket, kInvalidSocket, platform::closeSocket>;
using OwnedEvent = Owned<void*, nullptr, platform::closeSocketEvent>;
using OwnedSet = Owned<platform::EventSet*, nullptr, platform::destroyEventSet>;

inline OwnedSocket openOf(platform::SocketKind kind, bool blocking = false) {
    OwnedSocket socket(platform::openSocket(kind).socket);
    EXPECT_EQ(platform::setSocketBlocking(socket, blocking), 0);
    return socket;
}

inline OwnedSocket bindTo(platform::SocketKind kind, std::uint16_t port = 0) {
    OwnedSocket socket = openOf(kind);
    EXPECT_EQ(platform::bindSocket(socket, {kLoopbackIp, port}), 0);
    return socket;
}

inline OwnedSocket bindDatagram() {
    return bindTo(platform::SocketKind::Datagram);
}

inline std::uint16_t portOf(NativeSocket socket) {
    platform::Endpoint local;
    EXPECT_EQ(platform::getLocalEndpoint(socket, local), 0);
    return local.port;
}

inline OwnedSocket listenOnLoopback(std::uint16_t port = 0) {
    OwnedSocket listener = openOf(platform::SocketKind::Stream);
    EXPECT_EQ(platform::setAddressReuse(listener), 0);
    EXPECT_EQ(platform::bindSocket(listener, {kLoopbackIp, port}), 0);
    EXPECT_EQ(platform::listenOnSocket(listener, 100), 0);
    return listener;
}

/// Starts to connect to the port of `target`; the attempt may have ended when this returns.
inline OwnedSocket startConnecting(NativeSocket target) {
    OwnedSocket socket = openOf(platform::SocketKind::Stream);
    EXPECT_EQ(platform::connectSocket(socket, {kLoopbackIp, portOf(target)}), platform::kErrorWouldBlock);
    return socket;
}

/// How the attempt of `socket` to connect ends.
inline platform::ConnectProgress endOfConnect(NativeSocket socket) {
    platform::ConnectProgress progress;
    EXPECT_TRUE(eventually([&] {
        progress = platform::pollConnect(socket);
        return progress.writable || progress.failed || progress.error != 0;
    }));
    return progress;
}

inline OwnedSocket acceptOne(NativeSocket listener) {
    platform::AcceptResult result;
    EXPECT_TRUE(eventually([&] { return (result = platform::acceptSocket(listener)).error == 0; }));
    return OwnedSocket(result.socket);
}

/// Two ends of a standing connection, both non-blocking.
struct SocketPair {
    OwnedSocket listener = listenOnLoopback();
    OwnedSocket client = startConnecting(listener);
    OwnedSocket server = acceptOne(listener);
};

inline void sendAll(NativeSocket socket, std::string_view bytes) {
    EXPECT_EQ(platform::sendBytes(socket, bytes.data(), bytes.size()).count, static_cast<int>(bytes.size()));
}

/// Sends a datagram of one byte to the port of `target`.
inline void poke(NativeSocket sender, NativeSocket target) {
    EXPECT_EQ(platform::sendDatagram(sender, "x", 1, {kLoopbackIp, portOf(target)}).count, 1);
}

/// What the first receive of at most `capacity` bytes answers that does not have to wait; collects the bytes.
inline platform::TransferResult receiveOnce(NativeSocket socket, std::string& bytes, std::size_t capacity = 4096) {
    std::vector<char> buffer(capacity);
    platform::TransferResult received;
    EXPECT_TRUE(eventually([&] {
        received = platform::receiveBytes(socket, buffer.data(), capacity);
        return received.error != platform::kErrorWouldBlock;
    }));
    bytes.append(buffer.data(), static_cast<std::size_t>(std::max(received.count, 0)));
    return received;
}

/// Closes with an answer of "reset" to the peer: bytes that nobody read make it so.
inline void resetPeer(OwnedSocket& socket, NativeSocket peer) {
    sendAll(peer, "never read");
    std::string first;
    EXPECT_EQ(receiveOnce(socket, first, 1).count, 1);
    socket.close();
    EXPECT_TRUE(endOfConnect(peer).failed || eventually([&] { return platform::pollConnect(peer).failed; }));
}

inline OwnedEvent eventFor(NativeSocket socket, long mask) {
    OwnedEvent event(platform::createSocketEvent());
    EXPECT_EQ(platform::selectSocketEvents(socket, event, mask), 0);
    return event;
}

/// A datagram socket and its event object.
struct Readable {
    OwnedSocket socket = bindDatagram();
    OwnedEvent event = eventFor(socket, platform::kEventRead);
};

/// The events of one enumeration; -1 when it fails.
inline long enumerated(NativeSocket socket, void* event, WSANETWORKEVENTS* details = nullptr) {
    WSANETWORKEVENTS events{};
    const bool worked = platform::enumerateSocketEvents(socket, event, events) == 0;
    if (details != nullptr) {
        *details = events;
    }
    return worked ? events.lNetworkEvents : -1;
}

inline bool isSilent(void* event, unsigned long timeoutMs = 0) {
    return platform::waitForSocketEvents(&event, 1, timeoutMs) == -1;
}

/// Waits until the event object is signalled and enumerates it.
inline long nextEvents(NativeSocket socket, void* event, WSANETWORKEVENTS* details = nullptr) {
    EXPECT_FALSE(isSilent(event, 5000));
    return enumerated(socket, event, details);
}
