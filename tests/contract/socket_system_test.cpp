// tests/contract/socket_system_test.cpp: promises of the socket layer that only a real system can break.
#include "tests/contract/loopback.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

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

    /// No descriptor more than those open now.
    static rlim_t none() {
        const int lowestFree = dup(0);
        close(lowestFree);
        return static_cast<rlim_t>(lowestFree);
    }

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

/// Closes so that the peer is reset at once, whatever it has read.
void closeHard(OwnedSocket& socket) {
    const linger now{1, 0};
    ASSERT_EQ(setsockopt(static_cast<int>(static_cast<NativeSocket>(socket)), SOL_SOCKET, SO_LINGER, &now, sizeof now),
              0);
    socket.close();
}

/// The same socket under a descriptor number of at least `number`.
OwnedSocket renumbered(OwnedSocket socket, int number) {
    const int high = fcntl(static_cast<int>(static_cast<NativeSocket>(socket)), F_DUPFD_CLOEXEC, number);
    EXPECT_GE(high, number);
    return OwnedSocket(static_cast<NativeSocket>(high));
}

TEST(SocketSystem, AtTheDescriptorLimitOnlyAPendingConnectionIsAnError) {
    OwnedSocket listener = listenOnLoopback();
    OwnedSocket client(SocketKind::Stream);
    ASSERT_EQ(setSocketBlocking(client, false), 0);
    {
        const DescriptorLimit full(DescriptorLimit::none());
        EXPECT_EQ(openSocket(SocketKind::Stream).error, 10024);
        EXPECT_EQ(acceptSocket(listener).error, kErrorWouldBlock) << "nobody is waiting";
        ASSERT_EQ(connectSocket(client, {kLoopbackIp, portOf(listener)}), kErrorWouldBlock);
        ConnectProgress progress;
        ASSERT_TRUE(connectEnds(client, progress));
        EXPECT_EQ(acceptSocket(listener).error, 10024);
    }
    acceptOne(listener);
}

TEST(SocketSystem, ConnectionsThatDiedInTheBacklogDoNotStopTheListener) {
    OwnedSocket listener = listenOnLoopback();
    for (int i = 0; i < 50; ++i) {
        OwnedSocket client = startConnecting(portOf(listener));
        ConnectProgress progress;
        ASSERT_TRUE(connectEnds(client, progress));
        closeHard(client);
    }
    const OwnedSocket alive = startConnecting(portOf(listener));
    bool found = false;
    ASSERT_TRUE(eventually([&] {
        const AcceptResult accepted = acceptSocket(listener);
        EXPECT_TRUE(accepted.error == 0 || accepted.error == kErrorWouldBlock) << accepted.error;
        const OwnedSocket server(accepted.socket);
        found = found || accepted.peer.port == portOf(alive);
        return found && accepted.error == kErrorWouldBlock;
    }));
}

TEST(SocketSystem, AListenerMayReturnToAPortWhoseOldConnectionsLinger) {
    std::uint16_t port = 0;
    OwnedSocket client;
    {
        OwnedSocket listener = listenOnLoopback();
        port = portOf(listener);
        client = startConnecting(port);
        OwnedSocket server = acceptOne(listener);
        shutdownSocket(server);
        std::string bytes;
        ASSERT_EQ(receiveOnce(client, bytes).count, 0);
    }
    client.close();
    const OwnedSocket without(SocketKind::Stream);
    ASSERT_EQ(bindSocket(without, {kLoopbackIp, port}), kErrorAddressInUse) << "the old connection should linger";
    const OwnedSocket again = listenOnLoopback(port);
    EXPECT_EQ(portOf(again), port);
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
    const OwnedSocket datagram = bindDatagram();
    const OwnedSocket sender = bindDatagram();
    const OwnedEvent event(datagram, kEventRead);
    EventSet* const set = createEventSet();
    ASSERT_TRUE(addToEventSet(set, event, set));
    const Endpoint target{kLoopbackIp, portOf(datagram)};
    const pthread_t self = pthread_self();
    /// Runs `call` under signals until at least 20 have come; then `finish` lets it end.
    const auto underSignals = [&](auto call, auto finish) {
        std::thread disturber([&, until = signalCount + 20] {
            while (signalCount < until) {
                pthread_kill(self, SIGUSR1);
                std::this_thread::yield();
            }
            finish();
        });
        call();
        disturber.join();
    };
    char byte = 0;
    Endpoint from;
    void* user0 = nullptr;
    void* const handles[] = {event};
    ASSERT_EQ(setSocketBlocking(pair.client, true), 0);
    underSignals([&] { EXPECT_EQ(receiveBytes(pair.client, &byte, 1).count, 1); }, [&] { sendAll(pair.server, "x"); });
    underSignals([&] { EXPECT_EQ(waitForSocketEvents(handles, 1, 0xFFFFFFFF), 0); },
                 [&] { sendDatagram(sender, "x", 1, target); });
    ASSERT_EQ(receiveDatagram(datagram, &byte, 1, from).count, 1);
    underSignals([&] { EXPECT_EQ(waitForEventSet(set, &user0, 1, 0xFFFFFFFF), 1); },
                 [&] { sendDatagram(sender, "x", 1, target); });
    ASSERT_EQ(receiveDatagram(datagram, &byte, 1, from).count, 1);
    ASSERT_EQ(setSocketBlocking(datagram, true), 0);
    underSignals([&] { EXPECT_EQ(receiveDatagram(datagram, &byte, 1, from).count, 1); },
                 [&] { sendDatagram(sender, "x", 1, target); });
    destroyEventSet(set);
}

TEST(SocketSystem, SocketsAreNotInheritedByPrograms) {
    SocketPair pair;
    const OwnedSocket datagram = bindDatagram();
    for (const NativeSocket socket :
         {NativeSocket{pair.listener}, NativeSocket{pair.client}, NativeSocket{pair.server}, NativeSocket{datagram}}) {
        EXPECT_NE(fcntl(static_cast<int>(socket), F_GETFD) & FD_CLOEXEC, 0);
    }
}

TEST(SocketSystem, AnyDescriptorNumberWorks) {
    const DescriptorLimit more(20000);
    OwnedSocket listener = renumbered(listenOnLoopback(), 5000);
    const OwnedSocket client = renumbered(startConnecting(portOf(listener)), 6000);
    ConnectProgress progress;
    EXPECT_TRUE(connectEnds(client, progress));
    EXPECT_TRUE(progress.writable);
    const OwnedEvent accept(listener, kEventAccept);
    const OwnedEvent connect(client, kEventConnect | kEventWrite);
    EXPECT_EQ(nextEvents(listener, accept), kEventAccept);
    EXPECT_EQ(nextEvents(client, connect), kEventConnect | kEventWrite);
    OwnedSocket server = renumbered(acceptOne(listener), 7000);
    sendAll(client, "x");
    std::string bytes;
    EXPECT_EQ(receiveOnce(server, bytes).count, 1);
}

TEST(EventSystem, AnAnswerThatAWaitBroughtIsTakenWithoutAskingAgain) {
    OwnedSocket socket = bindDatagram();
    const OwnedSocket sender = bindDatagram();
    const NativeSocket number = socket;
    EventSet* const set = createEventSet();
    OwnedEvent event(socket, kEventRead);
    ASSERT_TRUE(addToEventSet(set, event, set));
    ASSERT_EQ(sendDatagram(sender, "x", 1, {kLoopbackIp, portOf(socket)}).count, 1);
    void* user = nullptr;
    ASSERT_EQ(waitForEventSet(set, &user, 1, 5000), 1);
    // With its descriptor gone the system could not answer, and would know nothing good of the next owner of the
    // number.
    socket.close();
    const OwnedSocket heir = bindDatagram();
    ASSERT_EQ(static_cast<NativeSocket>(heir), number);
    const OwnedEvent heirEvent(heir, kEventRead);
    int heirTag = 0;
    ASSERT_TRUE(addToEventSet(set, heirEvent, &heirTag));
    EXPECT_EQ(enumerated(number, event), kEventRead);
    EXPECT_EQ(enumerated(heir, heirEvent), 0);
    event.close();
    ASSERT_EQ(sendDatagram(sender, "x", 1, {kLoopbackIp, portOf(heir)}).count, 1);
    EXPECT_EQ(waitForEventSet(set, &user, 1, 5000), 1) << "the old event took the new one's place along";
    EXPECT_EQ(user, &heirTag);
    destroyEventSet(set);
}

TEST(EventSystem, TheLastEventSelectedForASocketIsTheOneThatIsTold) {
    const OwnedSocket socket = bindDatagram();
    EventSet* const set = createEventSet();
    OwnedEvent first(socket, kEventRead | kEventWrite);
    const OwnedEvent second(socket, kEventRead | kEventWrite);
    int tags[2] = {};
    ASSERT_TRUE(addToEventSet(set, first, &tags[0]));
    ASSERT_TRUE(addToEventSet(set, second, &tags[1]));
    noteSendBlocked(first);
    std::array<void*, 4> users{};
    EXPECT_EQ(waitForEventSet(set, users.data(), 4, 0), 1);
    EXPECT_EQ(users[0], &tags[1]);
    first.close();
    EXPECT_EQ(waitForEventSet(set, users.data(), 4, 0), 1);
    destroyEventSet(set);
}

TEST(EventSystem, ASocketThatLivesOnElsewhereTellsNothingToTheNextMember) {
    OwnedSocket socket = bindDatagram();
    const OwnedSocket sender = bindDatagram();
    const Endpoint target{kLoopbackIp, portOf(socket)};
    const OwnedSocket elsewhere(static_cast<NativeSocket>(dup(static_cast<int>(NativeSocket{socket}))));
    EventSet* const set = createEventSet();
    OwnedEvent event(socket, kEventRead);
    ASSERT_TRUE(addToEventSet(set, event, set));
    // The wrong order: now the system cannot be told that the member has left.
    socket.close();
    event.close();
    const OwnedSocket quiet = bindDatagram();
    const OwnedEvent quietEvent(quiet, kEventRead);
    ASSERT_TRUE(addToEventSet(set, quietEvent, set));
    ASSERT_EQ(sendDatagram(sender, "x", 1, target).count, 1);
    void* user = nullptr;
    EXPECT_EQ(waitForEventSet(set, &user, 1, 0), 0);
    EXPECT_EQ(waitForEventSet(set, &user, 1, 20), 0);
    EXPECT_EQ(enumerated(quiet, quietEvent), 0);
    destroyEventSet(set);
}

TEST(EventSystem, AWaitWithNothingToTellSleeps) {
    const auto processorTime = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return time.tv_sec * 1'000'000'000 + time.tv_nsec;
    };
    const OwnedSocket writable = bindDatagram();
    const OwnedEvent written(writable, kEventRead | kEventWrite);
    OwnedSocket silent(SocketKind::Stream);
    ASSERT_EQ(bindSocket(silent, {kLoopbackIp, 0}), 0);
    const OwnedSocket refused = startConnecting(portOf(silent));
    ConnectProgress progress;
    ASSERT_TRUE(connectEnds(refused, progress));
    const OwnedEvent failed(refused, kEventConnect | kEventRead | kEventWrite | kEventClose);
    OwnedSocket closed = bindDatagram();
    const OwnedEvent orphan(closed, kEventRead);
    EventSet* const set = createEventSet();
    std::array<void*, 3> handles{written, failed, orphan};
    for (void* const handle : handles) {
        ASSERT_TRUE(addToEventSet(set, handle, handle));
    }
    std::array<void*, 3> users{};
    ASSERT_EQ(waitForEventSet(set, users.data(), 3, 1000), 2);
    EXPECT_EQ(enumerated(writable, written), kEventWrite);
    EXPECT_EQ(enumerated(refused, failed), kEventConnect);
    closed.close();

    constexpr unsigned long kWaitMs = 100;
    const auto start = processorTime();
    EXPECT_EQ(waitForEventSet(set, users.data(), 3, kWaitMs), 0);
    EXPECT_EQ(waitForSocketEvents(handles.data(), 3, kWaitMs), -1);
    EXPECT_LT(processorTime() - start, 5'000'000) << "of 200 ms that nothing happened";
    destroyEventSet(set);
}

TEST(EventSystem, AWaitTakesMoreNullsThanThereMayBeDescriptors) {
    const OwnedSocket socket = bindDatagram();
    const OwnedEvent written(socket, kEventWrite);
    const DescriptorLimit few(200);
    std::vector<void*> handles(300, nullptr);
    EXPECT_EQ(waitForSocketEvents(handles.data(), 300, 0), -1);
    handles[250] = written;
    EXPECT_EQ(waitForSocketEvents(handles.data(), 300, 0), 250);
}

TEST(EventSystem, TenThousandEventsInOneSet) {
    constexpr std::size_t kMembers = 10000;
    const DescriptorLimit more(kMembers + 500);
    EventSet* const set = createEventSet();
    std::vector<OwnedSocket> sockets;
    std::vector<OwnedEvent> events;
    std::vector<int> tags(kMembers);
    for (std::size_t i = 0; i < kMembers; ++i) {
        sockets.emplace_back(SocketKind::Datagram);
        events.emplace_back(sockets.back(), kEventRead);
        ASSERT_TRUE(addToEventSet(set, events.back(), &tags[i]));
    }
    std::array<void*, 8> users{};
    EXPECT_EQ(waitForEventSet(set, users.data(), 8, 0), 0);
    std::vector<void*> expected;
    for (const std::size_t index : {std::size_t{0}, std::size_t{4321}, kMembers - 1}) {
        ASSERT_EQ(bindSocket(sockets[index], {kLoopbackIp, 0}), 0);
        ASSERT_EQ(sendDatagram(sockets[5], "x", 1, {kLoopbackIp, portOf(sockets[index])}).count, 1);
        expected.push_back(&tags[index]);
    }
    std::vector<void*> found;
    ASSERT_TRUE(eventually([&] {
        const int count = waitForEventSet(set, users.data(), 8, 1000);
        found.assign(users.begin(), users.begin() + count);
        return count == 3;
    }));
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, expected);
    std::for_each(events.begin() + 100, events.begin() + 9000, [](OwnedEvent& event) { event.close(); });
    EXPECT_EQ(waitForEventSet(set, users.data(), 8, 1000), 2);
    destroyEventSet(set);
}

TEST(EventSystem, ThreadsWaitOnSetsOfTheirOwn) {
    constexpr int kRounds = 200;
    std::array<OwnedSocket, 4> sockets{bindDatagram(), bindDatagram(), bindDatagram(), bindDatagram()};
    std::array<std::uint16_t, 4> ports{};
    std::transform(sockets.begin(), sockets.end(), ports.begin(),
                   [](const OwnedSocket& socket) { return portOf(socket); });
    std::vector<std::thread> threads;
    for (std::size_t own = 0; own < sockets.size(); ++own) {
        threads.emplace_back([&, own] {
            const OwnedEvent event(sockets[own], kEventRead | kEventWrite);
            EventSet* const set = createEventSet();
            EXPECT_TRUE(addToEventSet(set, event, set));
            const Endpoint next{kLoopbackIp, ports[(own + 1) % ports.size()]};
            sendDatagram(sockets[own], "x", 1, next);
            for (int round = 0; round < kRounds;) {
                void* user = nullptr;
                ASSERT_EQ(waitForEventSet(set, &user, 1, 5000), 1);
                char byte = 0;
                Endpoint from;
                if ((enumerated(sockets[own], event) & kEventRead) != 0 &&
                    receiveDatagram(sockets[own], &byte, 1, from).count == 1) {
                    sendDatagram(sockets[own], "x", 1, next);
                    ++round;
                }
            }
            destroyEventSet(set);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
