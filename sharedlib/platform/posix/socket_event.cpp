// sharedlib/platform/posix/socket_event.cpp: event objects bound to socket events, and the wait on a few of them.
#include "sharedlib/platform/socket_event.h"
#include "sharedlib/platform/posix/socket_event_record.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_error.h"
#include <array>
#include <bit>
#include <cerrno>
#include <memory>
#include <new>
#include <sys/socket.h>
#include <utility>

namespace platform {
namespace {

constexpr int kErrorInvalid = 10022;
constexpr int kErrorNotSocket = 10038;
constexpr int kErrorNotConnected = 10057;

void noteChange(const SocketEvent& event) {
    for (const SetMembership& membership : event.memberships) {
        noteInterestChange(*membership.set, membership.slot);
    }
}

void setEvent(WSANETWORKEVENTS& events, long bit, int error) {
    events.lNetworkEvents |= bit;
    events.iErrorCode[std::countr_zero(static_cast<unsigned long>(bit))] = error;
}

/// How a connection attempt ended that the system calls broken.
int connectErrorOf(const SocketEvent& event) {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(event.descriptor(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        return lastSocketError();
    }
    return error == 0 ? kErrorNotConnected : toSocketError(error);
}

/// True when the connection stands, now or from before.
bool reportConnect(SocketEvent& event, Readiness found, WSANETWORKEVENTS& events) {
    if (!event.connectDue) {
        return true;
    }
    if ((found & (kOut | kBroken)) == 0) {
        return false;
    }
    const int error = (found & kBroken) != 0 ? connectErrorOf(event) : 0;
    event.connectDue = false;
    event.connectFailed = error != 0;
    noteChange(event);
    setEvent(events, kEventConnect, error);
    return error == 0;
}

/// Says READ while bytes are left that came before the end, CLOSE after them.
void reportEnd(SocketEvent& event, WSANETWORKEVENTS& events) {
    char byte = 0;
    const ssize_t left = recv(event.descriptor(), &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT);
    if (left > 0 || (left < 0 && errno == EAGAIN)) {
        if (left > 0 && event.wants(kEventRead)) {
            setEvent(events, kEventRead, 0);
        }
        return;
    }
    if (left < 0) {
        event.closeError = lastSocketError();
    }
    setEvent(events, kEventClose, event.closeError);
}

void report(SocketEvent& event, Readiness found, WSANETWORKEVENTS& events) {
    if (!reportConnect(event, found, events)) {
        return;
    }
    const bool ended = (found & (kPeerDone | kBroken)) != 0;
    if (ended && event.wants(kEventClose)) {
        reportEnd(event, events);
    } else if (ended || (found & kIn) != 0) {
        // Without CLOSE in the mask the next receive or accept tells what broke.
        for (const long bit : {kEventRead, kEventAccept}) {
            if (event.wants(bit)) {
                setEvent(events, bit, 0);
            }
        }
    }
    if (event.writeDue && (found & kOut) != 0) {
        event.writeDue = false;
        noteChange(event);
        setEvent(events, kEventWrite, 0);
    }
}

/// Asks the system about one event object without waiting. 0, or the error number.
int look(const SocketEvent& event, Readiness& found) {
    found = 0;
    pollfd entry{event.descriptor(), static_cast<short>(interestOf(event)), 0};
    int result = poll(&entry, 1, 0);
    while (result < 0 && errno == EINTR) {
        result = poll(&entry, 1, 0);
    }
    if (result < 0) {
        return lastSocketError();
    }
    if ((entry.revents & POLLNVAL) != 0) {
        return kErrorNotSocket;
    }
    found = usable(event, static_cast<Readiness>(static_cast<unsigned short>(entry.revents)));
    return 0;
}

/// What a wait asks the system for the sake of `event`; 0 when it can not be signalled.
Readiness interestIn(void* event) {
    return event == nullptr ? 0 : interestOf(*toEvent(event));
}

/// The first signalled one among polled event objects, or -1; takes closed sockets out of the waiting.
int takeSignalled(void* const* events, pollfd* entry, int count) {
    for (int i = 0; i < count; ++i) {
        if (interestIn(events[i]) == 0) {
            continue;
        }
        pollfd& answer = *entry++;
        if (answer.fd < 0 || answer.revents == 0) {
            continue;
        }
        if ((answer.revents & POLLNVAL) != 0) {
            answer.fd = -1;
            continue;
        }
        SocketEvent& event = *toEvent(events[i]);
        event.delivered = usable(event, static_cast<Readiness>(static_cast<unsigned short>(answer.revents)));
        if (event.delivered != 0) {
            return i;
        }
    }
    return -1;
}

int waitOnEntries(void* const* events, pollfd* entries, int count, unsigned long timeoutMs) {
    // Only those that can be signalled: the system refuses more entries than there may be descriptors.
    nfds_t used = 0;
    for (int i = 0; i < count; ++i) {
        if (const Readiness interest = interestIn(events[i]); interest != 0) {
            entries[used++] = {toEvent(events[i])->descriptor(), static_cast<short>(interest), 0};
        }
    }
    const WaitDeadline deadline(timeoutMs);
    for (;;) {
        const int ready = poll(entries, used, deadline.remainingMs());
        if (ready < 0 && errno != EINTR) {
            return -1;
        }
        const int index = ready > 0 ? takeSignalled(events, entries, count) : -1;
        if (index >= 0 || deadline.passed()) {
            return index;
        }
    }
}

} // namespace

void* createSocketEvent() {
    return new (std::nothrow) SocketEvent;
}

void closeSocketEvent(void* event) {
    SocketEvent* const object = toEvent(event);
    while (object != nullptr && !object->memberships.empty()) {
        const SetMembership membership = object->memberships.back();
        leaveEventSet(*membership.set, membership.slot);
    }
    delete object;
}

int selectSocketEvents(NativeSocket socket, void* event, long mask) {
    if (event == nullptr) {
        return kErrorInvalid;
    }
    if (const int error = setSocketBlocking(socket, false)) {
        return error;
    }
    SocketEvent& object = *toEvent(event);
    object.socket = socket;
    object.mask = mask;
    object.delivered = 0;
    object.closeError = 0;
    object.writeDue = object.wants(kEventWrite);
    object.connectDue = object.wants(kEventConnect);
    object.connectFailed = false;
    int error = 0;
    for (const SetMembership& membership : object.memberships) {
        const int refused = followSocket(*membership.set, membership.slot);
        error = error == 0 ? refused : error;
    }
    return error;
}

int enumerateSocketEvents(NativeSocket socket, void* event, WSANETWORKEVENTS& events) {
    if (socket == kInvalidSocket) {
        return kErrorNotSocket;
    }
    SocketEvent* const object = toEvent(event);
    if (object == nullptr || object->socket != socket) {
        return kErrorInvalid;
    }
    Readiness found = std::exchange(object->delivered, 0);
    if (found == 0) {
        if (const int error = look(*object, found)) {
            return error;
        }
    }
    events = {};
    report(*object, usable(*object, found), events);
    return 0;
}

void noteSendBlocked(void* event) {
    SocketEvent* const object = toEvent(event);
    if (object == nullptr || !object->wants(kEventWrite) || object->connectFailed) {
        return;
    }
    object->writeDue = true;
    // Room that a wait found before the send is no longer there.
    object->delivered &= ~kOut;
    noteChange(*object);
}

void noteConnected(void* event) {
    SocketEvent* const object = toEvent(event);
    if (object != nullptr && object->connectDue) {
        object->connectDue = false;
        noteChange(*object);
    }
}

int waitForSocketEvents(void* const* events, int count, unsigned long timeoutMs) {
    constexpr int kFew = 64;
    if (count <= kFew) {
        std::array<pollfd, kFew> entries{};
        return waitOnEntries(events, entries.data(), std::max(count, 0), timeoutMs);
    }
    const std::unique_ptr<pollfd[]> entries(new (std::nothrow) pollfd[static_cast<std::size_t>(count)]);
    return entries == nullptr ? -1 : waitOnEntries(events, entries.get(), count, timeoutMs);
}

} // namespace platform
