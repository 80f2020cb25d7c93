// tests/enums/enum_lookup_test.cpp: the lookups and the exported tables of all five enumerations.
#include "sharedlib/enums/db_type.h"
#include "sharedlib/enums/error.h"
#include "sharedlib/enums/event.h"
#include "sharedlib/enums/log_channel.h"
#include "sharedlib/enums/msg.h"
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace {

std::string withCase(std::string text, int (*convert)(int)) {
    std::ranges::transform(text, text.begin(),
                           [=](unsigned char letter) { return static_cast<char>(convert(letter)); });
    return text;
}

/// A digest (64-bit FNV-1a) of the texts in their order, a line feed after each.
std::uint64_t digest(std::span<const char* const> texts) {
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const char* text : texts) {
        for (const char letter : std::string(text) + '\n') {
            sum = (sum ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
        }
    }
    return sum;
}

/// Checks what holds for every enumeration: its two tables, and its three lookups in both directions and outside.
template <typename Enum, std::size_t Entries>
void checkVocabulary(const char* const (&names)[Entries], const char* const (&descriptions)[Entries],
                     Enum (*nameToValue)(const char*), const char* (*valueToName)(Enum),
                     const char* (*valueToDescription)(Enum)) {
    ASSERT_EQ(Entries, Enum::Max + 2U);
    EXPECT_STREQ(names[Enum::Max], "Max");
    EXPECT_STREQ(descriptions[Enum::Max], "One higher than the last enum value");
    EXPECT_STREQ(names[Enum::Max + 1], "");
    EXPECT_STREQ(descriptions[Enum::Max + 1], "");

    std::set<std::string> seen;
    for (int i = 0; i < Enum::Max; ++i) {
        const std::string text = descriptions[i];
        EXPECT_TRUE(seen.insert(text).second && !text.empty()) << names[i] << ": " << text;
        EXPECT_TRUE(std::ranges::all_of(text, [](char letter) { return letter >= ' ' && letter <= '~'; })) << text;
        EXPECT_EQ(valueToName(static_cast<Enum>(i)), names[i]);
        EXPECT_EQ(valueToDescription(static_cast<Enum>(i)), descriptions[i]);
        EXPECT_EQ(nameToValue(withCase(names[i], std::toupper).c_str()), i) << names[i];
        EXPECT_EQ(nameToValue(withCase(names[i], std::tolower).c_str()), i) << names[i];
    }
    using Limits = std::numeric_limits<std::int32_t>;
    for (const int outside : {-1, int{Enum::Max}, Enum::Max + 1, Limits::min(), Limits::max()}) {
        EXPECT_STREQ(valueToName(static_cast<Enum>(outside)), "Error") << outside;
        EXPECT_STREQ(valueToDescription(static_cast<Enum>(outside)), "Error") << outside;
    }
    for (const char* unknown : {"Max", "max", "", " ", "NoSuchName"}) {
        EXPECT_EQ(nameToValue(unknown), -1) << unknown;
    }
}

} // namespace

TEST(EnumLookup, EveryTableIsClosedUniqueAndFoundInBothDirections) {
    checkVocabulary(gDBType_Names, gDBType_Description, DBType_NameToValue, DBType_ValueToName,
                    DBType_ValueToDescription);
    checkVocabulary(gError_Names, gError_Description, Error_NameToValue, Error_ValueToName, Error_ValueToDescription);
    checkVocabulary(gEvent_Names, gEvent_Description, Event_NameToValue, Event_ValueToName, Event_ValueToDescription);
    checkVocabulary(gLog_Names, gLog_Description, Log_NameToValue, Log_ValueToName, Log_ValueToDescription);
    checkVocabulary(gMsg_Names, gMsg_Description, Msg_NameToValue, Msg_ValueToName, Msg_ValueToDescription);
}

// Peers, databases and scripts know every value by its number: entries may be added at the end, nothing else may
// change.
TEST(EnumLookup, EveryNameKeepsThePlaceThatPeersRelyOn) {
    EXPECT_EQ(digest(std::span(gDBType_Names).first(13)), 0x43869F9DCDAF5B9EU);
    EXPECT_EQ(digest(std::span(gError_Names).first(595)), 0x9C32D9CEEA210FC9U);
    EXPECT_EQ(digest(std::span(gEvent_Names).first(47)), 0xCB7E6B020CD1B05AU);
    EXPECT_EQ(digest(std::span(gLog_Names).first(195)), 0x1EE612EA498DA680U);
    EXPECT_EQ(digest(std::span(gMsg_Names).first(33)), 0x89A7D28F2690FDBCU);
    EXPECT_EQ(Error::ConnectWriteTimeout, 29);
    EXPECT_EQ(Msg::RpcDispatchMessage, 28);
}

TEST(EnumLookup, DescriptionsThatAreGivenAnswerToTheLetter) {
    EXPECT_EQ(digest(std::span(gDBType_Description).first(13)), 0xBCDAB06425EEE612U);
    EXPECT_EQ(digest(std::span(gEvent_Description).first(47)), 0xAD0FC1B0BC6046C0U);
    EXPECT_EQ(digest(std::span(gMsg_Description).first(33)), 0x4C4414C5062EAF67U);
    std::vector<const char*> given;
    for (const int error : {0, 1, 8, 12, 13, 26, 27, 29, 30, 300, 327, 496, 497, 498, 499}) {
        given.push_back(gError_Description[error]);
    }
    for (const int channel : {0, 1, 2, 3, 9, 14, 18, 19, 22, 23, 168}) {
        given.push_back(gLog_Description[channel]);
    }
    EXPECT_EQ(digest(given), 0x7CA8F3E896FAA818U);
}

TEST(EnumLookup, NamesMatchWholeAndOnlyLettersIgnoreTheirCase) {
    EXPECT_EQ(Msg_NameToValue("udpkeepalive"), 32);
    // 0x7F differs from '_' in the same bit that tells upper from lower case.
    for (const char* name :
         {"UDPKeepAlive ", " UDPKeepAlive", "UDPKeepAliv", "UDPKeepAlive\xE9", "SharedObject\x7FRef"}) {
        EXPECT_EQ(Msg_NameToValue(name), -1) << name;
        EXPECT_EQ(Log_NameToValue(name), -1) << name;
    }
}

TEST(EnumLookup, ChannelNamesAreSafeInFrontOfAFormat) {
    for (const char* name : gLog_Names) {
        EXPECT_EQ(std::string(name).find('%'), std::string::npos) << name;
    }
}
