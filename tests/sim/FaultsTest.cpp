// Configuration knobs and injected faults: each shows up exactly where it is configured.
#include "tests/sim/ProducerClient.h"

#include <filesystem>

namespace zevo::test {
namespace {

uint32_t devicesAfterUpdate(Session& s) {
    uint32_t n = 99;
    EXPECT_EQ(s.gc.IFUpdateDeviceList(s.iface, nullptr, 100), GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.IFGetNumDevices(s.iface, &n), GC_ERR_SUCCESS);
    return n;
}

std::string urlInfoText(Session& s, URL_INFO_CMD cmd) {
    INFO_DATATYPE type = 0;
    return Session::text([&](char* b, size_t* n) { return s.gc.GCGetPortURLInfo(s.port, 0, cmd, &type, b, n); });
}

// The description text, read through the port as served (plain XML configured).
std::string servedXml(Session& s) {
    uint64_t address = 0, size = 0;
    INFO_DATATYPE type = 0;
    size_t n = sizeof(uint64_t);
    EXPECT_EQ(s.gc.GCGetPortURLInfo(s.port, 0, URL_INFO_FILE_REGISTER_ADDRESS, &type, &address, &n), GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.GCGetPortURLInfo(s.port, 0, URL_INFO_FILE_SIZE, &type, &size, &n), GC_ERR_SUCCESS);
    std::string xml(size, '\0');
    n = size;
    EXPECT_EQ(s.gc.GCReadPort(s.port, address, xml.data(), &n), GC_ERR_SUCCESS);
    return xml;
}

TEST(SimFaults, InitAndOpenFailuresComeFromTheirFunctions) {
    Producer& gc = Producer::get();
    useConfig("fault.GCInitLib = -1001\n");
    EXPECT_EQ(gc.GCInitLib(), GC_ERR_ERROR);
    EXPECT_EQ(gc.GCCloseLib(), GC_ERR_NOT_INITIALIZED);
    useConfig("fault.TLOpen = -1005, 1\n");
    ASSERT_EQ(gc.GCInitLib(), GC_ERR_SUCCESS);
    TL_HANDLE tl = nullptr;
    EXPECT_EQ(gc.TLOpen(&tl), GC_ERR_ACCESS_DENIED);
    EXPECT_EQ(gc.TLOpen(&tl), GC_ERR_SUCCESS);  // only the first call fails
    EXPECT_EQ(gc.GCCloseLib(), GC_ERR_SUCCESS);
    useConfig("no_equals_sign_here\n");
    EXPECT_EQ(gc.GCInitLib(), GC_ERR_INVALID_PARAMETER);
}

TEST(SimFaults, DevicesAppearLateVanishAndReportAConfiguredAccessStatus) {
    {
        Session s("devices_appear_after_updates = 2\ndevices_vanish_after_updates = 5\n", Session::ToInterface);
        EXPECT_TRUE(s.deviceId.empty());  // the session's update was the first
        EXPECT_EQ(devicesAfterUpdate(s), 0u);
        EXPECT_EQ(devicesAfterUpdate(s), 1u);  // third update
        EXPECT_EQ(devicesAfterUpdate(s), 1u);
        EXPECT_EQ(devicesAfterUpdate(s), 0u);  // fifth update
    }
    {
        // Opens like a free device, then reports busy; the display name is taken as configured.
        Session open("access_status_after_open = 4\ndisplay_name = Bench camera 7\n", Session::ToDevice);
        int32_t status = 0;
        INFO_DATATYPE type = 0;
        size_t size = sizeof(status);
        EXPECT_EQ(open.gc.DevGetInfo(open.dev, DEVICE_INFO_ACCESS_STATUS, &type, &status, &size), GC_ERR_SUCCESS);
        EXPECT_EQ(status, DEVICE_ACCESS_STATUS_BUSY);
        EXPECT_EQ(Session::text([&](char* b, size_t* n) {
                      return open.gc.IFGetDeviceInfo(open.iface, open.deviceId.c_str(), DEVICE_INFO_DISPLAYNAME, &type,
                                                     b, n);
                  }),
                  "Bench camera 7");
    }
    Session s("access_status = 4\n", Session::ToInterface);
    int32_t status = 0;
    INFO_DATATYPE type = 0;
    size_t size = sizeof(status);
    EXPECT_EQ(s.gc.IFGetDeviceInfo(s.iface, s.deviceId.c_str(), DEVICE_INFO_ACCESS_STATUS, &type, &status, &size),
              GC_ERR_SUCCESS);
    EXPECT_EQ(status, DEVICE_ACCESS_STATUS_BUSY);
    DEV_HANDLE dev = nullptr;
    EXPECT_EQ(s.gc.IFOpenDevice(s.iface, s.deviceId.c_str(), DEVICE_ACCESS_EXCLUSIVE, &dev), GC_ERR_ACCESS_DENIED);
}

TEST(SimFaults, StreamFaultsHitTheConfiguredCalls) {
    Session s(
        "unlimited_frame_rate = 1\nfault.DSRevokeBuffer = -1022, 2\nfault.EventGetData = -1011, 1, 2\n"
        "fault.BUFFER_INFO_BASE = 0, 1, 1\nfault.DSQueueBuffer = -1010, 1, 3\n");
    BUFFER_HANDLE b = nullptr;
    ASSERT_EQ(s.gc.DSAllocAndAnnounceBuffer(s.ds, s.streamInfo<size_t>(STREAM_INFO_PAYLOAD_SIZE), nullptr, &b),
              GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, b, nullptr, nullptr), GC_ERR_BUSY);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, b, nullptr, nullptr), GC_ERR_BUSY);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, b, nullptr, nullptr), GC_ERR_SUCCESS);

    ASSERT_EQ(s.gc.DSAllocAndAnnounceBuffer(s.ds, s.streamInfo<size_t>(STREAM_INFO_PAYLOAD_SIZE), nullptr, &b),
              GC_ERR_SUCCESS);
    EVENT_HANDLE event = nullptr;
    ASSERT_EQ(s.gc.GCRegisterEvent(s.ds, EVENT_NEW_BUFFER, &event), GC_ERR_SUCCESS);
    ASSERT_EQ(s.gc.DSStartAcquisition(s.ds, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_SUCCESS);
    ASSERT_EQ(s.execute(reg::kAcquisitionStart), GC_ERR_SUCCESS);
    std::vector<GC_ERROR> waits, queues;
    std::vector<bool> baseIsNull;
    for (int i = 0; i < 4; ++i) {
        queues.push_back(s.gc.DSQueueBuffer(s.ds, b));
        EVENT_NEW_BUFFER_DATA data{};
        size_t size = sizeof(data);
        waits.push_back(s.gc.EventGetData(event, &data, &size, 3000));
        if (waits.back() == GC_ERR_SUCCESS) baseIsNull.push_back(s.bufferInfo<void*>(b, BUFFER_INFO_BASE) == nullptr);
    }
    // The injected time-out leaves the filled buffer queued: the fourth wait gets it although
    // the fourth queueing failed.
    EXPECT_EQ(queues, (std::vector<GC_ERROR>{GC_ERR_SUCCESS, GC_ERR_SUCCESS, GC_ERR_SUCCESS, GC_ERR_IO}));
    EXPECT_EQ(waits, (std::vector<GC_ERROR>{GC_ERR_SUCCESS, GC_ERR_SUCCESS, GC_ERR_TIMEOUT, GC_ERR_SUCCESS}));
    EXPECT_EQ(baseIsNull, (std::vector<bool>{false, true, false}));
}

TEST(SimFaults, DescriptionUrlsAndShortReadsAreServedAsConfigured) {
    {
        Session s("url = local:///Cam.zip;10000;2A3F?SchemaVersion=1.1.0\n", Session::ToDevice);
        EXPECT_EQ(urlInfoText(s, URL_INFO_URL), "local:///Cam.zip;10000;2A3F?SchemaVersion=1.1.0");
        EXPECT_EQ(urlInfoText(s, URL_INFO_FILENAME), "Cam.zip");
        char magic[2] = {};
        size_t n = sizeof(magic);
        ASSERT_EQ(s.gc.GCReadPort(s.port, 0x10000, magic, &n), GC_ERR_SUCCESS);
        EXPECT_EQ(std::string(magic, 2), "PK");
    }
    {
        Session s("url_scheme = file\nxml_zipped = 0\nxml_file_dir = " + ::testing::TempDir() + "zevo_file_url\n",
                  Session::ToDevice);
        const std::string url = urlInfoText(s, URL_INFO_URL);
        ASSERT_EQ(url.rfind("file:///", 0), 0u) << url;
        std::string path = url.substr(7, url.find('?') - 7);
        if (path.size() > 2 && path[2] == ':') path.erase(0, 1);  // "/C:/..." names "C:/..."
        EXPECT_TRUE(std::filesystem::exists(path)) << path;
        uint64_t address = 0;
        INFO_DATATYPE type = 0;
        size_t n = sizeof(address);
        EXPECT_EQ(s.gc.GCGetPortURLInfo(s.port, 0, URL_INFO_FILE_REGISTER_ADDRESS, &type, &address, &n),
                  GC_ERR_NOT_AVAILABLE);
    }
    {
        Session s("xml_zipped = 0\nshort_port_read = 10\nurl_info = 1\n", Session::ToDevice);
        uint64_t size = 0;
        INFO_DATATYPE type = 0;
        size_t n = sizeof(size);
        ASSERT_EQ(s.gc.GCGetPortURLInfo(s.port, 0, URL_INFO_FILE_SIZE, &type, &size, &n), GC_ERR_SUCCESS);
        std::string xml(size, '\0');
        n = size;
        ASSERT_EQ(s.gc.GCReadPort(s.port, reg::kDescription, xml.data(), &n), GC_ERR_SUCCESS);
        EXPECT_EQ(n, size - 10);
        EXPECT_EQ(xml.rfind("<?xml", 0), 0u);
        n = 8;
        EXPECT_EQ(s.gc.GCReadPort(s.port, reg::kWidth, &size, &n), GC_ERR_SUCCESS);
        EXPECT_EQ(n, 8u);  // registers outside the description read whole
    }
    Session s("url_info = 0\n", Session::ToDevice);
    uint64_t value = 0;
    INFO_DATATYPE type = 0;
    size_t n = sizeof(value);
    EXPECT_EQ(s.gc.GCGetPortURLInfo(s.port, 0, URL_INFO_URL, &type, &value, &n), GC_ERR_NOT_IMPLEMENTED);
}

TEST(SimFaults, DescriptionVariantsAndIdentityOverrides) {
    const std::string fiftyChars(50, 'Q');
    Session s(
        "xml_zipped = 0\ninfo_names = 1\nremove_features = BalanceWhiteAuto, TempSensorId\n"
        "trigger_selector_read_only = 1\npixel_formats = Mono8, Mono16msb\ndevice_version = AB\n"
        "model_name = " +
            fiftyChars + "\ntemperature.Backend = 61.5\ncooling_warning = 1\n",
        Session::ToDevice);
    const std::string xml = servedXml(s);
    EXPECT_EQ(xml.find("\"BalanceWhiteAuto\""), std::string::npos);
    EXPECT_EQ(xml.find("\"TempSensorId\""), std::string::npos);
    EXPECT_EQ(xml.find("<pFeature>TempSensorId</pFeature>"), std::string::npos);
    EXPECT_NE(xml.find("Name=\"InfoName\""), std::string::npos);
    EXPECT_NE(xml.find("Name=\"InfoHardwareRev\""), std::string::npos);
    EXPECT_NE(xml.find("Name=\"InfoSerial\""), std::string::npos);
    EXPECT_EQ(xml.find("Name=\"DeviceModelName\""), std::string::npos);
    EXPECT_EQ(xml.find("EnumEntry Name=\"Mono12\""), std::string::npos);
    EXPECT_NE(xml.find("EnumEntry Name=\"Mono16msb\""), std::string::npos);
    EXPECT_NE(xml.find("<ImposedAccessMode>RO</ImposedAccessMode>\n    <pSelected>TriggerMode"), std::string::npos);
    EXPECT_EQ(s.writeInt(reg::kTriggerSelector, 1), GC_ERR_ACCESS_DENIED);

    EXPECT_EQ(s.readString(reg::kDeviceVersion), "AB");
    EXPECT_EQ(s.readString(reg::kDeviceModelName), fiftyChars);
    ASSERT_EQ(s.writeInt(reg::kTempSensorBlock, 2), GC_ERR_SUCCESS);
    EXPECT_EQ(s.readString(reg::kTempSensorBlock + reg::kSensorNameOffset, reg::kSensorNameLength), "Backend");
    EXPECT_DOUBLE_EQ(s.readFloat(reg::kTempSensorBlock + reg::kSensorValueOffset), 61.5);
    EXPECT_EQ(s.readInt(reg::kCoolingWarning), 1);
    EXPECT_EQ(s.readInt(reg::kPixelFormat), 0x01080001);  // the first offered format
}

}  // namespace
}  // namespace zevo::test
