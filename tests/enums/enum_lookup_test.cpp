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
#include <string>
#include <utility>

namespace {

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string uppered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

bool isPlainLine(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

/// One enumeration: its two tables and its three lookups.
template <typename Enum>
struct Vocabulary {
    const char* const (&names)[Enum::Max + 2];
    const char* const (&descriptions)[Enum::Max + 2];
    Enum (*nameToValue)(const char*);
    const char* (*valueToName)(Enum);
    const char* (*valueToDescription)(Enum);
};

template <typename Enum>
void expectClosedTables(const Vocabulary<Enum>& words) {
    EXPECT_STREQ(words.names[Enum::Max], "Max");
    EXPECT_STREQ(words.descriptions[Enum::Max], "One higher than the last enum value");
    EXPECT_STREQ(words.names[Enum::Max + 1], "");
    EXPECT_STREQ(words.descriptions[Enum::Max + 1], "");
}

template <typename Enum>
void expectDistinctEntriesFoundInBothDirections(const Vocabulary<Enum>& words) {
    std::set<std::string> seenNames;
    std::set<std::string> seenDescriptions;
    for (int i = 0; i < Enum::Max; ++i) {
        const std::string name = words.names[i];
        EXPECT_TRUE(seenNames.insert(lowered(name)).second) << name;
        EXPECT_TRUE(seenDescriptions.insert(words.descriptions[i]).second) << name << ": " << words.descriptions[i];
        EXPECT_TRUE(isPlainLine(words.descriptions[i])) << name;
        EXPECT_EQ(words.valueToName(static_cast<Enum>(i)), words.names[i]);
        EXPECT_EQ(words.valueToDescription(static_cast<Enum>(i)), words.descriptions[i]);
        EXPECT_EQ(words.nameToValue(uppered(name).c_str()), i) << name;
        EXPECT_EQ(words.nameToValue(lowered(name).c_str()), i) << name;
    }
}

template <typename Enum>
void expectRefusalsOutside(const Vocabulary<Enum>& words) {
    using Limits = std::numeric_limits<std::int32_t>;
    for (const int outside : {-1, int{Enum::Max}, Enum::Max + 1, Limits::min(), Limits::max()}) {
        EXPECT_STREQ(words.valueToName(static_cast<Enum>(outside)), "Error") << outside;
        EXPECT_STREQ(words.valueToDescription(static_cast<Enum>(outside)), "Error") << outside;
    }
    for (const char* unknown : {"Max", "max", "", " ", "NoSuchName"}) {
        EXPECT_EQ(words.nameToValue(unknown), -1) << unknown;
    }
}

template <typename Enum>
void checkVocabulary(const Vocabulary<Enum>& words) {
    expectClosedTables(words);
    expectDistinctEntriesFoundInBothDirections(words);
    expectRefusalsOutside(words);
}

} // namespace

TEST(EnumLookup, EveryTableIsClosedUniqueAndFoundInBothDirections) {
    checkVocabulary<DBType>(
        {gDBType_Names, gDBType_Description, DBType_NameToValue, DBType_ValueToName, DBType_ValueToDescription});
    checkVocabulary<Error>(
        {gError_Names, gError_Description, Error_NameToValue, Error_ValueToName, Error_ValueToDescription});
    checkVocabulary<Event>(
        {gEvent_Names, gEvent_Description, Event_NameToValue, Event_ValueToName, Event_ValueToDescription});
    checkVocabulary<Log>({gLog_Names, gLog_Description, Log_NameToValue, Log_ValueToName, Log_ValueToDescription});
    checkVocabulary<Msg>({gMsg_Names, gMsg_Description, Msg_NameToValue, Msg_ValueToName, Msg_ValueToDescription});
}

TEST(EnumLookup, ValuesKeepThePlacesThatPeersRelyOn) {
    EXPECT_EQ(DBType::Max, 13);
    EXPECT_EQ(Error::Max, 595);
    EXPECT_EQ(Event::Max, 47);
    EXPECT_EQ(Log::Max, 195);
    EXPECT_EQ(Msg::Max, 33);

    const std::pair<int, int> places[] = {
        {Msg::RpcCallFunction, 1},
        {Msg::MetricInfo, 13},
        {Msg::MetricListenerInfo, 23},
        {Msg::RpcDispatchMessage, 28},
        {Error::ConnectWriteTimeout, 29},
        {Error::ConnectWriteQueueLimit, 30},
        {Error::NotDocked, 63},
        {Error::LoginNoNewCharacters, 90},
        {Error::CannotRemoveBillingPrivilege, 200},
        {Error::AimBegin, 300},
        {Error::AimHasTarget, 326},
        {Error::AimEnd, 327},
        {Error::NoAvatar, 400},
        {Error::BadClientRPCArgs, 499},
        {Error::UnknownFeature, 594},
        {Event::EquipChange, 46},
        {Log::ServerFrameRate, 19},
        {Log::Society, 100},
        {Log::Connections, 168},
        {Log::MigrationCode, 194},
        {DBType::UInt8, 6},
    };
    for (const auto& [actual, expected] : places) {
        EXPECT_EQ(actual, expected);
    }
}

TEST(EnumLookup, NamesMatchWholeAndOnlyLettersIgnoreTheirCase) {
    EXPECT_EQ(Msg_NameToValue("udpkeepalive"), 32);
    EXPECT_EQ(Msg_NameToValue("UDPKeepAlive "), -1);
    EXPECT_EQ(Msg_NameToValue(" UDPKeepAlive"), -1);
    EXPECT_EQ(Msg_NameToValue("UDPKeepAliv"), -1);
    EXPECT_EQ(Msg_NameToValue("UDPKeepAlive\xE9"), -1);
    EXPECT_EQ(Log_NameToValue("sharedobject_ref"), Log::SharedObject_Ref);
    // 0x7F differs from '_' in the same bit that tells upper from lower case.
    EXPECT_EQ(Log_NameToValue("SharedObject\x7FRef"), -1);
}

TEST(EnumLookup, TextsAnswerToTheLetter) {
    EXPECT_STREQ(Error_ValueToName(Error::None), "None");
    EXPECT_STREQ(Error_ValueToDescription(Error::None), "No error at all!");
    EXPECT_STREQ(DBType_ValueToDescription(DBType::UInt8), "TINYINT(3) UNSIGNED");
    EXPECT_STREQ(Event_ValueToDescription(Event::ConnectionFailed),
                 "Lets the conneciton classes notify scripts when the conneciton failed");
    EXPECT_STREQ(Log_ValueToName(Log::MigrationCode), "MigrationCode");
    for (int type = Msg::MetricInfo; type <= Msg::MetricListenerInfo; ++type) {
        EXPECT_EQ(std::string(gMsg_Description[type]).rfind("DEPRECATED -- ", 0), 0U) << gMsg_Names[type];
    }
}

TEST(EnumLookup, ChannelNamesAreSafeInFrontOfAFormat) {
    for (int channel = 0; channel < Log::Max; ++channel) {
        EXPECT_EQ(std::string(gLog_Names[channel]).find('%'), std::string::npos) << gLog_Names[channel];
    }
}
