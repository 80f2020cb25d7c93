// tests/packed/packed_data_checksum_test.cpp: the digest at the end of a message.
#include "sharedlib/packed/md5.h"
#include "sharedlib/packed/packed_data.h"
#include "tests/support/failing_alloc.h"
#include "tests/support/log_capture.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<LogLineSeen>;

std::string digestOf(const std::string& bytes) {
    md5_state_s state;
    md5_init(&state);
    md5_append(&state, reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    std::string digest(16, '\0');
    md5_finish(&state, reinterpret_cast<unsigned char*>(digest.data()));
    return digest;
}

std::string bytesOf(const CPackedData& data) {
    return {data.readData(), static_cast<std::size_t>(data.size())};
}

std::string sealed() {
    CPackedData data(8);
    data.useMD5Checksum(true);
    data.PutInt32(7);
    EXPECT_TRUE(data.GenerateMD5Checksum());
    EXPECT_EQ(data.Buffer::size(), 8U + 1024U);
    EXPECT_EQ(data.GetPutIndex(), 21);
    return bytesOf(data);
}

class PackedDataChecksum : public testing::Test {
protected:
    PackedDataChecksum() {
        m_log.show(Log::Network, LogSev_Info);
        m_log.show(Log::Generic, LogSev_Assert);
    }
    Lines lines() {
        Lines result = m_log.lines();
        m_log.clear();
        return result;
    }
    LogCapture m_log;
};

TEST_F(PackedDataChecksum, CoversEveryByteBeforeIt) {
    const std::string message = sealed();
    const std::string body("\2\7\0\0\0", 5);
    EXPECT_EQ(message, body + digestOf(body));
    for (std::size_t i = 0; i <= message.size(); ++i) {
        std::string bytes = message;
        if (i < message.size()) {
            bytes[i] = static_cast<char>(bytes[i] ^ 0x10);
        }
        const CPackedData view(bytes.data(), static_cast<int>(bytes.size()));
        const std::int32_t value = view.GetInt32();
        EXPECT_EQ(value == 7, i == 0 || i >= 5);
        const int get = view.GetGetIndex();
        EXPECT_EQ(view.ValidateMD5Checksum(), i == message.size()) << "byte " << i;
        EXPECT_EQ(view.GetGetIndex(), get);
    }
}

TEST_F(PackedDataChecksum, NeedsTheFlagAndAHeaderThatWasRead) {
    CPackedData data;
    data.PutInt32(7);
    EXPECT_FALSE(data.GenerateMD5Checksum());
    EXPECT_EQ(data.size(), 5);
    EXPECT_EQ(lines(),
              (Lines{{LogSev_Assert, Log::Generic, "Called GenerateMD5Checksum() when hasMD5Checksum() = false"}}));
    const std::string message = sealed();
    const CPackedData view(message.data(), static_cast<int>(message.size()));
    EXPECT_FALSE(view.ValidateMD5Checksum());
    EXPECT_EQ(lines(),
              (Lines{{LogSev_Assert, Log::Generic, "Called ValidateMD5Checksum() when hasMD5Checksum() = false"}}));
    view.ReadHeader();
    EXPECT_TRUE(view.ValidateMD5Checksum());
}

// Copies of exact size let the address checker see a read outside the message.
TEST_F(PackedDataChecksum, ShortMessagesAreRefusedWithTheirSize) {
    for (int length = 1; length <= 17; ++length) {
        const std::unique_ptr<char[]> bytes(new char[static_cast<std::size_t>(length)]());
        bytes[0] = 2;
        const CPackedData view(bytes.get(), length);
        view.ReadHeader();
        EXPECT_FALSE(view.ValidateMD5Checksum());
        char digest[16];
        EXPECT_EQ(CPackedData::GetPacketChecksum(bytes.get(), length, digest), length == 17);
        const std::string size = std::to_string(length);
        const Lines expected{
            {LogSev_Assert, Log::Generic,
             "Called ValidateMD5Checksum() packet is too small (" + size + " bytes) to contain a checksum"},
            {LogSev_Assert, Log::Network,
             "GetPacketChecksum() - packet is too small (" + size + " bytes) to contain a checksum"}};
        EXPECT_EQ(lines(), length == 17 ? Lines{} : expected);
    }
}

TEST_F(PackedDataChecksum, RawMessagesGiveTheStoredDigest) {
    std::string message = sealed();
    message[10] = 'x';
    std::string digest(16, 'd');
    EXPECT_TRUE(CPackedData::GetPacketChecksum(message.data(), 21, digest.data()));
    EXPECT_EQ(digest, message.substr(5));
    for (const int length : {0, -1, -17, INT32_MIN}) {
        digest.assign(16, 'd');
        EXPECT_FALSE(CPackedData::GetPacketChecksum(message.data(), length, digest.data()));
        EXPECT_EQ(digest, std::string(16, '\0'));
    }
    EXPECT_FALSE(CPackedData::GetPacketChecksum(nullptr, 21, digest.data()));
    EXPECT_EQ(lines(), Lines(5, {LogSev_Info, Log::Network, "GetPacketChecksum() - Empty packet"}));
    message[0] = 0;
    digest.assign(16, 'd');
    EXPECT_FALSE(CPackedData::GetPacketChecksum(message.data(), 21, digest.data()));
    EXPECT_EQ(digest, std::string(16, '\0'));
    EXPECT_EQ(lines(), (Lines{{LogSev_Info, Log::Network, "GetPacketChecksum() - Packet has no checksum"}}));
}

TEST_F(PackedDataChecksum, EmptyMessageGetsTheDigestOfNothing) {
    CPackedData data;
    data.useMD5Checksum(true);
    EXPECT_TRUE(data.GenerateMD5Checksum());
    EXPECT_EQ(bytesOf(data), digestOf(""));
}

TEST_F(PackedDataChecksum, DigestThatMemoryCannotHoldLeavesTheMessageAsItWas) {
    CPackedData data(8);
    data.useMD5Checksum(true);
    data.PutInt32(7);
    {
        const FailingAlloc scarce(1);
        EXPECT_FALSE(data.GenerateMD5Checksum());
    }
    EXPECT_EQ(data.size(), 5);
    EXPECT_TRUE(data.GenerateMD5Checksum());
    EXPECT_EQ(bytesOf(data), sealed());
}

} // namespace
