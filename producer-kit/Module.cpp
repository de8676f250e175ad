#include "producer-kit/Module.h"

#include <cstring>

namespace gentlkit {
namespace {

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

InfoValue systemInfo(TL_INFO_CMD command) {
    const ProducerNames& n = producerNames();
    const std::string path = loadedFrom(reinterpret_cast<const void*>(&systemInfo), n.fileName);
    switch (command) {
        case TL_INFO_ID: return infoString(path);
        case TL_INFO_VENDOR: return infoString(n.vendor);
        case TL_INFO_MODEL: return infoString(n.model);
        case TL_INFO_VERSION: return infoString(n.version);
        case TL_INFO_TLTYPE: return infoString(n.tlType);
        case TL_INFO_NAME: return infoString(n.fileName);
        case TL_INFO_PATHNAME: return infoString(path);
        case TL_INFO_DISPLAYNAME: return infoString(n.displayName);
        case TL_INFO_CHAR_ENCODING: return infoInt32(TL_CHAR_ENCODING_ASCII);
        case TL_INFO_GENTL_VER_MAJOR: return infoUInt32(GenTLMajorVersion);
        case TL_INFO_GENTL_VER_MINOR: return infoUInt32(GenTLMinorVersion);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown system info command");
    }
}

PortIdentity Module::portIdentity() const {
    static const char* const names[] = {"TLSystem",     "TLInterface", "TLDevice", "Device",
                                        "TLDataStream", "TLBuffer",    "Event"};
    const ProducerNames& n = producerNames();
    PortIdentity p;
    p.module = names[int(kind())];
    p.id = p.module;
    p.vendor = n.vendor;
    p.model = n.portModel;
    p.tlType = n.tlType;
    p.version = n.version;
    p.portName = p.module + "Port";
    p.writable = false;
    return p;
}

const std::string& Module::ownDescription() const {
    std::call_once(describeOnce_, [this] {
        const PortIdentity p = portIdentity();
        const ProducerNames& n = producerNames();
        description_ = moduleXml(p, featurePrefix(kind()), n.descriptionPrefix + p.module, n.descriptionVendor);
    });
    return description_;
}

std::string Module::ownDescriptionFile() const {
    return producerNames().descriptionPrefix + portIdentity().module + ".xml";
}

std::string Module::portUrl() { return localUrl(ownDescriptionFile(), 0, ownDescription().size()); }

void Module::readPort(uint64_t address, void* buffer, size_t size) {
    const std::string& d = ownDescription();
    require(address <= d.size() && size <= d.size() - address, GC_ERR_INVALID_ADDRESS,
            "outside this module's description");
    std::memcpy(buffer, d.data() + address, size);
}

void Module::writePort(uint64_t, const void*, size_t) {
    throw GenTLError(GC_ERR_ACCESS_DENIED, "this module's port is read-only");
}

}  // namespace gentlkit
