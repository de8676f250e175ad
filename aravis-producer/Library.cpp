// The library and its interfaces: one per Aravis transport.
#include "aravis-producer/Producer.h"

#include <algorithm>

namespace tq4aravis {
namespace {

std::string text(const char* s) { return s ? s : ""; }

}  // namespace
}  // namespace tq4aravis

const gentlkit::ProducerNames& gentlkit::producerNames() {
    static const ProducerNames names{"tq4_genicam",
                                     "GenTL producer over Aravis",
                                     "GenTL producer over Aravis",
                                     "1.9.0",
                                     TLTypeMixedName,
                                     "tq4_aravis.cti",
                                     "GigE Vision and USB3 Vision cameras through Aravis",
                                     "TQ4_ARAVIS_",
                                     "tq4_genicam"};
    return names;
}

namespace tq4aravis {

const std::vector<Transport>& transports() {
    static const std::vector<Transport> list = {
        {"GigEVision", TLTypeGEVName, "GigE Vision (Aravis)", arv_gv_interface_get_instance},
        {"USB3Vision", TLTypeU3VName, "USB3 Vision (Aravis)", arv_uv_interface_get_instance}};
    return list;
}

// ---- Library -----------------------------------------------------------------------------

}  // namespace tq4aravis

gentlkit::ProducerLibrary& gentlkit::producerLibrary() { return tq4aravis::Library::instance(); }

namespace tq4aravis {

Library& Library::instance() {
    static Library library;
    return library;
}

void Library::load() {
    try {
        settings_ = settingsFromEnvironment();
    } catch (const std::invalid_argument& e) {
        throw GenTLError(GC_ERR_INVALID_PARAMETER, std::string("settings: ") + e.what());
    }
}

InfoValue Library::interfaceInfo(uint32_t index, INTERFACE_INFO_CMD command) const {
    const Transport& t = transports()[index];
    switch (command) {
        case INTERFACE_INFO_ID: return infoString(t.protocol);
        case INTERFACE_INFO_DISPLAYNAME: return infoString(t.displayName);
        case INTERFACE_INFO_TLTYPE: return infoString(t.tlType);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown interface info command");
    }
}

std::shared_ptr<InterfaceModule> Library::newInterface(std::weak_ptr<System> system, uint32_t index) {
    return std::make_shared<Interface>(std::move(system), index);
}

std::vector<DeviceEntry> Library::discover(const Transport& transport) {
    std::lock_guard<std::mutex> lock(arvMutex_);
    const auto last = discoveries_.find(transport.protocol);
    if (last != discoveries_.end() && std::chrono::steady_clock::now() - last->second.end < kFreshDiscovery)
        return last->second.found;
    ArvInterface* arv = transport.arvInterface();
    arv_interface_update_device_list(arv);
    std::vector<DeviceEntry> found;
    for (unsigned i = 0; i < arv_interface_get_n_devices(arv); ++i)
        found.push_back(
            {text(arv_interface_get_device_id(arv, i)), text(arv_interface_get_device_vendor(arv, i)),
             text(arv_interface_get_device_model(arv, i)), text(arv_interface_get_device_serial_nbr(arv, i)),
             text(arv_interface_get_device_address(arv, i)), text(arv_interface_get_device_physical_id(arv, i))});
    discoveries_[transport.protocol] = {std::chrono::steady_clock::now(), found};
    return found;
}

ArvDevice* Library::open(const Transport& transport, const std::string& id) {
    std::lock_guard<std::mutex> lock(arvMutex_);
    GError* error = nullptr;
    ArvDevice* device = arv_interface_open_device(transport.arvInterface(), id.c_str(), &error);
    if (device == nullptr) {
        const std::string why = error ? error->message : "no answer";
        g_clear_error(&error);
        throw GenTLError(GC_ERR_ACCESS_DENIED, "cannot open " + id + ": " + why);
    }
    return device;
}

// ---- Interface ---------------------------------------------------------------------------

Interface::Interface(std::weak_ptr<System> system, uint32_t index)
    : InterfaceModule(std::move(system), index, transports()[index].protocol) {}

PortIdentity Interface::portIdentity() const {
    PortIdentity p = InterfaceModule::portIdentity();
    p.tlType = transport().tlType;
    return p;
}

void Interface::updateDeviceList(bool8_t* changed) {
    std::vector<DeviceEntry> now = Library::instance().discover(transport());
    std::lock_guard<std::mutex> lock(mutex_);
    const auto ids = [](const std::vector<DeviceEntry>& list) {
        std::vector<std::string> out;
        out.reserve(list.size());
        for (const auto& e : list) out.push_back(e.id);
        return out;
    };
    if (changed) *changed = ids(now) != listed_;
    // An open device stays listed even when it does not answer the discovery while streaming.
    const std::vector<std::string> found = ids(now);
    for (const auto& e : entries_)
        if (open_.count(e.id) != 0 && std::find(found.begin(), found.end(), e.id) == found.end()) now.push_back(e);
    entries_ = std::move(now);
    listed_ = ids(entries_);
}

const DeviceEntry& Interface::entry(const std::string& id) const {
    for (const auto& e : entries_)
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

std::shared_ptr<DeviceModule> Interface::openDevice(const std::string& id, DEVICE_ACCESS_FLAGS flags) {
    requireAccessFlags(flags);
    std::lock_guard<std::mutex> lock(mutex_);
    const DeviceEntry e = entry(id);
    require(open_.count(id) == 0, GC_ERR_RESOURCE_IN_USE, "device already open");
    ArvDevice* arv = Library::instance().open(transport(), id);
    auto device = std::make_shared<Device>(std::static_pointer_cast<Interface>(shared_from_this()), arv, e);
    adopt(device, Library::instance().registry());
    return device;
}

}  // namespace tq4aravis
