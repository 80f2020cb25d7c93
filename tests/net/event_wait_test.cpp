// tests/net/event_wait_test.cpp: hosts that wait for connections and listeners.
#include "sharedlib/net/event_wait.h"
#include "tests/net/stream_pair.h"

namespace {

TEST(EventWait, AHostThatOnlyWaitsCarriesAConversation) {
    for (const bool polls : {false, true}) {
        RecordingHandler serverHandler, clientHandler;
        AcceptedConnections accepted;
        CListener listener;
        CConnection client;
        CConnection* server = nullptr;
        EventPoller poller;
        accepted.inAccept = [&](CListener*) {
            server = accepted.connections[0].get();
            server->SetMessageHandler(&serverHandler);
            EXPECT_TRUE(poller.add(server->GetEventHandle(), server));
        };
        const std::string big(6000000, 'b');
        // More than the socket takes: what is left goes out by WRITE events alone.
        clientHandler.inConnect = [&](CConnection*) { client.SendMsg(big.size(), big.data()); };
        client.SetMessageHandler(&clientHandler);
        ASSERT_EQ(listener.Init(&accepted, kLoopback, 0, false), 0);
        client.InitStream(kLoopback, listener.GetPort());
        EXPECT_TRUE(poller.add(listener.GetEventHandle(), &listener));
        EXPECT_TRUE(poller.add(client.GetEventHandle(), &client));
        EXPECT_FALSE(poller.add(client.GetEventHandle(), &client));
        const auto wait = [&](unsigned long timeoutMs) {
            void* const users[] = {nullptr, &listener, nullptr, &client, server};
            void* const handles[] = {nullptr, listener.GetEventHandle(), nullptr, client.GetEventHandle(),
                                     server == nullptr ? nullptr : server->GetEventHandle()};
            void* user = nullptr;
            return polls ? (poller.wait(&user, 1, timeoutMs), user)
                         : users[WaitForEvents(handles + 1, 4, timeoutMs) + 1];
        };
        const auto waitUntil = [&](const auto& done) {
            for (int i = 0; i < 10000 && !done(); ++i) {
                void* const user = wait(5000);
                ASSERT_NE(user, nullptr);
                user == &listener ? listener.HandleEvent() : static_cast<CConnection*>(user)->HandleEvent();
            }
        };
        waitUntil([&] { return !serverHandler.messages.empty(); });
        ASSERT_EQ(serverHandler.messages.size(), 1U);
        EXPECT_TRUE(serverHandler.messages[0] == big);
        EXPECT_EQ(clientHandler.connects, std::vector<bool>{true});
        EXPECT_EQ(wait(0), nullptr) << "an idle host sleeps";
        clientHandler.inConnect = nullptr;
        // A closed connection leaves the poller by itself.
        client.Reset();
        waitUntil([&] { return !serverHandler.connects.empty(); });
        EXPECT_EQ(serverHandler.connects, std::vector<bool>{false});
        listener.Reset();
        EXPECT_EQ(wait(0), nullptr);
        poller.remove(nullptr);
    }
}

} // namespace
