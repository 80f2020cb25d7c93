// examples/arena/bot.h: the client's side of one player, who plays by itself.
#pragma once
#include "examples/arena/peer.h"
#include "examples/arena/protocol.h"
#include <cstdint>
#include <random>
#include <string>

namespace arena {

/// How a bot's game ended.
enum class BotResult {
    /// It still plays.
    Playing,
    /// It left in order: its report is with the server, which closed the connection.
    Finished,
    /// The server's table of calls is not ours, so it did not play.
    Refused,
    /// Anything else.
    Failed,
};

/// Connects, checks the server's table of calls, joins, takes ten turns a second until it leaves or is told to
/// finish, and reports what it has seen.
class Bot final : public Peer {
public:
    static constexpr int kTurnsPerSecond = 10;
    /// The moves of a turn travel together.
    static constexpr int kMovesPerTurn = 3;

    /// Starts to connect to `address` (host and port). The name goes into the log and to the server.
    /// Its datagrams' socket goes into `datagramPoller`, which outlives the bot; null for a game over the stream alone.
    Bot(const std::string& address, const std::string& name, std::uint32_t seed, EventPoller* datagramPoller);
    ~Bot() override = default;

    /// Moves at random and hits somebody near, if there is anybody.
    void play();
    /// Asks the server to let the player go.
    void leave();
    [[nodiscard]] BotResult result() const;

private:
    void onWelcome(std::uint32_t player) override;
    void onHitResult(bool landed, std::uint32_t score) override;
    void onHurt(std::uint32_t by, int health) override;
    void onFinish() override;
    void onTable(CPackedData& message) override;
    void onMap(const CPackedData& message) override;
    void onSnapshot(const CPackedData& message) override;
    void onAnnouncement(const CPackedData& message) override;
    bool onDatagram(Msg type, CPackedData& message) override;
    bool CheckMessageSize(unsigned long size) override;
    void OnConnect(CConnection* connection, bool connected) override;

    void announceDatagrams();

    std::string m_name;
    EventPoller* m_datagramPoller;
    std::unique_ptr<DatagramPort> m_datagramPort;
    std::int64_t m_token = 0;
    std::mt19937 m_random;
    std::uint32_t m_fighter = 0;
    std::uint32_t m_snapshots = 0;
    std::uint32_t m_hitsAsked = 0;
    std::uint32_t m_hitsAnswered = 0;
    Snapshot m_view;
    std::uint32_t m_viewNumber = 0;
    bool m_mapIntact = false;
    bool m_leaving = false;
    bool m_refused = false;
    bool m_reported = false;
    bool m_finished = false;
};

} // namespace arena
