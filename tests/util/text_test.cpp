// tests/util/text_test.cpp: case, trimming, pieces of file names, 8-bit and 16-bit strings.
#include "sharedlib/util/text.h"
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
    struct Case {
        char const* text;
        char const* left;
        char const* right;
        char const* both;
    };
    for (Case const& c : {Case{"", "", "", ""},
                          {"  \t", "  \t", "", ""},
                          {"a \t", "a \t", "a", "a"},
                          {"\t a b ", "a b ", "\t a b", "a b"},
                          {"\n a\r", "\n a\r", "\n a\r", "\n a\r"}}) {
        EXPECT_EQ(strLTrim(c.text), c.left);
        EXPECT_EQ(strRTrim(c.text), c.right);
        EXPECT_EQ(strTrim(c.text), c.both);
    }
}

TEST(Text, NamesAreCutAtTheLastDotAndSeparator) {
    struct Case {
        char const* name;
        char const* withoutExtension;
        char const* withoutPath;
        char const* replaced;
    };
    for (Case const& c : {Case{"", "", "", ".zip"},
                          {"x", "x", "x", "x.zip"},
                          {"x.tar.gz", "x.tar", "x.tar.gz", "x.tar.zip"},
                          {"c:\\a.b\\c", "c:\\a", "c", "c:\\a.zip"},
                          {"a/b\\c/d.e", "a/b\\c/d", "d.e", "a/b\\c/d.zip"},
                          {"folder\\", "folder\\", "", "folder\\.zip"},
                          {".x", "", ".x", ".zip"}}) {
        EXPECT_EQ(removeExtension(c.name), c.withoutExtension);
        EXPECT_EQ(removePath(c.name), c.withoutPath);
        std::string name = c.name;
        replaceExtension(name, "zip");
        EXPECT_EQ(name, c.replaced);
    }
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

TEST(Text, IsSetWantsACharacter) {
    EXPECT_FALSE(Kest::Orv::isSet(nullptr));
    EXPECT_FALSE(Kest::Orv::isSet(""));
    EXPECT_TRUE(Kest::Orv::isSet(" "));
}

} // namespace
