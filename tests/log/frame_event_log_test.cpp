// tests/log/frame_event_log_test.cpp: the ring of the last frames' events.
#include "sharedlib/log/frame_event_log.h"
#include "tests/support/log_capture.h"
#include <climits>
#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

struct Ring : FrameEventLog {
    // Every name is an event, numbered from 1.
    explicit Ring(int ringCapacity, std::initializer_list<char const*> names = {}) {
        init(ringCapacity);
        for (unsigned long number = 0; char const* name : names) {
            LogEvent(name, ++number);
        }
    }
    ~Ring() { cleanup(); }
    Ring(Ring const&) = delete;
    Ring& operator=(Ring const&) = delete;

    Lines dump(int frames) const {
        LogCapture capture;
        DumpLog(frames);
        return capture.texts(Log::Generic);
    }
};

TEST(FrameEventLog, DumpsFramesOldestEventFirst) {
    EXPECT_EQ(Ring(3, {"a"}).dump(-1), (Lines{": 0", ": 0", "a: 1"})) << "unused records are written too";
    EXPECT_EQ(Ring(3, {"a", "b", "c", "d"}).dump(-1), (Lines{"b: 2", "c: 3", "d: 4"}));
    Ring const ring(4, {"old", "FRStart", "x", "FRStart", "y"});
    EXPECT_EQ(ring.next, 1);
    EXPECT_EQ(ring.dump(1), (Lines{"FRStart: 4", "y: 5"}));
    for (int const frames : {2, -1, 0, 3, -2, INT_MAX, INT_MIN}) {
        EXPECT_EQ(ring.dump(frames), (Lines{"FRStart: 2", "x: 3", "FRStart: 4", "y: 5"})) << frames;
    }
    Ring const names(5, {"FRStart", "FRStarts", "frstart", "FRStar", "FRStart "});
    EXPECT_EQ(names.dump(1), Lines{"FRStart: 5"}) << "a longer name is cut to the marker";
    EXPECT_EQ(names.dump(2).size(), 4U);
}

TEST(FrameEventLog, RecordsCutNamesAndValues) {
    FrameEventRecord record{};
    record.set("0123456789", 0x1'0000'0005UL);
    EXPECT_STREQ(record.name, "0123456");
    EXPECT_EQ(record.value, 5U);
    record.set(nullptr, 0xFFFF'FFFFUL);
    EXPECT_STREQ(record.name, "");
    Ring ring(1);
    *ring.records = record;
    EXPECT_EQ(ring.dump(1), Lines{": -1"}) << "values are written with a sign";
}

TEST(FrameEventLog, WithoutARingOrALoggerNothingIsWritten) {
    for (int const capacity : {0, -1, INT_MIN}) {
        EXPECT_TRUE(Ring(capacity, {"dropped"}).dump(-1).empty());
    }
    Ring ring(2, {"a"});
    theLogger = nullptr;
    ring.DumpLog(-1);
    LogCapture capture;
    capture.show(Log::Generic, LogSev_Warning);
    ring.DumpLog(-1);
    EXPECT_TRUE(capture.lines().empty());
    ring.cleanup();
    ring.LogEvent("a", 1);
    EXPECT_TRUE(ring.dump(1).empty());
    ring.init(1);
    EXPECT_EQ(ring.dump(-1), Lines{": 0"});
}

Ring* g_ring = nullptr;
int g_lines = 0;

TEST(FrameEventLog, WhoeverIsToldOfALineMayUseTheRing) {
    struct Case {
        LogFunction listener;
        int lines;
    };
    for (Case const& c : {Case{[](auto...) { ++g_lines < 99 ? g_ring->LogEvent("db", 1) : void(); }, 2},
                          {[](auto...) { ++g_lines, g_ring->cleanup(); }, 1},
                          {[](auto...) { ++g_lines, g_ring->cleanup(), g_ring->init(1); }, 2}}) {
        Ring ring(4, {"a", "b", "FRStart", "c"});
        g_ring = &ring;
        g_lines = 0;
        LogCapture capture;
        capture.logger().setDBLogFunction(c.listener);
        ring.DumpLog(1);
        EXPECT_EQ(g_lines, c.lines);
    }
}

} // namespace
