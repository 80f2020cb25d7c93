// tests/packed/packed_data_checksum_test.cpp: the digest at the end of a message.
#include "tests/support/failing_alloc.h"
#include "tests/support/packed_data_fixture.h"
#include <memory>

namespace {

class PackedDataChecksum : public PackedDataLog {
protected:
    PackedDataChecksum() {
        m_log.show(Log::Network, LogSev_Info);
        m_log.show(Log::Generic, LogSev_Assert);
        m_data.useMD5Checksum(true);
        m_data.PutInt32(7);
        {
            const FailingAlloc scarce(1);
            EXPECT_FALSE(m_data.GenerateMD5Checksum());
        }
        EXPECT_EQ(m_data.size(), 5) << "memory that runs out leaves the message as it was";
        EXPECT_TRUE(m_data.GenerateMD5Checksum());
    }
    CPackedData m_data{8};
};

TEST_F(PackedDataChecksum, CoversEveryByteBeforeIt) {
    EXPECT_EQ(m_data.Buffer::size(), 8U + 1024U);
    EXPECT_EQ(m_data.GetPutIndex(), 21);
    const std::string body("\2\7\0\0\0", 5);
    EXPECT_EQ(bytesOf(m_data), body + digestOf(body));
    for (std::size_t i = 0; i <= 21; ++i) {
        std::string bytes = bytesOf(m_data) + "?";
        bytes[i] = static_cast<char>(bytes[i] ^ 0x10);
        const CPackedData view(bytes.data(), 21);
        EXPECT_EQ(view.GetInt32() == 7, i == 0 || i >= 5);
        const int get = view.GetGetIndex();
        EXPECT_EQ(view.ValidateMD5Checksum(), i == 21) << "byte " << i;
        EXPECT_EQ(view.GetGetIndex(), get);
    }
    CPackedData nothing;
    nothing.useMD5Checksum(true);
    EXPECT_TRUE(nothing.GenerateMD5Checksum());
    EXPECT_EQ(bytesOf(nothing), digestOf(""));
}

TEST_F(PackedDataChecksum, NeedsTheFlagAndAHeaderThatWasRead) {
    CPackedData data;
    data.PutInt32(7);
    EXPECT_FALSE(data.GenerateMD5Checksum());
    EXPECT_EQ(data.size(), 5);
    const CPackedData view(m_data.readData(), m_data.size());
    EXPECT_FALSE(view.ValidateMD5Checksum());
    EXPECT_EQ(lines(),
              (Lines{{LogSev_Assert, Log::Generic, "Called GenerateMD5Checksum() when hasMD5Checksum() = false"},
                     {LogSev_Assert, Log::Generic, "Called ValidateMD5Checksum() when hasMD5Checksum() = false"}}));
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
        const std::string small = "packet is too small (" + std::to_string(length) + " bytes) to contain a checksum";
        const Lines expected{{LogSev_Assert, Log::Generic, "Called ValidateMD5Checksum() " + small},
                             {LogSev_Assert, Log::Network, "GetPacketChecksum() - " + small}};
        EXPECT_EQ(lines(), length == 17 ? Lines{} : expected);
    }
}

TEST_F(PackedDataChecksum, RawMessagesGiveTheStoredDigest) {
    std::string message = bytesOf(m_data);
    message[10] = 'x';
    std::string digest;
    const auto checksum = [&digest](const char* data, int length) {
        digest.assign(16, 'd');
        return CPackedData::GetPacketChecksum(data, length, digest.data());
    };
    EXPECT_TRUE(checksum(message.data(), 21));
    EXPECT_EQ(digest, message.substr(5));
    EXPECT_FALSE(checksum(nullptr, 21));
    for (const int length : {0, -1, -17, INT32_MIN}) {
        EXPECT_FALSE(checksum(message.data(), length));
        EXPECT_EQ(digest, std::string(16, '\0'));
    }
    EXPECT_EQ(lines(), Lines(5, {LogSev_Info, Log::Network, "GetPacketChecksum() - Empty packet"}));
    message[0] = 0;
    EXPECT_FALSE(checksum(message.data(), 21));
    EXPECT_EQ(digest, std::string(16, '\0'));
    EXPECT_EQ(lines(), (Lines{{LogSev_Info, Log::Network, "GetPacketChecksum() - Packet has no checksum"}}));
}

} // namespace
