// sharedlib/platform/socket.h: the socket calls that connections and listeners are built on.
//
// Addresses are IPv4 in host byte order, ports too. Every error is a Winsock number (10035: would block), 0 means
// success. Sockets are close-on-exec from creation, no write raises a signal, interrupted calls are repeated inside,
// any descriptor number works. Nothing here logs or throws. Any thread, as long as one socket is used by one thread at
// a time.
#pragma once
#include "sharedlib/native_types.h"
#include <cstddef>
#include <cstdint>

namespace platform {

/// Error numbers that the library tests for by name; all others are only passed on.
inline constexpr int kErrorWouldBlock = 10035;
inline constexpr int kErrorMessageSize = 10040;
inline constexpr int kErrorNotSupported = 10045;
inline constexpr int kErrorAddressInUse = 10048;
inline constexpr int kErrorAddressNotAvailable = 10049;
inline constexpr int kErrorNetReset = 10052;
inline constexpr int kErrorConnectionReset = 10054;
inline constexpr int kErrorNoBuffers = 10055;

enum class SocketKind { Stream, Datagram };

struct Endpoint {
    std::uint32_t ip = 0;
    std::uint16_t port = 0;
};

struct OpenResult {
    NativeSocket socket = kInvalidSocket;
    int error = 0;
};

struct AcceptResult {
    NativeSocket socket = kInvalidSocket;
    Endpoint peer;
    int error = 0;
};

/// `count` is the number of bytes moved, or -1 with `error` set.
struct TransferResult {
    int count = 0;
    int error = 0;
};

/// What a zero-timeout look at a connecting socket found. `failed` is the exceptional condition: the attempt ended in
/// an error (on every system, also where a refused socket counts as writable). `error` is set when the look itself
/// failed.
struct ConnectProgress {
    bool writable = false;
    bool failed = false;
    int error = 0;
};

/// One piece of a gathered send.
struct SendPiece {
    const void* data;
    std::size_t size;
};

/// A new blocking IPv4 socket.
OpenResult openSocket(SocketKind kind);
/// Sends `SD_BOTH` to the peer; errors are of no interest to a caller that closes next.
void shutdownSocket(NativeSocket socket);
void closeSocket(NativeSocket socket);

int setSocketBlocking(NativeSocket socket, bool blocking);
/// Lets a listener bind a port whose old connections still linger. Has no effect on a port with an active listener.
/// Streams only.
int setAddressReuse(NativeSocket socket);
int setReceiveBufferSize(NativeSocket socket, int bytes);
int setSendBufferSize(NativeSocket socket, int bytes);

int bindSocket(NativeSocket socket, Endpoint local);
int getLocalEndpoint(NativeSocket socket, Endpoint& local);
int listenOnSocket(NativeSocket socket, int backlog);
/// Starts to connect; 10035 on a non-blocking socket means "in progress".
int connectSocket(NativeSocket socket, Endpoint peer);
ConnectProgress pollConnect(NativeSocket socket);
/// Takes one pending connection, already non-blocking. Steps over connections that died in the backlog; answers 10035
/// when nothing is pending, also at the descriptor limit, and 10024 only when a connection is pending that no
/// descriptor is left for.
AcceptResult acceptSocket(NativeSocket listener);

/// One `recv` of up to `capacity` bytes, which is not 0; `count` 0 means that the peer closed its side.
TransferResult receiveBytes(NativeSocket socket, void* target, std::size_t capacity);
/// One `send`; may take fewer bytes than offered.
TransferResult sendBytes(NativeSocket socket, const void* data, std::size_t size);
/// One gathered send of at most 16 pieces in order; may end inside any of them.
TransferResult sendPieces(NativeSocket socket, const SendPiece* pieces, int pieceCount);
/// One datagram; one that is larger than `capacity` is lost and answers 10040.
TransferResult receiveDatagram(NativeSocket socket, void* target, std::size_t capacity, Endpoint& sender);
TransferResult sendDatagram(NativeSocket socket, const void* data, std::size_t size, Endpoint receiver);

} // namespace platform
