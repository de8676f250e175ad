// The upper part of a producer's module tree: the process-wide state between GCInitLib and
// GCCloseLib, the system module, and what every interface module keeps.
#pragma once

#include "producer-kit/Module.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace gentlkit {

class System;
class InterfaceModule;
class DeviceModule;
class StreamModule;

// A producer's library derives from this and names its interfaces.
class ProducerLibrary {
public:
    void init();   // GC_ERR_RESOURCE_IN_USE when initialised
    void close();  // closes everything; GC_ERR_NOT_INITIALIZED when not initialised
    bool initialized() const { return initialized_; }
    ModuleRegistry& registry() { return registry_; }
    // Removes closed modules' handles from the registry.
    void release(const std::vector<void*>& handles) { registry_.remove(handles); }

    std::shared_ptr<System> openSystem();
    void systemClosed();

    // The interfaces of the system, by index.
    virtual uint32_t interfaceCount() const = 0;
    virtual std::string interfaceId(uint32_t index) const = 0;
    virtual InfoValue interfaceInfo(uint32_t index, INTERFACE_INFO_CMD command) const = 0;
    virtual std::shared_ptr<InterfaceModule> newInterface(std::weak_ptr<System> system, uint32_t index) = 0;
    // Runs before each export's body while the library is initialised (the simulated camera
    // injects its delays and faults here: a GenTLError thrown is the export's answer).
    virtual void enter(const char* function) { (void)function; }

protected:
    ~ProducerLibrary() = default;
    // The producer's own state: made in GCInitLib (under the library's lock), dropped after
    // everything is closed in GCCloseLib.
    virtual void load() = 0;
    virtual void unload() {}

private:
    std::mutex mutex_;
    std::atomic<bool> initialized_{false};
    ModuleRegistry registry_;
    std::shared_ptr<System> system_;
};

// Defined by each producer: its library object, which the exported functions use.
ProducerLibrary& producerLibrary();

// Takes a module's open children out under its lock and closes them; then the module goes too.
template <typename Child>
void closeWithChildren(Module& parent, std::mutex& mutex, std::map<std::string, std::shared_ptr<Child>>& open,
                       std::vector<void*>& released) {
    std::map<std::string, std::shared_ptr<Child>> children;
    {
        std::lock_guard<std::mutex> lock(mutex);
        children.swap(open);
    }
    for (auto& [id, child] : children) child->close(released);
    released.push_back(parent.handle());
}

class System : public Module {
public:
    explicit System(ProducerLibrary& library) : library_(library) {}
    ModuleKind kind() const override { return ModuleKind::System; }
    PortIdentity portIdentity() const override;

    void updateInterfaceList(bool8_t* changed);
    uint32_t numInterfaces() const;
    std::string interfaceId(uint32_t index) const;
    InfoValue interfaceInfo(const std::string& id, INTERFACE_INFO_CMD command) const;
    std::shared_ptr<InterfaceModule> openInterface(const std::string& id);
    void interfaceClosed(const InterfaceModule& iface);
    void close(std::vector<void*>& released);

private:
    uint32_t indexOf(const std::string& id) const;  // GC_ERR_INVALID_ID when unknown

    ProducerLibrary& library_;
    mutable std::mutex mutex_;
    bool listed_ = false;
    std::map<std::string, std::shared_ptr<InterfaceModule>> open_;
};

// An interface: its place in the system and the IDs of the devices it listed last.
class InterfaceModule : public Module {
public:
    InterfaceModule(std::weak_ptr<System> system, uint32_t index, std::string id);
    ModuleKind kind() const override { return ModuleKind::Interface; }
    PortIdentity portIdentity() const override;

    const std::string& id() const { return id_; }
    uint32_t index() const { return index_; }
    std::shared_ptr<System> system() const { return system_.lock(); }

    uint32_t numDevices() const;
    std::string deviceId(uint32_t index) const;
    void deviceClosed(const DeviceModule& device);
    void close(std::vector<void*>& released);

    // ---- the producer's part
    virtual void updateDeviceList(bool8_t* changed) = 0;
    virtual InfoValue deviceInfo(const std::string& id, DEVICE_INFO_CMD command) const = 0;
    virtual std::shared_ptr<DeviceModule> openDevice(const std::string& id, DEVICE_ACCESS_FLAGS flags) = 0;

protected:
    // A device just opened joins the open ones; it and its remote port get handles in `registry`.
    void adopt(const std::shared_ptr<DeviceModule>& device, ModuleRegistry& registry);  // under mutex_

    mutable std::mutex mutex_;
    std::vector<std::string> listed_;
    std::map<std::string, std::shared_ptr<DeviceModule>> open_;

private:
    std::weak_ptr<System> system_;
    const uint32_t index_;
    const std::string id_;
};

// A device: its place under an interface, its remote port and the IDs of its data streams.
class DeviceModule : public Module {
public:
    DeviceModule(std::weak_ptr<InterfaceModule> iface, std::string id);
    ModuleKind kind() const override { return ModuleKind::Device; }
    PortIdentity portIdentity() const override;

    const std::string& id() const { return id_; }
    std::shared_ptr<InterfaceModule> parent() const { return iface_.lock(); }
    std::shared_ptr<Module> remotePort() const { return port_; }
    virtual InfoValue info(DEVICE_INFO_CMD command) const = 0;
    virtual uint32_t numStreams() const = 0;
    std::string streamId(uint32_t index) const;
    virtual void close(std::vector<void*>& released) = 0;
    virtual std::shared_ptr<StreamModule> openStream(const std::string& id) = 0;
    // DSClose: the stream leaves the open ones and closes; its handles go to `released`.
    virtual void streamClosed(const StreamModule& stream, std::vector<void*>& released) = 0;

protected:
    std::shared_ptr<Module> port_;

private:
    std::weak_ptr<InterfaceModule> iface_;
    const std::string id_;
};

// IFOpenDevice's flags: DEVICE_ACCESS_NONE is not offered, unknown flags are invalid.
void requireAccessFlags(DEVICE_ACCESS_FLAGS flags);

}  // namespace gentlkit
