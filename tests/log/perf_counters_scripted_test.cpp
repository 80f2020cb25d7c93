// tests/log/perf_counters_scripted_test.cpp: scoped timers on clocks that stand where the test puts them.
#include "sharedlib/log/perf_counters.h"
#include "tests/scripted/clock.h"
#include "tests/support/log_capture.h"
#include <gtest/gtest.h>
#include <utility>

namespace {

using Lines = std::vector<std::string>;

class PerfCounters : public testing::Test {
protected:
    PerfCounters() { setFrequency(10'000'000); }

    // As in a process whose counter has this frequency from the start.
    static void setFrequency(std::int64_t frequency) {
        scripted::clock().frequency = frequency;
        FrameEventLogger::sm_uDivisor = 0;
        FrameEventLogger::sm_uSecondsDivisor = 77;
    }
};

// The line that a timer with this threshold writes about a scope of `ticks`.
Lines timingLine(unsigned long thresholdMs, std::int64_t ticks) {
    LogCapture capture;
    capture.show(Log::Pulse, LogSev_Info);
    {
        PerfLogCounter const timer("Work", Log::Pulse, thresholdMs);
        scripted::clock().counter += ticks;
    }
    return capture.texts(Log::Pulse);
}

TEST_F(PerfCounters, InitReadsTheFrequencyOnce) {
    for (auto [frequency, perMs, perSecond] : {std::tuple{10'000'000, 10'000U, 10'000'000U},
                                               {3'579'545, 3'579U, 3'579'545U},
                                               {1'000, 1U, 1'000U},
                                               {999, 1U, 999U},
                                               {1, 1U, 1U},
                                               {0, 1U, 77U}}) {
        setFrequency(frequency);
        scripted::clock().frequencyReadings = 0;
        EXPECT_EQ(FrameEventLogger::ticksPerMillisecond(), perMs);
        EXPECT_EQ(FrameEventLogger::ticksPerMillisecond(), perMs);
        EXPECT_EQ(FrameEventLogger::sm_uDivisor, perMs);
        EXPECT_EQ(FrameEventLogger::sm_uSecondsDivisor, perSecond);
        EXPECT_EQ(scripted::clock().frequencyReadings, 1);
    }
}

TEST_F(PerfCounters, FrameEventsCountWholeMilliseconds) {
    gFrameEventLog.init(4);
    for (auto [ticks, value] : {std::pair<std::int64_t, std::uint32_t>{29'999, 2},
                                {0, 0},
                                // Beyond 32 bits, and a counter that runs back.
                                {0x1'0000'0003 * 10'000, 3},
                                {-10'000, static_cast<std::uint32_t>((0 - std::uint64_t{10'000}) / 10'000)}}) {
        std::int32_t const index = gFrameEventLog.next;
        {
            FrameEventLogger const timer("t");
            scripted::clock().counter += ticks;
        }
        EXPECT_EQ(gFrameEventLog.records[index].value, value) << ticks;
    }
    gFrameEventLog.cleanup();
}

TEST_F(PerfCounters, PrecisionCounterAddsWholeMillisecondsOrTicks) {
    struct Case {
        std::int64_t ticks;
        bool raw;
        unsigned int added;
    };
    for (Case const& c : {Case{29'000, false, 2},
                          {9'999, false, 0},
                          {29'000, true, 29'000},
                          // Single precision holds 24 bits.
                          {16'777'217, true, 16'777'216},
                          {0x1'0000'0000, true, 0},
                          {-30'000, false, static_cast<unsigned int>(-3)},
                          {INT64_MAX, true, 0}}) {
        unsigned int narrow = 5;
        unsigned long wide = 5;
        {
            PrecisionPerfCounter const first(narrow, c.raw);
            PrecisionPerfCounter const second(wide, c.raw);
            scripted::clock().counter += c.ticks;
        }
        scripted::clock().counter = 0;
        EXPECT_EQ(narrow, 5 + c.added) << c.ticks;
        EXPECT_EQ(wide, narrow) << "an unsigned long counts in 32 bits too";
    }
}

TEST_F(PerfCounters, TickCounterWrapsInThirtyTwoBits) {
    unsigned int narrow = 0xFFFF'FFFF;
    unsigned long wide = 0xFFFF'FFFF;
    scripted::clock().ticks = 0xFFFF'FFF0;
    {
        PerfCounter const first(narrow);
        PerfCounter const second(wide);
        scripted::clock().ticks += 0x20;
        EXPECT_EQ(narrow, 0xFFFF'FFFF) << "nothing is added before the end";
    }
    EXPECT_EQ(narrow, 0x1FU);
    EXPECT_EQ(wide, 0x1FU);
}

TEST_F(PerfCounters, LogCounterWritesScopesThatReachItsThreshold) {
    EXPECT_EQ(timingLine(5, 49'999), Lines{});
    EXPECT_EQ(timingLine(5, 50'000), Lines{"Work time=5.0000 ms"});
    EXPECT_EQ(timingLine(5, 62'345), Lines{"Work time=6.2345 ms"});
    EXPECT_EQ(timingLine(0, 0), Lines{"Work time=0.0000 ms"});
    // 214749 ms are more ticks than signed 32 bits hold, and so a negative threshold.
    EXPECT_EQ(timingLine(214'748, 2'147'479'999), Lines{});
    EXPECT_EQ(timingLine(214'749, 1), Lines{"Work time=0.0001 ms"});
    setFrequency(0);
    EXPECT_EQ(timingLine(5, 4), Lines{});
    EXPECT_EQ(timingLine(5, 5), Lines{"Work time=5.0000 ms"});
}

TEST_F(PerfCounters, LogCounterNeedsItsChannelAtBothEnds) {
    LogCapture capture;
    auto const run = [&](LogItemSeverityLevel atStart, LogItemSeverityLevel atEnd) {
        capture.show(Log::Pulse, atStart);
        PerfLogCounter const timer("Work", Log::Pulse, 0);
        capture.show(Log::Pulse, atEnd);
    };
    run(LogSev_Warning, LogSev_Info);
    run(LogSev_Info, LogSev_Warning);
    run(LogSev_Warning, LogSev_Warning);
    EXPECT_EQ(capture.lines(), std::vector<LogLineSeen>{});
    EXPECT_EQ(scripted::clock().counterReadings, 1) << "no clock is read while the channel is shut";
    capture.logger().setBSquelchLogger(true);
    run(LogSev_Info, LogSev_Info);
    capture.logger().setBSquelchLogger(false);
    EXPECT_EQ(capture.lines(), std::vector<LogLineSeen>{});
    run(LogSev_Info, LogSev_Info);
    EXPECT_EQ(capture.texts(Log::Pulse), Lines{"Work time=0.0000 ms"});
    PerfLogCounter const outside("Work", static_cast<Log>(Log::Max + 5), 0);
    theLogger = nullptr;
    { PerfLogCounter const silent("Work", Log::Pulse, 0); }
    theLogger = &capture.logger();
}

} // namespace
