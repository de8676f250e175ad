// The camera description that ZEVO.cti serves through its port, as the driver's node map (over
// the Aravis engine) reads it, without the rest of the driver: every named feature must show
// what the producer holds, and writes must reach the producer and its dependent features. The
// modules' own ports describe the modules.
#include "features/Features.h"
#include "features/NodeMap.h"
#include "tests/sim/ProducerClient.h"

namespace zevo::test {
namespace {

using namespace tq4::features;

// A module's port as the register space of a node map.
struct ModulePort : RegisterPort {
    explicit ModulePort(void* module) : handle(module) {}
    void Read(void* buffer, int64_t address, int64_t length) override {
        size_t n = size_t(length);
        EXPECT_EQ(Producer::get().GCReadPort(handle, uint64_t(address), buffer, &n), GC_ERR_SUCCESS) << address;
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        size_t n = size_t(length);
        Producer::get().GCWritePort(handle, uint64_t(address), buffer, &n);
    }
    void* handle;
};

class SimDescription : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string zip = s.portFile(s.port);
        map.loadZippedXml(zip.data(), zip.size());
        ASSERT_TRUE(map.connect(&port));
    }
    Session s{"", Session::ToDevice};
    ModulePort port{s.port};
    NodeMap map;
};

TEST_F(SimDescription, EveryNamedFeatureReadsBackWhatTheProducerHolds) {
    // clang-format off
    const std::pair<const char*, uint64_t> integers[] = {
        {"SensorWidth", reg::kSensorWidth}, {"SensorHeight", reg::kSensorHeight}, {"WidthMax", reg::kWidthMax},
        {"HeightMax", reg::kHeightMax}, {"Width", reg::kWidth}, {"Height", reg::kHeight}, {"OffsetX", reg::kOffsetX},
        {"OffsetY", reg::kOffsetY}, {"BinningHorizontal", reg::kBinningHorizontal},
        {"BinningVertical", reg::kBinningVertical}, {"PayloadSize", reg::kPayloadSize},
        {"TLParamsLocked", reg::kTLParamsLocked}, {"AcquisitionBurstFrameCount", reg::kAcquisitionBurstFrameCount},
        {"TempSensorId", reg::kTempSensorBlock}, {"PressureSensorId", reg::kPressureSensorBlock}};
    // clang-format on
    for (const auto& [name, address] : integers) EXPECT_EQ(getInteger(map, name), s.read(address)) << name;
    EXPECT_EQ(std::vector<int64_t>({getInteger(map, "SensorWidth"), getInteger(map, "SensorHeight")}),
              std::vector<int64_t>({1296, 1032}));

    const std::tuple<const char*, uint64_t, std::string> texts[] = {
        {"DeviceVendorName", reg::kDeviceVendorName, "Orvanta ZEVO GmbH"},
        {"DeviceModelName", reg::kDeviceModelName, "zevo.quillon 1.3 SWIR"},
        {"DeviceFamilyName", reg::kDeviceFamilyName, "zevo.quillon"},
        {"DeviceVersion", reg::kDeviceVersion, "3"},
        {"DeviceFirmwareVersion", reg::kDeviceFirmwareVersion, "2.4.17"},
        {"DeviceSerialNumber", reg::kDeviceSerialNumber, "3101"},
        {"MaterialNumber", reg::kMaterialNumber, s.readString(reg::kMaterialNumber)}};
    for (const auto& [name, address, expected] : texts) {
        EXPECT_EQ(getString(map, name), expected) << name;
        EXPECT_EQ(s.readString(address), expected);
    }
    EXPECT_EQ(getString(map, "TempSensorName"), "Img-Sen");
    EXPECT_EQ(s.readString(reg::kTempSensorBlock + reg::kSensorNameOffset, reg::kSensorNameLength), "Img-Sen");

    // clang-format off
    const std::pair<const char*, std::string> symbols[] = {
        {"DeviceType", "Transmitter"}, {"DeviceScanType", "Areascan"}, {"PixelFormat", "Mono12"},
        {"PixelSize", "Bpp12"}, {"AcquisitionMode", "Continuous"}, {"ExposureMode", "Timed"}, {"ExposureAuto", "Off"},
        {"TriggerSelector", "FrameStart"}, {"TriggerMode", "Off"}, {"TriggerSource", "Software"},
        {"LineSelector", "Line0"}, {"LineSource", "Off"}, {"LineMode", "Input"},
        {"DeviceTemperatureSelector", "Sensor"},
        {"CoolingMode", "Automatic"}, {"FanControlMode", "AutomaticTarget"}, {"NUCMode", "Off"},
        {"ZEVOTimestamp", "Off"}, {"BalanceWhiteAuto", "Off"}};
    // clang-format on
    for (const auto& [name, expected] : symbols) EXPECT_EQ(getEnum(map, name), expected) << name;

    // Floats and their limits: tests/features/GenApiRulesCheck.cpp and the telegram tests.
    EXPECT_DOUBLE_EQ(getFloat(map, "ExposureTime"), s.read<double>(reg::kExposureTime));
    EXPECT_DOUBLE_EQ(getFloat(map, "AcquisitionFrameRate"), s.read<double>(reg::kAcquisitionFrameRate));
    EXPECT_EQ(getBoolean(map, "AcquisitionFrameRateEnable"), s.read(reg::kAcquisitionFrameRateEnable) != 0);
}

TEST_F(SimDescription, WritesReachTheCameraAndItsDependentFeatures) {
    EXPECT_TRUE(setInteger(map, "Width", 640));
    EXPECT_EQ(s.read(reg::kWidth), 640);
    int64_t max = 0;
    getInteger(map, "OffsetX", nullptr, &max);
    EXPECT_EQ(max, 1296 - 640);
    EXPECT_TRUE(setEnum(map, "PixelFormat", "Mono8"));
    EXPECT_EQ(getEnum(map, "PixelSize"), "Bpp8");
    EXPECT_EQ(getInteger(map, "PayloadSize"), 640 * 1032);
    EXPECT_TRUE(setInteger(map, "TLParamsLocked", 1));
    EXPECT_FALSE(setInteger(map, "Width", 320));
    EXPECT_EQ(s.read(reg::kWidth), 640);
    EXPECT_FALSE(setFloat(map, "ExposureTime", 5.0));

    // Selectors switch what their selected features show.
    EXPECT_TRUE(setInteger(map, "TempSensorId", 1));
    EXPECT_EQ(getString(map, "TempSensorName"), "Hum-Sen");
    for (const auto& [feature, value] : {std::pair{"TriggerSelector", "FrameBurstStart"},
                                         {"TriggerMode", "On"},
                                         {"TriggerSelector", "FrameStart"},
                                         {"LineSelector", "Line2"},
                                         {"LineSource", "FrameTriggerOut"}})
        EXPECT_TRUE(setEnum(map, feature, value)) << feature;
    EXPECT_EQ(getEnum(map, "TriggerMode"), "Off");
    EXPECT_EQ(getEnum(map, "LineMode"), "Output");
}

// Each module's own port holds a plain description of the module.
TEST(SimModulePorts, EveryModuleDescribesItselfThroughItsPort) {
    Session s;
    for (const auto& [handle, feature, expected] :
         {std::tuple<void*, const char*, std::string>{s.tl, "TLVendorName", "Orvanta ZEVO GmbH"},
          {s.iface, "InterfaceID", "ZEVO_SIM_IF0"},
          {s.dev, "DeviceID", s.deviceId},
          {s.ds, "StreamID", "Stream0"}}) {
        const std::string xml = s.portFile(handle);
        ModulePort port(handle);
        NodeMap map;
        map.loadXml(xml.data(), xml.size());
        ASSERT_TRUE(map.connect(&port)) << feature;
        EXPECT_EQ(getString(map, feature), expected) << feature;
    }
}

}  // namespace
}  // namespace zevo::test
