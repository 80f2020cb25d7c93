// tests/scripted/socket.cpp: the platform's socket calls on the scripted network.
#include "tests/scripted/socket.h"
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <utility>

namespace platform {
namespace {

using scripted::net;
using scripted::Socket;
using scripted::Transfer;

constexpr int kInvalidArgument = 10022;
constexpr int kNotSocket = 10038;
constexpr int kNotConnected = 10057;
constexpr int kRefused = 10061;
constexpr std::uint32_t kLoopbackIp = 0x7F000001;

/// A call on an open socket that succeeds unless the script says otherwise.
int setUp(const char* function, NativeSocket socket, long value = 0) {
    const Transfer answer = net().called(function, socket, value).value_or(Transfer{});
    return answer.error == 0 && net().find(socket) == nullptr ? kNotSocket : answer.error;
}

/// Sends of every kind; what is taken reaches the partner, when there is one.
TransferResult send(NativeSocket socket, std::string_view bytes) {
    const auto written = net().called("sendBytes", socket, static_cast<long>(bytes.size()));
    const Socket* const sender = net().find(socket);
    if (sender == nullptr) {
        return {-1, kNotSocket};
    }
    const bool isFree = written || net().takesAllSends();
    const Transfer answer = isFree ? written.value_or(scripted::takesAll) : net().unscripted("sendBytes");
    if (answer.count < 0) {
        return {-1, answer.error};
    }
    Socket* const partner = net().find(sender->partner);
    if (net().isLoopback() && partner == nullptr) {
        return {-1, sender->attempt == Socket::Attempt::Over ? kErrorConnectionReset : kNotConnected};
    }
    bytes = bytes.substr(0, static_cast<std::size_t>(answer.count));
    net().sent(socket) += bytes;
    if (partner != nullptr && !bytes.empty()) {
        partner->inbound.emplace_back(bytes);
    }
    return {static_cast<int>(bytes.size()), 0};
}

/// Makes the pair of a socket that connects and the one that the listener will accept.
int connectInside(NativeSocket socket, Endpoint peer) {
    Socket& connecting = *net().find(socket);
    const NativeSocket listener = net().socketAt(SocketKind::Stream, peer.port);
    const int error = listener == kInvalidSocket ? kRefused : 0;
    net().finishConnect(socket, error);
    if (error == 0) {
        connecting.local = {kLoopbackIp, net().freePort()};
        connecting.partner = net().connectTo(listener, connecting.local);
        net().find(connecting.partner)->partner = socket;
    }
    return connecting.blocking ? error : kErrorWouldBlock;
}

} // namespace

OpenResult openSocket(SocketKind kind) {
    const int error = net().called("openSocket", kInvalidSocket, static_cast<long>(kind)).value_or(Transfer{}).error;
    return error == 0 ? OpenResult{net().add(kind), 0} : OpenResult{kInvalidSocket, error};
}

void shutdownSocket(NativeSocket socket) {
    net().called("shutdownSocket", socket);
    Socket* const shut = net().find(socket);
    if (Socket* const partner = shut == nullptr ? nullptr : net().find(shut->partner)) {
        partner->peerClosed = true;
    }
}

void closeSocket(NativeSocket socket) {
    net().called("closeSocket", socket);
    if (net().isOpen(socket)) {
        net().remove(socket);
    } else {
        ADD_FAILURE() << "socket " << socket << " was closed, but it is not open";
    }
}

int setSocketBlocking(NativeSocket socket, bool blocking) {
    const int error = setUp("setSocketBlocking", socket, blocking ? 1 : 0);
    if (error == 0) {
        net().find(socket)->blocking = blocking;
    }
    return error;
}

int setAddressReuse(NativeSocket socket) {
    const int error = setUp("setAddressReuse", socket, 1);
    if (error != 0) {
        return error;
    }
    Socket& target = *net().find(socket);
    target.reuse = target.kind == SocketKind::Stream;
    return target.reuse ? 0 : kErrorNotSupported;
}

int setReceiveBufferSize(NativeSocket socket, int bytes) {
    return setUp("setReceiveBufferSize", socket, bytes);
}

int setSendBufferSize(NativeSocket socket, int bytes) {
    return setUp("setSendBufferSize", socket, bytes);
}

int bindSocket(NativeSocket socket, Endpoint local) {
    if (const int error = setUp("bindSocket", socket, local.port)) {
        return error;
    }
    Socket& target = *net().find(socket);
    if (local.port == 0) {
        local.port = net().freePort();
    } else if (net().isPortTaken(target, local.port)) {
        return kErrorAddressInUse;
    }
    target.local = local;
    target.bound = true;
    return 0;
}

int getLocalEndpoint(NativeSocket socket, Endpoint& local) {
    const int error = setUp("getLocalEndpoint", socket);
    if (error == 0) {
        local = net().find(socket)->local;
    }
    return error;
}

int listenOnSocket(NativeSocket socket, int backlog) {
    const int error = setUp("listenOnSocket", socket, backlog);
    if (error == 0) {
        net().find(socket)->listening = true;
    }
    return error;
}

int connectSocket(NativeSocket socket, Endpoint peer) {
    const auto written = net().called("connectSocket", socket, peer.port);
    Socket* const connecting = net().find(socket);
    if (connecting == nullptr) {
        return kNotSocket;
    }
    connecting->peer = peer;
    if (!written && net().isLoopback()) {
        return connectInside(socket, peer);
    }
    const int error = written ? written->error : net().unscripted("connectSocket").error;
    connecting->attempt = error == 0 ? Socket::Attempt::Over : Socket::Attempt::Pending;
    return error;
}

ConnectProgress pollConnect(NativeSocket socket) {
    if (const auto written = net().called("pollConnect", socket)) {
        return {(written->count & 1) != 0, (written->count & 2) != 0, written->error};
    }
    const Socket* const connecting = net().find(socket);
    if (connecting == nullptr) {
        return {false, false, kNotSocket};
    }
    const bool stands =
        connecting->attempt == Socket::Attempt::Over && connecting->connectError == 0 && connecting->peerError == 0;
    return {stands, !stands && connecting->attempt != Socket::Attempt::Pending, 0};
}

AcceptResult acceptSocket(NativeSocket listener) {
    if (const int error = setUp("acceptSocket", listener)) {
        return {kInvalidSocket, {}, error};
    }
    std::deque<NativeSocket>& backlog = net().find(listener)->backlog;
    if (backlog.empty()) {
        return {kInvalidSocket, {}, kErrorWouldBlock};
    }
    const NativeSocket accepted = backlog.front();
    backlog.pop_front();
    return {accepted, net().find(accepted)->peer, 0};
}

TransferResult receiveBytes(NativeSocket socket, void* target, std::size_t capacity) {
    if (const int error = setUp("receiveBytes", socket, static_cast<long>(capacity))) {
        return {-1, error};
    }
    Socket& receiver = *net().find(socket);
    if (receiver.inbound.empty()) {
        const int error = receiver.peerClosed ? std::exchange(receiver.peerError, 0) : kErrorWouldBlock;
        return {error == 0 ? 0 : -1, error};
    }
    std::string& piece = receiver.inbound.front();
    const std::size_t count = std::min(piece.size(), capacity);
    std::memcpy(target, piece.data(), count);
    piece.erase(0, count);
    if (piece.empty()) {
        receiver.inbound.pop_front();
    }
    return {static_cast<int>(count), 0};
}

TransferResult sendBytes(NativeSocket socket, const void* data, std::size_t size) {
    return send(socket, {static_cast<const char*>(data), size});
}

TransferResult sendPieces(NativeSocket socket, const SendPiece* pieces, int pieceCount) {
    std::string bytes;
    for (int i = 0; i < pieceCount; ++i) {
        bytes.append(static_cast<const char*>(pieces[i].data), pieces[i].size);
    }
    return send(socket, bytes);
}

TransferResult receiveDatagram(NativeSocket socket, void* target, std::size_t capacity, Endpoint& sender) {
    if (const int error = setUp("receiveDatagram", socket, static_cast<long>(capacity))) {
        return {-1, error};
    }
    std::deque<scripted::Packet>& packets = net().find(socket)->packets;
    if (packets.empty()) {
        return {-1, kErrorWouldBlock};
    }
    const scripted::Packet packet = std::move(packets.front());
    packets.pop_front();
    if (packet.bytes.size() > capacity) {
        return {-1, kErrorMessageSize};
    }
    std::memcpy(target, packet.bytes.data(), packet.bytes.size());
    sender = packet.sender;
    return {static_cast<int>(packet.bytes.size()), 0};
}

TransferResult sendDatagram(NativeSocket socket, const void* data, std::size_t size, Endpoint receiver) {
    const auto written = net().called("sendDatagram", socket, static_cast<long>(size));
    const bool isFree = written || net().isLoopback();
    int error = isFree ? written.value_or(Transfer{}).error : net().unscripted("sendDatagram").error;
    constexpr std::size_t kMaxDatagram = 65507;
    const Socket* const sender = net().find(socket);
    error = sender == nullptr ? kNotSocket : size > kMaxDatagram ? kErrorMessageSize : error;
    if (error != 0) {
        return {-1, error};
    }
    if (const NativeSocket target = net().socketAt(SocketKind::Datagram, receiver.port); target != kInvalidSocket) {
        net().deliverDatagram(target, {kLoopbackIp, sender->local.port}, {static_cast<const char*>(data), size});
    }
    return {static_cast<int>(size), 0};
}

} // namespace platform
