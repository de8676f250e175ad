// The camera description checked by a GenICam engine we did not write: Aravis loads the XML
// that ZEVO.cti serves through its port (unzipping it with its own zip reader), reads every
// feature through GCReadPort and must see what the producer holds; writes through Aravis must
// reach the producer. Only this test includes Aravis, to hold the description to an outside
// standard.
#include "tests/sim/ProducerClient.h"

#include <arv.h>

namespace zevo::test {
namespace {

// ---- a minimal ArvDevice whose memory is the producer's remote device port -------------------

struct PortDevice {
    ArvDevice parent;
    PORT_HANDLE port;
};
struct PortDeviceClass {
    ArvDeviceClass parentClass;
};

G_DEFINE_TYPE(PortDevice, port_device, ARV_TYPE_DEVICE)

gboolean transferFailed(GError** error, GC_ERROR rc) {
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR, "GenTL error %d", int(rc));
    return FALSE;
}

gboolean readMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    size_t n = size;
    const GC_ERROR rc = Producer::get().GCReadPort(reinterpret_cast<PortDevice*>(device)->port, address, buffer, &n);
    return rc == GC_ERR_SUCCESS && n == size ? TRUE : transferFailed(error, rc);
}

gboolean writeMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    size_t n = size;
    const GC_ERROR rc = Producer::get().GCWritePort(reinterpret_cast<PortDevice*>(device)->port, address, buffer, &n);
    return rc == GC_ERR_SUCCESS ? TRUE : transferFailed(error, rc);
}

gboolean readRegister(ArvDevice* device, guint64 address, guint32* value, GError** error) {
    return readMemory(device, address, sizeof(*value), value, error);
}

gboolean writeRegister(ArvDevice* device, guint64 address, guint32 value, GError** error) {
    return writeMemory(device, address, sizeof(value), &value, error);
}

void port_device_init(PortDevice*) {}

void port_device_class_init(PortDeviceClass* cls) {
    ArvDeviceClass* device = ARV_DEVICE_CLASS(cls);
    device->read_memory = readMemory;
    device->write_memory = writeMemory;
    device->read_register = readRegister;
    device->write_register = writeRegister;
}

// ---- fixture: the description as served, loaded into Aravis ----------------------------------

class SimDescription : public ::testing::Test {
protected:
    SimDescription() : s("", Session::ToDevice) {
        device = static_cast<PortDevice*>(g_object_new(port_device_get_type(), nullptr));
        device->port = s.port;
        const std::string xml = servedXml();
        gc = arv_gc_new(ARV_DEVICE(device), xml.data(), xml.size());
    }
    ~SimDescription() override {
        if (gc) g_object_unref(gc);
        g_object_unref(device);
    }

    // The zip archive read from the port as the URL says, unpacked by Aravis.
    std::string servedXml() {
        const std::string zipped = s.portFile(s.port);
        ArvZip* zip = arv_zip_new(zipped.data(), zipped.size());
        const GSList* files = arv_zip_get_file_list(zip);
        std::string xml;
        if (files) {
            size_t length = 0;
            void* data = arv_zip_get_file(zip, arv_zip_file_get_name(static_cast<ArvZipFile*>(files->data)), &length);
            if (data) xml.assign(static_cast<char*>(data), length);
            g_free(data);
        }
        arv_zip_free(zip);
        return xml;
    }

    ArvGcNode* node(const char* name) {
        ArvGcNode* n = arv_gc_get_node(gc, name);
        EXPECT_NE(n, nullptr) << name;
        return n;
    }
    // Feature values through Aravis' getters, which must not fail.
    int64_t integer(const char* name) {
        GError* e = nullptr;
        return checked(arv_gc_integer_get_value(ARV_GC_INTEGER(node(name)), &e), e, name);
    }
    double number(const char* name) {
        GError* e = nullptr;
        return checked(arv_gc_float_get_value(ARV_GC_FLOAT(node(name)), &e), e, name);
    }
    bool flag(const char* name) {
        GError* e = nullptr;
        return checked(arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node(name)), &e), e, name);
    }
    std::string symbol(const char* name) {
        GError* e = nullptr;
        return checked(arv_gc_enumeration_get_string_value(ARV_GC_ENUMERATION(node(name)), &e), e, name);
    }
    std::string text(const char* name) {
        GError* e = nullptr;
        return checked(arv_gc_string_get_value(ARV_GC_STRING(node(name)), &e), e, name);
    }
    // Writes through Aravis' setters: true when Aravis accepted the value.
    bool setInteger(const char* name, int64_t v) {
        return ok([&](GError** e) { arv_gc_integer_set_value(ARV_GC_INTEGER(node(name)), v, e); });
    }
    bool setSymbol(const char* name, const char* v) {
        return ok([&](GError** e) { arv_gc_enumeration_set_string_value(ARV_GC_ENUMERATION(node(name)), v, e); });
    }
    template <typename Call>
    static bool ok(Call call) {
        GError* error = nullptr;
        call(&error);
        const bool good = error == nullptr;
        g_clear_error(&error);
        return good;
    }
    Session s;
    PortDevice* device = nullptr;
    ArvGc* gc = nullptr;

private:
    template <typename T>
    static T checked(T value, GError*& error, const char* name) {
        EXPECT_EQ(error, nullptr) << name << ": " << (error ? error->message : "");
        g_clear_error(&error);
        return value;
    }
    static std::string checked(const char* value, GError*& error, const char* name) {
        return checked(std::string(value ? value : ""), error, name);
    }
};

TEST_F(SimDescription, EveryNamedFeatureReadsBackWhatTheProducerHolds) {
    ASSERT_NE(gc, nullptr) << "Aravis refused the description";
    struct Int {
        const char* name;
        uint64_t address;
    };
    for (const Int& f :
         {Int{"SensorWidth", reg::kSensorWidth}, Int{"SensorHeight", reg::kSensorHeight},
          Int{"WidthMax", reg::kWidthMax}, Int{"HeightMax", reg::kHeightMax}, Int{"Width", reg::kWidth},
          Int{"Height", reg::kHeight}, Int{"OffsetX", reg::kOffsetX}, Int{"OffsetY", reg::kOffsetY},
          Int{"BinningHorizontal", reg::kBinningHorizontal}, Int{"BinningVertical", reg::kBinningVertical},
          Int{"PayloadSize", reg::kPayloadSize}, Int{"TLParamsLocked", reg::kTLParamsLocked},
          Int{"AcquisitionBurstFrameCount", reg::kAcquisitionBurstFrameCount},
          Int{"TempSensorId", reg::kTempSensorBlock}, Int{"PressureSensorId", reg::kPressureSensorBlock}})
        EXPECT_EQ(integer(f.name), s.read(f.address)) << f.name;
    EXPECT_EQ(integer("SensorWidth"), 1296);
    EXPECT_EQ(integer("SensorHeight"), 1032);

    struct Text {
        const char* name;
        uint64_t address;
        std::string expected;
    };
    for (const Text& f : {Text{"DeviceVendorName", reg::kDeviceVendorName, "Orvanta ZEVO GmbH"},
                          Text{"DeviceModelName", reg::kDeviceModelName, "zevo.quillon 1.3 SWIR"},
                          Text{"DeviceFamilyName", reg::kDeviceFamilyName, "zevo.quillon"},
                          Text{"DeviceVersion", reg::kDeviceVersion, "3"},
                          Text{"DeviceFirmwareVersion", reg::kDeviceFirmwareVersion, "2.4.17"},
                          Text{"DeviceSerialNumber", reg::kDeviceSerialNumber, "3101"},
                          Text{"MaterialNumber", reg::kMaterialNumber, s.readString(reg::kMaterialNumber)},
                          Text{"TempSensorName", reg::kTempSensorBlock + reg::kSensorNameOffset, "Img-Sen"}}) {
        EXPECT_EQ(text(f.name), f.expected) << f.name;
        EXPECT_EQ(s.readString(f.address,
                               f.name == std::string("TempSensorName") ? reg::kSensorNameLength : reg::kStringLength),
                  f.expected);
    }

    struct Enum {
        const char* name;
        std::string expected;
    };
    for (const Enum& f :
         {Enum{"DeviceType", "Transmitter"}, Enum{"DeviceScanType", "Areascan"}, Enum{"PixelFormat", "Mono12"},
          Enum{"PixelSize", "Bpp12"}, Enum{"AcquisitionMode", "Continuous"}, Enum{"ExposureMode", "Timed"},
          Enum{"ExposureAuto", "Off"}, Enum{"TriggerSelector", "FrameStart"}, Enum{"TriggerMode", "Off"},
          Enum{"TriggerSource", "Software"}, Enum{"LineSelector", "Line0"}, Enum{"LineSource", "Off"},
          Enum{"LineMode", "Input"}, Enum{"DeviceTemperatureSelector", "Sensor"}, Enum{"CoolingMode", "Automatic"},
          Enum{"FanControlMode", "AutomaticTarget"}, Enum{"NUCMode", "Off"}, Enum{"ZEVOTimestamp", "Off"},
          Enum{"BalanceWhiteAuto", "Off"}})
        EXPECT_EQ(symbol(f.name), f.expected) << f.name;

    EXPECT_DOUBLE_EQ(number("ExposureTime"), s.read<double>(reg::kExposureTime));
    EXPECT_DOUBLE_EQ(number("AcquisitionFrameRate"), s.read<double>(reg::kAcquisitionFrameRate));
    EXPECT_DOUBLE_EQ(number("CoolingAutomaticValue"), s.read<double>(reg::kCoolingAutomaticValue));
    EXPECT_DOUBLE_EQ(number("SensorPixelWidth"), 5.0);
    EXPECT_NEAR(number("DeviceTemperature"), s.read<double>(reg::kDeviceTemperature), 0.5);
    EXPECT_EQ(flag("AcquisitionFrameRateEnable"), s.read(reg::kAcquisitionFrameRateEnable) != 0);
    EXPECT_EQ(flag("CoolingWarning"), false);

    GError* error = nullptr;
    EXPECT_DOUBLE_EQ(arv_gc_float_get_min(ARV_GC_FLOAT(node("ExposureTime")), &error), 10.0);
    EXPECT_DOUBLE_EQ(arv_gc_float_get_max(ARV_GC_FLOAT(node("ExposureTime")), &error), 1000000.0);
    EXPECT_DOUBLE_EQ(arv_gc_float_get_max(ARV_GC_FLOAT(node("AcquisitionFrameRate")), &error),
                     s.read<double>(reg::kAcquisitionFrameRateMax));
    EXPECT_DOUBLE_EQ(arv_gc_float_get_min(ARV_GC_FLOAT(node("CoolingAutomaticValue")), &error), -20.0);
    EXPECT_EQ(arv_gc_integer_get_inc(ARV_GC_INTEGER(node("Width")), &error), 8);
    EXPECT_EQ(error, nullptr);
}

TEST_F(SimDescription, WritesThroughTheEngineReachTheCameraAndItsDependentFeatures) {
    ASSERT_NE(gc, nullptr);
    EXPECT_TRUE(setInteger("Width", 640));
    EXPECT_EQ(s.read(reg::kWidth), 640);
    EXPECT_EQ(arv_gc_integer_get_max(ARV_GC_INTEGER(node("OffsetX")), nullptr), 1296 - 640);
    EXPECT_TRUE(setSymbol("PixelFormat", "Mono8"));
    EXPECT_EQ(symbol("PixelSize"), "Bpp8");
    EXPECT_EQ(integer("PayloadSize"), 640 * 1032);
    EXPECT_TRUE(setInteger("TLParamsLocked", 1));
    EXPECT_FALSE(setInteger("Width", 320));
    EXPECT_EQ(s.read(reg::kWidth), 640);

    // Selectors switch what their selected features show.
    EXPECT_TRUE(setInteger("TempSensorId", 1));
    EXPECT_EQ(text("TempSensorName"), "Hum-Sen");
    EXPECT_TRUE(setSymbol("TriggerSelector", "FrameBurstStart"));
    EXPECT_TRUE(setSymbol("TriggerMode", "On"));
    EXPECT_TRUE(setSymbol("TriggerSelector", "FrameStart"));
    EXPECT_EQ(symbol("TriggerMode"), "Off");
    EXPECT_TRUE(setSymbol("LineSelector", "Line2"));
    EXPECT_TRUE(setSymbol("LineSource", "FrameTriggerOut"));
    EXPECT_EQ(symbol("LineMode"), "Output");
    EXPECT_FALSE(ok([&](GError** e) { arv_gc_float_set_value(ARV_GC_FLOAT(node("ExposureTime")), 5.0, e); }));
}

}  // namespace
}  // namespace zevo::test

namespace zevo::test {
namespace {

// The modules' own ports describe the modules: Aravis loads each plain description.
TEST(SimModulePorts, EveryModuleDescribesItselfThroughItsPort) {
    Session s;
    for (const auto& [handle, feature, expected] :
         {std::tuple<void*, const char*, std::string>{s.tl, "TLVendorName", "Orvanta ZEVO GmbH"},
          {s.iface, "InterfaceID", "ZEVO_SIM_IF0"},
          {s.dev, "DeviceID", s.deviceId},
          {s.ds, "StreamID", "Stream0"}}) {
        const std::string xml = s.portFile(handle);
        auto* device = static_cast<PortDevice*>(g_object_new(port_device_get_type(), nullptr));
        device->port = handle;
        ArvGc* gc = arv_gc_new(ARV_DEVICE(device), xml.data(), xml.size());
        ASSERT_NE(gc, nullptr) << feature;
        ArvGcNode* node = arv_gc_get_node(gc, feature);
        ASSERT_NE(node, nullptr) << feature;
        const char* value = arv_gc_string_get_value(ARV_GC_STRING(node), nullptr);
        EXPECT_EQ(std::string(value ? value : ""), expected) << feature;
        g_object_unref(gc);
        g_object_unref(device);
    }
}

}  // namespace
}  // namespace zevo::test
