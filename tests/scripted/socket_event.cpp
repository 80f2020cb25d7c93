// tests/scripted/socket_event.cpp: event objects over the scripted network.
#include "tests/scripted/socket_event.h"
#include "tests/scripted/per_test.h"
#include "tests/scripted/socket.h"
#include <bit>
#include <gtest/gtest.h>
#include <memory>

namespace scripted {
namespace {

constexpr int kNotConnected = 10057;

std::unique_ptr<Events>& current() {
    static auto script = std::make_unique<Events>();
    return script;
}

void setEvent(WSANETWORKEVENTS& events, long bit, int error) {
    events.lNetworkEvents |= bit;
    events.iErrorCode[std::countr_zero(static_cast<unsigned long>(bit))] = error;
}

/// True when the connection stands, now or from before.
bool reportConnect(EventObject& event, const Socket& socket, WSANETWORKEVENTS& found) {
    if (!event.connectDue) {
        return !event.connectFailed;
    }
    if (socket.stand == Socket::Stand::Connecting) {
        return false;
    }
    int error = socket.stand == Socket::Stand::Fresh ? kNotConnected : socket.connectError;
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
    if (event.writeDue) {
        event.writeDue = false;
        setEvent(found, platform::kEventWrite, 0);
    }
}

const PerTest kPerTest([](bool) { current() = std::make_unique<Events>(); }, [] { events().end(); });

} // namespace

Events& events() {
    return *current();
}

Events& Events::onCreateFails() {
    ++m_createFailures;
    return *this;
}

Events& Events::onSelect(int error) {
    m_selects.push_back(error);
    return *this;
}

Events& Events::onEnumerate(long bits, std::initializer_list<std::pair<int, int>> errorOfBit) {
    Answer answer;
    answer.events.lNetworkEvents = bits;
    for (const auto& [bit, error] : errorOfBit) {
        answer.events.iErrorCode[bit] = error;
    }
    m_enumerates.push_back(answer);
    return *this;
}

Events& Events::onEnumerateFails(int error) {
    m_enumerates.push_back({error, {}});
    return *this;
}

long Events::mask(void* event) const {
    return m_open.contains(event) ? static_cast<EventObject*>(event)->mask : 0;
}

void Events::end() {
    if (m_createFailures != 0 || !m_selects.empty() || !m_enumerates.empty()) {
        ADD_FAILURE() << m_createFailures << " failing event creations, " << m_selects.size() << " selections and "
                      << m_enumerates.size() << " enumerations were scripted and not asked for";
    }
    for (void* const event : m_open) {
        if (!m_leaksAllowed) {
            ADD_FAILURE() << "an event object was not closed";
        }
        delete static_cast<EventObject*>(event);
    }
    m_open.clear();
}

bool Events::takeCreateFailure() {
    if (m_createFailures == 0) {
        return false;
    }
    --m_createFailures;
    return true;
}

bool Events::takeSelect(int& error) {
    if (m_selects.empty()) {
        return false;
    }
    error = m_selects.front();
    m_selects.pop_front();
    return true;
}

bool Events::takeEnumerate(Answer& answer) {
    if (m_enumerates.empty()) {
        return false;
    }
    answer = m_enumerates.front();
    m_enumerates.pop_front();
    return true;
}

bool isSignalled(void* event) {
    if (!events().open().contains(event)) {
        return false;
    }
    EventObject copy = *static_cast<EventObject*>(event);
    const Socket* const socket = net().find(copy.socket);
    WSANETWORKEVENTS found{};
    if (socket != nullptr) {
        report(copy, *socket, found);
    }
    return found.lNetworkEvents != 0;
}

} // namespace scripted

namespace platform {
namespace {

using scripted::EventObject;
using scripted::events;

constexpr int kInvalidArgument = 10022;
constexpr int kNotSocket = 10038;

EventObject* toEvent(void* event) {
    return static_cast<EventObject*>(event);
}

} // namespace

void* createSocketEvent() {
    if (events().takeCreateFailure()) {
        return nullptr;
    }
    return *events().open().insert(new EventObject).first;
}

void closeSocketEvent(void* event) {
    if (event == nullptr) {
        return;
    }
    if (events().open().erase(event) == 0) {
        ADD_FAILURE() << "an event object was closed that is not open";
        return;
    }
    delete toEvent(event);
}

int selectSocketEvents(NativeSocket socket, void* event, long mask) {
    int error = 0;
    if (events().takeSelect(error) && error != 0) {
        return error;
    }
    scripted::Socket* const target = scripted::net().find(socket);
    if (event == nullptr || target == nullptr) {
        return event == nullptr ? kInvalidArgument : kNotSocket;
    }
    target->blocking = false;
    *toEvent(event) = {socket, mask, (mask & kEventWrite) != 0, (mask & kEventConnect) != 0, false, 0};
    return 0;
}

int enumerateSocketEvents(NativeSocket socket, void* event, WSANETWORKEVENTS& found) {
    scripted::Events::Answer answer;
    if (events().takeEnumerate(answer)) {
        if (answer.error == 0) {
            found = answer.events;
        }
        return answer.error;
    }
    if (socket == kInvalidSocket) {
        return kNotSocket;
    }
    if (event == nullptr || toEvent(event)->socket != socket) {
        return kInvalidArgument;
    }
    scripted::Socket* const target = scripted::net().find(socket);
    if (target == nullptr) {
        return kNotSocket;
    }
    found = {};
    scripted::report(*toEvent(event), *target, found);
    if ((found.lNetworkEvents & (kEventClose | kEventConnect)) != 0) {
        // An error is told once; the next receive sees just the end.
        target->peerError = 0;
    }
    return 0;
}

void noteSendBlocked(void* event) {
    if (events().open().contains(event)) {
        events().noteBlocked();
        toEvent(event)->writeDue = (toEvent(event)->mask & kEventWrite) != 0;
    }
}

int waitForSocketEvents(void* const* handles, int count, unsigned long) {
    for (int i = 0; i < count; ++i) {
        if (scripted::isSignalled(handles[i])) {
            return i;
        }
    }
    return -1;
}

} // namespace platform
