// SPDX-License-Identifier: Apache-2.0
// Live tuning over loopback: round trips per second, and what a client that never rests costs the
// camera's own calls.
#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>

#include "bench/support/tuning_file.hpp"
#include "support/dialin_fixture.hpp"
#include "support/tuning_fixture.hpp"

namespace {

constexpr char kModule[] = "0.0|2.5:alpha:";
constexpr TuningMode kBranch[] = {{0, 0, 0}, {2, 5, 0}};

class ServedManager : public SampleManager {
  public:
    ServedManager() {
        ParameterDialinCom::LoopbackOnly = true;
        CreateWorker();
        tuning::Bytes bytes = bench::MakeFile(1000);
        LoadBinaryParameters(bytes.data(), bytes.size());
    }
    ~ServedManager() override { DeleteWorker(); }
    uint16_t Port() { return static_cast<ParameterDialinCom*>(GetWorker()->GetCom())->GetPort(); }
};

void RoundTrips(benchmark::State& state, const Frame& request) {
    ServedManager manager;
    DialinClient client(manager.Port());
    for (auto _ : state) {
        if (client.Ask(request).size() < 7) {
            state.SkipWithError("no reply");
            break;
        }
    }
    state.counters["round_trips"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void DialinGet(benchmark::State& state) {
    RoundTrips(state, Request(5, 1, std::string(kModule) + "number"));
}
void DialinSet(benchmark::State& state) {
    RoundTrips(state, Request(6, 1, std::string(kModule) + "number=5"));
}

void GetModules(benchmark::State& state, ServedManager& manager) {
    ParameterModule* module = nullptr;
    for (auto _ : state) {
        module = manager.GetModule("alpha", kBranch, 2, module);
        benchmark::DoNotOptimize(module);
    }
    manager.ReleaseModule(module);
}

void GetModuleAlone(benchmark::State& state) {
    ServedManager manager;
    GetModules(state, manager);
}

void GetModuleBesideAClient(benchmark::State& state) {
    ServedManager manager;
    std::atomic<bool> stop{false};
    std::atomic<int64_t> asked{0};
    std::thread tuner([&] {
        DialinClient client(manager.Port());
        const Frame request = Request(6, 1, std::string(kModule) + "number=5");
        while (!stop && !client.Ask(request).empty()) {
            ++asked;
        }
    });
    GetModules(state, manager);
    stop = true;
    tuner.join();
    state.counters["sets"] = static_cast<double>(asked);
}

BENCHMARK(DialinGet)->UseRealTime();
BENCHMARK(DialinSet)->UseRealTime();
BENCHMARK(GetModuleAlone)->UseRealTime();
BENCHMARK(GetModuleBesideAClient)->UseRealTime();

}  // namespace
