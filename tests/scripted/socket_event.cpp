// tests/scripted/socket_event.cpp: event objects over the scripted network.
#include "tests/scripted/socket_event.h"
#include "tests/scripted/per_test.h"
#include "tests/scripted/socket.h"
#include <algorithm>
#include <bit>
#include <cstdint>
#include <gtest/gtest.h>

namespace scripted {
namespace {

constexpr int kNotConnected = 10057;

void setEvent(WSANETWORKEVENTS& events, long bit, int error) {
    events.lNetworkEvents |= bit;
    events.iErrorCode[std::countr_zero(static_cast<unsigned long>(bit))] = error;
}

/// True when the connection stands, now or from before.
bool reportConnect(EventObject& event, const Socket& socket, WSANETWORKEVENTS& found) {
    if (!event.connectDue) {
        return !event.connectFailed;
    }
    if (socket.attempt == Socket::Attempt::Pending) {
        return false;
    }
    int error = socket.attempt == Socket::Attempt::None ? kNotConnected : socket.connectError;
    error = error == 0 ? socket.peerError : error;
    event.connectDue = false;
    event.connectFailed = error != 0;
    setEvent(found, platform::kEventConnect, error);
    return error == 0;
}

void report(EventObject& event, const Socket& socket, WSANETWORKEVENTS& found) {
    const auto wants = [&](long bit) { return (event.mask & bit) != 0; };
    if (!reportConnect(event, socket, found)) {
        return;
    }
    const bool readable = !socket.inbound.empty() || !socket.packets.empty();
    const bool ended = socket.peerClosed && !readable;
    if (wants(platform::kEventRead) && (readable || (ended && !wants(platform::kEventClose)))) {
        setEvent(found, platform::kEventRead, 0);
    }
    if (wants(platform::kEventAccept) && !socket.backlog.empty()) {
        setEvent(found, platform::kEventAccept, 0);
    }
    if (wants(platform::kEventClose) && ended) {
        event.closeError = socket.peerError == 0 ? event.closeError : socket.peerError;
        setEvent(found, platform::kEventClose, event.closeError);
    }
    if (std::exchange(event.writeDue, false)) {
        setEvent(found, platform::kEventWrite, 0);
    }
}

const PerTest kPerTest([](bool) { events() = Events(); }, [] { events().end(); });

} // namespace

Events& events() {
    static Events script;
    return script;
}

Events& Events::onEnumerate(long bits, std::initializer_list<std::pair<int, int>> errorOfBit) {
    WSANETWORKEVENTS& answer = enumerations.emplace_back().events;
    answer.lNetworkEvents = bits;
    for (const auto& [bit, error] : errorOfBit) {
        answer.iErrorCode[bit] = error;
    }
    return *this;
}

Events& Events::onEnumerateFails(int error) {
    enumerations.push_back({error, {}});
    return *this;
}

void Events::end() const {
    EXPECT_TRUE(selects.empty() && enumerations.empty()) << "answers of event objects were not asked for";
    EXPECT_TRUE(open.empty() || leaksAllowed) << "an event object was not closed";
}

bool Events::isSignalled(void* event) const {
    const auto found = open.find(event);
    const Socket* const socket = found == open.end() ? nullptr : net().find(found->second.socket);
    if (socket == nullptr) {
        return false;
    }
    EventObject copy = found->second;
    WSANETWORKEVENTS answer{};
    report(copy, *socket, answer);
    return answer.lNetworkEvents != 0;
}

} // namespace scripted

namespace platform {
namespace {

using scripted::EventObject;
using scripted::events;

constexpr int kInvalidArgument = 10022;
constexpr int kNotSocket = 10038;

EventObject* find(void* event) {
    const auto found = events().open.find(event);
    return found == events().open.end() ? nullptr : &found->second;
}

} // namespace

void* createSocketEvent() {
    // A number that is never given twice, so that a closed event is recognised.
    static std::uintptr_t last = 0;
    void* const handle = reinterpret_cast<void*>(++last);
    events().open[handle] = {};
    return handle;
}

void closeSocketEvent(void* event) {
    if (event != nullptr && events().open.erase(event) == 0) {
        ADD_FAILURE() << "an event object was closed that is not open";
    }
}

int selectSocketEvents(NativeSocket socket, void* event, long mask) {
    std::deque<int>& answers = events().selects;
    if (!answers.empty()) {
        const int error = answers.front();
        answers.pop_front();
        return error;
    }
    scripted::Socket* const target = scripted::net().find(socket);
    if (event == nullptr || target == nullptr) {
        return event == nullptr ? kInvalidArgument : kNotSocket;
    }
    target->blocking = false;
    events().open.at(event) = {socket, mask, (mask & kEventWrite) != 0, (mask & kEventConnect) != 0};
    return 0;
}

int enumerateSocketEvents(NativeSocket socket, void* event, WSANETWORKEVENTS& found) {
    if (std::deque<scripted::Enumeration>& answers = events().enumerations; !answers.empty()) {
        const scripted::Enumeration answer = answers.front();
        answers.pop_front();
        found = answer.error == 0 ? answer.events : found;
        return answer.error;
    }
    EventObject* const object = find(event);
    if (socket != kInvalidSocket && (object == nullptr || object->socket != socket)) {
        return kInvalidArgument;
    }
    scripted::Socket* const target = scripted::net().find(socket);
    if (target == nullptr) {
        return kNotSocket;
    }
    found = {};
    scripted::report(*object, *target, found);
    if ((found.lNetworkEvents & (kEventClose | kEventConnect)) != 0) {
        // An error is told once; the next receive sees just the end.
        target->peerError = 0;
    }
    return 0;
}

void noteSendBlocked(void* event) {
    if (EventObject* const object = find(event)) {
        ++events().blocked;
        object->writeDue = (object->mask & kEventWrite) != 0;
    }
}

void noteConnected(void* event) {
    if (EventObject* const object = find(event)) {
        object->connectDue = false;
    }
}

int waitForSocketEvents(void* const* handles, int count, unsigned long) {
    const auto* const end = handles + count;
    const auto* const found = std::find_if(handles, end, [](void* event) { return events().isSignalled(event); });
    return found == end ? -1 : static_cast<int>(found - handles);
}

} // namespace platform
