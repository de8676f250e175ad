// Identity, status and miscellaneous commands against the simulated camera, each configured
// through the producer's configuration file.
#include <gtest/gtest.h>

#include "driver/Driver.h"
#include "features/Features.h"
#include "gentl/Device.h"
#include "support/SimCamera.h"
#include "tq4_genicam.h"

using namespace tq4::test;

namespace {

// A camera with `config`, one request, its answer.
Answer ask(const std::string& config, const Bytes& request, LogCapture* log = nullptr) {
    SimCamera camera(config);
    EXPECT_TRUE(camera.isOpen()) << (log ? log->dump() : "");
    return camera.isOpen() ? camera.send(request) : Answer{};
}

}  // namespace

TEST(TelegramIdentity, CameraTypeReadsHardwareVersionText) {
    {
        const Answer a = ask("device_version=A\nserials=3101\n", telegram(GET_CAMERA_TYPE));
        EXPECT_EQ(a.result, 0u);
        EXPECT_EQ(u16At(a.bytes, 2), 23);
        EXPECT_EQ(u32At(a.bytes, 4), 0x00011A00u);
        EXPECT_EQ(u32At(a.bytes, 8), 3101u);
        EXPECT_EQ(u32At(a.bytes, 12), 65u);
        EXPECT_EQ(u32At(a.bytes, 16), 2u);  // firmware "2.4.17": its leading number
        EXPECT_EQ(u16At(a.bytes, 20), 6);
    }
    {
        LogCapture log;
        const Answer a = ask("device_version=AB\n", telegram(GET_CAMERA_TYPE), &log);
        EXPECT_EQ(u32At(a.bytes, 12), 0u);
        EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::do_GET_CAMERA_TYPE: stoull exception: stoull <AB>"));
        EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::do_GET_CAMERA_TYPE: can not read HW version <AB>. set: 0"));
    }
    EXPECT_EQ(u32At(ask("device_version=12xy\n", telegram(GET_CAMERA_TYPE)).bytes, 12), 12u);
}

TEST(TelegramIdentity, InfoStringsAndNames) {
    const std::string name50 = "ZEVO quillon SWIR, cooled InGaAs, 1296x1032 (3101)";
    ASSERT_EQ(name50.size(), 50u);
    SimCamera camera("display_name=" + name50 + "\nmaterial_number=ZQ-77\n");
    ASSERT_TRUE(camera.isOpen());

    const Answer named = camera.send(telegram(GET_CAMERA_NAME));
    EXPECT_EQ(u16At(named.bytes, 2), 45);
    EXPECT_EQ(textAt(named.bytes, 4, 40), name50.substr(0, 39));
    EXPECT_EQ(named.bytes[43], 0);

    const auto info = [&](uint32_t type) { return camera.send(telegram(GET_INFO_STRING, u32Bytes(type))); };
    EXPECT_EQ(textAt(info(1).bytes, 4, 40), name50.substr(0, 39));
    EXPECT_EQ(textAt(info(2).bytes, 4, 40), "Sony IMX990");
    EXPECT_EQ(textAt(info(3).bytes, 4, 40), "ZQ-77");
    EXPECT_EQ(textAt(info(4).bytes, 4, 40), "1,9,0,0");
    for (uint32_t type : {0u, 5u}) {
        const Answer a = info(type);
        EXPECT_EQ(a.result, ZEVO_ERROR_TELEGRAM_VALUEFAILED);
        EXPECT_EQ(u16At(a.bytes, 0), 0x0A90);  // a normal answer, without text
        EXPECT_EQ(textAt(a.bytes, 4, 40), "");
    }
}

TEST(TelegramIdentity, VersionLists) {
    SimCamera camera("device_version=B\nfirmware_version=2.4.17\nmodel_name=zevo.quillon 1.3 SWIR\n");
    ASSERT_TRUE(camera.isOpen());
    const Answer hw = camera.send(telegram(GET_HARDWARE_VERSIONS));
    EXPECT_EQ(u16At(hw.bytes, 2), 29);
    EXPECT_EQ(u16At(hw.bytes, 4), 1);
    EXPECT_EQ(textAt(hw.bytes, 6, 16), "zevo.quillon 1.");
    EXPECT_EQ(u16At(hw.bytes, 24), 'B');

    const Answer fw = camera.send(telegram(GET_FIRMWARE_VERSIONS));
    EXPECT_EQ(u16At(fw.bytes, 2), 207);
    EXPECT_EQ(textAt(fw.bytes, 4, 40), "Orvanta ZEVO GmbH zevo.quillon 1.3 SWIR");
    EXPECT_EQ(u16At(fw.bytes, 44), 4);
    EXPECT_EQ(textAt(fw.bytes, 46, 16), "Bootloader");
    EXPECT_EQ(textAt(fw.bytes, 46 + 16, 20), "??");
    EXPECT_EQ(textAt(fw.bytes, 86, 16), "Application");
    EXPECT_EQ(textAt(fw.bytes, 86 + 16, 20), "2.4.17");
    EXPECT_EQ(u16At(fw.bytes, 86 + 36), 2);
    EXPECT_EQ(u16At(fw.bytes, 86 + 38), 4);
    EXPECT_EQ(textAt(fw.bytes, 166, 16), "Unknown");
}

TEST(TelegramStatus, TemperaturesAreRoundedAndTheSelectorWins) {
    const std::string sensors = "temperature.Img-Sen=21.37\ntemperature.Hum-Sen=40.5\ntemperature.Backend=-3.7\n";
    const Answer block = ask("remove_features=DeviceTemperatureSelector\n" + sensors, telegram(GET_TEMPERATURE));
    EXPECT_EQ(block.result, 0u);
    EXPECT_EQ(u16At(block.bytes, 2), 11);
    EXPECT_EQ(s16At(block.bytes, 4), 214);
    EXPECT_EQ(s16At(block.bytes, 6), 41);
    EXPECT_EQ(s16At(block.bytes, 8), -3);

    // The simulated selector shows Img-Sen as "Sensor", Backend as "Main", and "Power".
    const Answer selector = ask(sensors + "temperature.Power=7.2\n", telegram(GET_TEMPERATURE));
    EXPECT_EQ(s16At(selector.bytes, 4), 214);
    EXPECT_EQ(s16At(selector.bytes, 6), -3);
    EXPECT_EQ(s16At(selector.bytes, 8), 7);
}

// The sensor block is walked by its id; the id the camera had is put back afterwards.
TEST(TelegramStatus, TemperatureSensorIdIsPutBack) {
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    auto map = tq4::driver::Driver::instance()->getDevice(camera.handle())->nodeMap();
    ASSERT_TRUE(tq4::features::setInteger(*map, "TempSensorId", 1));
    EXPECT_EQ(camera.send(telegram(GET_TEMPERATURE)).result, 0u);
    EXPECT_EQ(tq4::features::getInteger(*map, "TempSensorId"), 1);
}

TEST(TelegramStatus, HealthAndCooling) {
    SimCamera camera("cooling_warning=1\n");
    ASSERT_TRUE(camera.isOpen());
    const Answer health = camera.send(telegram(GET_CAMERA_HEALTH_STATUS));
    EXPECT_EQ(u32At(health.bytes, 4), 8u);
    EXPECT_EQ(u32At(health.bytes, 8), 0u);
    EXPECT_EQ(u32At(health.bytes, 12), 1u);

    const Answer set = camera.send(telegram(SET_COOLING_SETPOINT_TEMPERATURE, u16Bytes(uint16_t(-20))));
    EXPECT_EQ(set.result, 0u);
    EXPECT_EQ(s16At(set.bytes, 4), -20);
    EXPECT_EQ(s16At(camera.send(telegram(GET_COOLING_SETPOINT_TEMPERATURE)).bytes, 4), -20);
    // The description keeps reporting the set point read at open.
    EXPECT_EQ(s16At(camera.send(telegram(GET_CAMERA_DESCRIPTION)).bytes, 106), 15);
}

TEST(TelegramMisc, TimestampModeOnTheCameraAndInTheDriver) {
    {
        LogCapture log;
        SimCamera camera;
        ASSERT_TRUE(camera.isOpen());
        camera.send(telegram(SET_TIMESTAMP_MODE, u16Bytes(2)));
        const Answer seven = camera.send(telegram(SET_TIMESTAMP_MODE, u16Bytes(7)));
        EXPECT_EQ(seven.result, 0u);
        EXPECT_EQ(u16At(seven.bytes, 4), 0);
        EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::do_SET_TIMESTAMP_MODE: unknown timestamp mode: 7 for ZEVOTimestamp"));
        EXPECT_EQ(u16At(camera.send(telegram(GET_TIMESTAMP_MODE)).bytes, 4), 2);
    }
    SimCamera camera("remove_features=ZEVOTimestamp\n");
    ASSERT_TRUE(camera.isOpen());
    EXPECT_EQ(camera.send(telegram(SET_TIMESTAMP_MODE, u16Bytes(7))).result, 0u);
    EXPECT_EQ(u16At(camera.send(telegram(GET_TIMESTAMP_MODE)).bytes, 4), 7);
}

TEST(TelegramMisc, EchoesSignalsAndMetadata) {
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    const Bytes dateTime = telegram(SET_DATE_TIME, {1, 2, 3, 4, 5, 6, 7, 8});
    const Answer echoed = camera.send(dateTime, 13);
    EXPECT_EQ(u16At(echoed.bytes, 0), SET_DATE_TIME | 0x80);
    EXPECT_EQ(Bytes(echoed.bytes.begin() + 2, echoed.bytes.begin() + 12),
              Bytes(dateTime.begin() + 2, dateTime.begin() + 12));

    const Answer metadata = camera.send(telegram(GET_METADATA_MODE), 15);
    EXPECT_EQ(Bytes(metadata.bytes.begin() + 4, metadata.bytes.begin() + 14), Bytes(10, 0));

    const Answer outOfRange = camera.send(telegram(GET_HW_IO_SIGNAL_DESCRIPTION, u16Bytes(4)));
    EXPECT_EQ(outOfRange.result, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
    EXPECT_EQ(u16At(outOfRange.bytes, 0), GET_HW_IO_SIGNAL_DESCRIPTION | 0xC0);
    EXPECT_EQ(u32At(outOfRange.bytes, 4), ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
    EXPECT_EQ(camera.send(telegram(GET_HW_IO_SIGNAL_DESCRIPTION, u16Bytes(3))).result,
              ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
}

TEST(TelegramDescription, TemplateOverwrittenFromTheCamera) {
    SimCamera camera("pixel_formats=Mono8,Mono12\nremove_features=BinningVertical\n");
    ASSERT_TRUE(camera.isOpen());
    const Answer a = camera.send(telegram(GET_CAMERA_DESCRIPTION));
    EXPECT_EQ(a.result, 0u);
    EXPECT_EQ(u16At(a.bytes, 2), 153);
    EXPECT_EQ(u16At(a.bytes, 4), 112);
    EXPECT_EQ(u32At(a.bytes, 32), 93000000u);  // pixel rate, from the template
    EXPECT_EQ(u16At(a.bytes, 8), u16At(a.bytes, 12));
    EXPECT_EQ(u16At(a.bytes, 10), u16At(a.bytes, 14));
    // Binning: horizontal only (maximum 2, step 1); the vertical field keeps its template value.
    EXPECT_EQ(u16At(a.bytes, 18), 2);
    EXPECT_EQ(u16At(a.bytes, 22), 1);
    EXPECT_EQ(u16At(a.bytes, 24), 1);
    EXPECT_EQ(u16At(a.bytes, 26), 8);  // Width step
    // ExposureTime 10 us to 1 s without a step; AcquisitionFrameRate from 1 Hz.
    EXPECT_EQ(u32At(a.bytes, 58), 0u);
    EXPECT_EQ(u32At(a.bytes, 62), 1000u);
    EXPECT_EQ(u32At(a.bytes, 66), 0u);
    EXPECT_EQ(u32At(a.bytes, 70), 10000u);
    EXPECT_EQ(u32At(a.bytes, 74), 1000u);
    EXPECT_EQ(u32At(a.bytes, 78), 1u);
    // The simulated camera offers pulse-width exposure, acquisition-active and burst triggers.
    EXPECT_EQ(u32At(a.bytes, 118), 0x1000u | 0x200000u);
    EXPECT_EQ(u32At(a.bytes, 142), 0x20000u);
}
