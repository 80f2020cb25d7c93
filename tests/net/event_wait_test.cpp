// tests/net/event_wait_test.cpp: hosts that wait for connections and listeners.
#include "sharedlib/net/connection.h"
#include "sharedlib/net/event_wait.h"
#include "sharedlib/net/listen_handler.h"
#include "sharedlib/net/listener.h"
#include "sharedlib/net/message_handler.h"
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace {

class Recorder : public CMessageHandler, public CListenHandler {
public:
    void HandleMessage(CConnection*, const void* data, unsigned long size) override {
        messages.emplace_back(static_cast<const char*>(data), size);
    }
    void OnConnect(CConnection*, bool connected) override { connects.push_back(connected); }
    void OnError(CConnection*, int, int) override {}
    void OnAccept(CListener*, CConnection* connection) override {
        accepted.reset(connection);
        connection->SetMessageHandler(this);
    }
    void OnListenError(CListener*, int) override { ADD_FAILURE(); }

    std::vector<std::string> messages;
    std::vector<bool> connects;
    std::unique_ptr<CConnection> accepted;
};

/// What a host that only ever waits sees of a listener and a client.
struct Host {
    Host() {
        EXPECT_EQ(listener.Init(&server, 0x7F000001, 0, false), 0);
        client.SetMessageHandler(&visitor);
        client.InitStream(0x7F000001, listener.GetPort());
    }
    void handle(const void* user) {
        if (user == &listener) {
            listener.HandleEvent();
        } else {
            static_cast<CConnection*>(const_cast<void*>(user))->HandleEvent();
        }
    }

    Recorder server;
    Recorder visitor;
    CListener listener;
    CConnection client;
};

TEST(EventWait, AHostThatWaitsOnHandlesHearsEverythingOnce) {
    Host host;
    for (int i = 0; i < 20 && (host.visitor.connects.empty() || host.server.accepted == nullptr); ++i) {
        void* const handles[] = {host.listener.GetEventHandle(), nullptr, host.client.GetEventHandle()};
        const int index = WaitForEvents(handles, 3, 5000);
        ASSERT_TRUE(index == 0 || index == 2) << index;
        host.handle(index == 0 ? static_cast<void*>(&host.listener) : &host.client);
    }
    EXPECT_EQ(host.visitor.connects, std::vector<bool>{true});
    void* const handles[] = {host.listener.GetEventHandle(), host.client.GetEventHandle()};
    EXPECT_EQ(WaitForEvents(handles, 2, 0), -1) << "an idle host sleeps";
}

TEST(EventWait, APollerCarriesAConversationAndLosesClosedConnectionsByItself) {
    Host host;
    EventPoller poller;
    EXPECT_TRUE(poller.add(host.listener.GetEventHandle(), &host.listener));
    EXPECT_TRUE(poller.add(host.client.GetEventHandle(), &host.client));
    EXPECT_FALSE(poller.add(host.client.GetEventHandle(), &host.client));
    const std::string big(6000000, 'b');
    bool joined = false;
    bool spoken = false;
    for (int i = 0; i < 10000 && host.server.messages.empty(); ++i) {
        void* user = nullptr;
        ASSERT_EQ(poller.wait(&user, 1, 5000), 1);
        host.handle(user);
        if (host.server.accepted != nullptr && !joined) {
            joined = poller.add(host.server.accepted->GetEventHandle(), host.server.accepted.get());
        }
        if (!host.visitor.connects.empty() && !spoken) {
            spoken = true;
            host.client.SendMsg(big.size(), big.data());
            // More than the socket takes: what is left goes out by WRITE events alone.
            static_cast<void>(host.client.Preprocess(nullptr));
        }
    }
    ASSERT_EQ(host.server.messages.size(), 1U);
    EXPECT_TRUE(host.server.messages[0] == big);

    host.client.Reset();
    void* user = nullptr;
    while (host.server.connects.empty()) {
        ASSERT_EQ(poller.wait(&user, 1, 5000), 1);
        ASSERT_EQ(user, host.server.accepted.get()) << "a closed connection is in no poller";
        host.handle(user);
    }
    EXPECT_EQ(host.server.connects, std::vector<bool>{false});
    host.listener.Reset();
    EXPECT_EQ(poller.wait(&user, 1, 0), 0);
    poller.remove(nullptr);
}

} // namespace
