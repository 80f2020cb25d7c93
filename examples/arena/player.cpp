// examples/arena/player.cpp: what a player may do, and how the server protects itself against those who are none.
#include "examples/arena/player.h"
#include "examples/arena/protocol.h"
#include "sharedlib/enums/error.h"
#include "sharedlib/log/gate.h"
#include <algorithm>
#include <cstddef>
#include <utility>

namespace arena {

namespace {

using namespace std::chrono_literals;

// A peer whose machine or line died closes nothing: only the host's own timer finds it.
constexpr auto kLongestSilence = 5s;
constexpr auto kLongestWayToJoin = 3s;
// Small buffers of the system, so that a peer that does not read is noticed before it costs much memory.
constexpr int kSendBufferBytes = 16 * 1024;
constexpr std::size_t kFightersPerDatagramMessage = 2;

} // namespace

Player::Player(PlayerHost& host, std::unique_ptr<CConnection> connection)
    : Peer(std::move(connection), "newcomer"), m_host(host) {
    mutableConnection().SetSendBufferSize(kSendBufferBytes);
    CPackedData table = beginMessage(Msg::RpcTable);
    CRpcMgr::GetInstance()->BuildTable(table);
    mutableConnection().SendMsg(table);
}

Player::~Player() {
    if (m_datagramPort != nullptr) {
        m_datagramPort->remove(m_token);
    }
    if (hasJoined()) {
        m_host.world().leave(m_fighter);
    }
}

void Player::sendSnapshot() {
    if (!hasJoined() || m_finishing || hasEnded()) {
        return;
    }
    const Snapshot snapshot{m_host.world().fighter(m_fighter), m_host.world().neighbours(m_fighter)};
    if (datagrams() != nullptr && datagrams()->isAlive()) {
        return sendByDatagram(snapshot);
    }
    CPackedData message = beginMessage(Msg::UpdateObject);
    message.PutUint32(remote().nextSequence());
    packSnapshot(message, snapshot);
    mutableConnection().SendMsg(message);
    ++m_snapshotsSent;
}

// In small parts, so that a lost datagram costs little and a crowd needs no datagram larger than a network carries.
void Player::sendByDatagram(const Snapshot& snapshot) {
    ++m_datagramSnapshotsSent;
    const std::vector<Fighter>& others = snapshot.others;
    std::size_t first = 0;
    do {
        const std::size_t last = std::min(first + kFightersPerDatagramMessage, others.size());
        CPackedData message = datagrams()->begin(Msg::UpdateObject);
        message.PutUint32(m_datagramSnapshotsSent);
        const auto at = others.begin();
        packSnapshot(message, {snapshot.self,
                               {at + static_cast<std::ptrdiff_t>(first), at + static_cast<std::ptrdiff_t>(last)}});
        datagrams()->queue(message);
        first = last;
    } while (first < others.size());
    datagrams()->flush();
}

void Player::finish() {
    if (!hasJoined()) {
        return end("did not join before the end");
    }
    if (!m_finishing) {
        remote().finish();
    }
    m_finishing = true;
}

void Player::tellHurt(std::uint32_t by, int health) {
    // The report counts what came before `finish`.
    if (!m_finishing) {
        remote().hurt(by, health);
    }
}

void Player::checkHealth() {
    if (!hasJoined() && silence() > kLongestWayToJoin) {
        end("did not join in time");
    } else if (silence() > kLongestSilence) {
        end("silent for too long");
    }
}

void Player::onJoin(const std::string& name) {
    if (hasJoined()) {
        return end("joined twice");
    }
    rename(name);
    m_fighter = m_host.world().join();
    // The name is the peer's text, so it stands behind "%s" and never in the format.
    SHAREDLIB_LOG(LogSev_Info, Log::Login, "%s joins as fighter %u", name.c_str(), m_fighter);
    m_host.playerJoined(*this);
    remote().welcome(m_fighter);
    mutableConnection().SendMsg(m_host.packedMap());
}

bool Player::requireJoined() {
    if (!hasJoined()) {
        end("plays without having joined");
    }
    return hasJoined();
}

void Player::onMove(int dx, int dy) {
    if (requireJoined()) {
        m_host.world().move(m_fighter, dx, dy);
    }
}

void Player::onHit(std::uint32_t target) {
    if (!requireJoined()) {
        return;
    }
    const HitOutcome outcome = m_host.world().hit(m_fighter, target);
    if (m_finishing) {
        return;
    }
    remote().hitResult(outcome.landed, outcome.score);
    if (outcome.landed) {
        m_host.tellHurt(target, m_fighter, outcome.targetHealth);
    }
}

void Player::complainUnless(bool good, const char* complaint) {
    if (!good) {
        m_complaints.emplace_back(complaint);
    }
}

void Player::onReport(const GameReport& report) {
    if (!requireJoined()) {
        return;
    }
    complainUnless(report.lastSequence == remote().lastSequence(), "messages of the server got lost");
    complainUnless(report.snapshots == m_snapshotsSent, "snapshots got lost");
    complainUnless(report.mapIntact, "the map did not arrive intact");
    checkDatagrams(report);
    m_clientLagMs = report.lagMs;
    m_reported = true;
    end("left in order");
}

void Player::checkDatagrams(const GameReport& report) {
    if (m_datagramPort == nullptr) {
        return complainUnless(report.datagramsSent == 0, "datagrams without an announcement");
    }
    // The report came over the stream and may have overtaken the last datagrams.
    m_datagramPort->handleEvent();
    datagrams()->expect(report.datagramsSent);
    const DatagramCounts counts = datagrams()->counts();
    const std::uint64_t arrived = std::uint64_t{report.datagramsReceived} + report.datagramsLate;
    complainUnless(report.datagramsReceived <= counts.messagesOut, "more datagrams than were sent");
    // A network may double datagrams, and the second one counts as late.
    m_datagramsLost = counts.messagesOut - std::min(arrived, counts.messagesOut);
}

void Player::onAnnouncement(const CPackedData& message) {
    const unsigned short port = message.GetUint16();
    const std::int64_t token = message.GetInt64();
    if (!requireJoined()) {
        return;
    }
    DatagramPort* const ours = m_host.findDatagramPort();
    if (datagrams() != nullptr || (ours != nullptr && !ours->add(token, *this))) {
        return end("announced a port or token twice");
    }
    CPackedData answer = beginMessage(Msg::UDPAnnouncement);
    answer.PutUint16(ours != nullptr ? ours->connection().GetLocalPort() : 0);
    mutableConnection().SendMsg(answer);
    if (ours == nullptr) {
        return;
    }
    m_datagramPort = ours;
    m_token = token;
    // The announced port is where the client is bound; an address translator shows it to us as another one. So nothing
    // is sent before a datagram with the token has come from the client's address.
    openDatagrams(ours->connection(), 0, token);
    SHAREDLIB_LOG(LogSev_Info, Log::Login, "Fighter %u announces UDP port %u", m_fighter, port);
}

bool Player::onDatagram(Msg type, CPackedData& message) {
    if (type == Msg::UDPAnnouncement) {
        return true;
    }
    if (type != Msg::RpcCallFunction || message.GetUint32() != static_cast<std::uint32_t>(CallId::Move)) {
        return false;
    }
    return invoke(static_cast<std::uint32_t>(CallId::Move), message);
}

void Player::onTable(CPackedData& /*message*/) {
    end("sent a table");
}

void Player::onMap(const CPackedData& /*message*/) {
    end("sent a map");
}

void Player::onSnapshot(const CPackedData& /*message*/) {
    end("sent a snapshot");
}

bool Player::CheckMessageSize(unsigned long size) {
    if (size <= kLargestClientMessage) {
        return true;
    }
    end(Error_ValueToDescription(Error::BadClientPacketTooBig));
    // The rest of a refused frame would be taken for new frames.
    mutableConnection().Reset();
    return false;
}

} // namespace arena
