// How fast ZEVO.cti fills full 1296 x 1032 Mono16 frames when pacing is off, seen from a
// consumer that waits for each new buffer and queues it again. Reported as frames per second
// and as a ratio to plain memcpy of the same bytes in the same run, so that the number means
// the same on any machine.
#include "gentl-module/GenTL.h"
#include "platform/Platform.h"
#include "sim/CameraRegisters.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace GenTL;

constexpr int64_t Mono16 = 0x01100007;
constexpr size_t BufferCount = 8;

template <typename F>
F resolve(tq4::platform::ModuleHandle module, const char* name) {
    auto f = reinterpret_cast<F>(tq4::platform::moduleSymbol(module, name));
    if (f == nullptr) throw std::runtime_error(std::string("missing ") + name);
    return f;
}

void check(GC_ERROR rc, const char* what) {
    if (rc != GC_ERR_SUCCESS) throw std::runtime_error(std::string(what) + " failed: " + std::to_string(rc));
}

// A consumer streaming from the first device of the producer.
struct Consumer {
    tq4::platform::ModuleHandle module = tq4::platform::loadModule(ZEVO_CTI_PATH);
    PGCInitLib initLib = resolve<PGCInitLib>(module, "GCInitLib");
    PGCCloseLib closeLib = resolve<PGCCloseLib>(module, "GCCloseLib");
    PTLOpen tlOpen = resolve<PTLOpen>(module, "TLOpen");
    PTLUpdateInterfaceList updateInterfaces = resolve<PTLUpdateInterfaceList>(module, "TLUpdateInterfaceList");
    PTLGetInterfaceID interfaceId = resolve<PTLGetInterfaceID>(module, "TLGetInterfaceID");
    PTLOpenInterface openInterface = resolve<PTLOpenInterface>(module, "TLOpenInterface");
    PIFUpdateDeviceList updateDevices = resolve<PIFUpdateDeviceList>(module, "IFUpdateDeviceList");
    PIFGetDeviceID deviceId = resolve<PIFGetDeviceID>(module, "IFGetDeviceID");
    PIFOpenDevice openDevice = resolve<PIFOpenDevice>(module, "IFOpenDevice");
    PDevGetPort getPort = resolve<PDevGetPort>(module, "DevGetPort");
    PDevOpenDataStream openStream = resolve<PDevOpenDataStream>(module, "DevOpenDataStream");
    PGCWritePort writePort = resolve<PGCWritePort>(module, "GCWritePort");
    PDSAllocAndAnnounceBuffer allocBuffer = resolve<PDSAllocAndAnnounceBuffer>(module, "DSAllocAndAnnounceBuffer");
    PDSQueueBuffer queueBuffer = resolve<PDSQueueBuffer>(module, "DSQueueBuffer");
    PGCRegisterEvent registerEvent = resolve<PGCRegisterEvent>(module, "GCRegisterEvent");
    PDSStartAcquisition startAcquisition = resolve<PDSStartAcquisition>(module, "DSStartAcquisition");
    PDSStopAcquisition stopAcquisition = resolve<PDSStopAcquisition>(module, "DSStopAcquisition");
    PEventGetData getData = resolve<PEventGetData>(module, "EventGetData");

    DS_HANDLE ds = nullptr;
    EVENT_HANDLE event = nullptr;
    size_t payload = size_t(1296) * 1032 * 2;

    Consumer() {
        const std::string config = tq4::platform::getEnvironment("TMPDIR").empty()
                                       ? "/tmp/zevo_bench.cfg"
                                       : tq4::platform::getEnvironment("TMPDIR") + "/zevo_bench.cfg";
        std::ofstream(config, std::ios::trunc) << "unlimited_frame_rate = 1\n";
        tq4::platform::setEnvironment("ZEVO_SIM_CONFIG", config);
        check(initLib(), "GCInitLib");
        TL_HANDLE tl = nullptr;
        IF_HANDLE iface = nullptr;
        DEV_HANDLE dev = nullptr;
        PORT_HANDLE port = nullptr;
        char id[256];
        size_t size = sizeof(id);
        check(tlOpen(&tl), "TLOpen");
        check(updateInterfaces(tl, nullptr, 100), "TLUpdateInterfaceList");
        check(interfaceId(tl, 0, id, &size), "TLGetInterfaceID");
        check(openInterface(tl, id, &iface), "TLOpenInterface");
        check(updateDevices(iface, nullptr, 100), "IFUpdateDeviceList");
        size = sizeof(id);
        check(deviceId(iface, 0, id, &size), "IFGetDeviceID");
        check(openDevice(iface, id, DEVICE_ACCESS_EXCLUSIVE, &dev), "IFOpenDevice");
        check(getPort(dev, &port), "DevGetPort");
        check(openStream(dev, "Stream0", &ds), "DevOpenDataStream");
        int64_t value = Mono16;
        size = sizeof(value);
        check(writePort(port, zevo::reg::kPixelFormat, &value, &size), "PixelFormat");
        for (size_t i = 0; i < BufferCount; ++i) {
            BUFFER_HANDLE b = nullptr;
            check(allocBuffer(ds, payload, nullptr, &b), "DSAllocAndAnnounceBuffer");
            check(queueBuffer(ds, b), "DSQueueBuffer");
        }
        check(registerEvent(ds, EVENT_NEW_BUFFER, &event), "GCRegisterEvent");
        check(startAcquisition(ds, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), "DSStartAcquisition");
        value = 1;
        size = sizeof(value);
        check(writePort(port, zevo::reg::kAcquisitionStart, &value, &size), "AcquisitionStart");
    }
    ~Consumer() {
        stopAcquisition(ds, ACQ_STOP_FLAGS_KILL);
        closeLib();
    }

    void nextFrame() {
        EVENT_NEW_BUFFER_DATA data{};
        size_t size = sizeof(data);
        check(getData(event, &data, &size, 5000), "EventGetData");
        check(queueBuffer(ds, data.BufferHandle), "DSQueueBuffer");
    }
};

// Frames per second of memcpy over the same bytes, measured in this run: like the producer,
// from a few prepared images into the consumer's ring of buffers.
double memcpyFramesPerSecond(size_t bytes) {
    std::vector<std::vector<uint8_t>> from(4, std::vector<uint8_t>(bytes, 0x5A));
    std::vector<std::vector<uint8_t>> to(BufferCount, std::vector<uint8_t>(bytes));
    constexpr int Rounds = 400;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < Rounds; ++i) {
        std::memcpy(to[size_t(i) % to.size()].data(), from[size_t(i) % from.size()].data(), bytes);
        benchmark::DoNotOptimize(to[size_t(i) % to.size()].data());
        benchmark::ClobberMemory();
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return Rounds / seconds;
}

void BM_SimFullFrameMono16(benchmark::State& state) {
    Consumer consumer;
    for (int i = 0; i < 20; ++i) consumer.nextFrame();  // scene rendered, pipeline full
    const auto begin = std::chrono::steady_clock::now();
    for (auto _ : state) consumer.nextFrame();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const double fps = double(state.iterations()) / seconds;
    state.counters["frames_per_s"] = fps;
    state.counters["vs_memcpy"] = fps / memcpyFramesPerSecond(consumer.payload);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(consumer.payload));
}
BENCHMARK(BM_SimFullFrameMono16)->MinTime(2.0)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
