// tests/scripted/network.cpp: what the scripted network knows and remembers.
#include "tests/scripted/per_test.h"
#include "tests/scripted/socket.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <utility>

namespace scripted {
namespace {

std::unique_ptr<Net>& current() {
    static auto network = std::make_unique<Net>();
    return network;
}

const PerTest kPerTest(
    [](bool isContract) {
        current() = std::make_unique<Net>();
        if (isContract) {
            net().beLoopback();
        }
    },
    [] { net().end(); });

} // namespace

Net& net() {
    return *current();
}

Net& Net::answer(const char* function, Transfer transfer) {
    m_answers[function].push_back(transfer);
    return *this;
}

Net& Net::onOpen(int error) {
    return answer("openSocket", {0, error});
}
Net& Net::onSetBlocking(int error) {
    return answer("setSocketBlocking", {0, error});
}
Net& Net::onBind(int error) {
    return answer("bindSocket", {0, error});
}
Net& Net::onGetLocalEndpoint(int error) {
    return answer("getLocalEndpoint", {0, error});
}
Net& Net::onListen(int error) {
    return answer("listenOnSocket", {0, error});
}
Net& Net::onConnect(int error) {
    return answer("connectSocket", {0, error});
}
Net& Net::onPollConnect(platform::ConnectProgress progress) {
    m_progress.push_back(progress);
    return *this;
}
Net& Net::onAccept(int error) {
    return answer("acceptSocket", {0, error});
}
Net& Net::onReceive(Transfer transfer) {
    return answer("receiveBytes", transfer);
}
Net& Net::onSend(Transfer transfer) {
    return answer("sendBytes", transfer);
}
Net& Net::sendsTakeAll() {
    m_sendsTakeAll = true;
    return *this;
}
Net& Net::onReceiveDatagram(int error) {
    return answer("receiveDatagram", {0, error});
}
Net& Net::onSendDatagram(int error) {
    return answer("sendDatagram", {0, error});
}
Net& Net::datagramsAreTaken() {
    m_datagramsTaken = true;
    return *this;
}

void Net::deliver(NativeSocket socket, std::string_view bytes, std::size_t chunk) {
    Socket* const target = find(socket);
    ASSERT_NE(target, nullptr) << "delivery to socket " << socket << ", which is not open";
    const std::size_t step = chunk == 0 ? std::max<std::size_t>(bytes.size(), 1) : chunk;
    for (std::size_t at = 0; at < bytes.size(); at += step) {
        target->inbound.emplace_back(bytes.substr(at, step));
    }
}

void Net::deliverDatagram(NativeSocket socket, platform::Endpoint sender, std::string_view bytes) {
    Socket* const target = find(socket);
    ASSERT_NE(target, nullptr) << "datagram to socket " << socket << ", which is not open";
    target->packets.push_back({sender, std::string(bytes)});
}

void Net::closePeer(NativeSocket socket) {
    breakPeer(socket, 0);
}

void Net::breakPeer(NativeSocket socket, int error) {
    Socket* const target = find(socket);
    ASSERT_NE(target, nullptr) << "close of socket " << socket << ", which is not open";
    target->peerClosed = true;
    target->peerError = error;
}

void Net::finishConnect(NativeSocket socket, int error) {
    Socket* const target = find(socket);
    ASSERT_NE(target, nullptr) << "connect of socket " << socket << ", which is not open";
    target->stand = error == 0 ? Socket::Stand::Connected : Socket::Stand::Failed;
    target->connectError = error;
}

NativeSocket Net::openConnected(platform::Endpoint peer) {
    const NativeSocket socket = add(platform::SocketKind::Stream);
    Socket& opened = *find(socket);
    opened.stand = Socket::Stand::Connected;
    opened.peer = peer;
    return socket;
}

NativeSocket Net::connectTo(NativeSocket listener, platform::Endpoint peer) {
    const NativeSocket socket = openConnected(peer);
    find(socket)->blocking = false;
    find(listener)->backlog.push_back(socket);
    return socket;
}

int Net::callCount(std::string_view function) const {
    return static_cast<int>(
        std::count_if(m_calls.begin(), m_calls.end(), [=](const Call& call) { return call.function == function; }));
}

void Net::end() {
    for (const auto& [function, answers] : m_answers) {
        if (!answers.empty()) {
            ADD_FAILURE() << answers.size() << " scripted answers of " << function << " were not asked for";
        }
    }
    if (!m_progress.empty()) {
        ADD_FAILURE() << m_progress.size() << " scripted answers of pollConnect were not asked for";
    }
    for (const auto& [number, socket] : m_sockets) {
        if (!m_leaksAllowed) {
            ADD_FAILURE() << "socket " << number << " was not closed";
        }
    }
    m_answers.clear();
}

Socket* Net::find(NativeSocket socket) {
    const auto found = m_sockets.find(socket);
    return found == m_sockets.end() ? nullptr : &found->second;
}

NativeSocket Net::add(platform::SocketKind kind) {
    const NativeSocket socket = m_next++;
    m_sockets[socket].kind = kind;
    m_lastOpened = socket;
    return socket;
}

void Net::remove(NativeSocket socket) {
    const Socket closed = std::exchange(m_sockets[socket], {});
    m_sockets.erase(socket);
    for (const NativeSocket pending : closed.backlog) {
        remove(pending);
    }
    if (Socket* const partner = find(closed.partner)) {
        partner->partner = kInvalidSocket;
        // Bytes that nobody read turn the close into a reset.
        partner->peerError = closed.inbound.empty() ? 0 : platform::kErrorConnectionReset;
        partner->peerClosed = true;
    }
}

void Net::record(const char* function, NativeSocket socket, long value) {
    m_calls.push_back({function, socket, value});
}

bool Net::takeAnswer(const char* function, Transfer& answer) {
    const auto found = m_answers.find(function);
    if (found == m_answers.end() || found->second.empty()) {
        return false;
    }
    answer = found->second.front();
    found->second.pop_front();
    return true;
}

bool Net::takeProgress(platform::ConnectProgress& progress) {
    if (m_progress.empty()) {
        return false;
    }
    progress = m_progress.front();
    m_progress.pop_front();
    return true;
}

void Net::unscripted(const char* function) {
    ADD_FAILURE() << "call number " << callCount(function) << " of " << function << " has no scripted answer";
}

NativeSocket Net::socketAt(platform::SocketKind kind, std::uint16_t port) const {
    const auto found = std::find_if(m_sockets.begin(), m_sockets.end(), [=](const auto& entry) {
        const Socket& socket = entry.second;
        const bool reachable = kind == platform::SocketKind::Datagram ? socket.bound : socket.listening;
        return socket.kind == kind && reachable && socket.local.port == port;
    });
    return found == m_sockets.end() ? kInvalidSocket : found->first;
}

bool Net::endpointTaken(platform::SocketKind kind, std::uint16_t port, bool reuse) const {
    return std::any_of(m_sockets.begin(), m_sockets.end(), [=](const auto& entry) {
        const Socket& other = entry.second;
        const bool shares = reuse && other.reuse && !other.listening;
        return other.bound && other.kind == kind && other.local.port == port && !shares;
    });
}

} // namespace scripted
