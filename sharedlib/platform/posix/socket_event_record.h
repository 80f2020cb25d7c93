// sharedlib/platform/posix/socket_event_record.h: what an event object is on POSIX, shared by its two sources.
//
// An event object is a small record. A wait asks the system for what the record still wants to know and leaves the
// answer in the record, where the next enumeration takes it.
#pragma once
#include "sharedlib/native_types.h"
#include "sharedlib/platform/event_set.h"
#include "sharedlib/platform/socket_event.h"
#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <poll.h>
#include <vector>

namespace platform {

/// What the system says of a descriptor; `poll` and `epoll` use the same bits.
using Readiness = std::uint32_t;
inline constexpr Readiness kIn = POLLIN;
inline constexpr Readiness kOut = POLLOUT;
inline constexpr Readiness kPeerDone = POLLRDHUP;
inline constexpr Readiness kBroken = POLLERR | POLLHUP;

/// A place in a set.
struct SetMembership {
    EventSet* set;
    std::uint32_t slot;
};

struct SocketEvent {
    NativeSocket socket = kInvalidSocket;
    long mask = 0;
    /// What a wait found and no enumeration has taken yet.
    Readiness delivered = 0;
    /// The error that ended the connection; the system tells it only once, and CLOSE is reported again and again.
    std::int32_t closeError = 0;
    bool writeDue = false;
    bool connectDue = false;
    bool connectFailed = false;
    std::vector<SetMembership> memberships;

    int descriptor() const { return static_cast<int>(socket); }
    bool wants(long bit) const { return (mask & bit) != 0; }
};

// Every idle connection of a server holds one.
static_assert(sizeof(SocketEvent) <= 64);

inline SocketEvent* toEvent(void* event) {
    return static_cast<SocketEvent*>(event);
}

/// What to ask the system for; 0 when no answer would be reported.
inline Readiness interestOf(const SocketEvent& event) {
    if (event.socket == kInvalidSocket || event.connectFailed) {
        return 0;
    }
    Readiness interest = event.wants(kEventRead | kEventAccept) ? kIn : 0;
    interest |= event.wants(kEventClose) ? kPeerDone : 0;
    interest |= event.writeDue || event.connectDue ? kOut : 0;
    return interest;
}

/// The part of `found` that the event object still has a use for. The system names breaks also where nobody asked.
inline Readiness usable(const SocketEvent& event, Readiness found) {
    const Readiness interest = interestOf(event);
    return interest == 0 ? 0 : found & (interest | kBroken);
}

/// Time left of a wait, in the milliseconds that system calls take.
class WaitDeadline {
public:
    explicit WaitDeadline(unsigned long timeoutMs)
        : m_endless(timeoutMs >= 0xFFFFFFFFUL),
          m_end(Clock::now() + std::chrono::milliseconds(m_endless ? 0 : timeoutMs)) {}

    int remainingMs() const {
        if (m_endless) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()).count();
        return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
    }
    bool passed() const { return remainingMs() == 0; }

private:
    using Clock = std::chrono::steady_clock;
    bool m_endless;
    Clock::time_point m_end;
};

/// Takes the member in `slot` out of the set.
void leaveEventSet(EventSet& set, std::uint32_t slot);
/// Follows the member in `slot` to the socket that it is bound to now. 0, or the error number.
int followSocket(EventSet& set, std::uint32_t slot);
/// Tells the set that the interest of the member in `slot` may have changed; it tells the system before its next wait,
/// so until then a change and its reversal cost nothing.
void noteInterestChange(EventSet& set, std::uint32_t slot);

} // namespace platform
