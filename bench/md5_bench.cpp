// bench/md5_bench.cpp: MD5 of short, middling and long data, beside OpenSSL.
#include "sharedlib/packed/md5.h"
#include <benchmark/benchmark.h>
#include <openssl/md5.h>
#include <vector>

namespace {

void digestWithSharedLib(benchmark::State& state) {
    const std::vector<unsigned char> data(static_cast<std::size_t>(state.range(0)), 'x');
    unsigned char digest[16];
    for (auto _ : state) {
        md5_state_s md5;
        md5_init(&md5);
        md5_append(&md5, data.data(), static_cast<int>(data.size()));
        md5_finish(&md5, digest);
        benchmark::DoNotOptimize(digest);
    }
}

void digestWithOpenSsl(benchmark::State& state) {
    const std::vector<unsigned char> data(static_cast<std::size_t>(state.range(0)), 'x');
    unsigned char digest[16];
    for (auto _ : state) {
        MD5_CTX md5;
        MD5_Init(&md5);
        MD5_Update(&md5, data.data(), data.size());
        MD5_Final(digest, &md5);
        benchmark::DoNotOptimize(digest);
    }
}

BENCHMARK(digestWithSharedLib)->Name("md5/ours")->Arg(64)->Arg(1024)->Arg(1 << 20);
BENCHMARK(digestWithOpenSsl)->Name("md5/OpenSSL")->Arg(64)->Arg(1024)->Arg(1 << 20);

} // namespace
