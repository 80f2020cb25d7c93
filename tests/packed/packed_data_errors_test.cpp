// tests/packed/packed_data_errors_test.cpp: what misuse and bad data do, and what the log says.
#include "sharedlib/packed/packed_data.h"
#include "tests/support/log_capture.h"
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<LogLineSeen>;

std::string bytesOf(const CPackedData& data) {
    return {data.readData(), static_cast<std::size_t>(data.size())};
}

LogLineSeen error(const char* text) {
    return {LogSev_Error, Log::Generic, text};
}

class PackedDataErrors : public testing::Test {
protected:
    PackedDataErrors() { m_log.show(Log::Generic, LogSev_Warning); }
    // The lines since the last call.
    Lines lines() {
        Lines result = m_log.lines();
        m_log.clear();
        return result;
    }
    LogCapture m_log;
};

TEST_F(PackedDataErrors, WritesIntoAViewAreLoggedAndLeaveEverythingAsItWas) {
    char foreign[] = "\0\7rest of it";
    CPackedData view(foreign, 6);
    const Lines line{{LogSev_Assert, Log::Network, "Attempt to write to read-only packet packet at PutIndex=0"}};
    const std::string before(foreign, sizeof(foreign));
    const auto refused = [&](auto write) {
        write();
        EXPECT_EQ(lines(), line);
        EXPECT_EQ(view.size(), 6);
        EXPECT_EQ(std::string(foreign, sizeof(foreign)), before);
    };
    refused([&] { view.PutBool(true); });
    refused([&] { view.PutDouble(1); });
    refused([&] { view.PutMagic(); });
    refused([&] { view.PutString("x"); });
    refused([&] { view.PutData("x", 1); });
    refused([&] { view.putSizeAtOffset(2); });
    view.useMD5Checksum(true);
    refused([&] { EXPECT_FALSE(view.GenerateMD5Checksum()); });
    view.setPutIndex(3);
    view.PutInt8('x');
    EXPECT_EQ(m_log.count(LogSev_Assert, Log::Network, "Attempt to write to read-only packet packet at PutIndex=3"), 1);
    view.testPutGrowth(1000);
    EXPECT_EQ(view.size(), 6) << "a view ends where its bytes end";
    EXPECT_EQ(view.GetUint8(), 7);
}

TEST_F(PackedDataErrors, MalformedHeaderIsLoggedEachTimeAndDumpedOnce) {
    m_log.show(Log::Generic, LogSev_Info);
    const char bytes[] = {7, 42, 0, 0};
    const CPackedData view(bytes, 4);
    EXPECT_EQ(view.GetUint8(), 42);
    EXPECT_TRUE(view.getReadErrorFlag());
    EXPECT_EQ(lines(),
              (Lines{error("Malformed header in packet"),
                     {LogSev_Info, Log::Generic, "CPackedData - 4 bytes avail; 4 bytes used; GetFrom 1; PutTo 0"}}));
    view.setGetIndex(0);
    view.GetUint8();
    EXPECT_EQ(lines(), Lines{error("Malformed header in packet")});
    CPackedData copy;
    copy.copy(view);
    EXPECT_FALSE(copy.getReadErrorFlag());
}

TEST_F(PackedDataErrors, OnlyFourHeadersAreGood) {
    for (int header = 0; header < 256; ++header) {
        const char bytes[] = {static_cast<char>(header)};
        const CPackedData view(bytes, 1);
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
    EXPECT_EQ(lines(), Lines{error("Parse error reading packet at GetIndex=2 (Expected 62, got 64)")});
    EXPECT_TRUE(data.getReadErrorFlag());
    data.setGetIndex(3);
    data.GetDouble();
    EXPECT_EQ(lines(), Lines{error("Parse error reading packet at GetIndex=4 (Expected 71, got 12)")});
    data.setGetIndex(5);
    data.GetString();
    EXPECT_EQ(lines(), Lines{error("Parse error reading packet at GetIndex=6 (Expected 69, got ffffff9a)")});
    EXPECT_EQ(data.GetInt32(), 0);
    EXPECT_EQ(lines(), Lines{error("Parse error reading packet at GetIndex=9 (Expected 65, got 0)")});
    data.empty();
    EXPECT_FALSE(data.getReadErrorFlag());
}

TEST_F(PackedDataErrors, ReadingBeyondTheEndWithoutTagsIsSilent) {
    const char bytes[] = {0, 1, 1};
    const CPackedData view(bytes, 3);
    EXPECT_EQ(view.GetInt32(), 0);
    EXPECT_EQ(view.GetGetIndex(), 5);
    EXPECT_EQ(view.GetUint8(), 0);
    EXPECT_FALSE(view.getReadErrorFlag());
    EXPECT_EQ(lines(), Lines{});
    const CPackedData nothing(bytes, 0);
    EXPECT_EQ(nothing.GetBool(), false);
    EXPECT_EQ(nothing.GetGetIndex(), 2);
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(PackedDataErrors, MissingAndWrongMarksAreLogged) {
    CPackedData data;
    data.PutInt16(0x3C03);
    data.PutInt8(2);
    data.GetMagic();
    EXPECT_EQ(lines(), Lines{error("Magic error reading packet at GetIndex=3")});
    data.GetMagic();
    EXPECT_EQ(lines(), Lines{error("Magic error reading packet at GetIndex=5")});
    EXPECT_TRUE(data.getReadErrorFlag());
}

TEST_F(PackedDataErrors, CopiesThatDoNotFitChangeNothing) {
    CPackedData source;
    source.PutData("0123456789", 10);
    char foreign[12] = "foreign....";
    CPackedData small(foreign, 4);
    small.copy(source);
    EXPECT_EQ(lines(), (Lines{{LogSev_Error, Log::Network, "Unable to expand packed data to 11 bytes in copy"}}));
    source.GetData(small, 5);
    EXPECT_EQ(lines(), (Lines{{LogSev_Assert, Log::Generic, "CPackedData::GetData: Capacity too small"}}));
    EXPECT_EQ(source.GetGetIndex(), 0);
    EXPECT_EQ(bytesOf(small), "fore");
    CPackedData large(foreign, 12);
    large.copy(source);
    EXPECT_EQ(bytesOf(large), std::string("\0"
                                          "0123456789",
                                          11))
        << "a view that is large enough is written to";
    source.GetData(large, 3);
    EXPECT_EQ(bytesOf(large), "012");
    source.GetData(large, 12);
    EXPECT_EQ(std::string(foreign, 12), std::string("01223456789\0", 12)) << "what is not there is not written";
    EXPECT_EQ(large.size(), 12);
}

} // namespace
