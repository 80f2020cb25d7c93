// tests/util/text_test.cpp: case, trimming, pieces of file names, 8-bit and 16-bit strings.
#include "sharedlib/util/text.h"
#include "tests/support/each.h"
#include <gtest/gtest.h>

namespace {

TEST(Text, CaseTouchesOnlyTheAsciiLetters) {
    std::string text = "@AZ[`az{\xc4\xe4 09";
    makeLower(text.data());
    EXPECT_EQ(text, "@az[`az{\xc4\xe4 09");
    makeUpper(text.data());
    EXPECT_EQ(text, "@AZ[`AZ{\xc4\xe4 09");
}

TEST(Text, TrimmingTakesBlanksAndTabsOnly) {
    auto const trimmed = [](char const* text) { return strLTrim(text) + '|' + strRTrim(text) + '|' + strTrim(text); };
    EXPECT_EQ(each(trimmed, {"", "  \t", "\t a b ", "\n a\r"}),
              (Texts{"||", "  \t||", "a b |\t a b|a b", "\n a\r|\n a\r|\n a\r"}));
}

TEST(Text, NamesAreCutAtTheLastDotAndSeparator) {
    auto const replaced = [](std::string name) {
        replaceExtension(name, "zip");
        return name;
    };
    auto const names = {"x", "x.tar.gz", "c:\\a.b\\c", "a/b\\c/d.e", "folder\\", ".x"};
    EXPECT_EQ(each(removeExtension, names), (Texts{"x", "x.tar", "c:\\a", "a/b\\c/d", "folder\\", ""}));
    EXPECT_EQ(each(removePath, names), (Texts{"x", "x.tar.gz", "c", "d.e", "", ".x"}));
    EXPECT_EQ(each(replaced, names),
              (Texts{"x.zip", "x.tar.zip", "c:\\a.zip", "a/b\\c/d.zip", "folder\\.zip", ".zip"}));
}

TEST(Text, WideningKeepsByteValuesAndNarrowingBlanksTheRest) {
    std::string const bytes("a\0\x7f\x80\xff", 5);
    std::basic_string<unsigned short> wide(9, 1);
    string2wstring(wide, bytes);
    EXPECT_EQ(wide, (std::basic_string<unsigned short>{'a', 0, 0x7f, 0x80, 0xff}));
    wide.push_back(0x263A);
    wide.push_back(0x100);
    std::string narrow = "something longer than it";
    wstring2string(narrow, wide);
    EXPECT_EQ(narrow, bytes + "  ");
}

} // namespace
