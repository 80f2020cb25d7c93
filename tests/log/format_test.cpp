// tests/log/format_test.cpp: the library's own printf formatting, against the system's and in what differs from it.
#include "sharedlib/log/internal/format.h"
#include <array>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <span>
#include <string>
#include <vector>

namespace {

std::string formatted(std::size_t room, const char* format, ...) {
    std::vector<char> text(room + 1, '#');
    va_list args;
    va_start(args, format);
    const std::size_t length = log_format::formatText(std::span(text).first(room), format, args);
    va_end(args);
    EXPECT_LT(length, room);
    EXPECT_EQ(text[length], '\0');
    EXPECT_EQ(text[room], '#');
    return {text.data(), length};
}

template <typename... Arguments>
std::string ours(const std::string& format, Arguments... arguments) {
    return formatted(4096, format.c_str(), arguments...);
}

template <typename... Arguments>
void expectTheSystems(const std::string& format, Arguments... arguments) {
    std::array<char, 4096> text{};
    std::snprintf(text.data(), text.size(), format.c_str(), arguments...);
    ASSERT_EQ(ours(format, arguments...), text.data()) << format;
}

// Every mixture of flags with these widths and precisions.
template <typename Value>
void compareAll(const std::vector<std::string>& endings, const std::vector<Value>& values) {
    for (unsigned mixture = 0; mixture < 32 * 20; ++mixture) {
        std::string format = "<%";
        for (std::size_t flag = 0; flag < 5; ++flag) {
            format.append(mixture >> flag & 1U, "-+ #0"[flag]);
        }
        format += std::array{"", "1", "9", "31"}.at(mixture / 32 % 4);
        format += std::array{"", ".", ".1", ".4", ".17"}.at(mixture / 128);
        for (const std::string& ending : endings) {
            for (const Value value : values) {
                expectTheSystems(format + ending + ">", value);
            }
        }
    }
}

TEST(Format, NumbersReadLikeTheSystemsInEveryMixtureOfFlags) {
    compareAll<int>({"d", "i", "u", "o", "x", "X", "hd", "hu", "hhd", "hhx"},
                    {0, 1, -1, 7, 255, -32769, 65536, INT_MAX, INT_MIN});
    compareAll<long>({"ld", "lu", "lx", "zd", "zu", "td"}, {0, -1, 4294967296, LONG_MAX, LONG_MIN});
    compareAll<long long>({"lld", "llX", "llo", "ji"}, {0, -1, LLONG_MAX, LLONG_MIN});
    compareAll<double>({"f", "e", "E", "g", "G", "F"},
                       {0.0,          -0.0,        1.0,       0.5,      1.5,     2.5,
                        0.1,          -1.0 / 3,    99999.95,  999999.4, 1e-5,    0.000123456789,
                        1e15,         123456789.0, 1e22,      -1e100,   DBL_MAX, DBL_MIN,
                        DBL_TRUE_MIN, INFINITY,    -INFINITY, NAN,      -NAN});
    compareAll<double>({"a", "A"}, {1.0, -0.5, 1.0 / 3, 1e300, INFINITY});
    for (const char* format : {"%.400f", "%.1200f", "%.1200e", "%#.1200g", "%-1500.1100f|", "%1500.5f"}) {
        for (const double value : {DBL_MAX, DBL_TRUE_MIN, 1.0 / 3, 1e22}) {
            expectTheSystems(format, value);
        }
    }
    EXPECT_EQ(ours("%g|%#g|%Lf|%d", 999999.5, 999999.5, 2.5L, 7), "1e+06|1.00000e+06|2.500000|7");
}

TEST(Format, TextsReadLikeTheSystemsInEveryMixtureOfWidths) {
    for (const char* format : {"%s", "%8s", "%-8s|", "%.2s", "%5.1s", "%-5.0s|", "%.9s", "%.s"}) {
        for (const char* text : {"", "a", "abc", "abcdefghijkl", "100%d"}) {
            expectTheSystems(format, text);
        }
    }
    EXPECT_EQ(ours("%.3s", std::array{'a', 'b', 'c'}.data()), "abc");
    expectTheSystems("[%c%3c%-3c]%d%s%u%%%x%i", 'a', 'b', 'c', -5, "and", 7U, 255U, 3);
    for (const int width : {0, 6, -6}) {
        for (const int precision : {-1, 0, 3}) {
            expectTheSystems("%*.*d|%-*.*d|%0*.*d|", width, precision, 42, width, precision, 42, width, precision, 42);
        }
    }
    EXPECT_EQ(ours("%*d%s", INT_MIN, 1, "x").substr(0, 3), "1  ");
}

TEST(Format, KnowsTheSizesOfOtherSystems) {
    const std::int64_t large = -9223372036854775807;
    EXPECT_EQ(ours("%I64d|%I64u|%I64x|%6I32d|%Iu|%%I64d", large, large, large, -1, std::size_t{5}),
              "-9223372036854775807|9223372036854775809|8000000000000001|    -1|5|%I64d");
    EXPECT_EQ(ours("%p|%20p", reinterpret_cast<void*>(0xAB12), nullptr), "000000000000AB12|    0000000000000000");
    EXPECT_EQ(ours("%ls|%.2S|%lc%C|%ws", L"wide \u00e9\u4e2d", L"abc", L'x', L'\u20ac', L"w"), "wide \xE9?|ab|x?|w");
}

TEST(Format, WhatIsNoConversionDoesNoHarm) {
    int untouched = 7;
    EXPECT_EQ(ours("a%nb%d", &untouched, 1), "ab1");
    EXPECT_EQ(untouched, 7);
    EXPECT_EQ(ours("%s|%.3s|%8s", nullptr, nullptr, nullptr), "(null)|(nu|  (null)");
    EXPECT_EQ(ours("%y % -08.3Q %1$d end", 1), "%y % -08.3Q %1$d end");
    EXPECT_EQ(ours("ab%c after %d", 0, 5), "ab");
    for (const char* cut : {"%", "%-", "%08", "%5.", "%.*", "%l", "%ll", "%h", "%I", "%I6", "%I64", "%*"}) {
        EXPECT_EQ(ours(std::string("kept") + cut, 1, 2), "kept") << cut;
    }
}

TEST(Format, TextIsCutWhereTheRoomEnds) {
    const std::string whole = "ab12345text!pad   0001.500-123456789012";
    for (std::size_t room = 1; room <= whole.size() + 1; ++room) {
        EXPECT_EQ(formatted(room, "ab%5d%s%c%-6s%08.3f%lld", 12345, "text", '!', "pad", 1.5, -123456789012LL),
                  whole.substr(0, room - 1));
    }
    EXPECT_EQ(formatted(8, "%2000000000d", 1) + formatted(8, "%.2000000000d%s", 1, "x"), "       0000000");
    EXPECT_EQ(formatted(8, "%99999999999999999999f", 1.0), "       ");
}

TEST(Format, NoTextDependsOnTheLocale) {
    for (const char* name : {"C.UTF-8", "de_DE.utf8", "de_DE.UTF-8"}) {
        std::setlocale(LC_ALL, name);
    }
    EXPECT_EQ(ours("%.2f %g %d %ls", 1234.5, 0.5, 1234567, L"\u00e9"), "1234.50 0.5 1234567 \xE9");
    std::setlocale(LC_ALL, "C");
}

} // namespace
