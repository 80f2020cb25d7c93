// sharedlib/packed/internal/codec_vectors.h: the long clean stretches of encoded data, many bytes at a time.
#pragma once
#include <cstddef>
#include <cstdint>

/// Each function works off whole groups at the front of the `size` bytes at `from` and returns how many of them it has
/// used: fewer than `size` at the end, and 0 on a processor without the vectors that it needs. None reads or writes
/// outside of what the plain code would. Decoders stop in front of 32 or 64 characters that are not all in the
/// alphabet.
namespace codec_vectors {

std::size_t encodeBase16(std::uint8_t* to, const std::uint8_t* from, std::size_t size);
std::size_t encodeBase32(std::uint8_t* to, const std::uint8_t* from, std::size_t size);
std::size_t encodeBase64(std::uint8_t* to, const std::uint8_t* from, std::size_t size);

std::size_t decodeBase16(std::uint8_t* to, const std::uint8_t* from, std::size_t size);
std::size_t decodeBase32(std::uint8_t* to, const std::uint8_t* from, std::size_t size);
std::size_t decodeBase64(std::uint8_t* to, const std::uint8_t* from, std::size_t size);

} // namespace codec_vectors
