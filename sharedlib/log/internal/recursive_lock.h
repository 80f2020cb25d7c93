// sharedlib/log/internal/recursive_lock.h: the lock of the logger, which its holder may take again.
#pragma once
#include "sharedlib/platform/thread_id.h"
#include <atomic>
#include <cstdint>
#include <mutex>

/// A mutual exclusion that the thread holding it may enter again; it leaves as often as it entered. Use with
/// `std::lock_guard`.
class RecursiveLock {
public:
    void lock() {
        std::uintptr_t const self = platform::currentThreadId();
        // Only the holder can find its own id here, so the answer cannot change meanwhile.
        if (m_holder.load(std::memory_order_relaxed) != self) {
            m_mutex.lock();
            m_holder.store(self, std::memory_order_relaxed);
        }
        ++m_depth;
    }

    void unlock() {
        if (--m_depth == 0) {
            m_holder.store(0, std::memory_order_relaxed);
            m_mutex.unlock();
        }
    }

private:
    std::mutex m_mutex;
    std::atomic<std::uintptr_t> m_holder{0};
    int m_depth = 0;
};
