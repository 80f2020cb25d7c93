// examples/arena/server.cpp: the server's frame loop.
#include "examples/arena/server.h"
#include "examples/arena/protocol.h"
#include "sharedlib/log/gate.h"
#include <algorithm>
#include <array>
#include <utility>

namespace arena {

namespace {

constexpr std::uint32_t kMapSeed = 7;
constexpr std::uint64_t kFramesPerSnapshot = 3;
constexpr auto kFrame =
    std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1)) / ArenaServer::kFramesPerSecond;

double inMilliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

Traffic trafficOf(const Player& player) {
    const CConnection& connection = player.connection();
    const DatagramCounts datagrams = player.datagramCounts();
    return {player.callsReceived(),
            player.callsSent(),
            connection.getMessagesReceived() + datagrams.messagesIn,
            connection.getMessagesSent() + datagrams.messagesOut,
            connection.getBytesReceived() + datagrams.bytesIn,
            connection.getBytesSent() + datagrams.bytesOut,
            datagrams};
}

} // namespace

Traffic& Traffic::operator+=(const Traffic& other) {
    callsIn += other.callsIn;
    callsOut += other.callsOut;
    messagesIn += other.messagesIn;
    messagesOut += other.messagesOut;
    bytesIn += other.bytesIn;
    bytesOut += other.bytesOut;
    datagrams += other.datagrams;
    return *this;
}

Traffic operator-(const Traffic& one, const Traffic& other) {
    return {one.callsIn - other.callsIn,         one.callsOut - other.callsOut, one.messagesIn - other.messagesIn,
            one.messagesOut - other.messagesOut, one.bytesIn - other.bytesIn,   one.bytesOut - other.bytesOut,
            one.datagrams - other.datagrams};
}

ArenaServer::ArenaServer(bool takesDatagrams)
    : m_packedMap(packMap(makeMap(kMapSeed))), m_takesDatagrams(takesDatagrams), m_nextFrame(Clock::now()) {
}

bool ArenaServer::open(unsigned short port) {
    const bool opened = m_listener.Init(this, 0, port, true) == 0;
    return opened && m_poller.add(m_listener.GetEventHandle(), &m_listener);
}

void ArenaServer::OnAccept(CListener* /*listener*/, CConnection* connection) {
    m_players.push_back(std::make_unique<Player>(*this, std::unique_ptr<CConnection>(connection)));
    m_poller.add(connection->GetEventHandle(), static_cast<EventTarget*>(m_players.back().get()));
}

void ArenaServer::OnListenError(CListener* /*listener*/, int error) {
    SHAREDLIB_LOG(LogSev_Error, Log::Network, "The listener has closed with error %d", error);
    m_listenError = error;
}

void ArenaServer::playerJoined(Player& player) {
    m_playersByFighter.emplace(player.fighter(), &player);
    ++m_joined;
}

DatagramPort* ArenaServer::findDatagramPort() {
    if (!m_takesDatagrams) {
        return nullptr;
    }
    const auto roomy =
        std::find_if(m_datagramPorts.begin(), m_datagramPorts.end(), [](const auto& port) { return !port->isFull(); });
    if (roomy != m_datagramPorts.end()) {
        return roomy->get();
    }
    auto port = std::make_unique<DatagramPort>(m_poller, m_listener.GetPort());
    if (!port->isOpen()) {
        return nullptr;
    }
    m_datagramPorts.push_back(std::move(port));
    return m_datagramPorts.back().get();
}

std::uint64_t ArenaServer::datagramsRefused() const {
    std::uint64_t refused = 0;
    for (const auto& port : m_datagramPorts) {
        refused += port->refused();
    }
    return refused;
}

void ArenaServer::tellHurt(std::uint32_t id, std::uint32_t by, int health) {
    if (const auto found = m_playersByFighter.find(id); found != m_playersByFighter.end()) {
        found->second->tellHurt(by, health);
    }
}

void ArenaServer::runFrame() {
    // A frame that took too long is not made up for: the next one starts now.
    m_nextFrame = std::max(m_nextFrame + kFrame, Clock::now());
    const auto start = Clock::now();
    for (const auto& player : m_players) {
        player->beginFrame();
    }
    m_waited = {};
    handleEvents(m_nextFrame);
    step();
    const double frameMs = inMilliseconds(Clock::now() - start - m_waited);
    m_frameTime.add(frameMs);
    m_totalFrame.add(frameMs);
}

void ArenaServer::handleEvents(Clock::time_point until) {
    std::array<void*, 256> signalled{};
    for (auto now = Clock::now(); now < until;) {
        const auto timeout = std::chrono::ceil<std::chrono::milliseconds>(until - now);
        const int count = m_poller.wait(signalled.data(), static_cast<int>(signalled.size()),
                                        static_cast<unsigned long>(timeout.count()));
        const auto woken = Clock::now();
        m_waited += woken - now;
        for (int index = 0; index < count; ++index) {
            void* const who = signalled[static_cast<std::size_t>(index)];
            if (who == &m_listener) {
                m_listener.HandleEvent();
            } else {
                static_cast<EventTarget*>(who)->handleEvent();
            }
        }
        // Only now, when no signalled pointer is left to be used.
        removeEnded();
        now = Clock::now();
    }
}

void ArenaServer::step() {
    ++m_frame;
    for (const auto& player : m_players) {
        // Spread over the frames by the fighter's number, so that every frame has its share of the work.
        const std::uint64_t turn = m_frame + player->fighter();
        if (turn % kFramesPerSnapshot == 0) {
            player->sendSnapshot();
        }
        if (turn % kFramesPerSecond == 0) {
            player->pulse();
            player->checkHealth();
            m_lag.add(static_cast<double>(player->connection().GetLag()));
            m_totalLag.add(static_cast<double>(player->connection().GetLag()));
        }
    }
    removeEnded();
}

void ArenaServer::removeEnded() {
    const auto firstEnded = std::stable_partition(m_players.begin(), m_players.end(),
                                                  [](const auto& player) { return !player->hasEnded(); });
    std::for_each(firstEnded, m_players.end(), [this](const auto& player) { takeLeave(*player); });
    m_players.erase(firstEnded, m_players.end());
}

void ArenaServer::takeLeave(const Player& player) {
    const bool inOrder = player.hasReported() && player.complaints().empty();
    const std::string who = player.hasJoined() ? "Fighter " + std::to_string(player.fighter()) : "A stranger";
    SHAREDLIB_LOG(player.hasReported() ? LogSev_Info : LogSev_Warning, Log::Login, "%s at %s:%d ended: %s", who.c_str(),
                  player.connection().GetIpAsString().c_str(), player.connection().GetRemotePort(),
                  player.endReason().c_str());
    m_goneTraffic += trafficOf(player);
    m_playersByFighter.erase(player.fighter());
    ++m_endReasons[player.endReason()];
    for (const std::string& complaint : player.complaints()) {
        ++m_complaints[complaint];
    }
    if (player.hasReported()) {
        m_clientLag.add(player.clientLagMs());
        m_datagramsReported += player.datagramCounts().messagesOut;
        m_datagramsLost += player.datagramsLost();
    }
    m_finished += inOrder ? 1 : 0;
}

void ArenaServer::finish() {
    m_listener.Reset();
    for (const auto& player : m_players) {
        player->finish();
    }
}

ServerStatus ArenaServer::status() {
    ServerStatus status;
    status.connections = m_players.size();
    status.players = m_playersByFighter.size();
    status.finished = m_finished;
    status.traffic = m_goneTraffic;
    for (const auto& player : m_players) {
        status.traffic += trafficOf(*player);
        status.queuedBytes += player->connection().getOutboundByteCount();
    }
    for (const auto& port : m_datagramPorts) {
        status.mostPerPacket = std::max(status.mostPerPacket, port->takeMostPerPacket());
    }
    status.lagMs = m_lag.spread();
    status.frameMs = m_frameTime.spread();
    m_lag.clear();
    m_frameTime.clear();
    return status;
}

} // namespace arena
