// A module's own port: what GCGetPortInfo tells about it and the small plain description it
// holds at address 0 (the module's identity as constant features).
#pragma once

#include "producer-kit/Info.h"

#include <string>

namespace gentlkit {

struct PortIdentity {
    std::string id, vendor, model, tlType, module, version, portName;
    bool writable = true;
    bool bigEndian = false;
};

InfoValue portInfo(const PortIdentity& p, PORT_INFO_CMD command);

// The description of a module's port: features `<prefix>ID`, `<prefix>VendorName`, ... as
// read-only strings. `modelName` and `vendorName` go into the description's header.
std::string moduleXml(const PortIdentity& p, const std::string& prefix, const std::string& modelName,
                      const std::string& vendorName);

// `local:` URL of a description of `size` bytes at `address` of a port.
std::string localUrl(const std::string& fileName, uint64_t address, uint64_t size);

}  // namespace gentlkit
