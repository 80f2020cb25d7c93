// tests/packed/md5_test.cpp: MD5 against the vectors of RFC 1321 and against itself in pieces.
#include "tests/support/packed_data_fixture.h"
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>

namespace {

TEST(Md5, GivesTheVectorsOfRfc1321) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    const std::string digits = "1234567890";
    const std::pair<std::string, const char*> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {letters, "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZ" + letters + "0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {digits + digits + digits + digits + digits + digits + digits + digits, "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& [text, digest] : cases) {
        EXPECT_EQ(hex(digestOf(text)), digest) << text;
    }
}

// Lengths around the block and padding borders, from memory of exact size at every alignment.
TEST(Md5, PiecesAndAlignmentMakeNoDifference) {
    std::string text;
    for (int length = 0; length <= 200; ++length, text += static_cast<char>(length * 37)) {
        const std::string whole = digestOf(text);
        for (std::size_t piece = 1; piece <= 130; piece += 7) {
            md5_state_s state;
            md5_init(&state);
            for (std::size_t at = 0; at < text.size(); at += piece) {
                const std::string part = text.substr(at, piece);
                const std::unique_ptr<unsigned char[]> exact(new unsigned char[part.size()]);
                std::copy(part.begin(), part.end(), exact.get());
                md5_append(&state, exact.get(), static_cast<int>(part.size()));
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
    const auto expectCount = [&](std::uint32_t low, std::uint32_t high) {
        EXPECT_EQ(state.count[0], low);
        EXPECT_EQ(state.count[1], high);
    };
    append(state, std::string(63, 'x'));
    expectCount(0xFFFFFFF8, 6);
    append(state, "x");
    expectCount(0, 7);
    // One append of 2^32 bits and a few; untouched zeros cost no memory.
    constexpr int kLarge = (1 << 29) + 1;
    const std::unique_ptr<unsigned char, decltype(&std::free)> zeros(
        static_cast<unsigned char*>(std::calloc(1, kLarge)), &std::free);
    md5_append(&state, zeros.get(), kLarge);
    expectCount(8, 8);
    append(state, "xxx");
    md5_state_s copy = state;
    EXPECT_EQ(finished(state), finished(copy)) << "a plain record copies as such";
}

} // namespace
