// tests/contract/socket_event_contract_test.cpp: what every implementation of event objects has to
// keep.
#include "tests/contract/loopback.h"
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

TEST(SocketEventContract, ARefusedConnectIsReportedOnceAndThenNothing) {
    OwnedSocket silent(SocketKind::Stream);
    ASSERT_EQ(bindSocket(silent, {kLoopbackIp, 0}), 0);
    const OwnedSocket client = startConnecting(portOf(silent));
    const OwnedEvent event(client, kOutgoing);
    int error = 0;
    EXPECT_EQ(nextEvents(client, event, &error), kEventConnect);
    EXPECT_EQ(error, kErrorRefused);
    EXPECT_TRUE(isSilent(event));
    EXPECT_EQ(enumerated(client, event), 0);

    OwnedSocket listener = listenOnLoopback();
    const OwnedSocket second = startConnecting(portOf(listener));
    ASSERT_EQ(selectSocketEvents(second, event, kOutgoing), 0);
    EXPECT_EQ(nextEvents(second, event), kEventConnect | kEventWrite) << "another socket is another attempt";
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
         {Case{"accepted", pair.server, kOutgoing}, Case{"datagram", datagram, kEventRead | kEventWrite}}) {
        SCOPED_TRACE(c.name);
        const OwnedEvent event(c.socket, c.mask);
        noteConnected(event);
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

} // namespace
