// tests/net/connection_inbound_scripted_test.cpp: how a stream becomes messages, byte by byte and tick by tick.
#include "tests/net/scripted_stream.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t kTicksPerMs = 10'000;

class ConnectionInbound : public testing::Test, protected ScriptedStream {};

TEST_F(ConnectionInbound, DeliversEveryMessageOnceForEverySplitOfTheStream) {
    const std::vector<std::string> bodies{"abc", "", std::string(300, 'x'), "d", ""};
    std::string stream = kPingRequest;
    for (const std::string& body : bodies) {
        stream += frameOf(body) + kPingRequest;
    }
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        for (const std::size_t second : {first, (first + stream.size()) / 2}) {
            handler.messages.clear();
            receive(std::string_view(stream).substr(0, first));
            receive(std::string_view(stream).substr(first, second - first));
            receive(std::string_view(stream).substr(second));
            ASSERT_EQ(handler.messages, bodies) << "split at " << first << " and " << second;
        }
    }
    EXPECT_EQ(conn->getMessagesReceived(), 2 * bodies.size() * (stream.size() + 1));
    EXPECT_EQ(conn->getOutboundByteCount(), 2 * 2 * (bodies.size() + 1) * (stream.size() + 1));
    EXPECT_EQ(conn->getMessagesSent(), 0U);
}

TEST_F(ConnectionInbound, TakesLongStreamsThroughABufferThatWraps) {
    std::vector<std::string> bodies;
    std::string stream;
    for (const std::size_t size : {0U, 1U, 9000U, 9000U, 9000U, 19997U, 19998U, 65532U, 65533U, 70000U, 3U}) {
        std::string body(size, '\0');
        std::iota(body.begin(), body.end(), static_cast<char>(size));
        stream += frameOf(body);
        bodies.push_back(std::move(body));
    }
    for (const std::size_t chunk : {1U, 2U, 777U, 19999U, 20000U, 20001U}) {
        handler.messages.clear();
        scripted::net().deliver(socket, stream, chunk);
        for (std::size_t i = 0; i <= 2 * stream.size() / std::min<std::size_t>(chunk, 20000); ++i) {
            conn->HandleStreamReadEvent(0);
        }
        ASSERT_TRUE(handler.messages == bodies) << "chunks of " << chunk;
    }
}

TEST_F(ConnectionInbound, GrowsOnlyToTheFrameThatDoesNotFit) {
    for (const auto& [start, size] : {std::pair<std::string, std::string>{"\x30\x75"
                                                                          "body",
                                                                          "30002"},
                                      {"\xFD\xFF\x01", "65542"}}) {
        ScriptedStream other;
        other.log.show(Log::Network, LogSev_Info);
        other.receive(start);
        EXPECT_THAT(other.log.texts(Log::Network),
                    ElementsAre("Want to process " + size + " byte message, but only have " +
                                    std::to_string(start.size()) + " bytes after size",
                                "Resizing inbound buffer from 20000 to " + size, "Packing inbound buffer"));
        other.log.clear();
        other.conn->ProcessInboundData();
        EXPECT_EQ(other.log.countContaining("Resizing"), 0);
    }
}

TEST_F(ConnectionInbound, AFrameThatWouldEndOneByteBehindTheBufferIsMoved) {
    const std::string body(19996, 'b');
    receive(frameOf("a") + frameOf(body).substr(0, 9000));
    receive(frameOf(body).substr(9000));
    EXPECT_THAT(handler.messages, ElementsAre("a", body));
}

TEST_F(ConnectionInbound, AnAnnouncementOfFourGigabytesIsAskedInFullAndTouchesNothing) {
    const std::string announcement = "\xFD\xFF\xFF\xFF\xFF\xFF";
    handler.largestFrame = 1'000'000;
    receive(announcement);
    EXPECT_THAT(handler.asked, ElementsAre(4294967301UL));
    handler.largestFrame = std::numeric_limits<unsigned long>::max();
    receive(announcement + "body");
    EXPECT_EQ(conn->GetState(), CConnection::Connected);
    EXPECT_THAT(handler.messages, IsEmpty());
    receive("more");
    EXPECT_EQ(conn->GetState(), CConnection::Connected);
}

TEST_F(ConnectionInbound, GrowthThatTheSystemRefusesClosesLikeAReadError) {
    conn->ResizeInboundBuffer(1UL << 62);
    EXPECT_EQ(conn->GetState(), CConnection::InError);
    EXPECT_EQ(conn->GetError(), 10055);
    EXPECT_THAT(handler.connects, ElementsAre(false));
    EXPECT_EQ(log.countContaining("recv failed with error code 10055 in CConnection::HandleStreamReadEvent"), 1);
}

TEST_F(ConnectionInbound, RefusedFrameDropsAllBufferedBytes) {
    handler.largestFrame = 100;
    receive(frameOf("good") + frameOf(std::string(99, 'x')) + frameOf("behind"));
    EXPECT_THAT(handler.messages, ElementsAre("good"));
    EXPECT_EQ(conn->GetState(), CConnection::Connected);
    receive(frameOf(std::string(98, 'y')));
    EXPECT_THAT(handler.messages, ElementsAre("good", std::string(98, 'y')));
    // A long header that is not whole yet counts as more than it may turn out to be.
    receive("\xFD\xFF");
    EXPECT_EQ(handler.asked.back(), 65542U);
}

TEST_F(ConnectionInbound, TheEndOfTheStreamClosesWithoutAnError) {
    log.show(Log::Network, LogSev_Detail);
    conn->setAllowedProcessingTime(-1.0F);
    receive(frameOf("one") + frameOf("held back by the budget"));
    log.clear();
    scripted::net().closePeer(socket);
    conn->HandleStreamReadEvent(0);
    EXPECT_THAT(log.texts(Log::Network), ElementsAre("Attempting to read up to 19970 and read 0",
                                                     "Closing connection gracefully attempting to read 19970"));
    EXPECT_EQ(conn->GetState(), CConnection::Idle);
    EXPECT_EQ(conn->GetError(), 0);
    EXPECT_THAT(handler.connects, ElementsAre(false));
    EXPECT_THAT(handler.messages, ElementsAre("one")) << "what the budget held back is lost";
}

TEST_F(ConnectionInbound, AReadErrorClosesWithTheError) {
    log.show(Log::Network, LogSev_Detail);
    log.show(Log::Connections, LogSev_Info);
    log.clear();
    scripted::net().breakPeer(socket, 10054);
    conn->HandleStreamReadEvent(0);
    EXPECT_EQ(log.lines().size(), 4U);
    EXPECT_EQ(log.lines().front(), (LogLineSeen{LogSev_Info, Log::Network,
                                                "Closing connection because of error 10054 attempting to read 20000"}));
    EXPECT_EQ(log.countContaining(" in CConnection::Cleanup()"), 1) << "closed before the error is recorded";
    EXPECT_EQ(log.lines().back(),
              (LogLineSeen{
                  LogSev_Error, Log::Network,
                  "test to 10.0.0.1:4000: recv failed with error code 10054 in CConnection::HandleStreamReadEvent"}));
    EXPECT_EQ(conn->GetState(), CConnection::InError);
    EXPECT_EQ(conn->GetError(), 10054);
    EXPECT_THAT(handler.connects, ElementsAre(false));
}

TEST_F(ConnectionInbound, OnePassTellsItsStoryInOrder) {
    log.show(Log::Network, LogSev_Detail);
    receive(frameOf("abc") + kPingRequest + frameOf("de") + "z");
    EXPECT_THAT(log.texts(Log::Network),
                ElementsAre("Attempting to read up to 20000 and read 12", "Read 12 bytes into buffer",
                            "Processing 3 byte message", "Received MSG_PingSend", "Processing 2 byte message",
                            "Packing inbound buffer",
                            "inbound data has too much data to handle, moving from 1 bytes, processed 11"));
    log.clear();
    receive(std::string_view("\0", 1));
    EXPECT_THAT(log.texts(Log::Network),
                ElementsAre("Attempting to read up to 19999 and read 1", "Read 1 bytes into buffer",
                            "Want to process 124 byte message, but only have 2 bytes after size"));
    log.clear();
    receive(std::string(122, 'b'));
    EXPECT_EQ(log.texts(Log::Network).back(), "Ran out of information in buffer");
    EXPECT_EQ(conn->getBytesReceived(), 5U + 4U + 124U);
    // Ignored packets are consumed and counted all the same.
    conn->IgnorePackets();
    receive(frameOf("abc"));
    EXPECT_EQ(handler.messages.size(), 3U);
    EXPECT_EQ(conn->getMessagesReceived(), 4U);
}

TEST_F(ConnectionInbound, LagIsHalfTheRoundTripAndHasACeiling) {
    struct Case {
        std::int64_t ms;
        unsigned long lag;
        std::string warning;
    };
    scripted::net().sendsTakeAll();
    CConnection::setPulseRate(0);
    conn->SetUpdateLag();
    for (const Case& reply : {Case{80, 40, ""}, Case{1200, 500, ""}, Case{10001, 500, ""},
                              Case{11000, 500, "connection 10.0.0.1 has a ginormous lag of 5500"}}) {
        conn->Pulse();
        conn->Pulse();
        EXPECT_EQ(conn->getPingOutstandingMs(), 0U);
        scripted::clock().counter += reply.ms * kTicksPerMs;
        EXPECT_EQ(conn->getPingOutstandingMs(), static_cast<unsigned long>(reply.ms));
        log.clear();
        receive(kPingReply);
        EXPECT_EQ(conn->GetLag(), reply.lag);
        EXPECT_EQ(log.count(LogSev_Warning, Log::Network, reply.warning), reply.warning.empty() ? 0 : 1);
    }
    EXPECT_EQ(sent(), kPingRequest + kPingRequest + kPingRequest + kPingRequest);
    // Nobody asked for this one: it counts from zero.
    log.clear();
    receive(kPingReply);
    EXPECT_EQ(log.countContaining("ginormous"), 1);
    EXPECT_EQ(conn->GetLag(), 500U);
    CConnection::setPulseRate(1800);
}

TEST_F(ConnectionInbound, BudgetDeliversOneMessageAPassAndWarnsEveryTenth) {
    std::string stream;
    for (int i = 0; i < 22; ++i) {
        stream += frameOf("m");
    }
    handler.inMessage = [](CConnection*) { scripted::clock().counter += 3 * kTicksPerMs; };
    conn->setAllowedProcessingTime(0.002F);
    log.show(Log::Network, LogSev_Info);
    receive(stream);
    EXPECT_EQ(log.count(LogSev_Info, Log::Network,
                        "we've used 30000 which is more than our alotted time of 20000 while reading network frames"),
              1);
    bool processed = false;
    for (unsigned long pass = 2; pass <= 21; ++pass) {
        processed = false;
        EXPECT_TRUE(conn->Preprocess(&processed) != nullptr && processed);
        EXPECT_EQ(handler.messages.size(), pass);
        EXPECT_EQ(conn->getFailedFrameCounter(), pass);
    }
    const std::string warning = "we've failed to finishing processing reads for the past ";
    EXPECT_EQ(log.countContaining(warning), 2);
    EXPECT_EQ(log.count(LogSev_Warning, Log::Network, warning + "10 frames"), 1);
    EXPECT_EQ(log.count(LogSev_Warning, Log::Network, warning + "20 frames"), 1);
    // A message of exactly the time allowed is within the budget.
    handler.inMessage = [](CConnection*) { scripted::clock().counter += 2 * kTicksPerMs; };
    conn->Preprocess(&processed);
    EXPECT_EQ(conn->getFailedFrameCounter(), 0U);
    processed = false;
    conn->Preprocess(&processed);
    EXPECT_FALSE(processed);
    EXPECT_EQ(conn->getMaxReadEventsPerFrame(), 1U);
}

TEST_F(ConnectionInbound, TimersAddWholeMillisecondsOfEachCall) {
    handler.inMessage = [](CConnection*) { scripted::clock().counter += 29 * kTicksPerMs / 10; };
    handler.inCheck = [](CConnection*) { scripted::clock().counter += 5 * kTicksPerMs; };
    receive(frameOf("a") + frameOf("b") + frameOf("c"));
    EXPECT_EQ(conn->getProcessTime(), 6U) << "three times 2.9 ms, and nothing of the size checks";
    EXPECT_EQ(conn->getTotalReadTime(), 23U);
    EXPECT_EQ(conn->getReadTime(), 0U);
    EXPECT_EQ(conn->getMaxReadEventsPerFrame(), 3U);
    conn->resetTimers();
    EXPECT_EQ(conn->getProcessTime() + conn->getTotalReadTime() + conn->getMaxReadEventsPerFrame(), 0U);
}

TEST_F(ConnectionInbound, PingFloodGrowsTheQueueByOneReceiveAndItsLimitStopsIt) {
    CConnection::setOutboundSizeLimit(50'000);
    const std::string flood(20'000, '\xFF');
    scripted::net().sendsTakeAll();
    handler.inError = [](CConnection* which) { which->Reset(); };
    for (int i = 0; i < 3; ++i) {
        receive(flood);
        EXPECT_EQ(conn->getOutboundByteCount(), static_cast<unsigned long>(i + 1) * 20'000);
    }
    conn->WriteOutboundData();
    EXPECT_THAT(handler.errors, ElementsAre(std::pair(30, 60'000)));
    EXPECT_EQ(conn->GetState(), CConnection::Idle);
    EXPECT_EQ(sent(), "");
    CConnection::setOutboundSizeLimit(8388608);
}

} // namespace
