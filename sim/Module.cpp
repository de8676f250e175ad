#include "sim/Module.h"

#include <cstring>

namespace zevo {
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

PortIdentity Module::portIdentity() const {
    static const char* const names[] = {"TLSystem",     "TLInterface", "TLDevice", "Device",
                                        "TLDataStream", "TLBuffer",    "Event"};
    PortIdentity p;
    p.module = names[int(kind())];
    p.id = p.module;
    p.vendor = "Orvanta ZEVO GmbH";
    p.model = "ZEVO simulated producer";
    p.tlType = "Custom";
    p.version = "1.9.0";
    p.portName = p.module + "Port";
    p.writable = false;
    return p;
}

const Description* Module::portDescription() const {
    if (!hasPort()) return nullptr;
    std::call_once(describeOnce_, [this] {
        const PortIdentity p = portIdentity();
        auto d = std::make_unique<Description>();
        d->xml = moduleXml(p, featurePrefix(kind()), "ZEVO_" + p.module, "Orvanta_ZEVO_GmbH");
        d->blob = std::make_shared<const std::vector<uint8_t>>(d->xml.begin(), d->xml.end());
        d->fileName = "ZEVO_" + p.module + ".xml";
        d->address = 0;
        d->size = d->blob->size();
        d->url = localUrl(d->fileName, 0, d->size);
        description_ = std::move(d);
    });
    return description_.get();
}

void Module::readPort(uint64_t address, void* buffer, size_t size) {
    const Description* d = portDescription();
    require(d != nullptr && address <= d->blob->size() && size <= d->blob->size() - address, GC_ERR_INVALID_ADDRESS,
            "outside this module's description");
    std::memcpy(buffer, d->blob->data() + address, size);
}

void Module::writePort(uint64_t, const void*, size_t) {
    throw GenTLError(GC_ERR_ACCESS_DENIED, "this module's port is read-only");
}

}  // namespace zevo
