// sharedlib/log/gate.h: the guarded log call, which costs next to nothing while its channel is shut.
#pragma once
#include "sharedlib/log/logger.h"

/// Details of the gate; use the macros below.
namespace log_gate {

/// `theLogger` when there is one, its `channel` (a value of `Log`) admits `severity` and it is not squelched;
/// else null.
inline Logger* openLogger(LogItemSeverityLevel severity, int channel) noexcept {
    Logger* const logger = theLogger;
    if (logger == nullptr) {
        return nullptr;
    }
    ConditionalLog const& conditional = *logger->m_conditionals[static_cast<std::size_t>(channel)];
    bool const open = conditional.m_level.load(std::memory_order_relaxed) >= severity &&
                      !logger->m_bSquelchLogger.load(std::memory_order_relaxed);
    return open ? logger : nullptr;
}

/// Never called: it lets the compiler compare a format with its arguments.
[[gnu::format(printf, 1, 2)]] void checkFormat(char const* format, ...);

} // namespace log_gate

/// Writes a line through `theLogger->syslog` when there is a logger, the channel admits the severity and the logger is
/// not squelched: `SHAREDLIB_LOG(LogSev_Info, Log::Network, "%d bytes", count);`. `channel` must be a value of `Log`
/// below `Max`. Otherwise nothing happens and no argument after `channel` is evaluated. `severity` and `channel` may be
/// evaluated twice. The compiler checks the format (a literal), so 64-bit numbers are written `%lld`. Any thread.
#define SHAREDLIB_LOG(severity, channel, ...) SHAREDLIB_GATED_LOG(syslog, severity, channel, __VA_ARGS__)

/// Like `SHAREDLIB_LOG`, through `theLogger->debuglog`: debugger, file and database only.
#define SHAREDLIB_DEBUGLOG(severity, channel, ...) SHAREDLIB_GATED_LOG(debuglog, severity, channel, __VA_ARGS__)

/// What the two macros above have in common: the call of one logging operation behind the gate.
#define SHAREDLIB_GATED_LOG(operation, severity, channel, ...)                                                         \
    do {                                                                                                               \
        if (Logger* const sharedlibGate = ::log_gate::openLogger((severity), (channel)); sharedlibGate != nullptr) {   \
            sharedlibGate->operation((severity), (channel), __VA_ARGS__);                                              \
        }                                                                                                              \
        if (false) {                                                                                                   \
            ::log_gate::checkFormat(__VA_ARGS__);                                                                      \
        }                                                                                                              \
    } while (false)
