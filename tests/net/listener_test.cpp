// tests/net/listener_test.cpp: a listener over real sockets.
#include "sharedlib/net/event_wait.h"
#include "tests/contract/loopback.h"
#include "tests/net/stream_pair.h"
#include "tests/support/log_capture.h"

namespace {

struct ListenerTest : testing::Test {
    void open(CListener& which) { ASSERT_EQ(which.Init(&accepted, kLoopback, 0, false), 0); }
    void connectTo(const CListener& which, int count) {
        for (int i = 0; i < count; ++i) {
            clients.emplace_back(platform::openSocket(platform::SocketKind::Stream).socket);
            EXPECT_EQ(platform::connectSocket(clients.back(), {kLoopbackIp, which.GetPort()}), 0);
        }
    }

    AcceptedConnections accepted;
    CListener listener;
    std::vector<OwnedSocket> clients;
};

TEST_F(ListenerTest, AcceptsEverythingPendingInOnePulse) {
    listener.Pulse();
    ASSERT_EQ(listener.Init(nullptr, 0, 0, false), 0);
    EXPECT_EQ(listener.GetAddress(), 0U);
    connectTo(listener, 1);
    listener.Pulse();
    EXPECT_EQ(listener.GetAcceptedCount(), 0U) << "nobody to give the connection to";
    listener.Reset();
    open(listener);
    EXPECT_EQ(listener.GetAddress(), kLoopback);
    connectTo(listener, 3);
    void* event = listener.GetEventHandle();
    ASSERT_EQ(WaitForEvents(&event, 1, 5000), 0);
    listener.HandleEvent();
    listener.Pulse();
    ASSERT_EQ(accepted.connections.size(), 3U);
    EXPECT_EQ(listener.GetAcceptedCount(), 3U);
    EXPECT_EQ(accepted.connections[0]->GetConnectedIp(), kLoopback);
    EXPECT_EQ(WaitForEvents(&event, 1, 0), -1);
}

TEST_F(ListenerTest, CopiesAreClosedAndTakenPortsRefusedOrSearchedUpward) {
    open(listener);
    const CListener& original = listener;
    listener = original;
    CListener copy(original);
    EXPECT_EQ(copy.GetEventHandle(), nullptr);
    EXPECT_EQ(copy.Init(&accepted, kLoopback, copy.GetPort(), false), 10048);
    EXPECT_EQ(copy.GetEventHandle(), nullptr);
    EXPECT_EQ(copy.Init(&accepted, kLoopback, copy.GetPort(), true), 0);
    EXPECT_LT(static_cast<unsigned short>(copy.GetPort() - listener.GetPort() - 1), 999);
    copy = original;
    EXPECT_EQ(copy.GetEventHandle(), nullptr);
    EXPECT_EQ(copy.GetPort(), listener.GetPort());
}

TEST_F(ListenerTest, RestartsOnItsPortWhileOldConnectionsLinger) {
    open(listener);
    for (int run = 0; run < 2; ++run) {
        connectTo(listener, 1);
        listener.Pulse();
        ASSERT_EQ(accepted.connections.size(), 1U);
        // The side that closes first keeps the port lingering.
        accepted.connections.clear();
        listener.Reset();
        ASSERT_EQ(listener.Init(&accepted, kLoopback, listener.GetPort(), false), 0) << "run " << run;
    }
}

TEST_F(ListenerTest, HandlersMayDoAnythingToTheirListener) {
    std::unique_ptr<CListener> owned;
    const std::vector<std::function<void(CListener*)>> deeds{
        [&](CListener*) { owned.reset(); },
        [](CListener* which) { which->Reset(); },
        [&](CListener* which) { which->Reset(), open(*which); },
        [](CListener* which) { which->Pulse(), which->HandleEvent(); },
    };
    for (std::size_t deed = 0; deed < deeds.size(); ++deed) {
        accepted.connections.clear();
        owned = std::make_unique<CListener>();
        open(*owned);
        connectTo(*owned, 2);
        accepted.inAccept = deeds[deed];
        owned->Pulse();
        const bool goesOn = deed + 1 == deeds.size();
        EXPECT_EQ(accepted.connections.size(), goesOn ? 2U : 1U) << "deed " << deed;
        EXPECT_EQ(owned == nullptr ? 0 : owned->GetAcceptedCount(), goesOn ? 2U : 0U) << "deed " << deed;
        EXPECT_TRUE(accepted.errors.empty());
    }
}

TEST_F(ListenerTest, ALogCallbackMayDeleteTheListener) {
    static std::unique_ptr<CListener> doomed;
    LogCapture log;
    log.show(Log::Connections, LogSev_Info);
    log.logger().setDBLogFunction(
        [](LogItemSeverityLevel, int, char const* /*text*/, int, char const*) { doomed.reset(); });
    doomed = std::make_unique<CListener>();
    open(*doomed);
    connectTo(*doomed, 2);
    doomed->Pulse();
    EXPECT_EQ(doomed, nullptr);
    EXPECT_TRUE(accepted.connections.empty() && accepted.errors.empty());
}

} // namespace
