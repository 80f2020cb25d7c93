// examples/arena/datagram_port.cpp: finds out for whom a datagram is.
#include "examples/arena/datagram_port.h"

namespace arena {

namespace {

constexpr unsigned long kPortsTried = 100;

} // namespace

DatagramPort::DatagramPort(EventPoller& poller, unsigned short port) : m_poller(poller) {
    m_connection.SetMessageHandler(this);
    m_connection.InitDatagramListen(port, port != 0 ? kPortsTried : 0);
    m_poller.add(m_connection.GetEventHandle(), static_cast<EventTarget*>(this));
}

DatagramPort::~DatagramPort() {
    m_connection.SetMessageHandler(nullptr);
}

void DatagramPort::handleEvent() {
    m_connection.HandleEvent();
    if (m_connection.IsConnected()) {
        return;
    }
    // A datagram larger than the connection's buffer ends it, and anybody can send one. The players know the port, so
    // it must be the same again.
    const unsigned short port = m_connection.GetLocalPort();
    m_connection.Reset();
    m_connection.InitDatagramListen(port);
    m_poller.add(m_connection.GetEventHandle(), static_cast<EventTarget*>(this));
}

void DatagramPort::HandleMessage(CConnection* connection, const void* data, unsigned long size) {
    CPackedData message(data, static_cast<int>(size));
    const auto type = static_cast<Msg>(message.GetUint16());
    const auto receiver = m_receivers.find(message.GetInt64());
    const bool taken =
        receiver != m_receivers.end() &&
        receiver->second->takeDatagram(type, message, connection->GetSourceUdpIp(), connection->GetSourceUdpPort());
    m_refused += taken ? 0 : 1;
}

} // namespace arena
