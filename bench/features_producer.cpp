// The same feature helper round trips as features_nodemap, but through the real register path:
// node map -> Port -> GCReadPort/GCWritePort of the simulated producer. Each helper is timed
// with the register cache off (as the driver ships) and, for comparison only, on; the ratio
// off/on shows what the port costs per call.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "bench/feature_calls.h"
#include "gentl/Device.h"
#include "gentl/SystemTLI.h"

namespace {

using namespace tq4;
using namespace tq4::bench;

// The simulated camera opened through the transport, in a private data folder.
class ProducerCamera {
public:
    ProducerCamera() {
        const auto folder = std::filesystem::temp_directory_path() / "tq4_bench_features_producer";
        std::filesystem::create_directories(folder);
        setenv("TQ4_COMMON_APPDATA", folder.c_str(), 1);
        setenv("GENICAM_GENTL64_PATH", TQ4_SIM_DIR, 1);
        unsetenv("ZEVO_SIM_CONFIG");
        system_ = std::make_unique<gentl::SystemTLI>("ZEVO.cti");
        system_->updateInterfaces();
        system_->updateDeviceMaps();
        void* handle = system_->openDevice(0, "ZEVO.cti");
        device_ = system_->findDevice([handle](const gentl::Device& d) { return d.handle() == handle; });
        if (!handle || !device_ || !device_->nodeMap()) throw std::runtime_error("simulated camera did not open");
    }
    ~ProducerCamera() {
        if (device_) device_->close();
    }
    features::NodeMap& map() { return *device_->nodeMap(); }

private:
    std::unique_ptr<gentl::SystemTLI> system_;
    std::shared_ptr<gentl::Device> device_;
};

ProducerCamera& camera() {
    static ProducerCamera instance;
    return instance;
}

void BM_ProducerPort(benchmark::State& state) {
    const Helper& helper = kHelpers[state.range(0)];
    features::NodeMap& map = camera().map();
    map.setRegisterCacheEnabled(state.range(1) != 0);
    for (auto _ : state) helper.call(map);
    map.setRegisterCacheEnabled(false);
    state.SetLabel(helperAndCacheLabel(state));
}
BENCHMARK(BM_ProducerPort)->Apply(overHelpersAndCache);

void BM_ProducerPortCacheOffOverOn(benchmark::State& state) {
    const Helper& helper = kHelpers[state.range(0)];
    features::NodeMap& map = camera().map();
    double offNs = 0, onNs = 0;
    for (auto _ : state) {
        map.setRegisterCacheEnabled(false);
        offNs = medianNsPerCall(helper, map);
        map.setRegisterCacheEnabled(true);
        onNs = medianNsPerCall(helper, map);
    }
    map.setRegisterCacheEnabled(false);
    state.SetLabel(helper.name);
    state.counters["cache_off_ns"] = offNs;
    state.counters["cache_on_ns"] = onNs;
    state.counters["off_over_on"] = offNs / onNs;
}
BENCHMARK(BM_ProducerPortCacheOffOverOn)
    ->DenseRange(0, 3)
    ->ArgName("helper")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace
