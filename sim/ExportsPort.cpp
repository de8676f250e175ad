// Exported GenTL port functions: register access, port information and description URLs.
#include "producer-kit/Exports.h"
#include "sim/Tree.h"

using namespace zevo;

namespace {

// Where a port's description is: the camera's for the remote port, else the module's own.
Description descriptionOf(Module& port) {
    if (port.kind() == ModuleKind::RemotePort) return static_cast<RemotePort&>(port).description();
    Description d;
    d.url = port.portUrl();
    d.fileName = port.ownDescriptionFile();
    d.size = port.ownDescription().size();
    return d;
}

InfoValue urlInfo(const Description& d, URL_INFO_CMD command) {
    const bool located = d.scheme == URL_SCHEME_LOCAL || Library::instance().config().fileUrlInfoNumbers;
    switch (command) {
        case URL_INFO_URL: return infoString(d.url);
        case URL_INFO_SCHEMA_VER_MAJOR:
        case URL_INFO_SCHEMA_VER_MINOR:
        case URL_INFO_FILE_VER_MAJOR: return infoInt32(1);
        case URL_INFO_FILE_VER_MINOR:
        case URL_INFO_FILE_VER_SUBMINOR: return infoInt32(0);
        case URL_INFO_FILE_SHA1_HASH: throw GenTLError(GC_ERR_NOT_AVAILABLE, "no SHA1 hash of the description");
        case URL_INFO_FILE_REGISTER_ADDRESS:
            require(located, GC_ERR_NOT_AVAILABLE, "the description is not in the register map");
            return infoUInt64(d.address);
        case URL_INFO_FILE_SIZE:
            require(located, GC_ERR_NOT_AVAILABLE, "the description is not in the register map");
            return infoUInt64(d.size);
        case URL_INFO_SCHEME: return infoInt32(d.scheme);
        case URL_INFO_FILENAME: return infoString(d.fileName);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown URL info command");
    }
}

}  // namespace

GC_ERROR GC_CALLTYPE GenTL::GCGetPortURLInfo(PORT_HANDLE hPort, uint32_t iURLIndex, URL_INFO_CMD iInfoCmd,
                                             INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return guarded("GCGetPortURLInfo", [&] {
        require(Library::instance().config().urlInfoSupported, GC_ERR_NOT_IMPLEMENTED, "URL information not supported");
        const auto port = lookupPort(hPort);
        require(iURLIndex == 0, GC_ERR_INVALID_INDEX, "URL index out of range");
        deliverInfo(urlInfo(descriptionOf(*port), iInfoCmd), piType, pBuffer, piSize);
    });
}
