// examples/arena/world.cpp: the rules of the arena.
#include "examples/arena/world.h"
#include <algorithm>
#include <cmath>

namespace arena {

namespace {

bool isWithin(const Fighter& one, const Fighter& other, float distance) {
    return std::abs(one.x - other.x) <= distance && std::abs(one.y - other.y) <= distance;
}

} // namespace

ArenaMap makeMap(std::uint32_t seed) {
    constexpr std::array<std::uint8_t, 8> kGround{'.', '.', '.', '.', '.', '.', 'T', '~'};
    std::mt19937 random(seed);
    ArenaMap map;
    map.tiles.resize(ArenaMap::kTileCount);
    std::generate(map.tiles.begin(), map.tiles.end(), [&] { return kGround[random() % kGround.size()]; });
    return map;
}

std::uint32_t World::join() {
    Fighter fighter;
    fighter.id = ++m_lastId;
    fighter.health = kFullHealth;
    placeAtRandom(fighter);
    m_fighters.emplace(fighter.id, fighter);
    return fighter.id;
}

void World::leave(std::uint32_t id) {
    m_fighters.erase(id);
}

void World::placeAtRandom(Fighter& fighter) {
    std::uniform_real_distribution<float> anywhere(0, kSize);
    fighter.x = anywhere(m_random);
    fighter.y = anywhere(m_random);
}

void World::move(std::uint32_t id, int dx, int dy) {
    Fighter& fighter = m_fighters.at(id);
    fighter.x = std::clamp(fighter.x + static_cast<float>(std::clamp(dx, -kStep, kStep)), 0.0F, kSize);
    fighter.y = std::clamp(fighter.y + static_cast<float>(std::clamp(dy, -kStep, kStep)), 0.0F, kSize);
}

HitOutcome World::hit(std::uint32_t id, std::uint32_t target) {
    constexpr int kDamage = 20;
    Fighter& hitter = m_fighters.at(id);
    const auto found = m_fighters.find(target);
    if (found == m_fighters.end() || target == id || !isWithin(hitter, found->second, kReach)) {
        return {false, hitter.score, 0};
    }
    Fighter& victim = found->second;
    victim.health -= kDamage;
    const int healthLeft = victim.health;
    if (healthLeft <= 0) {
        ++hitter.score;
        victim.health = kFullHealth;
        placeAtRandom(victim);
    }
    return {true, hitter.score, healthLeft};
}

std::vector<Fighter> World::neighbours(std::uint32_t id) const {
    const Fighter& centre = fighter(id);
    std::vector<Fighter> others;
    for (const auto& [otherId, other] : m_fighters) {
        if (otherId == id || !isWithin(centre, other, kSight)) {
            continue;
        }
        others.push_back(other);
        if (others.size() == kMostOthers) {
            break;
        }
    }
    return others;
}

} // namespace arena
