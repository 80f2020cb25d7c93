// bench/stream_bench.cpp: messages from one process to another over one TCP connection, and round trips between the
// two.
#include "bench/bench_peer.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/event_wait.h"
#include <benchmark/benchmark.h>
#include <chrono>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <uv.h>

namespace {

constexpr unsigned long kLoopback = 0x7F000001;
constexpr std::size_t kPlainBuffer = 65536;
// What a sender queues before it writes, as much as the bare one collects.
constexpr unsigned long kQueued = 65536;

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::int64_t messagesFor(std::size_t bodySize) {
    return bodySize <= 64 ? 2000000 : static_cast<std::int64_t>((512UL << 20U) / bodySize);
}

// A receiver that answers one byte, without a frame, when it has seen all messages, and ends when the sender closes.
void sayDone(int descriptor) {
    send(descriptor, "!", 1, MSG_NOSIGNAL);
}

void receiveWithSharedLib(std::uint16_t port, std::int64_t count) {
    CountingHandler handler;
    CConnection connection;
    connection.SetMessageHandler(&handler);
    connection.InitStream(kLoopback, port);
    EventPoller poller;
    poller.add(connection.GetEventHandle(), nullptr);
    void* user = nullptr;
    while (handler.messages < count) {
        if (poller.wait(&user, 1, 1000) > 0) {
            connection.HandleEvent();
        }
    }
    sayDone(static_cast<int>(connection.GetSocket()));
    while (connection.IsConnected()) {
        connection.Pulse();
    }
}

void sendWithSharedLib(int descriptor, const std::string& body, std::int64_t count) {
    CConnection connection;
    connection.InitAccepted(static_cast<unsigned int>(descriptor), kLoopback, 0);
    EventPoller poller;
    poller.add(connection.GetEventHandle(), nullptr);
    void* user = nullptr;
    while (count > 0 || connection.getOutboundByteCount() > 0) {
        for (; count > 0 && connection.getOutboundByteCount() < kQueued; --count) {
            connection.SendMsg(body.size(), body.data());
        }
        connection.WriteOutboundData();
        if (connection.getOutboundByteCount() > 0 && poller.wait(&user, 1, 1000) > 0) {
            connection.HandleEvent();
        }
    }
    awaitReadable(descriptor);
}

void receivePlain(std::uint16_t port, std::int64_t count) {
    const int descriptor = connectPlain(port);
    const int poller = epoll_create1(0);
    epoll_event event{EPOLLIN, {}};
    epoll_ctl(poller, EPOLL_CTL_ADD, descriptor, &event);
    PlainReader reader(kPlainBuffer * 2);
    while (reader.messages < count) {
        epoll_wait(poller, &event, 1, -1);
        reader.read(descriptor);
    }
    sayDone(descriptor);
    awaitReadable(descriptor);
    close(poller);
    close(descriptor);
}

void sendPlain(int descriptor, const std::string& body, std::int64_t count) {
    PlainWriter writer(descriptor, std::max(kPlainBuffer, body.size() + 6));
    for (; count > 0; --count) {
        writer.write(body);
    }
    writer.flush();
    awaitReadable(descriptor);
    close(descriptor);
}

struct UvReceiver {
    PlainReader reader{kPlainBuffer * 2};
    std::int64_t wanted = 0;
};

void receiveWithUv(std::uint16_t port, std::int64_t count) {
    UvReceiver receiver;
    receiver.wanted = count;
    const int descriptor = connectPlain(port);
    uv_loop_t loop;
    uv_loop_init(&loop);
    uv_tcp_t stream;
    uv_tcp_init(&loop, &stream);
    uv_tcp_open(&stream, descriptor);
    stream.data = &receiver;
    uv_read_start(
        reinterpret_cast<uv_stream_t*>(&stream),
        [](uv_handle_t* handle, std::size_t, uv_buf_t* buffer) {
            PlainReader& reader = static_cast<UvReceiver*>(handle->data)->reader;
            *buffer = uv_buf_init(reader.space(), static_cast<unsigned int>(reader.spaceSize()));
        },
        [](uv_stream_t* handle, ssize_t read, const uv_buf_t*) {
            auto& into = *static_cast<UvReceiver*>(handle->data);
            into.reader.received(read > 0 ? static_cast<std::size_t>(read) : 0);
            if (into.reader.messages >= into.wanted || read < 0) {
                uv_stop(handle->loop);
            }
        });
    uv_run(&loop, UV_RUN_DEFAULT);
    sayDone(descriptor);
    awaitReadable(descriptor);
}

template <typename Send, typename Receive>
void transfer(benchmark::State& state, Send sendAll, Receive receiveAll) {
    const std::string body(static_cast<std::size_t>(state.range(0)), 'x');
    const std::int64_t count = messagesFor(body.size());
    for (auto _ : state) {
        const PlainListener listener;
        const SecondProcess receiver([&] { receiveAll(listener.port, count); });
        awaitReadable(listener.descriptor);
        const int descriptor = listener.accept();
        const auto start = std::chrono::steady_clock::now();
        sendAll(descriptor, body, count);
        state.SetIterationTime(secondsSince(start) / static_cast<double>(count));
    }
}

void echoWithSharedLib(std::uint16_t port) {
    struct Echo : CountingHandler {
        void HandleMessage(CConnection* connection, const void* data, unsigned long size) override {
            connection->SendMsg(size, static_cast<const char*>(data));
            connection->WriteOutboundData();
        }
    } handler;
    CConnection connection;
    connection.SetMessageHandler(&handler);
    connection.InitStream(kLoopback, port);
    do {
        connection.Pulse();
    } while (connection.GetState() != CConnection::Idle && connection.GetState() != CConnection::InError);
}

void tripWithSharedLib(int descriptor, const std::string& body, std::int64_t count) {
    CountingHandler handler;
    CConnection connection;
    connection.SetMessageHandler(&handler);
    connection.InitAccepted(static_cast<unsigned int>(descriptor), kLoopback, 0);
    for (std::int64_t trip = 1; trip <= count; ++trip) {
        connection.SendMsg(body.size(), body.data());
        connection.WriteOutboundData();
        while (handler.messages < trip) {
            connection.Pulse();
        }
    }
}

void echoPlain(std::uint16_t port) {
    const int descriptor = connectPlain(port);
    PlainReader reader(kPlainBuffer);
    PlainWriter writer(descriptor, kPlainBuffer);
    const std::string body(32, 'x');
    std::int64_t answered = 0;
    while (reader.read(descriptor)) {
        for (; answered < reader.messages; ++answered) {
            writer.write(body);
            writer.flush();
        }
    }
    close(descriptor);
}

void tripPlain(int descriptor, const std::string& body, std::int64_t count) {
    PlainReader reader(kPlainBuffer);
    PlainWriter writer(descriptor, kPlainBuffer);
    for (std::int64_t trip = 1; trip <= count; ++trip) {
        writer.write(body);
        writer.flush();
        while (reader.messages < trip) {
            reader.read(descriptor);
        }
    }
    close(descriptor);
}

template <typename Trip, typename Echo>
void roundTrip(benchmark::State& state, Trip tripAll, Echo echoAll) {
    constexpr std::int64_t kTrips = 30000;
    const std::string body(32, 'x');
    for (auto _ : state) {
        const PlainListener listener;
        const SecondProcess echo([&] { echoAll(listener.port); });
        awaitReadable(listener.descriptor);
        const int descriptor = listener.accept();
        const auto start = std::chrono::steady_clock::now();
        tripAll(descriptor, body, kTrips);
        state.SetIterationTime(secondsSince(start) / static_cast<double>(kTrips));
    }
}

void registerSizes(benchmark::internal::Benchmark* bench) {
    for (const std::int64_t size : {32, 256, 4096, 65536}) {
        bench->Arg(size);
    }
    bench->UseManualTime()->Iterations(1);
}

BENCHMARK_CAPTURE(transfer, ours, sendWithSharedLib, receiveWithSharedLib)->Name("stream/ours")->Apply(registerSizes);
BENCHMARK_CAPTURE(transfer, epoll, sendPlain, receivePlain)->Name("stream/bare epoll")->Apply(registerSizes);
BENCHMARK_CAPTURE(transfer, libuv, sendPlain, receiveWithUv)->Name("stream/libuv")->Apply(registerSizes);
BENCHMARK_CAPTURE(roundTrip, ours, tripWithSharedLib, echoWithSharedLib)
    ->Name("trip/ours")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(roundTrip, bare, tripPlain, echoPlain)->Name("trip/bare polling")->UseManualTime()->Iterations(1);

} // namespace
