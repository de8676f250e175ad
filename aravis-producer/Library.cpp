// The library, the system and its interfaces, and the modules' own ports.
#include "aravis-producer/Producer.h"

#include <algorithm>
#include <cstring>

namespace tq4aravis {
namespace {

constexpr const char* kVendor = "tq4_genicam";
constexpr const char* kModel = "GenTL producer over Aravis";
constexpr const char* kVersion = "1.9.0";
constexpr const char* kFileName = "tq4_aravis.cti";

std::string text(const char* s) { return s ? s : ""; }

// Feature name prefix of each module kind in its own description.
const char* featurePrefix(ModuleKind kind) {
    switch (kind) {
        case ModuleKind::System: return "TL";
        case ModuleKind::Interface: return "Interface";
        case ModuleKind::Device: return "Device";
        default: return "Stream";
    }
}

}  // namespace

const std::vector<Transport>& transports() {
    static const std::vector<Transport> list = {{"GigEVision", TLTypeGEVName, "GigE Vision (Aravis)"},
                                                {"USB3Vision", TLTypeU3VName, "USB3 Vision (Aravis)"}};
    return list;
}

// ---- Module ------------------------------------------------------------------------------

PortIdentity Module::portIdentity() const {
    static const char* const names[] = {"TLSystem",     "TLInterface", "TLDevice", "Device",
                                        "TLDataStream", "TLBuffer",    "Event"};
    PortIdentity p;
    p.module = names[int(kind())];
    p.id = p.module;
    p.vendor = kVendor;
    p.model = kModel;
    p.tlType = TLTypeMixedName;
    p.version = kVersion;
    p.portName = p.module + "Port";
    p.writable = false;
    return p;
}

const std::string& Module::ownDescription() const {
    std::call_once(describeOnce_, [this] {
        const PortIdentity p = portIdentity();
        description_ = moduleXml(p, featurePrefix(kind()), "TQ4_ARAVIS_" + p.module, kVendor);
    });
    return description_;
}

std::string Module::portUrl() {
    return localUrl("TQ4_ARAVIS_" + portIdentity().module + ".xml", 0, ownDescription().size());
}

void Module::readPort(uint64_t address, void* buffer, size_t size) {
    const std::string& d = ownDescription();
    require(address <= d.size() && size <= d.size() - address, GC_ERR_INVALID_ADDRESS,
            "outside this module's description");
    std::memcpy(buffer, d.data() + address, size);
}

void Module::writePort(uint64_t, const void*, size_t) {
    throw GenTLError(GC_ERR_ACCESS_DENIED, "this module's port is read-only");
}

// ---- Library -----------------------------------------------------------------------------

Library& Library::instance() {
    static Library library;
    return library;
}

void Library::init() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(!initialized_, GC_ERR_RESOURCE_IN_USE, "GCInitLib called twice");
    try {
        settings_ = settingsFromEnvironment();
    } catch (const std::invalid_argument& e) {
        throw GenTLError(GC_ERR_INVALID_PARAMETER, std::string("settings: ") + e.what());
    }
    initialized_ = true;
}

void Library::close() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(initialized_, GC_ERR_NOT_INITIALIZED, "GCCloseLib without GCInitLib");
    initialized_ = false;
    if (system_) {
        std::vector<void*> released;
        system_->close(released);
        system_.reset();
    }
    registry_.clear();
}

std::shared_ptr<System> Library::openSystem() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(system_ == nullptr, GC_ERR_RESOURCE_IN_USE, "system module already open");
    system_ = std::make_shared<System>();
    registry_.add(system_);
    return system_;
}

void Library::systemClosed() {
    std::lock_guard<std::mutex> lock(mutex_);
    system_.reset();
}

std::vector<DeviceEntry> Library::discover(const std::string& protocol) {
    std::lock_guard<std::mutex> lock(arvMutex_);
    arv_update_device_list();
    std::vector<DeviceEntry> found;
    for (unsigned i = 0; i < arv_get_n_devices(); ++i)
        if (text(arv_get_device_protocol(i)) == protocol)
            found.push_back({text(arv_get_device_id(i)), text(arv_get_device_vendor(i)), text(arv_get_device_model(i)),
                             text(arv_get_device_serial_nbr(i)), text(arv_get_device_address(i)),
                             text(arv_get_device_physical_id(i))});
    return found;
}

ArvDevice* Library::open(const std::string& id) {
    std::lock_guard<std::mutex> lock(arvMutex_);
    GError* error = nullptr;
    ArvDevice* device = arv_open_device(id.c_str(), &error);
    if (device == nullptr) {
        const std::string why = error ? error->message : "no answer";
        g_clear_error(&error);
        throw GenTLError(GC_ERR_ACCESS_DENIED, "cannot open " + id + ": " + why);
    }
    return device;
}

InfoValue systemInfo(TL_INFO_CMD command) {
    const std::string path = loadedFrom(reinterpret_cast<const void*>(&systemInfo), kFileName);
    switch (command) {
        case TL_INFO_ID: return infoString(path);
        case TL_INFO_VENDOR: return infoString(kVendor);
        case TL_INFO_MODEL: return infoString(kModel);
        case TL_INFO_VERSION: return infoString(kVersion);
        case TL_INFO_TLTYPE: return infoString(TLTypeMixedName);
        case TL_INFO_NAME: return infoString(kFileName);
        case TL_INFO_PATHNAME: return infoString(path);
        case TL_INFO_DISPLAYNAME: return infoString("GigE Vision and USB3 Vision cameras through Aravis");
        case TL_INFO_CHAR_ENCODING: return infoInt32(TL_CHAR_ENCODING_ASCII);
        case TL_INFO_GENTL_VER_MAJOR: return infoUInt32(GenTLMajorVersion);
        case TL_INFO_GENTL_VER_MINOR: return infoUInt32(GenTLMinorVersion);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown system info command");
    }
}

// ---- System ------------------------------------------------------------------------------

PortIdentity System::portIdentity() const {
    PortIdentity p = Module::portIdentity();
    p.id = kFileName;
    return p;
}

void System::updateInterfaceList(bool8_t* changed) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (changed) *changed = !listed_;
    listed_ = true;
}

uint32_t System::numInterfaces() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return listed_ ? uint32_t(transports().size()) : 0;
}

std::string System::interfaceId(uint32_t index) const {
    require(index < numInterfaces(), GC_ERR_INVALID_INDEX, "interface index out of range");
    return transports()[index].protocol;
}

uint32_t System::indexOf(const std::string& id) const {
    for (uint32_t i = 0; i < numInterfaces(); ++i)
        if (transports()[i].protocol == id) return i;
    throw GenTLError(GC_ERR_INVALID_ID, "unknown interface ID");
}

InfoValue System::interfaceInfo(const std::string& id, INTERFACE_INFO_CMD command) const {
    return Interface::info(indexOf(id), command);
}

InfoValue Interface::info(uint32_t index, INTERFACE_INFO_CMD command) {
    const Transport& t = transports()[index];
    switch (command) {
        case INTERFACE_INFO_ID: return infoString(t.protocol);
        case INTERFACE_INFO_DISPLAYNAME: return infoString(t.displayName);
        case INTERFACE_INFO_TLTYPE: return infoString(t.tlType);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown interface info command");
    }
}

std::shared_ptr<Interface> System::openInterface(const std::string& id) {
    const uint32_t index = indexOf(id);
    std::lock_guard<std::mutex> lock(mutex_);
    require(open_.count(id) == 0, GC_ERR_RESOURCE_IN_USE, "interface already open");
    auto iface = std::make_shared<Interface>(std::static_pointer_cast<System>(shared_from_this()), index);
    open_[id] = iface;
    Library::instance().registry().add(iface);
    return iface;
}

void System::interfaceClosed(const Interface& iface) {
    std::lock_guard<std::mutex> lock(mutex_);
    open_.erase(iface.transport().protocol);
}

void System::close(std::vector<void*>& released) {
    std::map<std::string, std::shared_ptr<Interface>> interfaces;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        interfaces.swap(open_);
    }
    for (auto& [id, iface] : interfaces) iface->close(released);
    released.push_back(handle());
}

// ---- Interface ---------------------------------------------------------------------------

Interface::Interface(std::weak_ptr<System> system, uint32_t index) : system_(std::move(system)), index_(index) {}

PortIdentity Interface::portIdentity() const {
    PortIdentity p = Module::portIdentity();
    p.id = transport().protocol;
    p.tlType = transport().tlType;
    return p;
}

void Interface::updateDeviceList(bool8_t* changed) {
    std::vector<DeviceEntry> now = Library::instance().discover(transport().protocol);
    std::lock_guard<std::mutex> lock(mutex_);
    const auto ids = [](const std::vector<DeviceEntry>& list) {
        std::vector<std::string> out;
        for (const auto& e : list) out.push_back(e.id);
        return out;
    };
    if (changed) *changed = ids(now) != ids(listed_);
    // An open device stays listed even when it does not answer the discovery while streaming.
    const std::vector<std::string> found = ids(now);
    for (const auto& e : listed_)
        if (open_.count(e.id) != 0 && std::find(found.begin(), found.end(), e.id) == found.end()) now.push_back(e);
    listed_ = std::move(now);
}

uint32_t Interface::numDevices() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return uint32_t(listed_.size());
}

std::string Interface::deviceId(uint32_t index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    require(index < listed_.size(), GC_ERR_INVALID_INDEX, "device index out of range");
    return listed_[index].id;
}

const DeviceEntry& Interface::entry(const std::string& id) const {
    for (const auto& e : listed_)
        if (e.id == id) return e;
    throw GenTLError(GC_ERR_INVALID_ID, "unknown device ID");
}

InfoValue Interface::deviceInfo(const std::string& id, DEVICE_INFO_CMD command) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const DeviceEntry& e = entry(id);
    const auto open = open_.find(id);
    if (open != open_.end()) return open->second->info(command);
    return tq4aravis::deviceInfo(e, transport(), DEVICE_ACCESS_STATUS_READWRITE, command);
}

std::shared_ptr<Device> Interface::openDevice(const std::string& id, DEVICE_ACCESS_FLAGS flags) {
    require(flags != DEVICE_ACCESS_NONE, GC_ERR_NOT_IMPLEMENTED, "DEVICE_ACCESS_NONE is not supported");
    require(flags >= DEVICE_ACCESS_READONLY && flags <= DEVICE_ACCESS_EXCLUSIVE, GC_ERR_INVALID_PARAMETER,
            "unknown access flag");
    std::lock_guard<std::mutex> lock(mutex_);
    const DeviceEntry e = entry(id);
    require(open_.count(id) == 0, GC_ERR_RESOURCE_IN_USE, "device already open");
    ArvDevice* arv = Library::instance().open(id);
    auto device = std::make_shared<Device>(std::static_pointer_cast<Interface>(shared_from_this()), arv, e);
    open_[id] = device;
    Library::instance().registry().add(device);
    Library::instance().registry().add(device->remotePort());
    return device;
}

void Interface::deviceClosed(const Device& device) {
    std::lock_guard<std::mutex> lock(mutex_);
    open_.erase(device.id());
}

void Interface::close(std::vector<void*>& released) {
    std::map<std::string, std::shared_ptr<Device>> devices;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        devices.swap(open_);
    }
    for (auto& [id, device] : devices) device->close(released);
    released.push_back(handle());
}

}  // namespace tq4aravis
