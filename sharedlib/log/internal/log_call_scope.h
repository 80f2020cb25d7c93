// sharedlib/log/internal/log_call_scope.h: which loggers the current thread is inside a log call of.
#pragma once

class Logger;

/// Marks the current thread as inside a log call of `logger` while the object lives, also when an exception or a
/// cancellation leaves the call. The scopes of one thread form a chain, so that telling needs no lock and no memory.
class LogCallScope {
public:
    explicit LogCallScope(Logger const& logger) noexcept : m_logger(&logger), m_outer(s_innermost) {
        s_innermost = this;
    }
    ~LogCallScope() { s_innermost = m_outer; }
    LogCallScope(LogCallScope const&) = delete;
    LogCallScope& operator=(LogCallScope const&) = delete;

    /// Whether the current thread is inside a log call of `logger`.
    static bool isInside(Logger const& logger) noexcept {
        for (LogCallScope const* scope = s_innermost; scope != nullptr; scope = scope->m_outer) {
            if (scope->m_logger == &logger) {
                return true;
            }
        }
        return false;
    }

private:
    static constinit inline thread_local LogCallScope const* s_innermost = nullptr;

    Logger const* m_logger;
    LogCallScope const* m_outer;
};
