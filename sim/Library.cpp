#include "sim/Tree.h"

namespace zevo {
namespace {

constexpr const char* kProducerVendor = "Orvanta ZEVO GmbH";
constexpr const char* kProducerModel = "ZEVO simulated SWIR camera producer";
constexpr const char* kProducerVersion = "1.9.0";
constexpr const char* kProducerFileName = "ZEVO.cti";

std::string interfaceIdOf(uint32_t index) { return "ZEVO_SIM_IF" + std::to_string(index); }

}  // namespace

// ---- Library -----------------------------------------------------------------------------

Library& Library::instance() {
    static Library library;
    return library;
}

void Library::init() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(!initialized_, GC_ERR_RESOURCE_IN_USE, "GCInitLib called twice");
    try {
        config_ = std::make_unique<Config>(loadConfigFromEnvironment());
    } catch (const std::invalid_argument& e) {
        throw GenTLError(GC_ERR_INVALID_PARAMETER, std::string("configuration: ") + e.what());
    }
    faults_.reset(config_->faults, config_->delays);
    if (const auto fault = faults_.fire("GCInitLib")) throw GenTLError(*fault, "injected fault");
    const auto description = std::make_shared<const Description>(buildDescription(*config_));
    const size_t count = size_t(config_->interfaces) * config_->devicesPerInterface;
    for (size_t i = 0; i < count; ++i) {
        const std::string serial = i < config_->serials.size() ? config_->serials[i] : std::to_string(3101 + i);
        cameras_.push_back(std::make_shared<Camera>(*config_, serial, description));
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
    cameras_.clear();
}

std::string Library::producerPath() const {
    return loadedFrom(reinterpret_cast<const void*>(&systemInfo), kProducerFileName);
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

void Library::release(const std::vector<void*>& handles) { registry_.remove(handles); }

InfoValue systemInfo(TL_INFO_CMD command) {
    const std::string path = Library::instance().producerPath();
    switch (command) {
        case TL_INFO_ID: return infoString(path);
        case TL_INFO_VENDOR: return infoString(kProducerVendor);
        case TL_INFO_MODEL: return infoString(kProducerModel);
        case TL_INFO_VERSION: return infoString(kProducerVersion);
        case TL_INFO_TLTYPE: return infoString(TLTypeCustomName);
        case TL_INFO_NAME: return infoString(kProducerFileName);
        case TL_INFO_PATHNAME: return infoString(path);
        case TL_INFO_DISPLAYNAME: return infoString("ZEVO simulated camera producer");
        case TL_INFO_CHAR_ENCODING: return infoInt32(TL_CHAR_ENCODING_ASCII);
        case TL_INFO_GENTL_VER_MAJOR: return infoUInt32(GenTLMajorVersion);
        case TL_INFO_GENTL_VER_MINOR: return infoUInt32(GenTLMinorVersion);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown system info command");
    }
}

// ---- System ------------------------------------------------------------------------------

PortIdentity System::portIdentity() const {
    PortIdentity p = Module::portIdentity();
    p.id = kProducerFileName;
    return p;
}

void System::updateInterfaceList(bool8_t* changed) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (changed) *changed = !listed_;
    listed_ = true;
}

uint32_t System::numInterfaces() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return listed_ ? Library::instance().config().interfaces : 0;
}

std::string System::interfaceId(uint32_t index) const {
    require(index < numInterfaces(), GC_ERR_INVALID_INDEX, "interface index out of range");
    return interfaceIdOf(index);
}

uint32_t System::indexOf(const std::string& id) const {
    for (uint32_t i = 0; i < numInterfaces(); ++i)
        if (interfaceIdOf(i) == id) return i;
    throw GenTLError(GC_ERR_INVALID_ID, "unknown interface ID");
}

InfoValue System::interfaceInfo(const std::string& id, INTERFACE_INFO_CMD command) const {
    return Interface::info(indexOf(id), command);
}

std::shared_ptr<Interface> System::openInterface(const std::string& id) {
    const uint32_t index = indexOf(id);
    std::lock_guard<std::mutex> lock(mutex_);
    require(open_.count(id) == 0, GC_ERR_RESOURCE_IN_USE, "interface already open");
    auto iface = std::make_shared<Interface>(std::static_pointer_cast<System>(shared_from_this()), index, id);
    open_[id] = iface;
    Library::instance().registry().add(iface);
    return iface;
}

void System::interfaceClosed(const Interface& iface) {
    std::lock_guard<std::mutex> lock(mutex_);
    open_.erase(iface.id());
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

// ---- Interface (static part) -------------------------------------------------------------

InfoValue Interface::info(uint32_t index, INTERFACE_INFO_CMD command) {
    switch (command) {
        case INTERFACE_INFO_ID: return infoString(interfaceIdOf(index));
        case INTERFACE_INFO_DISPLAYNAME: return infoString("ZEVO simulated interface " + std::to_string(index));
        case INTERFACE_INFO_TLTYPE: return infoString(TLTypeCustomName);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown interface info command");
    }
}

}  // namespace zevo
