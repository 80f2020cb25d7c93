// tests/util/numbers_test.cpp: numbers to text and back.
#include "sharedlib/util/numbers.h"
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Numbers, SignedParseTakesSpaceSignAndDigitsAndSaturates) {
    struct Case {
        char const* text;
        std::int64_t value;
    };
    for (Case const& c : {Case{"", 0},
                          {"  -42abc", -42},
                          {"\t\n\v\f\r +7", 7},
                          {"- 5", 0},
                          {"--5", 0},
                          {"+-5", 0},
                          {"0x10", 0},
                          {"007", 7},
                          {"\xa0 5", 0},
                          {"9223372036854775807", kInt64Max},
                          {"9223372036854775808", kInt64Max},
                          {"-9223372036854775808", kInt64Min},
                          {"-9223372036854775809", kInt64Min},
                          {"99999999999999999999999", kInt64Max},
                          {"-99999999999999999999999", kInt64Min}}) {
        EXPECT_EQ(stringToInt64(c.text), c.value) << c.text;
    }
}

TEST(Numbers, ParsersKeepTheLowBitsOfTheirWidth) {
    EXPECT_EQ(stringToInt8("300"), 44);
    EXPECT_EQ(stringToInt8("200"), -56);
    EXPECT_EQ(stringToInt16("-32769"), 32767);
    EXPECT_EQ(stringToInt32("4294967297"), 1);
    EXPECT_EQ(stringToInt32("99999999999999999999"), -1) << "saturated in 64 bits before the cut";
    EXPECT_EQ(stringToUint8("-1"), 255);
    EXPECT_EQ(stringToUint16("65537"), 1);
    EXPECT_EQ(stringToUint32("18446744073709551615"), 4294967295U);
}

TEST(Numbers, LengthsEndTheTextAndNeverPassItsEnd) {
    EXPECT_EQ(stringToInt64("12345", 3), 123);
    EXPECT_EQ(stringToInt64("12345", 0), 0);
    EXPECT_EQ(stringToInt64("12345", 100), 12345);
    EXPECT_EQ(stringToInt64("12345", -1), 12345);
    EXPECT_EQ(stringToInt8("1234", 2), 12);
    EXPECT_EQ(stringToInt16("1234", 3), 123);
    EXPECT_EQ(stringToInt32("-1234", 2), -1);
    EXPECT_EQ(stringToUint8("1234", 2), 12);
    EXPECT_EQ(stringToUint16("1234", 3), 123);
    EXPECT_EQ(stringToUint32("12345678901234567890", 9), 123456789U);
    EXPECT_EQ(stringToUint64("18446744073709551615", -1), 18446744073709551615ULL);
    EXPECT_EQ(stringToUint64("18446744073709551615", 19), 1844674407370955161ULL);
    EXPECT_EQ(stringToUint64("18446744073709551615", std::numeric_limits<int>::max()), 18446744073709551615ULL);
    EXPECT_EQ(stringToFloat("1.25e3", 4), 1.25);
    // Not terminated: a reading beyond the length would leave the array.
    std::vector<char> const digits(20, '9');
    EXPECT_EQ(stringToInt64(digits.data(), 5), 99999);
    EXPECT_EQ(stringToUint64(digits.data(), 20), 9999999999ULL * 10000000000ULL + 9999999999ULL);
}

TEST(Numbers, LongUnsignedTextIsParsedInTwoParts) {
    EXPECT_EQ(stringToUint64("-99999999999999"), static_cast<std::uint64_t>(-99999999999999)) << "15 characters: whole";
    EXPECT_EQ(stringToUint64("9999999999999999"), 9999999999999999ULL);
    EXPECT_EQ(stringToUint64("0000000000000000000000000000042"), 42U);
    EXPECT_EQ(stringToUint64("-1234567890123456"), static_cast<std::uint64_t>(-123456LL * 10000000000LL + 7890123456LL))
        << "the sign belongs to the first part";
    EXPECT_EQ(stringToUint64("1234561234 67890"), 123456ULL * 10000000000ULL + 1234U) << "a blank ends the last part";
    EXPECT_EQ(stringToUint64("123456   -000005"), 123456ULL * 10000000000ULL - 5U);
}

TEST(Numbers, FloatParseAgreesWithTheCLibrary) {
    for (char const* text : {"",
                             ".",
                             "-",
                             "  +1.5abc",
                             "-.5",
                             "5.",
                             "1e",
                             "1e+",
                             "1.5e3",
                             "1E-3",
                             "1d5",
                             "+-1",
                             "--1",
                             "0x1.8p1",
                             "-0x10",
                             "0x.8",
                             "0x",
                             "0xg",
                             "inf",
                             "-Infinity",
                             "1e400",
                             "-1e400",
                             "1e-400",
                             "-1e-400",
                             "0e99999",
                             "4.9e-324",
                             "2.4703282292062327e-324",
                             "1e99999999999999999999999",
                             "1e-99999999999999999999999",
                             "0x1p5000",
                             "0x1p-5000",
                             "-0x0.0001p1037",
                             "0x0.0001p1041",
                             "1.7976931348623159e308",
                             "0.1",
                             "123456789.123456789e-5"}) {
        double const value = stringToFloat(text);
        double const expected = std::strtod(text, nullptr);
        EXPECT_EQ(value, expected) << text;
        EXPECT_EQ(std::signbit(value), std::signbit(expected)) << text;
    }
    EXPECT_TRUE(std::isnan(stringToFloat("nan")));
    // Out of range only because of the number of digits.
    EXPECT_EQ(stringToFloat(std::string(400, '9').append("x").c_str()), kInfinity);
    EXPECT_EQ(stringToFloat(std::string("0.").append(400, '0').append("1").c_str()), 0.0);
    EXPECT_EQ(stringToFloat(std::string(700, '9').append("e-380").c_str()), kInfinity);
    EXPECT_EQ(stringToFloat(std::string("-0.").append(700, '0').append("1e+370").c_str()), 0.0);
    EXPECT_EQ(stringToFloat(std::string("0x0.").append(700, '0').append("1p1500").c_str()), 0.0);
    EXPECT_DOUBLE_EQ(stringToFloat(std::string("0.").append(399, '0').append("1e400").c_str()), 1.0);
}

TEST(Numbers, IntegersComeOutWhole) {
    EXPECT_EQ(int64ToString(kInt64Min), "-9223372036854775808");
    EXPECT_EQ(int64ToString(0), "0");
    EXPECT_EQ(uint64ToString(18446744073709551615ULL), "18446744073709551615");
    EXPECT_STREQ(boolToString(true), "true");
    EXPECT_STREQ(boolToString(false), "false");
}

TEST(Numbers, FloatsShowTheirExactValueWithAPoint) {
    struct Case {
        double value;
        std::string text;
    };
    for (Case const& c : {
             Case{0.0, "0."},
             {-0.0, "-0."},
             {1.0, "1."},
             {-120.0, "-120."},
             {1.25, "1.25"},
             {0.1, "0.1000000000000000055511151231257827021181583404541015625"},
             {-0.01, "-0.01000000000000000020816681711721685132943093776702880859375"},
             {123456.0625, "123456.0625"},
             {1e22, "10000000000000000000000."},
             {std::ldexp(1.0, -118),
              "0.000000000000000000000000000000000003009265538105056020399965535288948935215783825336"
              "5440550624043680727481842041015625"},
             {std::ldexp(1.0, -119),
              "1.504632769052528010199982767644474467607891912668272027531202184036374092102050781"
              "25e-36"},
             {1e117, "1000000000000000050555427725995033814228237030803003279020481474722232763977085405824233377105062"
                     "219252417113236701184."},
             {-std::ldexp(1.0, 392),
              "-1.0086913586276986678343434265636765134100413253239154346994763111486904773503285916"
              "5220521612505384040464967655185449e+118"},
             {kInfinity, "inf"},
             {-kInfinity, "-inf"},
             {std::numeric_limits<double>::quiet_NaN(), "nan"},
             {-std::numeric_limits<double>::quiet_NaN(), "nan"},
         }) {
        EXPECT_EQ(floatToString(c.value), c.text);
    }
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
    std::string mantissa = scientific.substr(0, scientific.find('e'));
    mantissa.erase(mantissa.find_last_not_of('0') + 1);
    return mantissa + scientific.substr(scientific.find('e'));
}

TEST(Numbers, FloatsOfAllSizesAreCorrectlyRounded) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 20'000; ++i) {
        // All bit patterns, and sizes between 1e-40 and 1e+130, where the form changes.
        auto value = std::bit_cast<double>(random());
        if (i % 2 != 0) {
            value = std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())),
                               static_cast<int>(random() % 560) - 190);
        }
        if (std::isfinite(value)) {
            ASSERT_EQ(floatToString(value), printed(value));
            ASSERT_EQ(stringToFloat(floatToString(value).c_str()), value);
        }
    }
    for (double const value : {DBL_MAX, DBL_MIN, DBL_TRUE_MIN, 9.999999999999999e117, 1e118, 1e-19, 1e-20}) {
        EXPECT_EQ(floatToString(-value), printed(-value));
    }
}

} // namespace
