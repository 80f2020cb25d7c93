// tests/scripted/socket.h: a network whose answers the test writes down, in place of the system's sockets.
//
// Link network.cpp, socket.cpp, socket_event.cpp and event_set.cpp of this folder instead of the system's sources,
// always all four. Every test starts with an empty network. Calls that only set a socket up succeed by themselves,
// unless an `on...` answer says otherwise. Calls whose result the network decides (connect, send, sendDatagram) need an
// answer: without one they fail the test and report error 10022. Receiving hands out what was delivered and would block
// when nothing is left. When a test ends, answers that nobody asked for and sockets that nobody closed fail it. Answers
// hold for the next call of their function, on whatever socket, in the order in which they were written. One thread.
#pragma once
#include "sharedlib/platform/socket.h"
#include <climits>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace scripted {

/// What one call does: moves at most `count` bytes, or fails with `error`.
struct Transfer {
    int count = 0;
    int error = 0;
};

inline constexpr Transfer wouldBlock{-1, platform::kErrorWouldBlock};
inline constexpr Transfer takesAll{INT_MAX, 0};
constexpr Transfer failsWith(int error) {
    return {-1, error};
}

/// One call of a platform function, by name; `value` is its size, port, flag or backlog.
struct Call {
    std::string function;
    NativeSocket socket;
    long value;
};

struct Packet {
    platform::Endpoint sender;
    std::string bytes;
};

/// What the network knows of one open socket.
struct Socket {
    enum class Attempt { None, Pending, Over };

    platform::SocketKind kind = platform::SocketKind::Stream;
    bool blocking = true;
    bool bound = false;
    bool listening = false;
    bool reuse = false;
    platform::Endpoint local;
    platform::Endpoint peer;
    Attempt attempt = Attempt::None;
    int connectError = 0;
    /// Pieces that have arrived; one receive never takes bytes of two pieces.
    std::deque<std::string> inbound;
    std::deque<Packet> packets;
    std::deque<NativeSocket> backlog;
    bool peerClosed = false;
    int peerError = 0;
    /// The other end, when both are sockets of this network.
    NativeSocket partner = kInvalidSocket;
};

class Net {
public:
    // Answers. `error` 0 is success.
    Net& onOpen(int error) { return answer("openSocket", {0, error}); }
    Net& onSetBlocking(int error) { return answer("setSocketBlocking", {0, error}); }
    Net& onBind(int error) { return answer("bindSocket", {0, error}); }
    Net& onGetLocalEndpoint(int error) { return answer("getLocalEndpoint", {0, error}); }
    Net& onListen(int error) { return answer("listenOnSocket", {0, error}); }
    /// 10035 leaves the socket connecting until `finishConnect`.
    Net& onConnect(int error) { return answer("connectSocket", {0, error}); }
    Net& onPollConnect(platform::ConnectProgress progress);
    /// An error in place of the next pending connection; 0 lets one accept go its normal way.
    Net& onAccept(int error) { return answer("acceptSocket", {0, error}); }
    Net& onSend(Transfer transfer) { return answer("sendBytes", transfer); }
    Net& onReceiveDatagram(int error) { return answer("receiveDatagram", {0, error}); }
    Net& onSendDatagram(int error) { return answer("sendDatagram", {0, error}); }
    /// From now on sends without an answer of their own take everything.
    void sendsTakeAll() { m_sendsTakeAll = true; }
    /// Sockets of this network reach each other and nobody else, without any answer written.
    void beLoopback() { m_loopback = true; }

    // The other side's deeds. The socket is open, or the call throws.
    /// `chunk` above 0 cuts the bytes into pieces of that size, each for a receive of its own.
    void deliver(NativeSocket socket, std::string_view bytes, std::size_t chunk = 0);
    void deliverDatagram(NativeSocket socket, platform::Endpoint sender, std::string_view bytes);
    /// The peer closes after everything delivered so far.
    void closePeer(NativeSocket socket) { breakPeer(socket, 0); }
    /// The connection breaks with `error` after everything delivered so far.
    void breakPeer(NativeSocket socket, int error);
    /// Ends a connection attempt.
    void finishConnect(NativeSocket socket, int error = 0);
    /// A connection for `listener` to accept; gives the socket that accept will answer.
    NativeSocket connectTo(NativeSocket listener, platform::Endpoint peer);
    /// A standing stream as accept gives it. The caller's to close, or to give to a connection.
    NativeSocket openConnected(platform::Endpoint peer);

    // What happened.
    /// Bytes that sends on `socket` took, also after it was closed.
    std::string& sent(NativeSocket socket) { return m_sent[socket]; }
    const std::vector<Call>& calls() const { return m_calls; }
    int callCount(std::string_view function) const;
    /// The socket opened last, by whomever.
    NativeSocket lastOpened() const { return m_next - 1; }
    bool isOpen(NativeSocket socket) const { return m_sockets.contains(socket); }
    std::size_t openCount() const { return m_sockets.size(); }
    /// The test leaves sockets open on purpose.
    void allowLeaks() { m_leaksAllowed = true; }

    // For the second implementation itself.
    void end();
    /// The open socket, or null.
    Socket* find(NativeSocket socket);
    NativeSocket add(platform::SocketKind kind);
    void remove(NativeSocket socket);
    /// Notes a call and takes the next answer written for it.
    std::optional<Transfer> called(const char* function, NativeSocket socket, long value = 0);
    /// Fails the test for a call that needs an answer, and gives it one.
    Transfer unscripted(const char* function) const;
    bool isLoopback() const { return m_loopback; }
    bool takesAllSends() const { return m_loopback || m_sendsTakeAll; }
    bool isPortTaken(const Socket& socket, std::uint16_t port) const;
    NativeSocket socketAt(platform::SocketKind kind, std::uint16_t port) const;
    std::uint16_t freePort() { return m_nextPort++; }

private:
    Net& answer(const char* function, Transfer transfer);

    std::map<NativeSocket, Socket> m_sockets;
    std::map<std::string, std::deque<Transfer>, std::less<>> m_answers;
    std::map<NativeSocket, std::string> m_sent;
    std::vector<Call> m_calls;
    NativeSocket m_next = 5000;
    std::uint16_t m_nextPort = 40000;
    bool m_loopback = false;
    bool m_sendsTakeAll = false;
    bool m_leaksAllowed = false;
};

/// The network of the running test.
Net& net();

} // namespace scripted
