// tests/net/connection_address_test.cpp: address texts as players and operators write them.
#include "sharedlib/net/connection.h"
#include "sharedlib/net/socket_blocking.h"
#include "tests/contract/loopback.h"

namespace {

TEST(ConnectionAddress, ConvertsHostAndPort) {
    constexpr unsigned long kNoIp = 1234567;
    constexpr int kNoPort = 54321;
    struct Case {
        std::string text;
        unsigned long ip;
        int port;
    };
    for (const Case& c : {
             Case{"127.0.0.1:7000", 0x7F000001, 7000},
             Case{"127.0.0.1", kNoIp, kNoPort},
             Case{":7000", kNoIp, kNoPort},
             Case{"localhost:", kNoIp, kNoPort},
             Case{"", kNoIp, kNoPort},
             Case{"not a host:7000", kNoIp, 7000},
             Case{"10.0.0.1:80:90", 0x0A000001, 80},
             Case{"10.0.0.1:70abc", 0x0A000001, 70},
             Case{"10.0.0.1:-1", 0x0A000001, 0},
             Case{"10.0.0.1:99999999999", 0x0A000001, 99999999999 & 0xFFFF},
             Case{"10.0.0.1:" + std::string(1000, '7'), 0x0A000001, 65535},
         }) {
        unsigned long ip = kNoIp;
        unsigned short port = kNoPort;
        EXPECT_EQ(CConnection::ConvertAddressString(c.text, &ip, &port), c.ip != kNoIp) << c.text;
        EXPECT_EQ(ip, c.ip) << c.text;
        EXPECT_EQ(port, c.port) << c.text;
    }
}

TEST(ConnectionAddress, SwitchesASocketBetweenWaitingAndNot) {
    SocketPair pair;
    EXPECT_TRUE(SetSocketBlockingFlag(pair.client, true));
    sendAll(pair.server, "x");
    char byte = 0;
    EXPECT_EQ(platform::receiveBytes(pair.client, &byte, 1).count, 1);
    EXPECT_TRUE(SetSocketBlockingFlag(pair.client, false));
    EXPECT_EQ(platform::receiveBytes(pair.client, &byte, 1).error, platform::kErrorWouldBlock);
    EXPECT_FALSE(SetSocketBlockingFlag(kInvalidSocket, false));
}

} // namespace
