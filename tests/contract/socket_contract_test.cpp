// tests/contract/socket_contract_test.cpp: what every implementation of the socket calls has to keep.
#include "tests/contract/loopback.h"

namespace {

using namespace platform;

TEST(SocketContract, ConnectTellsHowItEnds) {
    const OwnedSocket listener = listenOnLoopback();
    const OwnedSocket silent = bindTo(SocketKind::Stream);
    const ConnectProgress connected = endOfConnect(startConnecting(listener));
    EXPECT_TRUE(connected.writable && !connected.failed);
    const ConnectProgress refused = endOfConnect(startConnecting(silent));
    EXPECT_TRUE(refused.failed && !refused.writable) << "a refused socket must not look connected";
    const OwnedSocket blocking = openOf(SocketKind::Stream, true);
    EXPECT_EQ(connectSocket(blocking, {kLoopbackIp, portOf(silent)}), kErrorRefused);
}

TEST(SocketContract, CallsOnAClosedSocketAnswer10038) {
    OwnedSocket socket = openOf(SocketKind::Stream);
    const NativeSocket number = socket;
    socket.close();
    char byte = 0;
    Endpoint endpoint;
    const std::vector<int> errors{setSocketBlocking(number, false),
                                  bindSocket(number, {}),
                                  getLocalEndpoint(number, endpoint),
                                  listenOnSocket(number, 1),
                                  connectSocket(number, {kLoopbackIp, 1}),
                                  pollConnect(number).error,
                                  acceptSocket(number).error,
                                  receiveBytes(number, &byte, 1).error,
                                  sendBytes(number, &byte, 1).error,
                                  receiveDatagram(number, &byte, 1, endpoint).error,
                                  sendDatagram(number, &byte, 1, {kLoopbackIp, 9}).error,
                                  setSocketBlocking(kInvalidSocket, false)};
    EXPECT_EQ(errors, std::vector<int>(12, kErrorNotSocket));
}

TEST(SocketContract, AcceptGivesNonBlockingSocketsInTurnAndThenNothing) {
    const OwnedSocket listener = listenOnLoopback();
    EXPECT_EQ(acceptSocket(listener).error, kErrorWouldBlock);
    std::vector<OwnedSocket> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(startConnecting(listener));
        EXPECT_TRUE(endOfConnect(clients.back()).writable);
    }
    for (const OwnedSocket& client : clients) {
        AcceptResult accepted;
        ASSERT_TRUE(eventually([&] { return (accepted = acceptSocket(listener)).error == 0; }));
        const OwnedSocket server(accepted.socket);
        EXPECT_TRUE(accepted.peer.ip == kLoopbackIp && accepted.peer.port == portOf(client));
        char byte = 0;
        EXPECT_EQ(receiveBytes(server, &byte, 1).error, kErrorWouldBlock);
    }
    EXPECT_EQ(acceptSocket(listener).error, kErrorWouldBlock);
}

TEST(SocketContract, NothingThatWasSentBeforeTheCloseIsLost) {
    SocketPair pair;
    std::vector<SendPiece> pieces(16, {"ab", 2});
    pieces[3] = {"", 0};
    pieces[15] = {"last", 4};
    EXPECT_EQ(sendPieces(pair.client, pieces.data(), 16).count, 32);
    const std::string bytes(30000, 'x');
    sendAll(pair.client, bytes);
    shutdownSocket(pair.client);
    pair.client.close();
    std::string received;
    TransferResult last{1, 0};
    while (last.count > 0) {
        last = receiveOnce(pair.server, received);
    }
    EXPECT_TRUE(last.count == 0 && last.error == 0);
    EXPECT_EQ(received, "abababababababababababababablast" + bytes);
}

TEST(SocketContract, AResetIsToldOnceAfterTheBytesBeforeIt) {
    SocketPair pair;
    sendAll(pair.server, "early");
    resetPeer(pair.server, pair.client);
    std::string received;
    ASSERT_EQ(receiveOnce(pair.client, received).count, 5);
    EXPECT_EQ(receiveOnce(pair.client, received).error, kErrorConnectionReset);
    EXPECT_EQ(receiveOnce(pair.client, received).count, 0);
    EXPECT_EQ(sendBytes(pair.client, "x", 1).error, kErrorConnectionReset);
}

TEST(SocketContract, DatagramsArriveWholeOrNotAtAll) {
    const OwnedSocket receiver = bindDatagram();
    const OwnedSocket sender = bindDatagram();
    const Endpoint target{kLoopbackIp, portOf(receiver)};
    const std::string bytes(70000, 'd');
    std::vector<char> space(20000);
    Endpoint from;
    EXPECT_EQ(receiveDatagram(receiver, space.data(), 1, from).error, kErrorWouldBlock);
    for (const int sent : {20000, 20001, 0, 9}) {
        const std::size_t size = static_cast<std::size_t>(sent);
        EXPECT_EQ(sendDatagram(sender, bytes.data(), size, target).count, sent);
        from = {};
        TransferResult received;
        ASSERT_TRUE(eventually([&] {
            received = receiveDatagram(receiver, space.data(), space.size(), from);
            return received.error != kErrorWouldBlock;
        }));
        const bool fits = size <= space.size();
        EXPECT_EQ(received.count, fits ? sent : -1);
        EXPECT_EQ(received.error, fits ? 0 : kErrorMessageSize);
        EXPECT_EQ(from.port, fits ? portOf(sender) : 0);
    }
    EXPECT_EQ(sendDatagram(sender, bytes.data(), bytes.size(), target).error, kErrorMessageSize);
}

TEST(SocketContract, APortHasOneListenerAndOneDatagramSocket) {
    const OwnedSocket listener = listenOnLoopback();
    const OwnedSocket second = openOf(SocketKind::Stream);
    EXPECT_EQ(setAddressReuse(second), 0);
    EXPECT_EQ(bindSocket(second, {kLoopbackIp, portOf(listener)}), kErrorAddressInUse);
    const OwnedSocket datagram = bindDatagram();
    const OwnedSocket intruder = openOf(SocketKind::Datagram);
    EXPECT_EQ(setAddressReuse(intruder), kErrorNotSupported);
    EXPECT_EQ(bindSocket(intruder, {kLoopbackIp, portOf(datagram)}), kErrorAddressInUse);
}

} // namespace
