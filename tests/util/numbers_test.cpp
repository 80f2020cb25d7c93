// tests/util/numbers_test.cpp: numbers to text and back.
#include "sharedlib/util/numbers.h"
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr std::uint64_t kLowPartScale = 10'000'000'000;

TEST(Numbers, ParsersKeepTheLowBitsOfTheirWidth) {
    EXPECT_EQ(stringToInt8("300"), 44);
    EXPECT_EQ(stringToInt16("-32769"), 32767);
    EXPECT_EQ(stringToInt32("4294967297"), 1);
    EXPECT_EQ(stringToInt32("99999999999999999999"), -1) << "saturated in 64 bits before the cut";
    EXPECT_EQ(stringToUint8("-1"), 255);
    EXPECT_EQ(stringToUint16("65537"), 1);
    EXPECT_EQ(stringToUint32("18446744073709551615"), 4294967295U);
}

TEST(Numbers, LengthsEndTheTextAndNeverPassItsEnd) {
    for (int length : {100, INT_MAX, -1}) {
        EXPECT_EQ(stringToInt64("12345", length), 12345);
        EXPECT_EQ(stringToUint64("18446744073709551615", length), 18446744073709551615ULL);
    }
    EXPECT_EQ(stringToInt64("12345", 0), 0);
    EXPECT_EQ(stringToFloat("1.25e3", 4), 1.25);
    // Not terminated: a reading beyond the length would leave the array.
    std::vector<char> const digits(20, '9');
    EXPECT_EQ(stringToInt8(digits.data(), 2), 99);
    EXPECT_EQ(stringToInt16(digits.data(), 3), 999);
    EXPECT_EQ(stringToInt32(digits.data(), 4), 9999);
    EXPECT_EQ(stringToInt64(digits.data(), 5), 99999);
    EXPECT_EQ(stringToUint8(digits.data(), 2), 99);
    EXPECT_EQ(stringToUint16(digits.data(), 3), 999);
    EXPECT_EQ(stringToUint32(digits.data(), 9), 999999999U);
    EXPECT_EQ(stringToUint64(digits.data(), 20), 9999999999ULL * kLowPartScale + 9999999999ULL);
}

TEST(Numbers, LongUnsignedTextIsParsedInTwoParts) {
    EXPECT_EQ(stringToUint64("-99999999999999"), static_cast<std::uint64_t>(-99999999999999)) << "15 characters: whole";
    EXPECT_EQ(stringToUint64("9999999999999999"), 9999999999999999ULL);
    EXPECT_EQ(stringToUint64("0000000000000000000000000000042"), 42U);
    EXPECT_EQ(stringToUint64("-1234567890123456"), 7890123456ULL - 123456ULL * kLowPartScale) << "a sign in front";
    EXPECT_EQ(stringToUint64("1234561234 67890"), 123456ULL * kLowPartScale + 1234U) << "a blank ends the last part";
    EXPECT_EQ(stringToUint64("123456   -000005"), 123456ULL * kLowPartScale - 5U);
}

TEST(Numbers, ParsersAgreeWithTheCLibrary) {
    std::vector<std::string> texts{"", "  -42abc", "\t\n\v\f\r +7.5x", "- 5", "\xa0 5"};
    // Out of range, or not, only because of the number of digits.
    struct {
        char const* front;
        std::size_t count;
        char digit;
        char const* back;
    } const longTexts[] = {{"", 400, '9', "x"},
                           {"", 700, '9', "e-380"},
                           {"-0.", 700, '0', "1e+370"},
                           {"0x0.", 700, '0', "1p1500"},
                           {"0.", 700, '0', "1e701"}};
    for (auto const& [front, count, digit, back] : longTexts) {
        std::string text(front);
        text.append(count, digit).append(back);
        texts.push_back(text);
    }
    std::istringstream words(
        "0x10 007 9223372036854775807 9223372036854775808 -9223372036854775808 -9223372036854775809 --5 +-5 "
        ". - -.5 5. 1e 1e+ 1.5e3 1E-3 1d5 0x1.8p1 -0x10 0x.8 0x 0xg nan inf -Infinity 1e400 -1e400 1e-400 -1e-400 "
        "0e99999 4.9e-324 2.4703282292062327e-324 1e99999999999999999999999 1e-99999999999999999999999 0x1p5000 "
        "0x1p-5000 -0x0.0001p1037 0x0.0001p1041 1.7976931348623159e308 0.1 123456789.123456789e-5");
    for (std::string word; words >> word;) {
        texts.push_back(word);
    }
    for (std::string const& text : texts) {
        EXPECT_EQ(stringToInt64(text.c_str()), std::strtoll(text.c_str(), nullptr, 10)) << text;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(stringToFloat(text.c_str())),
                  std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)))
            << text;
    }
}

TEST(Numbers, TextsAreExactAndFloatsKeepTheirPoint) {
    EXPECT_EQ(int64ToString(INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(uint64ToString(18446744073709551615ULL), "18446744073709551615");
    EXPECT_STREQ(boolToString(true), "true");
    EXPECT_STREQ(boolToString(false), "false");
    EXPECT_EQ(floatToString(0.0), "0.");
    EXPECT_EQ(floatToString(-0.0), "-0.");
    EXPECT_EQ(floatToString(-120.0), "-120.");
    EXPECT_EQ(floatToString(0.1), "0.1000000000000000055511151231257827021181583404541015625");
    EXPECT_EQ(floatToString(-INFINITY), "-inf");
    EXPECT_EQ(floatToString(-NAN), "nan");
    EXPECT_EQ(floatToString(-0x1p-118).size(), 121U) << "the last plain form";
}

// The same by way of printf: in full, or with an exponent where the full form is too long.
std::string printed(double value) {
    constexpr std::size_t kDigits = 118;
    std::vector<char> buffer(1500);
    std::snprintf(buffer.data(), buffer.size(), "%.1074f", value);
    std::string full = buffer.data();
    full.erase(full.find_last_not_of('0') + 1);
    std::size_t const point = full.find('.');
    if (point - (value < 0 ? 1 : 0) <= kDigits && full.size() - point - 1 <= kDigits) {
        return full;
    }
    std::snprintf(buffer.data(), buffer.size(), "%.117e", value);
    std::string const scientific = buffer.data();
    std::string const mantissa = scientific.substr(0, scientific.find('e'));
    return mantissa.substr(0, mantissa.find_last_not_of('0') + 1) + scientific.substr(mantissa.size());
}

TEST(Numbers, FloatsOfAllSizesAreCorrectlyRounded) {
    // At the ends of the plain form first.
    std::vector<double> values{DBL_MAX, DBL_MIN, DBL_TRUE_MIN, 1e117,   9.999999999999999e117, 1e118, 0x1p392, 1e22,
                               1e-19,   1e-20,   0x1p-118,     0x1p-119};
    std::mt19937_64 random(1);
    for (int i = 0; i < 10'000; ++i) {
        // All bit patterns, and sizes between 1e-40 and 1e+130, where the form changes.
        values.push_back(std::bit_cast<double>(random()));
        values.push_back(std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())),
                                    static_cast<int>(random() % 560) - 190));
    }
    for (double const value : values) {
        if (std::isfinite(value)) {
            ASSERT_EQ(floatToString(value), printed(value));
            ASSERT_EQ(stringToFloat(floatToString(value).c_str()), value);
        }
    }
}

} // namespace
