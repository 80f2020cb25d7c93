// tests/net/conn_fifo_buffer_test.cpp: the capacity warnings of the outbound queue.
#include "sharedlib/net/conn_fifo_buffer.h"
#include "sharedlib/net/connection.h"
#include "tests/net/recording_handler.h"
#include "tests/support/failing_alloc.h"
#include "tests/support/log_capture.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kEmptied = "Outbound queue capacity emptied on Unhandled to 0.0.0.0:0";

std::string increasedTo(int bytes) {
    return "Outbound queue capacity increased to " + std::to_string(bytes) + " bytes on Unhandled to 0.0.0.0:0";
}

class ConnFifoBuffer : public testing::Test {
protected:
    ConnFifoBuffer() { queue.setConn(&conn); }
    void append(int blocks) { queue.append(std::string(400'000, 'x').data(), blocks * 10'000); }
    [[nodiscard]] std::vector<std::string> lines() const { return log.texts(Log::Network); }

    LogCapture log;
    CConnection conn;
    CConnFifoBuffer queue;
};

TEST_F(ConnFifoBuffer, WarnsAtEightSixteenAndThirtyTwoBlocksAndWhenEmptiedAgain) {
    append(7);
    queue.clearBytes(70'000);
    append(7);
    EXPECT_THAT(lines(), IsEmpty());
    queue.append("y", 1);
    append(7);
    EXPECT_THAT(log.lines(), ElementsAre(LogLineSeen{LogSev_Warning, Log::Network, increasedTo(80'000)}));
    append(20);
    queue.clearBytes(300'000);
    append(16);
    EXPECT_EQ(lines().size(), 3U) << "shrinking without emptying does not lower the level";
    queue.clear();
    queue.clear();
    append(16);
    EXPECT_THAT(lines(), ElementsAre(increasedTo(80'000), increasedTo(160'000), increasedTo(320'000), kEmptied,
                                     increasedTo(80'000), increasedTo(160'000)));
}

TEST_F(ConnFifoBuffer, BlocksTakenInVainAreGivenBackWithTheirLine) {
    CBundleManager::getInstance()->clear();
    const std::string bytes(100'000, 'x');
    {
        const FailingAlloc ninth(9);
        queue.append(bytes.data(), 100'000);
    }
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_THAT(lines(), ElementsAre(increasedTo(80'000), kEmptied));
}

TEST_F(ConnFifoBuffer, TheLinesNeedNoMemoryHoweverLongTheName) {
    RecordingHandler handler;
    const std::string name(5000, 'n');
    handler.name = name.c_str();
    conn.SetMessageHandler(&handler);
    append(8);
    EXPECT_EQ(log.countContaining("bytes on nnn"), 1);
    log.logger().setLogLocationMask(0);
    const FailingAlloc first(1);
    queue.clear();
    EXPECT_FALSE(first.failed());
    conn.SetMessageHandler(nullptr);
}

TEST_F(ConnFifoBuffer, WarnsNobodyWithoutAConnectionAndSurvivesAnyLevel) {
    queue.setConn(nullptr);
    CConnection::setOutboundSizeWarning(-5);
    append(1);
    queue.clear();
    CConnection::setOutboundSizeWarning(80'000);
    EXPECT_THAT(lines(), IsEmpty());
}

} // namespace
