// sharedlib/platform/event_set.h: the wait on many event objects.
//
// Members are event objects of sharedlib/platform/socket_event.h. Nothing here logs or throws. One thread at a time per
// set and its members; sets of different threads have nothing in common.
#pragma once

namespace platform {

/// A set of event objects for one thread that waits on many: a growing set costs nothing while its members are idle.
struct EventSet;
/// A new empty set, or null. The caller destroys it; null sets are allowed below and have no members.
EventSet* createEventSet();
/// The members stay alive.
void destroyEventSet(EventSet* set);
/// False for null or a member already in the set, and when the system refuses. An event may join before it is selected.
bool addToEventSet(EventSet* set, void* event, void* user);
/// An event that is no member is left alone. Allowed at any time, also for a member that is signalled.
void removeFromEventSet(EventSet* set, void* event);
/// Stores the `user` values of at most `max` signalled members and gives their number; 0 after `timeoutMs` (0xFFFFFFFF:
/// no limit). Members that did not fit come first next time.
int waitForEventSet(EventSet* set, void** users, int max, unsigned long timeoutMs);

} // namespace platform
