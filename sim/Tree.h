// The GenTL module tree of the simulated producer: library -> system -> interfaces ->
// devices (each with its remote device port) -> data streams.
#pragma once

#include "producer-kit/Info.h"
#include "producer-kit/Tree.h"
#include "sim/Camera.h"
#include "sim/Config.h"
#include "sim/Description.h"
#include "sim/Stream.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zevo {

class Device;

// Process-wide state between GCInitLib and GCCloseLib, including the simulated cameras
// (the "hardware"), which keep their settings while devices are closed and opened again.
class Library : public ProducerLibrary {
public:
    static Library& instance();

    const Config& config() const { return *config_; }
    FaultPoints& faults() { return faults_; }
    std::shared_ptr<Camera> camera(size_t index) const { return cameras_.at(index); }

    uint32_t interfaceCount() const override { return config().interfaces; }
    std::string interfaceId(uint32_t index) const override;
    InfoValue interfaceInfo(uint32_t index, INTERFACE_INFO_CMD command) const override;
    std::shared_ptr<InterfaceModule> newInterface(std::weak_ptr<System> system, uint32_t index) override;
    // The injected delays and faults of `function`.
    void enter(const char* function) override;

private:
    void load() override;  // reads the configuration
    void unload() override { cameras_.clear(); }

    std::unique_ptr<Config> config_;
    FaultPoints faults_;
    std::vector<std::shared_ptr<Camera>> cameras_;
};

class Interface : public InterfaceModule {
public:
    using InterfaceModule::InterfaceModule;

    void updateDeviceList(bool8_t* changed) override;
    InfoValue deviceInfo(const std::string& id, DEVICE_INFO_CMD command) const override;
    std::shared_ptr<DeviceModule> openDevice(const std::string& id, DEVICE_ACCESS_FLAGS flags) override;
    DEVICE_ACCESS_STATUS accessStatus(const std::string& deviceId) const;

private:
    size_t cameraIndexOf(const std::string& deviceId) const;  // GC_ERR_INVALID_ID when not listed

    uint32_t updates_ = 0;
};

class RemotePort : public Module {
public:
    RemotePort(std::shared_ptr<Camera> camera, std::string deviceId, bool readOnly);
    ModuleKind kind() const override { return ModuleKind::RemotePort; }
    PortIdentity portIdentity() const override;
    void readPort(uint64_t address, void* buffer, size_t size) override;
    void writePort(uint64_t address, const void* buffer, size_t size) override;
    std::string portUrl() override { return description().url; }
    const Description& description() const { return camera_->description(); }
    // Bytes that a read of [address, address + size) really returns (short-read fault).
    size_t deliverable(uint64_t address, size_t size) const override;

private:
    std::shared_ptr<Camera> camera_;
    const std::string deviceId_;
    const bool readOnly_;
};

class Device : public DeviceModule {
public:
    Device(std::weak_ptr<InterfaceModule> iface, std::shared_ptr<Camera> camera, std::string id, bool readOnly);

    bool readOnly() const { return readOnly_; }
    InfoValue info(DEVICE_INFO_CMD command) const override;
    void createPort();

    uint32_t numStreams() const override;
    std::shared_ptr<StreamModule> openStream(const std::string& id) override;
    void streamClosed(const StreamModule& stream, std::vector<void*>& released) override;
    void close(std::vector<void*>& released) override;

private:
    std::shared_ptr<Camera> camera_;
    const bool readOnly_;
    mutable std::mutex mutex_;
    std::map<std::string, std::shared_ptr<Stream>> streams_;
};

// Access status of an open device: the status forced always, else the one forced once open, else
// open read/write (or read-only).
DEVICE_ACCESS_STATUS openAccessStatus(bool readOnly);

// Device information shared by IFGetDeviceInfo and DevGetInfo.
InfoValue deviceInfo(const Camera& camera, const std::string& id, DEVICE_ACCESS_STATUS status, DEVICE_INFO_CMD command);

}  // namespace zevo
