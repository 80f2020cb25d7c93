// tests/net/connection_reentry_test.cpp: handlers that delete, reset, re-open or pump their connection in a call.
#include "sharedlib/enums/error.h"
#include "sharedlib/net/event_wait.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_event.h"
#include "sharedlib/util/clock.h"
#include "tests/net/stream_pair.h"
#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

const std::vector<std::string> kOne{"one"};
const std::vector<std::string> kBoth{"one", "two"};

enum class Deed { Delete, Reset, Reopen, Pump };
enum class Way { Pulse, Event };

std::ostream& operator<<(std::ostream& out, Deed deed) {
    return out << std::array{"delete", "reset", "reopen", "pump"}[static_cast<std::size_t>(deed)];
}

void pumpNested(CConnection& conn) {
    bool processed = false;
    conn.Pulse();
    conn.HandleEvent();
    conn.ProcessInboundData();
    conn.WriteOutboundData();
    conn.Preprocess(&processed);
}

void pump(CConnection& conn, Way way) {
    if (way == Way::Pulse) {
        conn.Pulse();
        return;
    }
    void* const event = conn.GetEventHandle();
    if (WaitForEvents(&event, 1, 10) == 0) {
        conn.HandleEvent();
    }
}

/// A pair whose client does `deed` to itself in the first call of the kind under test.
class ConnectionReentry : public testing::TestWithParam<Deed> {
protected:
    void TearDown() override { SetSecondsSinceEpoch(std::time(nullptr)); }

    std::function<void(CConnection*)> once() {
        return [this](CConnection*) {
            if (++calls > 1) {
                return;
            }
            switch (GetParam()) {
            case Deed::Delete:
                pair.client.reset();
                break;
            case Deed::Reset:
                pair.client->Reset();
                break;
            case Deed::Reopen:
                pair.client->Reset();
                pair.client->InitStream(kLoopback, pair.listener.GetPort());
                break;
            case Deed::Pump:
                pumpNested(*pair.client);
                break;
            }
        };
    }
    [[nodiscard]] bool ends() const { return GetParam() != Deed::Pump; }
    /// The client stands as its deed left it: nothing of the old life reached the new one.
    void expectDeedStands(CConnection::State untouched) {
        EXPECT_EQ(pair.clientHandler.maxDepth, 1);
        switch (GetParam()) {
        case Deed::Delete:
            EXPECT_EQ(pair.client, nullptr);
            return;
        case Deed::Reset:
            EXPECT_EQ(pair.client->GetState(), CConnection::Idle);
            return;
        case Deed::Reopen:
            EXPECT_EQ(pair.client->GetState(), CConnection::Connecting);
            EXPECT_TRUE(pumpUntil([&] { pair.client->Pulse(); }, [&] { return pair.client->IsConnected(); }));
            return;
        case Deed::Pump:
            EXPECT_EQ(pair.client->GetState(), untouched);
        }
    }

    StreamPair pair;
    int calls = 0;
};

INSTANTIATE_TEST_SUITE_P(EveryDeed, ConnectionReentry,
                         testing::Values(Deed::Delete, Deed::Reset, Deed::Reopen, Deed::Pump),
                         testing::PrintToStringParamName());

void sendTwo(StreamPair& pair) {
    pair.server->SendMsg(3, "one");
    pair.server->SendMsg(3, "two");
    pair.server->WriteOutboundData();
}

TEST_P(ConnectionReentry, InAMessage) {
    for (const Way way : {Way::Pulse, Way::Event}) {
        StreamPair other;
        std::swap(pair.client, other.client);
        pair.client->SetMessageHandler(&pair.clientHandler);
        pair.clientHandler.inMessage = once();
        pair.clientHandler.messages.clear();
        calls = 0;
        sendTwo(other);
        ASSERT_TRUE(pumpUntil([&] { pump(*pair.client, way); }, [&] { return calls > 0; }));
        EXPECT_THAT(pair.clientHandler.messages, ElementsAreArray(ends() ? kOne : kBoth));
        expectDeedStands(CConnection::Connected);
    }
}

TEST_P(ConnectionReentry, InAMessageUnderPreprocess) {
    pair.client->setAllowedProcessingTime(-1.0F);
    sendTwo(pair);
    ASSERT_TRUE(pair.pulseUntil([&] { return !pair.clientHandler.messages.empty(); }));
    pair.clientHandler.inMessage = once();
    bool processed = false;
    void* const event = pair.client->Preprocess(&processed);
    EXPECT_TRUE(processed);
    EXPECT_EQ(event, pair.client == nullptr ? nullptr : pair.client->GetEventHandle());
    EXPECT_THAT(pair.clientHandler.messages, ElementsAre("one", "two"));
    expectDeedStands(CConnection::Connected);
}

TEST_P(ConnectionReentry, InTheSizeCheck) {
    pair.clientHandler.inCheck = once();
    sendTwo(pair);
    ASSERT_TRUE(pumpUntil([&] { pump(*pair.client, Way::Event); }, [&] { return calls > 0; }));
    if (ends()) {
        EXPECT_THAT(pair.clientHandler.messages, IsEmpty());
    } else {
        EXPECT_THAT(pair.clientHandler.messages, ElementsAre("one", "two"));
    }
    expectDeedStands(CConnection::Connected);
}

TEST_P(ConnectionReentry, WhenConnected) {
    pair.client->Reset();
    pair.clientHandler.inConnect = once();
    SetSecondsSinceEpoch(1000);
    pair.client->InitStream(kLoopback, pair.listener.GetPort());
    ASSERT_TRUE(pumpUntil([&] { pump(*pair.client, Way::Event); }, [&] { return calls > 0; }));
    EXPECT_THAT(pair.clientHandler.connects, ElementsAre(true, true));
    if (ends() && pair.client != nullptr) {
        EXPECT_GT(pair.client->getConnectTime(), 5000) << "the time of the first life, before the clock was set";
    }
    expectDeedStands(CConnection::Connected);
}

TEST_P(ConnectionReentry, WhenThePeerIsLost) {
    for (const Way way : {Way::Pulse, Way::Event}) {
        StreamPair other;
        std::swap(pair.client, other.client);
        pair.client->SetMessageHandler(&pair.clientHandler);
        pair.clientHandler.inConnect = once();
        pair.clientHandler.connects.clear();
        calls = 0;
        other.server.reset();
        ASSERT_TRUE(pumpUntil([&] { pump(*pair.client, way); }, [&] { return calls > 0; }));
        EXPECT_THAT(pair.clientHandler.connects, ElementsAre(false));
        pair.clientHandler.inConnect = nullptr;
        expectDeedStands(CConnection::Idle);
    }
}

TEST_P(ConnectionReentry, WhenTheQueueIsOverItsLimit) {
    CConnection::setOutboundSizeLimit(4);
    pair.clientHandler.inError = once();
    pair.client->SendMsg(3, "abc");
    pair.client->Pulse();
    CConnection::setOutboundSizeLimit(8388608);
    EXPECT_THAT(pair.clientHandler.errors, ElementsAre(std::pair<int, int>(Error::ConnectWriteQueueLimit, 5)));
    expectDeedStands(CConnection::Connected);
}

TEST_P(ConnectionReentry, WhenAWriteTimesOut) {
    const std::string block(1 << 20, 'x');
    pair.clientHandler.inError = once();
    while (pair.client->getOutboundByteCount() == 0) {
        pair.client->SendMsg(block.size(), block.data());
        pair.client->WriteOutboundData();
    }
    SetSecondsSinceEpoch(GetSecondsSinceEpoch() + 1000);
    bool processed = false;
    void* const event = pair.client->Preprocess(&processed);
    EXPECT_EQ(event, pair.client == nullptr ? nullptr : pair.client->GetEventHandle());
    ASSERT_EQ(pair.clientHandler.errors.size(), 1U);
    EXPECT_EQ(pair.clientHandler.errors[0].first, Error::ConnectWriteTimeout);
    expectDeedStands(CConnection::Connected);
}

TEST_P(ConnectionReentry, InADatagram) {
    pair.client->Reset();
    pair.client->InitDatagramListen(0);
    const unsigned short port = pair.client->GetLocalPort();
    CConnection sender;
    sender.InitDatagramListen(0);
    CCharVectorList messages{{'a'}, {'b'}};
    sender.SendMultiMsg(&messages, kLoopback, port);
    sender.SendMsg(1, "c", kLoopback, port);
    pair.clientHandler.inMessage = once();
    ASSERT_TRUE(pumpUntil([&] { pump(*pair.client, Way::Event); }, [&] { return calls > 0; }));
    if (ends()) {
        EXPECT_THAT(pair.clientHandler.messages, ElementsAre("a"));
        EXPECT_TRUE(pair.client == nullptr || pair.client->GetError() == 0);
    } else {
        EXPECT_THAT(pair.clientHandler.messages, ElementsAre("a", "b", "c"));
    }
    expectDeedStands(CConnection::Datagram);
}

TEST(ConnectionReentryOnce, MessagesAreFlushedFromInsideAMessage) {
    StreamPair pair;
    pair.clientHandler.inMessage = [](CConnection* conn) {
        conn->SendMsg(3, "bye");
        conn->WriteOutboundData();
        conn->Reset();
    };
    sendTwo(pair);
    EXPECT_TRUE(pair.pulseUntil([&] { return !pair.serverHandler.connects.empty(); }));
    EXPECT_THAT(pair.serverHandler.messages, ElementsAre("bye"));
    EXPECT_THAT(pair.clientHandler.messages, ElementsAre("one"));
}

TEST(ConnectionReentryOnce, OverwritingTheSocketInAMessageDeliversThatMessageOnce) {
    StreamPair pair;
    const unsigned int oldSocket = pair.client->GetSocket();
    void* const oldEvent = pair.client->GetEventHandle();
    pair.clientHandler.inMessage = [&](CConnection* conn) {
        if (pair.clientHandler.messages.size() == 1) {
            conn->InitStream(kLoopback, pair.listener.GetPort());
        }
    };
    sendTwo(pair);
    EXPECT_TRUE(pair.pulseUntil([&] { return pair.clientHandler.connects.size() == 2; }));
    EXPECT_THAT(pair.clientHandler.messages, ElementsAre("one"));
    pair.client->ProcessInboundData();
    EXPECT_THAT(pair.clientHandler.messages, ElementsAre("one", "two"));
    platform::closeSocketEvent(oldEvent);
    platform::closeSocket(oldSocket);
}

} // namespace
