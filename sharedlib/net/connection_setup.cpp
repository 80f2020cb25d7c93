// sharedlib/net/connection_setup.cpp: how a connection gets its socket.
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/internal/inbound_buffer.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include "sharedlib/util/clock.h"

namespace {

constexpr long kStreamEvents =
    platform::kEventRead | platform::kEventWrite | platform::kEventConnect | platform::kEventClose;
constexpr long kDatagramEvents = platform::kEventRead | platform::kEventWrite;

} // namespace

void CConnection::InitStream(const std::string& address) {
    unsigned long ip = 0;
    unsigned short port = 0;
    if (!ConvertAddressString(address, &ip, &port)) {
        SetError(platform::kErrorAddressNotAvailable, "ConvertAddressString", "CConnection::InitStream", true);
        return;
    }
    InitStream(ip, port);
}

void CConnection::InitStream(unsigned long ip, unsigned short port) {
    constexpr const char* kWhere = "CConnection::InitStream";
    const NativeSocket socket = openSocket(true, kWhere);
    if (socket == kInvalidSocket || !bindSocket(socket, true, 0, kWhere)) {
        return;
    }
    const int error = platform::connectSocket(socket, {static_cast<std::uint32_t>(ip), port});
    if (error != 0 && error != platform::kErrorWouldBlock) {
        SetError(error, "connect", kWhere, true);
        platform::closeSocket(socket);
        return;
    }
    void* const event = createEvent(socket, kStreamEvents);
    if (m_socket != kInvalidSocket) {
        SHAREDLIB_LOG(LogSev_Error, Log::Connections,
                      "%s to %s:%d: Overwriting open socket %d in state %d with stream socket", GetHandlerName(),
                      GetIpAsString().c_str(), m_remotePort, static_cast<int>(m_socket), m_state);
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Connections, "%s to %s:%d: Setting socket to %d in CConnection::InitStream",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, static_cast<int>(socket));
    adopt(socket, event);
    m_remoteIp = static_cast<std::uint32_t>(ip);
    m_remotePort = port;
    m_state = Connecting;
}

void CConnection::InitDatagramListen(unsigned short port) {
    constexpr const char* kWhere = "CConnection::InitDatagramListen";
    const NativeSocket socket = openSocket(false, kWhere);
    if (socket == kInvalidSocket || !bindSocket(socket, false, port, kWhere)) {
        return;
    }
    void* const event = createEvent(socket, kDatagramEvents);
    if (m_socket != kInvalidSocket) {
        SHAREDLIB_LOG(LogSev_Error, Log::Connections,
                      "%s to %s:%d: Overwriting open socket %d in state %d with listening dgram socket",
                      GetHandlerName(), GetIpAsString().c_str(), m_remotePort, static_cast<int>(m_socket), m_state);
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Connections, "%s to %s:%d: Setting socket to %d in CConnection::InitDatagramListen",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, static_cast<int>(socket));
    adopt(socket, event);
    m_state = Datagram;
    m_connectTime = GetSecondsSinceEpoch();
}

void CConnection::InitDatagramListen(unsigned short port, unsigned long tries) {
    for (std::uint64_t attempt = 0;; ++attempt) {
        InitDatagramListen(static_cast<unsigned short>(port + attempt));
        if (m_state == Datagram || attempt == tries) {
            return;
        }
    }
}

void CConnection::InitAccepted(unsigned int socket, unsigned long ip, unsigned short port) {
    m_remoteIp = static_cast<std::uint32_t>(ip);
    m_remotePort = port;
    void* const event = createEvent(socket, kStreamEvents);
    platform::noteConnected(event);
    if (m_socket != kInvalidSocket) {
        SHAREDLIB_LOG(LogSev_Error, Log::Connections,
                      "%s to %s:%d: Overwriting open socket %d in state %d with accepted socket", GetHandlerName(),
                      GetIpAsString().c_str(), m_remotePort, static_cast<int>(m_socket), m_state);
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Connections, "%s to %s:%d: Setting socket to %d in CConnection::InitAccepted",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, static_cast<int>(socket));
    m_state = Connected;
    adopt(socket, event);
    m_connectTime = GetSecondsSinceEpoch();
}

/// A new non-blocking socket, or kInvalidSocket after the failure has been recorded.
unsigned int CConnection::openSocket(bool stream, const char* where) {
    const platform::OpenResult opened =
        platform::openSocket(stream ? platform::SocketKind::Stream : platform::SocketKind::Datagram);
    if (opened.error != 0) {
        SetError(opened.error, "socket", where, true);
        return kInvalidSocket;
    }
    if (platform::setSocketBlocking(opened.socket, false) != 0) {
        platform::closeSocket(opened.socket);
        SetError(platform::kErrorNotSupported, "SetSocketBlockingFlag", where, true);
        return kInvalidSocket;
    }
    return opened.socket;
}

/// Binds `socket` to `port` and keeps the local port. False after a failure, which has closed the socket and been
/// recorded; that a datagram port is taken is no error, because hosts search for a free one.
bool CConnection::bindSocket(unsigned int socket, bool stream, unsigned short port, const char* where) {
    platform::Endpoint local{0, port};
    if (const int error = platform::bindSocket(socket, local); error != 0) {
        platform::closeSocket(socket);
        SetError(error, "bind", where, stream || error != platform::kErrorAddressInUse);
        return false;
    }
    if (port == 0) {
        if (const int error = platform::getLocalEndpoint(socket, local); error != 0) {
            platform::closeSocket(socket);
            SetError(error, "getsockname", where, true);
            return false;
        }
    }
    m_localPort = local.port;
    return true;
}

/// A new event object for the events in `mask` of `socket`; failure is only logged.
void* CConnection::createEvent(unsigned int socket, long mask) {
    void* const event = platform::createSocketEvent();
    if (event == nullptr || platform::selectSocketEvents(socket, event, mask) != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to create connection event: %d",
                      platform::kRegistrationFailed);
        // Registration would have done this for a socket that came from elsewhere.
        static_cast<void>(platform::setSocketBlocking(socket, false));
    }
    return event;
}

/// Begins a new life with `socket` and `event`. A socket that is still open is forgotten with its event.
void CConnection::adopt(unsigned int socket, void* event) {
    if (m_socket == kInvalidSocket) {
        platform::closeSocketEvent(m_event);
    }
    m_socket = socket;
    m_event = event;
    ++m_generation;
}
