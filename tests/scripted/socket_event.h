// tests/scripted/socket_event.h: event objects over the scripted network, with sets of them in event_set.cpp beside it.
//
// What an event reports follows from the network's state (bytes delivered, the peer's close, a finished connect),
// unless an `on...` answer says otherwise. Waits never wait: what is not signalled now counts as "the time is over".
#pragma once
#include "sharedlib/platform/socket_event.h"
#include <deque>
#include <initializer_list>
#include <map>
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

/// What one enumeration answers.
struct Enumeration {
    int error = 0;
    WSANETWORKEVENTS events{};
};

struct Events {
    /// The next selection answers `error`.
    void onSelect(int error) { selects.push_back(error); }
    /// The next enumeration answers these event bits, each with error 0 or with the one named for its bit number.
    Events& onEnumerate(long bits, std::initializer_list<std::pair<int, int>> errorOfBit = {});
    /// The next enumeration fails with `error`.
    Events& onEnumerateFails(int error);
    /// The test leaves event objects open on purpose.
    void allowLeaks() { leaksAllowed = true; }

    /// The mask that was last selected for the event object.
    long mask(void* event) const { return open.at(event).mask; }
    /// Times that `noteSendBlocked` was called for a living event object.
    int blockedNotes() const { return blocked; }
    /// True when an enumeration of the event object would report something; false when it is not open.
    bool isSignalled(void* event) const;

    // For the second implementation itself.
    void end() const;

    /// The event objects by their handles.
    std::map<void*, EventObject> open;
    std::deque<int> selects;
    std::deque<Enumeration> enumerations;
    int blocked = 0;
    bool leaksAllowed = false;
};

/// The event objects of the running test.
Events& events();

} // namespace scripted
