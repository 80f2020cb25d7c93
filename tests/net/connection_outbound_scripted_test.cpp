// tests/net/connection_outbound_scripted_test.cpp: what the write path sends and reports for each answer of the socket.
#include "sharedlib/packed/packed_data.h"
#include "tests/net/scripted_stream.h"
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using scripted::net;
using scripted::takesAll;
using scripted::Transfer;
using scripted::wouldBlock;
using testing::ElementsAre;
using testing::IsEmpty;
using Errors = std::vector<std::pair<int, int>>;

const std::string kPrefix = "test to 10.0.0.1:4000: ";

class ConnectionOutbound : public testing::Test, protected ScriptedStream {
protected:
    ConnectionOutbound() { log.show(Log::Network, LogSev_Info); }

    /// Queues `bytes` and forgets the lines about it.
    void fill(std::size_t bytes) {
        conn->FillBufferDangerous(bytes, std::string(bytes, 'q').data());
        log.clear();
    }
    void write(const std::vector<Transfer>& answers) {
        for (const Transfer& answer : answers) {
            net().onSend(answer);
        }
        conn->WriteOutboundData();
    }
    [[nodiscard]] std::vector<std::string> lines() const { return log.texts(Log::Network); }
};

TEST_F(ConnectionOutbound, FramesAreExactCountedAndTimedWhateverTheBlockSize) {
    scripted::clock().tickStep = 3;
    net().sendsTakeAll();
    CPackedData packed;
    packed.PutUint8(7);
    for (const int blockSize : {1, 500'000, 10'000}) {
        CConnection::setOutBufferExpandSize(blockSize);
        ScriptedStream other;
        std::string expected;
        unsigned long messages = 0;
        for (const std::size_t size : {0U, 1U, 3U, 9998U, 65532U, 65533U, 70000U}) {
            const std::string body(size, 'b');
            other.conn->SendMsg(size, size != 0 ? body.data() : nullptr);
            expected += frameOf(body);
            EXPECT_EQ(other.conn->getBytesSent(), expected.size());
            EXPECT_EQ(other.conn->getMessagesSent(), ++messages);
        }
        other.conn->FillBufferDangerous(0, nullptr);
        other.conn->SendMsg(packed);
        EXPECT_EQ(other.conn->getMessagesSent(), messages + 2);
        EXPECT_EQ(other.conn->getWriteTime(), 3 * (messages + 2)) << "by the tick count";
        EXPECT_EQ(other.sent(), "") << "queueing sends nothing";
        other.conn->WriteOutboundData();
        const std::string_view bytes(packed.readData(), static_cast<std::size_t>(packed.size()));
        EXPECT_TRUE(other.sent() == expected + frameOf(bytes));
    }
}

TEST_F(ConnectionOutbound, PartialSendsKeepTheBytesInOrderWithAndWithoutLines) {
    std::string body(35'000, '\0');
    for (std::size_t i = 0; i < body.size(); ++i) {
        body[i] = static_cast<char>(i * 7 + i / 256);
    }
    for (const LogItemSeverityLevel level : {LogSev_Warning, LogSev_Info, LogSev_Detail}) {
        for (const std::vector<int>& taken : std::vector<std::vector<int>>{
                 {4000, -1}, {1, 9999, 10'000, 1, -1}, {9999, 1, 1, -1}, {10'000, 10'000, -1}, {0}, {7, 0}}) {
            ScriptedStream other;
            other.log.show(Log::Network, level);
            other.conn->SendMsg(body.size(), body.data());
            std::size_t total = 0;
            for (const int count : taken) {
                net().onSend(count < 0 ? wouldBlock : Transfer{count, 0});
                total += static_cast<std::size_t>(std::max(count, 0));
            }
            other.conn->WriteOutboundData();
            EXPECT_EQ(other.sent().size(), total);
            EXPECT_EQ(other.conn->getOutboundByteCount(), body.size() + 2 - total);
            while (other.conn->getOutboundByteCount() != 0) {
                net().onSend(takesAll);
                other.conn->setAllowedProcessingTime(-1.0F);
                other.conn->WriteOutboundData();
            }
            EXPECT_TRUE(other.sent() == frameOf(body));
        }
    }
    fill(12'000);
    log.show(Log::Network, LogSev_Detail);
    write({{4000, 0}, takesAll, takesAll});
    EXPECT_THAT(lines(), ElementsAre(kPrefix + "Attempting write of 10000 bytes", kPrefix + "Sent 4000 of 10000 bytes",
                                     kPrefix + "Attempting write of 6000 bytes", kPrefix + "Sent 6000 of 6000 bytes",
                                     kPrefix + "Sent 2000 of 2000 bytes"));
}

TEST_F(ConnectionOutbound, BlockedWriteIsReportedAfterTheTimeout) {
    fill(10);
    for (const int second : {100, 279, 280, 281, 460, 461}) {
        scripted::clock().seconds = second;
        write({wouldBlock});
        EXPECT_EQ(handler.errors, Errors(second < 280 ? 0 : second < 461 ? 1 : 2, {29, 180}));
        EXPECT_TRUE(second != 279 || conn->getWriteBlockedSeconds() == 179);
    }
    EXPECT_EQ(scripted::events().blockedNotes(), 6);
    const std::string start = kPrefix + "Write blocked. Start timeout 180 seconds. buffer size 10.";
    const std::string timeout = kPrefix + "Timeout. Blocked writing. Waited 180 seconds. Wrote 0 bytes in that time.";
    EXPECT_THAT(lines(), ElementsAre(start, timeout, start, timeout));
    EXPECT_EQ(log.lines().at(1).severity, LogSev_Warning);
    EXPECT_EQ(conn->GetState(), CConnection::Connected);

    write({wouldBlock});
    log.clear();
    write({{4, 0}, wouldBlock});
    EXPECT_THAT(lines(), ElementsAre("End write-blocked timeout on test to 10.0.0.1:4000. Buffer size 6.",
                                     kPrefix + "Write blocked. Start timeout 180 seconds. buffer size 6."));
}

TEST_F(ConnectionOutbound, BlockedTimeFollowsTheClockWhereverItIsSet) {
    constexpr std::int64_t kTwo31 = 1LL << 31;
    constexpr std::int64_t kStart = 1'700'000'000;
    constexpr std::int64_t kEnd = std::numeric_limits<std::int64_t>::max() - kStart;
    using Step = std::pair<std::int64_t, int>;
    for (const auto& [step, waited] :
         {Step(3600, 3600), Step(-3600, 0), Step(kTwo31 - 1, 2147483647), Step(kTwo31, 0), Step(-kTwo31, 0),
          Step(2 * kTwo31 + 200, 200), Step(-kStart, 0), Step(kEnd, 0)}) {
        ScriptedStream other;
        other.conn->SendMsg(1, "x");
        for (const std::int64_t second : {kStart, kStart + step}) {
            scripted::clock().seconds = second;
            net().onSend(wouldBlock);
            other.conn->WriteOutboundData();
        }
        EXPECT_EQ(other.handler.errors, Errors(waited != 0 ? 1 : 0, {29, waited})) << step;
    }
}

TEST_F(ConnectionOutbound, HardErrorClosesEmptiesTheQueueAndKeepsTheCode) {
    fill(15'000);
    write({{10'000, 0}, scripted::failsWith(10054)});
    EXPECT_THAT(lines(), ElementsAre(kPrefix + "Attempting write of 10000 bytes",
                                     kPrefix + "Got a socket error 10054 on writing 5000 bytes",
                                     kPrefix + "send failed with error code 10054 in CConnection::HandleWriteEvent"));
    EXPECT_EQ(conn->GetState(), CConnection::InError);
    EXPECT_EQ(conn->GetError(), 10054);
    EXPECT_EQ(conn->getOutboundByteCount(), 0U);
    EXPECT_THAT(handler.connects, ElementsAre(false));
}

TEST_F(ConnectionOutbound, QueueOverItsLimitWaitsForAHigherLimit) {
    log.show(Log::Network, LogSev_Warning);
    fill(8'388'608);
    write({wouldBlock});
    EXPECT_THAT(handler.errors, IsEmpty());
    fill(1);
    write({}), write({});
    EXPECT_EQ(handler.errors, (Errors{{30, 8'388'609}, {30, 8'388'609}}));
    EXPECT_EQ(
        log.count(LogSev_Warning, Log::Network, kPrefix + "Size limit 8388608 exceeded on test. Buffer size 8388609"),
        2);
    CConnection::setOutboundSizeLimit(8'388'609);
    net().sendsTakeAll();
    write({});
    CConnection::setOutboundSizeLimit(8'388'608);
    EXPECT_EQ(sent().size(), 8'388'609U);
}

TEST_F(ConnectionOutbound, ABudgetEndsThePassAfterOneBlockAndWithoutOneBlocksAreGathered) {
    conn->setAllowedProcessingTime(0.001F);
    fill(25'000);
    scripted::clock().counterStep = 10'001;
    write({takesAll});
    EXPECT_THAT(lines(), ElementsAre(kPrefix + "Attempting write of 10000 bytes",
                                     "we've used 10001 which is more than our alotted time of 10000 while writing "
                                     "network frames"));
    scripted::clock().counterStep = 0;
    write({takesAll, takesAll});
    EXPECT_EQ(net().callCount("sendBytes"), 3);

    log.show(Log::Network, LogSev_Warning);
    conn->setAllowedProcessingTime(INFINITY);
    fill(25'000);
    const int before = scripted::clock().counterReadings;
    write({takesAll});
    EXPECT_EQ(scripted::clock().counterReadings, before);
    EXPECT_EQ(net().callCount("sendBytes"), 4);
    EXPECT_EQ(sent().size(), 50'000U);
}

TEST_F(ConnectionOutbound, OtherStatesAndIgnoredPacketsQueueNothing) {
    conn->IgnorePackets();
    conn->SendMsg(1, "x");
    EXPECT_EQ(conn->getOutboundByteCount(), 0U);
    conn->FillBufferDangerous(1, "x");
    EXPECT_EQ(conn->getOutboundByteCount(), 1U);
    EXPECT_THAT(lines(),
                ElementsAre(kPrefix + "Refusing message because of IgnorePackets().", "Queuing 1 bytes dangerously"));
    EXPECT_EQ(conn->Preprocess(nullptr), nullptr);

    ScriptedStream idle;
    idle.conn->Reset();
    idle.log.show(Log::Network, LogSev_Detail);
    idle.conn->SendMsg(7, "dropped");
    idle.conn->FillBufferDangerous(7, "dropped");
    EXPECT_THAT(idle.log.texts(Log::Network), ElementsAre("Queuing 7 bytes for UDP"));
    EXPECT_EQ(idle.conn->getMessagesSent(), 0U);
    for (const int size : {0, -1, -10'000}) {
        CConnection::setOutBufferExpandSize(size);
        ScriptedStream other;
        other.conn->SendMsg(3, "abc");
        other.conn->WriteOutboundData();
        EXPECT_EQ(other.conn->getOutboundByteCount() + other.conn->getMessagesSent(), 0U) << "blocks of " << size;
        CConnection::setOutBufferExpandSize(10'000);
        other.conn->SendMsg(3, "abc");
        EXPECT_EQ(other.conn->getOutboundByteCount(), 5U) << "no block has been taken yet, so the new size counts";
    }
}

} // namespace
