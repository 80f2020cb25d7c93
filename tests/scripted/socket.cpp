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
constexpr int kShutDown = 10058;
constexpr int kRefused = 10061;
constexpr std::uint32_t kLoopbackIp = 0x7F000001;

/// A call on an open socket that succeeds unless the script says otherwise.
int setUp(const char* function, NativeSocket socket, long value) {
    net().record(function, socket, value);
    Transfer answer;
    if (net().takeAnswer(function, answer) && answer.error != 0) {
        return answer.error;
    }
    return net().find(socket) == nullptr ? kNotSocket : 0;
}

/// Sends of every kind; what is taken reaches the partner, when there is one.
TransferResult send(NativeSocket socket, std::string_view bytes) {
    net().record("sendBytes", socket, static_cast<long>(bytes.size()));
    Socket* const sender = net().find(socket);
    if (sender == nullptr) {
        return {-1, kNotSocket};
    }
    Transfer answer = scripted::takesAll;
    if (!net().takeAnswer("sendBytes", answer) && !net().isLoopback() && !net().takesAllSends()) {
        net().unscripted("sendBytes");
        return {-1, kInvalidArgument};
    }
    if (answer.count < 0) {
        return {-1, answer.error};
    }
    if (net().isLoopback() && sender->partner == kInvalidSocket) {
        return {-1, sender->stand == Socket::Stand::Connected ? kErrorConnectionReset : kNotConnected};
    }
    if (sender->sendClosed) {
        return {-1, kShutDown};
    }
    bytes = bytes.substr(0, static_cast<std::size_t>(answer.count));
    net().noteSent(socket, bytes);
    if (sender->partner != kInvalidSocket && !bytes.empty()) {
        net().find(sender->partner)->inbound.emplace_back(bytes);
    }
    return {static_cast<int>(bytes.size()), 0};
}

/// Makes the pair of a socket that connects and the one that the listener will accept.
int connectInside(NativeSocket socket, Endpoint peer) {
    const NativeSocket listener = net().socketAt(SocketKind::Stream, peer.port);
    if (listener == kInvalidSocket) {
        net().finishConnect(socket, kRefused);
        return net().find(socket)->blocking ? kRefused : kErrorWouldBlock;
    }
    Socket& connecting = *net().find(socket);
    if (!connecting.bound) {
        connecting.local = {kLoopbackIp, net().freePort()};
        connecting.bound = true;
    }
    connecting.peer = peer;
    const NativeSocket accepted = net().connectTo(listener, {kLoopbackIp, connecting.local.port});
    net().find(accepted)->partner = socket;
    net().find(socket)->partner = accepted;
    net().finishConnect(socket);
    return net().find(socket)->blocking ? 0 : kErrorWouldBlock;
}

} // namespace

OpenResult openSocket(SocketKind kind) {
    net().record("openSocket", kInvalidSocket, static_cast<long>(kind));
    Transfer answer;
    if (net().takeAnswer("openSocket", answer) && answer.error != 0) {
        return {kInvalidSocket, answer.error};
    }
    return {net().add(kind), 0};
}

void shutdownSocket(NativeSocket socket) {
    net().record("shutdownSocket", socket);
    Socket* const shut = net().find(socket);
    if (shut == nullptr) {
        return;
    }
    shut->sendClosed = true;
    shut->peerClosed = true;
    if (Socket* const partner = net().find(shut->partner)) {
        partner->peerClosed = true;
    }
}

void closeSocket(NativeSocket socket) {
    net().record("closeSocket", socket);
    if (net().find(socket) == nullptr) {
        ADD_FAILURE() << "socket " << socket << " was closed, but it is not open";
        return;
    }
    net().remove(socket);
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
    if (target.bound) {
        return kInvalidArgument;
    }
    if (local.port == 0) {
        local.port = net().freePort();
    } else if (net().endpointTaken(target.kind, local.port, target.reuse)) {
        return kErrorAddressInUse;
    }
    target.local = local;
    target.bound = true;
    return 0;
}

int getLocalEndpoint(NativeSocket socket, Endpoint& local) {
    const int error = setUp("getLocalEndpoint", socket, 0);
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
    net().record("connectSocket", socket, peer.port);
    Socket* const connecting = net().find(socket);
    if (connecting == nullptr) {
        return kNotSocket;
    }
    Transfer answer;
    if (!net().takeAnswer("connectSocket", answer)) {
        if (net().isLoopback()) {
            return connectInside(socket, peer);
        }
        net().unscripted("connectSocket");
        return kInvalidArgument;
    }
    connecting->peer = peer;
    if (answer.error == 0) {
        net().finishConnect(socket);
    } else if (answer.error == kErrorWouldBlock) {
        connecting->stand = Socket::Stand::Connecting;
    }
    return answer.error;
}

ConnectProgress pollConnect(NativeSocket socket) {
    net().record("pollConnect", socket);
    ConnectProgress progress;
    if (net().takeProgress(progress)) {
        return progress;
    }
    const Socket* const connecting = net().find(socket);
    if (connecting == nullptr) {
        return {false, false, kNotSocket};
    }
    switch (connecting->stand) {
    case Socket::Stand::Connecting:
        return {};
    case Socket::Stand::Connected:
        return {true, connecting->peerError != 0, 0};
    default:
        return {false, true, 0};
    }
}

AcceptResult acceptSocket(NativeSocket listener) {
    net().record("acceptSocket", listener);
    Transfer answer;
    if (net().takeAnswer("acceptSocket", answer) && answer.error != 0) {
        return {kInvalidSocket, {}, answer.error};
    }
    Socket* const accepting = net().find(listener);
    if (accepting == nullptr) {
        return {kInvalidSocket, {}, kNotSocket};
    }
    if (!accepting->listening) {
        return {kInvalidSocket, {}, kInvalidArgument};
    }
    if (accepting->backlog.empty()) {
        return {kInvalidSocket, {}, kErrorWouldBlock};
    }
    const NativeSocket accepted = accepting->backlog.front();
    accepting->backlog.pop_front();
    return {accepted, net().find(accepted)->peer, 0};
}

TransferResult receiveBytes(NativeSocket socket, void* target, std::size_t capacity) {
    net().record("receiveBytes", socket, static_cast<long>(capacity));
    Transfer answer = scripted::takesAll;
    const bool scriptedEnd = net().takeAnswer("receiveBytes", answer) && answer.count <= 0;
    if (scriptedEnd) {
        return {answer.count, answer.error};
    }
    Socket* const receiver = net().find(socket);
    if (receiver == nullptr) {
        return {-1, kNotSocket};
    }
    if (receiver->inbound.empty()) {
        const int error = receiver->peerClosed ? std::exchange(receiver->peerError, 0) : kErrorWouldBlock;
        return {error == 0 ? 0 : -1, error};
    }
    std::string& piece = receiver->inbound.front();
    const std::size_t count = std::min({piece.size(), capacity, static_cast<std::size_t>(answer.count)});
    std::memcpy(target, piece.data(), count);
    piece.erase(0, count);
    if (piece.empty()) {
        receiver->inbound.pop_front();
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
    net().record("receiveDatagram", socket, static_cast<long>(capacity));
    Transfer answer;
    if (net().takeAnswer("receiveDatagram", answer) && answer.error != 0) {
        return {-1, answer.error};
    }
    Socket* const receiver = net().find(socket);
    if (receiver == nullptr) {
        return {-1, kNotSocket};
    }
    if (receiver->packets.empty()) {
        return {-1, kErrorWouldBlock};
    }
    const scripted::Packet packet = std::move(receiver->packets.front());
    receiver->packets.pop_front();
    if (packet.bytes.size() > capacity) {
        return {-1, kErrorMessageSize};
    }
    std::memcpy(target, packet.bytes.data(), packet.bytes.size());
    sender = packet.peer;
    return {static_cast<int>(packet.bytes.size()), 0};
}

TransferResult sendDatagram(NativeSocket socket, const void* data, std::size_t size, Endpoint receiver) {
    net().record("sendDatagram", socket, static_cast<long>(size));
    Transfer answer;
    if (!net().takeAnswer("sendDatagram", answer) && !net().isLoopback() && !net().takesAllDatagrams()) {
        net().unscripted("sendDatagram");
        return {-1, kInvalidArgument};
    }
    constexpr std::size_t kMaxDatagram = 65507;
    if (size > kMaxDatagram) {
        return {-1, kErrorMessageSize};
    }
    if (answer.error != 0) {
        return {-1, answer.error};
    }
    Socket* const sender = net().find(socket);
    if (sender == nullptr) {
        return {-1, kNotSocket};
    }
    const std::string bytes(static_cast<const char*>(data), size);
    net().noteSentDatagram(socket, {receiver, bytes});
    const NativeSocket target = net().socketAt(SocketKind::Datagram, receiver.port);
    if (net().isLoopback() && target != kInvalidSocket) {
        net().deliverDatagram(target, {kLoopbackIp, sender->local.port}, bytes);
    }
    return {static_cast<int>(size), 0};
}

} // namespace platform
