#include "sim/Tree.h"

#include <algorithm>
#include <cstring>

namespace zevo {

// ---- RemotePort --------------------------------------------------------------------------

RemotePort::RemotePort(std::shared_ptr<Camera> camera, std::string deviceId, bool readOnly)
    : camera_(std::move(camera)), deviceId_(std::move(deviceId)), readOnly_(readOnly) {}

PortIdentity RemotePort::portIdentity() const {
    PortIdentity p;
    p.id = deviceId_;
    p.vendor = camera_->identity().vendorName;
    p.model = camera_->identity().modelName;
    p.tlType = TLTypeCustomName;
    p.module = TLRemoteDevice;
    p.version = camera_->identity().deviceVersion;
    p.portName = "Device";
    p.writable = !readOnly_;
    return p;
}

size_t RemotePort::deliverable(uint64_t address, size_t size) const {
    const size_t missing = Library::instance().config().shortPortRead;
    const Description& d = camera_->description();
    const bool touchesDescription = d.inRegisters && address < d.address + d.blob->size() && address + size > d.address;
    if (missing == 0 || !touchesDescription) return size;
    return size > missing ? size - missing : 0;
}

// A description placed where registers are (such as address 0) wins over them for reads that
// start at its address and stay within it, the way consumers read a description.
void RemotePort::readPort(uint64_t address, void* buffer, size_t size) {
    const Description& d = camera_->description();
    if (d.inRegisters && address == d.address && size <= d.blob->size()) {
        std::memcpy(buffer, d.blob->data(), size);
        return;
    }
    camera_->read(address, buffer, size);
}

void RemotePort::writePort(uint64_t address, const void* buffer, size_t size) {
    require(!readOnly_, GC_ERR_ACCESS_DENIED, "device opened read-only");
    camera_->write(address, buffer, size);
}

// ---- Device ------------------------------------------------------------------------------

Device::Device(std::weak_ptr<InterfaceModule> iface, std::shared_ptr<Camera> camera, std::string id, bool readOnly)
    : DeviceModule(std::move(iface), std::move(id)), camera_(std::move(camera)), readOnly_(readOnly) {}

void Device::createPort() { port_ = std::make_shared<RemotePort>(camera_, id(), readOnly_); }

InfoValue Device::info(DEVICE_INFO_CMD command) const {
    return deviceInfo(*camera_, id(), openAccessStatus(readOnly_), command);
}

uint32_t Device::numStreams() const { return Library::instance().config().streams; }

std::shared_ptr<StreamModule> Device::openStream(const std::string& id) {
    bool known = false;
    for (uint32_t i = 0; i < numStreams(); ++i) known = known || streamId(i) == id;
    require(known, GC_ERR_INVALID_ID, "unknown data stream ID");
    std::lock_guard<std::mutex> lock(mutex_);
    require(streams_.count(id) == 0, GC_ERR_RESOURCE_IN_USE, "data stream already open");
    Library& library = Library::instance();
    auto stream = std::make_shared<Stream>(camera_, std::static_pointer_cast<Device>(shared_from_this()), id,
                                           library.config(), library.faults());
    streams_[id] = stream;
    library.registry().add(stream);
    return stream;
}

void Device::streamClosed(const StreamModule& stream, std::vector<void*>& released) {
    std::shared_ptr<Stream> closing;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto it = streams_.find(stream.id());
        if (it == streams_.end()) return;
        closing = it->second;
        streams_.erase(it);
    }
    closing->close(released);
    released.push_back(closing->handle());
}

void Device::close(std::vector<void*>& released) {
    std::map<std::string, std::shared_ptr<Stream>> streams;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        streams.swap(streams_);
    }
    for (auto& [id, stream] : streams) {
        stream->close(released);
        released.push_back(stream->handle());
    }
    camera_->onDeviceClosed();
    released.push_back(port_->handle());
    released.push_back(handle());
}

}  // namespace zevo
