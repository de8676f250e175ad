// One GenTL system (TLOpen) of a producer, with the interfaces it offers. Owns its producer
// module: the module lives exactly as long as its system.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "gentl-module/GenTL.h"
#include "gentl/OrderedMap.h"

namespace tq4::gentl {

class GenTLModule;
class Interface;
class Device;

class SystemTLI {
public:
    // Finds, loads and initialises the producer, then opens its system. Check isUsable().
    explicit SystemTLI(const std::string& producerName);
    // Closes the interfaces (and with them their devices), TLClose, releases the module.
    ~SystemTLI();
    SystemTLI(const SystemTLI&) = delete;
    SystemTLI& operator=(const SystemTLI&) = delete;

    // Module initialised and TLOpen succeeded.
    bool isUsable() const;
    const std::string& producerName() const { return producerName_; }
    const std::shared_ptr<GenTLModule>& module() const { return module_; }

    // Opens interfaces that appeared (100 ms list update); vanished ones are reported, kept.
    void updateInterfaces();
    // Under the system mutex, each interface's updateDeviceMap.
    void updateDeviceMaps();

    // Gives `num` to the first device (interfaces in map order, devices in map order) that is
    // not open and accepts the open. Returns its handle, or nullptr when none could be opened.
    // `text` is the producer token under which the camera is opened; the device keeps it.
    void* openDevice(int32_t num, const std::string& text);

    // First device, walking interfaces and devices in map order, for which `match` is true.
    // Walks snapshots without taking the system, interface or device mutexes, so the registry
    // can look devices up under its own lock while another camera is being opened.
    std::shared_ptr<Device> findDevice(const std::function<bool(const Device&)>& match) const;
    void forEachDevice(const std::function<void(Device&)>& visit) const;

    // Snapshot of the interfaces in registration order.
    std::vector<std::shared_ptr<Interface>> interfaces() const { return interfaces_.values(); }
    // Serialises refreshes and openDevice on this system.
    std::mutex& mutex() { return mutex_; }

private:
    void openInterface(const std::string& interfaceId);
    void warnAboutVanishedInterfaces(const std::vector<std::string>& presentIds) const;

    mutable std::mutex mutex_;
    std::string producerName_;
    std::shared_ptr<GenTLModule> module_;
    GenTL::TL_HANDLE hTL_ = nullptr;
    bool opened_ = false;
    OrderedMap<Interface> interfaces_;
};

}  // namespace tq4::gentl
