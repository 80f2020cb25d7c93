// examples/arena/calls.cpp: packs, sends and unpacks the remote calls of the arena.
#include "examples/arena/calls.h"
#include "examples/arena/protocol.h"
#include <array>

namespace arena {

namespace {

/// One remote call: its identifier, its name and the function that unpacks its arguments for the receiver. A host with
/// larger calls derives one class per call instead.
class Call final : public CRpc {
public:
    using Body = void (*)(Receiver& receiver, CPackedData& arguments);

    Call(CallId id, const char* name, Body body) : m_id(id), m_name(name), m_body(body) {}

    void Reserved() override {}
    std::uint32_t GetId() const override { return static_cast<std::uint32_t>(m_id); }
    const char* GetName() const override { return m_name; }
    void OnRegister() override {}
    void Invoke(Receiver* receiver, std::int64_t /*value*/, CPackedData& arguments) override {
        m_body(*receiver, arguments);
    }

private:
    CallId m_id;
    const char* m_name;
    Body m_body;
};

void unpackMove(Receiver& receiver, CPackedData& arguments) {
    // One statement per value: the order in which a call's arguments are evaluated is not fixed.
    const int dx = arguments.GetInt16();
    const int dy = arguments.GetInt16();
    receiver.onMove(dx, dy);
}

void unpackReport(Receiver& receiver, CPackedData& arguments) {
    GameReport report;
    report.lastSequence = arguments.GetUint32();
    report.snapshots = arguments.GetUint32();
    report.lagMs = arguments.GetUint32();
    report.mapIntact = arguments.GetBool();
    report.datagramsSent = arguments.GetUint32();
    report.datagramsReceived = arguments.GetUint32();
    report.datagramsLate = arguments.GetUint32();
    receiver.onReport(report);
}

void unpackHitResult(Receiver& receiver, CPackedData& arguments) {
    const bool landed = arguments.GetBool();
    const auto score = arguments.GetUint32();
    receiver.onHitResult(landed, score);
}

void unpackHurt(Receiver& receiver, CPackedData& arguments) {
    const auto by = arguments.GetUint32();
    const int health = arguments.GetInt16();
    receiver.onHurt(by, health);
}

// The descriptors belong to the host and live as long as the program.
std::array s_calls{
    Call(CallId::Join, "Join", [](Receiver& to, CPackedData& in) { to.onJoin(in.GetString()); }),
    Call(CallId::Move, "Move", unpackMove),
    Call(CallId::Hit, "Hit", [](Receiver& to, CPackedData& in) { to.onHit(in.GetUint32()); }),
    Call(CallId::Leave, "Leave", [](Receiver& to, CPackedData& /*in*/) { to.onLeave(); }),
    Call(CallId::Report, "Report", unpackReport),
    Call(CallId::Welcome, "Welcome", [](Receiver& to, CPackedData& in) { to.onWelcome(in.GetUint32()); }),
    Call(CallId::HitResult, "HitResult", unpackHitResult),
    Call(CallId::Hurt, "Hurt", unpackHurt),
    Call(CallId::Finish, "Finish", [](Receiver& to, CPackedData& /*in*/) { to.onFinish(); }),
};

Call s_stranger(static_cast<CallId>(0xDEADFEED), "Stranger", [](Receiver& /*to*/, CPackedData& /*in*/) {});

} // namespace

void registerCalls(bool withStranger) {
    for (Call& call : s_calls) {
        call.AddToStaticList();
    }
    if (withStranger) {
        s_stranger.AddToStaticList();
    }
}

CPackedData Remote::begin(CallId id) {
    CPackedData call = beginMessage(Msg::RpcCallFunction);
    call.PutUint32(nextSequence());
    call.PutUint32(static_cast<std::uint32_t>(id));
    return call;
}

void Remote::send(CPackedData& call) {
    ++m_callsSent;
    Rpc_SendMessageFunction(&m_connection, call);
}

void Remote::join(const std::string& name) {
    CPackedData call = begin(CallId::Join);
    call.PutString(name);
    send(call);
}

void Remote::move(int dx, int dy) {
    const bool byDatagram = m_datagrams != nullptr && m_datagrams->isAlive();
    CPackedData call = byDatagram ? m_datagrams->begin(Msg::RpcCallFunction) : beginMessage(Msg::RpcCallFunction);
    if (!byDatagram) {
        call.PutUint32(nextSequence());
    }
    call.PutUint32(static_cast<std::uint32_t>(CallId::Move));
    call.PutInt16(static_cast<std::int16_t>(dx));
    call.PutInt16(static_cast<std::int16_t>(dy));
    if (!byDatagram) {
        return send(call);
    }
    ++m_callsSent;
    m_datagrams->queue(call);
}

void Remote::hit(std::uint32_t target) {
    CPackedData call = begin(CallId::Hit);
    call.PutUint32(target);
    send(call);
}

void Remote::leave() {
    CPackedData call = begin(CallId::Leave);
    send(call);
}

void Remote::report(const GameReport& report) {
    CPackedData call = begin(CallId::Report);
    call.PutUint32(report.lastSequence);
    call.PutUint32(report.snapshots);
    call.PutUint32(report.lagMs);
    call.PutBool(report.mapIntact);
    call.PutUint32(report.datagramsSent);
    call.PutUint32(report.datagramsReceived);
    call.PutUint32(report.datagramsLate);
    send(call);
}

void Remote::welcome(std::uint32_t player) {
    CPackedData call = begin(CallId::Welcome);
    call.PutUint32(player);
    send(call);
}

void Remote::hitResult(bool landed, std::uint32_t score) {
    CPackedData call = begin(CallId::HitResult);
    call.PutBool(landed);
    call.PutUint32(score);
    send(call);
}

void Remote::hurt(std::uint32_t by, int health) {
    CPackedData call = begin(CallId::Hurt);
    call.PutUint32(by);
    call.PutInt16(static_cast<std::int16_t>(health));
    send(call);
}

void Remote::finish() {
    CPackedData call = begin(CallId::Finish);
    send(call);
}

} // namespace arena
