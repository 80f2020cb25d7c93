// sharedlib/platform/posix/socket.cpp: the socket calls that connections and listeners are built on.
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_error.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace platform {
namespace {

int descriptor(NativeSocket socket) {
    return static_cast<int>(socket);
}

sockaddr_in toSystem(Endpoint endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(endpoint.ip);
    address.sin_port = htons(endpoint.port);
    return address;
}

Endpoint fromSystem(const sockaddr_in& address) {
    return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

/// The error of a call that answers -1 for failure.
int errorOf(int result) {
    return result == 0 ? 0 : lastSocketError();
}

template <typename Function>
auto untilNotInterrupted(Function call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

TransferResult transferred(ssize_t result) {
    return result < 0 ? TransferResult{-1, lastSocketError()} : TransferResult{static_cast<int>(result), 0};
}

/// The most that one call moves, so that its count fits the result.
std::size_t atMostInt(std::size_t size) {
    return std::min<std::size_t>(size, INT_MAX);
}

int setIntOption(NativeSocket socket, int option, int value) {
    return errorOf(setsockopt(descriptor(socket), SOL_SOCKET, option, &value, sizeof value));
}

bool getIntOption(NativeSocket socket, int option, int& value) {
    socklen_t size = sizeof value;
    return getsockopt(descriptor(socket), SOL_SOCKET, option, &value, &size) == 0;
}

/// One look without waiting; the events found, or -1.
int lookAt(NativeSocket socket, short events, int timeoutMs) {
    pollfd entry{descriptor(socket), events, 0};
    if (untilNotInterrupted([&] { return poll(&entry, 1, timeoutMs); }) < 0) {
        return -1;
    }
    return entry.revents;
}

/// A signal does not stop a connection attempt, and calling again would not be the same: wait for how it ends.
int finishInterruptedConnect(NativeSocket socket) {
    int error = 0;
    if (lookAt(socket, POLLOUT, -1) < 0 || !getIntOption(socket, SO_ERROR, error)) {
        return lastSocketError();
    }
    return toSocketError(error);
}

/// Errors of a connection that died before it was accepted. Linux hands them out through accept.
bool diedInBacklog(int systemError) {
    switch (systemError) {
    case ECONNABORTED:
    case EPROTO:
    case ENETDOWN:
    case ENOPROTOOPT:
    case EHOSTDOWN:
    case ENONET:
    case EHOSTUNREACH:
    case ENETUNREACH:
    case ETIMEDOUT:
    case ECONNRESET:
        return true;
    default:
        return false;
    }
}

} // namespace

OpenResult openSocket(SocketKind kind) {
    const int type = kind == SocketKind::Stream ? SOCK_STREAM : SOCK_DGRAM;
    const int opened = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    return opened < 0 ? OpenResult{kInvalidSocket, lastSocketError()}
                      : OpenResult{static_cast<NativeSocket>(opened), 0};
}

void shutdownSocket(NativeSocket socket) {
    shutdown(descriptor(socket), SHUT_RDWR);
}

void closeSocket(NativeSocket socket) {
    // Not repeated when interrupted: the descriptor is gone by then, and its number may be another's already.
    close(descriptor(socket));
}

int setSocketBlocking(NativeSocket socket, bool blocking) {
    int nonBlocking = blocking ? 0 : 1;
    return errorOf(ioctl(descriptor(socket), FIONBIO, &nonBlocking));
}

int setAddressReuse(NativeSocket socket) {
    int type = 0;
    if (!getIntOption(socket, SO_TYPE, type)) {
        return lastSocketError();
    }
    // Two datagram sockets with this option would share a port and take each other's datagrams.
    return type == SOCK_STREAM ? setIntOption(socket, SO_REUSEADDR, 1) : kErrorNotSupported;
}

int setReceiveBufferSize(NativeSocket socket, int bytes) {
    return setIntOption(socket, SO_RCVBUF, bytes);
}

int setSendBufferSize(NativeSocket socket, int bytes) {
    return setIntOption(socket, SO_SNDBUF, bytes);
}

int bindSocket(NativeSocket socket, Endpoint local) {
    const sockaddr_in address = toSystem(local);
    return errorOf(bind(descriptor(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

int getLocalEndpoint(NativeSocket socket, Endpoint& local) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(descriptor(socket), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return lastSocketError();
    }
    local = fromSystem(address);
    return 0;
}

int listenOnSocket(NativeSocket socket, int backlog) {
    return errorOf(listen(descriptor(socket), backlog));
}

int connectSocket(NativeSocket socket, Endpoint peer) {
    const sockaddr_in address = toSystem(peer);
    if (connect(descriptor(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return 0;
    }
    if (errno == EINPROGRESS) {
        return kErrorWouldBlock;
    }
    return errno == EINTR ? finishInterruptedConnect(socket) : lastSocketError();
}

ConnectProgress pollConnect(NativeSocket socket) {
    const int found = lookAt(socket, POLLOUT, 0);
    if (found < 0) {
        return {false, false, lastSocketError()};
    }
    if ((found & POLLNVAL) != 0) {
        return {false, false, toSocketError(EBADF)};
    }
    // The system calls a refused socket writable too.
    const bool failed = (found & (POLLERR | POLLHUP)) != 0;
    return {!failed && (found & POLLOUT) != 0, failed, 0};
}

AcceptResult acceptSocket(NativeSocket listener) {
    // A bound, so that somebody who keeps connecting and breaking off cannot hold the caller here.
    for (int attempt = 0; attempt < 1000; ++attempt) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        const int accepted = untilNotInterrupted([&] {
            return accept4(descriptor(listener), reinterpret_cast<sockaddr*>(&address), &size,
                           SOCK_NONBLOCK | SOCK_CLOEXEC);
        });
        if (accepted >= 0) {
            return {static_cast<NativeSocket>(accepted), fromSystem(address), 0};
        }
        if (diedInBacklog(errno)) {
            continue;
        }
        const int error = lastSocketError();
        // The system looks for a free descriptor before it looks for a connection.
        const bool atLimit = errno == EMFILE || errno == ENFILE;
        const bool nothingPending = atLimit && lookAt(listener, POLLIN, 0) == 0;
        return {kInvalidSocket, {}, nothingPending ? kErrorWouldBlock : error};
    }
    return {kInvalidSocket, {}, kErrorWouldBlock};
}

TransferResult receiveBytes(NativeSocket socket, void* target, std::size_t capacity) {
    return transferred(untilNotInterrupted([&] { return recv(descriptor(socket), target, atMostInt(capacity), 0); }));
}

TransferResult sendBytes(NativeSocket socket, const void* data, std::size_t size) {
    return transferred(
        untilNotInterrupted([&] { return send(descriptor(socket), data, atMostInt(size), MSG_NOSIGNAL); }));
}

TransferResult sendPieces(NativeSocket socket, const SendPiece* pieces, int pieceCount) {
    constexpr std::size_t kMaxPieces = 16;
    std::array<iovec, kMaxPieces> vectors{};
    std::size_t count = 0;
    std::size_t room = INT_MAX;
    for (; count < kMaxPieces && count < static_cast<std::size_t>(std::max(pieceCount, 0)) && room > 0; ++count) {
        const std::size_t size = std::min(pieces[count].size, room);
        // The system's struct serves reading too and so has no const.
        vectors[count] = {const_cast<void*>(pieces[count].data), size};
        room -= size;
    }
    msghdr message{};
    message.msg_iov = vectors.data();
    message.msg_iovlen = count;
    return transferred(untilNotInterrupted([&] { return sendmsg(descriptor(socket), &message, MSG_NOSIGNAL); }));
}

TransferResult receiveDatagram(NativeSocket socket, void* target, std::size_t capacity, Endpoint& sender) {
    sockaddr_in address{};
    iovec space{target, atMostInt(capacity)};
    msghdr message{};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    message.msg_iov = &space;
    message.msg_iovlen = 1;
    const ssize_t received = untilNotInterrupted([&] { return recvmsg(descriptor(socket), &message, 0); });
    if (received < 0) {
        return {-1, lastSocketError()};
    }
    // The system would hand out the head of a datagram as if it were all of it.
    if ((message.msg_flags & MSG_TRUNC) != 0) {
        return {-1, kErrorMessageSize};
    }
    sender = fromSystem(address);
    return {static_cast<int>(received), 0};
}

TransferResult sendDatagram(NativeSocket socket, const void* data, std::size_t size, Endpoint receiver) {
    const sockaddr_in address = toSystem(receiver);
    return transferred(untilNotInterrupted([&] {
        return sendto(descriptor(socket), data, size, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address),
                      sizeof address);
    }));
}

} // namespace platform
