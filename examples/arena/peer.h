// examples/arena/peer.h: one end of an arena connection, the part that server and client have in common.
#pragma once
#include "examples/arena/calls.h"
#include "examples/arena/datagram_path.h"
#include "examples/arena/datagram_port.h"
#include "examples/arena/event_target.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/message_handler.h"
#include "sharedlib/packed/packed_data.h"
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace arena {

using Clock = std::chrono::steady_clock;

/// Owns a connection, receives its messages, checks their numbers and hands calls to the functions of `Receiver`. A
/// misbehaving other side is given up: nothing more is taken from it, and the owner deletes this object after the event
/// that is being handled.
class Peer : public CMessageHandler, public Receiver, public EventTarget, public DatagramReceiver {
public:
    /// Takes over a connection, which may already stand. Log lines call it `name`.
    Peer(std::unique_ptr<CConnection> connection, std::string name);
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() override;

    /// Once a frame, before the wait: sends what is queued and goes on with messages that an earlier pass had no time
    /// for.
    void beginFrame();
    /// When the connection's event is signalled.
    void handleEvent() override;
    /// Once a second: lets the connection measure its lag.
    void pulse();

    [[nodiscard]] const CConnection& connection() const { return *m_connection; }
    /// Why nothing more is taken from the other side; empty as long as all is well.
    [[nodiscard]] const std::string& endReason() const { return m_endReason; }
    [[nodiscard]] bool hasEnded() const { return !m_endReason.empty(); }
    [[nodiscard]] std::uint32_t callsReceived() const { return m_callsReceived; }
    [[nodiscard]] std::uint32_t callsSent() const { return m_remote.callsSent(); }
    /// All zero as long as there are no datagrams.
    [[nodiscard]] DatagramCounts datagramCounts() const;

protected:
    /// Ends the relation for `reason`; the first reason counts.
    void end(const std::string& reason);
    /// Takes the number of a call or snapshot and ends the relation unless it is the next one.
    bool takeSequence(std::uint32_t sequence);

    virtual void onTable(CPackedData& message) = 0;
    virtual void onMap(const CPackedData& message) = 0;
    virtual void onSnapshot(const CPackedData& message) = 0;
    virtual void onAnnouncement(const CPackedData& message) = 0;
    /// A message that came by datagram, read up to its content. False when it is none that belongs there.
    virtual bool onDatagram(Msg type, CPackedData& message) = 0;
    bool takeDatagram(Msg type, CPackedData& message, unsigned long ip, unsigned short port) override;
    void onUnexpectedCall(const char* name) override;

    // What the library calls.
    void HandleMessage(CConnection* connection, const void* data, unsigned long size) override;
    void OnConnect(CConnection* connection, bool connected) override;
    void OnError(CConnection* connection, int error, int detail) override;
    const char* GetHandlerName() override { return m_name.c_str(); }

    /// The name that log lines give to the connection from now on.
    void rename(const std::string& name) { m_name = name; }
    Remote& remote() { return m_remote; }
    /// Begins to use datagrams between `socket`, which outlives this object, and `port` of the other side, 0 to learn
    /// it.
    void openDatagrams(CConnection& socket, unsigned short port, std::int64_t token);
    /// Null as long as there are none.
    DatagramPath* datagrams() { return m_datagrams.get(); }
    /// Calls the receiver's function for a call, read up to its arguments. Whether its arguments were well-formed.
    bool invoke(std::uint32_t id, CPackedData& message);
    CConnection& mutableConnection() { return *m_connection; }
    [[nodiscard]] std::uint32_t lastSequenceReceived() const { return m_sequenceReceived; }
    [[nodiscard]] Clock::duration silence() const { return Clock::now() - m_lastHeard; }

private:
    void takeCall(CPackedData& message);

    std::string m_name;
    std::unique_ptr<CConnection> m_connection;
    Remote m_remote;
    std::unique_ptr<DatagramPath> m_datagrams;
    std::uint32_t m_sequenceReceived = 0;
    std::uint32_t m_callsReceived = 0;
    Clock::time_point m_lastHeard = Clock::now();
    std::string m_endReason;
};

} // namespace arena
