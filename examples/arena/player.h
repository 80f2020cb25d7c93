// examples/arena/player.h: the server's side of one player.
#pragma once
#include "examples/arena/peer.h"
#include "examples/arena/protocol.h"
#include "examples/arena/world.h"
#include <memory>
#include <string>
#include <vector>

namespace arena {

class Player;

/// What a player needs of the server.
class PlayerHost {
public:
    /// Called once when a player has a fighter.
    virtual void playerJoined(Player& player) = 0;
    virtual World& world() = 0;
    /// The map, packed once for all.
    virtual const CPackedData& packedMap() = 0;
    /// A port with room for another player; it outlives the player. Null when the server takes no datagrams.
    virtual DatagramPort* findDatagramPort() = 0;
    /// Tells the player with the fighter `id`, if there is one, that `by` has hurt it.
    virtual void tellHurt(std::uint32_t id, std::uint32_t by, int health) = 0;

protected:
    ~PlayerHost() = default;
};

/// A connection from its acceptance to its end. A client may join, then move and hit, and then leaves in order: it is
/// told `finish`, answers with a report of what it has seen, and the report is compared with what was sent.
class Player final : public Peer {
public:
    /// `host` outlives the player. The table's digest is sent at once.
    Player(PlayerHost& host, std::unique_ptr<CConnection> connection);
    ~Player() override;

    /// Sends what the player sees now.
    void sendSnapshot();
    /// Stops snapshots and asks for the final report, once.
    void finish();
    /// Ends a player that has been silent for too long, a connection that never joins, and one that does not read.
    void checkHealth();

    [[nodiscard]] bool hasJoined() const { return m_fighter != 0; }
    /// Whether the final report has arrived. Then `complaints` says what does not agree.
    [[nodiscard]] bool hasReported() const { return m_reported; }
    [[nodiscard]] const std::vector<std::string>& complaints() const { return m_complaints; }
    [[nodiscard]] std::uint32_t fighter() const { return m_fighter; }
    [[nodiscard]] std::uint32_t snapshotsSent() const { return m_snapshotsSent; }
    /// The lag that the client measured, known with its report.
    [[nodiscard]] std::uint32_t clientLagMs() const { return m_clientLagMs; }
    /// Messages to the client that went by datagram and did not arrive, known with its report.
    [[nodiscard]] std::uint64_t datagramsLost() const { return m_datagramsLost; }
    /// Tells the client that `by` has hurt its fighter, unless the game is over for it.
    void tellHurt(std::uint32_t by, int health);

private:
    void onJoin(const std::string& name) override;
    void onMove(int dx, int dy) override;
    void onHit(std::uint32_t target) override;
    void onLeave() override { finish(); }
    void onReport(const GameReport& report) override;
    void onTable(CPackedData& message) override;
    void onMap(const CPackedData& message) override;
    void onSnapshot(const CPackedData& message) override;
    void onAnnouncement(const CPackedData& message) override;
    bool onDatagram(Msg type, CPackedData& message) override;
    bool CheckMessageSize(unsigned long size) override;

    void sendByDatagram(const Snapshot& snapshot);
    void checkDatagrams(const GameReport& report);
    bool requireJoined();
    void complainUnless(bool good, const char* complaint);

    PlayerHost& m_host;
    std::uint32_t m_fighter = 0;
    std::uint32_t m_snapshotsSent = 0;
    std::uint32_t m_datagramSnapshotsSent = 0;
    std::uint32_t m_clientLagMs = 0;
    DatagramPort* m_datagramPort = nullptr;
    std::int64_t m_token = 0;
    std::uint64_t m_datagramsLost = 0;
    bool m_finishing = false;
    bool m_reported = false;
    std::vector<std::string> m_complaints;
};

} // namespace arena
