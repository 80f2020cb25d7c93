// tests/net/connection_scripted_test.cpp: a connection's set-up and dispatch for answers that real sockets seldom give.
#include "tests/net/scripted_stream.h"
#include <cmath>
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
using Connects = std::vector<bool>;

const std::string kNobody = "Unhandled to 0.0.0.0:0: ";
const std::string kPrefix = "test to 10.0.0.1:4000: ";

LogLineSeen line(LogItemSeverityLevel severity, const std::string& text) {
    return {severity, Log::Network, text};
}

/// A connection with its handler and what it logs.
struct Subject {
    explicit Subject(bool connects = false) {
        log.show(Log::Network, LogSev_Info);
        if (connects) {
            conn.SetMessageHandler(&handler);
            net().onConnect(10035);
            conn.InitStream(kScriptedPeer.ip, kScriptedPeer.port);
            EXPECT_EQ(conn.GetState(), CConnection::Connecting);
        }
    }

    LogCapture log;
    RecordingHandler handler;
    OpenConnection conn;
};

TEST(ConnectionScripted, EveryFailedStepOfSetUpLeavesItsErrorAndNoSocket) {
    using scripted::Net;
    using Case = std::tuple<bool, Net& (Net::*)(int), int, int, std::string, LogItemSeverityLevel>;
    for (const auto& [stream, answer, answered, error, operation, severity] :
         {Case(true, &Net::onOpen, 10024, 10024, "socket", LogSev_Error),
          Case(true, &Net::onSetBlocking, 10022, 10045, "SetSocketBlockingFlag", LogSev_Error),
          Case(true, &Net::onBind, 10048, 10048, "bind", LogSev_Error),
          Case(true, &Net::onGetLocalEndpoint, 10055, 10055, "getsockname", LogSev_Error),
          Case(true, &Net::onConnect, 10051, 10051, "connect", LogSev_Error),
          Case(false, &Net::onSetBlocking, 10022, 10045, "SetSocketBlockingFlag", LogSev_Error),
          Case(false, &Net::onBind, 10048, 10048, "bind", LogSev_Info),
          Case(false, &Net::onBind, 10013, 10013, "bind", LogSev_Error),
          Case(false, &Net::onGetLocalEndpoint, 10055, 10055, "getsockname", LogSev_Error)}) {
        Subject subject;
        (net().*answer)(answered);
        stream ? subject.conn.InitStream(0x0A000001UL, 80) : subject.conn.InitDatagramListen(0);
        EXPECT_EQ(subject.conn.GetState(), CConnection::InError);
        EXPECT_EQ(subject.conn.GetError(), error);
        EXPECT_EQ(net().openCount(), 0U);
        EXPECT_THAT(
            subject.log.lines(),
            ElementsAre(line(severity, kNobody + operation + " failed with error code " + std::to_string(error) +
                                           " in CConnection::" + (stream ? "InitStream" : "InitDatagramListen"))));
    }
    for (const char* address : {"", "127.0.0.1", ":7000", "127.0.0.1:"}) {
        Subject subject;
        subject.conn.InitStream(address);
        EXPECT_EQ(subject.conn.GetError(), 10049) << address;
        EXPECT_THAT(subject.log.lines(),
                    ElementsAre(line(LogSev_Error, kNobody + "ConvertAddressString failed with error code 10049 in "
                                                             "CConnection::InitStream")));
    }
}

TEST(ConnectionScripted, DatagramPortSearchCountsItsAttempts) {
    CConnection conn;
    net().onBind(10048).onBind(10048);
    conn.InitDatagramListen(5000, 3);
    EXPECT_EQ(conn.GetLocalPort(), 5002);
    EXPECT_EQ(net().callCount("getLocalEndpoint"), 0);
    conn.Reset();
    net().onBind(10048).onBind(10048).onBind(10048);
    conn.InitDatagramListen(65534, 2);
    EXPECT_EQ(conn.GetState(), CConnection::InError);
    EXPECT_EQ(net().callCount("bindSocket"), 6);
    EXPECT_EQ(net().calls().at(net().calls().size() - 2).value, 0) << "the port after 65535";
    net().onBind(10048);
    conn.InitDatagramListen(7000, 0xFFFFFFFFUL);
    EXPECT_EQ(conn.GetLocalPort(), 7001);
}

TEST(ConnectionScripted, OpeningOverAnOpenSocketIsLoggedAndForgetsTheOldOne) {
    const auto stream = [](CConnection& conn) { net().onConnect(0), conn.InitStream(0x0A000001UL, 80); };
    const auto datagram = [](CConnection& conn) { conn.InitDatagramListen(0); };
    const auto accepted = [](CConnection& conn) {
        conn.InitAccepted(net().openConnected(kScriptedPeer), 0x0A000001UL, 80);
    };
    using Case = std::tuple<void (*)(CConnection&), std::string, std::string, std::string, long>;
    for (const auto& [open, kind, where, peer, mask] :
         {Case(stream, "stream", "InitStream", "0.0.0.0:0: ", 0x33),
          Case(datagram, "listening dgram", "InitDatagramListen", "0.0.0.0:0: ", 0x03),
          Case(accepted, "accepted", "InitAccepted", "10.0.0.1:80: ", 0x33)}) {
        Subject subject;
        subject.conn.InitDatagramListen(0);
        const unsigned int old = subject.conn.GetSocket();
        subject.log.show(Log::Connections, LogSev_Info);
        open(subject.conn);
        EXPECT_EQ(events().mask(subject.conn.GetEventHandle()), mask);
        EXPECT_TRUE(net().isOpen(old));
        const std::string prefix = "Unhandled to " + peer;
        EXPECT_THAT(subject.log.lines(),
                    ElementsAre(LogLineSeen{LogSev_Error, Log::Connections,
                                            prefix + "Overwriting open socket " + std::to_string(old) +
                                                " in state 3 with " + kind + " socket"},
                                LogLineSeen{LogSev_Info, Log::Connections,
                                            prefix + "Setting socket to " + std::to_string(subject.conn.GetSocket()) +
                                                " in CConnection::" + where}));
    }
    net().allowLeaks();
    events().allowLeaks();
}

TEST(ConnectionScripted, PulseFindsHowTheConnectEndedEvenWithoutAWorkingEvent) {
    using Case = std::tuple<platform::ConnectProgress, CConnection::State, int, Connects>;
    using Found = platform::ConnectProgress;
    for (const auto& [progress, state, error, connects] :
         {Case(Found{false, false, 0}, CConnection::Connecting, 0, {}),
          Case(Found{true, false, 0}, CConnection::Connected, 0, {true}),
          Case(Found{false, true, 0}, CConnection::Idle, 0, {false}),
          Case(Found{true, true, 0}, CConnection::Idle, 0, {false}),
          Case(Found{false, false, 10038}, CConnection::InError, 10038, {false})}) {
        events().onSelect(10055);
        net().onPollConnect(progress);
        Subject subject(true);
        EXPECT_THAT(subject.log.lines(), ElementsAre(line(LogSev_Error, "Unable to create connection event: -1")));
        subject.log.show(Log::Connections, LogSev_Info);
        subject.conn.Pulse();
        EXPECT_EQ(subject.conn.GetState(), state);
        EXPECT_EQ(subject.conn.GetError(), error);
        EXPECT_EQ(subject.handler.connects, connects);
        const bool closed = state == CConnection::Idle || error != 0;
        EXPECT_EQ(subject.conn.GetSocket() == kInvalidSocket, closed);
        EXPECT_EQ(subject.conn.GetEventHandle() == nullptr, closed);
        EXPECT_EQ(subject.log.countContaining("in CConnection::Pulse()"), error != 0 ? 1 : 0);
    }
}

TEST(ConnectionScripted, ConnectEventsAreHandledBeforeTheReadAndFailedOnesEndIdle) {
    const std::string failed = kPrefix + "received a connect event with error 10060";
    for (const auto& [mask, error] : {std::pair(kEventConnect | kEventRead | kEventWrite, 0),
                                      std::pair(kEventConnect, 10060), std::pair(kEventConnect | kEventClose, 0)}) {
        Subject subject(true);
        net().finishConnect(subject.conn.GetSocket());
        net().deliver(subject.conn.GetSocket(), frameOf("hi"));
        subject.handler.inConnect = [&](CConnection* which) {
            which->Pulse();
            which->HandleEvent();
            EXPECT_THAT(subject.handler.messages, IsEmpty());
        };
        events().onEnumerate(mask, {{4, error}});
        subject.log.show(Log::Network, LogSev_Detail);
        subject.conn.HandleEvent();
        const bool connected = (mask & kEventRead) != 0;
        EXPECT_EQ(subject.conn.GetState(), connected ? CConnection::Connected : CConnection::Idle);
        EXPECT_EQ(subject.conn.GetError(), 0);
        EXPECT_THAT(subject.handler.connects, ElementsAre(connected));
        EXPECT_EQ(subject.handler.messages.size(), connected ? 1U : 0U);
        EXPECT_EQ(subject.log.count(LogSev_Error, Log::Network, failed), error != 0 ? 1 : 0);
        if (connected) {
            EXPECT_EQ(subject.log.lines().at(0), line(LogSev_Detail, kPrefix + "Handling event mask 0x13 in state 1"));
            EXPECT_EQ(subject.log.lines().at(1),
                      line(LogSev_Info, kPrefix + "HandleEvent (0x13) called on a CConnection in Connecting state"));
        }
    }
}

TEST(ConnectionScripted, CloseWithReadReadsNothingAndSaysWhatItCloses) {
    ScriptedStream stream;
    stream.log.show(Log::Connections, LogSev_Info);
    net().deliver(stream.socket, frameOf("unread"));
    events().onEnumerate(kEventClose | kEventRead);
    stream.conn->HandleEvent();
    EXPECT_EQ(stream.conn->GetState(), CConnection::Idle);
    EXPECT_THAT(stream.handler.connects, ElementsAre(false));
    EXPECT_THAT(stream.handler.messages, IsEmpty());
    const std::string socket = std::to_string(stream.socket);
    EXPECT_THAT(stream.log.texts(Log::Connections),
                ElementsAre(kPrefix + "Cleanup() on connection (socket " + socket + ") while in state 2",
                            kPrefix + "Shutting down and closing socket " + socket + " in CConnection::Cleanup()"));
}

TEST(ConnectionScripted, FailedQueriesAndConnectsWithoutAHandlerAreExplained) {
    Subject subject;
    OpenConnection& conn = subject.conn;
    events().onEnumerateFails(10050).onEnumerateFails(12345);
    conn.OnConnect(true);
    conn.LogSocketEventError({});
    conn.HandleEvent();
    conn.SetError(10061, "connect", "here", false);
    conn.HandleEvent();
    EXPECT_THAT(
        subject.log.lines(),
        ElementsAre(line(LogSev_Info, kNobody + "Unable to handle connect because there is no message handler."),
                    line(LogSev_Error, "WSAEnumNetworkEvents() returned Err = WSAENETDOWN (The network "
                                       "subsystem has failed) "),
                    line(LogSev_Info, kNobody + "HandleEvent (0x0) called on a CConnection in Idle"),
                    line(LogSev_Info, kNobody + "connect failed with error code 10061 in here"),
                    line(LogSev_Error, "WSAEnumNetworkEvents() returned unknown error code 12345"),
                    line(LogSev_Warning, kNobody + "HandleEvent (0x0) called on a CConnection in Error state")));
    bool processed = false;
    EXPECT_EQ(conn.Preprocess(&processed), nullptr);
    EXPECT_FALSE(processed);

    WSANETWORKEVENTS found{};
    found.iErrorCode[0] = 16;
    found.iErrorCode[9] = 25;
    subject.log.clear();
    conn.LogSocketEventError(found);
    EXPECT_EQ(subject.log.countContaining(" - return error code 0x10 for event FD_READ"), 1);
    EXPECT_EQ(subject.log.countContaining(" - return error code 0x19 for event FD_ADDRESS_LIST_CHANGE"), 1);
    subject.handler.name = nullptr;
    conn.SetMessageHandler(&subject.handler);
    EXPECT_STREQ(conn.GetHandlerName(), "");
}

TEST(ConnectionScripted, PingsFollowThePulseRateAndOneLostWithItsStreamIsTheLast) {
    net().sendsTakeAll();
    // Ticks a second, ticks waited and what they make in milliseconds; without a frequency nothing is divided by 0.
    for (const auto& [frequency, ticks, waited] : {std::tuple(10'000'000, 100'000, 10U), std::tuple(0, 12, 12U)}) {
        scripted::clock().frequency = frequency;
        CConnection::s_timerFreq = 0;
        CConnection::setPulseRate(2);
        ScriptedStream stream;
        stream.conn->SetUpdateLag();
        for (const unsigned long queued : {0UL, 0UL, 2UL, 0UL, 0UL, 0UL, 0UL}) {
            stream.conn->Pulse();
            EXPECT_EQ(stream.conn->getOutboundByteCount(), queued);
        }
        scripted::clock().counter += ticks;
        EXPECT_EQ(stream.conn->getPingOutstandingMs(), waited);
        stream.receive(kPingReply);
        EXPECT_EQ(stream.conn->GetLag(), waited / 2);
        EXPECT_EQ(stream.conn->getPingOutstandingMs(), 0U);
        CConnection::setPulseRate(0);
        stream.conn->Pulse();
        stream.conn->Reset();
        stream.open();
        stream.conn->Pulse();
        EXPECT_EQ(stream.conn->getOutboundByteCount(), 0U);
    }
    CConnection::s_timerFreq = 10'000;
    CConnection::setOutBufferExpandSize(-1);
    ScriptedStream roomless;
    roomless.conn->SetUpdateLag();
    roomless.conn->Pulse();
    scripted::clock().counter += 100'000;
    EXPECT_EQ(roomless.conn->getPingOutstandingMs(), 0U) << "a ping that found no room is not waited for";
    CConnection::setOutBufferExpandSize(10'000);
    CConnection::setPulseRate(1800);
}

TEST(ConnectionScripted, DelaysAndBudgetsTakeEveryNumber) {
    scripted::clock().counterStep = 1;
    for (const float seconds : {std::nanf(""), INFINITY, 1e30F, -INFINITY, -1e30F, -1.0F, 0.0F}) {
        ScriptedStream stream;
        stream.conn->setAllowedProcessingTime(seconds);
        stream.receive(frameOf("a") + frameOf("b"));
        EXPECT_EQ(stream.handler.messages.size(), seconds <= 0 ? 1U : 2U) << seconds;
        bool processed = false;
        stream.conn->Preprocess(&processed);
        EXPECT_EQ(processed, seconds <= 0);
        EXPECT_EQ(stream.handler.messages.size(), 2U);
    }
    ScriptedStream delayed;
    delayed.conn->setDelay(3);
    net().deliver(delayed.socket, frameOf("x") + frameOf("y"), 3);
    for (const std::size_t seen : {0U, 0U, 1U, 1U, 1U, 2U}) {
        delayed.conn->Pulse();
        EXPECT_EQ(delayed.handler.messages.size(), seen);
    }
}

TEST(ConnectionScripted, DatagramErrorsThatSayNothingOfTheSocketLeaveItOpen) {
    for (const int error : {10054, 10052, 10051}) {
        const bool benign = error != 10051;
        const std::string text = kNobody + "recvfrom failed with " + (benign ? "non-" : "") + "error code " +
                                 std::to_string(error) + " in CConnection::HandleDgramReadEvent";
        Subject subject;
        subject.conn.InitDatagramListen(7000);
        net().onReceiveDatagram(error).onSendDatagram(10051);
        subject.conn.Pulse();
        EXPECT_EQ(subject.conn.GetState(), benign ? CConnection::Datagram : CConnection::InError);
        EXPECT_EQ(subject.conn.GetError(), benign ? 0 : error);
        subject.conn.SendMsg(3, "abc", kScriptedPeer.ip, kScriptedPeer.port);
        EXPECT_THAT(subject.log.lines(), ElementsAre(line(benign ? LogSev_Info : LogSev_Error, text),
                                                     line(LogSev_Info, "Sending 5 bytes over UDP"),
                                                     line(LogSev_Error, "Unable to send DGram: 10051")));
        EXPECT_EQ(subject.conn.getBytesSent(), 5U);
        EXPECT_EQ(subject.conn.getMessagesSent(), 1U);
    }
    EXPECT_EQ(net().openCount(), 0U) << "also after the error";
}

} // namespace
