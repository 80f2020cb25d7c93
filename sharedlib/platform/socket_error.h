// sharedlib/platform/socket_error.h: the error numbers of socket calls, the same on every system.
#pragma once

namespace platform {

/// The Winsock number for the system's error number `systemError`; 0 for 0. Numbers that no socket call gives become
/// 10022 (invalid argument). Any thread.
int toSocketError(int systemError);
/// The Winsock number of the socket call that has just failed on this thread.
int lastSocketError();

} // namespace platform
