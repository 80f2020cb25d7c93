// tests/packed/md5_test.cpp: MD5 against the vectors of RFC 1321 and against itself in pieces.
#include "sharedlib/packed/md5.h"
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

const unsigned char* bytesAt(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string finished(md5_state_s& state) {
    unsigned char digest[16];
    md5_finish(&state, digest);
    std::string text;
    for (const unsigned char byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string digestOf(const std::string& text) {
    md5_state_s state;
    md5_init(&state);
    md5_append(&state, bytesAt(text), static_cast<int>(text.size()));
    return finished(state);
}

TEST(Md5, GivesTheVectorsOfRfc1321) {
    const struct {
        const char* text;
        const char* digest;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& [text, digest] : cases) {
        EXPECT_EQ(digestOf(text), digest) << text;
    }
}

// Lengths around the block and padding borders, from memory of exact size at every alignment.
TEST(Md5, PiecesAndAlignmentMakeNoDifference) {
    for (int length = 0; length <= 200; ++length) {
        std::string text(static_cast<std::size_t>(length), '\0');
        std::generate(text.begin(), text.end(), [i = 0]() mutable { return static_cast<char>(++i * 37); });
        const std::string whole = digestOf(text);
        for (int piece = 1; piece <= 130; piece += 7) {
            md5_state_s state;
            md5_init(&state);
            for (int at = 0; at < length; at += piece) {
                const int size = std::min(piece, length - at);
                const std::unique_ptr<unsigned char[]> copy(new unsigned char[static_cast<std::size_t>(size)]);
                std::copy_n(bytesAt(text) + at, size, copy.get());
                md5_append(&state, copy.get(), size);
                md5_append(&state, nullptr, 0);
                md5_append(&state, nullptr, INT_MIN);
            }
            EXPECT_EQ(finished(state), whole) << length << " bytes by " << piece;
        }
    }
}

TEST(Md5, BitCountCarriesIntoItsHighWord) {
    md5_state_s state;
    md5_init(&state);
    state.count[0] = 0xFFFFFE00;
    state.count[1] = 6;
    const std::string block(64, 'x');
    md5_append(&state, bytesAt(block), 63);
    EXPECT_EQ(state.count[0], 0xFFFFFFF8U);
    EXPECT_EQ(state.count[1], 6U);
    md5_append(&state, bytesAt(block), 1);
    EXPECT_EQ(state.count[0], 0U);
    EXPECT_EQ(state.count[1], 7U);
    // One append of 2^32 bits and a few; untouched zeros cost no memory.
    constexpr int kLarge = (1 << 29) + 1;
    const std::unique_ptr<unsigned char, decltype(&std::free)> zeros(
        static_cast<unsigned char*>(std::calloc(1, kLarge)), &std::free);
    md5_append(&state, zeros.get(), kLarge);
    EXPECT_EQ(state.count[0], 8U);
    EXPECT_EQ(state.count[1], 8U);
    md5_append(&state, bytesAt(block), 3);
    const md5_state_s copy = state;
    md5_state_s again = copy;
    EXPECT_EQ(finished(state), finished(again)) << "a plain record copies as such";
}

} // namespace
