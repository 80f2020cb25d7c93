// sharedlib/log/perf_counters.h: scoped timers that add to a counter or write a log line.
#pragma once
#include "sharedlib/export.h"
#include "sharedlib/log/frame_event_log.h"
#include "sharedlib/log/logger.h"
#include <cstdint>

/// The caller's counter that a timer adds to, used only when the timer ends; it must outlive the timer. It counts in 32
/// bits, whatever its type, and is updated without a lock: one counter belongs to one thread.
class PerfAccumulator {
public:
    explicit PerfAccumulator(unsigned int& counter) : m_narrow(&counter) {}
    explicit PerfAccumulator(unsigned long& counter) : m_wide(&counter) {}

    /// Adds `amount` in unsigned 32-bit arithmetic.
    void add(std::uint32_t amount) const {
        if (m_narrow != nullptr) {
            *m_narrow += amount;
        } else {
            *m_wide = static_cast<std::uint32_t>(*m_wide + amount);
        }
    }

private:
    unsigned int* m_narrow = nullptr;
    unsigned long* m_wide = nullptr;
};

/// Adds the milliseconds of the system's tick count that its scope took to the caller's counter.
class SHAREDLIB_API PerfCounter {
public:
    explicit PerfCounter(unsigned int& accumulator) : m_accumulator(accumulator), m_start(readTickCount()) {}
    explicit PerfCounter(unsigned long& accumulator) : m_accumulator(accumulator), m_start(readTickCount()) {}
    ~PerfCounter() { m_accumulator.add(readTickCount() - m_start); }
    PerfCounter(PerfCounter const&) = default;
    PerfCounter(PerfCounter&&) = default;
    PerfCounter& operator=(PerfCounter const&) = default;
    PerfCounter& operator=(PerfCounter&&) = default;

private:
    static std::uint32_t readTickCount();

    PerfAccumulator m_accumulator;
    std::uint32_t m_start;
};

/// Adds the whole milliseconds that its scope took by the high-resolution counter, or with `rawTicks` that counter's
/// ticks, to the caller's counter. The time is divided in single precision.
class SHAREDLIB_API PrecisionPerfCounter {
public:
    explicit PrecisionPerfCounter(unsigned int& accumulator, bool rawTicks = false)
        : m_start(FrameEventLogger::readCounter()), m_accumulator(accumulator), m_rawTicks(rawTicks) {}
    explicit PrecisionPerfCounter(unsigned long& accumulator, bool rawTicks = false)
        : m_start(FrameEventLogger::readCounter()), m_accumulator(accumulator), m_rawTicks(rawTicks) {}
    ~PrecisionPerfCounter() { m_accumulator.add(elapsed(FrameEventLogger::readCounter())); }
    PrecisionPerfCounter(PrecisionPerfCounter const&) = default;
    PrecisionPerfCounter(PrecisionPerfCounter&&) = default;
    PrecisionPerfCounter& operator=(PrecisionPerfCounter const&) = default;
    PrecisionPerfCounter& operator=(PrecisionPerfCounter&&) = default;

private:
    std::uint32_t elapsed(std::int64_t now) const;

    std::int64_t m_start;
    PerfAccumulator m_accumulator;
    bool m_rawTicks;
};

/// Writes the line "NAME time=MS ms" to the log when its scope took at least a given time and its channel shows Info
/// lines at both ends of the scope; else it reads no clock. Any thread.
class SHAREDLIB_API PerfLogCounter {
public:
    /// `name` is not copied and must outlive the object. `thresholdMs` is the least time in milliseconds that is
    /// written, 0 for every scope; its product with the counter's ticks per millisecond is taken as signed 32 bits.
    PerfLogCounter(char const* name, Log channel, unsigned long thresholdMs)
        : m_name(name), m_threshold(static_cast<std::uint32_t>(thresholdMs)), m_channel(channel) {
        if (isWanted()) {
            m_start = FrameEventLogger::readCounter();
            m_started = true;
        }
    }
    ~PerfLogCounter() {
        if (m_started && isWanted()) {
            report();
        }
    }
    PerfLogCounter(PerfLogCounter const&) = default;
    PerfLogCounter(PerfLogCounter&&) = default;
    PerfLogCounter& operator=(PerfLogCounter const&) = default;
    PerfLogCounter& operator=(PerfLogCounter&&) = default;

private:
    bool isWanted() const { return theLogger != nullptr && theLogger->CheckConditional(m_channel, LogSev_Info); }
    void report() const;

    std::int64_t m_start = 0;
    char const* m_name;
    std::uint32_t m_threshold;
    Log m_channel;
    bool m_started = false;
};
