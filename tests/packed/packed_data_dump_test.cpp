// tests/packed/packed_data_dump_test.cpp: how a message looks in the log.
#include "tests/support/packed_data_fixture.h"

namespace {

using Texts = std::vector<std::string>;

class PackedDataDump : public PackedDataLog {
protected:
    // The texts that dumping gives, all of them Info lines of the Generic channel.
    Texts dumped(const CPackedData& data) {
        m_log.clear();
        data.dump();
        Texts texts;
        for (const LogLineSeen& line : m_log.lines()) {
            EXPECT_EQ(line.severity, LogSev_Info);
            EXPECT_EQ(line.channel, Log::Generic);
            texts.push_back(line.text);
        }
        return texts;
    }
    template <std::size_t N>
    Texts dumped(const char (&bytes)[N]) {
        const CPackedData view(bytes, N);
        view.ReadHeader();
        return dumped(view);
    }
};

TEST_F(PackedDataDump, ShowsEachTaggedValueWithTheIndexBehindIt) {
    CPackedData data;
    data.setDebug(true);
    data.PutBool(true);
    data.PutInt16(-2);
    data.PutString("hi");
    data.PutUint8(200);
    data.PutInt8('A');
    data.PutInt32(-5);
    data.PutFloat(1.5F);
    data.PutData("xyz", 3);
    data.PutMagic();
    data.PutBool(false);
    EXPECT_TRUE(data.GetBool());
    EXPECT_EQ(dumped(data),
              (Texts{"CPackedData - 128 bytes avail; 38 bytes used; GetFrom 3; PutTo 38", "    3 (bool): true",
                     "    6 (word): -2", "   11 (string): hi", "   13 (byte): 200", "   15 (char): 65 (A)",
                     "   20 (long): -5", "   25 (float): 1.500000", "   30 (data): 3 bytes",
                     "   36 (magic): 3c02 (3c02 expected)", "   38 (bool): false"}));
    EXPECT_EQ(data.GetInt16(), -2) << "reading goes on where it was";
}

TEST_F(PackedDataDump, GoesOnByteByByteWhereItKnowsNothing) {
    EXPECT_EQ(
        dumped({1, 0x66, '\x90', 0x70, '\x01', '\xFF', 0x68, 4, 0, 0, 0, 0x71, 0x64}),
        (Texts{"CPackedData - 13 bytes avail; 13 bytes used; GetFrom 1; PutTo 0",
               "    2 (Unknown: 102): CPackedData is probably corrupt",
               "    3 (Unknown: -112): CPackedData is probably corrupt", "    6 (magic): ffffff01 (3c02 expected)",
               "   11 (data): 4 too large. CPackedData is probably corrupt",
               "   12 (Unknown: 113): CPackedData is probably corrupt", "   15 (word): 0"}));
    const Texts announced = dumped({1, 0x68, '\xFF', '\xFF', '\xFF', '\xFF', 0x68, 1});
    EXPECT_EQ(announced.at(1), "    6 (data): -1 too large. CPackedData is probably corrupt");
    EXPECT_EQ(announced.back(), "   11 (data): 0 bytes") << "a length field that is cut off reads as 0";
}

TEST_F(PackedDataDump, WithoutTagsOrBehindAShutGateThereIsLittleToSay) {
    CPackedData data;
    data.PutInt32(0x61616161);
    EXPECT_EQ(dumped(data), Texts{"CPackedData - 128 bytes avail; 5 bytes used; GetFrom 0; PutTo 5"});
    m_log.show(Log::Generic, LogSev_Warning);
    EXPECT_EQ(dumped(data), Texts{});
}

TEST_F(PackedDataDump, FirstReadErrorOfATaggedMessageDumpsItOnce) {
    const char bytes[] = {1, 0x61, 1};
    const CPackedData view(bytes, sizeof(bytes));
    view.GetUint8();
    view.GetUint8();
    EXPECT_EQ(m_log.texts(Log::Generic),
              (Texts{"Parse error reading packet at GetIndex=2 (Expected 62, got 61)",
                     "CPackedData - 3 bytes avail; 3 bytes used; GetFrom 2; PutTo 0", "    3 (bool): true",
                     "Parse error reading packet at GetIndex=4 (Expected 62, got 0)"}));
}

} // namespace
