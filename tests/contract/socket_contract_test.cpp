// tests/contract/socket_contract_test.cpp: what every implementation of the socket calls has to keep.
#include "tests/contract/loopback.h"
#include <gtest/gtest.h>
#include <vector>

namespace {

using platform::SocketKind;

TEST(SocketContract, ConnectTellsHowItEnds) {
    OwnedSocket listener = listenOnLoopback();
    const std::uint16_t open = portOf(listener);
    OwnedSocket silent(SocketKind::Stream);
    ASSERT_EQ(platform::bindSocket(silent, {kLoopbackIp, 0}), 0);
    const std::uint16_t closed = portOf(silent);

    platform::ConnectProgress progress;
    const OwnedSocket connected = startConnecting(open);
    ASSERT_TRUE(connectEnds(connected, progress));
    EXPECT_TRUE(progress.writable && !progress.failed);

    const OwnedSocket refused = startConnecting(closed);
    ASSERT_TRUE(connectEnds(refused, progress));
    EXPECT_TRUE(progress.failed && !progress.writable) << "a refused socket must not look connected";

    OwnedSocket blocking(SocketKind::Stream);
    EXPECT_EQ(platform::connectSocket(blocking, {kLoopbackIp, closed}), kErrorRefused);
}

TEST(SocketContract, CallsOnAClosedSocketAnswer10038) {
    OwnedSocket socket(SocketKind::Stream);
    const NativeSocket number = socket;
    socket.close();
    char byte = 0;
    platform::Endpoint endpoint;
    EXPECT_EQ(platform::setSocketBlocking(number, false), kErrorNotSocket);
    EXPECT_EQ(platform::bindSocket(number, {}), kErrorNotSocket);
    EXPECT_EQ(platform::getLocalEndpoint(number, endpoint), kErrorNotSocket);
    EXPECT_EQ(platform::listenOnSocket(number, 1), kErrorNotSocket);
    EXPECT_EQ(platform::connectSocket(number, {kLoopbackIp, 1}), kErrorNotSocket);
    EXPECT_EQ(platform::pollConnect(number).error, kErrorNotSocket);
    EXPECT_EQ(platform::acceptSocket(number).error, kErrorNotSocket);
    EXPECT_EQ(platform::receiveBytes(number, &byte, 1).error, kErrorNotSocket);
    EXPECT_EQ(platform::sendBytes(number, &byte, 1).error, kErrorNotSocket);
    EXPECT_EQ(platform::receiveDatagram(number, &byte, 1, endpoint).error, kErrorNotSocket);
    EXPECT_EQ(platform::sendDatagram(number, &byte, 1, {kLoopbackIp, 9}).error, kErrorNotSocket);
    EXPECT_EQ(platform::setSocketBlocking(kInvalidSocket, false), kErrorNotSocket);
}

TEST(SocketContract, AcceptGivesNonBlockingSocketsInTurnAndThenNothing) {
    OwnedSocket listener = listenOnLoopback();
    EXPECT_EQ(platform::acceptSocket(listener).error, platform::kErrorWouldBlock);
    std::vector<OwnedSocket> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(startConnecting(portOf(listener)));
        platform::ConnectProgress progress;
        ASSERT_TRUE(connectEnds(clients.back(), progress));
    }
    for (const OwnedSocket& client : clients) {
        platform::AcceptResult accepted;
        ASSERT_TRUE(eventually([&] { return (accepted = platform::acceptSocket(listener)).error == 0; }));
        const OwnedSocket server(accepted.socket);
        EXPECT_EQ(accepted.peer.ip, kLoopbackIp);
        EXPECT_EQ(accepted.peer.port, portOf(client));
        char byte = 0;
        EXPECT_EQ(platform::receiveBytes(server, &byte, 1).error, platform::kErrorWouldBlock);
    }
    EXPECT_EQ(platform::acceptSocket(listener).error, platform::kErrorWouldBlock);
}

TEST(SocketContract, GatheredPiecesArriveInOrder) {
    SocketPair pair;
    std::vector<platform::SendPiece> pieces(16, {"ab", 2});
    pieces[3] = {"", 0};
    pieces[15] = {"last", 4};
    EXPECT_EQ(platform::sendPieces(pair.client, pieces.data(), 16).count, 32);
    std::string received;
    while (received.size() < 32) {
        ASSERT_GT(receiveOnce(pair.server, received).count, 0);
    }
    EXPECT_EQ(received, "abababababababababababababab"
                        "last");
}

TEST(SocketContract, SendAndCloseLosesNothing) {
    SocketPair pair;
    const std::string bytes(30000, 'x');
    sendAll(pair.client, bytes);
    platform::shutdownSocket(pair.client);
    pair.client.close();
    std::string received;
    platform::TransferResult last;
    while ((last = receiveOnce(pair.server, received)).count > 0) {
    }
    EXPECT_EQ(last.count, 0);
    EXPECT_EQ(last.error, 0);
    EXPECT_EQ(received, bytes);
}

TEST(SocketContract, AResetIsToldOnceAfterTheBytesBeforeIt) {
    SocketPair pair;
    sendAll(pair.server, "early");
    resetPeer(pair.server, pair.client);
    std::string received;
    ASSERT_EQ(receiveOnce(pair.client, received).count, 5);
    EXPECT_EQ(receiveOnce(pair.client, received).error, platform::kErrorConnectionReset);
    EXPECT_EQ(receiveOnce(pair.client, received).count, 0);
    EXPECT_EQ(platform::sendBytes(pair.client, "x", 1).error, platform::kErrorConnectionReset);
}

TEST(SocketContract, DatagramsArriveWholeOrNotAtAll) {
    const OwnedSocket receiver = bindDatagram();
    const OwnedSocket sender = bindDatagram();
    std::vector<char> space(20000);
    const auto receive = [&](std::size_t capacity, platform::Endpoint& from) {
        platform::TransferResult received;
        EXPECT_TRUE(eventually([&] {
            received = platform::receiveDatagram(receiver, space.data(), capacity, from);
            return received.error != platform::kErrorWouldBlock;
        }));
        return received;
    };
    const std::string bytes(20001, 'd');
    struct Case {
        std::size_t sent;
        int count;
        int error;
    };
    platform::Endpoint from;
    EXPECT_EQ(platform::receiveDatagram(receiver, space.data(), 1, from).error, platform::kErrorWouldBlock);
    for (const Case& c :
         {Case{20000, 20000, 0}, Case{20001, -1, platform::kErrorMessageSize}, Case{0, 0, 0}, Case{9, 9, 0}}) {
        SCOPED_TRACE(c.sent);
        EXPECT_EQ(platform::sendDatagram(sender, bytes.data(), c.sent, {kLoopbackIp, portOf(receiver)}).count,
                  static_cast<int>(c.sent));
        from = {};
        const platform::TransferResult received = receive(space.size(), from);
        EXPECT_EQ(received.count, c.count);
        EXPECT_EQ(received.error, c.error);
        EXPECT_EQ(from.port, c.error == 0 ? portOf(sender) : 0);
    }
    const std::string tooLarge(70000, 'd');
    EXPECT_EQ(platform::sendDatagram(sender, tooLarge.data(), tooLarge.size(), {kLoopbackIp, portOf(receiver)}).error,
              platform::kErrorMessageSize);
}

TEST(SocketContract, APortHasOneListenerAndOneDatagramSocket) {
    OwnedSocket listener = listenOnLoopback();
    const std::uint16_t port = portOf(listener);
    OwnedSocket second(SocketKind::Stream);
    EXPECT_EQ(platform::setAddressReuse(second), 0);
    EXPECT_EQ(platform::bindSocket(second, {kLoopbackIp, port}), platform::kErrorAddressInUse);

    const OwnedSocket datagram = bindDatagram();
    const OwnedSocket intruder(SocketKind::Datagram);
    EXPECT_EQ(platform::setAddressReuse(intruder), platform::kErrorNotSupported);
    EXPECT_EQ(platform::bindSocket(intruder, {kLoopbackIp, portOf(datagram)}), platform::kErrorAddressInUse);
}

} // namespace
