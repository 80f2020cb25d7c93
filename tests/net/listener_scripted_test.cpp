// tests/net/listener_scripted_test.cpp: how a listener fails.
#include "tests/net/stream_pair.h"
#include "tests/scripted/socket.h"
#include "tests/scripted/socket_event.h"
#include "tests/support/log_capture.h"
#include <gmock/gmock.h>

namespace {

using scripted::net;
using testing::ElementsAre;

struct ListenerScripted : testing::Test {
    LogCapture log;
    AcceptedConnections accepted;
};

TEST_F(ListenerScripted, EveryStepOfInitFailsWithItsLineAndItsCode) {
    struct Case {
        std::function<void()> script;
        int result;
        std::string line;
    };
    for (const Case& step : {
             Case{[] { net().onOpen(10024); }, 10024, "Unable to create socket in CListener::Init: 10024"},
             Case{[] { net().onSetBlocking(10022); }, 10045, "Unable to set nonblocking socket in CListener::Init"},
             Case{[] { net().onBind(10013); }, 10013, "Unable to bind socket on 10.0.0.9:80 in CListener::Init: 10013"},
             Case{[] { net().onListen(10048); }, 10048, "Unable to listen on socket in CListener::Init: 10048"},
             Case{[] { scripted::events().onSelect(10055); }, -1, "Unable to create listener event: -1"},
         }) {
        CListener listener;
        step.script();
        EXPECT_EQ(listener.Init(&accepted, 0x0A000009, 80, false), step.result);
        EXPECT_THAT(log.lines(), ElementsAre(LogLineSeen{LogSev_Error, Log::Network, step.line}));
        EXPECT_EQ(net().openCount(), step.result == -1 ? 1U : 0U);
        log.clear();
    }
}

TEST_F(ListenerScripted, TriesAThousandPortsAtMost) {
    CListener listener;
    // Another listener may take a port between bind and listen.
    net().onListen(10048);
    EXPECT_EQ(listener.Init(&accepted, 0, 65'000, true), 0);
    EXPECT_EQ(listener.GetPort(), 65'001);
    listener.Reset();
    for (int i = 0; i < 1000; ++i) {
        net().onBind(10048);
    }
    EXPECT_EQ(listener.Init(&accepted, 0, 65'000, true), 10048);
    EXPECT_THAT(log.texts(Log::Network), ElementsAre("Unable to bind socket on 0.0.0.0:463 in CListener::Init: 10048"));
}

TEST_F(ListenerScripted, AcceptErrorClosesAndIsReportedOnce) {
    for (const std::string deed : {"nothing", "init", "delete"}) {
        accepted.errors.clear();
        auto listener = std::make_unique<CListener>();
        ASSERT_EQ(listener->Init(&accepted, 0, 80, false), 0);
        net().connectTo(net().lastOpened(), {0x0A000001, 5});
        accepted.inError = [&](CListener* which) {
            EXPECT_EQ(which->GetEventHandle(), nullptr) << "closed before the call";
            which->Pulse();
            EXPECT_EQ(deed == "init" ? which->Init(&accepted, 0, 81, false) : 0, 0);
            deed == "delete" ? listener.reset() : void();
        };
        net().onAccept(0).onAccept(10024);
        listener->Pulse();
        EXPECT_EQ(accepted.connections.back()->GetRemotePort(), 5);
        if (listener != nullptr) {
            listener->Pulse();
            EXPECT_EQ(listener->GetEventHandle() != nullptr, deed == "init");
        }
        EXPECT_THAT(accepted.errors, ElementsAre(10024));
    }
}

} // namespace
