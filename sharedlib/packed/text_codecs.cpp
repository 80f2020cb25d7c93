// sharedlib/packed/text_codecs.cpp: the three encodings group by group; clean stretches go to the vectors.
#include "sharedlib/packed/text_codecs.h"
#include "sharedlib/packed/internal/codec_vectors.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

using Byte = std::uint8_t;
using Vectors = std::size_t (*)(Byte* to, const Byte* from, std::size_t size);
using DecodingTable = std::array<Byte, 256>;

constexpr Byte kOutside = 0xFF;

/// The value of each character; the one behind the last value is the padding.
constexpr DecodingTable decodingTable(std::string_view alphabet, bool smallLettersToo) {
    DecodingTable table{};
    table.fill(kOutside);
    for (std::size_t value = 0; value < alphabet.size(); ++value) {
        const char character = alphabet[value];
        table[static_cast<Byte>(character)] = static_cast<Byte>(value);
        if (smallLettersToo && character >= 'A' && character <= 'Z') {
            table[static_cast<Byte>(character - 'A' + 'a')] = static_cast<Byte>(value);
        }
    }
    return table;
}

// Each base puts a group's values into its bytes. A byte takes the bits of just the characters that belong to it, so a
// value that is too large spoils no byte further in front.

struct Base16 {
    static constexpr std::string_view kAlphabet = "0123456789ABCDEF";
    static constexpr DecodingTable kTable = decodingTable(kAlphabet, true);
    static constexpr int kBits = 4;
    static constexpr std::size_t kBytes = 1;
    static constexpr std::size_t kCharacters = 2;
    static constexpr const char* kIncomplete = "Invalid source, size is not a multiple of 2";
    static constexpr Vectors kEncode = codec_vectors::encodeBase16;
    static constexpr Vectors kDecode = codec_vectors::decodeBase16;

    static void assemble(Byte* to, const std::array<Byte, kCharacters>& v) {
        to[0] = static_cast<Byte>(v[0] << 4 | v[1]);
    }
    static std::size_t padding(const std::array<Byte, kCharacters>& /*v*/) { return 0; }
};

struct Base32 {
    static constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567=";
    static constexpr DecodingTable kTable = decodingTable(kAlphabet, true);
    static constexpr Byte kPadding = 32;
    static constexpr int kBits = 5;
    static constexpr std::size_t kBytes = 5;
    static constexpr std::size_t kCharacters = 8;
    static constexpr const char* kIncomplete = "Invalid source, size is not a multiple of 8";
    static constexpr Vectors kEncode = codec_vectors::encodeBase32;
    static constexpr Vectors kDecode = codec_vectors::decodeBase32;

    static void assemble(Byte* to, const std::array<Byte, kCharacters>& v) {
        to[0] = static_cast<Byte>(v[0] << 3 | v[1] >> 2);
        to[1] = static_cast<Byte>(v[1] << 6 | v[2] << 1 | v[3] >> 4);
        to[2] = static_cast<Byte>(v[3] << 4 | v[4] >> 1);
        to[3] = static_cast<Byte>(v[4] << 7 | v[5] << 2 | v[6] >> 3);
        to[4] = static_cast<Byte>(v[6] << 5 | v[7]);
    }
    static std::size_t padding(const std::array<Byte, kCharacters>& v) {
        std::size_t bytes = 0;
        // Where the characters of a shorter group end.
        for (const std::size_t last : {7U, 5U, 4U, 2U}) {
            if (v[last] != kPadding) {
                break;
            }
            ++bytes;
        }
        return bytes;
    }
};

struct Base64 {
    static constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
    static constexpr DecodingTable kTable = decodingTable(kAlphabet, false);
    static constexpr Byte kPadding = 64;
    static constexpr int kBits = 6;
    static constexpr std::size_t kBytes = 3;
    static constexpr std::size_t kCharacters = 4;
    static constexpr const char* kIncomplete = "Invalid source, size is not a multiple of 4";
    static constexpr Vectors kEncode = codec_vectors::encodeBase64;
    static constexpr Vectors kDecode = codec_vectors::decodeBase64;

    static void assemble(Byte* to, const std::array<Byte, kCharacters>& v) {
        to[0] = static_cast<Byte>(v[0] << 2 | v[1] >> 4);
        to[1] = static_cast<Byte>(v[1] << 4 | v[2] >> 2);
        to[2] = static_cast<Byte>(v[2] << 6 | v[3]);
    }
    static std::size_t padding(const std::array<Byte, kCharacters>& v) {
        return v[3] != kPadding ? 0 : v[2] != kPadding ? 1 : 2;
    }
};

void checkParameters(const void* dest, const void* src) {
    if (dest == nullptr || src == nullptr) {
        throw std::runtime_error("Invalid parameter");
    }
}

template <class Base>
unsigned long encodedLength(unsigned long size) {
    return (size + (Base::kBytes - 1)) / Base::kBytes * Base::kCharacters;
}

template <class Base>
unsigned long decodedLength(unsigned long size) {
    if (size % Base::kCharacters != 0) {
        throw std::runtime_error(Base::kIncomplete);
    }
    return size / Base::kCharacters * Base::kBytes;
}

template <class Base, std::size_t... I>
void encodeGroup(Byte* to, const Byte* from, std::index_sequence<I...> /*characters*/) {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < Base::kBytes; ++i) {
        bits = bits << 8 | from[i];
    }
    constexpr std::uint64_t kMask = (1U << Base::kBits) - 1;
    ((to[I] = static_cast<Byte>(Base::kAlphabet[bits >> (Base::kBits * (Base::kCharacters - 1 - I)) & kMask])), ...);
}

/// A group of fewer bytes: the characters that they reach into, and padding.
template <class Base>
void encodeLastGroup(Byte* to, const Byte* from, std::size_t size) {
    std::array<Byte, Base::kBytes> bytes{};
    std::copy_n(from, size, bytes.data());
    encodeGroup<Base>(to, bytes.data(), std::make_index_sequence<Base::kCharacters>());
    const std::size_t characters = (size * 8 + Base::kBits - 1) / Base::kBits;
    std::fill(to + characters, to + Base::kCharacters, static_cast<Byte>(Base::kAlphabet.back()));
}

template <class Base>
unsigned long encode(void* dest, const void* src, unsigned long size) {
    checkParameters(dest, src);
    auto* to = static_cast<Byte*>(dest);
    const auto* from = static_cast<const Byte*>(src);
    std::size_t done = Base::kEncode(to, from, size);
    to += done / Base::kBytes * Base::kCharacters;
    for (; size - done >= Base::kBytes; done += Base::kBytes, to += Base::kCharacters) {
        encodeGroup<Base>(to, from + done, std::make_index_sequence<Base::kCharacters>());
    }
    if (done < size) {
        encodeLastGroup<Base>(to, from + done, size - done);
    }
    return encodedLength<Base>(size);
}

/// Decodes `size` characters one group after the other and returns how many bytes padding stands for.
template <class Base>
std::size_t decodeGroups(Byte* to, const Byte* from, std::size_t size) {
    std::size_t padding = 0;
    for (const Byte* const end = from + size; from != end; from += Base::kCharacters, to += Base::kBytes) {
        std::array<Byte, Base::kCharacters> values;
        std::transform(from, from + Base::kCharacters, values.begin(), [](Byte c) { return Base::kTable[c]; });
        Base::assemble(to, values);
        padding += Base::padding(values);
    }
    return padding;
}

template <class Base>
unsigned long decode(void* dest, const void* src, unsigned long size) {
    checkParameters(dest, src);
    const unsigned long length = decodedLength<Base>(size);
    auto* to = static_cast<Byte*>(dest);
    const auto* from = static_cast<const Byte*>(src);
    // Where the vectors stop, what they do not understand is a short way off.
    constexpr std::size_t kStretch = 64;
    std::size_t padding = 0;
    for (std::size_t done = 0; done < size;) {
        done += Base::kDecode(to + done / Base::kCharacters * Base::kBytes, from + done, size - done);
        const std::size_t plain = std::min(kStretch, size - done);
        padding += decodeGroups<Base>(to + done / Base::kCharacters * Base::kBytes, from + done, plain);
        done += plain;
    }
    return length - padding;
}

} // namespace

namespace CyoEncode {

unsigned long Base16Encode(void* dest, void const* src, unsigned long size) {
    return encode<Base16>(dest, src, size);
}

unsigned long Base32Encode(void* dest, void const* src, unsigned long size) {
    return encode<Base32>(dest, src, size);
}

unsigned long Base64Encode(void* dest, void const* src, unsigned long size) {
    return encode<Base64>(dest, src, size);
}

unsigned long Base16EncodeGetLength(unsigned long size) {
    return encodedLength<Base16>(size);
}

unsigned long Base32EncodeGetLength(unsigned long size) {
    return encodedLength<Base32>(size);
}

unsigned long Base64EncodeGetLength(unsigned long size) {
    return encodedLength<Base64>(size);
}

} // namespace CyoEncode

namespace CyoDecode {

unsigned long Base16Decode(void* dest, void const* src, unsigned long size) {
    return decode<Base16>(dest, src, size);
}

unsigned long Base32Decode(void* dest, void const* src, unsigned long size) {
    return decode<Base32>(dest, src, size);
}

unsigned long Base64Decode(void* dest, void const* src, unsigned long size) {
    return decode<Base64>(dest, src, size);
}

unsigned long Base16DecodeGetLength(unsigned long size) {
    return decodedLength<Base16>(size);
}

unsigned long Base32DecodeGetLength(unsigned long size) {
    return decodedLength<Base32>(size);
}

unsigned long Base64DecodeGetLength(unsigned long size) {
    return decodedLength<Base64>(size);
}

} // namespace CyoDecode
