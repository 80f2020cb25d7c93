// sharedlib/net/listener.cpp: a listening TCP socket that hands accepted connections to its host.
#include "sharedlib/net/listener.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/internal/deletion_guard.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include <memory>

namespace {

constexpr int kBacklog = 100;
constexpr int kMaxBindAttempts = 1000;

/// A socket until somebody else takes it.
class SocketOwner {
public:
    explicit SocketOwner(NativeSocket socket) : m_socket(socket) {}
    ~SocketOwner() {
        if (m_socket != kInvalidSocket) {
            platform::closeSocket(m_socket);
        }
    }
    SocketOwner(const SocketOwner&) = delete;
    SocketOwner& operator=(const SocketOwner&) = delete;

    [[nodiscard]] NativeSocket get() const { return m_socket; }
    NativeSocket release() {
        const NativeSocket socket = m_socket;
        m_socket = kInvalidSocket;
        return socket;
    }

private:
    NativeSocket m_socket;
};

/// Binds to `local`, or with `search` to the first port above it that can be bound. `local` ends as the address tried
/// last. 0, or the error of the last attempt.
int bindSearching(NativeSocket socket, platform::Endpoint& local, bool search) {
    for (int attempt = 1;; ++attempt) {
        const int error = platform::bindSocket(socket, local);
        if (error == 0 || !search || attempt == kMaxBindAttempts) {
            return error;
        }
        ++local.port;
    }
}

} // namespace

CListener::~CListener() {
    Cleanup();
    DeletionGuard::ownerDeleted(m_guards);
}

int CListener::Init(CListenHandler* handler, unsigned long ip, unsigned short port, bool searchPort) {
    m_handler = handler;
    ++m_generation;
    const platform::OpenResult opened = platform::openSocket(platform::SocketKind::Stream);
    if (opened.error != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to create socket in CListener::Init: %d", opened.error);
        return opened.error;
    }
    SocketOwner socket(opened.socket);
    if (platform::setSocketBlocking(socket.get(), false) != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to set nonblocking socket in CListener::Init");
        return platform::kErrorNotSupported;
    }
    // A restarted server takes its port over from connections that still linger. If that is refused, bind tells.
    static_cast<void>(platform::setAddressReuse(socket.get()));
    if (const int error = bindAndListen(socket.get(), ip, port, searchPort); error != 0) {
        return error;
    }
    m_socket = socket.release();
    return registerEvent();
}

int CListener::bindAndListen(NativeSocket socket, unsigned long ip, unsigned short port, bool searchPort) {
    platform::Endpoint local{static_cast<std::uint32_t>(ip), port};
    if (const int error = bindSearching(socket, local, searchPort); error != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to bind socket on %s:%d in CListener::Init: %d",
                      CConnection::GetIpAsString(ip).c_str(), local.port, error);
        return error;
    }
    if (const int error = platform::listenOnSocket(socket, kBacklog); error != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to listen on socket in CListener::Init: %d", error);
        return error;
    }
    static_cast<void>(platform::getLocalEndpoint(socket, local));
    m_address = local.ip;
    m_port = local.port;
    return 0;
}

int CListener::registerEvent() {
    m_event = platform::createSocketEvent();
    if (m_event != nullptr && platform::selectSocketEvents(m_socket, m_event, platform::kEventAccept) == 0) {
        return 0;
    }
    SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to create listener event: %d", platform::kRegistrationFailed);
    return platform::kRegistrationFailed;
}

void CListener::Pulse() {
    if (m_handler == nullptr || m_socket == kInvalidSocket || m_guards != nullptr) {
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    const int error = acceptPending(guard);
    if (!guard.sameLife() || error == platform::kErrorWouldBlock) {
        return;
    }
    Cleanup();
    m_handler->OnListenError(this, error);
}

int CListener::acceptPending(const DeletionGuard& guard) {
    for (;;) {
        const platform::AcceptResult accepted = platform::acceptSocket(m_socket);
        if (accepted.socket == kInvalidSocket) {
            return accepted.error;
        }
        SocketOwner socket(accepted.socket);
        auto connection = std::make_unique<CConnection>();
        connection->InitAccepted(socket.release(), accepted.peer.ip, accepted.peer.port);
        m_handler->OnAccept(this, connection.release());
        if (!guard.sameLife()) {
            return platform::kErrorWouldBlock;
        }
        ++m_acceptedCount;
    }
}

void CListener::HandleEvent() {
    if (m_guards != nullptr) {
        return;
    }
    WSANETWORKEVENTS events{};
    static_cast<void>(platform::enumerateSocketEvents(m_socket, m_event, events));
    Pulse();
}

void CListener::Reset() {
    Cleanup();
}

void CListener::Cleanup() {
    if (m_socket != kInvalidSocket) {
        platform::closeSocket(m_socket);
        m_socket = kInvalidSocket;
    }
    platform::closeSocketEvent(m_event);
    m_event = nullptr;
    m_acceptedCount = 0;
    ++m_generation;
}
