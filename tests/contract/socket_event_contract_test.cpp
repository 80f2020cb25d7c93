// tests/contract/socket_event_contract_test.cpp: what every implementation of event objects has to keep.
#include "tests/contract/loopback.h"

namespace {

using namespace platform;

constexpr int kConnectBit = 4;
constexpr int kCloseBit = 5;

TEST(SocketEventContract, ConnectIsReportedOnceWithItsErrorOrWithTheFirstWrite) {
    const OwnedSocket listener = listenOnLoopback();
    const OwnedSocket silent = bindTo(SocketKind::Stream);
    const OwnedSocket refused = startConnecting(silent);
    const OwnedSocket client = startConnecting(listener);
    const OwnedEvent event = eventFor(refused, kOutgoing);
    WSANETWORKEVENTS details;
    EXPECT_EQ(nextEvents(refused, event, &details), kEventConnect);
    EXPECT_EQ(details.iErrorCode[kConnectBit], kErrorRefused);
    EXPECT_TRUE(isSilent(event));
    EXPECT_EQ(enumerated(refused, event), 0);

    ASSERT_EQ(selectSocketEvents(client, event, kOutgoing), 0) << "another socket is another attempt";
    EXPECT_EQ(nextEvents(client, event, &details), kEventConnect | kEventWrite);
    EXPECT_EQ(details.iErrorCode[kConnectBit], 0);
    EXPECT_TRUE(isSilent(event));
    EXPECT_EQ(enumerated(client, event), 0);
}

TEST(SocketEventContract, AConnectionResetBeforeAnybodyLookedIsAFailedConnect) {
    SocketPair pair;
    const OwnedEvent event = eventFor(pair.client, kOutgoing);
    resetPeer(pair.server, pair.client);
    WSANETWORKEVENTS details;
    EXPECT_EQ(nextEvents(pair.client, event, &details), kEventConnect);
    EXPECT_EQ(details.iErrorCode[kConnectBit], kErrorConnectionReset);
    EXPECT_TRUE(isSilent(event));
}

TEST(SocketEventContract, WriteIsReportedOnceAndOnceMoreAfterEachBlockedSend) {
    SocketPair pair;
    const OwnedSocket datagram = bindDatagram();
    for (const auto& [socket, mask] : {std::pair<NativeSocket, long>{pair.server, kOutgoing},
                                       std::pair<NativeSocket, long>{datagram, kEventRead | kEventWrite}}) {
        const OwnedEvent event = eventFor(socket, mask);
        noteConnected(event);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(nextEvents(socket, event), kEventWrite);
            EXPECT_EQ(enumerated(socket, event), 0);
            EXPECT_TRUE(isSilent(event));
            noteSendBlocked(event);
        }
    }
    const OwnedEvent readOnly = eventFor(pair.server, kEventRead);
    noteSendBlocked(readOnly);
    EXPECT_TRUE(isSilent(readOnly)) << "WRITE is not in the mask";
    noteSendBlocked(nullptr);
}

TEST(SocketEventContract, ReadAndAcceptAreReportedUntilNothingIsLeft) {
    SocketPair pair;
    const OwnedEvent read = eventFor(pair.server, kEventRead | kEventClose);
    EXPECT_TRUE(isSilent(read));
    sendAll(pair.client, "ab");
    for (int left = 2; left > 0; --left) {
        char byte = 0;
        EXPECT_EQ(nextEvents(pair.server, read), kEventRead);
        EXPECT_EQ(enumerated(pair.server, read), kEventRead) << "also without a wait";
        EXPECT_EQ(receiveBytes(pair.server, &byte, 1).count, 1);
    }
    EXPECT_TRUE(isSilent(read));

    const OwnedEvent accept = eventFor(pair.listener, kEventAccept);
    EXPECT_TRUE(isSilent(accept));
    const OwnedSocket second = startConnecting(pair.listener);
    EXPECT_EQ(nextEvents(pair.listener, accept), kEventAccept);
    EXPECT_EQ(nextEvents(pair.listener, accept), kEventAccept);
    const OwnedSocket accepted = acceptOne(pair.listener);
    EXPECT_TRUE(isSilent(accept));
}

TEST(SocketEventContract, CloseWaitsUntilEverythingBeforeItHasBeenRead) {
    for (const bool reset : {false, true}) {
        SCOPED_TRACE(reset ? "reset" : "half close");
        SocketPair pair;
        const OwnedEvent event = eventFor(pair.client, kEventRead | kEventClose);
        sendAll(pair.server, "last words");
        if (reset) {
            resetPeer(pair.server, pair.client);
        } else {
            shutdownSocket(pair.server);
        }
        std::string words;
        for (const int expected : {4, 4, 2}) {
            EXPECT_EQ(nextEvents(pair.client, event), kEventRead);
            EXPECT_EQ(receiveOnce(pair.client, words, 4).count, expected);
        }
        WSANETWORKEVENTS details;
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(nextEvents(pair.client, event, &details), kEventClose);
            EXPECT_EQ(details.iErrorCode[kCloseBit], reset ? kErrorConnectionReset : 0) << "also when told again";
        }
    }
}

TEST(SocketEventContract, MistakesAnswerWithAnError) {
    const Readable member;
    const OwnedSocket other = bindDatagram();
    const OwnedEvent unbound(createSocketEvent());
    Readable orphan;
    const NativeSocket closed = orphan.socket;
    orphan.socket.close();
    struct Case {
        NativeSocket socket;
        void* event;
        int error;
    };
    for (const Case& c : {Case{member.socket, member.event, 0}, Case{kInvalidSocket, nullptr, kErrorNotSocket},
                          Case{member.socket, nullptr, kErrorInvalid}, Case{other, member.event, kErrorInvalid},
                          Case{member.socket, unbound, kErrorInvalid}, Case{closed, orphan.event, kErrorNotSocket}}) {
        WSANETWORKEVENTS events{77, {}};
        EXPECT_EQ(enumerateSocketEvents(c.socket, c.event, events), c.error);
        EXPECT_EQ(events.lNetworkEvents, c.error == 0 ? 0 : 77) << "unchanged after an error";
    }
    EXPECT_EQ(selectSocketEvents(other, nullptr, kEventRead), kErrorInvalid);
    EXPECT_EQ(selectSocketEvents(closed, unbound, kEventRead), kErrorNotSocket);
    closeSocketEvent(nullptr);
}

TEST(SocketEventContract, SelectingAgainForgetsWhatWasBefore) {
    SocketPair pair;
    const OwnedSocket quiet = bindDatagram();
    const OwnedEvent event = eventFor(pair.server, kStream);
    sendAll(pair.client, "x");
    ASSERT_FALSE(isSilent(event, 5000));
    ASSERT_EQ(selectSocketEvents(quiet, event, kEventRead), 0);
    EXPECT_EQ(enumerated(quiet, event), 0) << "what the wait found belongs to the other socket";
    EXPECT_TRUE(isSilent(event));
}

TEST(SocketEventContract, TheWaitNamesTheLowestSignalledIndexAndPassesOverNulls) {
    const std::vector<Readable> members(100);
    std::vector<void*> handles;
    for (const Readable& member : members) {
        handles.push_back(handles.size() % 10 == 0 ? nullptr : static_cast<void*>(member.event));
    }
    const auto wait = [&] { return waitForSocketEvents(handles.data(), 100, 0); };
    EXPECT_EQ(wait(), -1);
    EXPECT_EQ(waitForSocketEvents(nullptr, 0, 0), -1);
    for (const std::size_t signalled : {98U, 33U, 0U, 7U}) {
        poke(members[50].socket, members[signalled].socket);
    }
    ASSERT_TRUE(eventually([&] { return wait() == 7; }));
}

} // namespace
