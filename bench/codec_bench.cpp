// bench/codec_bench.cpp: binary data to text and back, beside the codecs of other libraries.
#include "sharedlib/packed/text_codecs.h"
#include <apr_encode.h>
#include <benchmark/benchmark.h>
#include <nettle/base16.h>
#include <openssl/evp.h>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes randomBytes(std::size_t size) {
    std::mt19937 random(1);
    Bytes bytes(size);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

template <typename Encode>
void encodeWith(benchmark::State& state, Encode encode) {
    const Bytes bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
    std::string text(bytes.size() * 2 + 64, '\0');
    for (auto _ : state) {
        encode(text.data(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(text.data());
        benchmark::ClobberMemory();
    }
}

template <typename Decode>
void decodeWith(benchmark::State& state, unsigned long (*encode)(void*, const void*, unsigned long), Decode decode) {
    const Bytes bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
    std::string text(bytes.size() * 2 + 64, '\0');
    text.resize(encode(text.data(), bytes.data(), bytes.size()));
    Bytes out(bytes.size() + 64);
    for (auto _ : state) {
        decode(out.data(), text.data(), text.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

void encode64WithOpenSsl(char* to, const unsigned char* from, std::size_t size) {
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(to), from, static_cast<int>(size));
}

void decode64WithOpenSsl(unsigned char* to, const char* from, std::size_t size) {
    EVP_DecodeBlock(to, reinterpret_cast<const unsigned char*>(from), static_cast<int>(size));
}

void encode32WithApr(char* to, const unsigned char* from, std::size_t size) {
    apr_encode_base32_binary(to, from, static_cast<apr_ssize_t>(size), APR_ENCODE_NONE, nullptr);
}

void decode32WithApr(unsigned char* to, const char* from, std::size_t size) {
    apr_decode_base32_binary(to, from, static_cast<apr_ssize_t>(size), APR_ENCODE_NONE, nullptr);
}

void encode16WithApr(char* to, const unsigned char* from, std::size_t size) {
    apr_encode_base16_binary(to, from, static_cast<apr_ssize_t>(size), APR_ENCODE_NONE, nullptr);
}

void decode16WithApr(unsigned char* to, const char* from, std::size_t size) {
    apr_decode_base16_binary(to, from, static_cast<apr_ssize_t>(size), APR_ENCODE_NONE, nullptr);
}

void encode16WithNettle(char* to, const unsigned char* from, std::size_t size) {
    base16_encode_update(to, size, from);
}

void decode16WithNettle(unsigned char* to, const char* from, std::size_t size) {
    base16_decode_ctx context;
    base16_decode_init(&context);
    std::size_t written = size;
    base16_decode_update(&context, &written, to, size, from);
}

void sizes(benchmark::internal::Benchmark* row) {
    row->Arg(64)->Arg(4096)->Arg(1 << 20);
}

BENCHMARK_CAPTURE(encodeWith, ours64, CyoEncode::Base64Encode)->Name("base64_out/ours")->Apply(sizes);
BENCHMARK_CAPTURE(encodeWith, openssl, encode64WithOpenSsl)->Name("base64_out/OpenSSL")->Apply(sizes);
BENCHMARK_CAPTURE(decodeWith, ours64, CyoEncode::Base64Encode, CyoDecode::Base64Decode)
    ->Name("base64_in/ours")
    ->Apply(sizes);
BENCHMARK_CAPTURE(decodeWith, openssl, CyoEncode::Base64Encode, decode64WithOpenSsl)
    ->Name("base64_in/OpenSSL")
    ->Apply(sizes);
BENCHMARK_CAPTURE(encodeWith, ours32, CyoEncode::Base32Encode)->Name("base32_out/ours")->Apply(sizes);
BENCHMARK_CAPTURE(encodeWith, apr32, encode32WithApr)->Name("base32_out/APR")->Apply(sizes);
BENCHMARK_CAPTURE(decodeWith, ours32, CyoEncode::Base32Encode, CyoDecode::Base32Decode)
    ->Name("base32_in/ours")
    ->Apply(sizes);
BENCHMARK_CAPTURE(decodeWith, apr32, CyoEncode::Base32Encode, decode32WithApr)->Name("base32_in/APR")->Apply(sizes);
BENCHMARK_CAPTURE(encodeWith, ours16, CyoEncode::Base16Encode)->Name("base16_out/ours")->Apply(sizes);
BENCHMARK_CAPTURE(encodeWith, apr16, encode16WithApr)->Name("base16_out/APR")->Apply(sizes);
BENCHMARK_CAPTURE(encodeWith, nettle16, encode16WithNettle)->Name("base16_out/nettle")->Apply(sizes);
BENCHMARK_CAPTURE(decodeWith, ours16, CyoEncode::Base16Encode, CyoDecode::Base16Decode)
    ->Name("base16_in/ours")
    ->Apply(sizes);
BENCHMARK_CAPTURE(decodeWith, apr16, CyoEncode::Base16Encode, decode16WithApr)->Name("base16_in/APR")->Apply(sizes);
BENCHMARK_CAPTURE(decodeWith, nettle16, CyoEncode::Base16Encode, decode16WithNettle)
    ->Name("base16_in/nettle")
    ->Apply(sizes);

} // namespace
