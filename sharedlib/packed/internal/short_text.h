// sharedlib/packed/internal/short_text.h: names and the like, copied and looked through without a call.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Texts of up to 16 bytes are handled as two words that overlap in the middle; longer ones go to the C library.
namespace short_text {

/// Whether one of the bytes of an unsigned number is 0.
template <class Word>
bool hasZeroByte(Word word) {
    constexpr Word kLowBits = static_cast<Word>(~Word{0}) / 0xFF;
    return (static_cast<Word>(word - kLowBits) & static_cast<Word>(~word) & static_cast<Word>(kLowBits << 7)) != 0;
}

/// The first and the last word of a text of at least one and at most two words.
template <class Word>
struct Ends {
    Ends(const char* text, std::size_t length) {
        std::memcpy(&first, text, sizeof(Word));
        std::memcpy(&last, text + length - sizeof(Word), sizeof(Word));
    }
    void copyTo(char* to, std::size_t length) const {
        std::memcpy(to, &first, sizeof(Word));
        std::memcpy(to + length - sizeof(Word), &last, sizeof(Word));
    }
    [[nodiscard]] bool hasZero() const { return hasZeroByte(first) || hasZeroByte(last); }

    Word first;
    Word last;
};

/// Copies `length` bytes between places that do not overlap.
inline void copy(char* to, const char* from, std::size_t length) {
    if (length > 16) {
        std::memcpy(to, from, length);
    } else if (length >= 8) {
        Ends<std::uint64_t>(from, length).copyTo(to, length);
    } else if (length >= 4) {
        Ends<std::uint32_t>(from, length).copyTo(to, length);
    } else if (length >= 2) {
        Ends<std::uint16_t>(from, length).copyTo(to, length);
    } else if (length == 1) {
        *to = *from;
    }
}

/// The bytes before the first zero byte among `length` bytes; `length` when there is none.
inline std::size_t untilZero(const char* bytes, std::size_t length) {
    if ((length >= 8 && length <= 16 && !Ends<std::uint64_t>(bytes, length).hasZero()) ||
        (length >= 4 && length < 8 && !Ends<std::uint32_t>(bytes, length).hasZero())) {
        return length;
    }
    const void* const zero = std::memchr(bytes, 0, length);
    return zero == nullptr ? length : static_cast<std::size_t>(static_cast<const char*>(zero) - bytes);
}

} // namespace short_text
