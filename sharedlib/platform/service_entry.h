// sharedlib/platform/service_entry.h: how a process that was started as a service talks with the system.
#pragma once
#include "sharedlib/native_types.h"
#include <cstdint>

namespace platform {

inline constexpr std::uint32_t kServiceStopped = 1;
inline constexpr std::uint32_t kServiceStartPending = 2;
inline constexpr std::uint32_t kServiceRunning = 4;
inline constexpr std::uint32_t kServiceControlStop = 1;
inline constexpr std::uint32_t kServiceControlShutdown = 5;

/// A service's report, laid out as Windows takes it.
struct ServiceStatus {
    std::uint32_t type;
    std::uint32_t state;
    std::uint32_t controlsAccepted;
    std::uint32_t exitCode;
    std::uint32_t serviceExitCode;
    std::uint32_t checkPoint;
    std::uint32_t waitHint;
};
static_assert(sizeof(ServiceStatus) == 28);

/// Takes the system's orders, on the thread of `runServiceDispatcher`.
using ServiceControlHandler = void (*)(std::uint32_t control);

/// Whether the system started this process as a service and waits for its reports. Children of a service are none.
bool isStartedAsService();

/// Calls `serviceMain` with `name` as its only argument on a thread of its own and hands orders to the handler, until
/// the service has stopped and `serviceMain` has returned; gives 0. The system's error number, at once, when this
/// process is no service. An order that comes before there is a handler waits for it. On POSIX SIGTERM is the stop
/// order while this runs, the service main function's return counts as its stop, and an exit code other than 0 of the
/// last report becomes the process's in the end. One call at a time.
int runServiceDispatcher(NativeServiceMain serviceMain, const char* name);

/// Makes `handler` the one that takes orders for the service `name`. False when the system refuses.
bool registerServiceHandler(const char* name, ServiceControlHandler handler);

/// Tells the system the service's state. A report that the system does not take is lost. Any thread.
void reportServiceStatus(const ServiceStatus& status);

} // namespace platform
