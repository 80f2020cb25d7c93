// bench/rpc_bench.cpp: one call among a thousand procedures, beside what a host would write by hand.
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/rpc/rpc_mgr.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr int kProcedures = 1000;

class CountingRpc : public CRpc {
public:
    explicit CountingRpc(unsigned int id) : m_id(id) {}
    void Reserved() override {}
    unsigned int GetId() const override { return m_id; }
    const char* GetName() const override { return "Counting"; }
    void Invoke(Kest::Orv::orvContextObj*, std::int64_t, CPackedData&) override { ++calls; }
    void OnRegister() override {}

    std::int64_t calls = 0;

private:
    unsigned int m_id;
};

// The descriptors of the process; the registration list keeps pointing at them.
std::vector<std::unique_ptr<CountingRpc>>& procedures() {
    static std::vector<std::unique_ptr<CountingRpc>> all = [] {
        std::vector<std::unique_ptr<CountingRpc>> made;
        std::mt19937 random(7);
        for (int i = 0; i < kProcedures; ++i) {
            made.push_back(std::make_unique<CountingRpc>(static_cast<unsigned int>(random())));
            made.back()->AddToStaticList();
        }
        return made;
    }();
    return all;
}

std::vector<unsigned int> randomIds() {
    std::vector<unsigned int> ids;
    std::mt19937 random(8);
    for (int i = 0; i < 4096; ++i) {
        ids.push_back(procedures()[random() % kProcedures]->GetId());
    }
    return ids;
}

void callWithSharedLib(benchmark::State& state) {
    const std::vector<unsigned int> ids = randomIds();
    CRpcMgr* manager = CRpcMgr::GetInstance();
    CPackedData arguments;
    std::size_t next = 0;
    for (auto _ : state) {
        manager->CallFunction(nullptr, nullptr, arguments, ids[next++ % ids.size()]);
    }
}

struct HandMadeStats {
    std::int64_t nanoseconds = 0;
    std::int64_t count = 0;
};

void callByHand(benchmark::State& state) {
    const std::vector<unsigned int> ids = randomIds();
    std::vector<CRpc*> table;
    for (const auto& procedure : procedures()) {
        table.push_back(procedure.get());
    }
    std::sort(table.begin(), table.end(), [](const CRpc* a, const CRpc* b) { return a->GetId() < b->GetId(); });
    std::vector<HandMadeStats> stats(table.size());
    CPackedData arguments;
    std::size_t next = 0;
    for (auto _ : state) {
        const unsigned int id = ids[next++ % ids.size()];
        const auto found = std::lower_bound(table.begin(), table.end(), id,
                                            [](const CRpc* rpc, unsigned int key) { return rpc->GetId() < key; });
        const auto start = std::chrono::steady_clock::now();
        (*found)->Invoke(nullptr, 0, arguments);
        HandMadeStats& entry = stats[static_cast<std::size_t>(found - table.begin())];
        entry.nanoseconds += (std::chrono::steady_clock::now() - start).count();
        ++entry.count;
    }
    benchmark::DoNotOptimize(stats.data());
}

BENCHMARK(callWithSharedLib)->Name("rpc/ours");
BENCHMARK(callByHand)->Name("rpc/by hand");

} // namespace
