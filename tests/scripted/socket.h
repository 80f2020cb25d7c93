// tests/scripted/socket.h: a network whose answers the test writes down, in place of the system's sockets.
//
// Link network.cpp, socket.cpp, socket_event.cpp and event_set.cpp of this folder instead of the system's sources,
// always all four. Every test starts with an empty network. Calls that only set a socket up succeed by themselves,
// unless an `on...` answer says otherwise. Calls whose result the network decides (connect, pollConnect, send,
// sendDatagram) need an answer: without one they fail the test and report error 10022. Receiving hands out what was
// delivered and would block when nothing is left. When a test ends, answers that nobody asked for and sockets that
// nobody closed fail it. Answers hold for the next call of their function, on whatever socket, in the order in which
// they were written. One thread.
#pragma once
#include "sharedlib/platform/socket.h"
#include <climits>
#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace scripted {

/// What one send or receive does: moves at most `count` bytes, or fails with `error`.
struct Transfer {
    int count = 0;
    int error = 0;
};

inline constexpr Transfer wouldBlock{-1, platform::kErrorWouldBlock};
inline constexpr Transfer takesAll{INT_MAX, 0};

constexpr Transfer failsWith(int error) {
    return {-1, error};
}

/// A datagram and the other side of its way: where it came from, or where it was sent to.
struct Packet {
    platform::Endpoint peer;
    std::string bytes;
};

/// One call of a platform function, by name; `value` is its size, port, flag or backlog.
struct Call {
    std::string function;
    NativeSocket socket = kInvalidSocket;
    long value = 0;
};

/// What the network knows of one open socket.
struct Socket {
    enum class Stand { Fresh, Connecting, Connected, Failed };

    platform::SocketKind kind = platform::SocketKind::Stream;
    Stand stand = Stand::Fresh;
    bool blocking = true;
    bool bound = false;
    bool listening = false;
    bool reuse = false;
    platform::Endpoint local;
    platform::Endpoint peer;
    int connectError = 0;
    /// Pieces that have arrived; one receive never takes bytes of two pieces.
    std::deque<std::string> inbound;
    bool peerClosed = false;
    int peerError = 0;
    bool sendClosed = false;
    std::deque<Packet> packets;
    std::deque<NativeSocket> backlog;
    /// The other end, when both are sockets of this network.
    NativeSocket partner = kInvalidSocket;
};

class Net {
public:
    // Answers. `error` 0 is success.
    Net& onOpen(int error);
    Net& onSetBlocking(int error);
    Net& onBind(int error);
    Net& onGetLocalEndpoint(int error);
    Net& onListen(int error);
    /// 10035 leaves the socket connecting until `finishConnect`.
    Net& onConnect(int error);
    Net& onPollConnect(platform::ConnectProgress progress);
    /// An error in place of the next pending connection; 0 lets one accept go its normal way.
    Net& onAccept(int error);
    /// `count` caps the bytes that the next receive takes from what was delivered; count 0 is the end of the stream.
    Net& onReceive(Transfer transfer);
    Net& onSend(Transfer transfer);
    /// From now on sends without an answer of their own take everything.
    Net& sendsTakeAll();
    Net& onReceiveDatagram(int error);
    Net& onSendDatagram(int error);
    Net& datagramsAreTaken();

    // The other side's deeds.
    /// `chunk` above 0 cuts the bytes into pieces of that size, each for a receive of its own.
    void deliver(NativeSocket socket, std::string_view bytes, std::size_t chunk = 0);
    void deliverDatagram(NativeSocket socket, platform::Endpoint sender, std::string_view bytes);
    /// The peer closes after everything delivered so far.
    void closePeer(NativeSocket socket);
    /// The connection breaks with `error` after everything delivered so far.
    void breakPeer(NativeSocket socket, int error = platform::kErrorConnectionReset);
    /// Ends a connection attempt.
    void finishConnect(NativeSocket socket, int error = 0);
    /// A connection for `listener` to accept; gives the socket that accept will answer.
    NativeSocket connectTo(NativeSocket listener, platform::Endpoint peer);
    /// A standing stream as accept gives it. The caller's to close, or to give to a connection.
    NativeSocket openConnected(platform::Endpoint peer);
    /// Sockets of this network reach each other and nobody else, without any answer written.
    void beLoopback() { m_loopback = true; }

    // What happened.
    /// Bytes that sends on `socket` took, also after it was closed.
    const std::string& sent(NativeSocket socket) { return m_sent[socket]; }
    const std::vector<Packet>& sentDatagrams(NativeSocket socket) { return m_sentPackets[socket]; }
    const std::vector<Call>& calls() const { return m_calls; }
    int callCount(std::string_view function) const;
    /// The socket opened last, by whomever.
    NativeSocket lastOpened() const { return m_lastOpened; }
    bool isOpen(NativeSocket socket) const { return m_sockets.contains(socket); }
    std::size_t openCount() const { return m_sockets.size(); }
    /// The test leaves sockets open on purpose.
    void allowLeaks() { m_leaksAllowed = true; }

    // For the second implementation itself.
    void begin(bool isContract);
    void end();
    Socket* find(NativeSocket socket);
    NativeSocket add(platform::SocketKind kind);
    void remove(NativeSocket socket);
    void record(const char* function, NativeSocket socket, long value = 0);
    /// Takes the next answer for `function`; false when there is none.
    bool takeAnswer(const char* function, Transfer& answer);
    /// Fails the test for a call that needs an answer.
    void unscripted(const char* function);
    bool takeProgress(platform::ConnectProgress& progress);
    bool isLoopback() const { return m_loopback; }
    bool takesAllSends() const { return m_sendsTakeAll; }
    bool takesAllDatagrams() const { return m_datagramsTaken; }
    bool endpointTaken(platform::SocketKind kind, std::uint16_t port, bool reuse) const;
    NativeSocket socketAt(platform::SocketKind kind, std::uint16_t port) const;
    std::uint16_t freePort() { return m_nextPort++; }
    void noteSent(NativeSocket socket, std::string_view bytes) { m_sent[socket] += bytes; }
    void noteSentDatagram(NativeSocket socket, Packet packet) { m_sentPackets[socket].push_back(std::move(packet)); }

private:
    Net& answer(const char* function, Transfer transfer);

    std::map<NativeSocket, Socket> m_sockets;
    std::map<std::string, std::deque<Transfer>, std::less<>> m_answers;
    std::deque<platform::ConnectProgress> m_progress;
    std::map<NativeSocket, std::string> m_sent;
    std::map<NativeSocket, std::vector<Packet>> m_sentPackets;
    std::vector<Call> m_calls;
    NativeSocket m_next = 5000;
    NativeSocket m_lastOpened = kInvalidSocket;
    std::uint16_t m_nextPort = 40000;
    bool m_loopback = false;
    bool m_sendsTakeAll = false;
    bool m_datagramsTaken = false;
    bool m_leaksAllowed = false;
};

/// The network of the running test.
Net& net();

} // namespace scripted
