// examples/arena/protocol.cpp: packs and unpacks the messages that are not calls.
#include "examples/arena/protocol.h"

namespace arena {

namespace {

void packFighter(CPackedData& message, const Fighter& fighter) {
    message.PutUint32(fighter.id);
    message.PutFloat(fighter.x);
    message.PutFloat(fighter.y);
    message.PutInt16(static_cast<std::int16_t>(fighter.health));
    message.PutUint32(fighter.score);
}

Fighter unpackFighter(const CPackedData& message) {
    Fighter fighter;
    fighter.id = message.GetUint32();
    fighter.x = message.GetFloat();
    fighter.y = message.GetFloat();
    fighter.health = message.GetInt16();
    fighter.score = message.GetUint32();
    return fighter;
}

} // namespace

CPackedData beginMessage(Msg type) {
    CPackedData message;
    message.PutUint16(static_cast<std::uint16_t>(type));
    return message;
}

CPackedData packMap(const ArenaMap& map) {
    CPackedData message;
    // Before the first value: the header byte tells the reader that a trailer follows.
    message.useMD5Checksum(true);
    message.PutUint16(static_cast<std::uint16_t>(Msg::CreateObject));
    message.PutUint16(ArenaMap::kWidth);
    message.PutUint16(ArenaMap::kHeight);
    message.PutData(map.tiles.data(), static_cast<int>(map.tiles.size()));
    message.GenerateMD5Checksum();
    return message;
}

bool checkMap(const CPackedData& message) {
    const int tileCount = message.GetUint16() * message.GetUint16();
    const bool complete = tileCount == ArenaMap::kTileCount && message.checkBounds(tileCount + 16);
    return complete && message.hasMD5Checksum() && message.ValidateMD5Checksum();
}

void packSnapshot(CPackedData& message, const Snapshot& snapshot) {
    packFighter(message, snapshot.self);
    message.PutUint16(static_cast<std::uint16_t>(snapshot.others.size()));
    for (const Fighter& other : snapshot.others) {
        packFighter(message, other);
    }
}

bool unpackSnapshot(const CPackedData& message, Snapshot& snapshot) {
    snapshot.self = unpackFighter(message);
    const int count = message.GetUint16();
    // The count is the peer's word: what is not there is not read.
    constexpr int kPackedFighter = 18;
    if (!message.checkBounds(count * kPackedFighter)) {
        return false;
    }
    snapshot.others.clear();
    for (int index = 0; index < count; ++index) {
        snapshot.others.push_back(unpackFighter(message));
    }
    return message.GetGetIndex() == message.size();
}

} // namespace arena
