// sharedlib/packed/internal/codec_vectors_none.cpp: for processors whose vectors nobody has written code for.
#include "sharedlib/packed/internal/codec_vectors.h"

namespace codec_vectors {

std::size_t encodeBase16(std::uint8_t* /*to*/, const std::uint8_t* /*from*/, std::size_t /*size*/) {
    return 0;
}

std::size_t encodeBase32(std::uint8_t* /*to*/, const std::uint8_t* /*from*/, std::size_t /*size*/) {
    return 0;
}

std::size_t encodeBase64(std::uint8_t* /*to*/, const std::uint8_t* /*from*/, std::size_t /*size*/) {
    return 0;
}

std::size_t decodeBase16(std::uint8_t* /*to*/, const std::uint8_t* /*from*/, std::size_t /*size*/) {
    return 0;
}

std::size_t decodeBase32(std::uint8_t* /*to*/, const std::uint8_t* /*from*/, std::size_t /*size*/) {
    return 0;
}

std::size_t decodeBase64(std::uint8_t* /*to*/, const std::uint8_t* /*from*/, std::size_t /*size*/) {
    return 0;
}

} // namespace codec_vectors
