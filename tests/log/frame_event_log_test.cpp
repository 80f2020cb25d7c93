// tests/log/frame_event_log_test.cpp: the ring of the last frames' events and its scoped timer.
#include "sharedlib/log/frame_event_log.h"
#include "sharedlib/platform/clock.h"
#include "tests/support/log_capture.h"
#include <gtest/gtest.h>
#include <limits>

namespace {

using Lines = std::vector<std::string>;

struct Ring : FrameEventLog {
    explicit Ring(int ringCapacity) { init(ringCapacity); }
    ~Ring() { cleanup(); }
    Ring(Ring const&) = delete;
    Ring& operator=(Ring const&) = delete;

    Lines dump(int frames) const {
        LogCapture capture;
        DumpLog(frames);
        return capture.texts(Log::Generic);
    }
};

TEST(FrameEventLog, RingKeepsTheNewestEventsAndDumpsThemOldestFirst) {
    Ring ring(3);
    ring.LogEvent("a", 1);
    EXPECT_EQ(ring.dump(-1), (Lines{": 0", ": 0", "a: 1"})) << "unused records are written too";
    ring.LogEvent("b", 2);
    ring.LogEvent("c", 3);
    ring.LogEvent("d", 4);
    EXPECT_EQ(ring.next, 1);
    EXPECT_STREQ(ring.records[0].name, "d");
    EXPECT_STREQ(ring.records[1].name, "b");
    EXPECT_EQ(ring.dump(-1), (Lines{"b: 2", "c: 3", "d: 4"}));
}

TEST(FrameEventLog, DumpBeginsWithTheOldestFrameAskedFor) {
    Ring ring(4);
    Lines const all{"FRStart: 1", "x: 2", "FRStart: 3", "y: 4"};
    ring.LogEvent("old", 0);
    ring.LogEvent("FRStart", 1);
    ring.LogEvent("x", 2);
    ring.LogEvent("FRStart", 3);
    ring.LogEvent("y", 4);
    EXPECT_EQ(ring.dump(1), (Lines{"FRStart: 3", "y: 4"}));
    EXPECT_EQ(ring.dump(2), all);
    for (int const frames : {-1, 0, 3, -2, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(ring.dump(frames), all) << frames;
    }
}

TEST(FrameEventLog, OnlyTheExactNameStartsAFrame) {
    Ring ring(4);
    ring.LogEvent("FRStart", 1);
    ring.LogEvent("frstart", 2);
    ring.LogEvent("FRStar", 3);
    ring.LogEvent("FRStarts", 4);
    EXPECT_EQ(ring.dump(1), (Lines{"FRStart: 4"})) << "a longer name is cut to the marker";
    EXPECT_EQ(ring.dump(2).size(), 4U);
}

TEST(FrameEventLog, RecordsCutNamesAndValues) {
    FrameEventRecord record{};
    record.set("0123456789", 0x1'0000'0005UL);
    EXPECT_STREQ(record.name, "0123456");
    EXPECT_EQ(record.value, 5U);
    record.set("ab", 0xFFFF'FFFFUL);
    EXPECT_STREQ(record.name, "ab");
    record.set(nullptr, 0);
    EXPECT_STREQ(record.name, "");
    Ring ring(1);
    ring.LogEvent("big", 0xFFFF'FFFFUL);
    EXPECT_EQ(ring.dump(1), (Lines{"big: -1"})) << "values are written with a sign";
}

TEST(FrameEventLog, WithoutARingEverythingIsDropped) {
    for (int const capacity : {0, -1, std::numeric_limits<int>::min()}) {
        Ring ring(capacity);
        EXPECT_EQ(ring.records, nullptr);
        ring.LogEvent("a", 1);
        EXPECT_TRUE(ring.dump(-1).empty());
    }
    Ring ring(2);
    ring.LogEvent("a", 1);
    ring.cleanup();
    ring.LogEvent("a", 1);
    EXPECT_TRUE(ring.dump(1).empty());
    ring.init(1);
    EXPECT_EQ(ring.next, 0);
    EXPECT_EQ(ring.dump(-1), (Lines{": 0"}));
}

TEST(FrameEventLog, DumpObeysTheLevelAndDoesWithoutALogger) {
    Ring ring(1);
    LogCapture capture;
    capture.show(Log::Generic, LogSev_Warning);
    ring.DumpLog(-1);
    EXPECT_TRUE(capture.lines().empty());
    theLogger = nullptr;
    ring.DumpLog(-1);
    theLogger = &capture.logger();
}

TEST(FrameEventLogger, AppendsTheMillisecondsOfItsScope) {
    { FrameEventLogger const dropped("early"); }
    gFrameEventLog.init(4);
    {
        FrameEventLogger const timer("LongerName");
        platform::sleepMs(20);
    }
    EXPECT_EQ(gFrameEventLog.next, 1);
    EXPECT_STREQ(gFrameEventLog.records[0].name, "LongerN");
    EXPECT_GE(gFrameEventLog.records[0].value, 19U);
    EXPECT_LT(gFrameEventLog.records[0].value, 5000U);
    gFrameEventLog.cleanup();
}

} // namespace
