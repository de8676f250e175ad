// The GenTL modules of the producer and the table that turns handles into them
// (producer-kit/Registry.h).
#pragma once

#include "producer-kit/ModulePort.h"
#include "producer-kit/Registry.h"
#include "sim/Common.h"
#include "sim/Description.h"

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace zevo {

enum class ModuleKind { System, Interface, Device, RemotePort, Stream, Buffer, Event };

class Module : public std::enable_shared_from_this<Module> {
public:
    virtual ~Module() = default;
    virtual ModuleKind kind() const = 0;
    void* handle() { return this; }

    // Every module except a buffer has a port. A module's own port holds only a small plain
    // description at address 0 (its identity as constant features); the remote device port
    // overrides all of this.
    virtual bool hasPort() const { return kind() != ModuleKind::Buffer && kind() != ModuleKind::Event; }
    virtual PortIdentity portIdentity() const;
    virtual void readPort(uint64_t address, void* buffer, size_t size);
    virtual void writePort(uint64_t address, const void* buffer, size_t size);
    virtual const Description* portDescription() const;

private:
    mutable std::once_flag describeOnce_;
    mutable std::unique_ptr<Description> description_;
};

class Module;
using Registry = gentlkit::Registry<Module>;

}  // namespace zevo
