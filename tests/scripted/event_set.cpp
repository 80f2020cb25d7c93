// tests/scripted/event_set.cpp: sets of event objects over the scripted network.
#include "sharedlib/platform/event_set.h"
#include "tests/scripted/socket_event.h"
#include <algorithm>
#include <utility>
#include <vector>

namespace platform {

struct EventSet {
    std::vector<std::pair<void*, void*>> members;
};

EventSet* createEventSet() {
    return new EventSet;
}

void destroyEventSet(EventSet* set) {
    delete set;
}

bool addToEventSet(EventSet* set, void* event, void* user) {
    if (set == nullptr || event == nullptr) {
        return false;
    }
    const auto isEvent = [=](const auto& member) { return member.first == event; };
    if (std::any_of(set->members.begin(), set->members.end(), isEvent)) {
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
    if (set == nullptr) {
        return 0;
    }
    // A closed event object has left by itself.
    std::erase_if(set->members, [](const auto& member) { return !scripted::events().open().contains(member.first); });
    int count = 0;
    for (std::size_t i = 0; i < set->members.size() && count < max; ++i) {
        if (scripted::isSignalled(set->members[i].first)) {
            users[count++] = set->members[i].second;
        }
    }
    // Those handed out go to the back, so that the others have their turn.
    const auto handedOut = [&](const auto& member) {
        return std::find(users, users + count, member.second) != users + count;
    };
    std::stable_partition(set->members.begin(), set->members.end(),
                          [&](const auto& member) { return !handedOut(member); });
    return count;
}

} // namespace platform
