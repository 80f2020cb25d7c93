// sharedlib/log/frame_event_log.h: the ring of the last frames' events and the scoped timer that fills it.
#pragma once
#include "sharedlib/export.h"
#include <atomic>
#include <cstdint>

/// One event of the ring.
struct SHAREDLIB_API FrameEventRecord {
    /// Copies the first 7 characters of `eventName` (null counts as "") and the low 32 bits of `eventValue`.
    void set(char const* eventName, unsigned long eventValue);

    /// The event's name, zero-terminated.
    char name[8];
    /// The event's number; milliseconds when a `FrameEventLogger` wrote it.
    std::uint32_t value;
};

/// A ring of named events with a number each. An event called "FRStart" marks the start of a frame. It carries no lock:
/// only the frame thread uses it. Copies share the ring.
class SHAREDLIB_API FrameEventLog {
public:
    /// Makes an empty ring of `capacity` records. There is no ring, and events are dropped, when `capacity` is not
    /// positive or memory is short. A ring of an earlier call is forgotten, not freed: call `cleanup` first.
    void init(int ringCapacity);
    /// Frees the ring; later events are dropped until the next `init`.
    void cleanup();
    /// Appends an event, over the oldest one when the ring is full. Does nothing without a ring.
    void LogEvent(char const* name, unsigned long value);
    /// Writes the last `frames` frames to the log's Generic channel at Info, oldest event first; the whole ring, with
    /// its unused records, when `frames` is -1 or the ring holds fewer frames. Does nothing without a ring.
    void DumpLog(int frames) const;

    /// The ring, owned from `init` to `cleanup`; null without one.
    FrameEventRecord* records = nullptr;
    /// The number of records.
    std::int32_t capacity = 0;
    /// The index of the record that the next event overwrites, the oldest one in a full ring.
    std::int32_t next = 0;

private:
    std::int32_t startOfFrames(int frames) const;
};

/// The process's frame event log, without a ring until the host calls `init`.
SHAREDLIB_API extern FrameEventLog gFrameEventLog;

/// Measures its scope and appends the whole milliseconds that it took to `gFrameEventLog`. Frame thread only.
class SHAREDLIB_API FrameEventLogger {
public:
    /// Starts the time. `name` is not copied and must outlive the object.
    explicit FrameEventLogger(char const* name) : m_name(name), m_start(readCounter()) {}
    ~FrameEventLogger();
    FrameEventLogger(FrameEventLogger const&) = default;
    FrameEventLogger(FrameEventLogger&&) = default;
    FrameEventLogger& operator=(FrameEventLogger const&) = default;
    FrameEventLogger& operator=(FrameEventLogger&&) = default;

    /// Reads the frequency of the high-resolution counter into the two divisors. The timers call it when they need it.
    /// Any thread.
    static void init();
    /// The high-resolution counter: ticks, of which `sm_uDivisor` make a millisecond. Any thread.
    static std::int64_t readCounter();
    /// `sm_uDivisor`, after `init` if need be; never 0. Any thread.
    static std::uint64_t ticksPerMillisecond() {
        std::uint64_t const divisor = std::atomic_ref(sm_uDivisor).load(std::memory_order_relaxed);
        return divisor != 0 ? divisor : ticksPerMillisecondAfterInit();
    }

    /// Counter ticks per millisecond, at least 1; 0 before `init`.
    static std::uint64_t sm_uDivisor;
    /// Counter ticks per second; 0 before `init` and without a counter.
    static std::uint64_t sm_uSecondsDivisor;

private:
    static std::uint64_t ticksPerMillisecondAfterInit();

    char const* m_name;
    std::int64_t m_start;
};
