// examples/arena/bot.cpp: what a player does all day.
#include "examples/arena/bot.h"
#include "examples/arena/world.h"
#include "sharedlib/enums/error.h"
#include "sharedlib/log/gate.h"

namespace arena {

Bot::Bot(const std::string& address, const std::string& name, std::uint32_t seed)
    : Peer(std::make_unique<CConnection>(), name), m_name(name), m_random(seed) {
    mutableConnection().InitStream(address);
    if (connection().GetState() == CConnection::InError) {
        end("could not start to connect");
    }
}

void Bot::OnConnect(CConnection* connection, bool connected) {
    if (!connected && m_reported) {
        // The server closes when it has the report.
        m_finished = true;
    }
    Peer::OnConnect(connection, connected);
}

void Bot::onTable(CPackedData& message) {
    if (!CRpcMgr::GetInstance()->ParseTable(message)) {
        // The two sides were built with different calls and would misunderstand each other.
        m_refused = true;
        return end(Error_ValueToDescription(Error::RpcTable));
    }
    remote().join(m_name);
}

void Bot::onWelcome(std::uint32_t player) {
    m_fighter = player;
}

void Bot::onMap(const CPackedData& message) {
    m_mapIntact = checkMap(message);
}

void Bot::onSnapshot(const CPackedData& message) {
    if (!takeSequence(message.GetUint32())) {
        return;
    }
    ++m_snapshots;
    if (!unpackSnapshot(message, m_view) || m_view.self.id != m_fighter) {
        end("malformed snapshot");
    }
}

void Bot::play() {
    if (m_fighter == 0 || m_leaving || hasEnded()) {
        return;
    }
    std::uniform_int_distribution<int> step(-World::kStep, World::kStep);
    const int dx = step(m_random);
    remote().move(dx, step(m_random));
    if (!m_view.others.empty()) {
        ++m_hitsAsked;
        remote().hit(m_view.others[m_random() % m_view.others.size()].id);
    }
}

void Bot::leave() {
    if (m_fighter == 0) {
        return end("left before the game began");
    }
    if (!m_leaving) {
        remote().leave();
    }
    m_leaving = true;
}

void Bot::onHitResult(bool /*landed*/, std::uint32_t /*score*/) {
    ++m_hitsAnswered;
}

void Bot::onHurt(std::uint32_t /*by*/, int health) {
    m_view.self.health = health;
}

void Bot::onFinish() {
    m_leaving = true;
    m_reported = true;
    remote().report(
        {lastSequenceReceived(), m_snapshots, static_cast<std::uint32_t>(connection().GetLag()), m_mapIntact});
}

bool Bot::CheckMessageSize(unsigned long size) {
    if (size <= kLargestServerMessage) {
        return true;
    }
    end("the server announces too large a message");
    mutableConnection().Reset();
    return false;
}

BotResult Bot::result() const {
    if (m_finished) {
        return BotResult::Finished;
    }
    if (m_refused) {
        return BotResult::Refused;
    }
    return hasEnded() ? BotResult::Failed : BotResult::Playing;
}

} // namespace arena
