// sharedlib/net/connection_outbound.cpp: queues messages and feeds the queue to the socket.
#include "sharedlib/enums/error.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/internal/deletion_guard.h"
#include "sharedlib/net/internal/inbound_buffer.h"
#include "sharedlib/net/internal/stream_frame.h"
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/platform/clock.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include "sharedlib/util/clock.h"
#include <array>

namespace {

/// Blocks in one gathered send.
constexpr int kMaxRuns = 16;
/// Offers above this many bytes are logged.
constexpr int kLargeWrite = 5000;
constexpr unsigned long kMaxQueuedBytes = std::numeric_limits<std::int32_t>::max();

/// One send of all runs.
platform::TransferResult sendRuns(NativeSocket socket, const std::array<BufferRun, kMaxRuns>& runs, int count) {
    if (count == 1) {
        return platform::sendBytes(socket, runs[0].data, static_cast<std::size_t>(runs[0].length));
    }
    std::array<platform::SendPiece, kMaxRuns> pieces{};
    for (int i = 0; i < count; ++i) {
        const auto index = static_cast<std::size_t>(i);
        pieces[index] = {runs[index].data, static_cast<std::size_t>(runs[index].length)};
    }
    return platform::sendPieces(socket, pieces.data(), count);
}

} // namespace

void CConnection::SendMsg(unsigned long size, const char* data) {
    if (m_ignorePackets) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network, "%s to %s:%d: Refusing message because of IgnorePackets().",
                      GetHandlerName(), GetIpAsString().c_str(), m_remotePort);
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    const std::uint32_t start = platform::tickCountMs();
    SHAREDLIB_LOG(LogSev_Detail, Log::Network, "Queuing %d bytes for %s", static_cast<int>(size),
                  m_state == Connected ? "TCP" : "UDP");
    if (guard.deleted()) {
        return;
    }
    if (m_state == Connected) {
        queueFrame(size, data, guard);
    } else if (m_state == Datagram) {
        sendDatagramMessage(size, data, m_remoteIp, m_remotePort);
    }
    if (!guard.deleted()) {
        m_writeTime += platform::tickCountMs() - start;
    }
}

void CConnection::SendMsg(const CPackedData& msg) {
    SendMsg(static_cast<unsigned long>(msg.size()), msg.readData());
}

/// Queues a message. A hearer of the queue's warnings may delete the connection, which `guard` then tells.
void CConnection::queueFrame(unsigned long size, const char* data, const DeletionGuard& guard) {
    if (size < stream_frame::kLongForm && m_outbound.appendIfRoom(static_cast<std::uint16_t>(size), data)) {
        countQueued(size + stream_frame::kShortHeaderSize);
        return;
    }
    if (size > kMaxQueuedBytes) {
        return;
    }
    const stream_frame::Header header = stream_frame::makeHeader(static_cast<std::uint32_t>(size));
    const std::array<BufferRun, 2> runs{BufferRun{header.bytes.data(), header.size},
                                        BufferRun{data, static_cast<int>(size)}};
    if (m_outbound.appendRuns(runs.data(), static_cast<int>(runs.size())) && !guard.deleted()) {
        countQueued(size + static_cast<unsigned long>(header.size));
    }
}

void CConnection::countQueued(unsigned long bytes) {
    m_bytesSent += static_cast<std::uint32_t>(bytes);
    ++m_messagesSent;
}

void CConnection::FillBufferDangerous(unsigned long size, const char* data) {
    if (m_state != Connected || size > kMaxQueuedBytes) {
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    const std::uint32_t start = platform::tickCountMs();
    const BufferRun run{data, static_cast<int>(size)};
    if (m_outbound.appendRuns(&run, 1)) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network, "Queuing %d bytes dangerously", static_cast<int>(size));
        if (!guard.deleted()) {
            countQueued(size);
        }
    }
    if (!guard.deleted()) {
        m_writeTime += platform::tickCountMs() - start;
    }
}

void CConnection::WriteOutboundData() {
    HandleWriteEvent(0);
}

void CConnection::HandleWriteEvent(int /*error*/) {
    if (m_outbound.isEmpty() || DeletionGuard::find(m_guards, DeletionGuard::Pass::Write) != nullptr) {
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Write);
    // Asked once: a budget that begins in the middle of the pass has no start to count from.
    const bool budgeted = hasBudget();
    const std::int64_t start = budgeted ? platform::performanceCounter() : 0;
    while (!m_outbound.isEmpty()) {
        if (isOverQueueLimit(guard)) {
            return;
        }
        const int sent = writeOnce(guard);
        // A socket that takes nothing without saying that it is full would keep this loop for ever.
        if (sent < 0 || (budgeted && isWriteBudgetSpent(start)) || sent == 0) {
            return;
        }
    }
}

/// Whether the queue is too long to be sent; tells the handler, which may have deleted the connection then.
bool CConnection::isOverQueueLimit(const DeletionGuard& guard) {
    const int queued = m_outbound.getByteCount();
    if (queued <= s_outboundSizeLimit) {
        return false;
    }
    SHAREDLIB_LOG(LogSev_Warning, Log::Network, "%s to %s:%d: Size limit %d exceeded on %s. Buffer size %d",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, s_outboundSizeLimit, GetHandlerName(),
                  queued);
    if (guard.sameLife() && m_handler != nullptr) {
        m_handler->OnError(this, Error::ConnectWriteQueueLimit, queued);
    }
    return true;
}

/// Offers the front of the queue to the socket. Bytes taken, or -1 when the pass is over; then the connection may have
/// been deleted.
int CConnection::writeOnce(const DeletionGuard& guard) {
    // Without a budget and with no line to tell, nobody can tell several sends of one block from one of several blocks.
    const bool gather = !hasBudget() && log_gate::openLogger(LogSev_Info, Log::Network) == nullptr;
    std::array<BufferRun, kMaxRuns> runs;
    const int count = m_outbound.getBundleRuns(runs.data(), gather ? kMaxRuns : 1);
    const int offered = runs[0].length;
    if (offered > kLargeWrite) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network, "%s to %s:%d: Attempting write of %d bytes", GetHandlerName(),
                      GetIpAsString().c_str(), m_remotePort, offered);
        if (!guard.sameLife()) {
            return -1;
        }
    }
    const platform::TransferResult result = sendRuns(m_socket, runs, count);
    if (result.count < 0) {
        handleSendFailure(result.error, offered, guard);
        return -1;
    }
    SHAREDLIB_LOG(LogSev_Detail, Log::Network, "%s to %s:%d: Sent %d of %d bytes", GetHandlerName(),
                  GetIpAsString().c_str(), m_remotePort, result.count, offered);
    if (!guard.sameLife()) {
        return -1;
    }
    m_outbound.clearBytes(result.count);
    if (guard.sameLife() && m_writeBlockedSince != 0 && result.count >= 1) {
        endBlockedPeriod();
    }
    return guard.sameLife() ? result.count : -1;
}

bool CConnection::isWriteBudgetSpent(std::int64_t start) const {
    const std::int64_t used = platform::performanceCounter() - start;
    if (used <= m_allowedProcessingTime) {
        return false;
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Network,
                  "we've used %lld which is more than our alotted time of %lld while writing network frames",
                  static_cast<long long>(used), static_cast<long long>(m_allowedProcessingTime));
    return true;
}

void CConnection::endBlockedPeriod() {
    m_writeBlockedSince = 0;
    m_bytesWrittenWhileBlocked = 0;
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "End write-blocked timeout on %s to %s:%d. Buffer size %d.",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, m_outbound.getByteCount());
}

void CConnection::handleSendFailure(int error, int offered, const DeletionGuard& guard) {
    if (error == platform::kErrorWouldBlock) {
        platform::noteSendBlocked(m_event);
        handleBlockedWrite(guard);
        return;
    }
    SHAREDLIB_LOG(LogSev_Warning, Log::Network, "%s to %s:%d: Got a socket error %d on writing %d bytes",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, error, offered);
    if (guard.sameLife()) {
        failConnection(error, "send", "CConnection::HandleWriteEvent");
    }
}

void CConnection::handleBlockedWrite(const DeletionGuard& guard) {
    const std::int64_t now = GetSecondsSinceEpoch();
    if (m_writeBlockedSince == 0) {
        m_writeBlockedSince = now;
        SHAREDLIB_LOG(LogSev_Info, Log::Network,
                      "%s to %s:%d: Write blocked. Start timeout %d seconds. buffer size %d.", GetHandlerName(),
                      GetIpAsString().c_str(), m_remotePort, s_outboundTimeout, m_outbound.getByteCount());
        return;
    }
    // The host may have set the clock to anything meanwhile: cut to 32 bits without an overflow on the way.
    const auto waited = static_cast<std::int32_t>(
        static_cast<std::uint32_t>(static_cast<std::uint64_t>(now) - static_cast<std::uint64_t>(m_writeBlockedSince)));
    if (waited < s_outboundTimeout) {
        return;
    }
    SHAREDLIB_LOG(LogSev_Warning, Log::Network,
                  "%s to %s:%d: Timeout. Blocked writing. Waited %d seconds. Wrote %lld bytes in that time.",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, waited,
                  static_cast<long long>(m_bytesWrittenWhileBlocked));
    if (guard.sameLife() && m_handler != nullptr) {
        m_handler->OnError(this, Error::ConnectWriteTimeout, waited);
    }
    if (!guard.deleted()) {
        m_writeBlockedSince = 0;
        m_bytesWrittenWhileBlocked = 0;
    }
}
