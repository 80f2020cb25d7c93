// examples/arena/peer.cpp: takes messages apart and keeps count of them.
#include "examples/arena/peer.h"
#include "sharedlib/enums/error.h"
#include "sharedlib/enums/msg.h"
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <utility>

namespace arena {

namespace {

// The system would hold a small message back until the one before is acknowledged, which the other side may put off for
// 40 ms. A game rather sends it at once; what belongs together leaves in one write anyway.
void sendSmallMessagesAtOnce(const CConnection& connection) {
    const int on = 1;
    setsockopt(static_cast<int>(connection.GetSocket()), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

} // namespace

Peer::Peer(std::unique_ptr<CConnection> connection, std::string name)
    : m_name(std::move(name)), m_connection(std::move(connection)), m_remote(*m_connection) {
    m_connection->SetMessageHandler(this);
    // Pulse sends pings only when asked to.
    m_connection->SetUpdateLag();
    // One busy peer must not take the whole frame: what is left over waits for the next one.
    m_connection->setAllowedProcessingTime(0.005F);
    if (m_connection->IsConnected()) {
        sendSmallMessagesAtOnce(*m_connection);
    }
}

// The connection asks its handler for a name while it is destroyed, so it must go before the handler does.
Peer::~Peer() {
    m_connection.reset();
}

void Peer::beginFrame() {
    bool processedInbound = false;
    m_connection->Preprocess(&processedInbound);
}

void Peer::handleEvent() {
    m_connection->HandleEvent();
    // Answers and ping replies leave at once instead of with the next frame.
    if (!hasEnded()) {
        m_connection->WriteOutboundData();
    }
}

void Peer::pulse() {
    m_connection->Pulse();
    // The ping is queued behind the pulse's own write; waiting for the next frame would count as lag.
    m_connection->WriteOutboundData();
}

void Peer::end(const std::string& reason) {
    if (m_endReason.empty()) {
        m_endReason = reason;
    }
}

bool Peer::takeSequence(std::uint32_t sequence) {
    ++m_sequenceReceived;
    if (sequence != m_sequenceReceived) {
        end("message " + std::to_string(sequence) + " came in place of " + std::to_string(m_sequenceReceived));
    }
    return !hasEnded();
}

void Peer::onUnexpectedCall(const char* name) {
    end(std::string("unexpected call ") + name);
}

void Peer::HandleMessage(CConnection* /*connection*/, const void* data, unsigned long size) {
    if (hasEnded()) {
        return;
    }
    m_lastHeard = Clock::now();
    CPackedData message(data, static_cast<int>(size));
    switch (const auto type = static_cast<Msg>(message.GetUint16()); type) {
    case Msg::RpcTable:
        return onTable(message);
    case Msg::RpcCallFunction:
        return takeCall(message);
    case Msg::CreateObject:
        return onMap(message);
    case Msg::UpdateObject:
        return onSnapshot(message);
    case Msg::UDPAnnouncement:
        return onAnnouncement(message);
    default:
        return end(std::string("unexpected message ") + Msg_ValueToName(type));
    }
}

void Peer::takeCall(CPackedData& message) {
    if (!takeSequence(message.GetUint32())) {
        return;
    }
    if (const std::uint32_t id = message.GetUint32(); !invoke(id, message)) {
        end("malformed call");
    }
}

bool Peer::invoke(std::uint32_t id, CPackedData& message) {
    ++m_callsReceived;
    CRpcMgr::GetInstance()->CallFunction(this, m_connection.get(), message, id);
    // Reading past the end gives zeros without a word, and an unknown call reads nothing: the position tells both.
    return message.GetGetIndex() == message.size();
}

void Peer::openDatagrams(CConnection& socket, unsigned short port, std::int64_t token) {
    m_datagrams = std::make_unique<DatagramPath>(socket, m_connection->GetConnectedIp(), port, token);
    m_remote.setDatagrams(m_datagrams.get());
}

bool Peer::takeDatagram(Msg type, CPackedData& message, unsigned long ip, unsigned short port) {
    if (hasEnded() || m_datagrams == nullptr || !m_datagrams->accept(message, ip, port)) {
        return false;
    }
    m_lastHeard = Clock::now();
    return onDatagram(type, message);
}

DatagramCounts Peer::datagramCounts() const {
    return m_datagrams != nullptr ? m_datagrams->counts() : DatagramCounts();
}

void Peer::OnConnect(CConnection* connection, bool connected) {
    if (!connected) {
        return end("connection lost");
    }
    sendSmallMessagesAtOnce(*connection);
}

void Peer::OnError(CConnection* connection, int error, int /*detail*/) {
    end(Error_ValueToDescription(static_cast<Error>(error)));
    // A queue over its limit sends nothing more, so only a reset frees its memory.
    connection->Reset();
}

} // namespace arena
