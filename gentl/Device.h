// One camera reached through a GenTL producer: its device handle, its register port, the node
// map built from the camera description, and its data streams. Registered (closed) by its
// Interface at discovery; opened and closed by the caller's open and close.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "gentl-module/GenTL.h"
#include "gentl/OrderedMap.h"

namespace tq4::features {
class NodeMap;
}
namespace tq4::stream {
class DataStream;
}

namespace tq4::gentl {

class GenTLModule;
class Port;

class Device {
public:
    // Image time-out used when the caller's image call passes 0 and no time-out was set.
    static constexpr uint32_t kDefaultImageTimeoutMs = 10000;

    // What open does once the device, its node map and its streams are up: bring the camera
    // into the state callers expect. The driver installs the camera preparation; without one
    // (the transport on its own) the camera is left as it is.
    using Preparation = void (*)(Device&);
    static void setPreparation(Preparation prepare);

    Device(std::shared_ptr<GenTLModule> module, GenTL::IF_HANDLE hIF, std::string id, std::string displayName,
           std::string version);
    // Closes the streams and, if still open, the GenTL device.
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // Opens the camera with exclusive access, its port, node map and data streams, and applies
    // the camera defaults. Returns the device handle, nullptr on failure (then the device is
    // closed again). Errors of the description loader (features::GenericException) and of the
    // file system (std::exception) propagate to the caller after the device has been closed.
    void* open(int32_t num, const std::string& text);
    // One close: nullptr when the device was really closed, else its handle (still open).
    void* close();
    // GenTL DEVICE_INFO_ACCESS_STATUS, -1 when it cannot be read.
    int32_t getAccessStatus();

    // The hDEV value that is the caller's HANDLE. Kept after close until the next open.
    void* handle() const { return hDEV_.load(); }
    GenTL::IF_HANDLE interfaceHandle() const { return hIF_; }
    uint32_t openCount() const { return openCount_.load(); }
    void incrementOpenCount() { ++openCount_; }
    bool isOpen() const { return openCount() != 0; }
    // The caller's camera number given to open; -1 while closed.
    int32_t number() const { return number_.load(); }
    uint32_t imageTimeout() const { return imageTimeoutMs_.load(); }
    void setImageTimeout(uint32_t ms) { imageTimeoutMs_ = ms; }
    std::recursive_mutex& mutex() { return mutex_; }

    const std::string& id() const { return id_; }
    const std::string& displayName() const { return displayName_; }
    const std::string& version() const { return version_; }
    // The producer token under which the camera was opened (e.g. "ZEVO.cti").
    const std::string& openText() const { return openText_; }
    const std::shared_ptr<GenTLModule>& module() const { return module_; }

    std::shared_ptr<features::NodeMap> nodeMap() const;
    std::shared_ptr<stream::DataStream> activeStream() const;
    std::string activeStreamId() const;
    std::size_t numDataStreams() const { return streams_.size(); }

    // DeviceSerialNumber, else InfoSerial, as an unsigned number; 0 when unreadable.
    uint32_t getSerial();
    // Timebase codes of the delay and exposure telegrams (0 ns, 1 us, 2 ms), kept for the
    // caller and never sent to the camera; both start as 1 (microseconds).
    uint16_t delayTimebase() const { return delayTimebase_.load(); }
    uint16_t exposureTimebase() const { return exposureTimebase_.load(); }
    void setTimebases(uint16_t delay, uint16_t exposure) {
        delayTimebase_ = delay;
        exposureTimebase_ = exposure;
    }
    int16_t coolingSetpoint() const { return coolingSetpoint_; }
    void setCoolingSetpoint(int16_t value) { coolingSetpoint_ = value; }
    // Hands the camera's Width/Height to the active stream; the stream's status code.
    int32_t setImageParameters(int64_t width, int64_t height);
    // Queues a caller buffer on the active stream: its status becomes "queued" and its event
    // is reset; the first buffer starts streaming. While the stream runs the buffer joins the
    // pending queue (0, or 0x360000 when the producer refused one more buffer); otherwise it
    // is not queued and 0 is returned.
    uint32_t setImageBuffer(intptr_t event, void* buffer, uint32_t size, uint32_t* status);

    // Builds a node map from the camera description (port URLs, "local:" or "file:").
    // Null when no description can be found; loader errors are thrown.
    std::shared_ptr<features::NodeMap> allocNodeMap();
    // Opens every data stream of the device; true when the active one is open.
    bool setupDataStream();

private:
    bool openGenTLDevice(int32_t num);
    bool openPort();
    bool buildNodeMap();
    // Runs the installed preparation. It may close the device to hand the camera to another
    // program; open still returns the handle, and the caller sees the device closed.
    void applyCameraDefaults();
    void openDataStream(const std::string& streamId);
    void setNodeMap(std::shared_ptr<features::NodeMap> map);
    void* failOpen();
    void closeGenTLDevice(const char* failureFormat, const char* doneFormat);

    std::recursive_mutex mutex_;
    // Guards the node map pointer and the active stream ID for readers on other threads, which
    // must not wait for an open or close in progress (those hold mutex_ for their whole run).
    mutable std::mutex stateMutex_;
    std::shared_ptr<GenTLModule> module_;
    std::atomic<void*> hDEV_{nullptr};
    GenTL::IF_HANDLE hIF_;
    std::string id_;
    std::atomic<uint32_t> openCount_{0};
    std::atomic<int32_t> number_{-1};
    std::shared_ptr<features::NodeMap> nodeMap_;
    std::unique_ptr<Port> port_;
    int16_t coolingSetpoint_ = 0;
    OrderedMap<stream::DataStream> streams_;
    std::string activeStreamId_;
    std::string openText_;
    std::string displayName_;
    std::string version_;
    std::atomic<uint32_t> imageTimeoutMs_{kDefaultImageTimeoutMs};
    std::atomic<uint16_t> delayTimebase_{1};
    std::atomic<uint16_t> exposureTimebase_{1};
};

}  // namespace tq4::gentl
