// sharedlib/net/char_vector.h: byte vectors as the network interfaces pass them.
#pragma once
#include <vector>

/// The bytes of one message or one datagram.
using CCharVector = std::vector<char>;
/// A batch of messages, first to be sent first.
using CCharVectorList = std::vector<CCharVector>;
