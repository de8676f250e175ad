// The GenTL modules of the producer and the table that turns handles into them. A handle is
// the address of its module object; only handles in the registry are accepted, so unknown,
// closed or foreign handles get GC_ERR_INVALID_HANDLE instead of a crash.
#pragma once

#include "sim/Common.h"
#include "sim/Description.h"

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace zevo {

enum class ModuleKind { System, Interface, Device, RemotePort, Stream, Buffer, Event };

// What GCGetPortInfo tells about a module's port.
struct PortIdentity {
    std::string id, vendor, model, tlType, module, version, portName;
    bool writable = true;
};

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

class Registry {
public:
    void add(const std::shared_ptr<Module>& module);
    void remove(const void* handle);
    void clear();
    std::shared_ptr<Module> find(const void* handle) const;

    // The module of that handle and kind; throws GC_ERR_INVALID_HANDLE otherwise.
    template <typename T>
    std::shared_ptr<T> get(const void* handle, ModuleKind kind) const {
        const auto module = find(handle);
        require(module && module->kind() == kind, GC_ERR_INVALID_HANDLE, "unknown handle");
        return std::static_pointer_cast<T>(module);
    }

private:
    mutable std::mutex mutex_;
    std::unordered_map<const void*, std::shared_ptr<Module>> modules_;
};

}  // namespace zevo
