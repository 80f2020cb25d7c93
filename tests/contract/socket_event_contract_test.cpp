// tests/contract/socket_event_contract_test.cpp: what every implementation of event objects and their waits has to
// keep.
#include "tests/contract/loopback.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace platform;

constexpr long kStream = kEventRead | kEventWrite | kEventClose;
constexpr long kOutgoing = kStream | kEventConnect;

TEST(SocketEventContract, ConnectIsReportedOnceTogetherWithTheFirstWrite) {
    OwnedSocket listener = listenOnLoopback();
    const OwnedSocket client = startConnecting(portOf(listener));
    const OwnedEvent event(client, kOutgoing);
    int error = -1;
    EXPECT_EQ(nextEvents(client, event, &error), kEventConnect | kEventWrite);
    EXPECT_EQ(error, 0);
    EXPECT_TRUE(isSilent(event));
    EXPECT_EQ(enumerated(client, event), 0);
}

TEST(SocketEventContract, ARefusedConnectIsReportedOnceAndThenNothingEver) {
    OwnedSocket silent(SocketKind::Stream);
    ASSERT_EQ(bindSocket(silent, {kLoopbackIp, 0}), 0);
    const OwnedSocket client = startConnecting(portOf(silent));
    const OwnedEvent event(client, kOutgoing);
    int error = 0;
    EXPECT_EQ(nextEvents(client, event, &error), kEventConnect);
    EXPECT_EQ(error, kErrorRefused);
    EXPECT_TRUE(isSilent(event));
    EXPECT_EQ(enumerated(client, event), 0);
}

TEST(SocketEventContract, AConnectionResetBeforeAnybodyLookedIsAFailedConnect) {
    SocketPair pair;
    const OwnedEvent event(pair.client, kOutgoing);
    resetPeer(pair.server, pair.client);
    ASSERT_TRUE(eventually([&] { return pollConnect(pair.client).failed; }));
    int error = 0;
    EXPECT_EQ(nextEvents(pair.client, event, &error), kEventConnect);
    EXPECT_EQ(error, kErrorConnectionReset);
    EXPECT_TRUE(isSilent(event));
}

TEST(SocketEventContract, WriteIsReportedOnceAndOnceMoreAfterEachBlockedSend) {
    SocketPair pair;
    const OwnedSocket datagram = bindDatagram();
    struct Case {
        const char* name;
        NativeSocket socket;
        long mask;
    };
    for (const Case& c :
         {Case{"accepted", pair.server, kStream}, Case{"datagram", datagram, kEventRead | kEventWrite}}) {
        SCOPED_TRACE(c.name);
        const OwnedEvent event(c.socket, c.mask);
        EXPECT_EQ(nextEvents(c.socket, event), kEventWrite);
        EXPECT_TRUE(isSilent(event));
        for (int i = 0; i < 3; ++i) {
            noteSendBlocked(event);
            EXPECT_EQ(nextEvents(c.socket, event), kEventWrite);
            EXPECT_EQ(enumerated(c.socket, event), 0);
        }
    }
    const OwnedEvent readOnly(pair.server, kEventRead);
    noteSendBlocked(readOnly);
    EXPECT_TRUE(isSilent(readOnly)) << "WRITE is not in the mask";
    noteSendBlocked(nullptr);
}

TEST(SocketEventContract, ReadAndAcceptAreReportedUntilNothingIsLeft) {
    SocketPair pair;
    const OwnedEvent read(pair.server, kEventRead | kEventClose);
    EXPECT_TRUE(isSilent(read));
    sendAll(pair.client, "ab");
    for (int left = 2; left > 0; --left) {
        char byte = 0;
        EXPECT_EQ(nextEvents(pair.server, read), kEventRead);
        EXPECT_EQ(enumerated(pair.server, read), kEventRead) << "also without a wait";
        EXPECT_EQ(receiveBytes(pair.server, &byte, 1).count, 1);
    }
    EXPECT_TRUE(isSilent(read));

    const OwnedEvent accept(pair.listener, kEventAccept);
    EXPECT_TRUE(isSilent(accept));
    const OwnedSocket second = startConnecting(portOf(pair.listener));
    EXPECT_EQ(nextEvents(pair.listener, accept), kEventAccept);
    EXPECT_EQ(nextEvents(pair.listener, accept), kEventAccept);
    const OwnedSocket accepted = acceptOne(pair.listener);
    EXPECT_TRUE(isSilent(accept));
}

TEST(SocketEventContract, CloseWaitsUntilEverythingBeforeItHasBeenRead) {
    struct Case {
        const char* name;
        bool reset;
        int error;
    };
    for (const Case& c : {Case{"half close", false, 0}, Case{"reset", true, kErrorConnectionReset}}) {
        SCOPED_TRACE(c.name);
        SocketPair pair;
        const OwnedEvent event(pair.client, kEventRead | kEventClose);
        sendAll(pair.server, "last words");
        if (c.reset) {
            resetPeer(pair.server, pair.client);
            ASSERT_TRUE(eventually([&] { return pollConnect(pair.client).failed; }));
        } else {
            shutdownSocket(pair.server);
        }
        std::array<char, 4> part{};
        int error = -1;
        for (const int expected : {4, 4, 2}) {
            ASSERT_EQ(nextEvents(pair.client, event), kEventRead);
            ASSERT_EQ(receiveBytes(pair.client, part.data(), part.size()).count, expected);
        }
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(nextEvents(pair.client, event, nullptr, &error), kEventClose);
            EXPECT_EQ(error, c.error) << "also when told again";
        }
    }
}

TEST(SocketEventContract, MistakesAnswerWithAnError) {
    const OwnedSocket socket = bindDatagram();
    const OwnedSocket other = bindDatagram();
    const OwnedEvent event(socket, kEventRead);
    const OwnedEvent unbound;
    OwnedSocket closed = bindDatagram();
    const NativeSocket number = closed;
    const OwnedEvent orphan(number, kEventRead);
    closed.close();
    struct Case {
        NativeSocket socket;
        void* event;
        int error;
    };
    for (const Case& c : {Case{socket, event, 0}, Case{kInvalidSocket, nullptr, kErrorNotSocket},
                          Case{socket, nullptr, kErrorInvalid}, Case{other, event, kErrorInvalid},
                          Case{socket, unbound, kErrorInvalid}, Case{number, orphan, kErrorNotSocket}}) {
        WSANETWORKEVENTS events{77, {}};
        EXPECT_EQ(enumerateSocketEvents(c.socket, c.event, events), c.error);
        EXPECT_EQ(events.lNetworkEvents, c.error == 0 ? 0 : 77) << "unchanged after an error";
    }
    EXPECT_EQ(selectSocketEvents(socket, nullptr, kEventRead), kErrorInvalid);
    EXPECT_EQ(selectSocketEvents(number, unbound, kEventRead), kErrorNotSocket);
    closeSocketEvent(nullptr);
}

TEST(SocketEventContract, SelectingAgainForgetsWhatWasBefore) {
    SocketPair pair;
    const OwnedSocket quiet = bindDatagram();
    const OwnedEvent event(pair.server, kStream);
    sendAll(pair.client, "x");
    void* const handles[] = {event};
    ASSERT_EQ(waitForSocketEvents(handles, 1, 5000), 0);
    ASSERT_EQ(selectSocketEvents(quiet, event, kEventRead), 0);
    EXPECT_EQ(enumerated(quiet, event), 0) << "what the wait found belongs to the other socket";
    EXPECT_TRUE(isSilent(event));
}

TEST(SocketEventContract, TheWaitNamesTheLowestSignalledIndexAndPassesOverNulls) {
    std::vector<OwnedSocket> sockets;
    std::vector<OwnedEvent> events;
    std::vector<void*> handles;
    for (int i = 0; i < 100; ++i) {
        sockets.push_back(bindDatagram());
        events.emplace_back(sockets.back(), kEventRead);
        handles.push_back(i % 10 == 0 ? nullptr : static_cast<void*>(events.back()));
    }
    const auto wait = [&] { return waitForSocketEvents(handles.data(), 100, 0); };
    EXPECT_EQ(wait(), -1);
    EXPECT_EQ(waitForSocketEvents(nullptr, 0, 0), -1);
    for (const std::size_t signalled : {98U, 33U, 0U, 7U}) {
        const Endpoint target{kLoopbackIp, portOf(sockets[signalled])};
        ASSERT_EQ(sendDatagram(sockets[50], "x", 1, target).count, 1);
    }
    ASSERT_TRUE(eventually([&] { return wait() == 7; }));
}

TEST(EventSetContract, MembersJoinOnceAndLeaveWithTheirEvent) {
    EventSet* const set = createEventSet();
    ASSERT_NE(set, nullptr);
    SocketPair pair;
    OwnedEvent server(pair.server, kStream);
    OwnedEvent client(pair.client, kStream);
    int first = 0;
    int second = 0;
    void* users[4] = {};
    EXPECT_TRUE(addToEventSet(set, server, &first));
    EXPECT_FALSE(addToEventSet(set, server, &second)) << "already a member";
    EXPECT_FALSE(addToEventSet(set, nullptr, &second));
    EXPECT_FALSE(addToEventSet(nullptr, client, &second));
    EXPECT_TRUE(addToEventSet(set, client, &second));
    EXPECT_EQ(waitForEventSet(set, users, 4, 5000), 2);
    EXPECT_EQ(waitForEventSet(set, users, 0, 5000), 0);
    EXPECT_EQ(waitForEventSet(nullptr, users, 4, 5000), 0);

    removeFromEventSet(set, client);
    removeFromEventSet(set, client);
    EXPECT_EQ(waitForEventSet(set, users, 4, 5000), 1);
    EXPECT_EQ(users[0], &first);
    server.close();
    EXPECT_EQ(waitForEventSet(set, users, 4, 0), 0);
    EXPECT_TRUE(addToEventSet(set, client, &second)) << "may come back";
    EXPECT_EQ(waitForEventSet(set, users, 4, 5000), 1);
    destroyEventSet(set);
    EXPECT_EQ(nextEvents(pair.client, client), kEventWrite) << "an event outlives its set";
}

TEST(EventSetContract, TellsWhatASingleEventTells) {
    EventSet* const set = createEventSet();
    OwnedSocket listener = listenOnLoopback();
    const OwnedSocket client = startConnecting(portOf(listener));
    const OwnedEvent event;
    void* user = nullptr;
    int tag = 0;
    ASSERT_TRUE(addToEventSet(set, event, &tag)) << "before it is selected";
    EXPECT_EQ(waitForEventSet(set, &user, 1, 0), 0);
    ASSERT_EQ(selectSocketEvents(client, event, kOutgoing), 0);
    const auto next = [&] {
        EXPECT_EQ(waitForEventSet(set, &user, 1, 5000), 1);
        EXPECT_EQ(user, &tag);
        return enumerated(client, event);
    };
    EXPECT_EQ(next(), kEventConnect | kEventWrite);
    EXPECT_EQ(waitForEventSet(set, &user, 1, 0), 0) << "no lasting WRITE";
    for (int i = 0; i < 3; ++i) {
        noteSendBlocked(event);
        EXPECT_EQ(next(), kEventWrite);
        EXPECT_EQ(waitForEventSet(set, &user, 1, 0), 0);
    }
    OwnedSocket server = acceptOne(listener);
    sendAll(server, "x");
    EXPECT_EQ(next(), kEventRead);
    EXPECT_EQ(next(), kEventRead) << "as long as the byte is there";
    server.close();
    std::string bytes;
    ASSERT_EQ(receiveOnce(client, bytes).count, 1);
    EXPECT_EQ(next(), kEventClose);
    EXPECT_EQ(next(), kEventClose);
    destroyEventSet(set);
}

TEST(EventSetContract, EverySignalledMemberHasItsTurnHoweverFewFit) {
    constexpr std::size_t kMembers = 600;
    EventSet* const set = createEventSet();
    std::vector<OwnedSocket> sockets;
    std::vector<OwnedEvent> events;
    std::vector<int> turns(kMembers);
    const OwnedSocket sender = bindDatagram();
    for (std::size_t i = 0; i < kMembers; ++i) {
        sockets.push_back(bindDatagram());
        events.emplace_back(sockets.back(), kEventRead);
        ASSERT_TRUE(addToEventSet(set, events.back(), &turns[i]));
        ASSERT_EQ(sendDatagram(sender, "x", 1, {kLoopbackIp, portOf(sockets.back())}).count, 1);
    }
    ASSERT_TRUE(eventually([&] {
        return std::none_of(events.begin(), events.end(), [](const OwnedEvent& event) { return isSilent(event); });
    }));
    for (const int max : {1, 7, 600}) {
        std::fill(turns.begin(), turns.end(), 0);
        std::vector<void*> users(static_cast<std::size_t>(max));
        for (std::size_t handedOut = 0; handedOut < 2 * kMembers;) {
            const int count = waitForEventSet(set, users.data(), max, 0);
            ASSERT_GT(count, 0);
            for (int i = 0; i < count; ++i) {
                ++*static_cast<int*>(users[static_cast<std::size_t>(i)]);
            }
            handedOut += static_cast<std::size_t>(count);
        }
        const auto [least, most] = std::minmax_element(turns.begin(), turns.end());
        EXPECT_GE(*least, 1) << "at most " << max << " at a time";
        EXPECT_LE(*most, 3) << "at most " << max << " at a time";
    }
    destroyEventSet(set);
}

TEST(EventSetContract, MembersMayGoWhileTheirTurnIsPending) {
    EventSet* const set = createEventSet();
    std::vector<OwnedSocket> sockets;
    std::vector<OwnedEvent> events;
    std::vector<int> tags(6);
    const OwnedSocket sender = bindDatagram();
    for (int& tag : tags) {
        sockets.push_back(bindDatagram());
        events.emplace_back(sockets.back(), kEventRead);
        ASSERT_TRUE(addToEventSet(set, events.back(), &tag));
        ASSERT_EQ(sendDatagram(sender, "x", 1, {kLoopbackIp, portOf(sockets.back())}).count, 1);
        ASSERT_TRUE(eventually([&] { return !isSilent(events.back()); }));
    }
    void* user = nullptr;
    ASSERT_EQ(waitForEventSet(set, &user, 1, 5000), 1);
    const auto first = static_cast<std::size_t>(static_cast<int*>(user) - tags.data());
    // Every other member goes in its own way; a newcomer takes the first free place of each kind.
    const std::size_t closed = (first + 1) % 6;
    const std::size_t removed = (first + 2) % 6;
    const std::size_t replaced = (first + 3) % 6;
    const std::size_t drained = (first + 4) % 6;
    events[closed].close();
    sockets[closed].close();
    const OwnedSocket newcomer = bindDatagram();
    const OwnedEvent quiet(newcomer, kEventRead);
    int stranger = 0;
    ASSERT_TRUE(addToEventSet(set, quiet, &stranger));
    removeFromEventSet(set, events[removed]);
    ASSERT_EQ(selectSocketEvents(sender, events[replaced], kEventRead), 0);
    std::array<char, 8> space{};
    Endpoint from;
    ASSERT_EQ(receiveDatagram(sockets[drained], space.data(), space.size(), from).count, 1);
    static_cast<void>(enumerated(sockets[drained], events[drained]));
    std::vector<int> turns(6);
    for (int i = 0; i < 12 && waitForEventSet(set, &user, 1, 0) == 1; ++i) {
        ASSERT_NE(user, &stranger);
        ++turns[static_cast<std::size_t>(static_cast<int*>(user) - tags.data())];
    }
    for (const std::size_t gone : {closed, removed, replaced, drained}) {
        EXPECT_EQ(turns[gone], 0) << (gone + 6 - first) % 6;
    }
    EXPECT_GT(turns[(first + 5) % 6], 0);
    destroyEventSet(set);
}

} // namespace
