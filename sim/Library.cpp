#include "sim/Tree.h"

namespace zevo {
namespace {

std::string interfaceIdOf(uint32_t index) { return "ZEVO_SIM_IF" + std::to_string(index); }

}  // namespace
}  // namespace zevo

const gentlkit::ProducerNames& gentlkit::producerNames() {
    static const ProducerNames names{"Orvanta ZEVO GmbH",
                                     "ZEVO simulated SWIR camera producer",
                                     "ZEVO simulated producer",
                                     "1.9.0",
                                     TLTypeCustomName,
                                     "ZEVO.cti",
                                     "ZEVO simulated camera producer",
                                     "ZEVO_",
                                     "Orvanta_ZEVO_GmbH"};
    return names;
}

gentlkit::ProducerLibrary& gentlkit::producerLibrary() { return zevo::Library::instance(); }

namespace zevo {

Library& Library::instance() {
    static Library library;
    return library;
}

void Library::enter(const char* function) {
    faults_.delay(function);
    if (const auto fault = faults_.fire(function); fault && *fault != GC_ERR_SUCCESS)
        throw GenTLError(*fault, std::string("injected fault in ") + function);
}

void Library::load() {
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
}

std::string Library::interfaceId(uint32_t index) const { return interfaceIdOf(index); }

InfoValue Library::interfaceInfo(uint32_t index, INTERFACE_INFO_CMD command) const {
    switch (command) {
        case INTERFACE_INFO_ID: return infoString(interfaceIdOf(index));
        case INTERFACE_INFO_DISPLAYNAME: return infoString("ZEVO simulated interface " + std::to_string(index));
        case INTERFACE_INFO_TLTYPE: return infoString(TLTypeCustomName);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown interface info command");
    }
}

std::shared_ptr<InterfaceModule> Library::newInterface(std::weak_ptr<System> system, uint32_t index) {
    return std::make_shared<Interface>(std::move(system), index, interfaceIdOf(index));
}

}  // namespace zevo
