// examples/arena/server.h: the arena's server: its players, its frames and what it measures.
#pragma once
#include "examples/arena/meter.h"
#include "examples/arena/player.h"
#include "examples/arena/world.h"
#include "sharedlib/net/event_wait.h"
#include "sharedlib/net/listen_handler.h"
#include "sharedlib/net/listener.h"
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace arena {

/// What the server counts, from its start or over a period.
struct Traffic {
    std::uint64_t callsIn = 0;
    std::uint64_t callsOut = 0;
    std::uint64_t messagesIn = 0;
    std::uint64_t messagesOut = 0;
    std::uint64_t bytesIn = 0;
    std::uint64_t bytesOut = 0;
    /// What of it went by datagram.
    DatagramCounts datagrams;

    Traffic& operator+=(const Traffic& other);
    friend Traffic operator-(const Traffic& one, const Traffic& other);
};

/// What the screen shows once a second.
struct ServerStatus {
    std::size_t players = 0;
    std::size_t connections = 0;
    std::size_t finished = 0;
    Traffic traffic;
    std::uint64_t queuedBytes = 0;
    /// The most messages that came in one datagram.
    unsigned long mostPerPacket = 0;
    Spread lagMs;
    Spread frameMs;
};

/// Runs the arena in frames of a fixed length. Owns the listener and all connections.
class ArenaServer final : public CListenHandler, public PlayerHost {
public:
    static constexpr int kFramesPerSecond = 30;

    /// `takesDatagrams` false: everything goes over the streams.
    explicit ArenaServer(bool takesDatagrams);
    ArenaServer(const ArenaServer&) = delete;
    ArenaServer& operator=(const ArenaServer&) = delete;
    /// Closes all connections and the listener.
    ~ArenaServer() = default;

    /// Opens the first free port from `port` upwards; false when there is none.
    bool open(unsigned short port);
    [[nodiscard]] unsigned short port() const { return m_listener.GetPort(); }

    /// One frame: sends what is queued, handles events until the frame is over, then moves the game on.
    void runFrame();
    /// Asks every player to leave and takes no new ones.
    void finish();
    [[nodiscard]] bool isEmpty() const { return m_players.empty(); }

    /// What happened, with the lag and frame times since the last call.
    ServerStatus status();
    /// Lag and frame times of the whole run, and the lag that the clients measured.
    [[nodiscard]] Spread totalLagMs() const { return m_totalLag.spread(); }
    [[nodiscard]] Spread totalFrameMs() const { return m_totalFrame.spread(); }
    [[nodiscard]] Spread clientLagMs() const { return m_clientLag.spread(); }
    /// How many players have joined.
    [[nodiscard]] std::size_t joined() const { return m_joined; }
    /// Players that have left in order with nothing to complain about.
    [[nodiscard]] std::size_t finished() const { return m_finished; }
    /// Connections that ended, by the reason.
    [[nodiscard]] const std::map<std::string, int>& endReasons() const { return m_endReasons; }
    /// What the final reports of players did not agree with.
    [[nodiscard]] const std::map<std::string, int>& complaints() const { return m_complaints; }
    /// Messages to players that have left in order: those that went by datagram, and those of them that were lost.
    [[nodiscard]] std::uint64_t datagramsReported() const { return m_datagramsReported; }
    [[nodiscard]] std::uint64_t datagramsLost() const { return m_datagramsLost; }
    /// Messages in datagrams that were too late, forged or malformed.
    [[nodiscard]] std::uint64_t datagramsRefused() const;
    /// The error that closed the listener; 0 as long as all is well.
    [[nodiscard]] int listenError() const { return m_listenError; }

private:
    // CListenHandler
    void OnAccept(CListener* listener, CConnection* connection) override;
    void OnListenError(CListener* listener, int error) override;
    // PlayerHost
    World& world() override { return m_world; }
    const CPackedData& packedMap() override { return m_packedMap; }
    void tellHurt(std::uint32_t id, std::uint32_t by, int health) override;
    void playerJoined(Player& player) override;
    DatagramPort* findDatagramPort() override;

    void handleEvents(Clock::time_point until);
    void step();
    void removeEnded();
    void takeLeave(const Player& player);

    World m_world;
    CPackedData m_packedMap;
    // Declared before what it watches, so that it goes last.
    EventPoller m_poller;
    CListener m_listener;
    bool m_takesDatagrams;
    // Before the players, who use them to the last.
    std::vector<std::unique_ptr<DatagramPort>> m_datagramPorts;
    std::vector<std::unique_ptr<Player>> m_players;
    std::map<std::uint32_t, Player*> m_playersByFighter;
    Clock::time_point m_nextFrame;
    Clock::duration m_waited{};
    std::uint64_t m_frame = 0;

    std::size_t m_joined = 0;
    std::size_t m_finished = 0;
    int m_listenError = 0;
    Traffic m_goneTraffic;
    std::map<std::string, int> m_endReasons;
    std::map<std::string, int> m_complaints;
    std::uint64_t m_datagramsReported = 0;
    std::uint64_t m_datagramsLost = 0;
    Samples m_lag;
    Samples m_frameTime;
    Samples m_totalLag;
    Samples m_totalFrame;
    Samples m_clientLag;
};

} // namespace arena
