// tests/net/connection_outbound_scripted_test.cpp: what the write path sends and reports for each answer of the socket.
#include "sharedlib/enums/error.h"
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/util/clock.h"
#include "tests/net/scripted_stream.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using scripted::failsWith;
using scripted::net;
using scripted::takesAll;
using scripted::Transfer;
using scripted::wouldBlock;
using testing::ElementsAre;
using testing::IsEmpty;

class ConnectionOutbound : public testing::Test, protected ScriptedStream {
protected:
    void send(const std::string& body) { conn->SendMsg(body.size(), body.data()); }
    void fill(std::size_t bytes) {
        const std::string body(bytes, 'q');
        conn->FillBufferDangerous(body.size(), body.data());
    }
    /// The sizes that sends on the socket offered, gathered ones as a sum.
    [[nodiscard]] std::vector<long> offered() const {
        std::vector<long> sizes;
        for (const scripted::Call& call : net().calls()) {
            if (call.function == "sendBytes" || call.function == "sendPieces") {
                sizes.push_back(call.value);
            }
        }
        return sizes;
    }
};

const std::pair<int, int> kTimeoutAfter180{Error::ConnectWriteTimeout, 180};

TEST_F(ConnectionOutbound, FramesAreExactAndCounted) {
    net().sendsTakeAll();
    std::string expected;
    unsigned long messages = 0;
    for (const std::size_t size : {0U, 1U, 3U, 9998U, 65532U, 65533U, 70000U}) {
        const std::string body(size, 'b');
        send(body);
        expected += frameOf(body);
        EXPECT_EQ(conn->getBytesSent(), expected.size());
        EXPECT_EQ(conn->getMessagesSent(), ++messages);
    }
    CPackedData packed;
    packed.PutUint8(7);
    conn->SendMsg(packed);
    expected += frameOf(std::string_view(packed.readData(), static_cast<std::size_t>(packed.size())));
    EXPECT_EQ(conn->getOutboundByteCount(), expected.size());
    EXPECT_EQ(sent(), "") << "queueing sends nothing";
    conn->WriteOutboundData();
    EXPECT_TRUE(sent() == expected);
    EXPECT_EQ(conn->getOutboundByteCount(), 0U);
}

TEST_F(ConnectionOutbound, PartialSendsKeepTheBytesInOrderWithAndWithoutLines) {
    const std::vector<std::vector<Transfer>> scripts{
        {{4000, 0}, wouldBlock},
        {{1, 0}, {9999, 0}, {10'000, 0}, {1, 0}, wouldBlock},
        {{9999, 0}, {1, 0}, {1, 0}, wouldBlock},
        {{10'000, 0}, {10'000, 0}, wouldBlock},
        {{0, 0}},
        {{7, 0}, {0, 0}},
    };
    for (const LogItemSeverityLevel level : {LogSev_Warning, LogSev_Info, LogSev_Detail}) {
        for (const std::vector<Transfer>& script : scripts) {
            ScriptedStream other;
            other.log.show(Log::Network, level);
            std::string body(35'000, '\0');
            for (std::size_t i = 0; i < body.size(); ++i) {
                body[i] = static_cast<char>(i * 7 + i / 256);
            }
            other.conn->SendMsg(body.size(), body.data());
            std::size_t taken = 0;
            for (const Transfer& transfer : script) {
                net().onSend(transfer);
                taken += static_cast<std::size_t>(std::max(transfer.count, 0));
            }
            other.conn->WriteOutboundData();
            EXPECT_EQ(other.sent().size(), taken);
            EXPECT_EQ(other.conn->getOutboundByteCount(), body.size() + 2 - taken);
            EXPECT_EQ(other.conn->getWriteBlockedSeconds(), 0U);
            net().sendsTakeAll();
            other.conn->WriteOutboundData();
            EXPECT_TRUE(other.sent() == frameOf(body));
        }
    }
}

TEST_F(ConnectionOutbound, OffersOneBlockAtATimeWhileItsLinesAreShown) {
    log.show(Log::Network, LogSev_Detail);
    fill(12'000);
    log.clear();
    net().onSend({4000, 0}).onSend(takesAll).onSend(takesAll);
    conn->WriteOutboundData();
    EXPECT_THAT(offered(), ElementsAre(10'000, 6000, 2000));
    const std::string prefix = "test to 10.0.0.1:4000: ";
    EXPECT_THAT(log.texts(Log::Network),
                ElementsAre(prefix + "Attempting write of 10000 bytes", prefix + "Sent 4000 of 10000 bytes",
                            prefix + "Attempting write of 6000 bytes", prefix + "Sent 6000 of 6000 bytes",
                            prefix + "Sent 2000 of 2000 bytes"));
}

TEST_F(ConnectionOutbound, BlockedWriteIsReportedAfterTheTimeout) {
    log.show(Log::Network, LogSev_Info);
    fill(10);
    log.clear();
    for (const int second : {100, 279, 280, 281, 460, 461}) {
        scripted::clock().seconds = second;
        net().onSend(wouldBlock);
        conn->WriteOutboundData();
        if (second == 279) {
            EXPECT_EQ(conn->getWriteBlockedSeconds(), 179U);
            EXPECT_THAT(handler.errors, IsEmpty());
        }
    }
    EXPECT_THAT(handler.errors, ElementsAre(kTimeoutAfter180, kTimeoutAfter180));
    EXPECT_EQ(scripted::events().blockedNotes(), 6);
    const std::string prefix = "test to 10.0.0.1:4000: ";
    const std::string start = prefix + "Write blocked. Start timeout 180 seconds. buffer size 10.";
    const std::string timeout = prefix + "Timeout. Blocked writing. Waited 180 seconds. Wrote 0 bytes in that time.";
    EXPECT_THAT(log.texts(Log::Network), ElementsAre(start, timeout, start, timeout));
    EXPECT_EQ(log.lines().at(1).severity, LogSev_Warning);
    EXPECT_EQ(conn->GetState(), CConnection::Connected);

    log.clear();
    net().onSend(wouldBlock).onSend({4, 0}).onSend(wouldBlock);
    conn->WriteOutboundData();
    conn->WriteOutboundData();
    EXPECT_THAT(log.texts(Log::Network),
                ElementsAre(start, "End write-blocked timeout on test to 10.0.0.1:4000. Buffer size 6.",
                            prefix + "Write blocked. Start timeout 180 seconds. buffer size 6."));
}

TEST_F(ConnectionOutbound, BlockedTimeFollowsTheClockWhereverItIsSet) {
    struct Case {
        std::int64_t step;
        std::vector<std::pair<int, int>> errors;
    };
    constexpr std::int64_t kHour = 3600;
    constexpr std::int64_t kTwo31 = 1LL << 31;
    constexpr std::int64_t kStart = 1'700'000'000;
    for (const Case& step : {Case{kHour, {{29, 3600}}}, Case{-kHour, {}}, Case{kTwo31 - 1, {{29, 2147483647}}},
                             Case{kTwo31, {}}, Case{-kTwo31, {}}, Case{kTwo31 + kTwo31 + 200, {{29, 200}}},
                             Case{-kStart, {}}, Case{std::numeric_limits<std::int64_t>::max() - kStart, {}}}) {
        ScriptedStream other;
        other.conn->SendMsg(1, "x");
        scripted::clock().seconds = kStart;
        net().onSend(wouldBlock).onSend(wouldBlock);
        other.conn->WriteOutboundData();
        scripted::clock().seconds = kStart + step.step;
        other.conn->WriteOutboundData();
        EXPECT_EQ(other.handler.errors, step.errors) << step.step;
        EXPECT_EQ(other.conn->GetState(), CConnection::Connected);
    }
}

TEST_F(ConnectionOutbound, HardErrorClosesEmptiesTheQueueAndKeepsTheCode) {
    fill(15'000);
    net().onSend({10'000, 0}).onSend(failsWith(10054));
    log.show(Log::Network, LogSev_Info);
    conn->WriteOutboundData();
    const std::string prefix = "test to 10.0.0.1:4000: ";
    EXPECT_THAT(log.texts(Log::Network),
                ElementsAre(prefix + "Attempting write of 10000 bytes",
                            prefix + "Got a socket error 10054 on writing 5000 bytes",
                            prefix + "send failed with error code 10054 in CConnection::HandleWriteEvent"));
    EXPECT_EQ(conn->GetState(), CConnection::InError);
    EXPECT_EQ(conn->GetError(), 10054);
    EXPECT_EQ(conn->getOutboundByteCount(), 0U);
    EXPECT_THAT(handler.connects, ElementsAre(false));
}

TEST_F(ConnectionOutbound, QueueOverItsLimitWaitsForAHigherLimit) {
    fill(8'388'608);
    net().onSend(wouldBlock);
    conn->WriteOutboundData();
    EXPECT_THAT(handler.errors, IsEmpty());
    fill(1);
    log.clear();
    for (int pass = 0; pass < 2; ++pass) {
        conn->WriteOutboundData();
    }
    EXPECT_THAT(handler.errors, ElementsAre(std::pair(30, 8'388'609), std::pair(30, 8'388'609)));
    EXPECT_EQ(log.count(LogSev_Warning, Log::Network,
                        "test to 10.0.0.1:4000: Size limit 8388608 exceeded on test. Buffer size 8388609"),
              2);
    CConnection::setOutboundSizeLimit(8'388'609);
    net().sendsTakeAll();
    conn->WriteOutboundData();
    CConnection::setOutboundSizeLimit(8'388'608);
    EXPECT_EQ(sent().size(), 8'388'609U);
}

TEST_F(ConnectionOutbound, BudgetEndsThePassAfterOneBlock) {
    conn->setAllowedProcessingTime(0.001F);
    fill(25'000);
    log.show(Log::Network, LogSev_Info);
    scripted::clock().counterStep = 10'001;
    net().onSend(takesAll);
    conn->WriteOutboundData();
    EXPECT_EQ(log.count(LogSev_Info, Log::Network,
                        "we've used 10001 which is more than our alotted time of 10000 while writing network frames"),
              1);
    scripted::clock().counterStep = 0;
    net().onSend(takesAll).onSend(takesAll);
    conn->WriteOutboundData();
    EXPECT_THAT(offered(), ElementsAre(10'000, 10'000, 5000));
}

TEST_F(ConnectionOutbound, WithoutABudgetWritingReadsNoCounterAndGathersBlocks) {
    fill(25'000);
    net().sendsTakeAll();
    const int before = scripted::clock().counterReadings;
    conn->WriteOutboundData();
    EXPECT_EQ(scripted::clock().counterReadings, before);
    EXPECT_THAT(offered(), ElementsAre(25'000));
}

TEST_F(ConnectionOutbound, OtherStatesAndIgnoredPacketsQueueNothing) {
    log.show(Log::Network, LogSev_Detail);
    conn->Reset();
    send("dropped");
    fill(3);
    EXPECT_EQ(log.texts(Log::Network), std::vector<std::string>{"Queuing 7 bytes for UDP"});
    EXPECT_EQ(conn->getMessagesSent(), 0U);

    ScriptedStream ignoring;
    ignoring.conn->IgnorePackets();
    ignoring.log.show(Log::Network, LogSev_Info);
    ignoring.conn->SendMsg(1, "x");
    EXPECT_EQ(ignoring.conn->getOutboundByteCount(), 0U);
    ignoring.conn->FillBufferDangerous(1, "x");
    EXPECT_EQ(ignoring.conn->getOutboundByteCount(), 1U);
    EXPECT_THAT(ignoring.log.texts(Log::Network),
                ElementsAre("test to 10.0.0.1:4000: Refusing message because of IgnorePackets().",
                            "Queuing 1 bytes dangerously"));
    EXPECT_EQ(ignoring.conn->Preprocess(nullptr), nullptr);
    EXPECT_FALSE(ignoring.conn->ShouldHandleEvents());
}

TEST_F(ConnectionOutbound, EmptyMessagesNeedNoAddress) {
    net().sendsTakeAll();
    for (int i = 0; i < 2; ++i) {
        conn->SendMsg(0, nullptr);
        conn->FillBufferDangerous(0, nullptr);
    }
    conn->WriteOutboundData();
    EXPECT_EQ(sent(), std::string(4, '\0'));
    EXPECT_EQ(conn->getBytesSent(), 4U);
    EXPECT_EQ(conn->getMessagesSent(), 4U);
}

TEST_F(ConnectionOutbound, SendsFromWithinACapacityWarningLeaveTheQueueWhole) {
    struct Chatterbox : RecordingHandler {
        CConnection* target = nullptr;
        int asked = 0;
        const char* GetHandlerName() override {
            ++asked;
            target->SendMsg(9000, std::string(9000, 'z').data());
            return "loud";
        }
    } chatterbox;
    chatterbox.target = conn.get();
    net().sendsTakeAll();
    const std::string body(200'000, 'b');
    conn->SetMessageHandler(&chatterbox);
    send(body);
    conn->WriteOutboundData();
    conn->SetMessageHandler(&handler);
    EXPECT_GE(chatterbox.asked, 3) << "at eight blocks, at sixteen and when emptied";
    EXPECT_TRUE(sent() == frameOf(body));
    EXPECT_EQ(conn->getOutboundByteCount(), 0U);
}

TEST_F(ConnectionOutbound, SenselessBlockSizesQueueNothingAndEnd) {
    for (const int size : {0, -1, -10'000}) {
        CConnection::setOutBufferExpandSize(size);
        ScriptedStream other;
        other.conn->SendMsg(3, "abc");
        EXPECT_EQ(other.conn->getOutboundByteCount(), 0U);
        EXPECT_EQ(other.conn->getMessagesSent(), 0U);
        other.conn->WriteOutboundData();
    }
    CConnection::setOutBufferExpandSize(10'000);
}

TEST_F(ConnectionOutbound, WriteTimeIsTheTickCountSpentInQueueing) {
    scripted::clock().tickStep = 3;
    send("abc");
    fill(1);
    EXPECT_EQ(conn->getWriteTime(), 6U);
}

} // namespace
