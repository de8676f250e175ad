// Round trips of the feature helpers through the node map to a register port held in memory.
// BM_Helper gives the median time per call of each helper with the register cache off (as the
// driver ships) and on; BM_CacheOffOverOn measures both in the same run and reports the ratio.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>

#include "bench/feature_calls.h"
#include "features/Features.h"
#include "tests/features/TestCamera.h"

namespace {

using namespace tq4::features;
using namespace tq4::bench;

// A camera behind a port; the place to add other ports (the producer's) for comparison.
struct Rig {
    test::MemoryPort port;
    NodeMap map;
    explicit Rig(bool cache) {
        port.fillDefaults();
        map.loadXml(test::kDescription, sizeof test::kDescription);
        map.connect(&port);
        map.setRegisterCacheEnabled(cache);
    }
};

void BM_Helper(benchmark::State& state) {
    const Helper& helper = kHelpers[state.range(0)];
    Rig rig(state.range(1) != 0);
    for (auto _ : state) helper.call(rig.map);
    state.SetLabel(helperAndCacheLabel(state));
    state.counters["port_reads_per_call"] = benchmark::Counter(double(rig.port.reads) / double(state.iterations()));
}
BENCHMARK(BM_Helper)->Apply(overHelpersAndCache);

void BM_CacheOffOverOn(benchmark::State& state) {
    const Helper& helper = kHelpers[state.range(0)];
    Rig off(false), on(true);
    double offNs = 0, onNs = 0;
    for (auto _ : state) {
        offNs = medianNsPerCall(helper, off.map);
        onNs = medianNsPerCall(helper, on.map);
    }
    state.SetLabel(helper.name);
    state.counters["cache_off_ns"] = offNs;
    state.counters["cache_on_ns"] = onNs;
    state.counters["off_over_on"] = offNs / onNs;
}
BENCHMARK(BM_CacheOffOverOn)->DenseRange(0, 3)->ArgName("helper")->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
