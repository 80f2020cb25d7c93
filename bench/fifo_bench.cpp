// bench/fifo_bench.cpp: bytes through the queue, beside libevent's buffer.
#include "sharedlib/containers/fifo_buffer.h"
#include <benchmark/benchmark.h>
#include <event2/buffer.h>
#include <vector>

namespace {

// A queue that is never quite empty, as that of a busy connection: 100 bytes always stay behind.
constexpr int kStanding = 100;

void queueWithSharedLib(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const std::vector<char> data(static_cast<std::size_t>(size + kStanding), 'x');
    CFifoBuffer queue;
    queue.setBundleSize(10000);
    queue.append(data.data(), kStanding);
    for (auto _ : state) {
        queue.append(data.data(), size);
        for (int left = size; left > 0;) {
            const char* run = nullptr;
            int length = 0;
            queue.getFirstBundle(&run, &length);
            benchmark::DoNotOptimize(run);
            length = length < left ? length : left;
            queue.clearBytes(length);
            left -= length;
        }
    }
}

void queueWithLibevent(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const std::vector<char> data(static_cast<std::size_t>(size + kStanding), 'x');
    evbuffer* queue = evbuffer_new();
    evbuffer_add(queue, data.data(), kStanding);
    for (auto _ : state) {
        evbuffer_add(queue, data.data(), static_cast<std::size_t>(size));
        for (int left = size; left > 0;) {
            evbuffer_iovec run{};
            evbuffer_peek(queue, -1, nullptr, &run, 1);
            benchmark::DoNotOptimize(run.iov_base);
            const int length = static_cast<int>(run.iov_len) < left ? static_cast<int>(run.iov_len) : left;
            evbuffer_drain(queue, static_cast<std::size_t>(length));
            left -= length;
        }
    }
    evbuffer_free(queue);
}

BENCHMARK(queueWithSharedLib)->Name("fifo/ours")->Arg(64)->Arg(65536);
BENCHMARK(queueWithLibevent)->Name("fifo/libevent")->Arg(64)->Arg(65536);

} // namespace
