// Test helper: loads ZEVO.cti with the platform's module loader and resolves every GenTL
// function by name, exactly as a consumer does; plus a session that walks the tree down to
// an open data stream, and a typed view of the camera's registers.
#pragma once

#include "gentl-module/GenTL.h"
#include "platform/Platform.h"
#include "sim/CameraRegisters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace zevo::test {

using namespace GenTL;

// clang-format off
#define ZEVO_GENTL_FUNCTIONS(X)                                                                               \
    X(GCInitLib) X(GCCloseLib) X(GCGetInfo) X(GCGetLastError) X(GCReadPort) X(GCWritePort) X(GCGetPortURL)  \
    X(GCGetPortInfo) X(GCRegisterEvent) X(GCUnregisterEvent) X(EventGetData) X(EventGetDataInfo)             \
    X(EventGetInfo) X(EventFlush) X(EventKill) X(TLOpen) X(TLClose) X(TLGetInfo) X(TLGetNumInterfaces)        \
    X(TLGetInterfaceID) X(TLGetInterfaceInfo) X(TLOpenInterface) X(TLUpdateInterfaceList) X(IFClose)        \
    X(IFGetInfo) X(IFGetNumDevices) X(IFGetDeviceID) X(IFUpdateDeviceList) X(IFGetDeviceInfo)               \
    X(IFOpenDevice) X(DevGetPort) X(DevGetNumDataStreams) X(DevGetDataStreamID) X(DevOpenDataStream)         \
    X(DevGetInfo) X(DevClose) X(DSAnnounceBuffer) X(DSAllocAndAnnounceBuffer) X(DSFlushQueue)                 \
    X(DSStartAcquisition) X(DSStopAcquisition) X(DSGetInfo) X(DSGetBufferID) X(DSClose) X(DSRevokeBuffer)     \
    X(DSQueueBuffer) X(DSGetBufferInfo) X(GCGetNumPortURLs) X(GCGetPortURLInfo) X(GCReadPortStacked)          \
    X(GCWritePortStacked) X(DSGetBufferChunkData) X(IFGetParentTL) X(DevGetParentIF) X(DSGetParentDev)       \
    X(DSGetNumBufferParts) X(DSGetBufferPartInfo) X(DSAnnounceCompositeBuffer) X(DSGetBufferInfoStacked)     \
    X(DSGetBufferPartInfoStacked) X(DSGetNumFlows) X(DSGetFlowInfo) X(DSGetNumBufferSegments)                 \
    X(DSGetBufferSegmentInfo)
// clang-format on

struct Producer {
#define ZEVO_MEMBER(name) P##name name = nullptr;
    ZEVO_GENTL_FUNCTIONS(ZEVO_MEMBER)
#undef ZEVO_MEMBER
    tq4::platform::ModuleHandle module = nullptr;
    int resolved = 0;

    // One load per test program: the producer is a process-wide library like any .cti.
    static Producer& get() {
        static Producer p = load();
        return p;
    }

private:
    static Producer load() {
        Producer p;
        p.module = tq4::platform::loadModule(ZEVO_CTI_PATH);
#define ZEVO_RESOLVE(name)                                                                                 \
    p.name = reinterpret_cast<P##name>(p.module ? tq4::platform::moduleSymbol(p.module, #name) : nullptr); \
    p.resolved += p.name != nullptr;
        ZEVO_GENTL_FUNCTIONS(ZEVO_RESOLVE)
#undef ZEVO_RESOLVE
        return p;
    }
};

// Writes `text` as the configuration file and points ZEVO_SIM_CONFIG at it (empty: none).
// The file name is unique per process, so that test programs may run in parallel; the file
// goes when the program ends.
inline void useConfig(const std::string& text) {
    struct ConfigFile {
        std::string path = ::testing::TempDir() + "zevo_sim_test_" + std::to_string(std::random_device{}()) + ".cfg";
        ~ConfigFile() { std::remove(path.c_str()); }
    };
    static const ConfigFile file;
    std::ofstream(file.path, std::ios::trunc) << text;
    tq4::platform::setEnvironment("ZEVO_SIM_CONFIG", text.empty() ? std::string() : file.path);
}

// Library, system, first interface, first device, remote port and first data stream.
struct Session {
    Producer& gc = Producer::get();
    TL_HANDLE tl = nullptr;
    IF_HANDLE iface = nullptr;
    DEV_HANDLE dev = nullptr;
    PORT_HANDLE port = nullptr;
    DS_HANDLE ds = nullptr;
    std::string deviceId;

    enum Depth { ToInterface, ToDevice, ToStream };

    // ToInterface also lists the devices once and remembers the first ID, if any.
    explicit Session(const std::string& config = "", Depth depth = ToStream) {
        useConfig(config);
        EXPECT_EQ(gc.GCInitLib(), GC_ERR_SUCCESS);
        EXPECT_EQ(gc.TLOpen(&tl), GC_ERR_SUCCESS);
        EXPECT_EQ(gc.TLUpdateInterfaceList(tl, nullptr, 100), GC_ERR_SUCCESS);
        const std::string ifId = text([&](char* b, size_t* s) { return gc.TLGetInterfaceID(tl, 0, b, s); });
        EXPECT_EQ(gc.TLOpenInterface(tl, ifId.c_str(), &iface), GC_ERR_SUCCESS);
        EXPECT_EQ(gc.IFUpdateDeviceList(iface, nullptr, 100), GC_ERR_SUCCESS);
        deviceId = text([&](char* b, size_t* s) { return gc.IFGetDeviceID(iface, 0, b, s); });
        if (depth == ToInterface) return;
        EXPECT_EQ(gc.IFOpenDevice(iface, deviceId.c_str(), DEVICE_ACCESS_EXCLUSIVE, &dev), GC_ERR_SUCCESS);
        EXPECT_EQ(gc.DevGetPort(dev, &port), GC_ERR_SUCCESS);
        if (depth == ToDevice) return;
        const std::string dsId = text([&](char* b, size_t* s) { return gc.DevGetDataStreamID(dev, 0, b, s); });
        EXPECT_EQ(gc.DevOpenDataStream(dev, dsId.c_str(), &ds), GC_ERR_SUCCESS);
    }
    ~Session() { EXPECT_EQ(gc.GCCloseLib(), GC_ERR_SUCCESS); }

    // A text answer of a size-query function: first the size, then the text.
    template <typename Query>
    static std::string text(Query query) {
        size_t size = 0;
        if (query(nullptr, &size) != GC_ERR_SUCCESS || size == 0) return {};
        std::vector<char> buffer(size);
        if (query(buffer.data(), &size) != GC_ERR_SUCCESS) return {};
        return std::string(buffer.data());
    }

    // A register of the remote port as T; writes take T as given (int64_t unless named).
    template <typename T = int64_t>
    T read(uint64_t address) const {
        T v{};
        size_t n = sizeof(v);
        EXPECT_EQ(gc.GCReadPort(port, address, &v, &n), GC_ERR_SUCCESS);
        return v;
    }
    template <typename T = int64_t>
    GC_ERROR write(uint64_t address, std::common_type_t<T> v) const {
        size_t n = sizeof(v);
        return gc.GCWritePort(port, address, &v, &n);
    }
    std::string readString(uint64_t address, size_t length = reg::kStringLength) const {
        std::vector<char> v(length + 1, 0);
        size_t n = length;
        EXPECT_EQ(gc.GCReadPort(port, address, v.data(), &n), GC_ERR_SUCCESS);
        return v.data();
    }
    GC_ERROR execute(uint64_t address) const { return write(address, 1); }

    // A fixed-size answer of an information query `query(type, value, size)`.
    template <typename T, typename Query>
    static T info(Query query) {
        T v{};
        INFO_DATATYPE type = 0;
        size_t size = sizeof(v);
        EXPECT_EQ(query(&type, &v, &size), GC_ERR_SUCCESS);
        return v;
    }
    std::string deviceText(DEVICE_INFO_CMD cmd) const {
        return text([&](char* b, size_t* n) {
            INFO_DATATYPE t = 0;
            return gc.IFGetDeviceInfo(iface, deviceId.c_str(), cmd, &t, b, n);
        });
    }
    // The file a module's port holds, at the address and of the size its first URL gives.
    std::string portFile(void* module) const {
        const auto url = [&](URL_INFO_CMD cmd) {
            return info<uint64_t>(
                [&](INFO_DATATYPE* t, uint64_t* v, size_t* n) { return gc.GCGetPortURLInfo(module, 0, cmd, t, v, n); });
        };
        const uint64_t address = url(URL_INFO_FILE_REGISTER_ADDRESS);
        std::string bytes(url(URL_INFO_FILE_SIZE), '\0');
        size_t n = bytes.size();
        EXPECT_EQ(gc.GCReadPort(module, address, bytes.data(), &n), GC_ERR_SUCCESS);
        return bytes;
    }

    template <typename T>
    T streamInfo(STREAM_INFO_CMD cmd) const {
        SCOPED_TRACE("stream info " + std::to_string(cmd));
        return info<T>([&](INFO_DATATYPE* t, T* v, size_t* n) { return gc.DSGetInfo(ds, cmd, t, v, n); });
    }
    template <typename T>
    T bufferInfo(BUFFER_HANDLE b, BUFFER_INFO_CMD cmd) const {
        SCOPED_TRACE("buffer info " + std::to_string(cmd));
        return info<T>([&](INFO_DATATYPE* t, T* v, size_t* n) { return gc.DSGetBufferInfo(ds, b, cmd, t, v, n); });
    }
};

}  // namespace zevo::test
