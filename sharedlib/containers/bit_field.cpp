// sharedlib/containers/bit_field.cpp: a growable set of bits with a rotating start position.
#include "sharedlib/containers/bit_field.h"

#include <algorithm>
#include <bit>
#include <new>

namespace {

constexpr std::int32_t kWordBits = 32;
constexpr std::uint32_t kAllOnes = ~0U;

constexpr std::int32_t wordsFor(std::int32_t bits) {
    return static_cast<std::int32_t>((std::int64_t{bits} + kWordBits - 1) / kWordBits);
}

// The bits of a word from `first` (0 to 31) upward.
constexpr std::uint32_t bitsFrom(std::int32_t first) {
    return kAllOnes << first;
}

// Zeroed words; null when there is no memory for them.
std::unique_ptr<std::uint32_t[]> zeroWords(std::int32_t count) {
    return std::unique_ptr<std::uint32_t[]>(new (std::nothrow) std::uint32_t[static_cast<std::size_t>(count)]());
}

} // namespace

BitField::BitField(int bits) {
    Init(bits);
}

BitField::BitField(const BitField& other) : m_startBit(other.m_startBit) {
    *this = other;
}

void BitField::operator=(const BitField& other) {
    if (this == &other) {
        return;
    }
    if (other.m_wordCount == 0) {
        Dispose();
        return;
    }
    std::unique_ptr<std::uint32_t[]> words = zeroWords(other.m_wordCount);
    if (words == nullptr) {
        return;
    }
    std::copy_n(other.m_words.get(), other.m_wordCount, words.get());
    m_words = std::move(words);
    m_bitCount = other.m_bitCount;
    m_wordCount = other.m_wordCount;
}

BitField::~BitField() = default;

void BitField::Init(int bits) {
    Dispose();
    m_startBit = 0;
    if (bits <= 0) {
        return;
    }
    m_words = zeroWords(wordsFor(bits));
    if (m_words != nullptr) {
        m_bitCount = bits;
        m_wordCount = wordsFor(bits);
    }
}

void BitField::Resize(int bits) {
    if (m_bitCount == 0) {
        Init(bits);
        return;
    }
    if (bits <= 0) {
        Dispose();
        return;
    }
    const std::int32_t words = wordsFor(bits);
    if (words > m_wordCount) {
        std::unique_ptr<std::uint32_t[]> grown = zeroWords(words);
        if (grown == nullptr) {
            return;
        }
        clearBits(m_bitCount, std::int64_t{m_wordCount} * kWordBits);
        std::copy_n(m_words.get(), m_wordCount, grown.get());
        m_words = std::move(grown);
        m_wordCount = words;
    } else {
        clearBits(m_bitCount, bits);
    }
    m_bitCount = bits;
}

void BitField::Dispose() {
    m_words.reset();
    m_bitCount = 0;
    m_wordCount = 0;
}

void BitField::Clear() {
    std::fill_n(m_words.get(), m_wordCount, 0U);
}

void BitField::SetAll() {
    std::fill_n(m_words.get(), m_wordCount, kAllOnes);
}

bool BitField::Set(int index, bool value, bool grow) {
    if (index >= m_bitCount && grow && index < INT32_MAX) {
        Resize(index + 1);
    }
    if (index < 0 || index >= m_bitCount) {
        return false;
    }
    std::uint32_t& word = m_words[static_cast<std::size_t>(index / kWordBits)];
    const std::uint32_t bit = 1U << (index % kWordBits);
    const bool previous = (word & bit) != 0;
    word = value ? word | bit : word & ~bit;
    return previous;
}

bool BitField::Get(int index, bool /*unused*/) const {
    return index >= 0 && index < m_bitCount &&
           (m_words[static_cast<std::size_t>(index / kWordBits)] >> (index % kWordBits) & 1U) != 0;
}

int BitField::GetCountOfBits(bool value) const {
    int count = 0;
    for (std::int32_t word = 0; word < wordsFor(m_bitCount); ++word) {
        count += std::popcount(validBits(word));
    }
    return value ? count : m_bitCount - count;
}

int BitField::GetIndexOfNthBitSet(int n) const {
    if (n < 0) {
        return -1;
    }
    for (std::int32_t word = 0; word < wordsFor(m_bitCount); ++word) {
        std::uint32_t bits = validBits(word);
        const int count = std::popcount(bits);
        if (n >= count) {
            n -= count;
            continue;
        }
        for (; n > 0; --n) {
            bits &= bits - 1;
        }
        return word * kWordBits + std::countr_zero(bits);
    }
    return -1;
}

int BitField::FindSetBit(int from, int to) const {
    const std::int32_t end = to == -1 ? m_bitCount : std::min(to, m_bitCount);
    if (from < 0 || from >= end) {
        return -1;
    }
    std::uint32_t candidates = bitsFrom(from % kWordBits);
    for (std::int32_t word = from / kWordBits; word < wordsFor(end); ++word) {
        const std::uint32_t bits = m_words[static_cast<std::size_t>(word)] & candidates;
        if (bits != 0) {
            const std::int64_t index = std::int64_t{word} * kWordBits + std::countr_zero(bits);
            return index < end ? static_cast<int>(index) : -1;
        }
        candidates = kAllOnes;
    }
    return -1;
}

int BitField::FindSetBitAfterStartBit() {
    int found = FindSetBit(m_startBit, m_bitCount);
    if (found == -1) {
        found = FindSetBit(0, m_startBit);
    }
    m_startBit = found + 1 < m_bitCount ? found + 1 : 0;
    return found;
}

// Clears the bits from `first` to before `end`, which lie within the allocated words.
void BitField::clearBits(std::int32_t first, std::int64_t end) {
    for (std::int64_t bit = first; bit < end;) {
        const auto word = static_cast<std::size_t>(bit / kWordBits);
        const auto offset = static_cast<std::int32_t>(bit % kWordBits);
        const std::int64_t count = std::min<std::int64_t>(kWordBits - offset, end - bit);
        const std::uint32_t below =
            offset + count < kWordBits ? bitsFrom(static_cast<std::int32_t>(offset + count)) : 0;
        m_words[word] &= ~bitsFrom(offset) | below;
        bit += count;
    }
}

// The bits of a word that belong to the set.
std::uint32_t BitField::validBits(std::int32_t word) const {
    const std::int64_t left = m_bitCount - std::int64_t{word} * kWordBits;
    const std::uint32_t bits = m_words[static_cast<std::size_t>(word)];
    return left < kWordBits ? bits & ~bitsFrom(static_cast<std::int32_t>(left)) : bits;
}
