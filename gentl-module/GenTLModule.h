// One loaded GenTL producer (.cti library): found on the producer search path, loaded,
// initialised with GCInitLib, and the table of its GenTL entry points through which every
// transport class (SystemTLI, Interface, Device, Port, DataStream) calls the producer.
#pragma once

#include <string>
#include <vector>

#include "gentl-module/GenTL.h"
#include "platform/Platform.h"

namespace tq4::gentl {

// The producer's entry points in the order in which they are resolved (this is also the order
// of the table's fields). X(name) is expanded once for the fields and once for resolving.
// clang-format off
#define TQ4_GENTL_FUNCTION_LIST(X)                                                              \
    X(GCInitLib) X(GCCloseLib) X(GCGetInfo) X(GCGetLastError) X(GCReadPort) X(GCWritePort)      \
    X(GCGetPortURL) X(GCGetPortInfo) X(GCRegisterEvent) X(GCUnregisterEvent) X(EventGetData)    \
    X(EventGetDataInfo) X(EventGetInfo) X(EventFlush) X(EventKill) X(TLOpen) X(TLClose)         \
    X(TLGetInfo) X(TLGetNumInterfaces) X(TLGetInterfaceID) X(TLGetInterfaceInfo)                \
    X(TLOpenInterface) X(TLUpdateInterfaceList) X(IFClose) X(IFGetInfo) X(IFGetNumDevices)      \
    X(IFGetDeviceID) X(IFUpdateDeviceList) X(IFGetDeviceInfo) X(IFOpenDevice) X(DevGetPort)     \
    X(DevGetNumDataStreams) X(DevGetDataStreamID) X(DevOpenDataStream) X(DevGetInfo)            \
    X(DevClose) X(DSAnnounceBuffer) X(DSAllocAndAnnounceBuffer) X(DSFlushQueue)                 \
    X(DSStartAcquisition) X(DSStopAcquisition) X(DSGetInfo) X(DSGetBufferID) X(DSClose)         \
    X(DSRevokeBuffer) X(DSQueueBuffer) X(DSGetBufferInfo) X(GCGetNumPortURLs)                   \
    X(GCGetPortURLInfo) X(GCReadPortStacked) X(GCWritePortStacked) X(DSGetBufferChunkData)      \
    X(IFGetParentTL) X(DevGetParentIF) X(DSGetParentDev) X(DSGetNumBufferParts)                 \
    X(DSGetBufferPartInfo) X(DSAnnounceCompositeBuffer) X(DSGetBufferInfoStacked)               \
    X(DSGetBufferPartInfoStacked) X(DSGetNumFlows) X(DSGetFlowInfo) X(DSGetNumBufferSegments)   \
    X(DSGetBufferSegmentInfo)
// clang-format on

// One pointer per GenTL function, null when the producer does not export it. Only GCInitLib is
// required; callers of every other entry test it before use.
struct GenTLFunctions {
#define TQ4_GENTL_FIELD(name) GenTL::P##name name = nullptr;
    TQ4_GENTL_FUNCTION_LIST(TQ4_GENTL_FIELD)
#undef TQ4_GENTL_FIELD
};

class GenTLModule {
public:
    // Finds the producer by name (findProducer) and loads it. Does not initialise it.
    explicit GenTLModule(const std::string& producerName);
    // Deinitialises (GCCloseLib), then unloads the library.
    ~GenTLModule();
    GenTLModule(const GenTLModule&) = delete;
    GenTLModule& operator=(const GenTLModule&) = delete;

    // Full path of the first existing file `name` in the folders of GENICAM_GENTL64_PATH
    // (separated by platform::gentlPathListSeparator()), then the current directory, then the
    // driver data directory; the bare name when none exists (the loader's own search decides).
    static std::string findProducer(const std::string& name);
    // The folders findProducer walks, in its order (an empty piece of the variable included).
    static std::vector<std::string> searchFolders();

    // GCInitLib, then the rest of the table. A second call deinitialises first. False when the
    // library is not loaded or GCInitLib reports an error. A producer that answers
    // GC_ERR_RESOURCE_IN_USE is initialised already in this process (by another user of it, or
    // by an earlier session whose GCCloseLib failed while the library stayed loaded): it is used
    // as it is and left initialised.
    bool init();
    // If initialised: GCCloseLib (not for a producer initialised by someone else), every entry
    // cleared, flag cleared.
    void deinit();

    bool isInitialised() const { return initialised_; }
    bool isLoaded() const { return module_ != nullptr; }
    const GenTLFunctions& fn() const { return fn_; }
    // The path that was loaded (the result of findProducer).
    const std::string& path() const { return path_; }

private:
    void load();
    void resolveOptionalEntries();

    GenTLFunctions fn_;
    platform::ModuleHandle module_ = nullptr;
    bool initialised_ = false;
    bool initialisedElsewhere_ = false;
    std::string path_;
};

}  // namespace tq4::gentl
