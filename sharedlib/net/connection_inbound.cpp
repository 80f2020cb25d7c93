// sharedlib/net/connection_inbound.cpp: receives a stream, cuts it into messages and delivers them.
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/internal/deletion_guard.h"
#include "sharedlib/net/internal/elapsed_time.h"
#include "sharedlib/net/internal/inbound_buffer.h"
#include "sharedlib/net/internal/stream_frame.h"
#include "sharedlib/platform/clock.h"
#include "sharedlib/platform/socket.h"
#include <algorithm>
#include <cstring>

using elapsed_time::wholeMilliseconds;

namespace {

/// Whether passes write lines, which take time between their steps.
bool showsLines() {
    return log_gate::openLogger(LogSev_Info, Log::Network) != nullptr;
}

/// Hands a message to the handler, which may delete the connection, and gives the whole milliseconds that it took.
std::uint32_t timedDelivery(CMessageHandler* handler, CConnection* conn, const void* data, std::uint64_t size) {
    const std::int64_t start = platform::stretchCounter();
    if (handler != nullptr) {
        handler->HandleMessage(conn, data, static_cast<unsigned long>(size));
    }
    return wholeMilliseconds(platform::stretchCounter() - start);
}

} // namespace

/// How a look at the front of the buffer ended.
enum class CConnection::FrameResult {
    /// A frame was taken off.
    Taken,
    /// There is no whole frame.
    Starved,
    /// A message was delivered, and the time is up.
    CutOff,
    /// A handler closed, re-opened or deleted the connection.
    Gone
};

/// One pass over the buffered bytes, which begins at `now` of the performance counter.
struct CConnection::InboundPass {
    InboundPass(CConnection& conn, std::int64_t now)
        : guard(conn.m_guards, conn.m_generation, DeletionGuard::Pass::Inbound), start(now) {}

    DeletionGuard guard;
    std::int64_t start;
    std::uint32_t messages = 0;
};

void CConnection::HandleStreamReadEvent(int /*error*/) {
    const DeletionGuard* const delivering = DeletionGuard::find(m_guards, DeletionGuard::Pass::Inbound);
    if (delivering != nullptr && !delivering->sameLife()) {
        // The first bytes of the new life would land on the message that the handler is still looking at.
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    const std::int64_t start = platform::performanceCounter();
    std::int64_t now = start;
    if (receiveIntoBuffer(now) && delivering == nullptr) {
        runInboundPass(showsLines() ? platform::performanceCounter() : now);
    }
    if (!guard.deleted()) {
        m_totalReadTime += wholeMilliseconds(platform::performanceCounter() - start);
    }
}

/// Receives once into the free space; `now` is the performance counter and moves on. False when that ended the
/// connection, which may then have been deleted.
bool CConnection::receiveIntoBuffer(std::int64_t& now) {
    const std::uint64_t space = m_inbound->size() - m_inboundReadPos - m_inboundBytes;
    if (space == 0) {
        return true;
    }
    char* const target = m_inbound->data() + m_inboundReadPos + m_inboundBytes;
    const std::int64_t start = now;
    const platform::TransferResult received = platform::receiveBytes(m_socket, target, static_cast<std::size_t>(space));
    now = platform::performanceCounter();
    m_readTime += wholeMilliseconds(now - start);
    if (received.count < 0) {
        if (received.error == platform::kErrorWouldBlock) {
            return true;
        }
        closeAfterReadError(received.error, space);
        return false;
    }
    SHAREDLIB_LOG(LogSev_Detail, Log::Network, "Attempting to read up to %d and read %d", static_cast<int>(space),
                  received.count);
    if (received.count == 0) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network, "Closing connection gracefully attempting to read %d",
                      static_cast<int>(space));
        loseConnection();
        return false;
    }
    SHAREDLIB_LOG(LogSev_Detail, Log::Network, "Read %d bytes into buffer", received.count);
    m_inboundBytes += static_cast<std::uint64_t>(received.count);
    return true;
}

void CConnection::closeAfterReadError(int error, std::uint64_t space) {
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "Closing connection because of error %d attempting to read %d", error,
                  static_cast<int>(space));
    failConnection(error, "recv", "CConnection::HandleStreamReadEvent");
}

void CConnection::ProcessInboundData() {
    if (DeletionGuard::find(m_guards, DeletionGuard::Pass::Inbound) == nullptr) {
        runInboundPass(platform::performanceCounter());
    }
}

/// One pass that begins at `now` of the performance counter. The connection may have been deleted at its end.
void CConnection::runInboundPass(std::int64_t now) {
    InboundPass pass(*this, now);
    FrameResult result = FrameResult::Taken;
    bool processed = false;
    while (result == FrameResult::Taken && m_inboundBytes >= stream_frame::kShortHeaderSize) {
        result = processFrame(pass);
        processed = processed || result == FrameResult::Taken;
    }
    if (!pass.guard.deleted()) {
        m_maxReadEventsPerFrame = std::max(m_maxReadEventsPerFrame, pass.messages);
        endInboundPass(result, processed);
    }
}

/// Settles the budget's counter and makes room; `processed` says whether the pass took off a frame and went on.
void CConnection::endInboundPass(FrameResult result, bool processed) {
    if (result == FrameResult::Gone) {
        return;
    }
    if (result != FrameResult::CutOff) {
        m_failedFrameCounter = 0;
    }
    if (m_inboundBytes == 0) {
        m_inboundReadPos = 0;
        if (processed) {
            SHAREDLIB_LOG(LogSev_Detail, Log::Network, "Ran out of information in buffer");
        }
    } else if (m_inboundBytes == 1) {
        PackInboundBuffer();
    }
}

CConnection::FrameResult CConnection::processFrame(InboundPass& pass) {
    const char* const frame = m_inbound->data() + m_inboundReadPos;
    const auto value = little_endian::load<std::uint16_t>(frame);
    if (value == stream_frame::kPingRequest) {
        takePingRequest();
        return pass.guard.sameLife() ? FrameResult::Taken : FrameResult::Gone;
    }
    if (value == stream_frame::kPingReply) {
        takePingReply();
        return FrameResult::Taken;
    }
    const auto buffered = m_inboundBytes;
    stream_frame::FrameSizes sizes = stream_frame::readSizes(frame, buffered);
    // Where `unsigned long` has 32 bits, the handler is asked about the largest size there is.
    const std::uint64_t asked = std::min<std::uint64_t>(sizes.total(), std::numeric_limits<unsigned long>::max());
    const bool welcome = m_handler == nullptr || m_handler->CheckMessageSize(static_cast<unsigned long>(asked));
    if (!pass.guard.sameLife()) {
        return FrameResult::Gone;
    }
    if (!welcome) {
        m_inboundBytes = 0;
        m_inboundReadPos = 0;
        return FrameResult::Starved;
    }
    if (m_inboundBytes != buffered) {
        // The handler had more bytes read, the frame's length perhaps among them.
        sizes = stream_frame::readSizes(m_inbound->data() + m_inboundReadPos, m_inboundBytes);
    }
    if (sizes.total() > m_inboundBytes) {
        makeRoomForFrame(sizes.total());
        return pass.guard.sameLife() ? FrameResult::Starved : FrameResult::Gone;
    }
    return deliverFrame(pass, sizes.header, sizes.body);
}

void CConnection::makeRoomForFrame(std::uint64_t frameSize) {
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "Want to process %d byte message, but only have %d bytes after size",
                  static_cast<int>(frameSize), static_cast<int>(m_inboundBytes));
    if (frameSize > m_inbound->size()) {
        growInboundBuffer(frameSize);
    } else if (m_inboundReadPos + frameSize > m_inbound->size()) {
        PackInboundBuffer();
    }
}

CConnection::FrameResult CConnection::deliverFrame(InboundPass& pass, std::uint64_t headerSize,
                                                   std::uint64_t bodySize) {
    SHAREDLIB_LOG(LogSev_Detail, Log::Network, "Processing %d byte message", static_cast<int>(bodySize));
    const char* const body = m_inbound->data() + m_inboundReadPos + headerSize;
    // Taken off before the call, so that nothing the handler does makes this frame come again.
    consumeInbound(headerSize + bodySize);
    if (!m_ignorePackets) {
        const std::uint32_t spent = timedDelivery(m_handler, this, body, bodySize);
        if (pass.guard.deleted()) {
            return FrameResult::Gone;
        }
        m_processTime += spent;
    }
    m_bytesReceived += static_cast<std::uint32_t>(headerSize + bodySize);
    ++m_messagesReceived;
    ++pass.messages;
    if (!pass.guard.sameLife()) {
        return FrameResult::Gone;
    }
    return hasBudget() && isReadBudgetSpent(pass.start) ? FrameResult::CutOff : FrameResult::Taken;
}

bool CConnection::isReadBudgetSpent(std::int64_t start) {
    const std::int64_t used = platform::performanceCounter() - start;
    if (used <= m_allowedProcessingTime) {
        return false;
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Network,
                  "we've used %lld which is more than our alotted time of %lld while reading network frames",
                  static_cast<long long>(used), static_cast<long long>(m_allowedProcessingTime));
    ++m_failedFrameCounter;
    if (m_failedFrameCounter % 10 == 0) {
        SHAREDLIB_LOG(LogSev_Warning, Log::Network,
                      "we've failed to finishing processing reads for the past %ld frames",
                      static_cast<long>(m_failedFrameCounter));
    }
    return true;
}

void CConnection::HandleMessage(const void* data, unsigned long size) {
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    callHandler(data, size, guard);
}

/// Delivers one message; the handler may close, re-open or delete the connection, which `guard` then tells.
void CConnection::callHandler(const void* data, unsigned long size, const DeletionGuard& guard) {
    if (m_ignorePackets) {
        return;
    }
    const std::uint32_t spent = timedDelivery(m_handler, this, data, size);
    if (!guard.deleted()) {
        m_processTime += spent;
    }
}

bool CConnection::CheckMessageSize(unsigned long size) {
    return m_handler == nullptr || m_handler->CheckMessageSize(size);
}

void CConnection::takePingRequest() {
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "Received MSG_PingSend");
    consumeInbound(stream_frame::kControlFrameSize);
    // Last, because the queue's warning may be heard by somebody who deletes the connection.
    m_outbound.append(stream_frame::kPingReplyBytes.data(), stream_frame::kControlFrameSize);
}

void CConnection::takePingReply() {
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "Received MSG_PingRecieved");
    const auto roundTrip =
        static_cast<std::uint64_t>(platform::performanceCounter()) - static_cast<std::uint64_t>(m_pingSentAt);
    m_lag = static_cast<std::uint32_t>(roundTrip / (2 * std::max<std::uint64_t>(s_timerFreq, 1)));
    if (m_lag > s_absurdLag) {
        SHAREDLIB_LOG(LogSev_Warning, Log::Network, "connection %s has a ginormous lag of %ld", GetIpAsString().c_str(),
                      static_cast<long>(m_lag));
    }
    m_lag = std::min<std::uint32_t>(m_lag, s_maxLag);
    consumeInbound(stream_frame::kControlFrameSize);
    m_pingSentAt = 0;
}

void CConnection::consumeInbound(std::uint64_t count) {
    m_inboundReadPos += count;
    m_inboundBytes -= count;
}

void CConnection::PackInboundBuffer() {
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "Packing inbound buffer");
    if (m_inboundReadPos == 0) {
        return;
    }
    std::memmove(m_inbound->data(), m_inbound->data() + m_inboundReadPos, static_cast<std::size_t>(m_inboundBytes));
    SHAREDLIB_LOG(LogSev_Detail, Log::Network,
                  "inbound data has too much data to handle, moving from %ld bytes, processed %ld",
                  static_cast<long>(m_inboundBytes), static_cast<long>(m_inboundReadPos));
    m_inboundReadPos = 0;
}

void CConnection::ResizeInboundBuffer(unsigned long size) {
    growInboundBuffer(size);
}

void CConnection::growInboundBuffer(std::uint64_t size) {
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "Resizing inbound buffer from %d to %d",
                  static_cast<int>(m_inbound->size()), static_cast<int>(size));
    if (size <= m_inbound->size()) {
        return;
    }
    PackInboundBuffer();
    if (!m_inbound->grow(size)) {
        closeAfterReadError(platform::kErrorNoBuffers, size - m_inboundBytes);
    }
}
