// tests/contract/socket_system_test.cpp: promises of the socket layer that only a real system can break.
#include "tests/contract/loopback.h"
#include <algorithm>
#include <atomic>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace platform;

/// Another limit of open descriptors while it lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit changed{std::min(limit, m_before.rlim_max), m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &changed);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_before); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit m_before{};
};

std::atomic<int> signalCount{0};

/// Counts a signal while it lives; interrupted calls are not restarted by the system.
class CountedSignal {
public:
    explicit CountedSignal(int number) : m_number(number) {
        signalCount = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { ++signalCount; };
        sigaction(m_number, &action, &m_before);
    }
    ~CountedSignal() { sigaction(m_number, &m_before, nullptr); }
    CountedSignal(const CountedSignal&) = delete;
    CountedSignal& operator=(const CountedSignal&) = delete;

private:
    int m_number;
    struct sigaction m_before {};
};

int descriptorOf(const OwnedSocket& socket) {
    return static_cast<int>(static_cast<NativeSocket>(socket));
}

/// Closes so that the peer is reset at once, whatever it has read.
void closeHard(OwnedSocket& socket) {
    const linger now{1, 0};
    ASSERT_EQ(setsockopt(descriptorOf(socket), SOL_SOCKET, SO_LINGER, &now, sizeof now), 0);
    socket.close();
}

/// The same socket under a descriptor number of at least `number`.
OwnedSocket copyAt(const OwnedSocket& socket, int number) {
    return OwnedSocket(static_cast<NativeSocket>(fcntl(descriptorOf(socket), F_DUPFD_CLOEXEC, number)));
}

TEST(SocketSystem, AtTheDescriptorLimitOnlyAPendingConnectionIsAnError) {
    const OwnedSocket listener = listenOnLoopback();
    const OwnedSocket client = openOf(SocketKind::Stream);
    const int lowestFree = dup(0);
    close(lowestFree);
    {
        const DescriptorLimit full(static_cast<rlim_t>(lowestFree));
        EXPECT_EQ(openSocket(SocketKind::Stream).error, 10024);
        EXPECT_EQ(acceptSocket(listener).error, kErrorWouldBlock) << "nobody is waiting";
        ASSERT_EQ(connectSocket(client, {kLoopbackIp, portOf(listener)}), kErrorWouldBlock);
        EXPECT_TRUE(endOfConnect(client).writable);
        EXPECT_EQ(acceptSocket(listener).error, 10024);
    }
    acceptOne(listener);
}

TEST(SocketSystem, ConnectionsThatDiedInTheBacklogDoNotStopTheListener) {
    const OwnedSocket listener = listenOnLoopback();
    for (int i = 0; i < 50; ++i) {
        OwnedSocket client = startConnecting(listener);
        EXPECT_TRUE(endOfConnect(client).writable);
        closeHard(client);
    }
    const OwnedSocket alive = startConnecting(listener);
    ASSERT_TRUE(eventually([&] {
        const AcceptResult accepted = acceptSocket(listener);
        EXPECT_TRUE(accepted.error == 0 || accepted.error == kErrorWouldBlock) << accepted.error;
        const OwnedSocket server = accepted.error == 0 ? OwnedSocket(accepted.socket) : OwnedSocket();
        return accepted.peer.port == portOf(alive);
    }));
}

TEST(SocketSystem, AListenerMayReturnToAPortWhoseOldConnectionsLinger) {
    SocketPair pair;
    const std::uint16_t port = portOf(pair.listener);
    pair.listener.close();
    pair.server.close();
    std::string bytes;
    ASSERT_EQ(receiveOnce(pair.client, bytes).count, 0);
    pair.client.close();
    const OwnedSocket without = openOf(SocketKind::Stream);
    ASSERT_EQ(bindSocket(without, {kLoopbackIp, port}), kErrorAddressInUse) << "the old connection should linger";
    EXPECT_EQ(portOf(listenOnLoopback(port)), port);
}

TEST(SocketSystem, NoWriteRaisesASignal) {
    const CountedSignal pipe(SIGPIPE);
    SocketPair pair;
    closeHard(pair.server);
    ASSERT_TRUE(eventually([&] { return pollConnect(pair.client).failed; }));
    const SendPiece piece{"x", 1};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(sendBytes(pair.client, "x", 1).error, kErrorConnectionReset);
        EXPECT_EQ(sendPieces(pair.client, &piece, 1).error, kErrorConnectionReset);
    }
    EXPECT_EQ(signalCount, 0);
}

TEST(SocketSystem, SignalsDoNotEndACall) {
    const CountedSignal user(SIGUSR1);
    SocketPair pair;
    const Readable datagram;
    const OwnedSocket sender = bindDatagram();
    const OwnedSet set(createEventSet());
    ASSERT_TRUE(addToEventSet(set, datagram.event, nullptr));
    char byte = 0;
    Endpoint from;
    void* found = nullptr;
    void* const handles[] = {datagram.event};
    struct Case {
        std::function<int()> call;
        int result;
    };
    ASSERT_EQ(setSocketBlocking(pair.client, true), 0);
    for (const Case& c : {Case{[&] { return receiveBytes(pair.client, &byte, 1).count; }, 1},
                          Case{[&] { return waitForSocketEvents(handles, 1, 0xFFFFFFFF); }, 0},
                          Case{[&] { return waitForEventSet(set, &found, 1, 0xFFFFFFFF); }, 1},
                          Case{[&] { return receiveDatagram(datagram.socket, &byte, 1, from).count; }, 1}}) {
        // The last one blocks in the call itself.
        ASSERT_EQ(setSocketBlocking(datagram.socket, true), 0);
        std::thread disturber([&, self = pthread_self(), until = signalCount + 20] {
            while (signalCount < until) {
                pthread_kill(self, SIGUSR1);
                std::this_thread::yield();
            }
            sendAll(pair.server, "x");
            poke(sender, datagram.socket);
        });
        EXPECT_EQ(c.call(), c.result);
        disturber.join();
        ASSERT_EQ(setSocketBlocking(datagram.socket, false), 0);
        while (receiveDatagram(datagram.socket, &byte, 1, from).count == 1) {
        }
    }
}

TEST(SocketSystem, AnyDescriptorNumberWorksAndNoneIsInherited) {
    const DescriptorLimit more(20000);
    const OwnedSocket listener = copyAt(listenOnLoopback(), 5000);
    const OwnedSocket original = startConnecting(listener);
    const OwnedSocket client = copyAt(original, 6000);
    EXPECT_TRUE(endOfConnect(client).writable);
    EXPECT_EQ(nextEvents(listener, eventFor(listener, kEventAccept)), kEventAccept);
    EXPECT_EQ(nextEvents(client, eventFor(client, kEventConnect | kEventWrite)), kEventConnect | kEventWrite);
    const OwnedSocket accepted = acceptOne(listener);
    const OwnedSocket server = copyAt(accepted, 7000);
    sendAll(client, "x");
    std::string bytes;
    EXPECT_EQ(receiveOnce(server, bytes).count, 1);
    EXPECT_NE(fcntl(descriptorOf(original), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(fcntl(descriptorOf(accepted), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(EventSystem, AnAnswerThatAWaitBroughtIsTakenWithoutAskingAgain) {
    Readable old;
    const NativeSocket number = old.socket;
    const OwnedSocket sender = bindDatagram();
    const OwnedSet set(createEventSet());
    ASSERT_TRUE(addToEventSet(set, old.event, &old));
    poke(sender, old.socket);
    void* user = nullptr;
    ASSERT_EQ(waitForEventSet(set, &user, 1, 5000), 1);
    // With its descriptor gone the system could not answer, and would know nothing good of the next owner of the
    // number.
    old.socket.close();
    Readable heir;
    ASSERT_EQ(static_cast<NativeSocket>(heir.socket), number);
    ASSERT_TRUE(addToEventSet(set, heir.event, &heir));
    EXPECT_EQ(enumerated(number, old.event), kEventRead);
    EXPECT_EQ(enumerated(number, heir.event), 0);
    old.event.close();
    poke(sender, heir.socket);
    EXPECT_EQ(waitForEventSet(set, &user, 1, 5000), 1) << "the old event took the new one's place along";
    EXPECT_EQ(user, &heir);
}

TEST(EventSystem, TheLastEventSelectedForASocketIsTheOneThatIsTold) {
    const OwnedSocket socket = bindDatagram();
    const OwnedSet set(createEventSet());
    OwnedEvent first = eventFor(socket, kEventRead | kEventWrite);
    const OwnedEvent second = eventFor(socket, kEventRead | kEventWrite);
    std::array<void*, 4> users{};
    ASSERT_TRUE(addToEventSet(set, first, &first));
    ASSERT_TRUE(addToEventSet(set, second, &users));
    noteSendBlocked(first);
    EXPECT_EQ(waitForEventSet(set, users.data(), 4, 0), 1);
    EXPECT_EQ(users[0], &users);
    first.close();
    EXPECT_EQ(waitForEventSet(set, users.data(), 4, 0), 1);
}

TEST(EventSystem, ASocketThatLivesOnElsewhereTellsNothingToTheNextMember) {
    Readable member;
    const OwnedSocket elsewhere = copyAt(member.socket, 0);
    const OwnedSet set(createEventSet());
    ASSERT_TRUE(addToEventSet(set, member.event, nullptr));
    // The wrong order: now the system cannot be told that the member has left.
    member.socket.close();
    member.event.close();
    const Readable quiet;
    ASSERT_TRUE(addToEventSet(set, quiet.event, nullptr));
    poke(quiet.socket, elsewhere);
    void* user = nullptr;
    EXPECT_EQ(waitForEventSet(set, &user, 1, 0), 0);
    EXPECT_EQ(waitForEventSet(set, &user, 1, 20), 0);
    EXPECT_EQ(enumerated(quiet.socket, quiet.event), 0);
}

TEST(EventSystem, AWaitWithNothingToTellSleeps) {
    const auto processorTime = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return time.tv_sec * 1'000'000'000 + time.tv_nsec;
    };
    const OwnedSocket writable = bindDatagram();
    const OwnedEvent written = eventFor(writable, kEventRead | kEventWrite);
    const OwnedSocket refused = startConnecting(bindTo(SocketKind::Stream));
    EXPECT_TRUE(endOfConnect(refused).failed);
    const OwnedEvent failed = eventFor(refused, kOutgoing);
    Readable closed;
    const OwnedSet set(createEventSet());
    std::array<void*, 3> handles{written, failed, closed.event};
    for (void* const handle : handles) {
        ASSERT_TRUE(addToEventSet(set, handle, handle));
    }
    std::array<void*, 3> users{};
    ASSERT_EQ(waitForEventSet(set, users.data(), 3, 1000), 2);
    EXPECT_EQ(enumerated(writable, written), kEventWrite);
    EXPECT_EQ(enumerated(refused, failed), kEventConnect);
    closed.socket.close();
    const auto start = processorTime();
    EXPECT_EQ(waitForEventSet(set, users.data(), 3, 100), 0);
    EXPECT_EQ(waitForSocketEvents(handles.data(), 3, 100), -1);
    EXPECT_LT(processorTime() - start, 5'000'000) << "of 200 ms that nothing happened";
}

TEST(EventSystem, AWaitTakesMoreNullsThanThereMayBeDescriptors) {
    const OwnedSocket socket = bindDatagram();
    const OwnedEvent written = eventFor(socket, kEventWrite);
    const DescriptorLimit few(200);
    std::vector<void*> handles(300, nullptr);
    EXPECT_EQ(waitForSocketEvents(handles.data(), 300, 0), -1);
    handles[250] = written;
    EXPECT_EQ(waitForSocketEvents(handles.data(), 300, 0), 250);
}

TEST(EventSystem, TenThousandMembersMayComeAndGo) {
    const DescriptorLimit more(10500);
    std::vector<Readable> members(10000);
    const OwnedSet set(createEventSet());
    for (Readable& member : members) {
        ASSERT_TRUE(addToEventSet(set, member.event, &member));
    }
    std::for_each(members.begin() + 100, members.begin() + 9000, [](Readable& member) { member.event.close(); });
    for (const std::size_t index : {0U, 4321U, 9999U}) {
        poke(members[5].socket, members[index].socket);
    }
    std::array<void*, 8> users{};
    ASSERT_TRUE(eventually([&] { return waitForEventSet(set, users.data(), 8, 0) == 2; }));
    std::sort(users.begin(), users.begin() + 2);
    EXPECT_EQ(users[0], &members[0]);
    EXPECT_EQ(users[1], &members[9999]);
}

} // namespace
