// The producer as a consumer sees it: library life cycle, the module tree, the information
// queries with their size convention, and bad input that must get the standard's codes.
#include "tests/sim/ProducerClient.h"

namespace zevo::test {
namespace {

int32_t accessStatus(Session& s, bool throughDevice) {
    int32_t status = -1;
    INFO_DATATYPE type = 0;
    size_t size = sizeof(status);
    const GC_ERROR rc = throughDevice ? s.gc.DevGetInfo(s.dev, DEVICE_INFO_ACCESS_STATUS, &type, &status, &size)
                                      : s.gc.IFGetDeviceInfo(s.iface, s.deviceId.c_str(), DEVICE_INFO_ACCESS_STATUS,
                                                             &type, &status, &size);
    EXPECT_EQ(rc, GC_ERR_SUCCESS);
    EXPECT_EQ(type, INFO_DATATYPE_INT32);
    return status;
}

TEST(SimTree, LoadsLikeAnyProducerAndGuardsItsLifeCycle) {
    Producer& gc = Producer::get();
    ASSERT_NE(gc.module, nullptr) << tq4::platform::lastModuleError();
    EXPECT_EQ(gc.resolved, 64);
    useConfig("");
    TL_HANDLE tl = nullptr;
    EXPECT_EQ(gc.TLOpen(&tl), GC_ERR_NOT_INITIALIZED);
    EXPECT_EQ(gc.GCCloseLib(), GC_ERR_NOT_INITIALIZED);
    ASSERT_EQ(gc.GCInitLib(), GC_ERR_SUCCESS);
    EXPECT_EQ(gc.GCInitLib(), GC_ERR_RESOURCE_IN_USE);
    ASSERT_EQ(gc.TLOpen(&tl), GC_ERR_SUCCESS);
    TL_HANDLE second = nullptr;
    EXPECT_EQ(gc.TLOpen(&second), GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(gc.TLClose(tl), GC_ERR_SUCCESS);
    EXPECT_EQ(gc.TLClose(tl), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(gc.GCCloseLib(), GC_ERR_SUCCESS);
}

TEST(SimTree, WalksSystemInterfaceDeviceStreamWithConsistentInformation) {
    Session s("", Session::ToDevice);
    INFO_DATATYPE type = 0;
    const std::string path =
        Session::text([&](char* b, size_t* n) { return s.gc.TLGetInfo(s.tl, TL_INFO_ID, &type, b, n); });
    EXPECT_NE(path.find("ZEVO.cti"), std::string::npos) << path;
    uint32_t major = 0;
    size_t size = sizeof(major);
    EXPECT_EQ(s.gc.GCGetInfo(TL_INFO_GENTL_VER_MAJOR, &type, &major, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(type, INFO_DATATYPE_UINT32);
    EXPECT_EQ(major, 1u);

    EXPECT_EQ(s.deviceText(DEVICE_INFO_VENDOR), "Orvanta ZEVO GmbH");
    EXPECT_EQ(s.deviceText(DEVICE_INFO_MODEL), "zevo.quillon 1.3 SWIR");
    EXPECT_EQ(s.deviceText(DEVICE_INFO_DISPLAYNAME), "ZEVO quillon SWIR (3101)");
    EXPECT_EQ(s.deviceText(DEVICE_INFO_SERIAL_NUMBER), "3101");
    EXPECT_EQ(s.deviceText(DEVICE_INFO_VERSION), "3");
    EXPECT_EQ(accessStatus(s, false), DEVICE_ACCESS_STATUS_OPEN_READWRITE);
    EXPECT_EQ(accessStatus(s, true), DEVICE_ACCESS_STATUS_OPEN_READWRITE);
    DEV_HANDLE again = nullptr;
    EXPECT_EQ(s.gc.IFOpenDevice(s.iface, s.deviceId.c_str(), DEVICE_ACCESS_EXCLUSIVE, &again), GC_ERR_RESOURCE_IN_USE);

    IF_HANDLE parentIf = nullptr;
    TL_HANDLE parentTl = nullptr;
    EXPECT_EQ(s.gc.DevGetParentIF(s.dev, &parentIf), GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.IFGetParentTL(parentIf, &parentTl), GC_ERR_SUCCESS);
    EXPECT_EQ(parentTl, s.tl);

    const std::string module =
        Session::text([&](char* b, size_t* n) { return s.gc.GCGetPortInfo(s.port, PORT_INFO_MODULE, &type, b, n); });
    EXPECT_EQ(module, "Device");
    // The URL list ends with an extra NUL that the size counts.
    size = 0;
    ASSERT_EQ(s.gc.GCGetPortURL(s.port, nullptr, &size), GC_ERR_SUCCESS);
    std::vector<char> urls(size);
    ASSERT_EQ(s.gc.GCGetPortURL(s.port, urls.data(), &size), GC_ERR_SUCCESS);
    const std::string url(urls.data());
    EXPECT_EQ(size, url.size() + 2);
    EXPECT_EQ(url.rfind("local:///ZEVO_quillon13SWIR.zip;100000;", 0), 0u) << url;

    // Closing the device frees it for the next open; its handles die with it.
    EXPECT_EQ(s.gc.DevClose(s.dev), GC_ERR_SUCCESS);
    EXPECT_EQ(accessStatus(s, false), DEVICE_ACCESS_STATUS_READWRITE);
    EXPECT_EQ(s.gc.GCReadPort(s.port, reg::kWidth, &major, &size), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.IFOpenDevice(s.iface, s.deviceId.c_str(), DEVICE_ACCESS_EXCLUSIVE, &s.dev), GC_ERR_SUCCESS);
}

TEST(SimTree, InformationQueriesFollowTheSizeConvention) {
    Session s;
    INFO_DATATYPE type = 0;
    size_t size = 0;
    ASSERT_EQ(s.gc.DSGetInfo(s.ds, STREAM_INFO_ID, &type, nullptr, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(size, std::string("Stream0").size() + 1);
    std::vector<char> exact(size);
    EXPECT_EQ(s.gc.DSGetInfo(s.ds, STREAM_INFO_ID, &type, exact.data(), &size), GC_ERR_SUCCESS);
    EXPECT_EQ(type, INFO_DATATYPE_STRING);
    EXPECT_STREQ(exact.data(), "Stream0");
    size_t tooSmall = size - 1;
    EXPECT_EQ(s.gc.DSGetInfo(s.ds, STREAM_INFO_ID, &type, exact.data(), &tooSmall), GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(s.gc.DSGetInfo(s.ds, STREAM_INFO_ID, nullptr, exact.data(), &size), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.gc.DSGetInfo(s.ds, STREAM_INFO_ID, &type, exact.data(), nullptr), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.gc.DSGetInfo(s.ds, STREAM_INFO_CUSTOM_ID + 7, &type, exact.data(), &size), GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(s.gc.DevGetInfo(s.dev, 4711, &type, exact.data(), &size), GC_ERR_NOT_IMPLEMENTED);

    // The last error belongs to the thread and describes the last failure.
    GC_ERROR code = 0;
    const std::string message = Session::text([&](char* b, size_t* n) { return s.gc.GCGetLastError(&code, b, n); });
    EXPECT_EQ(code, GC_ERR_NOT_IMPLEMENTED);
    EXPECT_NE(message.find("DevGetInfo"), std::string::npos) << message;

    const uint8_t definesPayload = s.streamInfo<uint8_t>(STREAM_INFO_DEFINES_PAYLOADSIZE);
    EXPECT_EQ(definesPayload, 1);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_PAYLOAD_SIZE), size_t(s.read(reg::kPayloadSize)));
}

TEST(SimTree, BadHandlesAndPointersGetErrorCodesNotCrashes) {
    Session s("streams = 2\n");
    int stranger = 0;
    void* bogus = &stranger;
    INFO_DATATYPE type = 0;
    char text[64];
    size_t size = sizeof(text);
    uint32_t count = 0;
    EXPECT_EQ(s.gc.TLGetInfo(bogus, TL_INFO_ID, &type, text, &size), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.IFGetInfo(s.dev, INTERFACE_INFO_ID, &type, text, &size), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.DevGetInfo(s.ds, DEVICE_INFO_ID, &type, text, &size), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.DSGetInfo(nullptr, STREAM_INFO_ID, &type, text, &size), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.DSQueueBuffer(s.ds, bogus), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.EventGetData(bogus, text, &size, 0), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.GCReadPort(bogus, 0, text, &size), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.DevClose(s.port), GC_ERR_INVALID_HANDLE);  // the remote port is not a device
    EXPECT_EQ(s.gc.GCRegisterEvent(s.port, EVENT_NEW_BUFFER, &bogus), GC_ERR_INVALID_HANDLE);

    EXPECT_EQ(s.gc.TLGetNumInterfaces(s.tl, nullptr), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.gc.TLOpenInterface(s.tl, nullptr, &bogus), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.gc.TLOpenInterface(s.tl, "no such interface", &bogus), GC_ERR_INVALID_ID);
    EXPECT_EQ(s.gc.TLGetInterfaceID(s.tl, 9, text, &size), GC_ERR_INVALID_INDEX);
    EXPECT_EQ(s.gc.IFOpenDevice(s.iface, s.deviceId.c_str(), 77, &bogus), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.gc.GCReadPort(s.port, 0, nullptr, &size), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.gc.GCReadPort(s.port, 0x7FFF0000, text, &size), GC_ERR_INVALID_ADDRESS);
    size = 8;
    EXPECT_EQ(s.gc.GCWritePort(s.port, reg::kSensorWidth, text, &size), GC_ERR_ACCESS_DENIED);
    EXPECT_EQ(s.gc.DSAnnounceBuffer(s.ds, nullptr, 100, nullptr, &bogus), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.gc.DSStartAcquisition(s.ds, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_INVALID_BUFFER);
    EXPECT_EQ(s.gc.DSStopAcquisition(s.ds, ACQ_STOP_FLAGS_DEFAULT), GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(s.gc.DSFlushQueue(s.ds, 99), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.gc.DSGetBufferID(s.ds, 0, &bogus), GC_ERR_INVALID_INDEX);
    EXPECT_EQ(s.gc.DevGetNumDataStreams(s.dev, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(count, 2u);

    // A buffer has no port, and a buffer of another stream is not this stream's.
    BUFFER_HANDLE buffer = nullptr;
    ASSERT_EQ(s.gc.DSAllocAndAnnounceBuffer(s.ds, 64, nullptr, &buffer), GC_ERR_SUCCESS);
    size = sizeof(text);
    EXPECT_EQ(s.gc.GCGetPortInfo(buffer, PORT_INFO_ID, &type, text, &size), GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.dev, buffer, nullptr, nullptr), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.DSGetBufferInfo(s.ds, buffer, BUFFER_INFO_CUSTOM_ID, &type, text, &size), GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(s.gc.DSGetNumBufferParts(s.ds, buffer, &count), GC_ERR_NO_DATA);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, buffer, nullptr, nullptr), GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, buffer, nullptr, nullptr), GC_ERR_INVALID_HANDLE);

    // A buffer of the device's other stream is not this stream's.
    DS_HANDLE other = nullptr;
    ASSERT_EQ(s.gc.DevOpenDataStream(s.dev, "Stream1", &other), GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.DevOpenDataStream(s.dev, "Stream1", &other), GC_ERR_RESOURCE_IN_USE);
    std::vector<uint8_t> memory(256);
    BUFFER_HANDLE theirs = nullptr;
    ASSERT_EQ(s.gc.DSAnnounceBuffer(other, memory.data(), memory.size(), nullptr, &theirs), GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, theirs, nullptr, nullptr), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(s.gc.DSQueueBuffer(s.ds, theirs), GC_ERR_INVALID_HANDLE);
    void* returned = nullptr;
    EXPECT_EQ(s.gc.DSRevokeBuffer(other, theirs, &returned, nullptr), GC_ERR_SUCCESS);
    EXPECT_EQ(returned, memory.data());
}

}  // namespace
}  // namespace zevo::test
