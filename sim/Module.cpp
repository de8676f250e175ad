#include "sim/Module.h"

namespace zevo {

PortIdentity Module::portIdentity() const
{
    static const char* const names[] = {"TLSystem", "TLInterface", "TLDevice", "Device", "TLDataStream",
                                        "TLBuffer", "Event"};
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

void Module::readPort(uint64_t, void*, size_t)
{
    throw GenTLError(GC_ERR_INVALID_ADDRESS, "this module's port has no registers");
}

void Module::writePort(uint64_t, const void*, size_t)
{
    throw GenTLError(GC_ERR_INVALID_ADDRESS, "this module's port has no registers");
}

void Registry::add(const std::shared_ptr<Module>& module)
{
    std::lock_guard<std::mutex> lock(mutex_);
    modules_[module->handle()] = module;
}

void Registry::remove(const void* handle)
{
    std::lock_guard<std::mutex> lock(mutex_);
    modules_.erase(handle);
}

void Registry::clear()
{
    std::unordered_map<const void*, std::shared_ptr<Module>> doomed;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        doomed.swap(modules_);
    }
}

std::shared_ptr<Module> Registry::find(const void* handle) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = modules_.find(handle);
    return it == modules_.end() ? nullptr : it->second;
}

}  // namespace zevo
