// examples/arena/world.h: the game itself, which knows no network: fighters in a square arena and its map.
#pragma once
#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

namespace arena {

/// One player's figure. Positions run from 0 to `World::kSize`.
struct Fighter {
    std::uint32_t id = 0;
    float x = 0;
    float y = 0;
    int health = 0;
    std::uint32_t score = 0;
};

/// The ground of the arena, a byte per tile: large enough to travel in a long frame.
struct ArenaMap {
    static constexpr std::uint16_t kWidth = 320;
    static constexpr std::uint16_t kHeight = 320;
    static constexpr int kTileCount = kWidth * kHeight;

    std::vector<std::uint8_t> tiles;
};

/// A map of grass, trees and water.
ArenaMap makeMap(std::uint32_t seed);

/// What a hit did.
struct HitOutcome {
    bool landed = false;
    std::uint32_t score = 0;
    int targetHealth = 0;
};

/// All fighters. Commands come from players and are checked: who names a fighter that is not there or out of reach hits
/// nothing, and who moves too far moves as far as allowed.
class World {
public:
    static constexpr float kSize = 1000;
    static constexpr float kSight = 120;
    static constexpr float kReach = 60;
    static constexpr int kStep = 12;
    static constexpr int kFullHealth = 100;
    static constexpr std::size_t kMostOthers = 40;

    /// A new fighter at a random place.
    std::uint32_t join();
    void leave(std::uint32_t id);
    void move(std::uint32_t id, int dx, int dy);
    /// Takes health from `target`; at the last of it the target starts again elsewhere and `id` scores.
    HitOutcome hit(std::uint32_t id, std::uint32_t target);

    [[nodiscard]] const Fighter& fighter(std::uint32_t id) const { return m_fighters.at(id); }
    /// At most `kMostOthers` fighters within sight of `id`.
    [[nodiscard]] std::vector<Fighter> neighbours(std::uint32_t id) const;

private:
    void placeAtRandom(Fighter& fighter);

    std::map<std::uint32_t, Fighter> m_fighters;
    std::uint32_t m_lastId = 0;
    std::mt19937 m_random{1};
};

} // namespace arena
