// tests/contract/event_set_contract_test.cpp: what every implementation of the wait on many event objects has to keep.
#include "tests/contract/loopback.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace platform;

constexpr long kStream = kEventRead | kEventWrite | kEventClose;
constexpr long kOutgoing = kStream | kEventConnect;

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
    ASSERT_EQ(receiveDatagram(sockets[removed], space.data(), space.size(), from).count, 1);
    EXPECT_EQ(enumerated(sockets[removed], events[removed]), 0) << "what the set found has gone with the set";
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
