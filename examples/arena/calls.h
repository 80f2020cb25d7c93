// examples/arena/calls.h: the remote calls of the arena, shared by server and client.
//
// A call is made by a function of `Remote`, which packs its arguments and sends them; it arrives as a call of the
// function of the same name of `Receiver` on the other side. The bodies in calls.cpp unpack the arguments in between.
#pragma once
#include "examples/arena/datagram_path.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/rpc/rpc_mgr.h"
#include <cstdint>
#include <string>

namespace arena {

/// The identifiers by which the two sides know the calls. Their table digests compare these numbers, so give every call
/// a new number that changes its arguments.
enum class CallId : std::uint32_t {
    // From a client to the server.
    Join = 0x21A0F3D4,
    Move = 0x93C7705B,
    Hit = 0x5E1189C2,
    Leave = 0xC40B62E9,
    Report = 0x77D2A511,
    // From the server to a client.
    Welcome = 0x08B3416F,
    HitResult = 0xE65F9D07,
    Hurt = 0x3A94CE78,
    Finish = 0xB12E0746,
};

/// What a client found out about a whole game, told to the server at its end.
struct GameReport {
    std::uint32_t lastSequence = 0;
    std::uint32_t snapshots = 0;
    std::uint32_t lagMs = 0;
    bool mapIntact = false;
    /// Messages that went by datagram: sent, taken, and received too late to be taken.
    std::uint32_t datagramsSent = 0;
    std::uint32_t datagramsReceived = 0;
    std::uint32_t datagramsLate = 0;
};

} // namespace arena

/// Who receives the calls that come over a connection. The library leaves this class to the host: it is the context
/// that `CRpcMgr::CallFunction` hands to the bodies. Each side overrides the calls meant for it; any other is
/// unexpected.
class Kest::Orv::orvContextObj {
public:
    virtual ~orvContextObj() = default;

    virtual void onJoin(const std::string& /*name*/) { onUnexpectedCall("Join"); }
    virtual void onMove(int /*dx*/, int /*dy*/) { onUnexpectedCall("Move"); }
    virtual void onHit(std::uint32_t /*target*/) { onUnexpectedCall("Hit"); }
    virtual void onLeave() { onUnexpectedCall("Leave"); }
    virtual void onReport(const arena::GameReport& /*report*/) { onUnexpectedCall("Report"); }

    virtual void onWelcome(std::uint32_t /*player*/) { onUnexpectedCall("Welcome"); }
    virtual void onHitResult(bool /*landed*/, std::uint32_t /*score*/) { onUnexpectedCall("HitResult"); }
    virtual void onHurt(std::uint32_t /*by*/, int /*health*/) { onUnexpectedCall("Hurt"); }
    virtual void onFinish() { onUnexpectedCall("Finish"); }

protected:
    virtual void onUnexpectedCall(const char* name) = 0;
};

namespace arena {

using Receiver = Kest::Orv::orvContextObj;

/// The other side of a connection. Numbers what it sends over the stream, calls and snapshots together, from 1. What
/// goes by datagram has the numbers of its path.
class Remote {
public:
    /// Sends over `connection`, which outlives this object.
    explicit Remote(CConnection& connection) : m_connection(connection) {}

    /// Lets moves go by datagram whenever `path` is alive. It is flushed by whoever owns it.
    void setDatagrams(DatagramPath* path) { m_datagrams = path; }

    void join(const std::string& name);
    /// A move that is lost does not matter, for the next ones follow.
    void move(int dx, int dy);
    void hit(std::uint32_t target);
    void leave();
    void report(const GameReport& report);

    void welcome(std::uint32_t player);
    void hitResult(bool landed, std::uint32_t score);
    void hurt(std::uint32_t by, int health);
    void finish();

    /// Takes the next number for a message that is not a call.
    std::uint32_t nextSequence() { return ++m_sequence; }
    /// The number of the last message.
    [[nodiscard]] std::uint32_t lastSequence() const { return m_sequence; }
    [[nodiscard]] std::uint32_t callsSent() const { return m_callsSent; }

private:
    CPackedData begin(CallId id);
    void send(CPackedData& call);

    CConnection& m_connection;
    DatagramPath* m_datagrams = nullptr;
    std::uint32_t m_sequence = 0;
    std::uint32_t m_callsSent = 0;
};

/// Puts the descriptors of all calls on the registration list; once, before the first `CRpcMgr::GetInstance`.
/// `withStranger` adds one that nobody else has, so that the table's digest differs from everybody else's.
void registerCalls(bool withStranger = false);

} // namespace arena
