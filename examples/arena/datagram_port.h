// examples/arena/datagram_port.h: a UDP port of the arena, at either end.
#pragma once
#include "examples/arena/event_target.h"
#include "sharedlib/enums/msg.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/event_wait.h"
#include "sharedlib/net/message_handler.h"
#include "sharedlib/packed/packed_data.h"
#include <cstdint>
#include <map>

namespace arena {

/// Takes the messages of datagrams.
class DatagramReceiver {
public:
    /// `message`, read up to its `type`, and token, came from `ip`:`port`, which may be
    /// forged. Whether it was taken.
    virtual bool takeDatagram(Msg type, CPackedData& message, unsigned long ip, unsigned short port) = 0;

protected:
    ~DatagramReceiver() = default;
};

/// Binds a UDP port and hands each message to the receiver whose token it bears. Never answers by itself, so that it
/// cannot be used to flood others.
class DatagramPort final : public CMessageHandler, public EventTarget {
public:
    /// The library takes 50 datagrams from a socket at once and drops the next 150. So many receivers of ten datagrams
    /// a second each may share a port, and nothing is lost even if the host looks only after a tenth of a second.
    static constexpr std::size_t kMostReceivers = 32;

    /// Opens the first free port from `port` upwards, or any for 0, and puts it into `poller`, which outlives it.
    DatagramPort(EventPoller& poller, unsigned short port);
    DatagramPort(const DatagramPort&) = delete;
    DatagramPort& operator=(const DatagramPort&) = delete;
    ~DatagramPort();

    [[nodiscard]] bool isOpen() const { return m_connection.IsConnected(); }
    [[nodiscard]] bool isFull() const { return m_receivers.size() >= kMostReceivers; }
    CConnection& connection() { return m_connection; }

    /// False when somebody else has this token already.
    bool add(std::int64_t token, DatagramReceiver& receiver) { return m_receivers.emplace(token, &receiver).second; }
    void remove(std::int64_t token) { m_receivers.erase(token); }

    void handleEvent() override;

    /// Messages that no receiver has taken: too late, forged or malformed.
    [[nodiscard]] std::uint64_t refused() const { return m_refused; }
    /// The most messages in a datagram since the last call.
    unsigned long takeMostPerPacket() { return m_connection.getMessagesPerPacket(); }

private:
    void HandleMessage(CConnection* connection, const void* data, unsigned long size) override;
    void OnConnect(CConnection* /*connection*/, bool /*connected*/) override {}
    void OnError(CConnection* /*connection*/, int /*error*/, int /*detail*/) override {}
    const char* GetHandlerName() override { return "datagram port"; }

    EventPoller& m_poller;
    std::map<std::int64_t, DatagramReceiver*> m_receivers;
    std::uint64_t m_refused = 0;
    CConnection m_connection;
};

} // namespace arena
