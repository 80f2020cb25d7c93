// examples/arena/event_target.h: what an event of the poller belongs to.
#pragma once

namespace arena {

/// Owns a connection whose event is in a poller. The poller's `user` is a pointer to this base, so that one loop serves
/// streams and datagrams alike.
class EventTarget {
public:
    /// When the connection's event is signalled.
    virtual void handleEvent() = 0;

protected:
    EventTarget() = default;
    EventTarget(const EventTarget&) = default;
    EventTarget& operator=(const EventTarget&) = default;
    ~EventTarget() = default;
};

} // namespace arena
