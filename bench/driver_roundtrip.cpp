// What the driver adds to a telegram. Control_Command for three commands (one feature read
// behind GET_CAMERA_TYPE, a selector walk behind GET_TEMPERATURE, many features behind
// GET_CAMERA_DESCRIPTION) is timed call by call through the driver library loaded as the SDK
// loads it, and set against one bare register read (GCReadPort of the Width register) on the
// same simulated camera without the driver. Counters: median and 99th percentile per call in
// nanoseconds, and the median as a multiple of the bare read's median from the same run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "gentl-module/GenTLModule.h"
#include "tools/DriverLibrary.h"

namespace {

constexpr uint64_t kWidthRegister = 0x1020;
constexpr int kCalls = 2000;

double gBareReadMedianNs = 0;

void prepareEnvironment() {
    static const bool done = [] {
        const auto folder = std::filesystem::temp_directory_path() / "tq4_driver_bench";
        std::filesystem::create_directories(folder);
        setenv("TQ4_COMMON_APPDATA", folder.c_str(), 1);
        setenv("GENICAM_GENTL64_PATH", TQ4_SIM_DIR, 1);
        unsetenv("ZEVO_SIM_CONFIG");
        setenv("TQ4_QUESTION_ANSWER", "no", 1);  // no correction references, nobody to ask
        return true;
    }();
    (void)done;
}

class Timings {
public:
    template <typename Call>
    void measure(benchmark::State& state, const Call& call) {
        samples_.reserve(kCalls);
        for (auto _ : state) {
            const auto start = std::chrono::steady_clock::now();
            call();
            const auto end = std::chrono::steady_clock::now();
            samples_.push_back(std::chrono::duration<double, std::nano>(end - start).count());
        }
        std::sort(samples_.begin(), samples_.end());
    }
    double percentile(double p) const {
        if (samples_.empty()) return 0;
        return samples_[std::min(samples_.size() - 1, static_cast<std::size_t>(p * samples_.size()))];
    }
    void report(benchmark::State& state) const {
        state.counters["median_ns"] = percentile(0.5);
        state.counters["p99_ns"] = percentile(0.99);
        if (gBareReadMedianNs > 0) state.counters["x_bare_read"] = percentile(0.5) / gBareReadMedianNs;
    }

private:
    std::vector<double> samples_;
};

// The first device of the simulated producer, opened without the driver, and its remote port.
class BarePort {
public:
    BarePort() : module_("ZEVO.cti") {
        const auto& fn = module_.fn();
        if (!module_.init() || fn.TLOpen(&hTL_) != GenTL::GC_ERR_SUCCESS) return;
        fn.TLUpdateInterfaceList(hTL_, nullptr, 100);
        if (fn.TLOpenInterface(hTL_, firstId(fn.TLGetInterfaceID, hTL_).c_str(), &hIF_) != GenTL::GC_ERR_SUCCESS)
            return;
        fn.IFUpdateDeviceList(hIF_, nullptr, 100);
        if (fn.IFOpenDevice(hIF_, firstId(fn.IFGetDeviceID, hIF_).c_str(), GenTL::DEVICE_ACCESS_EXCLUSIVE, &hDev_) !=
            GenTL::GC_ERR_SUCCESS)
            return;
        fn.DevGetPort(hDev_, &hPort_);
    }
    ~BarePort() {
        const auto& fn = module_.fn();
        if (hDev_) fn.DevClose(hDev_);
        if (hIF_) fn.IFClose(hIF_);
        if (hTL_) fn.TLClose(hTL_);
    }
    bool ready() const { return hPort_ != nullptr; }
    void read() {
        uint8_t value[8];
        std::size_t size = sizeof value;
        module_.fn().GCReadPort(hPort_, kWidthRegister, value, &size);
    }

private:
    template <typename GetId, typename Handle>
    static std::string firstId(GetId getId, Handle handle) {
        char id[1024] = {};
        std::size_t size = sizeof id;
        return getId && getId(handle, 0, id, &size) == GenTL::GC_ERR_SUCCESS ? std::string(id) : std::string();
    }

    tq4::gentl::GenTLModule module_;
    GenTL::TL_HANDLE hTL_ = nullptr;
    GenTL::IF_HANDLE hIF_ = nullptr;
    GenTL::DEV_HANDLE hDev_ = nullptr;
    GenTL::PORT_HANDLE hPort_ = nullptr;
};

tq4::tools::DriverLibrary& driverLibrary() {
    static tq4::tools::DriverLibrary library;
    static const bool loaded = [] {
        std::string error;
        return library.load(TQ4_DRIVER_LIBRARY, error);
    }();
    (void)loaded;
    return library;
}

void BM_BarePortRead(benchmark::State& state) {
    prepareEnvironment();
    BarePort port;
    if (!port.ready()) {
        state.SkipWithError("the simulated camera cannot be opened");
        return;
    }
    Timings timings;
    timings.measure(state, [&port] { port.read(); });
    gBareReadMedianNs = timings.percentile(0.5);
    timings.report(state);
}

void BM_ControlCommand(benchmark::State& state) {
    prepareEnvironment();
    auto& library = driverLibrary();
    if (!library.controlCommand) {
        state.SkipWithError("the driver library cannot be loaded");
        return;
    }
    tq4::tools::CameraSession camera(library, 0, "");
    if (!camera.isOpen()) {
        state.SkipWithError("the simulated camera cannot be opened through the driver");
        return;
    }
    const auto request = tq4::tools::buildTelegram(static_cast<uint16_t>(state.range(0)), {});
    uint8_t response[512];
    Timings timings;
    timings.measure(state, [&] {
        benchmark::DoNotOptimize(library.controlCommand(
            camera.handle(), request.data(), static_cast<int32_t>(request.size()), response, sizeof response));
    });
    timings.report(state);
}

}  // namespace

// The bare read runs first: the command benchmarks divide by its median.
BENCHMARK(BM_BarePortRead)->Iterations(20 * kCalls);
BENCHMARK(BM_ControlCommand)->ArgName("GET_CAMERA_TYPE")->Arg(GET_CAMERA_TYPE)->Iterations(kCalls);
BENCHMARK(BM_ControlCommand)->ArgName("GET_TEMPERATURE")->Arg(GET_TEMPERATURE)->Iterations(kCalls);
BENCHMARK(BM_ControlCommand)->ArgName("GET_CAMERA_DESCRIPTION")->Arg(GET_CAMERA_DESCRIPTION)->Iterations(kCalls);
