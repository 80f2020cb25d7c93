// sharedlib/net/internal/stream_frame.h: how messages and pings stand in a TCP stream and in a datagram.
#pragma once
#include "sharedlib/packed/little_endian.h"
#include <array>
#include <cstdint>

/// A message is its body behind a little-endian length: two bytes, or for long bodies the two bytes of `kLongForm` and
/// four of length. Pings are two bytes that are no length.
namespace stream_frame {

inline constexpr std::uint16_t kPingRequest = 0xFFFF;
inline constexpr std::uint16_t kPingReply = 0xFFFE;
inline constexpr std::uint16_t kLongForm = 0xFFFD;

inline constexpr int kShortHeaderSize = 2;
inline constexpr int kLongHeaderSize = 6;
inline constexpr int kControlFrameSize = 2;
inline constexpr std::array<char, kControlFrameSize> kPingRequestBytes{'\xFF', '\xFF'};
inline constexpr std::array<char, kControlFrameSize> kPingReplyBytes{'\xFE', '\xFF'};

/// The body length that a long form counts as while its own length has not arrived.
inline constexpr std::uint64_t kUnknownBodySize = 65536;

/// The header of a message.
struct Header {
    std::array<char, kLongHeaderSize> bytes{};
    int size = 0;
};

/// The header for a body of `bodySize` bytes.
inline Header makeHeader(std::uint32_t bodySize) {
    Header header;
    if (bodySize < kLongForm) {
        little_endian::store(header.bytes.data(), static_cast<std::uint16_t>(bodySize));
        header.size = kShortHeaderSize;
    } else {
        little_endian::store(header.bytes.data(), kLongForm);
        little_endian::store(header.bytes.data() + kShortHeaderSize, bodySize);
        header.size = kLongHeaderSize;
    }
    return header;
}

/// Sizes of a frame, in 64 bits because a peer may announce 4 GiB.
struct FrameSizes {
    std::uint64_t header = 0;
    std::uint64_t body = 0;
    [[nodiscard]] std::uint64_t total() const { return header + body; }
};

/// The sizes of the message whose first `available` bytes, at least 2, stand at `bytes`.
inline FrameSizes readSizes(const char* bytes, std::uint64_t available) {
    const auto length = little_endian::load<std::uint16_t>(bytes);
    if (length != kLongForm) {
        return {kShortHeaderSize, length};
    }
    if (available < kLongHeaderSize) {
        return {kLongHeaderSize, kUnknownBodySize};
    }
    return {kLongHeaderSize, little_endian::load<std::uint32_t>(bytes + kShortHeaderSize)};
}

} // namespace stream_frame
