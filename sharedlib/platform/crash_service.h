// sharedlib/platform/crash_service.h: the service that collects reports of crashes and of grave events.
#pragma once

namespace platform {

/// Starts the service with the address `dsn` that its reports go to. `databaseFolder` is where it keeps them until they
/// are sent, relative to the working directory; the service creates the folder. Returns false when the service could
/// not start, and always when the library was built without one.
bool startCrashService(char const* dsn, char const* databaseFolder);

/// Sends `text` as an event of `level` (a number of the service's own: 2 error, 3 fatal) that comes from the part
/// `loggerName` and carries the extra "prefix", an object with the one member "prefix", which is `prefix`. Failures
/// stay within the service. Only after a start that succeeded. Any thread; the extra belongs to the process, so one of
/// two events of the same moment may carry that of the other.
void reportEvent(int level, char const* loggerName, char const* prefix, char const* text);

/// Ends the service and lets it send what waits, within a time of its own. Harmless when it was never started.
void stopCrashService();

} // namespace platform
