// sharedlib/net/event_wait.h: waits for the events of connections and listeners, on every system.
#pragma once
#include "sharedlib/export.h"

namespace platform {
struct EventSet;
}

/// Waits until one of `count` event handles (`GetEventHandle()` of connections and listeners) is signalled. Gives its
/// index, or -1 when `timeoutMs` milliseconds are over or the system refuses to wait; 0 only looks, 0xFFFFFFFF waits
/// without end. When several are signalled, the lowest index wins, so a host with many handles takes an `EventPoller`.
/// Null handles are allowed and never signalled. Logs nothing. Any thread, as long as each handle is used by one thread
/// at a time.
SHAREDLIB_API int WaitForEvents(void* const* handles, int count, unsigned long timeoutMs);

/// Waits for many event handles at once, 10,000 and more: an idle handle costs nothing in a wait. A poller and the
/// connections in it belong to one thread.
class SHAREDLIB_API EventPoller {
public:
    /// Empty. When the system refuses it what it needs, `add` gives false, and `wait` 0 at once.
    EventPoller();
    /// The handles stay their owners'.
    ~EventPoller();
    EventPoller(const EventPoller&) = delete;
    EventPoller& operator=(const EventPoller&) = delete;

    /// Puts `handle` into the poller; `user` is what `wait` will give for it and is never looked at. False when the
    /// handle is null or already in this poller, and when the system refuses. The handle stays its owner's, and leaves
    /// the poller by itself when its owner closes it (a connection does in `Reset()` and when it is lost); a connection
    /// that begins anew has a new handle.
    bool add(void* handle, void* user);
    /// Takes `handle` out; one that is not in the poller is left alone. Do not name a handle that is already closed.
    void remove(void* handle);
    /// Waits until a handle is signalled and stores the `user` values of at most `max` signalled ones, each once. Gives
    /// their number; 0 when `timeoutMs` milliseconds are over (0 only looks, 0xFFFFFFFF waits without end). Those that
    /// did not fit come first next time. A handle stays signalled until its connection's `HandleEvent()`. The values
    /// stored are a copy: a host that deletes other objects while it goes through them takes a `max` of 1, which costs
    /// no more system calls.
    int wait(void** users, int max, unsigned long timeoutMs);

private:
    platform::EventSet* m_set;
};
