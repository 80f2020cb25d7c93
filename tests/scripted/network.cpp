// tests/scripted/network.cpp: what the scripted network knows and remembers.
#include "tests/scripted/per_test.h"
#include "tests/scripted/socket.h"
#include <algorithm>
#include <gtest/gtest.h>

namespace scripted {
namespace {

const PerTest kPerTest(
    [](bool isContract) {
        net() = Net();
        if (isContract) {
            net().beLoopback();
        }
    },
    [] { net().end(); });

} // namespace

Net& net() {
    static Net network;
    return network;
}

Net& Net::answer(const char* function, Transfer transfer) {
    m_answers[function].push_back(transfer);
    return *this;
}

Net& Net::onPollConnect(platform::ConnectProgress progress) {
    return answer("pollConnect", {(progress.writable ? 1 : 0) + (progress.failed ? 2 : 0), progress.error});
}

void Net::deliver(NativeSocket socket, std::string_view bytes, std::size_t chunk) {
    Socket& target = m_sockets.at(socket);
    const std::size_t step = chunk == 0 ? std::max<std::size_t>(bytes.size(), 1) : chunk;
    for (std::size_t at = 0; at < bytes.size(); at += step) {
        target.inbound.emplace_back(bytes.substr(at, step));
    }
}

void Net::deliverDatagram(NativeSocket socket, platform::Endpoint sender, std::string_view bytes) {
    m_sockets.at(socket).packets.push_back({sender, std::string(bytes)});
}

void Net::breakPeer(NativeSocket socket, int error) {
    m_sockets.at(socket).peerClosed = true;
    m_sockets.at(socket).peerError = error;
}

void Net::finishConnect(NativeSocket socket, int error) {
    m_sockets.at(socket).attempt = Socket::Attempt::Over;
    m_sockets.at(socket).connectError = error;
}

NativeSocket Net::openConnected(platform::Endpoint peer) {
    const NativeSocket socket = add(platform::SocketKind::Stream);
    finishConnect(socket);
    m_sockets.at(socket).peer = peer;
    return socket;
}

NativeSocket Net::connectTo(NativeSocket listener, platform::Endpoint peer) {
    const NativeSocket socket = openConnected(peer);
    m_sockets.at(socket).blocking = false;
    m_sockets.at(listener).backlog.push_back(socket);
    return socket;
}

int Net::callCount(std::string_view function) const {
    return static_cast<int>(
        std::count_if(m_calls.begin(), m_calls.end(), [=](const Call& call) { return call.function == function; }));
}

void Net::end() {
    for (const auto& [function, answers] : m_answers) {
        EXPECT_TRUE(answers.empty()) << answers.size() << " scripted answers of " << function << " were not asked for";
    }
    for (const auto& [number, socket] : m_sockets) {
        EXPECT_TRUE(m_leaksAllowed) << "socket " << number << " was not closed";
    }
}

Socket* Net::find(NativeSocket socket) {
    const auto found = m_sockets.find(socket);
    return found == m_sockets.end() ? nullptr : &found->second;
}

NativeSocket Net::add(platform::SocketKind kind) {
    m_sockets[m_next].kind = kind;
    return m_next++;
}

void Net::remove(NativeSocket socket) {
    const auto closed = m_sockets.extract(socket);
    for (const NativeSocket pending : closed.mapped().backlog) {
        remove(pending);
    }
    if (Socket* const partner = find(closed.mapped().partner)) {
        partner->partner = kInvalidSocket;
        // Bytes that nobody read turn the close into a reset.
        partner->peerError = closed.mapped().inbound.empty() ? 0 : platform::kErrorConnectionReset;
        partner->peerClosed = true;
    }
}

std::optional<Transfer> Net::called(const char* function, NativeSocket socket, long value) {
    m_calls.push_back({function, socket, value});
    std::deque<Transfer>& answers = m_answers[function];
    if (answers.empty()) {
        return std::nullopt;
    }
    const Transfer next = answers.front();
    answers.pop_front();
    return next;
}

Transfer Net::unscripted(const char* function) const {
    ADD_FAILURE() << "call number " << callCount(function) << " of " << function << " has no scripted answer";
    return failsWith(10022);
}

NativeSocket Net::socketAt(platform::SocketKind kind, std::uint16_t port) const {
    const auto found = std::find_if(m_sockets.begin(), m_sockets.end(), [=](const auto& entry) {
        const Socket& socket = entry.second;
        const bool reachable = kind == platform::SocketKind::Datagram ? socket.bound : socket.listening;
        return socket.kind == kind && reachable && socket.local.port == port;
    });
    return found == m_sockets.end() ? kInvalidSocket : found->first;
}

bool Net::isPortTaken(const Socket& socket, std::uint16_t port) const {
    return std::any_of(m_sockets.begin(), m_sockets.end(), [&](const auto& entry) {
        const Socket& other = entry.second;
        const bool shares = socket.reuse && other.reuse && !other.listening;
        return other.bound && other.kind == socket.kind && other.local.port == port && !shares;
    });
}

} // namespace scripted
