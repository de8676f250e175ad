// The GenTL module tree of the simulated producer: library -> system -> interfaces ->
// devices (each with its remote device port) -> data streams.
#pragma once

#include "producer-kit/Info.h"
#include "sim/Camera.h"
#include "sim/Config.h"
#include "sim/Module.h"
#include "sim/Stream.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zevo {

class System;
class Interface;
class Device;

// Process-wide state between GCInitLib and GCCloseLib, including the simulated cameras
// (the "hardware"), which keep their settings while devices are closed and opened again.
class Library {
public:
    static Library& instance();

    void init();   // reads the configuration; GC_ERR_RESOURCE_IN_USE when initialised
    void close();  // closes everything; GC_ERR_NOT_INITIALIZED when not initialised
    bool initialized() const { return initialized_; }

    const Config& config() const { return *config_; }
    FaultPoints& faults() { return faults_; }
    Registry& registry() { return registry_; }
    std::shared_ptr<Camera> camera(size_t index) const { return cameras_.at(index); }
    std::string producerPath() const;

    std::shared_ptr<System> openSystem();
    void systemClosed();

    // Removes closed modules' handles from the registry.
    void release(const std::vector<void*>& handles);

private:
    std::mutex mutex_;
    std::atomic<bool> initialized_{false};
    std::unique_ptr<Config> config_;
    FaultPoints faults_;
    Registry registry_;
    std::shared_ptr<System> system_;
    std::vector<std::shared_ptr<Camera>> cameras_;
};

// The answers of GCGetInfo and TLGetInfo.
InfoValue systemInfo(TL_INFO_CMD command);

class System : public Module {
public:
    ModuleKind kind() const override { return ModuleKind::System; }
    PortIdentity portIdentity() const override;

    void updateInterfaceList(bool8_t* changed);
    uint32_t numInterfaces() const;
    std::string interfaceId(uint32_t index) const;
    InfoValue interfaceInfo(const std::string& id, INTERFACE_INFO_CMD command) const;
    std::shared_ptr<Interface> openInterface(const std::string& id);
    void interfaceClosed(const Interface& iface);
    void close(std::vector<void*>& released);

private:
    uint32_t indexOf(const std::string& id) const;  // GC_ERR_INVALID_ID when unknown

    mutable std::mutex mutex_;
    bool listed_ = false;
    std::map<std::string, std::shared_ptr<Interface>> open_;
};

class Interface : public Module {
public:
    Interface(std::weak_ptr<System> system, uint32_t index, std::string id);
    ModuleKind kind() const override { return ModuleKind::Interface; }
    PortIdentity portIdentity() const override;

    const std::string& id() const { return id_; }
    uint32_t index() const { return index_; }
    std::shared_ptr<System> system() const { return system_.lock(); }
    static InfoValue info(uint32_t index, INTERFACE_INFO_CMD command);

    void updateDeviceList(bool8_t* changed);
    uint32_t numDevices() const;
    std::string deviceId(uint32_t index) const;
    InfoValue deviceInfo(const std::string& id, DEVICE_INFO_CMD command) const;
    std::shared_ptr<Device> openDevice(const std::string& id, DEVICE_ACCESS_FLAGS flags);
    void deviceClosed(const Device& device);
    DEVICE_ACCESS_STATUS accessStatus(const std::string& deviceId) const;
    void close(std::vector<void*>& released);

private:
    size_t cameraIndexOf(const std::string& deviceId) const;  // GC_ERR_INVALID_ID when not listed

    std::weak_ptr<System> system_;
    const uint32_t index_;
    const std::string id_;
    mutable std::mutex mutex_;
    uint32_t updates_ = 0;
    std::vector<std::string> listed_;
    std::map<std::string, std::shared_ptr<Device>> open_;
};

class RemotePort : public Module {
public:
    RemotePort(std::shared_ptr<Camera> camera, std::string deviceId, bool readOnly);
    ModuleKind kind() const override { return ModuleKind::RemotePort; }
    PortIdentity portIdentity() const override;
    void readPort(uint64_t address, void* buffer, size_t size) override;
    void writePort(uint64_t address, const void* buffer, size_t size) override;
    const Description* portDescription() const override { return &camera_->description(); }
    // Bytes that a read of [address, address + size) really returns (short-read fault).
    size_t deliverable(uint64_t address, size_t size) const;

private:
    std::shared_ptr<Camera> camera_;
    const std::string deviceId_;
    const bool readOnly_;
};

class Device : public Module {
public:
    Device(std::weak_ptr<Interface> iface, std::shared_ptr<Camera> camera, std::string id, bool readOnly);
    ModuleKind kind() const override { return ModuleKind::Device; }
    PortIdentity portIdentity() const override;

    const std::string& id() const { return id_; }
    bool readOnly() const { return readOnly_; }
    std::shared_ptr<Interface> parent() const { return iface_.lock(); }
    InfoValue info(DEVICE_INFO_CMD command) const;
    std::shared_ptr<RemotePort> remotePort() const { return port_; }
    void createPort();

    uint32_t numStreams() const;
    std::string streamId(uint32_t index) const;
    std::shared_ptr<Stream> openStream(const std::string& id);
    void streamClosed(const Stream& stream, std::vector<void*>& released);
    void close(std::vector<void*>& released);

private:
    std::weak_ptr<Interface> iface_;
    std::shared_ptr<Camera> camera_;
    const std::string id_;
    const bool readOnly_;
    std::shared_ptr<RemotePort> port_;
    mutable std::mutex mutex_;
    std::map<std::string, std::shared_ptr<Stream>> streams_;
};

// Access status of an open device: the status forced always, else the one forced once open, else
// open read/write (or read-only).
DEVICE_ACCESS_STATUS openAccessStatus(bool readOnly);

// Device information shared by IFGetDeviceInfo and DevGetInfo.
InfoValue deviceInfo(const Camera& camera, const std::string& id, DEVICE_ACCESS_STATUS status, DEVICE_INFO_CMD command);

}  // namespace zevo
