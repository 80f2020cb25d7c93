// sharedlib/packed/md5.cpp: MD5 digests (RFC 1321).
#include "sharedlib/packed/md5.h"
#include "sharedlib/packed/little_endian.h"

#include <bit>
#include <cstddef>
#include <cstring>

namespace {

constexpr std::size_t kBlockSize = 64;
constexpr std::size_t kLengthOffset = kBlockSize - 8;

// The four step functions each give a's new value. They are the standard's, written so that as little as possible waits
// for b, the value of the step before: everything that does not need it is added to a first. In G the two halves share
// no bit, so they may be added one by one instead of being joined.
inline std::uint32_t finish(std::uint32_t sum, int shift, std::uint32_t b) {
    return std::rotl(sum, shift) + b;
}

inline void stepF(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t constant,
                  int shift) {
    a = finish(a + constant + (d ^ (b & (c ^ d))), shift, b);
}

inline void stepG(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t constant,
                  int shift) {
    a = finish(a + constant + (c & ~d) + (b & d), shift, b);
}

inline void stepH(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t constant,
                  int shift) {
    a = finish(a + constant + (b ^ (c ^ d)), shift, b);
}

inline void stepI(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t constant,
                  int shift) {
    a = finish(a + constant + (c ^ (b | ~d)), shift, b);
}

// A block's sixteen words, read where the caller has them.
struct Block {
    const unsigned char* bytes;
    std::uint32_t operator[](std::size_t word) const { return little_endian::load<std::uint32_t>(bytes + 4 * word); }
};

inline void roundF(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c, std::uint32_t& d, Block block) {
    stepF(a, b, c, d, block[0] + 0xD76AA478, 7);
    stepF(d, a, b, c, block[1] + 0xE8C7B756, 12);
    stepF(c, d, a, b, block[2] + 0x242070DB, 17);
    stepF(b, c, d, a, block[3] + 0xC1BDCEEE, 22);
    stepF(a, b, c, d, block[4] + 0xF57C0FAF, 7);
    stepF(d, a, b, c, block[5] + 0x4787C62A, 12);
    stepF(c, d, a, b, block[6] + 0xA8304613, 17);
    stepF(b, c, d, a, block[7] + 0xFD469501, 22);
    stepF(a, b, c, d, block[8] + 0x698098D8, 7);
    stepF(d, a, b, c, block[9] + 0x8B44F7AF, 12);
    stepF(c, d, a, b, block[10] + 0xFFFF5BB1, 17);
    stepF(b, c, d, a, block[11] + 0x895CD7BE, 22);
    stepF(a, b, c, d, block[12] + 0x6B901122, 7);
    stepF(d, a, b, c, block[13] + 0xFD987193, 12);
    stepF(c, d, a, b, block[14] + 0xA679438E, 17);
    stepF(b, c, d, a, block[15] + 0x49B40821, 22);
}

inline void roundG(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c, std::uint32_t& d, Block block) {
    stepG(a, b, c, d, block[1] + 0xF61E2562, 5);
    stepG(d, a, b, c, block[6] + 0xC040B340, 9);
    stepG(c, d, a, b, block[11] + 0x265E5A51, 14);
    stepG(b, c, d, a, block[0] + 0xE9B6C7AA, 20);
    stepG(a, b, c, d, block[5] + 0xD62F105D, 5);
    stepG(d, a, b, c, block[10] + 0x02441453, 9);
    stepG(c, d, a, b, block[15] + 0xD8A1E681, 14);
    stepG(b, c, d, a, block[4] + 0xE7D3FBC8, 20);
    stepG(a, b, c, d, block[9] + 0x21E1CDE6, 5);
    stepG(d, a, b, c, block[14] + 0xC33707D6, 9);
    stepG(c, d, a, b, block[3] + 0xF4D50D87, 14);
    stepG(b, c, d, a, block[8] + 0x455A14ED, 20);
    stepG(a, b, c, d, block[13] + 0xA9E3E905, 5);
    stepG(d, a, b, c, block[2] + 0xFCEFA3F8, 9);
    stepG(c, d, a, b, block[7] + 0x676F02D9, 14);
    stepG(b, c, d, a, block[12] + 0x8D2A4C8A, 20);
}

inline void roundH(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c, std::uint32_t& d, Block block) {
    stepH(a, b, c, d, block[5] + 0xFFFA3942, 4);
    stepH(d, a, b, c, block[8] + 0x8771F681, 11);
    stepH(c, d, a, b, block[11] + 0x6D9D6122, 16);
    stepH(b, c, d, a, block[14] + 0xFDE5380C, 23);
    stepH(a, b, c, d, block[1] + 0xA4BEEA44, 4);
    stepH(d, a, b, c, block[4] + 0x4BDECFA9, 11);
    stepH(c, d, a, b, block[7] + 0xF6BB4B60, 16);
    stepH(b, c, d, a, block[10] + 0xBEBFBC70, 23);
    stepH(a, b, c, d, block[13] + 0x289B7EC6, 4);
    stepH(d, a, b, c, block[0] + 0xEAA127FA, 11);
    stepH(c, d, a, b, block[3] + 0xD4EF3085, 16);
    stepH(b, c, d, a, block[6] + 0x04881D05, 23);
    stepH(a, b, c, d, block[9] + 0xD9D4D039, 4);
    stepH(d, a, b, c, block[12] + 0xE6DB99E5, 11);
    stepH(c, d, a, b, block[15] + 0x1FA27CF8, 16);
    stepH(b, c, d, a, block[2] + 0xC4AC5665, 23);
}

inline void roundI(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c, std::uint32_t& d, Block block) {
    stepI(a, b, c, d, block[0] + 0xF4292244, 6);
    stepI(d, a, b, c, block[7] + 0x432AFF97, 10);
    stepI(c, d, a, b, block[14] + 0xAB9423A7, 15);
    stepI(b, c, d, a, block[5] + 0xFC93A039, 21);
    stepI(a, b, c, d, block[12] + 0x655B59C3, 6);
    stepI(d, a, b, c, block[3] + 0x8F0CCC92, 10);
    stepI(c, d, a, b, block[10] + 0xFFEFF47D, 15);
    stepI(b, c, d, a, block[1] + 0x85845DD1, 21);
    stepI(a, b, c, d, block[8] + 0x6FA87E4F, 6);
    stepI(d, a, b, c, block[15] + 0xFE2CE6E0, 10);
    stepI(c, d, a, b, block[6] + 0xA3014314, 15);
    stepI(b, c, d, a, block[13] + 0x4E0811A1, 21);
    stepI(a, b, c, d, block[4] + 0xF7537E82, 6);
    stepI(d, a, b, c, block[11] + 0xBD3AF235, 10);
    stepI(c, d, a, b, block[2] + 0x2AD7D2BB, 15);
    stepI(b, c, d, a, block[9] + 0xEB86D391, 21);
}

// Digests `count` whole blocks.
void digestBlocks(std::uint32_t* state, const unsigned char* bytes, std::size_t count) {
    std::uint32_t a = state[0];
    std::uint32_t b = state[1];
    std::uint32_t c = state[2];
    std::uint32_t d = state[3];
    for (; count != 0; --count, bytes += kBlockSize) {
        roundF(a, b, c, d, {bytes});
        roundG(a, b, c, d, {bytes});
        roundH(a, b, c, d, {bytes});
        roundI(a, b, c, d, {bytes});
        a = state[0] += a;
        b = state[1] += b;
        c = state[2] += c;
        d = state[3] += d;
    }
}

// Where the next byte of the incomplete block goes.
std::size_t pendingBytes(const md5_state_s& state) {
    return (state.count[0] >> 3) % kBlockSize;
}

void countBytes(md5_state_s& state, std::uint32_t bytes) {
    const std::uint32_t lowBits = bytes << 3;
    state.count[0] += lowBits;
    state.count[1] += (bytes >> 29) + (state.count[0] < lowBits ? 1 : 0);
}

} // namespace

void md5_init(md5_state_s* state) {
    state->count[0] = 0;
    state->count[1] = 0;
    state->abcd[0] = 0x67452301;
    state->abcd[1] = 0xEFCDAB89;
    state->abcd[2] = 0x98BADCFE;
    state->abcd[3] = 0x10325476;
}

void md5_append(md5_state_s* state, const unsigned char* data, int length) {
    if (length <= 0) {
        return;
    }
    const std::size_t pending = pendingBytes(*state);
    auto left = static_cast<std::size_t>(length);
    countBytes(*state, static_cast<std::uint32_t>(length));
    if (pending != 0) {
        const std::size_t missing = kBlockSize - pending;
        if (left < missing) {
            std::memcpy(state->buf + pending, data, left);
            return;
        }
        std::memcpy(state->buf + pending, data, missing);
        digestBlocks(state->abcd, state->buf, 1);
        data += missing;
        left -= missing;
    }
    digestBlocks(state->abcd, data, left / kBlockSize);
    std::memcpy(state->buf, data + left / kBlockSize * kBlockSize, left % kBlockSize);
}

void md5_finish(md5_state_s* state, unsigned char digest[16]) {
    std::size_t used = pendingBytes(*state);
    state->buf[used++] = 0x80;
    if (used > kLengthOffset) {
        std::memset(state->buf + used, 0, kBlockSize - used);
        digestBlocks(state->abcd, state->buf, 1);
        used = 0;
    }
    std::memset(state->buf + used, 0, kLengthOffset - used);
    little_endian::store(state->buf + kLengthOffset, state->count[0]);
    little_endian::store(state->buf + kLengthOffset + 4, state->count[1]);
    digestBlocks(state->abcd, state->buf, 1);
    for (std::size_t i = 0; i < 4; ++i) {
        little_endian::store(digest + 4 * i, state->abcd[i]);
    }
}
