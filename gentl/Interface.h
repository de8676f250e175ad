// One opened GenTL interface of a producer and the devices discovered on it.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "gentl-module/GenTL.h"
#include "gentl/OrderedMap.h"

namespace tq4::gentl {

class GenTLModule;
class Device;

class Interface {
public:
    // Takes over an interface handle opened with TLOpenInterface; the destructor closes it.
    Interface(std::shared_ptr<GenTLModule> module, GenTL::IF_HANDLE hIF, std::string id);
    ~Interface();
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;

    const std::string& id() const { return id_; }
    GenTL::IF_HANDLE handle() const { return hIF_; }

    // Refreshes the device list (up to three 100 ms list updates until a device shows) and
    // registers new devices, not opened. Devices that vanished are reported and kept. Takes the
    // interface mutex.
    void updateDeviceMap();

    // Snapshot of the registered devices in registration order (see OrderedMap). Safe to call
    // while another thread refreshes; does not take mutex().
    std::vector<std::shared_ptr<Device>> devices() const { return devices_.values(); }
    std::shared_ptr<Device> findDevice(const std::string& deviceId) const { return devices_.find(deviceId); }
    // Serialises refreshes of this interface.
    std::mutex& mutex() { return mutex_; }

    // What the producer tells of a device before it is opened (IFGetDeviceInfo): a text
    // (empty when unknown), and the access status (-1 when unknown).
    std::string deviceInfoText(const std::string& deviceId, GenTL::DEVICE_INFO_CMD command) const;
    int32_t deviceAccessStatus(const std::string& deviceId) const;

private:
    bool updateDeviceList(uint32_t& count);
    void registerDevice(const std::string& deviceId);

    std::mutex mutex_;
    std::shared_ptr<GenTLModule> module_;
    GenTL::IF_HANDLE hIF_;
    std::string id_;
    OrderedMap<Device> devices_;
};

}  // namespace tq4::gentl
