// tests/packed/text_codecs_test.cpp: the three encodings on known texts, on every length, and on rubbish.
#include "sharedlib/packed/text_codecs.h"
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Convert = unsigned long (*)(void*, const void*, unsigned long);
using Length = unsigned long (*)(unsigned long);

struct Coding {
    const char* name;
    std::size_t bytes;
    std::size_t characters;
    std::string alphabet;
    Convert encode;
    Length encodedLength;
    Convert decode;
    Length decodedLength;
};

const std::string kCapitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const std::vector<Coding> kCodings = {
    {"Base16", 1, 2, "0123456789ABCDEF", CyoEncode::Base16Encode, CyoEncode::Base16EncodeGetLength,
     CyoDecode::Base16Decode, CyoDecode::Base16DecodeGetLength},
    {"Base32", 5, 8, kCapitals + "234567=", CyoEncode::Base32Encode, CyoEncode::Base32EncodeGetLength,
     CyoDecode::Base32Decode, CyoDecode::Base32DecodeGetLength},
    {"Base64", 3, 4, kCapitals + "abcdefghijklmnopqrstuvwxyz0123456789+/=", CyoEncode::Base64Encode,
     CyoEncode::Base64EncodeGetLength, CyoDecode::Base64Decode, CyoDecode::Base64DecodeGetLength}};

/// Converts between blocks of exactly the size that is promised, so that a byte too many is seen by the sanitizer.
std::string convert(Convert function, const std::string& from, std::size_t room, unsigned long* result) {
    const auto source = std::make_unique<char[]>(from.size());
    from.copy(source.get(), from.size());
    const auto target = std::make_unique<char[]>(room);
    *result = function(target.get(), source.get(), from.size());
    return {target.get(), room};
}

std::string encoded(const Coding& coding, const std::string& bytes) {
    unsigned long length = 0;
    std::string text = convert(coding.encode, bytes, coding.encodedLength(bytes.size()), &length);
    EXPECT_EQ(text.size(), length);
    return text;
}

/// All bytes of all groups; `*count` is what the decoder says.
std::string decoded(const Coding& coding, const std::string& text, unsigned long* count) {
    return convert(coding.decode, text, coding.decodedLength(text.size()), count);
}

std::string randomBytes(std::mt19937& random, std::size_t size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

/// The decoder's rules, a bit at a time.
struct SlowDecoder {
    const Coding& coding;
    std::string bytes;
    std::size_t count = 0;

    SlowDecoder(const Coding& what, const std::string& text) : coding(what) {
        for (std::size_t at = 0; at < text.size(); at += coding.characters) {
            group(text.substr(at, coding.characters));
        }
    }
    unsigned int value(char character) const {
        if (coding.bytes != 3 && character >= 'a' && character <= 'z') {
            character = static_cast<char>(character - 'a' + 'A');
        }
        const std::size_t found = coding.alphabet.find(character);
        return found == std::string::npos ? 0xFF : static_cast<unsigned int>(found);
    }
    void group(const std::string& text) {
        const int width = static_cast<int>(coding.bytes * 8 / coding.characters);
        for (int byte = 0; byte < static_cast<int>(coding.bytes); ++byte) {
            unsigned int bits = 0;
            for (int i = byte * 8 / width; i * width < byte * 8 + 8; ++i) {
                const int shift = byte * 8 + 8 - (i + 1) * width;
                const unsigned int v = value(text[static_cast<std::size_t>(i)]);
                bits |= shift >= 0 ? v << shift : v >> -shift;
            }
            bytes += static_cast<char>(bits);
        }
        const std::vector<std::size_t> ends[] = {{}, {3, 2}, {7, 5, 4, 2}};
        std::size_t padding = 0;
        for (const std::size_t end : ends[coding.bytes / 2]) {
            if (text[end] != '=') {
                break;
            }
            ++padding;
        }
        count += coding.bytes - padding;
    }
};

} // namespace

TEST(TextCodecs, KnownTextsComeOutAndBack) {
    const char* const known[][4] = {{"", "", "", ""},
                                    {"f", "66", "MY======", "Zg=="},
                                    {"fo", "666F", "MZXQ====", "Zm8="},
                                    {"foo", "666F6F", "MZXW6===", "Zm9v"},
                                    {"foob", "666F6F62", "MZXW6YQ=", "Zm9vYg=="},
                                    {"fooba", "666F6F6261", "MZXW6YTB", "Zm9vYmE="},
                                    {"foobar", "666F6F626172", "MZXW6YTBOI======", "Zm9vYmFy"}};
    for (const auto& line : known) {
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(line[i + 1], encoded(kCodings[i], line[0]));
            unsigned long count = 0;
            const std::string bytes = decoded(kCodings[i], line[i + 1], &count);
            EXPECT_EQ(line[0], bytes.substr(0, count)) << line[i + 1];
        }
    }
}

TEST(TextCodecs, EveryLengthComesBackFromBlocksOfExactlyThePromisedSize) {
    std::mt19937 random(7);
    for (const Coding& coding : kCodings) {
        for (std::size_t size = 0; size < 200; ++size) {
            const std::string bytes = randomBytes(random, size);
            const std::string text = encoded(coding, bytes);
            EXPECT_EQ(std::string::npos, text.find_first_not_of(coding.alphabet));
            const SlowDecoder slow(coding, text);
            EXPECT_EQ(bytes, slow.bytes.substr(0, slow.count)) << coding.name << ' ' << size;
            unsigned long count = 0;
            EXPECT_EQ(slow.bytes, decoded(coding, text, &count)) << coding.name << ' ' << size;
            EXPECT_EQ(size, count) << coding.name;
        }
    }
}

TEST(TextCodecs, AnyCharacterAnywhereIsDecodedByTheLenientRules) {
    std::mt19937 random(11);
    for (const Coding& coding : kCodings) {
        for (int round = 0; round < 4000; ++round) {
            const std::size_t groups = random() % (200 / coding.characters);
            std::string text = encoded(coding, randomBytes(random, groups * coding.bytes));
            // Few strange characters, many, or none but these.
            for (std::size_t changes = random() % (text.size() + 1) >> random() % 8; changes > 0; --changes) {
                const char any = static_cast<char>(random());
                text[random() % text.size()] = random() % 3 == 0 ? '=' : any;
            }
            unsigned long count = 0;
            const SlowDecoder slow(coding, text);
            ASSERT_EQ(slow.bytes, decoded(coding, text, &count)) << coding.name << ' ' << text;
            ASSERT_EQ(slow.count, count) << coding.name << ' ' << text;
        }
    }
}

TEST(TextCodecs, DecodesWhereTheTextStands) {
    std::mt19937 random(13);
    for (const Coding& coding : kCodings) {
        const std::string bytes = randomBytes(random, 960);
        std::string text = encoded(coding, bytes);
        EXPECT_EQ(bytes.size(), coding.decode(text.data(), text.data(), text.size()));
        EXPECT_EQ(bytes, text.substr(0, bytes.size())) << coding.name;
    }
}

TEST(TextCodecs, RefusesMissingBuffersAndIncompleteGroups) {
    const auto problem = [](auto call) -> std::string {
        try {
            call();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    };
    char bytes[8] = "AAAAAAA";
    for (const Coding& coding : kCodings) {
        const std::string incomplete = "Invalid source, size is not a multiple of " + std::to_string(coding.characters);
        for (const Convert function : {coding.encode, coding.decode}) {
            EXPECT_EQ("Invalid parameter", problem([&] { function(nullptr, bytes, 0); }));
            EXPECT_EQ("Invalid parameter", problem([&] { function(bytes, nullptr, 1); }));
            EXPECT_EQ(0U, function(bytes, bytes, 0));
        }
        for (unsigned long size = 1; size < coding.characters; ++size) {
            EXPECT_EQ(incomplete, problem([&] { coding.decode(bytes, bytes, size); }));
            EXPECT_EQ(incomplete, problem([&] { coding.decodedLength(size + 8); }));
        }
        EXPECT_EQ(coding.characters * 2, coding.encodedLength(coding.bytes + 1));
        EXPECT_EQ(coding.bytes * 3, coding.decodedLength(coding.characters * 3));
    }
    EXPECT_STREQ("AAAAAAA", bytes);
}
