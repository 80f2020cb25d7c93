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

/// The address to bind, and how many ports, its own included, may still be tried.
struct PortSearch {
    platform::Endpoint local;
    int portsLeft;

    bool next() {
        if (portsLeft <= 1) {
            return false;
        }
        --portsLeft;
        ++local.port;
        return true;
    }
};

/// Binds to the first port of the search that can be bound. 0, or the error of the last attempt.
int bindSearching(NativeSocket socket, PortSearch& search) {
    int error = 0;
    do {
        error = platform::bindSocket(socket, search.local);
    } while (error != 0 && search.next());
    return error;
}

/// A non-blocking socket that listens where the search has led, or the error to answer, which has been logged unless it
/// only means that the search goes on.
platform::OpenResult openListening(PortSearch& search) {
    const platform::OpenResult opened = platform::openSocket(platform::SocketKind::Stream);
    if (opened.error != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to create socket in CListener::Init: %d", opened.error);
        return opened;
    }
    SocketOwner socket(opened.socket);
    if (platform::setSocketBlocking(socket.get(), false) != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to set nonblocking socket in CListener::Init");
        return {kInvalidSocket, platform::kErrorNotSupported};
    }
    // A restarted server takes its port over from connections that still linger. If that is refused, bind tells.
    static_cast<void>(platform::setAddressReuse(socket.get()));
    if (const int error = bindSearching(socket.get(), search); error != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to bind socket on %s:%d in CListener::Init: %d",
                      CConnection::GetIpAsString(search.local.ip).c_str(), search.local.port, error);
        return {kInvalidSocket, error};
    }
    if (const int error = platform::listenOnSocket(socket.get(), kBacklog); error != 0) {
        if (error != platform::kErrorAddressInUse || search.portsLeft == 1) {
            SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to listen on socket in CListener::Init: %d", error);
        }
        return {kInvalidSocket, error};
    }
    return {socket.release(), 0};
}

} // namespace

CListener::~CListener() {
    Cleanup();
    DeletionGuard::ownerDeleted(m_guards);
}

CListener::CListener(const CListener& other)
    : m_handler(other.m_handler), m_address(other.m_address), m_port(other.m_port) {
}

CListener& CListener::operator=(const CListener& other) {
    if (this != &other) {
        Cleanup();
        m_handler = other.m_handler;
        m_address = other.m_address;
        m_port = other.m_port;
    }
    return *this;
}

int CListener::Init(CListenHandler* handler, unsigned long ip, unsigned short port, bool searchPort) {
    m_handler = handler;
    ++m_generation;
    PortSearch search{{static_cast<std::uint32_t>(ip), port}, searchPort ? kMaxBindAttempts : 1};
    platform::OpenResult listening = openListening(search);
    // Two listeners may both have bound a port before the faster one listens; the other one goes on searching.
    while (listening.error == platform::kErrorAddressInUse && search.next()) {
        listening = openListening(search);
    }
    if (listening.error != 0) {
        return listening.error;
    }
    m_socket = listening.socket;
    static_cast<void>(platform::getLocalEndpoint(m_socket, search.local));
    m_address = search.local.ip;
    m_port = search.local.port;
    return registerEvent();
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
        // Whoever heard the line about it may have deleted the listener, or closed it.
        if (!guard.sameLife()) {
            return platform::kErrorWouldBlock;
        }
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
    platform::closeSocketEvent(m_event);
    m_event = nullptr;
    if (m_socket != kInvalidSocket) {
        platform::closeSocket(m_socket);
        m_socket = kInvalidSocket;
    }
    m_acceptedCount = 0;
    ++m_generation;
}
