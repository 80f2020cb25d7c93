// tests/net/connection_scripted_test.cpp: a connection's set-up and dispatch for answers that real sockets seldom give.
#include "tests/net/scripted_stream.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using platform::kEventClose;
using platform::kEventConnect;
using platform::kEventRead;
using platform::kEventWrite;
using scripted::events;
using scripted::net;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ConnectionScripted, EveryFailedStepOfSetUpLeavesItsErrorAndNoSocket) {
    struct Case {
        std::function<void()> script;
        bool stream;
        int error;
        LogItemSeverityLevel severity;
        const char* operation;
    };
    const std::vector<Case> cases{
        {[] { net().onOpen(10024); }, true, 10024, LogSev_Error, "socket"},
        {[] { net().onSetBlocking(10022); }, true, 10045, LogSev_Error, "SetSocketBlockingFlag"},
        {[] { net().onBind(10048); }, true, 10048, LogSev_Error, "bind"},
        {[] { net().onGetLocalEndpoint(10055); }, true, 10055, LogSev_Error, "getsockname"},
        {[] { net().onConnect(10051); }, true, 10051, LogSev_Error, "connect"},
        {[] { net().onSetBlocking(10022); }, false, 10045, LogSev_Error, "SetSocketBlockingFlag"},
        {[] { net().onBind(10048); }, false, 10048, LogSev_Info, "bind"},
        {[] { net().onBind(10013); }, false, 10013, LogSev_Error, "bind"},
        {[] { net().onGetLocalEndpoint(10055); }, false, 10055, LogSev_Error, "getsockname"},
    };
    for (const Case& step : cases) {
        LogCapture log;
        log.show(Log::Network, LogSev_Info);
        CConnection conn;
        step.script();
        step.stream ? conn.InitStream(0x0A000001UL, 80) : conn.InitDatagramListen(0);
        EXPECT_EQ(conn.GetState(), CConnection::InError);
        EXPECT_EQ(conn.GetError(), step.error);
        EXPECT_EQ(net().openCount(), 0U);
        const std::string where = step.stream ? "CConnection::InitStream" : "CConnection::InitDatagramListen";
        EXPECT_THAT(log.lines(), ElementsAre(LogLineSeen{step.severity, Log::Network,
                                                         std::string("Unhandled to 0.0.0.0:0: ") + step.operation +
                                                             " failed with error code " + std::to_string(step.error) +
                                                             " in " + where}));
    }
}

TEST(ConnectionScripted, DatagramPortSearchCountsItsAttempts) {
    CConnection conn;
    net().onBind(10048).onBind(10048);
    conn.InitDatagramListen(5000, 3);
    EXPECT_EQ(conn.GetLocalPort(), 5002);
    EXPECT_EQ(net().callCount("bindSocket"), 3);
    EXPECT_EQ(net().callCount("getLocalEndpoint"), 0);
    conn.Reset();
    net().onBind(10048).onBind(10048).onBind(10048);
    conn.InitDatagramListen(65534, 2);
    EXPECT_EQ(conn.GetState(), CConnection::InError);
    EXPECT_EQ(net().callCount("bindSocket"), 6);
    EXPECT_EQ(net().calls().at(net().calls().size() - 2).value, 0) << "the port after 65535";
}

TEST(ConnectionScripted, WithoutAWorkingEventTheConnectionGoesOn) {
    LogCapture log;
    CConnection conn;
    events().onSelect(10055);
    net().onConnect(10035);
    conn.InitStream(0x0A000001UL, 80);
    EXPECT_EQ(conn.GetState(), CConnection::Connecting);
    EXPECT_EQ(log.count(LogSev_Error, Log::Network, "Unable to create connection event: -1"), 1);
    net().onPollConnect({true, false, 0});
    conn.Pulse();
    EXPECT_EQ(conn.GetState(), CConnection::Connected);
}

TEST(ConnectionScripted, PulseFindsHowTheConnectEnded) {
    struct Case {
        platform::ConnectProgress progress;
        CConnection::State state;
        int error;
        std::vector<bool> connects;
    };
    for (const Case& found :
         {Case{{false, false, 0}, CConnection::Connecting, 0, {}},
          Case{{true, false, 0}, CConnection::Connected, 0, {true}},
          Case{{false, true, 0}, CConnection::Idle, 0, {false}}, Case{{true, true, 0}, CConnection::Idle, 0, {false}},
          Case{{false, false, 10038}, CConnection::InError, 10038, {false}}}) {
        LogCapture log;
        log.show(Log::Connections, LogSev_Info);
        RecordingHandler handler;
        CConnection conn;
        conn.SetMessageHandler(&handler);
        net().onConnect(10035).onPollConnect(found.progress);
        conn.InitStream(0x0A000001UL, 80);
        conn.Pulse();
        EXPECT_EQ(conn.GetState(), found.state);
        EXPECT_EQ(conn.GetError(), found.error);
        EXPECT_EQ(handler.connects, found.connects);
        EXPECT_EQ(conn.GetSocket() == kInvalidSocket, found.state == CConnection::Idle || found.error != 0);
        EXPECT_EQ(log.countContaining("in CConnection::Pulse()"), found.error != 0 ? 1 : 0);
    }
    EXPECT_EQ(events().openCount(), 0U) << "also after the failed look";
}

TEST(ConnectionScripted, ConnectIsHandledBeforeTheRead) {
    LogCapture log;
    log.show(Log::Network, LogSev_Detail);
    RecordingHandler handler;
    CConnection conn;
    conn.SetMessageHandler(&handler);
    net().onConnect(10035);
    conn.InitStream(kScriptedPeer.ip, kScriptedPeer.port);
    net().finishConnect(conn.GetSocket());
    net().deliver(conn.GetSocket(), frameOf("hi"));
    handler.inConnect = [&](CConnection* which) {
        which->Pulse();
        which->HandleEvent();
        EXPECT_THAT(handler.messages, IsEmpty());
    };
    log.clear();
    events().onEnumerate(kEventConnect | kEventRead | kEventWrite);
    conn.HandleEvent();
    EXPECT_THAT(handler.connects, ElementsAre(true));
    EXPECT_THAT(handler.messages, ElementsAre("hi"));
    EXPECT_EQ(log.texts(Log::Network).at(0), "test to 10.0.0.1:4000: Handling event mask 0x13 in state 1");
    EXPECT_EQ(log.lines().at(1),
              (LogLineSeen{LogSev_Info, Log::Network,
                           "test to 10.0.0.1:4000: HandleEvent (0x13) called on a CConnection in Connecting state"}));
}

TEST(ConnectionScripted, FailedConnectEventsEndIdle) {
    for (const int error : {10060, 0}) {
        LogCapture log;
        RecordingHandler handler;
        CConnection conn;
        conn.SetMessageHandler(&handler);
        net().onConnect(10035);
        conn.InitStream(kScriptedPeer.ip, kScriptedPeer.port);
        // Without an error of its own it is the close that ends the attempt, whatever else is reported.
        events().onEnumerate(error != 0 ? kEventConnect : kEventConnect | kEventClose, {{4, error}});
        conn.HandleEvent();
        EXPECT_EQ(conn.GetState(), CConnection::Idle);
        EXPECT_EQ(conn.GetError(), 0);
        EXPECT_THAT(handler.connects, ElementsAre(false));
        EXPECT_EQ(
            log.count(LogSev_Error, Log::Network, "test to 10.0.0.1:4000: received a connect event with error 10060"),
            error != 0 ? 1 : 0);
    }
}

TEST(ConnectionScripted, CloseWithReadReadsNothing) {
    ScriptedStream stream;
    net().deliver(stream.socket, frameOf("unread"));
    events().onEnumerate(kEventClose | kEventRead);
    stream.conn->HandleEvent();
    EXPECT_EQ(stream.conn->GetState(), CConnection::Idle);
    EXPECT_THAT(stream.handler.connects, ElementsAre(false));
    EXPECT_THAT(stream.handler.messages, IsEmpty());
}

TEST(ConnectionScripted, FailedQueryIsExplainedAndDispatchGoesOnWithNothing) {
    ScriptedStream stream;
    events().onEnumerateFails(10050).onEnumerateFails(12345);
    stream.conn->HandleEvent();
    stream.conn->HandleEvent();
    EXPECT_THAT(stream.log.texts(Log::Network),
                ElementsAre("WSAEnumNetworkEvents() returned Err = WSAENETDOWN (The network subsystem has failed) ",
                            "WSAEnumNetworkEvents() returned unknown error code 12345"));
    EXPECT_EQ(stream.conn->GetState(), CConnection::Connected);
}

TEST(ConnectionScripted, ACounterWithoutAFrequencyNeverDivides) {
    scripted::clock().frequency = 0;
    CConnection::s_timerFreq = 0;
    CConnection::setPulseRate(0);
    ScriptedStream stream;
    net().sendsTakeAll();
    stream.conn->SetUpdateLag();
    stream.conn->Pulse();
    scripted::clock().counter += 12;
    EXPECT_EQ(stream.conn->getPingOutstandingMs(), 12U);
    stream.receive(kPingReply);
    EXPECT_EQ(stream.conn->GetLag(), 6U);
    CConnection::setPulseRate(1800);
    scripted::clock().frequency = 10'000'000;
    CConnection::s_timerFreq = 10'000;
}

TEST(ConnectionScripted, DatagramErrorsThatSayNothingOfTheSocketLeaveItOpen) {
    for (const int error : {10054, 10052, 10051}) {
        LogCapture log;
        log.show(Log::Network, LogSev_Info);
        CConnection conn;
        conn.InitDatagramListen(7000);
        net().onReceiveDatagram(error);
        conn.Pulse();
        const bool benign = error != 10051;
        EXPECT_EQ(conn.GetState(), benign ? CConnection::Datagram : CConnection::InError);
        EXPECT_EQ(conn.GetError(), benign ? 0 : error);
        const std::string ending = benign ? "recvfrom failed with non-error code " + std::to_string(error) +
                                                " in CConnection::HandleDgramReadEvent"
                                          : "recvfrom failed with error code 10051 in "
                                            "CConnection::HandleDgramReadEvent";
        EXPECT_EQ(log.count(benign ? LogSev_Info : LogSev_Error, Log::Network, "Unhandled to 0.0.0.0:0: " + ending), 1);
        net().onSendDatagram(10051);
        conn.SendMsg(3, "abc", kScriptedPeer.ip, kScriptedPeer.port);
        EXPECT_EQ(log.count(LogSev_Error, Log::Network, "Unable to send DGram: 10051"), 1);
        EXPECT_EQ(conn.getBytesSent(), 5U);
        EXPECT_EQ(conn.getMessagesSent(), 1U);
    }
    EXPECT_EQ(net().openCount(), 0U) << "also after the error";
}

} // namespace
