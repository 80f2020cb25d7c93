// examples/arena/bot.cpp: what a player does all day.
#include "examples/arena/bot.h"
#include "examples/arena/world.h"
#include "sharedlib/enums/error.h"
#include "sharedlib/log/gate.h"

namespace arena {

Bot::Bot(const std::string& address, const std::string& name, std::uint32_t seed, EventPoller* datagramPoller)
    : Peer(std::make_unique<CConnection>(), name), m_name(name), m_datagramPoller(datagramPoller), m_random(seed) {
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
    if (m_datagramPoller != nullptr && m_datagramPort == nullptr) {
        announceDatagrams();
    }
}

void Bot::announceDatagrams() {
    m_datagramPort = std::make_unique<DatagramPort>(*m_datagramPoller, 0);
    if (!m_datagramPort->isOpen()) {
        return m_datagramPort.reset();
    }
    // Nobody may guess it: who knows it can move our fighter.
    std::random_device random;
    m_token = static_cast<std::int64_t>((std::uint64_t{random()} << 32U) | random());
    m_datagramPort->add(m_token, *this);
    CPackedData message = beginMessage(Msg::UDPAnnouncement);
    message.PutUint16(m_datagramPort->connection().GetLocalPort());
    message.PutInt64(m_token);
    mutableConnection().SendMsg(message);
}

void Bot::onAnnouncement(const CPackedData& message) {
    const unsigned short port = message.GetUint16();
    if (m_datagramPort == nullptr || datagrams() != nullptr) {
        return end("unexpected announcement");
    }
    if (port != 0) {
        openDatagrams(m_datagramPort->connection(), port, m_token);
    }
}

bool Bot::onDatagram(Msg type, CPackedData& message) {
    const std::uint32_t number = message.GetUint32();
    Snapshot part;
    if (type != Msg::UpdateObject || !unpackSnapshot(message, part) || part.self.id != m_fighter) {
        return false;
    }
    if (number != m_viewNumber) {
        m_view.others.clear();
    }
    m_viewNumber = number;
    m_view.self = part.self;
    m_view.others.insert(m_view.others.end(), part.others.begin(), part.others.end());
    return true;
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
    if (datagrams() != nullptr && !datagrams()->isAlive()) {
        datagrams()->queue(datagrams()->begin(Msg::UDPAnnouncement));
    }
    for (int moves = 0; moves < kMovesPerTurn; ++moves) {
        const int dx = step(m_random);
        remote().move(dx, step(m_random));
    }
    if (datagrams() != nullptr) {
        datagrams()->flush();
    }
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
    if (m_datagramPort != nullptr) {
        // The call came over the stream and may have overtaken the last datagrams.
        m_datagramPort->handleEvent();
    }
    const DatagramCounts counts = datagramCounts();
    remote().report({lastSequenceReceived(), m_snapshots, static_cast<std::uint32_t>(connection().GetLag()),
                     m_mapIntact, static_cast<std::uint32_t>(counts.messagesOut),
                     static_cast<std::uint32_t>(counts.messagesIn), static_cast<std::uint32_t>(counts.lateIn)});
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
