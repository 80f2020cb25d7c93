// sharedlib/log/frame_event_log.cpp: the ring of the last frames' events and the scoped timer that fills it.
#include "sharedlib/log/frame_event_log.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/platform/clock.h"
#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

namespace {

constexpr std::string_view kFrameStart = "FRStart";
constexpr int kAllFrames = -1;
constexpr std::uint64_t kMsPerSecond = 1000;

} // namespace

constinit FrameEventLog gFrameEventLog;

std::uint64_t FrameEventLogger::sm_uDivisor = 0;
std::uint64_t FrameEventLogger::sm_uSecondsDivisor = 0;

void FrameEventRecord::set(char const* eventName, unsigned long eventValue) {
    std::size_t length = 0;
    while (eventName != nullptr && length < sizeof name - 1 && eventName[length] != '\0') {
        name[length] = eventName[length];
        ++length;
    }
    std::memset(name + length, 0, sizeof name - length);
    value = static_cast<std::uint32_t>(eventValue);
}

void FrameEventLog::init(int ringCapacity) {
    records =
        ringCapacity > 0 ? new (std::nothrow) FrameEventRecord[static_cast<std::size_t>(ringCapacity)]() : nullptr;
    capacity = ringCapacity;
    next = 0;
}

void FrameEventLog::cleanup() {
    delete[] records;
    records = nullptr;
}

void FrameEventLog::LogEvent(char const* name, unsigned long value) {
    if (records == nullptr) {
        return;
    }
    records[next].set(name, value);
    ++next;
    if (next == capacity) {
        next = 0;
    }
}

std::int32_t FrameEventLog::startOfFrames(int frames) const {
    if (frames == kAllFrames) {
        return next;
    }
    std::int32_t index = next;
    int frameCount = 0;
    do {
        index = (index == 0 ? capacity : index) - 1;
        if (records[index].name == kFrameStart && ++frameCount == frames) {
            return index;
        }
    } while (index != next);
    return next;
}

void FrameEventLog::DumpLog(int frames) const {
    if (records == nullptr) {
        return;
    }
    std::int32_t index = startOfFrames(frames);
    // Counted beforehand: whoever is told of a line may append events or make another ring.
    for (std::int32_t left = index < next ? next - index : capacity - index + next; left > 0 && records != nullptr;
         --left) {
        FrameEventRecord const& record = records[index];
        SHAREDLIB_DEBUGLOG(LogSev_Info, Log::Generic, "%s: %d", record.name, static_cast<int>(record.value));
        index = index + 1 < capacity ? index + 1 : 0;
    }
}

FrameEventLogger::~FrameEventLogger() {
    auto const elapsed = static_cast<std::uint64_t>(readCounter()) - static_cast<std::uint64_t>(m_start);
    gFrameEventLog.LogEvent(m_name, static_cast<std::uint32_t>(elapsed / ticksPerMillisecond()));
}

void FrameEventLogger::init() {
    // Threads may run this at the same time and then store the same values.
    std::atomic_ref const divisor(sm_uDivisor);
    std::atomic_ref const secondsDivisor(sm_uSecondsDivisor);
    auto const frequency = static_cast<std::uint64_t>(platform::performanceFrequency());
    if (frequency == 0) {
        divisor.store(1, std::memory_order_relaxed);
        return;
    }
    secondsDivisor.store(frequency, std::memory_order_relaxed);
    // A counter slower than a millisecond still needs a divisor that can be divided by.
    divisor.store(std::max<std::uint64_t>(frequency / kMsPerSecond, 1), std::memory_order_relaxed);
}

std::int64_t FrameEventLogger::readCounter() {
    return platform::performanceCounter();
}

std::uint64_t FrameEventLogger::ticksPerMillisecondAfterInit() {
    init();
    return std::atomic_ref(sm_uDivisor).load(std::memory_order_relaxed);
}
