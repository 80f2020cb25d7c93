// tests/net/connection_test.cpp: a connection's states, set-up and pumping over real sockets.
#include "sharedlib/net/connection.h"
#include "sharedlib/net/event_wait.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/util/clock.h"
#include "tests/net/stream_pair.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

namespace {

using testing::ElementsAre;

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
    for (const std::string message : {"abc", ""}) {
        server.SendMsg(message.size(), message.data());
        server.WriteOutboundData();
    }
    accepted.connections.clear();
    ASSERT_TRUE(pumpUntil([&] { handleNextEvent(client); }, [&] { return !client.IsConnected(); }));
    EXPECT_THAT(handler.messages, ElementsAre("abc", ""));
    EXPECT_THAT(handler.connects, ElementsAre(true, false));
    EXPECT_EQ(client.GetState(), CConnection::Idle);
    EXPECT_EQ(client.GetEventHandle(), nullptr);
}

TEST(Connection, AConnectThatPulseFoundLeavesTheRestToTheEvents) {
    StreamPair pair;
    const linger now{1, 0};
    setsockopt(static_cast<int>(pair.server->GetSocket()), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    pair.server.reset();
    EXPECT_TRUE(pumpUntil([&] { handleNextEvent(*pair.client); }, [&] { return !pair.client->IsConnected(); }));
    EXPECT_THAT(pair.clientHandler.connects, ElementsAre(true, false));
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
        EXPECT_TRUE(pumpUntil([&] { byEvents ? handleNextEvent(client) : client.Pulse(); },
                              [&] { return client.GetState() == CConnection::Idle; }));
        EXPECT_EQ(client.GetError(), 0);
        EXPECT_THAT(handler.connects, ElementsAre(false));
    }
}

TEST(Connection, AcceptedSocketBecomesNonBlocking) {
    StreamPair pair;
    const platform::OpenResult blocking = platform::openSocket(platform::SocketKind::Stream);
    ASSERT_EQ(platform::connectSocket(blocking.socket, {kLoopback, pair.listener.GetPort()}), 0);
    CConnection conn;
    conn.InitAccepted(blocking.socket, kLoopback, pair.listener.GetPort());
    conn.Pulse();
    EXPECT_EQ(conn.GetState(), CConnection::Connected);
}

} // namespace
