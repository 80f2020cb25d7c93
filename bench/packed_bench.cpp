// bench/packed_bench.cpp: one message of sixteen values into bytes and back, beside the usual serialisers.
#include "bench/move.h"
#include "move.pb.h"
#include "move_generated.h"
#include "sharedlib/packed/packed_data.h"
#include <array>
#include <benchmark/benchmark.h>
#include <msgpack.hpp>

namespace {

void packOurs(CPackedData& out, const Move& move) {
    out.PutBool(move.alive);
    out.PutUint8(move.team);
    out.PutInt8(move.mood);
    out.PutInt16(move.heading);
    out.PutUint16(move.speed);
    out.PutInt32(move.x);
    out.PutUint32(move.sequence);
    out.PutInt64(move.time);
    out.PutFloat(move.pitch);
    out.PutDouble(move.angle);
    out.PutInt64(move.object);
    out.PutString(move.name);
    out.PutInt32(move.y);
    out.PutFloat(move.roll);
    out.PutInt32(move.z);
    out.PutInt16(move.damage);
}

void unpackOurs(const CPackedData& in, Move& move) {
    move.alive = in.GetBool();
    move.team = in.GetUint8();
    move.mood = in.GetInt8();
    move.heading = in.GetInt16();
    move.speed = in.GetUint16();
    move.x = in.GetInt32();
    move.sequence = in.GetUint32();
    move.time = in.GetInt64();
    move.pitch = in.GetFloat();
    move.angle = in.GetDouble();
    move.object = in.GetInt64();
    move.name = in.GetString();
    move.y = in.GetInt32();
    move.roll = in.GetFloat();
    move.z = in.GetInt32();
    move.damage = in.GetInt16();
}

void packWithSharedLib(benchmark::State& state, bool tags) {
    Move move;
    CPackedData out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(move);
        out.empty();
        out.setDebug(tags);
        packOurs(out, move);
        benchmark::DoNotOptimize(out.readData());
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = out.size();
}

void unpackWithSharedLib(benchmark::State& state, bool tags) {
    CPackedData bytes;
    bytes.setDebug(tags);
    packOurs(bytes, Move());
    Move move;
    for (auto _ : state) {
        const char* data = bytes.readData();
        benchmark::DoNotOptimize(data);
        const CPackedData in(data, bytes.size());
        unpackOurs(in, move);
        benchmark::DoNotOptimize(move);
    }
}

void fillProto(bench_proto::Move& message, const Move& move) {
    message.set_alive(move.alive);
    message.set_team(move.team);
    message.set_mood(move.mood);
    message.set_heading(move.heading);
    message.set_speed(move.speed);
    message.set_x(move.x);
    message.set_sequence(move.sequence);
    message.set_time(move.time);
    message.set_pitch(move.pitch);
    message.set_angle(move.angle);
    message.set_object(move.object);
    message.set_name(move.name);
    message.set_y(move.y);
    message.set_roll(move.roll);
    message.set_z(move.z);
    message.set_damage(move.damage);
}

void packWithProtobuf(benchmark::State& state) {
    Move move;
    bench_proto::Move message;
    std::array<char, 256> bytes{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(move);
        fillProto(message, move);
        message.SerializeToArray(bytes.data(), static_cast<int>(bytes.size()));
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}

void buildFlat(flatbuffers::FlatBufferBuilder& builder, const Move& move) {
    builder.Clear();
    const auto name = builder.CreateString(move.name);
    builder.Finish(bench_flat::CreateMove(builder, move.alive, move.team, static_cast<std::int8_t>(move.mood),
                                          move.heading, move.speed, move.x, move.sequence, move.time, move.pitch,
                                          move.angle, move.object, name, move.y, move.roll, move.z, move.damage));
}

void packWithFlatBuffers(benchmark::State& state) {
    Move move;
    flatbuffers::FlatBufferBuilder builder;
    for (auto _ : state) {
        benchmark::DoNotOptimize(move);
        buildFlat(builder, move);
        benchmark::DoNotOptimize(builder.GetBufferPointer());
        benchmark::ClobberMemory();
    }
}

void unpackWithFlatBuffers(benchmark::State& state) {
    flatbuffers::FlatBufferBuilder builder;
    buildFlat(builder, Move());
    Move move;
    for (auto _ : state) {
        const std::uint8_t* data = builder.GetBufferPointer();
        benchmark::DoNotOptimize(data);
        flatbuffers::Verifier verifier(data, builder.GetSize());
        if (!bench_flat::VerifyMoveBuffer(verifier)) {
            state.SkipWithError("not a message");
            break;
        }
        const bench_flat::Move* in = bench_flat::GetMove(data);
        move.alive = in->alive();
        move.team = in->team();
        move.mood = static_cast<char>(in->mood());
        move.heading = in->heading();
        move.speed = in->speed();
        move.x = in->x();
        move.sequence = in->sequence();
        move.time = in->time();
        move.pitch = in->pitch();
        move.angle = in->angle();
        move.object = in->object();
        move.name = in->name()->str();
        move.y = in->y();
        move.roll = in->roll();
        move.z = in->z();
        move.damage = in->damage();
        benchmark::DoNotOptimize(move);
    }
}

void packWithMsgpack(benchmark::State& state) {
    Move move;
    msgpack::sbuffer bytes;
    for (auto _ : state) {
        benchmark::DoNotOptimize(move);
        bytes.clear();
        msgpack::packer<msgpack::sbuffer> out(bytes);
        out.pack_array(16);
        out.pack(move.alive).pack(move.team).pack(move.mood).pack(move.heading).pack(move.speed).pack(move.x);
        out.pack(move.sequence).pack(move.time).pack(move.pitch).pack(move.angle).pack(move.object).pack(move.name);
        out.pack(move.y).pack(move.roll).pack(move.z).pack(move.damage);
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(packWithSharedLib, plain, false)->Name("pack/ours");
BENCHMARK_CAPTURE(packWithSharedLib, tagged, true)->Name("pack_tagged/ours");
BENCHMARK(packWithProtobuf)->Name("pack/protobuf");
BENCHMARK(packWithFlatBuffers)->Name("pack/FlatBuffers");
BENCHMARK(packWithMsgpack)->Name("pack/msgpack-cxx");
BENCHMARK_CAPTURE(unpackWithSharedLib, plain, false)->Name("unpack/ours");
BENCHMARK_CAPTURE(unpackWithSharedLib, tagged, true)->Name("unpack_tagged/ours");
BENCHMARK(unpackWithFlatBuffers)->Name("unpack/FlatBuffers");

} // namespace
