// bench/move.h: the message of sixteen mixed values that every serialiser writes and reads here.
#pragma once
#include <cstdint>
#include <string>

/// What a player's move might carry; packed without tags it takes 66 bytes, header included.
struct Move {
    bool alive = true;
    std::uint8_t team = 3;
    char mood = 'c';
    std::int16_t heading = -1200;
    std::uint16_t speed = 4711;
    std::int32_t x = -1234567;
    std::uint32_t sequence = 3000000000;
    std::int64_t time = 1795535972123;
    float pitch = 0.25F;
    double angle = 2.718281828;
    std::int64_t object = -987654321012345;
    std::string name = "Sharky";
    std::int32_t y = 7654321;
    float roll = -3.5F;
    std::int32_t z = 42;
    std::int16_t damage = 99;
};
