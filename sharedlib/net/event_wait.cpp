// sharedlib/net/event_wait.cpp: waits for the events of connections and listeners.
#include "sharedlib/net/event_wait.h"
#include "sharedlib/platform/event_set.h"
#include "sharedlib/platform/socket_event.h"

int WaitForEvents(void* const* handles, int count, unsigned long timeoutMs) {
    return platform::waitForSocketEvents(handles, count, timeoutMs);
}

EventPoller::EventPoller() : m_set(platform::createEventSet()) {
}

EventPoller::~EventPoller() {
    platform::destroyEventSet(m_set);
}

bool EventPoller::add(void* handle, void* user) {
    return platform::addToEventSet(m_set, handle, user);
}

void EventPoller::remove(void* handle) {
    platform::removeFromEventSet(m_set, handle);
}

int EventPoller::wait(void** users, int max, unsigned long timeoutMs) {
    return platform::waitForEventSet(m_set, users, max, timeoutMs);
}
