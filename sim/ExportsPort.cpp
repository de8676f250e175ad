// Exported GenTL port functions: register access, port information and description URLs.
#include "sim/Exports.h"

#include <vector>

using namespace zevo;

namespace zevo {

std::shared_ptr<Module> lookupPort(const void* handle) {
    const auto module = Library::instance().registry().find(handle);
    require(module != nullptr && module->kind() != ModuleKind::Event, GC_ERR_INVALID_HANDLE, "unknown port handle");
    require(module->hasPort(), GC_ERR_NOT_IMPLEMENTED, "this module has no port");
    return module;
}

namespace {

std::vector<const Description*> urls(const Module& port) {
    const Description* d = port.portDescription();
    return d ? std::vector<const Description*>{d} : std::vector<const Description*>{};
}

InfoValue urlInfo(const Description& d, URL_INFO_CMD command) {
    const bool local = d.scheme == URL_SCHEME_LOCAL;
    switch (command) {
        case URL_INFO_URL: return infoString(d.url);
        case URL_INFO_SCHEMA_VER_MAJOR: return infoInt32(1);
        case URL_INFO_SCHEMA_VER_MINOR: return infoInt32(1);
        case URL_INFO_FILE_VER_MAJOR: return infoInt32(1);
        case URL_INFO_FILE_VER_MINOR: return infoInt32(0);
        case URL_INFO_FILE_VER_SUBMINOR: return infoInt32(0);
        case URL_INFO_FILE_SHA1_HASH: throw GenTLError(GC_ERR_NOT_AVAILABLE, "no SHA1 hash of the description");
        case URL_INFO_FILE_REGISTER_ADDRESS:
            require(local, GC_ERR_NOT_AVAILABLE, "the description is not in the register map");
            return infoUInt64(d.address);
        case URL_INFO_FILE_SIZE:
            require(local, GC_ERR_NOT_AVAILABLE, "the description is not in the register map");
            return infoUInt64(d.size);
        case URL_INFO_SCHEME: return infoInt32(d.scheme);
        case URL_INFO_FILENAME: return infoString(d.fileName);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown URL info command");
    }
}

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
}  // namespace zevo

GC_ERROR GC_CALLTYPE GenTL::GCReadPort(PORT_HANDLE hPort, uint64_t iAddress, void* pBuffer, size_t* piSize) {
    return guarded("GCReadPort", [&] {
        requirePointer(pBuffer);
        requirePointer(piSize);
        const auto port = lookupPort(hPort);
        size_t n = *piSize;
        if (port->kind() == ModuleKind::RemotePort)
            n = std::static_pointer_cast<RemotePort>(port)->deliverable(iAddress, n);
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
        std::vector<std::string> list;
        for (const Description* d : urls(*lookupPort(hPort))) list.push_back(d->url);
        const InfoValue v = infoStringList(list);
        INFO_DATATYPE type;
        deliverInfo(v, &type, sURL, piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::GCGetPortInfo(PORT_HANDLE hPort, PORT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                                          void* pBuffer, size_t* piSize) {
    return guarded("GCGetPortInfo", [&] {
        deliverInfo(portInfo(lookupPort(hPort)->portIdentity(), iInfoCmd), piType, pBuffer, piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::GCGetNumPortURLs(PORT_HANDLE hPort, uint32_t* piNumURLs) {
    return guarded("GCGetNumPortURLs", [&] { setOutput(piNumURLs, uint32_t(urls(*lookupPort(hPort)).size())); });
}

GC_ERROR GC_CALLTYPE GenTL::GCGetPortURLInfo(PORT_HANDLE hPort, uint32_t iURLIndex, URL_INFO_CMD iInfoCmd,
                                             INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return guarded("GCGetPortURLInfo", [&] {
        require(Library::instance().config().urlInfoSupported, GC_ERR_NOT_IMPLEMENTED, "URL information not supported");
        const auto list = urls(*lookupPort(hPort));
        require(iURLIndex < list.size(), GC_ERR_INVALID_INDEX, "URL index out of range");
        deliverInfo(urlInfo(*list[iURLIndex], iInfoCmd), piType, pBuffer, piSize);
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
