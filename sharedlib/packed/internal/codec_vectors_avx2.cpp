// sharedlib/packed/internal/codec_vectors_avx2.cpp: 32 characters or bytes at a time on x86-64 processors with AVX2.
#include "sharedlib/packed/internal/codec_vectors.h"

#include <immintrin.h>

namespace codec_vectors {

namespace {

bool available() {
    static const bool answer = __builtin_cpu_supports("avx2") != 0;
    return answer;
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i load(const std::uint8_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// Sixteen bytes for each half.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i loadHalves(const std::uint8_t* low,
                                                                      const std::uint8_t* high) {
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(high), reinterpret_cast<const __m128i*>(low));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void store(std::uint8_t* to, __m256i bytes) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes);
}

[[gnu::target("avx2"), gnu::always_inline]] inline void store(std::uint8_t* to, __m128i bytes) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
}

[[gnu::target("avx2"), gnu::always_inline]] inline void storeEight(std::uint8_t* to, __m128i bytes) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), bytes);
}

/// The same sixteen bytes in both halves.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i twice(__m128i bytes) {
    return _mm256_broadcastsi128_si256(bytes);
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i bytesOf(char value) {
    return _mm256_set1_epi8(value);
}

[[gnu::target("avx2"), gnu::always_inline]] inline bool allSet(__m256i bytes) {
    return _mm256_movemask_epi8(bytes) == -1;
}

/// Characters of one run of the alphabet: which of them are in it (0xFF each), and their values there.
struct Run {
    __m256i in;
    __m256i values;
};

/// The run of characters from `first` to `last`, whose values begin with `value`.
[[gnu::target("avx2"), gnu::always_inline]] inline Run run(__m256i text, char first, char last, char value) {
    const __m256i offset = _mm256_sub_epi8(text, bytesOf(first));
    const __m256i in = _mm256_cmpeq_epi8(_mm256_min_epu8(offset, bytesOf(static_cast<char>(last - first))), offset);
    return {in, _mm256_and_si256(in, _mm256_add_epi8(offset, bytesOf(value)))};
}

[[gnu::target("avx2"), gnu::always_inline]] inline Run either(Run a, Run b) {
    return {_mm256_or_si256(a.in, b.in), _mm256_or_si256(a.values, b.values)};
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i smallLetters(__m256i text) {
    return _mm256_or_si256(text, bytesOf(0x20));
}

[[gnu::target("avx2")]] std::size_t encode16(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    const __m256i alphabet =
        twice(_mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'));
    std::size_t used = 0;
    for (; size - used >= 32; used += 32, to += 64) {
        const __m256i bytes = load(from + used);
        const __m256i high =
            _mm256_shuffle_epi8(alphabet, _mm256_and_si256(_mm256_srli_epi16(bytes, 4), bytesOf(0x0F)));
        const __m256i low = _mm256_shuffle_epi8(alphabet, _mm256_and_si256(bytes, bytesOf(0x0F)));
        const __m256i front = _mm256_unpacklo_epi8(high, low);
        const __m256i back = _mm256_unpackhi_epi8(high, low);
        store(to, _mm256_permute2x128_si256(front, back, 0x20));
        store(to + 32, _mm256_permute2x128_si256(front, back, 0x31));
    }
    return used;
}

[[gnu::target("avx2")]] std::size_t decode16(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    std::size_t used = 0;
    for (; size - used >= 64; used += 64, to += 32) {
        __m256i pairs[2];
        for (std::size_t i = 0; i < 2; ++i) {
            const __m256i text = load(from + used + 32 * i);
            const Run digits = either(run(text, '0', '9', 0), run(smallLetters(text), 'a', 'f', 10));
            if (!allSet(digits.in)) {
                return used;
            }
            pairs[i] = _mm256_maddubs_epi16(digits.values, _mm256_set1_epi16(0x0110));
        }
        store(to, _mm256_permute4x64_epi64(_mm256_packus_epi16(pairs[0], pairs[1]), 0b11'01'10'00));
    }
    return used;
}

[[gnu::target("avx2")]] std::size_t encode32(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    // Ten bytes in each half. Every ten bits, two characters, lie in two neighbouring bytes, put here into one word.
    const __m256i words = twice(_mm_setr_epi8(1, 0, 2, 1, 3, 2, 4, 3, 6, 5, 7, 6, 8, 7, 9, 8));
    const __m256i toFirst = _mm256_set1_epi64x(0x0800'0200'0080'0020);
    const __m256i toSecond = _mm256_set1_epi64x(0x0100'0040'0010'0004);
    std::size_t used = 0;
    for (; size - used >= 26; used += 20, to += 32) {
        const __m256i bits = _mm256_shuffle_epi8(loadHalves(from + used, from + used + 10), words);
        const __m256i first = _mm256_and_si256(_mm256_mulhi_epu16(bits, toFirst), _mm256_set1_epi16(0x001F));
        const __m256i second = _mm256_and_si256(_mm256_mullo_epi16(bits, toSecond), _mm256_set1_epi16(0x1F00));
        const __m256i values = _mm256_or_si256(first, second);
        const __m256i digits = _mm256_cmpgt_epi8(values, bytesOf(25));
        const __m256i shift = _mm256_blendv_epi8(bytesOf('A'), bytesOf('2' - 26), digits);
        store(to, _mm256_add_epi8(values, shift));
    }
    return used;
}

[[gnu::target("avx2")]] std::size_t decode32(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    const __m256i fiveBytes = twice(_mm_setr_epi8(4, 3, 2, 1, 0, 12, 11, 10, 9, 8, -1, -1, -1, -1, -1, -1));
    std::size_t used = 0;
    for (; size - used >= 32; used += 32, to += 20) {
        const __m256i text = load(from + used);
        const Run characters = either(run(text, '2', '7', 26), run(smallLetters(text), 'a', 'z', 0));
        if (!allSet(characters.in)) {
            return used;
        }
        const __m256i tenBits = _mm256_maddubs_epi16(characters.values, _mm256_set1_epi16(0x0120));
        const __m256i twentyBits = _mm256_madd_epi16(tenBits, _mm256_set1_epi32(0x0001'0400));
        const __m256i fortyBits = _mm256_or_si256(_mm256_slli_epi64(twentyBits, 20), _mm256_srli_epi64(twentyBits, 32));
        const __m256i bytes = _mm256_shuffle_epi8(fortyBits, fiveBytes);
        const __m128i back = _mm256_extracti128_si256(bytes, 1);
        store(to, _mm256_castsi256_si128(bytes));
        storeEight(to + 10, back);
        storeEight(to + 12, _mm_srli_si128(back, 2));
    }
    return used;
}

[[gnu::target("avx2")]] std::size_t encode64(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    // Twelve bytes in each half. Every three bytes become two words, which hold two characters each.
    const __m256i words = twice(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    // What each run of the alphabet adds to its values: small letters, ten digits, '+', '/', capital letters.
    const char digit = '0' - 52;
    const __m256i shifts = twice(_mm_setr_epi8('a' - 26, digit, digit, digit, digit, digit, digit, digit, digit, digit,
                                               digit, '+' - 62, '/' - 63, 'A', 0, 0));
    std::size_t used = 0;
    for (; size - used >= 28; used += 24, to += 32) {
        const __m256i bits = _mm256_shuffle_epi8(loadHalves(from + used, from + used + 12), words);
        const __m256i first =
            _mm256_mulhi_epu16(_mm256_and_si256(bits, _mm256_set1_epi32(0x0FC0'FC00)), _mm256_set1_epi32(0x0400'0040));
        const __m256i second =
            _mm256_mullo_epi16(_mm256_and_si256(bits, _mm256_set1_epi32(0x003F'03F0)), _mm256_set1_epi32(0x0100'0010));
        const __m256i values = _mm256_or_si256(first, second);
        const __m256i capitals = _mm256_cmpgt_epi8(bytesOf(26), values);
        const __m256i runs =
            _mm256_or_si256(_mm256_subs_epu8(values, bytesOf(51)), _mm256_and_si256(capitals, bytesOf(13)));
        store(to, _mm256_add_epi8(values, _mm256_shuffle_epi8(shifts, runs)));
    }
    return used;
}

/// What decoding Base64 looks up with the halves of a character. It is outside the alphabet when what its upper and its
/// lower half give have a bit in common: 1 for 2x, of which only '+' and '/' are inside, 2 for 3x (digits), 4 for 4x
/// and 6x, 8 for 5x and 7x (letters), 16 for all others.
struct Base64Tables {
    [[gnu::target("avx2"), gnu::always_inline]] inline Base64Tables()
        : upper(twice(_mm_setr_epi8(16, 16, 1, 2, 4, 8, 4, 8, 16, 16, 16, 16, 16, 16, 16, 16))),
          lower(twice(_mm_setr_epi8(21, 17, 17, 17, 17, 17, 17, 17, 17, 17, 19, 26, 27, 27, 27, 26))),
          shifts(twice(_mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0,
                                     0, 0))) {}

    __m256i upper;
    __m256i lower;
    /// From a character to its value, by the upper half, where '/' has the place in front of '+'.
    __m256i shifts;
};

[[gnu::target("avx2")]] std::size_t decode64(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    const Base64Tables tables;
    const __m256i half = bytesOf(0x0F);
    const __m256i threeBytes = twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
    std::size_t used = 0;
    for (; size - used >= 32; used += 32, to += 24) {
        const __m256i text = load(from + used);
        const __m256i upper = _mm256_and_si256(_mm256_srli_epi16(text, 4), half);
        const __m256i lower = _mm256_and_si256(text, half);
        if (_mm256_testz_si256(_mm256_shuffle_epi8(tables.upper, upper), _mm256_shuffle_epi8(tables.lower, lower)) ==
            0) {
            return used;
        }
        const __m256i slashes = _mm256_cmpeq_epi8(text, bytesOf('/'));
        const __m256i shift = _mm256_shuffle_epi8(tables.shifts, _mm256_add_epi8(upper, slashes));
        const __m256i twelveBits = _mm256_maddubs_epi16(_mm256_add_epi8(text, shift), _mm256_set1_epi16(0x0140));
        const __m256i bits = _mm256_madd_epi16(twelveBits, _mm256_set1_epi32(0x0001'1000));
        const __m256i halves = _mm256_shuffle_epi8(bits, threeBytes);
        const __m256i bytes = _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
        store(to, _mm256_castsi256_si128(bytes));
        storeEight(to + 16, _mm256_extracti128_si256(bytes, 1));
    }
    return used;
}

} // namespace

std::size_t encodeBase16(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    return available() ? encode16(to, from, size) : 0;
}

std::size_t encodeBase32(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    return available() ? encode32(to, from, size) : 0;
}

std::size_t encodeBase64(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    return available() ? encode64(to, from, size) : 0;
}

std::size_t decodeBase16(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    return available() ? decode16(to, from, size) : 0;
}

std::size_t decodeBase32(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    return available() ? decode32(to, from, size) : 0;
}

std::size_t decodeBase64(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    return available() ? decode64(to, from, size) : 0;
}

} // namespace codec_vectors
