// examples/arena/player.cpp: what a player may do, and how the server protects itself against those who are none.
#include "examples/arena/player.h"
#include "examples/arena/protocol.h"
#include "sharedlib/enums/error.h"
#include "sharedlib/log/gate.h"
#include <utility>

namespace arena {

namespace {

using namespace std::chrono_literals;

// A peer whose machine or line died closes nothing: only the host's own timer finds it.
constexpr auto kLongestSilence = 5s;
constexpr auto kLongestWayToJoin = 3s;
// Small buffers of the system, so that a peer that does not read is noticed before it costs much memory.
constexpr int kSendBufferBytes = 16 * 1024;

} // namespace

Player::Player(PlayerHost& host, std::unique_ptr<CConnection> connection)
    : Peer(std::move(connection), "newcomer"), m_host(host) {
    mutableConnection().SetSendBufferSize(kSendBufferBytes);
    CPackedData table = beginMessage(Msg::RpcTable);
    CRpcMgr::GetInstance()->BuildTable(table);
    mutableConnection().SendMsg(table);
}

Player::~Player() {
    if (hasJoined()) {
        m_host.world().leave(m_fighter);
    }
}

void Player::sendSnapshot() {
    if (!hasJoined() || m_finishing || hasEnded()) {
        return;
    }
    const Snapshot snapshot{m_host.world().fighter(m_fighter), m_host.world().neighbours(m_fighter)};
    mutableConnection().SendMsg(packSnapshot(remote().nextSequence(), snapshot));
    ++m_snapshotsSent;
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
    m_clientLagMs = report.lagMs;
    m_reported = true;
    end("left in order");
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
