// tests/contract/event_set_contract_test.cpp: what every implementation of the wait on many event objects has to keep.
#include "tests/contract/loopback.h"
#include <algorithm>

namespace {

using namespace platform;

TEST(EventSetContract, MembersJoinOnceAndLeaveWithTheirEvent) {
    OwnedSet set(createEventSet());
    SocketPair pair;
    OwnedEvent server = eventFor(pair.server, kStream);
    const OwnedEvent client = eventFor(pair.client, kStream);
    int first = 0;
    int second = 0;
    void* users[4] = {};
    EXPECT_TRUE(addToEventSet(set, server, &first));
    EXPECT_FALSE(addToEventSet(set, server, &second)) << "already a member";
    EXPECT_FALSE(addToEventSet(set, nullptr, &second));
    EXPECT_FALSE(addToEventSet(nullptr, client, &second));
    EXPECT_TRUE(addToEventSet(set, client, &second));
    EXPECT_EQ(waitForEventSet(set, users, 4, 5000), 2);
    EXPECT_EQ(waitForEventSet(set, users, 0, 0xFFFFFFFF), 0) << "no room is no reason to wait";
    EXPECT_EQ(waitForEventSet(nullptr, users, 4, 5000), 0);

    removeFromEventSet(set, client);
    removeFromEventSet(set, client);
    EXPECT_EQ(waitForEventSet(set, users, 4, 5000), 1);
    EXPECT_EQ(users[0], &first);
    server.close();
    EXPECT_EQ(waitForEventSet(set, users, 4, 0), 0);
    EXPECT_TRUE(addToEventSet(set, client, &second)) << "may come back";
    EXPECT_EQ(waitForEventSet(set, users, 4, 5000), 1);
    set.close();
    EXPECT_EQ(nextEvents(pair.client, client), kEventWrite) << "an event outlives its set";
}

TEST(EventSetContract, TellsWhatASingleEventTells) {
    const OwnedSocket listener = listenOnLoopback();
    const OwnedSocket client = startConnecting(listener);
    const OwnedSet set(createEventSet());
    const OwnedEvent event(createSocketEvent());
    void* user = nullptr;
    ASSERT_TRUE(addToEventSet(set, event, &user)) << "before it is selected";
    EXPECT_EQ(waitForEventSet(set, &user, 1, 0), 0);
    ASSERT_EQ(selectSocketEvents(client, event, kOutgoing), 0);
    const auto next = [&] {
        EXPECT_EQ(waitForEventSet(set, &user, 1, 5000), 1);
        EXPECT_EQ(user, &user);
        return enumerated(client, event);
    };
    EXPECT_EQ(next(), kEventConnect | kEventWrite);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(waitForEventSet(set, &user, 1, 0), 0) << "no lasting WRITE";
        noteSendBlocked(event);
        EXPECT_EQ(next(), kEventWrite);
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
}

TEST(EventSetContract, EverySignalledMemberHasItsTurnHoweverFewFit) {
    const std::vector<Readable> members(400);
    const OwnedSet set(createEventSet());
    std::vector<int> turns(members.size());
    for (std::size_t i = 0; i < members.size(); ++i) {
        ASSERT_TRUE(addToEventSet(set, members[i].event, &turns[i]));
        poke(members[0].socket, members[i].socket);
        ASSERT_FALSE(isSilent(members[i].event, 5000));
    }
    for (const int max : {1, 7, 400}) {
        std::fill(turns.begin(), turns.end(), 0);
        std::vector<void*> users(static_cast<std::size_t>(max));
        for (std::size_t handedOut = 0; handedOut < 2 * members.size();) {
            const int count = waitForEventSet(set, users.data(), max, 0);
            ASSERT_GT(count, 0);
            std::for_each_n(users.begin(), count, [](void* user) { ++*static_cast<int*>(user); });
            handedOut += static_cast<std::size_t>(count);
        }
        const auto [least, most] = std::minmax_element(turns.begin(), turns.end());
        EXPECT_TRUE(*least >= 1 && *most <= 3)
            << *least << " to " << *most << " turns, at most " << max << " at a time";
    }
}

TEST(EventSetContract, MembersMayGoWhileTheirTurnIsPending) {
    std::vector<Readable> members(6);
    const OwnedSocket sender = bindDatagram();
    const OwnedSet set(createEventSet());
    for (Readable& member : members) {
        ASSERT_TRUE(addToEventSet(set, member.event, &member));
        poke(sender, member.socket);
        ASSERT_FALSE(isSilent(member.event, 5000));
    }
    void* user = nullptr;
    ASSERT_EQ(waitForEventSet(set, &user, 1, 5000), 1);
    const auto first = static_cast<std::size_t>(static_cast<Readable*>(user) - members.data());
    // Every other member goes in its own way; a newcomer takes the first free place of each kind.
    Readable& closed = members[(first + 1) % 6];
    Readable& removed = members[(first + 2) % 6];
    Readable& replaced = members[(first + 3) % 6];
    Readable& drained = members[(first + 4) % 6];
    closed.event.close();
    closed.socket.close();
    const Readable newcomer;
    ASSERT_TRUE(addToEventSet(set, newcomer.event, &user));
    removeFromEventSet(set, removed.event);
    ASSERT_EQ(selectSocketEvents(sender, replaced.event, kEventRead), 0);
    for (const Readable* const emptied : {&drained, &removed}) {
        char byte = 0;
        Endpoint from;
        ASSERT_EQ(receiveDatagram(emptied->socket, &byte, 1, from).count, 1);
    }
    static_cast<void>(enumerated(drained.socket, drained.event));
    EXPECT_EQ(enumerated(removed.socket, removed.event), 0) << "what the set found has gone with the set";
    std::vector<void*> turns;
    for (int i = 0; i < 12 && waitForEventSet(set, &user, 1, 0) == 1; ++i) {
        turns.push_back(user);
    }
    for (void* const gone : std::initializer_list<void*>{&closed, &removed, &replaced, &drained, &user}) {
        EXPECT_EQ(std::count(turns.begin(), turns.end(), gone), 0);
    }
    EXPECT_GT(std::count(turns.begin(), turns.end(), &members[(first + 5) % 6]), 0);
}

} // namespace
