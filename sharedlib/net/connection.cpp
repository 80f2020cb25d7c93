// sharedlib/net/connection.cpp: a connection's states, event dispatch and pulse.
#include "sharedlib/net/connection.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/net/internal/deletion_guard.h"
#include "sharedlib/net/internal/inbound_buffer.h"
#include "sharedlib/net/internal/stream_frame.h"
#include "sharedlib/platform/clock.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include "sharedlib/util/clock.h"
#include <algorithm>
#include <utility>

namespace {

/// The error that an event carries; `event` is one bit of the mask.
int errorOf(const WSANETWORKEVENTS& events, long event) {
    int bit = 0;
    while (event >> bit != 1) {
        ++bit;
    }
    return events.iErrorCode[bit];
}

bool has(const WSANETWORKEVENTS& events, long event) {
    return (events.lNetworkEvents & event) != 0;
}

unsigned int maskOf(const WSANETWORKEVENTS& events) {
    return static_cast<unsigned int>(events.lNetworkEvents);
}

} // namespace

std::uint16_t CConnection::s_pulseRate = 1800;
std::uint16_t CConnection::s_maxLag = 500;
std::uint16_t CConnection::s_absurdLag = 5000;
int CConnection::s_outboundBundleSize = 10000;
int CConnection::s_outboundSizeWarning = 80000;
int CConnection::s_outboundTimeout = 180;
float CConnection::s_outboundTimerOffFactor = 0.5F;
int CConnection::s_outboundSizeLimit = 8 * 1024 * 1024;
std::uint64_t CConnection::s_timerFreq = 0;
std::uint16_t CConnection::s_maxUDPPacketSize = 1024;

CConnection::CConnection() : m_inbound(std::make_unique<InboundBuffer>()) {
    m_outbound.setConn(this);
    if (s_timerFreq == 0) {
        s_timerFreq = static_cast<std::uint64_t>(platform::performanceFrequency()) / 1000;
    }
}

CConnection::~CConnection() {
    Cleanup();
    DeletionGuard::ownerDeleted(m_guards);
}

void CConnection::HandleEvent() {
    if (m_guards != nullptr) {
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    WSANETWORKEVENTS events{};
    m_eventQueryError = platform::enumerateSocketEvents(m_socket, m_event, events);
    if (m_eventQueryError != 0) {
        LogSocketEventError(events);
    }
    if (!guard.sameLife()) {
        return;
    }
    SHAREDLIB_LOG(LogSev_Detail, Log::Network, "%s to %s:%d: Handling event mask 0x%X in state %d", GetHandlerName(),
                  GetIpAsString().c_str(), m_remotePort, maskOf(events), m_state);
    if (guard.sameLife()) {
        dispatchEvents(events, guard);
    }
}

void CConnection::dispatchEvents(const WSANETWORKEVENTS& events, const DeletionGuard& guard) {
    switch (m_state) {
    case Idle:
        SHAREDLIB_LOG(LogSev_Info, Log::Network, "%s to %s:%d: HandleEvent (0x%X) called on a CConnection in Idle",
                      GetHandlerName(), GetIpAsString().c_str(), m_remotePort, maskOf(events));
        break;
    case Connecting:
        handleConnectingEvents(events, guard);
        break;
    case Connected:
        if (has(events, platform::kEventClose)) {
            loseConnection();
        } else {
            handleStreamEvents(events, guard);
        }
        break;
    case Datagram:
        if (has(events, platform::kEventRead)) {
            HandleDgramReadEvent(errorOf(events, platform::kEventRead));
        }
        break;
    case InError:
        SHAREDLIB_LOG(LogSev_Warning, Log::Network,
                      "%s to %s:%d: HandleEvent (0x%X) called on a CConnection in Error state", GetHandlerName(),
                      GetIpAsString().c_str(), m_remotePort, maskOf(events));
        break;
    default:
        SHAREDLIB_LOG(LogSev_Assert, Log::Network, "Received event(s) while in unhandled state %d", m_state);
    }
}

void CConnection::handleConnectingEvents(const WSANETWORKEVENTS& events, const DeletionGuard& guard) {
    SHAREDLIB_LOG(LogSev_Info, Log::Network,
                  "%s to %s:%d: HandleEvent (0x%X) called on a CConnection in Connecting state", GetHandlerName(),
                  GetIpAsString().c_str(), m_remotePort, maskOf(events));
    if (!guard.sameLife()) {
        return;
    }
    if (has(events, platform::kEventClose)) {
        loseConnection();
        return;
    }
    if (has(events, platform::kEventConnect)) {
        HandleConnectEvent(errorOf(events, platform::kEventConnect));
    }
    if (guard.sameLife() && m_state == Connected) {
        handleStreamEvents(events, guard);
    }
}

void CConnection::handleStreamEvents(const WSANETWORKEVENTS& events, const DeletionGuard& guard) {
    if (has(events, platform::kEventRead)) {
        HandleStreamReadEvent(errorOf(events, platform::kEventRead));
        if (!guard.sameLife() || m_state != Connected) {
            return;
        }
    }
    if (has(events, platform::kEventWrite)) {
        HandleWriteEvent(errorOf(events, platform::kEventWrite));
    }
}

void CConnection::HandleConnectEvent(int error) {
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    if (error != 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "%s to %s:%d: received a connect event with error %d",
                      GetHandlerName(), GetIpAsString().c_str(), m_remotePort, error);
        if (guard.sameLife()) {
            loseConnection();
        }
        return;
    }
    m_state = Connected;
    OnConnect(true);
    if (guard.sameLife()) {
        m_connectTime = GetSecondsSinceEpoch();
    }
}

void CConnection::Pulse() {
    if (m_guards != nullptr) {
        return;
    }
    ++m_pulseCount;
    if (m_delay != 0 && m_pulseCount % m_delay != 0) {
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    switch (m_state) {
    case Connecting:
        pulseConnecting(guard);
        break;
    case Connected:
        pulseConnected(guard);
        break;
    case Datagram:
        HandleDgramReadEvent(0);
        break;
    default:
        break;
    }
}

void CConnection::pulseConnecting(const DeletionGuard& guard) {
    const platform::ConnectProgress progress = platform::pollConnect(m_socket);
    if (progress.error != 0) {
        closeAfterFailedSelect(progress.error, guard);
    } else if (progress.failed) {
        // Some systems call a refused socket writable as well.
        HandleConnectEvent(-1);
    } else if (progress.writable) {
        platform::noteConnected(m_event);
        HandleConnectEvent(0);
    }
}

void CConnection::closeAfterFailedSelect(int error, const DeletionGuard& guard) {
    SetError(error, "select", "CConnection::Pulse", true);
    if (!guard.sameLife()) {
        return;
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Connections,
                  "%s to %s:%d: Shutting down and closing socket %d in CConnection::Pulse()", GetHandlerName(),
                  GetIpAsString().c_str(), m_remotePort, static_cast<int>(m_socket));
    if (!guard.sameLife()) {
        return;
    }
    platform::closeSocketEvent(std::exchange(m_event, nullptr));
    platform::shutdownSocket(m_socket);
    platform::closeSocket(m_socket);
    m_socket = kInvalidSocket;
    OnConnect(false);
}

void CConnection::pulseConnected(const DeletionGuard& guard) {
    HandleStreamReadEvent(0);
    if (guard.sameLife() && m_state == Connected) {
        HandleWriteEvent(0);
    }
    if (guard.sameLife() && IsConnected() && m_updateLag && m_pulseCount > s_pulseRate && m_pingSentAt == 0) {
        m_pulseCount = 0;
        const BufferRun ping{stream_frame::kPingRequestBytes.data(), stream_frame::kControlFrameSize};
        // One that finds no room is not waited for.
        if (m_outbound.appendRuns(&ping, 1) && guard.sameLife()) {
            m_pingSentAt = platform::performanceCounter();
        }
    }
}

void* CConnection::Preprocess(bool* processedInbound) {
    if (!ShouldHandleEvents()) {
        return nullptr;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    HandleWriteEvent(0);
    if (guard.deleted() || !ShouldHandleEvents()) {
        return nullptr;
    }
    if (m_failedFrameCounter != 0) {
        ProcessInboundData();
        if (processedInbound != nullptr) {
            *processedInbound = true;
        }
    }
    return guard.deleted() ? nullptr : m_event;
}

void CConnection::OnConnect(bool connected) {
    if (m_handler == nullptr) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network,
                      "%s to %s:%d: Unable to handle connect because there is no message handler.", GetHandlerName(),
                      GetIpAsString().c_str(), m_remotePort);
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    m_handler->OnConnect(this, connected);
}

const char* CConnection::GetHandlerName() const {
    if (m_handler == nullptr) {
        return "Unhandled";
    }
    const char* const name = m_handler->GetHandlerName();
    return name != nullptr ? name : "";
}

std::string CConnection::GetIpAsString() const {
    return GetIpAsString(static_cast<unsigned long>(m_remoteIp));
}

void CConnection::loseConnection() {
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    Cleanup();
    if (!guard.deleted()) {
        OnConnect(false);
    }
}

/// Closes the connection because `operation` failed. It may have been deleted then.
void CConnection::failConnection(int error, const char* operation, const char* where) {
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    Cleanup();
    if (!guard.deleted()) {
        SetError(error, operation, where, true);
    }
    if (!guard.deleted()) {
        OnConnect(false);
    }
}

void CConnection::Reset() {
    Cleanup();
}

void CConnection::Cleanup() {
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    SHAREDLIB_LOG(LogSev_Info, Log::Connections, "%s to %s:%d: Cleanup() on connection (socket %d) while in state %d",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, static_cast<int>(m_socket), m_state);
    if (!guard.sameLife()) {
        return;
    }
    // An error can leave socket and event open; without this they would be lost for ever.
    platform::closeSocketEvent(std::exchange(m_event, nullptr));
    if (m_state == Connecting || IsConnected()) {
        SHAREDLIB_LOG(LogSev_Info, Log::Connections,
                      "%s to %s:%d: Shutting down and closing socket %d in CConnection::Cleanup()", GetHandlerName(),
                      GetIpAsString().c_str(), m_remotePort, static_cast<int>(m_socket));
        if (!guard.sameLife()) {
            return;
        }
        platform::shutdownSocket(m_socket);
    }
    if (m_socket != kInvalidSocket) {
        platform::closeSocket(std::exchange(m_socket, kInvalidSocket));
    }
    m_state = Idle;
    m_inboundReadPos = 0;
    m_inboundBytes = 0;
    m_udpPacket.reset();
    ++m_generation;
    // Last, because its line may be heard by somebody who deletes the connection.
    m_outbound.clear();
}

void CConnection::SetError(int code, const char* operation, const char* where, bool isError) {
    constexpr const char* kFormat = "%s to %s:%d: %s failed with error code %d in %s";
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    if (!isError) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network, kFormat, GetHandlerName(), GetIpAsString().c_str(), m_remotePort,
                      operation, code, where);
    } else if (theLogger != nullptr) {
        // An error goes to the logger without the channel's consent; the logger asks the channel itself.
        theLogger->syslog(LogSev_Error, Log::Network, kFormat, GetHandlerName(), GetIpAsString().c_str(), m_remotePort,
                          operation, code, where);
    }
    if (guard.sameLife()) {
        m_error = code;
        m_state = InError;
    }
}

void CConnection::setAllowedProcessingTime(float seconds) {
    constexpr float kTooMany = 9223372036854775808.0F;
    const float ticks = static_cast<float>(platform::performanceFrequency()) * seconds;
    if (ticks < -kTooMany) {
        m_allowedProcessingTime = std::numeric_limits<std::int64_t>::min();
    } else if (ticks < kTooMany) {
        m_allowedProcessingTime = static_cast<std::int64_t>(ticks);
    } else {
        // Also for not-a-number, which compares with nothing.
        m_allowedProcessingTime = kNoBudget;
    }
}

void CConnection::SetRecvBufferSize(int bytes) {
    static_cast<void>(platform::setReceiveBufferSize(m_socket, bytes));
}

void CConnection::SetSendBufferSize(int bytes) {
    static_cast<void>(platform::setSendBufferSize(m_socket, bytes));
}

unsigned long CConnection::getMessagesPerPacket() {
    const unsigned long result = m_messagesPerPacket;
    m_messagesPerPacket = 0;
    return result;
}

unsigned long CConnection::getWriteBlockedSeconds() const {
    if (m_writeBlockedSince == 0) {
        return 0;
    }
    // In unsigned arithmetic, because the clock can be set to anything; set back, it counts as no time.
    const std::uint64_t waited =
        static_cast<std::uint64_t>(GetSecondsSinceEpoch()) - static_cast<std::uint64_t>(m_writeBlockedSince);
    return static_cast<unsigned long>(std::max<std::int64_t>(static_cast<std::int64_t>(waited), 0));
}

unsigned long CConnection::getPingOutstandingMs() const {
    if (m_pingSentAt == 0) {
        return 0;
    }
    const auto ticks = static_cast<std::uint64_t>(platform::performanceCounter() - m_pingSentAt);
    return static_cast<unsigned long>(ticks / std::max<std::uint64_t>(s_timerFreq, 1));
}

void CConnection::resetTimers() {
    m_processTime = 0;
    m_readTime = 0;
    m_totalReadTime = 0;
    m_writeTime = 0;
    m_maxReadEventsPerFrame = 0;
}
