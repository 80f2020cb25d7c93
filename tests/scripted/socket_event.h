// tests/scripted/socket_event.h: event objects over the scripted network, with sets of them in event_set.cpp beside it.
//
// What an event reports follows from the network's state (bytes delivered, the peer's close, a finished connect),
// unless an `onEnumerate` answer says otherwise. Waits never wait: what is not signalled now counts as "the time is
// over".
#pragma once
#include "sharedlib/platform/socket_event.h"
#include <cstddef>
#include <deque>
#include <initializer_list>
#include <set>
#include <utility>

namespace scripted {

/// What stands behind an event handle.
struct EventObject {
    NativeSocket socket = kInvalidSocket;
    long mask = 0;
    bool writeDue = false;
    bool connectDue = false;
    bool connectFailed = false;
    int closeError = 0;
};

class Events {
public:
    /// The next event object cannot be made.
    Events& onCreateFails();
    /// The next selection answers `error`.
    Events& onSelect(int error);
    /// The next enumeration answers these event bits, each with error 0 or with the one named for its bit number.
    Events& onEnumerate(long bits, std::initializer_list<std::pair<int, int>> errorOfBit = {});
    /// The next enumeration fails with `error`.
    Events& onEnumerateFails(int error);

    /// The mask that was last selected for the event object.
    long mask(void* event) const;
    std::size_t openCount() const { return m_open.size(); }
    /// Times that `noteSendBlocked` was called for a living event object.
    int blockedNotes() const { return m_blockedNotes; }
    /// The test leaves event objects open on purpose.
    void allowLeaks() { m_leaksAllowed = true; }

    // For the second implementation itself.
    struct Answer {
        int error = 0;
        WSANETWORKEVENTS events{};
    };
    void begin();
    void end();
    bool takeCreateFailure();
    bool takeSelect(int& error);
    bool takeEnumerate(Answer& answer);
    std::set<void*>& open() { return m_open; }
    void noteBlocked() { ++m_blockedNotes; }

private:
    std::set<void*> m_open;
    std::deque<int> m_selects;
    std::deque<Answer> m_enumerates;
    int m_createFailures = 0;
    int m_blockedNotes = 0;
    bool m_leaksAllowed = false;
};

/// The event objects of the running test.
Events& events();
/// True when an enumeration of the open event object would report something.
bool isSignalled(void* event);

} // namespace scripted
