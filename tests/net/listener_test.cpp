// tests/net/listener_test.cpp: a listener over real sockets.
#include "sharedlib/net/event_wait.h"
#include "sharedlib/net/listener.h"
#include "sharedlib/platform/socket.h"
#include "tests/net/stream_pair.h"
#include "tests/support/log_capture.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Sockets that connect and do nothing else.
class RawClients {
public:
    ~RawClients() {
        for (const NativeSocket socket : m_sockets) {
            platform::closeSocket(socket);
        }
    }
    void connectTo(unsigned short port, int count) {
        for (int i = 0; i < count; ++i) {
            m_sockets.push_back(platform::openSocket(platform::SocketKind::Stream).socket);
            EXPECT_EQ(platform::connectSocket(m_sockets.back(), {kLoopback, port}), 0);
        }
    }

private:
    std::vector<NativeSocket> m_sockets;
};

struct ListenerTest : testing::Test {
    AcceptedConnections accepted;
    CListener listener;
    RawClients clients;
};

TEST_F(ListenerTest, AcceptsEverythingPendingInOnePulse) {
    listener.Pulse();
    ASSERT_EQ(listener.Init(nullptr, kLoopback, 0, false), 0);
    EXPECT_EQ(listener.GetAddress(), kLoopback);
    clients.connectTo(listener.GetPort(), 1);
    listener.Pulse();
    EXPECT_EQ(listener.GetAcceptedCount(), 0U) << "nobody to give the connection to";
    listener.Reset();

    ASSERT_EQ(listener.Init(&accepted, 0, 0, false), 0);
    EXPECT_EQ(listener.GetAddress(), 0U);
    clients.connectTo(listener.GetPort(), 3);
    void* event = listener.GetEventHandle();
    ASSERT_EQ(WaitForEvents(&event, 1, 5000), 0);
    listener.HandleEvent();
    EXPECT_EQ(accepted.connections.size(), 3U);
    EXPECT_EQ(listener.GetAcceptedCount(), 3U);
    EXPECT_EQ(accepted.connections[0]->GetState(), CConnection::Connected);
    EXPECT_EQ(accepted.connections[0]->GetConnectedIp(), kLoopback);
    listener.Pulse();
    EXPECT_EQ(listener.GetAcceptedCount(), 3U);
    EXPECT_EQ(WaitForEvents(&event, 1, 0), -1);
    listener.Reset();
    EXPECT_EQ(listener.GetAcceptedCount(), 0U);
    EXPECT_EQ(listener.GetEventHandle(), nullptr);
    EXPECT_NE(listener.GetPort(), 0);
    EXPECT_THAT(accepted.errors, IsEmpty());
}

TEST_F(ListenerTest, TakenPortIsRefusedOrSearchedUpward) {
    LogCapture log;
    ASSERT_EQ(listener.Init(&accepted, kLoopback, 0, false), 0);
    const unsigned short port = listener.GetPort();
    CListener second;
    EXPECT_EQ(second.Init(&accepted, kLoopback, port, false), 10048);
    EXPECT_EQ(log.count(LogSev_Error, Log::Network,
                        "Unable to bind socket on 127.0.0.1:" + std::to_string(port) + " in CListener::Init: 10048"),
              1);
    EXPECT_EQ(second.GetEventHandle(), nullptr);
    EXPECT_EQ(second.Init(&accepted, kLoopback, port, true), 0);
    EXPECT_NE(second.GetPort(), port);
    EXPECT_LT(static_cast<unsigned short>(second.GetPort() - port), 1000);
    log.clear();
    // An address of another machine fails on every port that is tried.
    CListener foreign;
    EXPECT_EQ(foreign.Init(&accepted, 0xC0000201, 65000, true), 10049);
    EXPECT_EQ(log.texts(Log::Network),
              std::vector<std::string>{"Unable to bind socket on 192.0.2.1:463 in CListener::Init: 10049"});
}

TEST_F(ListenerTest, RestartsOnItsPortWhileOldConnectionsLinger) {
    for (int run = 0; run < 3; ++run) {
        static unsigned short port = 0;
        ASSERT_EQ(listener.Init(&accepted, kLoopback, port, false), 0) << "run " << run;
        port = listener.GetPort();
        clients.connectTo(port, 1);
        listener.Pulse();
        ASSERT_EQ(accepted.connections.size(), 1U);
        // The side that closes first keeps the port lingering.
        accepted.connections.clear();
        listener.Reset();
    }
}

TEST_F(ListenerTest, HandlersMayDoAnythingToTheirListener) {
    // The deed of each case, and how many of the two pending connections are accepted by the old listener.
    auto owned = std::make_unique<CListener>();
    const std::vector<std::function<void(CListener*)>> deeds{
        [&](CListener*) { owned.reset(); },
        [](CListener* which) { which->Reset(); },
        [&](CListener* which) {
            which->Reset();
            which->Init(&accepted, kLoopback, 0, false);
        },
        [](CListener* which) {
            which->Pulse();
            which->HandleEvent();
        },
    };
    for (std::size_t i = 0; i < deeds.size(); ++i) {
        if (owned == nullptr) {
            owned = std::make_unique<CListener>();
        }
        accepted.connections.clear();
        owned->Reset();
        ASSERT_EQ(owned->Init(&accepted, kLoopback, 0, false), 0);
        clients.connectTo(owned->GetPort(), 2);
        accepted.inAccept = deeds[i];
        owned->Pulse();
        const bool goesOn = i + 1 == deeds.size();
        EXPECT_EQ(accepted.connections.size(), goesOn ? 2U : 1U) << "deed " << i;
        EXPECT_EQ(owned == nullptr ? 0 : owned->GetAcceptedCount(), goesOn ? 2U : 0U) << "deed " << i;
        EXPECT_THAT(accepted.errors, IsEmpty());
    }
}

} // namespace
