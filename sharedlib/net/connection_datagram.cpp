// sharedlib/net/connection_datagram.cpp: sends messages in datagrams and delivers those that come in.
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/internal/deletion_guard.h"
#include "sharedlib/net/internal/inbound_buffer.h"
#include "sharedlib/net/internal/stream_frame.h"
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace {

/// Datagrams taken from the socket by one read event, and how many of them are delivered.
constexpr int kMaxTaken = 200;
constexpr int kMaxProcessed = 50;

/// The largest size that a packed message may have as a datagram message.
constexpr int kMaxPackedSize = 65535;

/// Errors that say something about an earlier datagram, or that there is none; the socket is sound.
bool isBenign(int error) {
    return error == platform::kErrorWouldBlock || error == platform::kErrorConnectionReset ||
           error == platform::kErrorNetReset;
}

void logOversize(std::uint64_t size) {
    SHAREDLIB_LOG(LogSev_Warning, Log::Network, "Tried to send a UDP packet that was %ud bytes. Dropped.",
                  static_cast<unsigned int>(size + stream_frame::kShortHeaderSize));
}

bool fitsDatagram(std::uint64_t size) {
    return size <= 0xFFFF && size + stream_frame::kShortHeaderSize <= CConnection::s_maxUDPPacketSize;
}

/// Takes the packet that is being built out of its place while it lives: a log callback may send a datagram of its own,
/// or delete the connection, which `guard` tells.
class PacketAside {
public:
    PacketAside(std::unique_ptr<CCharVector>& place, const DeletionGuard& guard)
        : m_guard(guard), m_place(place), m_packet(std::move(place)) {}
    ~PacketAside() {
        if (!m_guard.deleted()) {
            m_place = std::move(m_packet);
        }
    }
    PacketAside(const PacketAside&) = delete;
    PacketAside& operator=(const PacketAside&) = delete;

private:
    const DeletionGuard& m_guard;
    std::unique_ptr<CCharVector>& m_place;
    std::unique_ptr<CCharVector> m_packet;
};

/// The sizes of the message at the front of the `available` bytes of a datagram; a header of 0 when it is malformed or
/// runs past the end.
stream_frame::FrameSizes readMessageSizes(const char* bytes, std::uint64_t available, std::uint32_t sender) {
    // Of a single last byte the missing upper half counts as 0.
    const std::uint16_t length = available >= stream_frame::kShortHeaderSize ? little_endian::load<std::uint16_t>(bytes)
                                                                             : static_cast<unsigned char>(*bytes);
    if (length != 0 && length < CConnection::s_maxUDPPacketSize && available >= stream_frame::kShortHeaderSize) {
        const stream_frame::FrameSizes sizes = stream_frame::readSizes(bytes, available);
        if (sizes.total() <= available) {
            return sizes;
        }
    }
    SHAREDLIB_LOG(LogSev_Warning, Log::Network, "Received bad UDP packet from %s (size %d, max %d), dropping.",
                  CConnection::GetIpAsString(sender).c_str(), length, CConnection::s_maxUDPPacketSize);
    return {};
}

} // namespace

void CConnection::SendMsg(unsigned short size, const char* data, unsigned long ip, unsigned short port) {
    sendDatagramMessage(size, data, static_cast<std::uint32_t>(ip), port);
}

void CConnection::SendMsg(const CPackedData& msg, unsigned long ip, unsigned short port) {
    if (msg.size() > kMaxPackedSize) {
        SHAREDLIB_LOG(LogSev_Assert, Log::Network, "Tried to send too much data, ignoring: %d bytes", msg.size());
        return;
    }
    SendMsg(static_cast<unsigned short>(msg.size()), msg.readData(), ip, port);
}

void CConnection::sendDatagramMessage(std::uint64_t size, const char* data, std::uint32_t ip, std::uint16_t port) {
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    initUDPPacketBuffer();
    if (!fitsDatagram(size) || !AddDataToDgramPacket(static_cast<unsigned short>(size), data)) {
        logOversize(size);
        return;
    }
    SendDgramMessageRaw(m_udpPacket.get(), ip, port);
    if (!guard.deleted()) {
        ++m_messagesSent;
    }
}

bool CConnection::SendMultiMsg(CCharVectorList* messages, unsigned long ip, unsigned short port) {
    if (messages == nullptr || messages->empty()) {
        return false;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    initUDPPacketBuffer();
    // Counted, because whoever hears a line may add to the list.
    std::size_t taken = 0;
    for (; taken < messages->size(); ++taken) {
        const CCharVector& next = (*messages)[taken];
        if (!fitsDatagram(next.size())) {
            const PacketAside aside(m_udpPacket, guard);
            logOversize(next.size());
            if (guard.deleted()) {
                return false;
            }
        } else if (!AddDataToDgramPacket(static_cast<unsigned short>(next.size()), next.data())) {
            break;
        }
    }
    SendDgramMessageRaw(m_udpPacket.get(), ip, port);
    if (guard.deleted()) {
        return false;
    }
    taken = std::min(taken, messages->size());
    messages->erase(messages->begin(), messages->begin() + static_cast<std::ptrdiff_t>(taken));
    return !messages->empty();
}

void CConnection::SendDgramMessageRaw(CCharVector* packet, unsigned long ip, unsigned short port) {
    if (packet == nullptr) {
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Event);
    const PacketAside aside(m_udpPacket, guard);
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "Sending %d bytes over UDP", static_cast<int>(packet->size()));
    if (guard.deleted()) {
        return;
    }
    const platform::TransferResult sent =
        platform::sendDatagram(m_socket, packet->data(), packet->size(), {static_cast<std::uint32_t>(ip), port});
    if (sent.count < 0) {
        if (sent.error == platform::kErrorWouldBlock) {
            platform::noteSendBlocked(m_event);
        }
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to send DGram: %d", sent.error);
    }
    if (!guard.deleted()) {
        m_bytesSent += static_cast<std::uint32_t>(packet->size());
    }
}

void CConnection::initUDPPacketBuffer() {
    if (m_udpPacket == nullptr) {
        m_udpPacket = std::make_unique<CCharVector>();
        m_udpPacket->reserve(s_maxUDPPacketSize);
    }
    m_udpPacket->clear();
}

bool CConnection::AddDataToDgramPacket(unsigned short size, const char* data) {
    if (m_udpPacket == nullptr) {
        initUDPPacketBuffer();
    }
    if (m_udpPacket->size() + stream_frame::kShortHeaderSize + size > s_maxUDPPacketSize) {
        return false;
    }
    std::array<char, stream_frame::kShortHeaderSize> length{};
    little_endian::store(length.data(), static_cast<std::uint16_t>(size));
    m_udpPacket->insert(m_udpPacket->end(), length.begin(), length.end());
    m_udpPacket->insert(m_udpPacket->end(), data, data + size);
    return true;
}

void CConnection::HandleDgramReadEvent(int /*error*/) {
    if (DeletionGuard::find(m_guards, DeletionGuard::Pass::Inbound) != nullptr) {
        return;
    }
    const DeletionGuard guard(m_guards, m_generation, DeletionGuard::Pass::Inbound);
    int taken = 0;
    for (int processed = 0; taken < kMaxTaken; ++taken) {
        platform::Endpoint sender;
        const platform::TransferResult received =
            platform::receiveDatagram(m_socket, m_inbound->data(), static_cast<std::size_t>(m_inbound->size()), sender);
        if (received.count < 0) {
            handleReceiveFailure(received.error);
            break;
        }
        if (received.count == 0 || processed == kMaxProcessed) {
            continue;
        }
        m_sourceUdpIp = sender.ip;
        m_sourceUdpPort = sender.port;
        deliverDatagram(static_cast<std::uint64_t>(received.count), guard);
        if (!guard.sameLife()) {
            return;
        }
        ++processed;
    }
    if (taken > kMaxProcessed) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network, "Dropping %ld UDP packets", static_cast<long>(taken - kMaxProcessed));
    }
}

void CConnection::handleReceiveFailure(int error) {
    if (!isBenign(error)) {
        // Nobody reads the socket any more: what comes must not wake a host that waits.
        platform::selectSocketEvents(m_socket, m_event, 0);
        SetError(error, "recvfrom", "CConnection::HandleDgramReadEvent", true);
        return;
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Network,
                  "%s to %s:%d: recvfrom failed with non-error code %d in CConnection::HandleDgramReadEvent",
                  GetHandlerName(), GetIpAsString().c_str(), m_remotePort, error);
}

/// Delivers the messages of the `size` bytes that stand in the inbound buffer. Ends early when a handler closes,
/// re-opens or deletes the connection, or a log callback deletes it.
void CConnection::deliverDatagram(std::uint64_t size, const DeletionGuard& guard) {
    std::uint32_t messages = 0;
    for (std::uint64_t offset = 0; offset < size; ++messages) {
        const char* const message = m_inbound->data() + offset;
        const stream_frame::FrameSizes sizes = readMessageSizes(message, size - offset, m_sourceUdpIp);
        if (guard.deleted()) {
            return;
        }
        if (sizes.header == 0) {
            break;
        }
        offset += sizes.total();
        callHandler(message + sizes.header, static_cast<unsigned long>(sizes.body), guard);
        if (guard.deleted()) {
            return;
        }
        m_bytesReceived += static_cast<std::uint32_t>(sizes.body);
        ++m_messagesReceived;
        if (!guard.sameLife()) {
            return;
        }
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Network, "Processed %d messages (%d bytes) over UDP from %s:%d",
                  static_cast<int>(messages), static_cast<int>(size), GetIpAsString().c_str(), m_sourceUdpPort);
    if (!guard.deleted()) {
        m_messagesPerPacket = std::max(m_messagesPerPacket, messages);
    }
}
