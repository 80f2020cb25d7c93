// tests/net/connection_address_test.cpp: address texts as players and operators write them.
#include "sharedlib/net/connection.h"
#include "sharedlib/net/socket_blocking.h"
#include "tests/contract/loopback.h"
#include <gtest/gtest.h>
#include <string>

namespace {

TEST(ConnectionAddress, ConvertsHostAndPort) {
    constexpr unsigned long kNoIp = 1234567;
    constexpr int kNoPort = 54321;
    struct Case {
        std::string text;
        bool good;
        unsigned long ip;
        int port;
    };
    const Case cases[] = {
        {"127.0.0.1:7000", true, 0x7F000001, 7000},
        {"127.0.0.1", false, kNoIp, kNoPort},
        {":7000", false, kNoIp, kNoPort},
        {"localhost:", false, kNoIp, kNoPort},
        {"", false, kNoIp, kNoPort},
        {":", false, kNoIp, kNoPort},
        {"not a host:7000", false, kNoIp, 7000},
        {"10.0.0.1:80:90", true, 0x0A000001, 80},
        {"10.0.0.1:70abc", true, 0x0A000001, 70},
        {"10.0.0.1:abc", true, 0x0A000001, 0},
        {"10.0.0.1:-1", true, 0x0A000001, 0},
        {"10.0.0.1:65535", true, 0x0A000001, 65535},
        {"10.0.0.1:65537", true, 0x0A000001, 1},
        {"10.0.0.1:99999999999", true, 0x0A000001, 99999999999 & 0xFFFF},
        {"10.0.0.1:" + std::string(1000, '7'), true, 0x0A000001, 65535},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        unsigned long ip = kNoIp;
        unsigned short port = kNoPort;
        EXPECT_EQ(CConnection::ConvertAddressString(c.text, &ip, &port), c.good);
        EXPECT_EQ(ip, c.ip);
        EXPECT_EQ(port, c.port);
    }
    EXPECT_EQ(CConnection::GetIpAsString(0xC0A80102), "192.168.1.2");
}

TEST(ConnectionAddress, SwitchesASocketBetweenWaitingAndNot) {
    SocketPair pair;
    EXPECT_TRUE(SetSocketBlockingFlag(pair.client, true));
    sendAll(pair.server, "x");
    char byte = 0;
    EXPECT_EQ(platform::receiveBytes(pair.client, &byte, 1).count, 1);
    EXPECT_TRUE(SetSocketBlockingFlag(pair.client, false));
    EXPECT_EQ(platform::receiveBytes(pair.client, &byte, 1).error, platform::kErrorWouldBlock);
    const NativeSocket number = pair.client;
    pair.client.close();
    EXPECT_FALSE(SetSocketBlockingFlag(number, false));
}

} // namespace
