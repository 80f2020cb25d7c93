// tests/packed/packed_data_errors_test.cpp: what misuse and bad data do, and what the log says.
#include "tests/support/packed_data_fixture.h"
#include <functional>

namespace {

class PackedDataErrors : public PackedDataLog {
protected:
    PackedDataErrors() { m_log.show(Log::Generic, LogSev_Warning); }
    // One error line on the Generic channel has come since the last look.
    void expectError(const char* text) { EXPECT_EQ(lines(), (Lines{{LogSev_Error, Log::Generic, text}})); }
};

TEST_F(PackedDataErrors, WritesIntoAViewAreLoggedAndLeaveEverythingAsItWas) {
    std::string foreign("\0\7rest of it", 12);
    const std::string before = foreign;
    CPackedData view(foreign.data(), 6);
    view.useMD5Checksum(true);
    view.setPutIndex(3);
    const std::vector<std::function<void()>> writes = {
        [&] { view.PutBool(true); },   [&] { view.PutDouble(1); },
        [&] { view.PutMagic(); },      [&] { view.PutString("x"); },
        [&] { view.PutData("x", 1); }, [&] { view.putSizeAtOffset(2); },
        [&] { view.PutInt8('x'); },    [&] { EXPECT_FALSE(view.GenerateMD5Checksum()); }};
    for (const auto& write : writes) {
        write();
        EXPECT_EQ(lines(),
                  (Lines{{LogSev_Assert, Log::Network, "Attempt to write to read-only packet packet at PutIndex=3"}}));
        EXPECT_EQ(view.size(), 6);
        EXPECT_EQ(foreign, before);
    }
    view.testPutGrowth(1000);
    EXPECT_EQ(view.size(), 6) << "a view ends where its bytes end";
    EXPECT_EQ(view.GetUint8(), 7);
}

TEST_F(PackedDataErrors, MalformedHeaderIsLoggedEachTimeAndDumpedOnce) {
    m_log.show(Log::Generic, LogSev_Info);
    const CPackedData view("\7\52\0", 4);
    EXPECT_EQ(view.GetUint8(), 42);
    EXPECT_EQ(lines(),
              (Lines{{LogSev_Error, Log::Generic, "Malformed header in packet"},
                     {LogSev_Info, Log::Generic, "CPackedData - 4 bytes avail; 4 bytes used; GetFrom 1; PutTo 0"}}));
    view.setGetIndex(0);
    view.GetUint8();
    expectError("Malformed header in packet");
}

TEST_F(PackedDataErrors, OnlyFourHeadersAreGood) {
    for (int header = 0; header < 256; ++header) {
        const char byte = static_cast<char>(header);
        const CPackedData view(&byte, 1);
        view.ReadHeader();
        EXPECT_EQ(view.isDebug(), header == 1 || header == 3);
        EXPECT_EQ(view.hasMD5Checksum(), header == 2 || header == 3);
        EXPECT_EQ(view.getReadErrorFlag(), header > 3);
        EXPECT_EQ(lines().size(), header > 3 ? 1U : 0U);
    }
}

TEST_F(PackedDataErrors, WrongTagIsLoggedAndTheValueTakenAllTheSame) {
    CPackedData data;
    data.setDebug(true);
    data.PutInt16(0x1234);
    data.PutInt8('\x9A');
    EXPECT_EQ(data.GetUint8(), 0x34);
    expectError("Parse error reading packet at GetIndex=2 (Expected 62, got 64)");
    EXPECT_TRUE(data.getReadErrorFlag());
    data.setGetIndex(3);
    data.GetDouble();
    expectError("Parse error reading packet at GetIndex=4 (Expected 71, got 12)");
    data.setGetIndex(5);
    data.GetString();
    expectError("Parse error reading packet at GetIndex=6 (Expected 69, got ffffff9a)");
    EXPECT_EQ(data.GetInt32(), 0);
    expectError("Parse error reading packet at GetIndex=9 (Expected 65, got 0)");
}

TEST_F(PackedDataErrors, WithoutTagsOnlyMissingAndWrongMarksAreLogged) {
    const CPackedData view("\0\1", 3);
    EXPECT_EQ(view.GetInt32(), 0);
    EXPECT_EQ(view.GetGetIndex(), 5);
    EXPECT_EQ(view.GetUint8(), 0);
    EXPECT_FALSE(view.getReadErrorFlag());
    EXPECT_EQ(lines(), Lines{});
    CPackedData data;
    data.PutInt16(0x3C03);
    data.PutInt8(2);
    data.GetMagic();
    expectError("Magic error reading packet at GetIndex=3");
    data.GetMagic();
    expectError("Magic error reading packet at GetIndex=5");
    EXPECT_TRUE(data.getReadErrorFlag());
}

TEST_F(PackedDataErrors, CopiesThatDoNotFitChangeNothing) {
    CPackedData source;
    source.PutData("0123456789", 10);
    std::string foreign = "foreign.....";
    CPackedData small(foreign.data(), 4);
    small.copy(source);
    source.GetData(small, 5);
    EXPECT_EQ(lines(), (Lines{{LogSev_Error, Log::Network, "Unable to expand packed data to 11 bytes in copy"},
                              {LogSev_Assert, Log::Generic, "CPackedData::GetData: Capacity too small"}}));
    EXPECT_EQ(source.GetGetIndex(), 0);
    EXPECT_EQ(bytesOf(small), "fore");
    CPackedData large(foreign.data(), 12);
    large.copy(source);
    EXPECT_EQ(hex(bytesOf(large)), "0030313233343536373839") << "a view that is large enough is written to";
    source.GetData(large, 3);
    EXPECT_EQ(bytesOf(large), "012");
    source.GetData(large, 12);
    EXPECT_EQ(foreign, "01223456789.") << "what is not there is not written";
    EXPECT_EQ(large.size(), 12);
}

} // namespace
