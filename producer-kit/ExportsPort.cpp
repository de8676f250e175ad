// Exported GenTL port functions but GCGetPortURLInfo, the same in every producer built on this
// kit: register access, port information and the one description URL of each port. Each
// producer answers GCGetPortURLInfo itself (with `lookupPort`).
#include "producer-kit/Exports.h"

using namespace gentlkit;

std::shared_ptr<Module> gentlkit::lookupPort(const void* handle) {
    auto module = producerLibrary().registry().find(handle);
    require(module != nullptr && module->kind() != ModuleKind::Event, GC_ERR_INVALID_HANDLE, "unknown port handle");
    require(module->hasPort(), GC_ERR_NOT_IMPLEMENTED, "this module has no port");
    return module;
}

namespace {

// Reads or writes each entry in turn; the count of entries done is written even on failure.
template <typename Access>
GC_ERROR stacked(const char* function, PORT_HANDLE hPort, PORT_REGISTER_STACK_ENTRY* pEntries, size_t* piNumEntries,
                 Access access) {
    size_t done = 0;
    const GC_ERROR rc = guarded(function, [&] {
        requirePointer(piNumEntries);
        requirePointer(pEntries);
        const auto port = lookupPort(hPort);
        for (; done < *piNumEntries; ++done) {
            requirePointer(pEntries[done].pBuffer);
            access(*port, pEntries[done]);
        }
    });
    if (piNumEntries) *piNumEntries = done;
    return rc;
}

}  // namespace

GC_ERROR GC_CALLTYPE GenTL::GCReadPort(PORT_HANDLE hPort, uint64_t iAddress, void* pBuffer, size_t* piSize) {
    return guarded("GCReadPort", [&] {
        requirePointer(pBuffer);
        requirePointer(piSize);
        const auto port = lookupPort(hPort);
        const size_t n = port->deliverable(iAddress, *piSize);
        port->readPort(iAddress, pBuffer, n);
        *piSize = n;
    });
}

GC_ERROR GC_CALLTYPE GenTL::GCWritePort(PORT_HANDLE hPort, uint64_t iAddress, const void* pBuffer, size_t* piSize) {
    return guarded("GCWritePort", [&] {
        requirePointer(pBuffer);
        requirePointer(piSize);
        lookupPort(hPort)->writePort(iAddress, pBuffer, *piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::GCGetPortURL(PORT_HANDLE hPort, char* sURL, size_t* piSize) {
    return guarded("GCGetPortURL", [&] {
        INFO_DATATYPE type;
        deliverInfo(infoStringList({lookupPort(hPort)->portUrl()}), &type, sURL, piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::GCGetPortInfo(PORT_HANDLE hPort, PORT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                                          void* pBuffer, size_t* piSize) {
    return guarded("GCGetPortInfo", [&] {
        deliverInfo(portInfo(lookupPort(hPort)->portIdentity(), iInfoCmd), piType, pBuffer, piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::GCGetNumPortURLs(PORT_HANDLE hPort, uint32_t* piNumURLs) {
    return guarded("GCGetNumPortURLs", [&] {
        lookupPort(hPort);
        setOutput(piNumURLs, uint32_t(1));
    });
}

GC_ERROR GC_CALLTYPE GenTL::GCReadPortStacked(PORT_HANDLE hPort, PORT_REGISTER_STACK_ENTRY* pEntries,
                                              size_t* piNumEntries) {
    return stacked("GCReadPortStacked", hPort, pEntries, piNumEntries,
                   [](Module& port, PORT_REGISTER_STACK_ENTRY& e) { port.readPort(e.Address, e.pBuffer, e.Size); });
}

GC_ERROR GC_CALLTYPE GenTL::GCWritePortStacked(PORT_HANDLE hPort, PORT_REGISTER_STACK_ENTRY* pEntries,
                                               size_t* piNumEntries) {
    return stacked("GCWritePortStacked", hPort, pEntries, piNumEntries,
                   [](Module& port, PORT_REGISTER_STACK_ENTRY& e) { port.writePort(e.Address, e.pBuffer, e.Size); });
}
