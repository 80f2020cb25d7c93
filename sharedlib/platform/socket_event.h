// sharedlib/platform/socket_event.h: event objects bound to socket events, and the wait on a few of them.
//
// READ, ACCEPT and CLOSE are level-like: they are reported for as long as the condition holds. CLOSE is reported only
// when everything received before it has been read. WRITE is reported once after a connection stands (at once for an
// accepted or datagram socket) and then once after each `noteSendBlocked`. CONNECT is reported once, with its error,
// unless `noteConnected` came first; after an error nothing else is. What an event object remembers dies with it. Close
// the event object before its socket. Errors are Winsock numbers. Nothing here logs or throws. One thread at a time per
// event object.
#pragma once
#include "sharedlib/native_types.h"

namespace platform {

/// What a failed registration answers by itself on every system: the number that is logged and returned for it.
inline constexpr int kRegistrationFailed = -1;

inline constexpr long kEventRead = 0x01;
inline constexpr long kEventWrite = 0x02;
inline constexpr long kEventAccept = 0x08;
inline constexpr long kEventConnect = 0x10;
inline constexpr long kEventClose = 0x20;

/// A new event object, or null. The caller closes it.
void* createSocketEvent();
/// Closes the event object (null does nothing); it leaves every poller that it was added to.
void closeSocketEvent(void* event);
/// Binds `event` to the events in `mask` of `socket`, which becomes non-blocking. 0, or the error number.
int selectSocketEvents(NativeSocket socket, void* event, long mask);
/// Takes what happened since the last call and resets the event. 0, or the error number with `events` unchanged: 10038
/// for no socket, 10022 for an event that is null or bound to another socket. No system call when a wait has just
/// delivered the answer and the answer is no failure and no close.
int enumerateSocketEvents(NativeSocket socket, void* event, WSANETWORKEVENTS& events);
/// Tells the event object (null does nothing) that a send on its socket would have blocked: WRITE is due once more.
void noteSendBlocked(void* event);
/// Tells the event object (null does nothing) that its socket stands, because it was accepted or because `pollConnect`
/// said so: CONNECT is not due.
void noteConnected(void* event);

/// Waits until one of `count` event objects is signalled: its index, or -1 after `timeoutMs` (0xFFFFFFFF: no limit).
/// Null entries are never signalled.
int waitForSocketEvents(void* const* events, int count, unsigned long timeoutMs);

} // namespace platform
