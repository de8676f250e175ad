// Exported GenTL functions of the library, system, interface and device modules, the same in
// every producer built on this kit.
#include "producer-kit/Exports.h"
#include "producer-kit/StreamModule.h"

using namespace gentlkit;

namespace {

std::shared_ptr<System> system(TL_HANDLE h) { return lookup<System>(h, ModuleKind::System); }
std::shared_ptr<InterfaceModule> iface(IF_HANDLE h) { return lookup<InterfaceModule>(h, ModuleKind::Interface); }
std::shared_ptr<DeviceModule> device(DEV_HANDLE h) { return lookup<DeviceModule>(h, ModuleKind::Device); }

std::string text(const char* s) {
    requirePointer(s);
    return s;
}

}  // namespace

// ---- library -----------------------------------------------------------------------------

GC_ERROR GC_CALLTYPE GenTL::GCInitLib() {
    return guarded(
        "GCInitLib", [] { producerLibrary().init(); }, false);
}

GC_ERROR GC_CALLTYPE GenTL::GCCloseLib() {
    return guarded("GCCloseLib", [] { producerLibrary().close(); });
}

GC_ERROR GC_CALLTYPE GenTL::GCGetInfo(TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return guarded("GCGetInfo", [&] { deliverInfo(systemInfo(iInfoCmd), piType, pBuffer, piSize); });
}

GC_ERROR GC_CALLTYPE GenTL::GCGetLastError(GC_ERROR* piErrorCode, char* sErrText, size_t* piSize) {
    return lastError(piErrorCode, sErrText, piSize);
}

// ---- system ------------------------------------------------------------------------------

GC_ERROR GC_CALLTYPE GenTL::TLOpen(TL_HANDLE* phTL) {
    return guarded("TLOpen", [&] {
        requirePointer(phTL);
        *phTL = producerLibrary().openSystem()->handle();
    });
}

GC_ERROR GC_CALLTYPE GenTL::TLClose(TL_HANDLE hTL) {
    return guarded("TLClose", [&] {
        std::vector<void*> released;
        system(hTL)->close(released);
        producerLibrary().release(released);
        producerLibrary().systemClosed();
    });
}

GC_ERROR GC_CALLTYPE GenTL::TLGetInfo(TL_HANDLE hTL, TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer,
                                      size_t* piSize) {
    return guarded("TLGetInfo", [&] {
        system(hTL);
        deliverInfo(systemInfo(iInfoCmd), piType, pBuffer, piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::TLGetNumInterfaces(TL_HANDLE hTL, uint32_t* piNumIfaces) {
    return guarded("TLGetNumInterfaces", [&] { setOutput(piNumIfaces, system(hTL)->numInterfaces()); });
}

GC_ERROR GC_CALLTYPE GenTL::TLGetInterfaceID(TL_HANDLE hTL, uint32_t iIndex, char* sID, size_t* piSize) {
    return guarded("TLGetInterfaceID", [&] { deliverText(system(hTL)->interfaceId(iIndex), sID, piSize); });
}

GC_ERROR GC_CALLTYPE GenTL::TLGetInterfaceInfo(TL_HANDLE hTL, const char* sIfaceID, INTERFACE_INFO_CMD iInfoCmd,
                                               INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return guarded("TLGetInterfaceInfo",
                   [&] { deliverInfo(system(hTL)->interfaceInfo(text(sIfaceID), iInfoCmd), piType, pBuffer, piSize); });
}

GC_ERROR GC_CALLTYPE GenTL::TLOpenInterface(TL_HANDLE hTL, const char* sIfaceID, IF_HANDLE* phIface) {
    return guarded("TLOpenInterface", [&] {
        requirePointer(phIface);
        *phIface = system(hTL)->openInterface(text(sIfaceID))->handle();
    });
}

GC_ERROR GC_CALLTYPE GenTL::TLUpdateInterfaceList(TL_HANDLE hTL, bool8_t* pbChanged, uint64_t) {
    return guarded("TLUpdateInterfaceList", [&] { system(hTL)->updateInterfaceList(pbChanged); });
}

// ---- interface ---------------------------------------------------------------------------

GC_ERROR GC_CALLTYPE GenTL::IFClose(IF_HANDLE hIface) {
    return guarded("IFClose", [&] {
        const auto i = iface(hIface);
        std::vector<void*> released;
        i->close(released);
        if (const auto parent = i->system()) parent->interfaceClosed(*i);
        producerLibrary().release(released);
    });
}

GC_ERROR GC_CALLTYPE GenTL::IFGetInfo(IF_HANDLE hIface, INTERFACE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                                      void* pBuffer, size_t* piSize) {
    return guarded("IFGetInfo", [&] {
        deliverInfo(producerLibrary().interfaceInfo(iface(hIface)->index(), iInfoCmd), piType, pBuffer, piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::IFGetNumDevices(IF_HANDLE hIface, uint32_t* piNumDevices) {
    return guarded("IFGetNumDevices", [&] { setOutput(piNumDevices, iface(hIface)->numDevices()); });
}

GC_ERROR GC_CALLTYPE GenTL::IFGetDeviceID(IF_HANDLE hIface, uint32_t iIndex, char* sIDeviceID, size_t* piSize) {
    return guarded("IFGetDeviceID", [&] { deliverText(iface(hIface)->deviceId(iIndex), sIDeviceID, piSize); });
}

GC_ERROR GC_CALLTYPE GenTL::IFUpdateDeviceList(IF_HANDLE hIface, bool8_t* pbChanged, uint64_t) {
    return guarded("IFUpdateDeviceList", [&] { iface(hIface)->updateDeviceList(pbChanged); });
}

GC_ERROR GC_CALLTYPE GenTL::IFGetDeviceInfo(IF_HANDLE hIface, const char* sDeviceID, DEVICE_INFO_CMD iInfoCmd,
                                            INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return guarded("IFGetDeviceInfo",
                   [&] { deliverInfo(iface(hIface)->deviceInfo(text(sDeviceID), iInfoCmd), piType, pBuffer, piSize); });
}

GC_ERROR GC_CALLTYPE GenTL::IFOpenDevice(IF_HANDLE hIface, const char* sDeviceID, DEVICE_ACCESS_FLAGS iOpenFlag,
                                         DEV_HANDLE* phDevice) {
    return guarded("IFOpenDevice", [&] {
        requirePointer(phDevice);
        *phDevice = iface(hIface)->openDevice(text(sDeviceID), iOpenFlag)->handle();
    });
}

GC_ERROR GC_CALLTYPE GenTL::IFGetParentTL(IF_HANDLE hIface, TL_HANDLE* phSystem) {
    return guarded("IFGetParentTL", [&] {
        const auto parent = iface(hIface)->system();
        require(parent != nullptr, GC_ERR_INVALID_HANDLE, "system closed");
        setOutput<void*>(phSystem, parent->handle());
    });
}

// ---- device ------------------------------------------------------------------------------

GC_ERROR GC_CALLTYPE GenTL::DevGetPort(DEV_HANDLE hDevice, PORT_HANDLE* phRemoteDevice) {
    return guarded("DevGetPort", [&] { setOutput<void*>(phRemoteDevice, device(hDevice)->remotePort()->handle()); });
}

GC_ERROR GC_CALLTYPE GenTL::DevGetNumDataStreams(DEV_HANDLE hDevice, uint32_t* piNumDataStreams) {
    return guarded("DevGetNumDataStreams", [&] { setOutput(piNumDataStreams, device(hDevice)->numStreams()); });
}

GC_ERROR GC_CALLTYPE GenTL::DevGetDataStreamID(DEV_HANDLE hDevice, uint32_t iIndex, char* sDataStreamID,
                                               size_t* piSize) {
    return guarded("DevGetDataStreamID",
                   [&] { deliverText(device(hDevice)->streamId(iIndex), sDataStreamID, piSize); });
}

GC_ERROR GC_CALLTYPE GenTL::DevOpenDataStream(DEV_HANDLE hDevice, const char* sDataStreamID, DS_HANDLE* phDataStream) {
    return guarded("DevOpenDataStream", [&] {
        requirePointer(phDataStream);
        *phDataStream = device(hDevice)->openStream(text(sDataStreamID))->handle();
    });
}

GC_ERROR GC_CALLTYPE GenTL::DevGetInfo(DEV_HANDLE hDevice, DEVICE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                                       void* pBuffer, size_t* piSize) {
    return guarded("DevGetInfo", [&] { deliverInfo(device(hDevice)->info(iInfoCmd), piType, pBuffer, piSize); });
}

GC_ERROR GC_CALLTYPE GenTL::DevClose(DEV_HANDLE hDevice) {
    return guarded("DevClose", [&] {
        const auto d = device(hDevice);
        std::vector<void*> released;
        d->close(released);
        if (const auto parent = d->parent()) parent->deviceClosed(*d);
        producerLibrary().release(released);
    });
}

GC_ERROR GC_CALLTYPE GenTL::DevGetParentIF(DEV_HANDLE hDevice, IF_HANDLE* phIface) {
    return guarded("DevGetParentIF", [&] {
        const auto parent = device(hDevice)->parent();
        require(parent != nullptr, GC_ERR_INVALID_HANDLE, "interface closed");
        setOutput<void*>(phIface, parent->handle());
    });
}
