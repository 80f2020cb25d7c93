// tests/scripted/event_set.cpp: sets of event objects over the scripted network.
#include "sharedlib/platform/event_set.h"
#include "tests/scripted/socket_event.h"
#include <algorithm>
#include <vector>

namespace platform {

struct EventSet {
    /// Events and what their users are; those handed out last stand at the back, so that the others have their turn.
    std::vector<std::pair<void*, void*>> members;
};

EventSet* createEventSet() {
    return new EventSet;
}

void destroyEventSet(EventSet* set) {
    delete set;
}

bool addToEventSet(EventSet* set, void* event, void* user) {
    const auto isEvent = [=](const auto& member) { return member.first == event; };
    if (set == nullptr || event == nullptr || std::any_of(set->members.begin(), set->members.end(), isEvent)) {
        return false;
    }
    set->members.emplace_back(event, user);
    return true;
}

void removeFromEventSet(EventSet* set, void* event) {
    if (set != nullptr) {
        std::erase_if(set->members, [=](const auto& member) { return member.first == event; });
    }
}

int waitForEventSet(EventSet* set, void** users, int max, unsigned long) {
    int count = 0;
    if (set != nullptr) {
        // A closed event object has left by itself.
        std::erase_if(set->members, [](const auto& member) { return !scripted::events().open.contains(member.first); });
        std::stable_partition(set->members.begin(), set->members.end(), [&](const auto& member) {
            const bool handedOut = count < max && scripted::events().isSignalled(member.first);
            if (handedOut) {
                users[count++] = member.second;
            }
            return !handedOut;
        });
    }
    return count;
}

} // namespace platform
