#include "producer-kit/Tree.h"

namespace gentlkit {

// ---- ProducerLibrary ---------------------------------------------------------------------

void ProducerLibrary::init() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(!initialized_, GC_ERR_RESOURCE_IN_USE, "GCInitLib called twice");
    load();
    initialized_ = true;
}

void ProducerLibrary::close() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(initialized_, GC_ERR_NOT_INITIALIZED, "GCCloseLib without GCInitLib");
    initialized_ = false;
    if (system_) {
        std::vector<void*> released;
        system_->close(released);
        system_.reset();
    }
    registry_.clear();
    unload();
}

std::shared_ptr<System> ProducerLibrary::openSystem() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(system_ == nullptr, GC_ERR_RESOURCE_IN_USE, "system module already open");
    system_ = std::make_shared<System>(*this);
    registry_.add(system_);
    return system_;
}

void ProducerLibrary::systemClosed() {
    std::lock_guard<std::mutex> lock(mutex_);
    system_.reset();
}

// ---- System ------------------------------------------------------------------------------

PortIdentity System::portIdentity() const {
    PortIdentity p = Module::portIdentity();
    p.id = producerNames().fileName;
    return p;
}

void System::updateInterfaceList(bool8_t* changed) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (changed) *changed = !listed_;
    listed_ = true;
}

uint32_t System::numInterfaces() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return listed_ ? library_.interfaceCount() : 0;
}

std::string System::interfaceId(uint32_t index) const {
    require(index < numInterfaces(), GC_ERR_INVALID_INDEX, "interface index out of range");
    return library_.interfaceId(index);
}

uint32_t System::indexOf(const std::string& id) const {
    for (uint32_t i = 0; i < numInterfaces(); ++i)
        if (library_.interfaceId(i) == id) return i;
    throw GenTLError(GC_ERR_INVALID_ID, "unknown interface ID");
}

InfoValue System::interfaceInfo(const std::string& id, INTERFACE_INFO_CMD command) const {
    return library_.interfaceInfo(indexOf(id), command);
}

std::shared_ptr<InterfaceModule> System::openInterface(const std::string& id) {
    const uint32_t index = indexOf(id);
    std::lock_guard<std::mutex> lock(mutex_);
    require(open_.count(id) == 0, GC_ERR_RESOURCE_IN_USE, "interface already open");
    auto iface = library_.newInterface(std::static_pointer_cast<System>(shared_from_this()), index);
    open_[id] = iface;
    library_.registry().add(iface);
    return iface;
}

void System::interfaceClosed(const InterfaceModule& iface) {
    std::lock_guard<std::mutex> lock(mutex_);
    open_.erase(iface.id());
}

void System::close(std::vector<void*>& released) { closeWithChildren(*this, mutex_, open_, released); }

// ---- InterfaceModule ---------------------------------------------------------------------

InterfaceModule::InterfaceModule(std::weak_ptr<System> system, uint32_t index, std::string id)
    : system_(std::move(system)), index_(index), id_(std::move(id)) {}

PortIdentity InterfaceModule::portIdentity() const {
    PortIdentity p = Module::portIdentity();
    p.id = id_;
    return p;
}

uint32_t InterfaceModule::numDevices() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return uint32_t(listed_.size());
}

std::string InterfaceModule::deviceId(uint32_t index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    require(index < listed_.size(), GC_ERR_INVALID_INDEX, "device index out of range");
    return listed_[index];
}

void InterfaceModule::adopt(const std::shared_ptr<DeviceModule>& device, ModuleRegistry& registry) {
    open_[device->id()] = device;
    registry.add(device);
    registry.add(device->remotePort());
}

void InterfaceModule::deviceClosed(const DeviceModule& device) {
    std::lock_guard<std::mutex> lock(mutex_);
    open_.erase(device.id());
}

void InterfaceModule::close(std::vector<void*>& released) { closeWithChildren(*this, mutex_, open_, released); }

// ---- DeviceModule ------------------------------------------------------------------------

DeviceModule::DeviceModule(std::weak_ptr<InterfaceModule> iface, std::string id)
    : iface_(std::move(iface)), id_(std::move(id)) {}

PortIdentity DeviceModule::portIdentity() const {
    PortIdentity p = Module::portIdentity();
    p.id = id_;
    return p;
}

std::string DeviceModule::streamId(uint32_t index) const {
    require(numStreams() > 0, GC_ERR_NOT_IMPLEMENTED, "device has no data stream");
    require(index < numStreams(), GC_ERR_INVALID_INDEX, "data stream index out of range");
    return "Stream" + std::to_string(index);
}

void requireAccessFlags(DEVICE_ACCESS_FLAGS flags) {
    require(flags != DEVICE_ACCESS_NONE, GC_ERR_NOT_IMPLEMENTED, "DEVICE_ACCESS_NONE is not supported");
    require(flags >= DEVICE_ACCESS_READONLY && flags <= DEVICE_ACCESS_EXCLUSIVE, GC_ERR_INVALID_PARAMETER,
            "unknown access flag");
}

}  // namespace gentlkit
