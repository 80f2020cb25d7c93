// tests/net/connection_datagram_test.cpp: messages in datagrams over real sockets.
#include "sharedlib/net/event_wait.h"
#include "sharedlib/packed/packed_data.h"
#include "tests/net/stream_pair.h"
#include "tests/support/log_capture.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ConnectionDatagram : public testing::Test {
protected:
    ConnectionDatagram() {
        sender.InitDatagramListen(0);
        receiver.SetMessageHandler(&handler);
        receiver.InitDatagramListen(0);
    }
    void sendRaw(const std::string& bytes) {
        CCharVector packet(bytes.begin(), bytes.end());
        sender.SendDgramMessageRaw(&packet, kLoopback, receiver.GetLocalPort());
    }
    void expectMessages(const std::vector<std::string>& wanted) {
        // A last datagram shows that the ones before have been looked at.
        sender.SendMsg(4, "last", kLoopback, receiver.GetLocalPort());
        const auto arrived = [&] { return !handler.messages.empty() && handler.messages.back() == "last"; };
        ASSERT_TRUE(pumpUntil([&] { receiver.Pulse(); }, arrived));
        handler.messages.pop_back();
        EXPECT_EQ(handler.messages, wanted);
        handler.messages.clear();
    }

    LogCapture log;
    RecordingHandler handler;
    CConnection sender;
    CConnection receiver;
};

CCharVector bytes(std::size_t count) {
    return CCharVector(count, 'm');
}

TEST_F(ConnectionDatagram, MessagesArriveWithTheirSender) {
    sender.SendMsg(2, "\x01\x02", kLoopback, receiver.GetLocalPort());
    CPackedData packed;
    packed.PutUint8(9);
    sender.SendMsg(packed, kLoopback, receiver.GetLocalPort());
    expectMessages({"\x01\x02", std::string(packed.readData(), static_cast<std::size_t>(packed.size()))});
    EXPECT_EQ(receiver.GetSourceUdpIp(), kLoopback);
    EXPECT_EQ(receiver.GetSourceUdpPort(), sender.GetLocalPort());
    EXPECT_EQ(receiver.getMessagesReceived(), 3U);
    EXPECT_EQ(receiver.getBytesReceived(), 2U + static_cast<unsigned long>(packed.size()) + 4);
    EXPECT_EQ(sender.getMessagesSent(), 3U);
    EXPECT_EQ(sender.getBytesSent(), receiver.getBytesReceived() + 6);
}

TEST_F(ConnectionDatagram, MalformedRestIsDroppedAndNothingStaleIsRead) {
    struct Case {
        std::string datagram;
        std::vector<std::string> delivered;
        std::string line;
    };
    const std::string good("\x02\0\x01\x02\x03\0\x0A\x0B\x0C", 9);
    using std::string;
    for (const Case& bad : {Case{good, {"\x01\x02", "\x0A\x0B\x0C"}, ""}, Case{"\x02", {}, "(size 2, max 1024)"},
                            Case{good + "\x01", {"\x01\x02", "\x0A\x0B\x0C"}, "(size 1, max 1024)"},
                            Case{string("\x02\0\x01\x02\0\0", 6) + good, {"\x01\x02"}, "(size 0, max 1024)"},
                            Case{string("\x05\0abcd", 6), {}, "(size 5, max 1024)"},
                            Case{string("\0\x04", 2), {}, "(size 1024, max 1024)"},
                            Case{string("\xFD\xFF\x01\0\0\0a", 7), {}, "(size 65533, max 1024)"}, Case{"", {}, ""}}) {
        log.clear();
        sendRaw(bad.datagram);
        expectMessages(bad.delivered);
        const int lines = bad.line.empty() ? 0 : 1;
        EXPECT_EQ(log.count(LogSev_Warning, Log::Network,
                            "Received bad UDP packet from 127.0.0.1 " + bad.line + ", dropping."),
                  lines);
        EXPECT_EQ(static_cast<int>(log.lines().size()), lines);
    }
    // The long form passes only under a maximum above its mark, and is bound by the datagram like any other.
    CConnection::setMaxUDPPacketSize(65535);
    sendRaw(string("\xFD\xFF\x01\0\0\0a", 7) + string("\xFD\xFF\x01\0\0", 5));
    expectMessages({"a"});
    sendRaw(string("\xFD\xFF\xFF\xFF\xFF\xFFz", 7));
    expectMessages({});
    CConnection::setMaxUDPPacketSize(1024);
}

TEST_F(ConnectionDatagram, BatchesFillDatagramsFromTheFrontOfTheList) {
    log.show(Log::Network, LogSev_Info);
    CCharVectorList list{bytes(500), bytes(500), bytes(20)};
    const unsigned short port = receiver.GetLocalPort();
    EXPECT_TRUE(sender.SendMultiMsg(&list, kLoopback, port));
    EXPECT_EQ(list.size(), 1U);
    EXPECT_FALSE(sender.SendMultiMsg(&list, kLoopback, port));
    EXPECT_FALSE(sender.SendMultiMsg(&list, kLoopback, port));
    list = {bytes(1022), bytes(1023), bytes(70'000), bytes(3)};
    EXPECT_TRUE(sender.SendMultiMsg(&list, kLoopback, port));
    EXPECT_FALSE(sender.SendMultiMsg(&list, kLoopback, port));
    list = {bytes(2000)};
    EXPECT_FALSE(sender.SendMultiMsg(&list, kLoopback, port));
    EXPECT_THAT(list, IsEmpty());
    EXPECT_THAT(log.texts(Log::Network),
                ElementsAre("Sending 1004 bytes over UDP", "Sending 22 bytes over UDP",
                            "Tried to send a UDP packet that was 1025d bytes. Dropped.",
                            "Tried to send a UDP packet that was 70002d bytes. Dropped.", "Sending 1024 bytes over UDP",
                            "Sending 5 bytes over UDP", "Tried to send a UDP packet that was 2002d bytes. Dropped.",
                            "Sending 0 bytes over UDP"));
    EXPECT_EQ(sender.getMessagesSent(), 0U);
}

TEST_F(ConnectionDatagram, ALogCallbackThatSendsSpoilsNoPacket) {
    static CConnection* teller = nullptr;
    static unsigned short target = 0;
    teller = &sender;
    target = receiver.GetLocalPort();
    log.show(Log::Network, LogSev_Info);
    log.logger().setDBLogFunction(
        [](LogItemSeverityLevel, int, char const*, int, char const*) { teller->SendMsg(3, "log", kLoopback, target); });
    CCharVectorList list{bytes(2), bytes(2000), bytes(3)};
    EXPECT_FALSE(sender.SendMultiMsg(&list, kLoopback, target));
    sender.SendMsg(4, "single", kLoopback, target);
    log.logger().setDBLogFunction(nullptr);
    expectMessages({"log", "log", "mm", "mmm", "log", "sing"});
}

TEST_F(ConnectionDatagram, ALogCallbackMayDeleteTheConnectionInAnyLine) {
    static std::unique_ptr<CConnection> doomed;
    static const char* deadlyLine = "";
    log.show(Log::Network, LogSev_Info);
    log.logger().setDBLogFunction([](LogItemSeverityLevel, int, char const* text, int, char const*) {
        std::string_view(text).find(deadlyLine) != std::string_view::npos ? doomed.reset() : void();
    });
    CCharVectorList list;
    // Nothing goes to port 0.
    const auto single = [](unsigned short port) { return [=] { doomed->SendMsg(4, "text", kLoopback, port); }; };
    const auto multi = [&] { EXPECT_FALSE(doomed->SendMultiMsg(&list, kLoopback, 9)); };
    const auto receive = [] { doomed->HandleEvent(); };
    const std::vector<std::pair<const char*, std::function<void()>>> cases{{"Sending 4",
                                                                            [] {
                                                                                CCharVector raw(4);
                                                                                doomed->SendDgramMessageRaw(
                                                                                    &raw, kLoopback, 9);
                                                                            }},
                                                                           {"Sending 6", single(9)},
                                                                           {"Unable to send", single(0)},
                                                                           {"that was 1030d", multi},
                                                                           {"Sending 5", multi},
                                                                           {"Received bad", receive},
                                                                           {"Processed 1", receive},
                                                                           {"non-error code", receive}};
    for (const auto& [line, deed] : cases) {
        deadlyLine = "no line";
        doomed = std::make_unique<CConnection>();
        doomed->InitDatagramListen(0);
        sender.SendMsg(1, "m", kLoopback, doomed->GetLocalPort());
        sender.SendMsg(0, "", kLoopback, doomed->GetLocalPort());
        list = {bytes(1028), bytes(3), bytes(1020)};
        deadlyLine = line;
        deed();
        EXPECT_EQ(doomed, nullptr) << line;
    }
    log.logger().setDBLogFunction(nullptr);
}

TEST_F(ConnectionDatagram, OversizeIsJudgedByTheFullLength) {
    const std::string body(200'000, 'x');
    const unsigned short port = receiver.GetLocalPort();
    for (const unsigned long size : {1023UL, 65534UL, 65535UL, 65536UL}) {
        log.clear();
        sender.SendMsg(size, body.data());
        sender.SendMsg(static_cast<unsigned short>(std::min(size, 65535UL)), body.data(), kLoopback, port);
        const std::string line =
            "Tried to send a UDP packet that was " + std::to_string(size + 2) + "d bytes. Dropped.";
        EXPECT_EQ(log.count(LogSev_Warning, Log::Network, line), size < 65536 ? 2 : 1);
    }
    CPackedData packed;
    packed.PutData(body.data(), 70'000);
    log.clear();
    sender.SendMsg(packed, kLoopback, port);
    EXPECT_EQ(log.count(LogSev_Assert, Log::Network,
                        "Tried to send too much data, ignoring: " + std::to_string(packed.size()) + " bytes"),
              1);
    EXPECT_EQ(sender.getMessagesSent(), 0U);
    expectMessages({});
}

TEST_F(ConnectionDatagram, DatagramAboveTheBufferIsAnErrorAndNoPartOfItIsDelivered) {
    sendRaw(std::string("\x01\0a", 3) + std::string(20'000, '\x01'));
    ASSERT_TRUE(pumpUntil([&] { receiver.Pulse(); }, [&] { return receiver.GetState() == CConnection::InError; }));
    EXPECT_EQ(receiver.GetError(), 10040);
    sendRaw("nobody reads this");
    void* const event = receiver.GetEventHandle();
    EXPECT_EQ(WaitForEvents(&event, 1, 20), -1) << "a host that waits would never rest";
    EXPECT_TRUE(handler.messages.empty() && handler.connects.empty());
    EXPECT_EQ(log.countContaining("recvfrom failed with error code 10040 in CConnection::HandleDgramReadEvent"), 1);
    receiver.Reset();
    receiver.InitDatagramListen(0);
    expectMessages({});
}

TEST_F(ConnectionDatagram, OneReadDeliversFiftyDropsTheRestAndStopsAtTwoHundred) {
    log.show(Log::Network, LogSev_Info);
    receiver.SetRecvBufferSize(1 << 20);
    for (int i = 0; i < 260; ++i) {
        sender.SendMsg(1, i < 200 ? "x" : "y", kLoopback, receiver.GetLocalPort());
    }
    receiver.Pulse();
    EXPECT_EQ(handler.messages, std::vector<std::string>(50, "x"));
    EXPECT_EQ(log.count(LogSev_Info, Log::Network, "Dropping 150 UDP packets"), 1);
    handler.messages.clear();
    receiver.Pulse();
    EXPECT_EQ(handler.messages, std::vector<std::string>(50, "y"));
    EXPECT_EQ(log.count(LogSev_Info, Log::Network, "Dropping 10 UDP packets"), 1);
}

TEST_F(ConnectionDatagram, RemembersTheFullestDatagramAndTellsOfEach) {
    log.show(Log::Network, LogSev_Info);
    for (const std::size_t count : {3U, 7U, 2U}) {
        CCharVectorList list(count, bytes(4));
        sender.SendMultiMsg(&list, kLoopback, receiver.GetLocalPort());
    }
    receiver.Pulse();
    EXPECT_EQ(
        log.count(LogSev_Info, Log::Network,
                  "Processed 7 messages (42 bytes) over UDP from 0.0.0.0:" + std::to_string(sender.GetLocalPort())),
        1);
    EXPECT_EQ(receiver.getMessagesPerPacket(), 7U);
    EXPECT_EQ(receiver.getMessagesPerPacket(), 0U);
}

} // namespace
