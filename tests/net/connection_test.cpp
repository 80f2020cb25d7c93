// tests/net/connection_test.cpp: a connection's states, set-up and pumping over real sockets.
#include "sharedlib/net/connection.h"
#include "sharedlib/net/event_wait.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include "sharedlib/util/clock.h"
#include "tests/net/stream_pair.h"
#include "tests/support/log_capture.h"
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

/// Opens the protected operations.
class OpenConnection : public CConnection {
public:
    using CConnection::LogSocketEventError;
    using CConnection::SetError;
};

/// Waits for `conn`'s event and handles it.
void handleNextEvent(CConnection& conn) {
    void* const event = conn.GetEventHandle();
    if (WaitForEvents(&event, 1, 100) == 0) {
        conn.HandleEvent();
    }
}

TEST(Connection, ConnectsTalksAndLosesItsPeerByEventsAlone) {
    RecordingHandler handler;
    AcceptedConnections accepted;
    CListener listener;
    ASSERT_EQ(listener.Init(&accepted, kLoopback, 0, false), 0);
    CConnection client;
    client.SetMessageHandler(&handler);
    client.InitStream("127.0.0.1:" + std::to_string(listener.GetPort()));
    EXPECT_EQ(client.GetState(), CConnection::Connecting);
    EXPECT_NE(client.GetLocalPort(), 0);
    ASSERT_TRUE(pumpUntil([&] { handleNextEvent(client); }, [&] { return client.IsConnected(); }));
    EXPECT_THAT(handler.connects, ElementsAre(true));
    EXPECT_NEAR(static_cast<double>(client.getConnectTime()), static_cast<double>(GetSecondsSinceEpoch()), 2.0);

    listener.HandleEvent();
    ASSERT_EQ(accepted.connections.size(), 1U);
    CConnection& server = *accepted.connections[0];
    EXPECT_EQ(server.GetRemotePort(), client.GetLocalPort());
    EXPECT_EQ(server.GetIpAsString(), "127.0.0.1");
    server.SendMsg(3, "abc");
    server.WriteOutboundData();
    server.SendMsg(0, "");
    server.WriteOutboundData();
    accepted.connections.clear();
    ASSERT_TRUE(pumpUntil([&] { handleNextEvent(client); }, [&] { return !client.IsConnected(); }));
    EXPECT_THAT(handler.messages, ElementsAre("abc", ""));
    EXPECT_THAT(handler.connects, ElementsAre(true, false));
    EXPECT_EQ(client.GetState(), CConnection::Idle);
    EXPECT_EQ(client.GetEventHandle(), nullptr);
}

TEST(Connection, RefusedConnectEndsIdleUnderPulseAndUnderEvents) {
    for (const bool byEvents : {false, true}) {
        CListener listener;
        AcceptedConnections accepted;
        ASSERT_EQ(listener.Init(&accepted, kLoopback, 0, false), 0);
        const unsigned short port = listener.GetPort();
        listener.Reset();
        RecordingHandler handler;
        CConnection client;
        client.SetMessageHandler(&handler);
        client.InitStream(kLoopback, port);
        const auto step = [&] { byEvents ? handleNextEvent(client) : client.Pulse(); };
        ASSERT_TRUE(pumpUntil(step, [&] { return client.GetState() != CConnection::Connecting; }));
        EXPECT_EQ(client.GetState(), CConnection::Idle);
        EXPECT_EQ(client.GetError(), 0);
        EXPECT_THAT(handler.connects, ElementsAre(false));
    }
}

TEST(Connection, UnparsableAddressIsAnErrorWithItsLine) {
    LogCapture log;
    CConnection client;
    for (const char* address : {"", "127.0.0.1", ":7000", "127.0.0.1:"}) {
        log.clear();
        client.InitStream(address);
        EXPECT_EQ(client.GetState(), CConnection::InError) << address;
        EXPECT_EQ(client.GetError(), 10049);
        EXPECT_EQ(log.count(LogSev_Error, Log::Network,
                            "Unhandled to 0.0.0.0:0: ConvertAddressString failed with error code 10049 in "
                            "CConnection::InitStream"),
                  1);
    }
}

TEST(Connection, EventsInIdleAndInErrorAreOnlyLogged) {
    LogCapture log;
    OpenConnection conn;
    log.show(Log::Network, LogSev_Info);
    conn.HandleEvent();
    EXPECT_THAT(log.texts(Log::Network),
                ElementsAre("WSAEnumNetworkEvents() returned Err = WSAENOTSOCK (The descriptor is not a socket) ",
                            "Unhandled to 0.0.0.0:0: HandleEvent (0x0) called on a CConnection in Idle"));
    conn.SetError(10061, "connect", "here", false);
    log.clear();
    conn.HandleEvent();
    EXPECT_EQ(log.count(LogSev_Warning, Log::Network,
                        "Unhandled to 0.0.0.0:0: HandleEvent (0x0) called on a CConnection in Error state"),
              1);
    bool processed = false;
    EXPECT_EQ(conn.Preprocess(&processed), nullptr);
    EXPECT_FALSE(processed);
    EXPECT_EQ(conn.GetState(), CConnection::InError);
}

TEST(Connection, DatagramPortsAreSearchedUpward) {
    LogCapture log;
    log.show(Log::Network, LogSev_Info);
    // Three neighbouring ports, the first two taken.
    CConnection first;
    CConnection second;
    CConnection searching;
    do {
        first.Reset();
        first.InitDatagramListen(0);
        second.Reset();
        second.InitDatagramListen(static_cast<unsigned short>(first.GetLocalPort() + 1));
    } while (second.GetState() != CConnection::Datagram);
    log.clear();
    searching.InitDatagramListen(first.GetLocalPort(), 0);
    EXPECT_EQ(searching.GetState(), CConnection::InError);
    EXPECT_EQ(log.countContaining("bind failed with error code 10048 in CConnection::InitDatagramListen"), 1);
    EXPECT_EQ(log.lines().at(0).severity, LogSev_Info);
    searching.InitDatagramListen(first.GetLocalPort(), 0xFFFFFFFFUL);
    EXPECT_EQ(searching.GetState(), CConnection::Datagram);
    EXPECT_GT(searching.GetLocalPort(), first.GetLocalPort() + 1);
    EXPECT_EQ(first.GetError(), 0);
}

TEST(Connection, OpeningOverAnOpenSocketIsLoggedAndForgetsTheOldOne) {
    LogCapture log;
    log.show(Log::Connections, LogSev_Info);
    CConnection conn;
    conn.InitDatagramListen(0);
    const unsigned int old = conn.GetSocket();
    void* const oldEvent = conn.GetEventHandle();
    log.clear();
    conn.InitDatagramListen(0);
    const std::string now = std::to_string(conn.GetSocket());
    EXPECT_THAT(
        log.texts(Log::Connections),
        ElementsAre("Unhandled to 0.0.0.0:0: Overwriting open socket " + std::to_string(old) +
                        " in state 3 with listening dgram socket",
                    "Unhandled to 0.0.0.0:0: Setting socket to " + now + " in CConnection::InitDatagramListen"));
    EXPECT_EQ(log.lines().at(0).severity, LogSev_Error);
    log.clear();
    conn.Reset();
    EXPECT_THAT(
        log.texts(Log::Connections),
        ElementsAre("Unhandled to 0.0.0.0:0: Cleanup() on connection (socket " + now + ") while in state 3",
                    "Unhandled to 0.0.0.0:0: Shutting down and closing socket " + now + " in CConnection::Cleanup()"));
    platform::Endpoint local;
    EXPECT_EQ(platform::getLocalEndpoint(old, local), 0);
    platform::closeSocketEvent(oldEvent);
    platform::closeSocket(old);
}

TEST(Connection, AcceptedSocketBecomesNonBlocking) {
    StreamPair pair;
    const platform::OpenResult blocking = platform::openSocket(platform::SocketKind::Stream);
    ASSERT_EQ(platform::connectSocket(blocking.socket, {kLoopback, pair.listener.GetPort()}), 0);
    CConnection conn;
    conn.InitAccepted(blocking.socket, kLoopback, pair.listener.GetPort());
    EXPECT_EQ(conn.GetState(), CConnection::Connected);
    conn.Pulse();
    EXPECT_EQ(conn.GetState(), CConnection::Connected);
}

TEST(Connection, DelayedPulseWorksOnEveryNthCall) {
    StreamPair pair;
    pair.server->setDelay(3);
    pair.client->SendMsg(1, "x");
    pair.client->WriteOutboundData();
    std::vector<std::size_t> seen;
    for (int i = 0; i < 6; ++i) {
        pair.server->Pulse();
        seen.push_back(pair.serverHandler.messages.size());
        if (i == 3) {
            pair.client->SendMsg(1, "y");
            pair.client->WriteOutboundData();
        }
    }
    EXPECT_THAT(seen, ElementsAre(0, 0, 1, 1, 1, 2));
}

TEST(Connection, PingAnswersGiveTheLagAndAllowTheNextPing) {
    StreamPair pair;
    CConnection::setPulseRate(2);
    pair.client->SetUpdateLag();
    for (int i = 0; i < 2; ++i) {
        pair.client->Pulse();
    }
    EXPECT_EQ(pair.client->getOutboundByteCount(), 0U);
    pair.client->Pulse();
    EXPECT_EQ(pair.client->getOutboundByteCount(), 2U);
    EXPECT_TRUE(pair.pulseUntil([&] { return pair.client->getPingOutstandingMs() == 0; }));
    EXPECT_LE(pair.client->GetLag(), 500U);
    EXPECT_TRUE(pair.serverHandler.messages.empty());
    EXPECT_EQ(pair.server->getMessagesSent(), 0U);
    CConnection::setPulseRate(1800);
}

TEST(Connection, HalfOpenPeerAndItsPingStayAsTheyAre) {
    StreamPair pair;
    CConnection::setPulseRate(0);
    pair.client->SetUpdateLag();
    pair.client->Pulse();
    pair.client->Pulse();
    EXPECT_TRUE(pair.client->IsConnected());
    pair.client->Reset();
    // The ping that the old stream lost stays outstanding: the same object never pings again.
    pair.client->InitStream(kLoopback, pair.listener.GetPort());
    EXPECT_TRUE(pumpUntil([&] { pair.client->Pulse(); }, [&] { return pair.client->IsConnected(); }));
    for (int i = 0; i < 10; ++i) {
        pair.client->Pulse();
    }
    EXPECT_EQ(pair.client->getOutboundByteCount(), 0U);
    EXPECT_EQ(pair.client->getBytesSent(), 0U);
    CConnection::setPulseRate(1800);
}

TEST(Connection, BudgetTakesEveryNumber) {
    StreamPair pair;
    for (const float seconds : {std::nanf(""), INFINITY, 1e30F, -INFINITY, -1e30F, -1.0F, 0.0F}) {
        pair.server->setAllowedProcessingTime(seconds);
        pair.serverHandler.messages.clear();
        pair.client->SendMsg(1, "a");
        pair.client->SendMsg(1, "b");
        EXPECT_TRUE(pair.pulseUntil([&] {
            bool processed = false;
            pair.server->Preprocess(&processed);
            return pair.serverHandler.messages.size() == 2;
        })) << seconds;
    }
}

TEST(Connection, WithoutAHandlerConnectsAreLoggedAndNullNamesAreEmpty) {
    LogCapture log;
    log.show(Log::Network, LogSev_Info);
    CConnection conn;
    conn.OnConnect(true);
    EXPECT_EQ(log.count(LogSev_Info, Log::Network,
                        "Unhandled to 0.0.0.0:0: Unable to handle connect because there is no message handler."),
              1);
    RecordingHandler handler;
    handler.name = nullptr;
    conn.SetMessageHandler(&handler);
    EXPECT_STREQ(conn.GetHandlerName(), "");
}

TEST(Connection, EventQueryErrorsAreExplained) {
    LogCapture log;
    OpenConnection conn;
    WSANETWORKEVENTS events{};
    conn.LogSocketEventError(events);
    EXPECT_TRUE(log.lines().empty()) << "no query has failed";
    conn.HandleEvent();
    log.clear();
    for (int bit = 0; bit < 10; ++bit) {
        events.iErrorCode[bit] = 16 + bit;
    }
    conn.LogSocketEventError(events);
    const std::vector<std::string> lines = log.texts(Log::Network);
    ASSERT_EQ(lines.size(), 11U);
    EXPECT_EQ(lines[1], "WSAEnumNetworkEvents() - return error code 0x10 for event FD_READ");
    EXPECT_EQ(lines[10], "WSAEnumNetworkEvents() - return error code 0x19 for event FD_ADDRESS_LIST_CHANGE");
}

} // namespace
