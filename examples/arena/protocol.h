// examples/arena/protocol.h: the messages between the arena's server and its clients.
//
// Every message is one packed buffer that begins with its type, a value of `Msg` as Uint16. Behind it stand:
//
//   Msg::RpcTable         server, first on each connection: what CRpcMgr::BuildTable contributes
//   Msg::RpcCallFunction  both: Uint32 sequence number, Uint32 identifier of the call, its arguments
//   Msg::CreateObject     server, once after a join: the map, Uint16 width, Uint16 height, a byte per tile, MD5 trailer
//   Msg::UpdateObject     server: Uint32 sequence number, a snapshot of the player and what stands around it
//   Msg::UDPAnnouncement  client, once after a join, if it takes datagrams: Uint16 UDP port, Int64 token
//                         server, in return: Uint16 UDP port, 0 for none
//
// Each side numbers its calls and snapshots on a connection together, from 1, so that the other side sees at once if
// one is lost, repeated or out of order.
//
// In datagrams Int64 token and Uint32 sequence number stand behind the type of every message. Some get lost, so what
// travels there is what the next one makes up for:
//
//   Msg::UDPAnnouncement  client: nothing more; asks whether datagrams get through, until one comes back
//   Msg::RpcCallFunction  client: Uint32 identifier of the call, which is a move, its arguments
//   Msg::UpdateObject     server: Uint32 number of the snapshot, the player and some of what stands around it; all
//                         messages with one number together are the snapshot
#pragma once
#include "examples/arena/world.h"
#include "sharedlib/enums/msg.h"
#include "sharedlib/packed/packed_data.h"
#include <cstdint>
#include <vector>

namespace arena {

/// No message of a client is larger, frame header included: the server refuses whatever is announced beyond it.
inline constexpr unsigned long kLargestClientMessage = 1024;
/// No message of the server is larger; the map is the largest.
inline constexpr unsigned long kLargestServerMessage = 200'000;

/// A message that so far holds its type.
CPackedData beginMessage(Msg type);

/// The map as a message with its MD5 trailer, the same for every player.
CPackedData packMap(const ArenaMap& map);
/// Whether `message`, read up to its type, holds a whole and undamaged map.
bool checkMap(const CPackedData& message);

/// What a player sees of the arena.
struct Snapshot {
    Fighter self;
    std::vector<Fighter> others;
};

/// Writes behind the number.
void packSnapshot(CPackedData& message, const Snapshot& snapshot);
/// Reads behind the number. False when the message is cut short or has bytes left over.
bool unpackSnapshot(const CPackedData& message, Snapshot& snapshot);

} // namespace arena
