// Streaming Aravis' fake GigE Vision camera over the loopback interface three ways, in one run:
//
// BM_AravisAlone     Aravis' own acquisition loop, as arv-camera-test runs it: the camera's
//                    stream with four Aravis buffers, arv_stream_timeout_pop_buffer and push
//                    back (packet socket off, socket buffer auto).
// BM_Producer        tq4_aravis.cti through its GenTL functions: four announced buffers,
//                    EventGetData and DSQueueBuffer.
// BM_Driver          the driver with tq4_aravis.cti as its producer: four caller buffers through
//                    Set_Image_Buffer, each queued again as soon as its event is set.
//
// Each row streams kFrames frames of 512 x 512 Mono8 at the camera's rate, with a 4 MiB
// socket buffer and the packet socket off. Counters: fps,
// cpu_us_per_frame (this process's CPU time per frame: the camera runs in another process),
// incomplete (frames that lost packets, where the row can tell).
//
// The camera is this program started with "--camera <frame period in us>" (see README.md).
#include <arv.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "gentl-module/GenTL.h"
#include "platform/Platform.h"
#include "tests/support/CallerBuffer.h"
#include "tests/support/Telegrams.h"
#include "tq4_genicam.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace GenTL;
namespace platform = tq4::platform;
namespace test = tq4::test;

constexpr int kFrames = 1000;
constexpr int kBuffers = 4;
constexpr size_t kPayload = 512 * 512;
constexpr const char* kDeviceId = "Aravis-Fake-GV01";
// The stream socket's receive buffer of every row (the kernel caps it at net.core.rmem_max).
constexpr int kSocketBuffer = 4 << 20;

// Wall time and process CPU time of one row.
struct Meter {
    Clock::time_point wall = Clock::now();
    std::clock_t cpu = std::clock();
    void report(benchmark::State& state, int frames, int incomplete) const {
        const double seconds = std::chrono::duration<double>(Clock::now() - wall).count();
        const double cpuSeconds = double(std::clock() - cpu) / CLOCKS_PER_SEC;
        state.counters["fps"] = frames / seconds;
        state.counters["cpu_us_per_frame"] = cpuSeconds * 1e6 / frames;
        state.counters["incomplete"] = incomplete;
    }
};

void BM_AravisAlone(benchmark::State& state) {
    for (auto _ : state) {
        GError* error = nullptr;
        ArvCamera* camera = arv_camera_new(kDeviceId, &error);
        if (camera == nullptr) return state.SkipWithError("no fake camera: start it with --camera");
        arv_camera_gv_set_stream_options(camera, ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        ArvStream* stream = arv_camera_create_stream(camera, nullptr, nullptr, &error);
        g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size", kSocketBuffer,
                     nullptr);
        for (int i = 0; i < kBuffers; ++i) arv_stream_push_buffer(stream, arv_buffer_new(kPayload, nullptr));
        arv_camera_start_acquisition(camera, &error);
        const Meter meter;
        int frames = 0, incomplete = 0;
        while (frames < kFrames) {
            ArvBuffer* buffer = arv_stream_timeout_pop_buffer(stream, 2000000);
            if (buffer == nullptr) break;
            ++frames;
            incomplete += arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS ? 0 : 1;
            arv_stream_push_buffer(stream, buffer);
        }
        meter.report(state, frames, incomplete);
        arv_camera_stop_acquisition(camera, &error);
        g_object_unref(stream);
        g_object_unref(camera);
        g_clear_error(&error);
    }
}

// The GenTL functions the producer row calls, resolved by name as a consumer does.
// clang-format off
#define BENCH_GENTL(X) X(GCInitLib) X(GCCloseLib) X(TLOpen) X(TLClose) X(TLUpdateInterfaceList) X(TLOpenInterface) \
    X(IFUpdateDeviceList) X(IFOpenDevice) X(DevGetPort) X(DevOpenDataStream) X(DevClose) X(DSAnnounceBuffer)     \
    X(DSQueueBuffer) X(GCRegisterEvent) X(DSStartAcquisition) X(DSStopAcquisition) X(EventGetData)               \
    X(GCWritePort) X(DSGetBufferInfo)
// clang-format on

struct GenTLFunctions {
#define BENCH_MEMBER(name) P##name name = nullptr;
    BENCH_GENTL(BENCH_MEMBER)
#undef BENCH_MEMBER
    explicit GenTLFunctions(platform::ModuleHandle module) {
#define BENCH_RESOLVE(name) name = reinterpret_cast<P##name>(platform::moduleSymbol(module, #name));
        BENCH_GENTL(BENCH_RESOLVE)
#undef BENCH_RESOLVE
    }
};

// GigE Vision registers are big-endian; the fake camera starts and stops at 0x124.
void writeAcquisition(const GenTLFunctions& gc, PORT_HANDLE port, uint8_t on) {
    uint8_t value[4] = {0, 0, 0, on};
    size_t size = sizeof value;
    gc.GCWritePort(port, 0x124, value, &size);
}

void BM_Producer(benchmark::State& state) {
    const platform::ModuleHandle module = platform::loadModule(TQ4_ARAVIS_CTI);
    if (module == nullptr) return state.SkipWithError("tq4_aravis.cti not found");
    const GenTLFunctions gc(module);
    for (auto _ : state) {
        TL_HANDLE tl = nullptr;
        IF_HANDLE iface = nullptr;
        DEV_HANDLE dev = nullptr;
        PORT_HANDLE port = nullptr;
        DS_HANDLE ds = nullptr;
        EVENT_HANDLE event = nullptr;
        gc.GCInitLib();
        gc.TLOpen(&tl);
        gc.TLUpdateInterfaceList(tl, nullptr, 1000);
        gc.TLOpenInterface(tl, "GigEVision", &iface);
        gc.IFUpdateDeviceList(iface, nullptr, 1000);
        if (gc.IFOpenDevice(iface, kDeviceId, DEVICE_ACCESS_EXCLUSIVE, &dev) != GC_ERR_SUCCESS) {
            gc.GCCloseLib();
            return state.SkipWithError("no fake camera: start it with --camera");
        }
        gc.DevGetPort(dev, &port);
        gc.DevOpenDataStream(dev, "Stream0", &ds);
        std::vector<std::vector<uint8_t>> memory(kBuffers, std::vector<uint8_t>(kPayload));
        for (auto& m : memory) {
            BUFFER_HANDLE b = nullptr;
            gc.DSAnnounceBuffer(ds, m.data(), m.size(), nullptr, &b);
            gc.DSQueueBuffer(ds, b);
        }
        gc.GCRegisterEvent(ds, EVENT_NEW_BUFFER, &event);
        gc.DSStartAcquisition(ds, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE);
        writeAcquisition(gc, port, 1);
        const Meter meter;
        int frames = 0, incomplete = 0;
        while (frames < kFrames) {
            EVENT_NEW_BUFFER_DATA data{};
            size_t size = sizeof data;
            if (gc.EventGetData(event, &data, &size, 2000) != GC_ERR_SUCCESS) break;
            ++frames;
            bool8_t broken = 0;
            INFO_DATATYPE type = 0;
            size = sizeof broken;
            gc.DSGetBufferInfo(ds, data.BufferHandle, BUFFER_INFO_IS_INCOMPLETE, &type, &broken, &size);
            incomplete += broken ? 1 : 0;
            gc.DSQueueBuffer(ds, data.BufferHandle);
        }
        meter.report(state, frames, incomplete);
        writeAcquisition(gc, port, 0);
        gc.DSStopAcquisition(ds, ACQ_STOP_FLAGS_DEFAULT);
        gc.DevClose(dev);
        gc.TLClose(tl);
        gc.GCCloseLib();
    }
}

uint32_t send(TQ4_HANDLE h, uint16_t code, const std::vector<uint8_t>& payload = {}) {
    const std::vector<uint8_t> t = test::telegram(code, payload);
    uint8_t response[512];
    return Control_Command(h, t.data(), int32_t(t.size()), response, sizeof response);
}

void BM_Driver(benchmark::State& state) {
    platform::setEnvironment("GENICAM_GENTL64_PATH", TQ4_ARAVIS_DIR);
    for (auto _ : state) {
        TQ4_OpenStruct open{};
        open.producerList = "tq4_aravis.cti";
        TQ4_HANDLE h = nullptr;
        if (Open_Cam_Ext(0, &h, &open) != ZEVO_NOERROR) return state.SkipWithError("no fake camera");
        std::vector<uint8_t> setup(18, 0);  // u16 type, u32 flags[4]
        setup[0] = 1;                       // pixel format
        setup[2] = 0x10;                    // Mono8
        send(h, SET_CAMERA_SETUP, setup);
        send(h, ARM_CAMERA);
        send(h, SET_RECORDING_STATE, {1, 0});
        std::vector<test::CallerBuffer> ring;
        ring.reserve(kBuffers);  // the driver keeps each buffer's status word address
        while (ring.size() < size_t(kBuffers)) ring.emplace_back(kPayload, 0);
        const auto queue = [&](test::CallerBuffer& b) {
            b.event->reset();
            b.queue(Set_Image_Buffer, h, uint32_t(kPayload));
        };
        for (auto& b : ring) queue(b);
        const Meter meter;
        int frames = 0;
        for (; frames < kFrames; ++frames) {
            test::CallerBuffer& b = ring[frames % kBuffers];
            if (!b.event->wait(2000)) break;
            queue(b);
        }
        meter.report(state, frames, 0);
        Cancel_Images(h);
        Close_Cam(&h);
    }
}

BENCHMARK(BM_AravisAlone)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Producer)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Driver)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// "--camera <period us>": the fake camera on 127.0.0.1 until the process is ended.
int runCamera(uint32_t periodUs) {
    ArvGvFakeCamera* camera = arv_gv_fake_camera_new("127.0.0.1", "GV01");
    ArvFakeCamera* fake = arv_gv_fake_camera_get_fake_camera(camera);
    arv_fake_camera_write_register(fake, 0x138, periodUs);
    for (;;) std::this_thread::sleep_for(std::chrono::seconds(60));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--camera") == 0) return runCamera(argc > 2 ? std::stoul(argv[2]) : 2000);
    tq4::platform::setEnvironment("TQ4_ARAVIS_SOCKET_BUFFER", std::to_string(kSocketBuffer));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
