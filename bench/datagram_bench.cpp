// bench/datagram_bench.cpp: small messages from one process to another, many to a UDP datagram.
//
// Who sends too fast for UDP loses datagrams, so every row is paced the same way: the receiver grants a window of
// messages over a stream, and the sender may be so many ahead.
#include "bench/bench_peer.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/event_wait.h"
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstring>
#include <enet/enet.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr unsigned long kLoopback = 0x7F000001;
constexpr std::size_t kBodySize = 32;
constexpr std::size_t kDatagramSize = 1024;
constexpr std::size_t kHeaderSize = 2;
constexpr std::int64_t kPerDatagram = kDatagramSize / (kBodySize + kHeaderSize);
// A read event of the library takes 50 datagrams, and the system's receive buffer holds more than that.
constexpr std::int64_t kDatagramsAhead = 48;
constexpr std::int64_t kDatagramsPerGrant = kDatagramsAhead / 2;
constexpr std::int64_t kDatagrams = kDatagramsPerGrant * 2500;
constexpr std::int64_t kMessages = kDatagrams * kPerDatagram;

/// The receiver's end of the pacing: one byte for each `kDatagramsPerGrant` datagrams' worth of messages.
class Granter {
public:
    explicit Granter(int stream) : m_stream(stream) {}
    void received(std::int64_t messages) {
        for (; messages - m_granted >= kDatagramsPerGrant * kPerDatagram;
             m_granted += kDatagramsPerGrant * kPerDatagram) {
            send(m_stream, "+", 1, MSG_NOSIGNAL);
        }
    }

private:
    int m_stream;
    std::int64_t m_granted = 0;
};

/// The sender's end.
class Pacer {
public:
    explicit Pacer(int stream) : m_stream(stream) {}
    /// Waits until datagram number `index` may leave. False when the receiver has gone.
    bool mayLeave(std::int64_t index) {
        while (index >= m_acknowledged + kDatagramsAhead) {
            if (!takeGrants()) {
                return false;
            }
        }
        return true;
    }

private:
    bool takeGrants() {
        char grants[kDatagramsAhead];
        awaitReadable(m_stream);
        const ssize_t count = recv(m_stream, grants, sizeof grants, 0);
        m_acknowledged += count > 0 ? count * kDatagramsPerGrant : 0;
        return count > 0;
    }

    int m_stream;
    std::int64_t m_acknowledged = 0;
};

void tellPort(int stream, std::uint16_t port) {
    send(stream, &port, sizeof port, MSG_NOSIGNAL);
}

void receiveWithSharedLib(int stream) {
    CountingHandler handler;
    CConnection connection;
    connection.SetMessageHandler(&handler);
    connection.InitDatagramListen(0);
    EventPoller poller;
    poller.add(connection.GetEventHandle(), nullptr);
    tellPort(stream, connection.GetLocalPort());
    Granter granter(stream);
    void* user = nullptr;
    while (handler.messages < kMessages) {
        if (poller.wait(&user, 1, 1000) > 0) {
            connection.HandleEvent();
        }
        granter.received(handler.messages);
    }
}

void sendWithSharedLib(int stream, std::uint16_t port) {
    const CCharVector body(kBodySize, 'x');
    CConnection connection;
    connection.InitDatagramListen(0);
    Pacer pacer(stream);
    CCharVectorList batch;
    batch.reserve(kPerDatagram);
    for (std::int64_t datagram = 0; datagram < kDatagrams && pacer.mayLeave(datagram); ++datagram) {
        batch.resize(kPerDatagram, body);
        while (connection.SendMultiMsg(&batch, kLoopback, port)) {
        }
    }
}

/// A plain UDP socket on loopback and its port.
struct PlainDatagramSocket {
    int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    std::uint16_t port = 0;

    PlainDatagramSocket() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        bind(descriptor, reinterpret_cast<const sockaddr*>(&address), length);
        getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
    }
    ~PlainDatagramSocket() { close(descriptor); }
    PlainDatagramSocket(const PlainDatagramSocket&) = delete;
    PlainDatagramSocket& operator=(const PlainDatagramSocket&) = delete;
};

void receivePlain(int stream) {
    const PlainDatagramSocket from;
    tellPort(stream, from.port);
    Granter granter(stream);
    PlainReader reader(kDatagramSize * 2);
    while (reader.messages < kMessages) {
        awaitReadable(from.descriptor);
        sockaddr_in sender{};
        socklen_t length = sizeof sender;
        for (ssize_t count = 0; (count = recvfrom(from.descriptor, reader.space(), reader.spaceSize(), 0,
                                                  reinterpret_cast<sockaddr*>(&sender), &length)) > 0;) {
            reader.received(static_cast<std::size_t>(count));
        }
        granter.received(reader.messages);
    }
}

void sendPlain(int stream, std::uint16_t port) {
    const PlainDatagramSocket to;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const std::string body(kBodySize, 'x');
    Pacer pacer(stream);
    char packet[kDatagramSize];
    for (std::int64_t datagram = 0; datagram < kDatagrams && pacer.mayLeave(datagram); ++datagram) {
        std::size_t used = 0;
        for (std::int64_t message = 0; message < kPerDatagram; ++message) {
            const auto size = static_cast<std::uint16_t>(body.size());
            std::memcpy(packet + used, &size, sizeof size);
            std::memcpy(packet + used + sizeof size, body.data(), body.size());
            used += sizeof size + body.size();
        }
        sendto(to.descriptor, packet, used, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
}

// The other library's own packing and numbering, without retransmission, which the others have not either.
void receiveWithEnet(int stream) {
    enet_initialize();
    ENetAddress address{};
    enet_address_set_host_ip(&address, "127.0.0.1");
    ENetHost* const host = enet_host_create(&address, 1, 1, 0, 0);
    enet_socket_get_address(host->socket, &address);
    tellPort(stream, address.port);
    Granter granter(stream);
    std::int64_t sum = 0;
    ENetEvent event;
    for (std::int64_t messages = 0; messages < kMessages;) {
        if (enet_host_service(host, &event, 1000) > 0) {
            do {
                if (event.type == ENET_EVENT_TYPE_RECEIVE) {
                    sum += *event.packet->data;
                    ++messages;
                    enet_packet_destroy(event.packet);
                }
            } while (enet_host_check_events(host, &event) > 0);
        }
        granter.received(messages);
    }
    benchmark::DoNotOptimize(sum);
    enet_host_destroy(host);
}

ENetPeer* connectEnet(ENetHost* host, std::uint16_t port) {
    ENetAddress address{};
    enet_address_set_host_ip(&address, "127.0.0.1");
    address.port = port;
    ENetPeer* const peer = enet_host_connect(host, &address, 1, 0);
    ENetEvent event;
    while (enet_host_service(host, &event, 1000) <= 0 || event.type != ENET_EVENT_TYPE_CONNECT) {
    }
    // It would drop unreliable packets by itself when the round trips grow.
    enet_peer_throttle_configure(peer, 1000, ENET_PEER_PACKET_THROTTLE_SCALE, 0);
    return peer;
}

void sendWithEnet(int stream, std::uint16_t port) {
    enet_initialize();
    ENetHost* const host = enet_host_create(nullptr, 1, 1, 0, 0);
    ENetPeer* const peer = connectEnet(host, port);
    peer->mtu = kDatagramSize;
    const std::string body(kBodySize, 'x');
    Pacer pacer(stream);
    ENetEvent event;
    for (std::int64_t datagram = 0; datagram < kDatagrams && pacer.mayLeave(datagram); ++datagram) {
        for (std::int64_t message = 0; message < kPerDatagram; ++message) {
            enet_peer_send(peer, 0, enet_packet_create(body.data(), body.size(), ENET_PACKET_FLAG_UNSEQUENCED));
        }
        enet_host_service(host, &event, 0);
    }
    enet_host_flush(host);
    // The receiver closes the stream when it has seen everything.
    pacer.mayLeave(kDatagrams + kDatagramsAhead);
    enet_host_destroy(host);
}

template <typename Send, typename Receive>
void datagrams(benchmark::State& state, Send sendAll, Receive receiveAll) {
    for (auto _ : state) {
        const PlainListener listener;
        const SecondProcess receiver([&] {
            const int stream = connectPlain(listener.port);
            receiveAll(stream);
            close(stream);
        });
        awaitReadable(listener.descriptor);
        const int stream = listener.accept();
        std::uint16_t port = 0;
        awaitReadable(stream);
        if (recv(stream, &port, sizeof port, 0) != sizeof port) {
            state.SkipWithError("the receiver told no port");
        }
        const auto start = std::chrono::steady_clock::now();
        sendAll(stream, port);
        // All grants, then the end of the stream: everything has arrived.
        for (ssize_t count = 1; count > 0;) {
            char grants[kDatagramsAhead];
            awaitReadable(stream);
            count = recv(stream, grants, sizeof grants, 0);
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        close(stream);
        state.SetIterationTime(took.count() / static_cast<double>(kMessages));
    }
}

BENCHMARK_CAPTURE(datagrams, ours, sendWithSharedLib, receiveWithSharedLib)
    ->Name("datagram/ours")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(datagrams, bare, sendPlain, receivePlain)
    ->Name("datagram/bare sockets")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(datagrams, enet, sendWithEnet, receiveWithEnet)
    ->Name("datagram/ENet")
    ->UseManualTime()
    ->Iterations(1);

} // namespace
