// sharedlib/platform/posix/event_set.cpp: a set of event objects over one epoll descriptor.
#include "sharedlib/platform/event_set.h"
#include "sharedlib/platform/posix/socket_event_record.h"
#include "sharedlib/platform/socket.h"
#include "sharedlib/platform/socket_error.h"
#include <array>
#include <cerrno>
#include <new>
#include <sys/epoll.h>
#include <unistd.h>
#include <utility>

namespace platform {

static_assert(kIn == EPOLLIN && kOut == EPOLLOUT && kPeerDone == EPOLLRDHUP && kBroken == (EPOLLERR | EPOLLHUP));

/// One `epoll` descriptor and a slot for each member. The system knows a member by slot and generation, so an answer
/// about a member that has left, and whose slot may be another's by now, is recognised.
struct EventSet {
    struct Slot {
        SocketEvent* event = nullptr;
        void* user = nullptr;
        std::uint32_t generation = 0;
        /// What the system was last asked for; 0 when it does not know the slot.
        Readiness armed = 0;
        /// -1 when there is no socket, or when another event object has taken its place.
        int descriptor = -1;
        bool changed = false;
    };
    static constexpr std::uint32_t kNobody = UINT32_MAX;
    static constexpr int kBatchSize = 256;

    explicit EventSet(int epollDescriptor) : m_epoll(epollDescriptor) {}
    EventSet(const EventSet&) = delete;
    EventSet& operator=(const EventSet&) = delete;
    ~EventSet();

    bool add(SocketEvent& event, void* user);
    void remove(std::uint32_t index);
    /// Follows the event object to the socket that it is bound to now. 0, or the error number.
    int bind(std::uint32_t index);
    void noteChange(std::uint32_t index);
    int wait(void** users, int max, unsigned long timeoutMs);

private:
    bool makeRoom(SocketEvent& event);
    int arm(std::uint32_t index);
    void disarm(std::uint32_t index);
    void armChanged();
    /// Asks the system once; false when the time is over or the system refuses.
    bool fetch(const WaitDeadline& deadline);
    int handOut(void** users, int max);
    SocketEvent* eventOf(const epoll_event& answer) const;

    int m_epoll;
    std::vector<Slot> m_slots;
    std::vector<std::uint32_t> m_free;
    std::vector<std::uint32_t> m_changed;
    /// Which slot the system knows a descriptor by. Descriptor numbers are re-used, so an old slot must not speak for
    /// them.
    std::vector<std::uint32_t> m_slotOf;
    std::array<epoll_event, kBatchSize> m_batch{};
    int m_batchCount = 0;
    int m_batchNext = 0;
};

EventSet::~EventSet() {
    for (std::uint32_t index = 0; index < m_slots.size(); ++index) {
        if (m_slots[index].event != nullptr) {
            std::erase_if(m_slots[index].event->memberships, [this](const SetMembership& m) { return m.set == this; });
        }
    }
    close(m_epoll);
}

bool EventSet::makeRoom(SocketEvent& event) {
    try {
        event.memberships.reserve(event.memberships.size() + 1);
        if (m_free.empty()) {
            m_free.reserve(m_slots.size() + 1);
            m_slots.emplace_back();
            m_free.push_back(static_cast<std::uint32_t>(m_slots.size() - 1));
        }
        // Room for every slot at once, so that leaving and changing never need memory.
        m_free.reserve(m_slots.capacity());
        m_changed.reserve(m_slots.capacity());
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool EventSet::add(SocketEvent& event, void* user) {
    if (!makeRoom(event)) {
        return false;
    }
    const std::uint32_t index = m_free.back();
    m_free.pop_back();
    m_slots[index].event = &event;
    m_slots[index].user = user;
    event.memberships.push_back({this, index});
    if (bind(index) != 0) {
        remove(index);
        return false;
    }
    return true;
}

void EventSet::remove(std::uint32_t index) {
    disarm(index);
    Slot& slot = m_slots[index];
    std::erase_if(slot.event->memberships, [this](const SetMembership& m) { return m.set == this; });
    slot.event->delivered = 0;
    slot.event = nullptr;
    ++slot.generation;
    m_free.push_back(index);
}

int EventSet::bind(std::uint32_t index) {
    disarm(index);
    Slot& slot = m_slots[index];
    if (slot.event->socket == kInvalidSocket) {
        return 0;
    }
    const auto number = static_cast<std::size_t>(slot.event->descriptor());
    try {
        if (m_slotOf.size() <= number) {
            m_slotOf.resize(number + 1, kNobody);
        }
    } catch (const std::bad_alloc&) {
        return kErrorNoBuffers;
    }
    slot.descriptor = slot.event->descriptor();
    const std::uint32_t former = std::exchange(m_slotOf[number], index);
    if (former != kNobody && former != index) {
        // Its socket is gone and the number has a new owner, or its socket is now bound to this event object.
        m_slots[former].descriptor = -1;
        m_slots[former].armed = 0;
    }
    return arm(index);
}

int EventSet::arm(std::uint32_t index) {
    Slot& slot = m_slots[index];
    const Readiness wanted = interestOf(*slot.event);
    if (slot.descriptor < 0 || slot.armed == wanted) {
        return 0;
    }
    epoll_event request{};
    request.events = wanted;
    request.data.u64 = (static_cast<std::uint64_t>(slot.generation) << 32U) | index;
    int operation = slot.armed == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD;
    if (wanted == 0) {
        operation = EPOLL_CTL_DEL;
    }
    int result = epoll_ctl(m_epoll, operation, slot.descriptor, &request);
    if (result != 0 && operation == EPOLL_CTL_ADD && errno == EEXIST) {
        result = epoll_ctl(m_epoll, EPOLL_CTL_MOD, slot.descriptor, &request);
    }
    if (result != 0) {
        return lastSocketError();
    }
    slot.armed = wanted;
    return 0;
}

void EventSet::disarm(std::uint32_t index) {
    Slot& slot = m_slots[index];
    if (slot.descriptor < 0) {
        return;
    }
    if (slot.armed != 0) {
        epoll_event unused{};
        epoll_ctl(m_epoll, EPOLL_CTL_DEL, slot.descriptor, &unused);
        slot.armed = 0;
    }
    m_slotOf[static_cast<std::size_t>(slot.descriptor)] = kNobody;
    slot.descriptor = -1;
}

void EventSet::noteChange(std::uint32_t index) {
    if (!m_slots[index].changed) {
        m_slots[index].changed = true;
        m_changed.push_back(index);
    }
}

void EventSet::armChanged() {
    for (const std::uint32_t index : m_changed) {
        m_slots[index].changed = false;
        if (m_slots[index].event != nullptr) {
            arm(index);
        }
    }
    m_changed.clear();
}

SocketEvent* EventSet::eventOf(const epoll_event& answer) const {
    const Slot& slot = m_slots[static_cast<std::uint32_t>(answer.data.u64)];
    return slot.generation == static_cast<std::uint32_t>(answer.data.u64 >> 32U) ? slot.event : nullptr;
}

bool EventSet::fetch(const WaitDeadline& deadline) {
    armChanged();
    m_batchNext = 0;
    m_batchCount = 0;
    const int count = epoll_wait(m_epoll, m_batch.data(), kBatchSize, deadline.remainingMs());
    if (count <= 0) {
        return count < 0 ? errno == EINTR : !deadline.passed();
    }
    m_batchCount = count;
    for (int i = 0; i < count; ++i) {
        if (SocketEvent* const event = eventOf(m_batch[static_cast<std::size_t>(i)])) {
            event->delivered = usable(*event, m_batch[static_cast<std::size_t>(i)].events);
        }
    }
    return true;
}

int EventSet::handOut(void** users, int max) {
    int count = 0;
    while (count < max && m_batchNext < m_batchCount) {
        const epoll_event& answer = m_batch[static_cast<std::size_t>(m_batchNext++)];
        const SocketEvent* const event = eventOf(answer);
        // A member that was enumerated since the batch came has nothing more to tell.
        if (event != nullptr && event->delivered != 0) {
            users[count++] = m_slots[static_cast<std::uint32_t>(answer.data.u64)].user;
        }
    }
    return count;
}

int EventSet::wait(void** users, int max, unsigned long timeoutMs) {
    const WaitDeadline deadline(timeoutMs);
    int count = handOut(users, max);
    while (count == 0 && fetch(deadline)) {
        count = handOut(users, max);
        if (count == 0 && deadline.passed()) {
            break;
        }
    }
    return count;
}

namespace {

std::vector<SetMembership>::const_iterator membershipIn(const SocketEvent& event, const EventSet* set) {
    return std::find_if(event.memberships.begin(), event.memberships.end(),
                        [set](const SetMembership& m) { return m.set == set; });
}

} // namespace

void leaveEventSet(EventSet& set, std::uint32_t slot) {
    set.remove(slot);
}

int followSocket(EventSet& set, std::uint32_t slot) {
    return set.bind(slot);
}

void noteInterestChange(EventSet& set, std::uint32_t slot) {
    set.noteChange(slot);
}

EventSet* createEventSet() {
    const int epollDescriptor = epoll_create1(EPOLL_CLOEXEC);
    EventSet* const set = epollDescriptor < 0 ? nullptr : new (std::nothrow) EventSet(epollDescriptor);
    if (epollDescriptor >= 0 && set == nullptr) {
        close(epollDescriptor);
    }
    return set;
}

void destroyEventSet(EventSet* set) {
    delete set;
}

bool addToEventSet(EventSet* set, void* event, void* user) {
    if (set == nullptr || event == nullptr) {
        return false;
    }
    SocketEvent& object = *toEvent(event);
    return membershipIn(object, set) == object.memberships.end() && set->add(object, user);
}

void removeFromEventSet(EventSet* set, void* event) {
    if (set == nullptr || event == nullptr) {
        return;
    }
    const SocketEvent& object = *toEvent(event);
    const auto found = membershipIn(object, set);
    if (found != object.memberships.end()) {
        set->remove(found->slot);
    }
}

int waitForEventSet(EventSet* set, void** users, int max, unsigned long timeoutMs) {
    return set == nullptr || max <= 0 ? 0 : set->wait(users, max, timeoutMs);
}

} // namespace platform
