// The feature helper calls that the node-map benchmarks time, and a median-of-batches timer, so
// that the in-memory port and the producer's port are measured the same way.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "features/Features.h"

namespace tq4::bench {

using namespace tq4::features;

struct Helper {
    const char* name;
    std::function<void(NodeMap&)> call;
};

inline const Helper kHelpers[] = {
    {"getInteger", [](NodeMap& m) { benchmark::DoNotOptimize(getInteger(m, "Width")); }},
    {"getFloat", [](NodeMap& m) { benchmark::DoNotOptimize(getFloat(m, "ExposureTime")); }},
    {"setFloat", [](NodeMap& m) { benchmark::DoNotOptimize(setFloat(m, "ExposureTime", 1500.0)); }},
    {"getEnum", [](NodeMap& m) { benchmark::DoNotOptimize(getEnum(m, "PixelFormat")); }},
};

// A run over one helper (argument 0) with the register cache off or on (argument 1).
inline std::string helperAndCacheLabel(const benchmark::State& state) {
    return std::string(kHelpers[state.range(0)].name) + (state.range(1) ? " cache on" : " cache off");
}
inline void overHelpersAndCache(benchmark::internal::Benchmark* b) {
    b->ArgsProduct({{0, 1, 2, 3}, {0, 1}})->ArgNames({"helper", "cache"})->Repetitions(5)->ReportAggregatesOnly(true);
}

inline double medianNsPerCall(const Helper& helper, NodeMap& map) {
    constexpr int kBatches = 21, kCalls = 200;
    std::vector<double> batches;
    for (int b = 0; b < kBatches; ++b) {
        auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kCalls; ++i) helper.call(map);
        std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
        batches.push_back(elapsed.count() / kCalls);
    }
    std::nth_element(batches.begin(), batches.begin() + kBatches / 2, batches.end());
    return batches[kBatches / 2];
}

}  // namespace tq4::bench
