// tests/net/conn_fifo_buffer_test.cpp: the capacity warnings of the outbound queue.
#include "sharedlib/net/conn_fifo_buffer.h"
#include "sharedlib/net/connection.h"
#include "tests/support/log_capture.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ConnFifoBuffer, WarnsAtEightSixteenAndThirtyTwoBlocksAndWhenEmptiedAgain) {
    LogCapture log;
    CConnection conn;
    CConnFifoBuffer queue;
    queue.setConn(&conn);
    const std::string block(10'000, 'x');
    const auto append = [&](int blocks) {
        for (int i = 0; i < blocks; ++i) {
            queue.append(block.data(), static_cast<int>(block.size()));
        }
    };
    append(7);
    queue.clearBytes(70'000);
    EXPECT_THAT(log.lines(), IsEmpty());
    append(7);
    queue.append("y", 1);
    EXPECT_THAT(log.lines(), ElementsAre(LogLineSeen{LogSev_Warning, Log::Network,
                                                     "Outbound queue capacity increased to 80000 bytes on Unhandled "
                                                     "to 0.0.0.0:0"}));
    append(7);
    EXPECT_EQ(log.lines().size(), 1U);
    append(20);
    queue.clearBytes(300'000);
    append(16);
    EXPECT_EQ(log.lines().size(), 3U) << "shrinking without emptying does not lower the level";
    queue.clear();
    queue.clear();
    EXPECT_THAT(log.texts(Log::Network).at(2), "Outbound queue capacity increased to 320000 bytes on Unhandled to "
                                               "0.0.0.0:0");
    EXPECT_THAT(log.texts(Log::Network).at(3), "Outbound queue capacity emptied on Unhandled to 0.0.0.0:0");
    EXPECT_EQ(log.lines().size(), 4U);
    append(8);
    EXPECT_EQ(log.lines().size(), 5U);
}

TEST(ConnFifoBuffer, WarnsNobodyWithoutAConnectionAndSurvivesAnyLevel) {
    LogCapture log;
    CConnection::setOutboundSizeWarning(-5);
    CConnFifoBuffer queue;
    queue.append("abc", 3);
    queue.clear();
    CConnection::setOutboundSizeWarning(80'000);
    EXPECT_THAT(log.lines(), IsEmpty());
}

} // namespace
