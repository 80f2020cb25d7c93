// tests/log/perf_counters_scripted_test.cpp: scoped timers on clocks that stand where the test puts them.
#include "sharedlib/log/perf_counters.h"
#include "tests/scripted/clock.h"
#include "tests/support/log_capture.h"
#include <array>
#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

// As in a process whose counter has this frequency from the start.
void setFrequency(std::int64_t frequency) {
    scripted::clock().frequency = frequency;
    scripted::clock().frequencyReadings = 0;
    FrameEventLogger::sm_uDivisor = 0;
    FrameEventLogger::sm_uSecondsDivisor = 77;
}

TEST(PerfCounters, FrequencyIsReadOnce) {
    for (auto [frequency, perMs, perSecond] :
         {std::array{3'579'545, 3'579, 3'579'545}, {1'000, 1, 1'000}, {999, 1, 999}, {0, 1, 77}}) {
        setFrequency(frequency);
        EXPECT_EQ(FrameEventLogger::ticksPerMillisecond(), static_cast<unsigned>(perMs));
        EXPECT_EQ(FrameEventLogger::ticksPerMillisecond(), static_cast<unsigned>(perMs));
        EXPECT_EQ(FrameEventLogger::sm_uSecondsDivisor, static_cast<unsigned>(perSecond));
        EXPECT_EQ(scripted::clock().frequencyReadings, 1);
    }
}

TEST(PerfCounters, HighResolutionTimersCountMillisecondsOrTicks) {
    struct Case {
        std::int64_t ticks;
        std::int64_t event;
        std::int64_t milliseconds;
        std::int64_t rawTicks;
    };
    setFrequency(10'000'000);
    gFrameEventLog.init(1);
    for (Case const& c : {Case{0, 0, 0, 0},
                          {29'999, 2, 2, 29'999},
                          // Single precision holds 24 bits.
                          {16'777'217, 1'677, 1'677, 16'777'216},
                          // Beyond 32 bits, beyond 63 bits in single precision, and a counter that runs back.
                          {0x1'0000'0003 * 10'000, 3, 0, 0},
                          {INT64_MAX, INT64_MAX / 10'000, 0x346DC'5C00'0000, 0},
                          {-30'000, 0x68DB8'BAC7'10C8, -3, -30'000}}) {
        unsigned int milliseconds = 5;
        unsigned long rawTicks = 5;
        scripted::clock().counter = 0;
        {
            FrameEventLogger const event("t");
            PrecisionPerfCounter const first(milliseconds);
            PrecisionPerfCounter const second(rawTicks, true);
            scripted::clock().counter = c.ticks;
        }
        EXPECT_EQ(gFrameEventLog.records[0].value, static_cast<std::uint32_t>(c.event)) << c.ticks;
        EXPECT_EQ(milliseconds, static_cast<std::uint32_t>(5 + c.milliseconds)) << c.ticks;
        EXPECT_EQ(rawTicks, static_cast<std::uint32_t>(5 + c.rawTicks)) << c.ticks;
    }
    gFrameEventLog.cleanup();
    { FrameEventLogger const dropped("late"); }
}

TEST(PerfCounters, TickCounterWrapsInThirtyTwoBits) {
    unsigned int narrow = 0xFFFF'FFFF;
    unsigned long wide = 0xFFFF'FFFF;
    scripted::clock().ticks = 0xFFFF'FFF0;
    {
        PerfCounter const first(narrow);
        PerfCounter const second(wide);
        scripted::clock().ticks += 0x20;
    }
    EXPECT_EQ(narrow, 0x1FU);
    EXPECT_EQ(wide, 0x1FU);
}

TEST(PerfCounters, LogCounterWritesScopesThatReachItsThresholdInAnOpenChannel) {
    struct Case {
        std::int64_t frequency;
        unsigned long thresholdMs;
        std::int64_t ticks;
        Lines lines;
        LogItemSeverityLevel atStart = LogSev_Info;
        LogItemSeverityLevel atEnd = LogSev_Info;
        int readings = 2;
        bool squelch = false;
    };
    for (Case const& c : {Case{10'000'000, 5, 49'999, {}},
                          {10'000'000, 5, 50'000, {"Work time=5.0000 ms"}},
                          {10'000'000, 5, 62'345, {"Work time=6.2345 ms"}},
                          {10'000'000, 0, 0, {"Work time=0.0000 ms"}},
                          // 214749 ms are more ticks than signed 32 bits hold, and so a negative threshold.
                          {10'000'000, 214'748, 2'147'479'999, {}},
                          {10'000'000, 214'749, 1, {"Work time=0.0001 ms"}},
                          {0, 5, 4, {}},
                          {0, 5, 5, {"Work time=5.0000 ms"}},
                          {10'000'000, 0, 9, {}, LogSev_Warning, LogSev_Info, 0},
                          {10'000'000, 0, 9, {}, LogSev_Info, LogSev_Warning, 1},
                          {10'000'000, 0, 9, {}, LogSev_Info, LogSev_Info, 2, true}}) {
        setFrequency(c.frequency);
        scripted::clock().counterReadings = 0;
        LogCapture capture;
        capture.show(Log::Pulse, c.atStart);
        {
            PerfLogCounter const timer("Work", Log::Pulse, c.thresholdMs);
            PerfLogCounter const outside("Work", static_cast<Log>(Log::Max + 5), 0);
            scripted::clock().counter += c.ticks;
            capture.show(Log::Pulse, c.atEnd);
            capture.logger().setBSquelchLogger(c.squelch);
        }
        EXPECT_EQ(capture.texts(Log::Pulse), c.lines) << c.ticks;
        EXPECT_EQ(scripted::clock().counterReadings, c.readings) << c.ticks;
    }
    theLogger = nullptr;
    { PerfLogCounter const silent("Work", Log::Pulse, 0); }
}

} // namespace
