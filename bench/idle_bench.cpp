// bench/idle_bench.cpp: a server with 10,000 connections of which one in a hundred speaks in a frame.
#include "bench/bench_peer.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/event_wait.h"
#include <benchmark/benchmark.h>
#include <deque>
#include <memory>
#include <new>
#include <random>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <uv.h>
#include <vector>

namespace {

constexpr int kConnections = 10000;
constexpr int kSpeakers = kConnections / 100;
constexpr int kFrames = 500;
constexpr int kEventsAtOnce = 256;
// Room for what one connection has received: a page, as an economical server would give it.
constexpr std::size_t kPlainBuffer = 4096;
constexpr unsigned long kLoopback = 0x7F000001;

// The other process: it holds the client ends and lets them speak on command.
class Clients {
public:
    Clients(int command, std::uint16_t port) : m_command(command) {
        for (int i = 0; i < kConnections; ++i) {
            m_descriptors.push_back(connectPlain(port));
        }
    }
    /// 'a': everyone speaks once. 'f': the speakers of a frame do. Answers when all is sent; ends with the other side.
    void serve() {
        char command = 0;
        while (::read(m_command, &command, 1) == 1) {
            for (int i = 0; i < (command == 'a' ? kConnections : kSpeakers); ++i) {
                speak(command == 'a' ? i : static_cast<int>(m_random() % kConnections));
            }
            if (::write(m_command, &command, 1) != 1) {
                return;
            }
        }
    }

private:
    void speak(int client) {
        PlainWriter writer(m_descriptors[static_cast<std::size_t>(client)], 64);
        writer.write(m_body);
        writer.flush();
    }

    int m_command;
    std::vector<int> m_descriptors;
    std::mt19937 m_random{5};
    const std::string m_body = std::string(32, 'x');
};

// A server under measurement: takes connections in and, in a frame, what they have sent.
struct SharedLibServer : CMessageHandler {
    void add(int descriptor) {
        CConnection& connection = connections.emplace_back();
        connection.SetMessageHandler(this);
        connection.InitAccepted(static_cast<unsigned int>(descriptor), kLoopback, 0);
        poller.add(connection.GetEventHandle(), &connection);
    }
    void frame() {
        void* users[kEventsAtOnce];
        const int count = poller.wait(users, kEventsAtOnce, 0);
        for (int i = 0; i < count; ++i) {
            static_cast<CConnection*>(users[i])->HandleEvent();
        }
    }
    std::int64_t received() const { return messages; }

    void HandleMessage(CConnection*, const void*, unsigned long) override { ++messages; }
    void OnConnect(CConnection*, bool) override {}
    void OnError(CConnection*, int, int) override {}

    EventPoller poller;
    std::deque<CConnection> connections;
    std::int64_t messages = 0;
};

struct EpollServer {
    struct Connection {
        int descriptor;
        PlainReader reader{kPlainBuffer};
    };

    void add(int descriptor) {
        Connection& connection = connections.emplace_back(Connection{descriptor});
        epoll_event event{EPOLLIN, {}};
        event.data.ptr = &connection;
        epoll_ctl(poller, EPOLL_CTL_ADD, descriptor, &event);
    }
    void frame() {
        epoll_event events[kEventsAtOnce];
        const int count = epoll_wait(poller, events, kEventsAtOnce, 0);
        for (int i = 0; i < count; ++i) {
            auto& connection = *static_cast<Connection*>(events[i].data.ptr);
            const std::int64_t before = connection.reader.messages;
            connection.reader.read(connection.descriptor);
            messages += connection.reader.messages - before;
        }
    }
    std::int64_t received() const { return messages; }

    int poller = epoll_create1(EPOLL_CLOEXEC);
    std::deque<Connection> connections;
    std::int64_t messages = 0;
};

struct UvServer {
    struct Connection {
        uv_tcp_t stream;
        UvServer* server;
        PlainReader reader{kPlainBuffer};
    };

    UvServer() { uv_loop_init(&loop); }
    void add(int descriptor) {
        Connection& connection = connections.emplace_back();
        connection.server = this;
        connection.stream.data = &connection;
        uv_tcp_init(&loop, &connection.stream);
        uv_tcp_open(&connection.stream, descriptor);
        connection.stream.data = &connection;
        uv_read_start(reinterpret_cast<uv_stream_t*>(&connection.stream), giveSpace, takeBytes);
    }
    void frame() { uv_run(&loop, UV_RUN_NOWAIT); }
    std::int64_t received() const { return messages; }

    static void giveSpace(uv_handle_t* handle, std::size_t, uv_buf_t* buffer) {
        PlainReader& reader = static_cast<Connection*>(handle->data)->reader;
        *buffer = uv_buf_init(reader.space(), static_cast<unsigned int>(reader.spaceSize()));
    }
    static void takeBytes(uv_stream_t* stream, ssize_t count, const uv_buf_t*) {
        auto& connection = *static_cast<Connection*>(stream->data);
        const std::int64_t before = connection.reader.messages;
        connection.reader.received(count > 0 ? static_cast<std::size_t>(count) : 0);
        connection.server->messages += connection.reader.messages - before;
    }

    uv_loop_t loop{};
    std::deque<Connection> connections;
    std::int64_t messages = 0;
};

struct Measured {
    double secondsPerFrame = 0;
    double residentPerConnection = 0;
    int connections = 0;
};

// Lets the clients speak, then takes what they said; gives the processor time of the latter.
template <typename Server>
double runFrame(Server& server, int command, char order, std::int64_t expected) {
    const std::int64_t wanted = server.received() + expected;
    char answer = 0;
    if (write(command, &order, 1) != 1 || read(command, &answer, 1) != 1) {
        return 0;
    }
    const double start = processorSeconds();
    while (server.received() < wanted) {
        server.frame();
    }
    return processorSeconds() - start;
}

template <typename Server>
void measure(Measured& result) {
    if (!allowDescriptors(kConnections + 100)) {
        return;
    }
    const PlainListener listener;
    int command[2];
    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, command);
    const SecondProcess clients([&] {
        close(command[0]);
        Clients(command[1], listener.port).serve();
    });
    close(command[1]);
    const std::size_t before = residentBytes();
    // Never destroyed: the process ends behind this, and the memory is measured with everyone in it.
    Server& server = *new Server;
    for (; result.connections < kConnections; ++result.connections) {
        awaitReadable(listener.descriptor);
        const int descriptor = listener.accept();
        if (descriptor < 0) {
            break;
        }
        server.add(descriptor);
    }
    if (result.connections == kConnections) {
        runFrame(server, command[0], 'a', kConnections);
        result.residentPerConnection = static_cast<double>(residentBytes() - before) / kConnections;
        for (int frame = 0; frame < kFrames; ++frame) {
            result.secondsPerFrame += runFrame(server, command[0], 'f', kSpeakers) / kFrames;
        }
    }
    close(command[0]);
}

// Each measurement has a process of its own, so that memory which an earlier one gave back does not count as free.
template <typename Server>
void idle(benchmark::State& state) {
    void* const shared = mmap(nullptr, sizeof(Measured), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto* const result = new (shared) Measured;
    for (auto _ : state) {
        *result = Measured();
        {
            const SecondProcess server([&] { measure<Server>(*result); });
        }
        if (result->connections < kConnections) {
            state.SkipWithError("the system allows this process too few descriptors for 10,000 connections");
            break;
        }
        state.SetIterationTime(result->secondsPerFrame);
    }
    state.counters["resident"] = result->residentPerConnection;
    munmap(shared, sizeof(Measured));
}

BENCHMARK_TEMPLATE(idle, SharedLibServer)->Name("idle/ours")->UseManualTime()->Iterations(1);
BENCHMARK_TEMPLATE(idle, EpollServer)->Name("idle/bare epoll")->UseManualTime()->Iterations(1);
BENCHMARK_TEMPLATE(idle, UvServer)->Name("idle/libuv")->UseManualTime()->Iterations(1);

} // namespace
