// The base of every GenTL module of a producer (system, interface, device, remote port, data
// stream, buffer, event) and the table that turns handles into them (Registry.h).
#pragma once

#include "producer-kit/ModulePort.h"
#include "producer-kit/Registry.h"

#include <memory>
#include <mutex>
#include <string>

namespace gentlkit {

enum class ModuleKind { System, Interface, Device, RemotePort, Stream, Buffer, Event };

// How a producer names itself: in GCGetInfo and in its modules' own ports and descriptions.
struct ProducerNames {
    const char* vendor;
    const char* model;      // TL_INFO_MODEL
    const char* portModel;  // PORT_INFO_MODEL of the modules' own ports
    const char* version;
    const char* tlType;
    const char* fileName;  // the producer's file, e.g. "ZEVO.cti"
    const char* displayName;
    const char* descriptionPrefix;  // of the module descriptions' names, e.g. "ZEVO_"
    const char* descriptionVendor;  // VendorName in their header
};

// Defined by each producer.
const ProducerNames& producerNames();

// The answers of GCGetInfo and TLGetInfo.
InfoValue systemInfo(TL_INFO_CMD command);

class Module : public std::enable_shared_from_this<Module> {
public:
    virtual ~Module() = default;
    virtual ModuleKind kind() const = 0;
    void* handle() { return this; }

    // Every module except a buffer and an event has a port. A module's own port holds a small
    // plain description at address 0 (its identity as constant features); the remote device
    // port overrides all of this.
    bool hasPort() const { return kind() != ModuleKind::Buffer && kind() != ModuleKind::Event; }
    virtual PortIdentity portIdentity() const;
    virtual void readPort(uint64_t address, void* buffer, size_t size);
    virtual void writePort(uint64_t address, const void* buffer, size_t size);
    // The bytes that GCReadPort of `size` bytes at `address` delivers.
    virtual size_t deliverable(uint64_t, size_t size) const { return size; }
    virtual std::string portUrl();

    const std::string& ownDescription() const;
    std::string ownDescriptionFile() const;

private:
    mutable std::once_flag describeOnce_;
    mutable std::string description_;
};

using ModuleRegistry = Registry<Module>;

}  // namespace gentlkit
