// tests/net/listener_scripted_test.cpp: how a listener fails.
#include "tests/net/stream_pair.h"
#include "tests/scripted/socket.h"
#include "tests/scripted/socket_event.h"
#include "tests/support/log_capture.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using scripted::net;
using testing::ElementsAre;

TEST(ListenerScripted, EveryStepOfInitFailsWithItsLineAndItsCode) {
    struct Case {
        std::function<void()> script;
        int result;
        std::string line;
    };
    const std::vector<Case> cases{
        {[] { net().onOpen(10024); }, 10024, "Unable to create socket in CListener::Init: 10024"},
        {[] { net().onSetBlocking(10022); }, 10045, "Unable to set nonblocking socket in CListener::Init"},
        {[] { net().onBind(10013); }, 10013, "Unable to bind socket on 10.0.0.9:80 in CListener::Init: 10013"},
        {[] { net().onListen(10048); }, 10048, "Unable to listen on socket in CListener::Init: 10048"},
        {[] { scripted::events().onSelect(10055); }, -1, "Unable to create listener event: -1"},
    };
    for (const Case& step : cases) {
        LogCapture log;
        AcceptedConnections accepted;
        CListener listener;
        step.script();
        EXPECT_EQ(listener.Init(&accepted, 0x0A000009, 80, false), step.result);
        EXPECT_THAT(log.lines(), ElementsAre(LogLineSeen{LogSev_Error, Log::Network, step.line}));
        EXPECT_EQ(net().openCount(), step.line.ends_with("event: -1") ? 1U : 0U);
    }
}

TEST(ListenerScripted, TriesAThousandPortsAtMost) {
    LogCapture log;
    AcceptedConnections accepted;
    CListener listener;
    for (int i = 0; i < 1000; ++i) {
        net().onBind(10048);
    }
    EXPECT_EQ(listener.Init(&accepted, 0, 65'000, true), 10048);
    EXPECT_EQ(net().callCount("bindSocket"), 1000);
    EXPECT_EQ(log.countContaining("0.0.0.0:463 "), 1);
}

TEST(ListenerScripted, AcceptErrorClosesAndIsReportedOnce) {
    enum class Deed { Nothing, Init, Delete };
    for (const Deed deed : {Deed::Nothing, Deed::Init, Deed::Delete}) {
        AcceptedConnections accepted;
        auto listener = std::make_unique<CListener>();
        ASSERT_EQ(listener->Init(&accepted, 0, 80, false), 0);
        net().connectTo(net().lastOpened(), {0x0A000001, 5});
        accepted.inError = [&](CListener* which) {
            EXPECT_EQ(which->GetEventHandle(), nullptr) << "closed before the call";
            EXPECT_EQ(which->GetAcceptedCount(), 0U);
            which->Pulse();
            if (deed == Deed::Init) {
                EXPECT_EQ(which->Init(&accepted, 0, 81, false), 0);
            } else if (deed == Deed::Delete) {
                listener.reset();
            }
        };
        net().onAccept(0).onAccept(10024);
        listener->Pulse();
        EXPECT_EQ(accepted.connections.size(), 1U);
        EXPECT_THAT(accepted.errors, ElementsAre(10024));
        if (listener != nullptr) {
            listener->Pulse();
            EXPECT_EQ(listener->GetEventHandle() != nullptr, deed == Deed::Init);
        }
        EXPECT_THAT(accepted.errors, ElementsAre(10024));
    }
}

} // namespace
