// Arming, recording state, region, binning, sensor format and camera set-up through
// Control_Command on the simulated camera (1296 x 1032; widths in steps of 8, heights of 4).
#include <gtest/gtest.h>

#include "support/SimCamera.h"
#include "tq4_genicam.h"

using namespace tq4::test;

namespace {

Bytes roiRequest(uint16_t x0, uint16_t y0, uint16_t x1, uint16_t y1) {
    return telegram(SET_ROI, concat({u16Bytes(x0), u16Bytes(y0), u16Bytes(x1), u16Bytes(y1)}));
}

std::vector<uint16_t> roiOf(const Answer& a) {
    return {u16At(a.bytes, 4), u16At(a.bytes, 6), u16At(a.bytes, 8), u16At(a.bytes, 10)};
}

}  // namespace

TEST(TelegramRecording, RecordingNeedsArmingAndArmingNeedsRecordingOff) {
    LogCapture log;
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    const Answer early = camera.send(telegram(SET_RECORDING_STATE, u16Bytes(1)));
    EXPECT_EQ(early.result, ZEVO_ERROR_TELEGRAM_NOTARMED);
    EXPECT_EQ(u16At(early.bytes, 0), SET_RECORDING_STATE | TQ4_RESPONSE_FLAG);
    EXPECT_EQ(u16At(early.bytes, 4), 0);
    EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::do_SET_RECORDING_STATE: Can not set recording state: ARM not successful"));

    EXPECT_EQ(camera.send(telegram(ARM_CAMERA)).result, 0u);
    const Answer on = camera.send(telegram(SET_RECORDING_STATE, u16Bytes(1)));
    EXPECT_EQ(on.result, 0u);
    EXPECT_EQ(u16At(on.bytes, 4), 1);
    const Answer again = camera.send(telegram(ARM_CAMERA));
    EXPECT_EQ(again.result, ZEVO_ERROR_TELEGRAM_RECORDINGON);
    EXPECT_EQ(u16At(again.bytes, 0), ARM_CAMERA | TQ4_RESPONSE_FLAG);
    EXPECT_EQ(u16At(again.bytes, 2), 5);
    EXPECT_EQ(camera.send(telegram(GET_RECORDING_STATE)).result, 0u) << "still armed";

    // A setter that disarms leaves recording on without arming: reported as not armed.
    EXPECT_EQ(camera.send(roiRequest(1, 1, 1296, 1032)).result, 0u);
    const Answer unarmed = camera.send(telegram(GET_RECORDING_STATE));
    EXPECT_EQ(unarmed.result, ZEVO_ERROR_TELEGRAM_NOTARMED);
    EXPECT_EQ(u16At(unarmed.bytes, 4), 1);
    EXPECT_EQ(camera.send(telegram(SET_RECORDING_STATE, u16Bytes(0))).result, 0u);
    EXPECT_TRUE(log.contains("DataStream::setRecordingState: call AcquisitionStop."));
}

TEST(TelegramGeometry, RegionRoundTripsAndRoundsInwards) {
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    EXPECT_EQ(roiOf(camera.send(telegram(GET_ROI))), (std::vector<uint16_t>{1, 1, 1296, 1032}));

    const Answer set = camera.send(roiRequest(101, 51, 700, 450));
    EXPECT_EQ(set.result, 0u);
    // Offsets 100 -> 104 (steps of 8) and 50 -> 52 (steps of 4); sizes rounded down to fit.
    EXPECT_EQ(roiOf(set), (std::vector<uint16_t>{105, 53, 696, 448}));
    EXPECT_EQ(roiOf(camera.send(telegram(GET_ROI))), roiOf(set));

    // Moving right beyond the current width needs the size written first.
    EXPECT_EQ(roiOf(camera.send(roiRequest(1201, 1, 1296, 1032))), (std::vector<uint16_t>{1201, 1, 1296, 1032}));
    EXPECT_EQ(roiOf(camera.send(roiRequest(1, 1, 1296, 1032))), (std::vector<uint16_t>{1, 1, 1296, 1032}));

    for (const Bytes& outside : {roiRequest(0, 1, 100, 100), roiRequest(200, 1, 100, 100), roiRequest(1, 1, 1297, 1032),
                                 roiRequest(1, 1, 10, 1032)}) {
        const Answer refused = camera.send(outside);
        EXPECT_EQ(refused.result, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
        EXPECT_EQ(roiOf(refused), (std::vector<uint16_t>{1, 1, 1296, 1032}));
    }
}

// A camera without WidthMax and HeightMax: the size features' own maxima bound the region.
TEST(TelegramGeometry, RegionWithoutWidthMaxAndHeightMax) {
    SimCamera camera("remove_features = WidthMax, HeightMax\n");
    ASSERT_TRUE(camera.isOpen());
    EXPECT_EQ(roiOf(camera.send(roiRequest(101, 51, 700, 450))), (std::vector<uint16_t>{105, 53, 696, 448}));
    EXPECT_EQ(camera.send(roiRequest(1, 1, 1297, 1032)).result, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
}

TEST(TelegramGeometry, BinningSensorFormatAndPixelRate) {
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    ASSERT_EQ(camera.send(telegram(ARM_CAMERA)).result, 0u);  // binning disarms: locked parameters do not stop it
    const Answer binned = camera.send(telegram(SET_BINNING, concat({u16Bytes(2), u16Bytes(4)})));
    EXPECT_EQ(u16At(binned.bytes, 4), 2);
    EXPECT_EQ(u16At(binned.bytes, 6), 2);
    EXPECT_EQ(roiOf(camera.send(telegram(GET_ROI))), (std::vector<uint16_t>{1, 1, 648, 516}));

    const Answer other = camera.send(telegram(SET_SENSOR_FORMAT, u16Bytes(1)));
    EXPECT_EQ(other.result, ZEVO_ERROR_TELEGRAM_INVALIDFORMAT);
    EXPECT_EQ(u16At(other.bytes, 0), SET_SENSOR_FORMAT | TQ4_FAILURE_FLAG);
    EXPECT_EQ(u16At(other.bytes, 2), 7);
    EXPECT_EQ(camera.send(telegram(SET_SENSOR_FORMAT, u16Bytes(0))).result, 0u);
    EXPECT_EQ(u32At(camera.send(telegram(GET_PIXELRATE)).bytes, 4), 93000000u);
}

TEST(TelegramGeometry, CameraSetupShutterAndPixelFormat) {
    LogCapture log;
    SimCamera camera("pixel_formats = Mono8, Mono12, Mono16\n");
    ASSERT_TRUE(camera.isOpen());
    const auto setup = [&](uint16_t code, uint16_t type, uint32_t flag) {
        return camera.send(telegram(code, concat({u16Bytes(type), u32Bytes(flag), Bytes(12, 0)})));
    };
    EXPECT_EQ(u32At(setup(GET_CAMERA_SETUP, 0, 0).bytes, 6), 2u);
    EXPECT_EQ(setup(SET_CAMERA_SETUP, 0, 1).result, ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::do_SET_CAMERA_SETUP: camera does not support shuttermode: 1"));

    const Answer mono8 = setup(SET_CAMERA_SETUP, 1, 0x10);
    EXPECT_EQ(mono8.result, 0u);
    EXPECT_EQ(u32At(mono8.bytes, 6), 0x10u);
    EXPECT_EQ(u32At(setup(GET_CAMERA_SETUP, 1, 0).bytes, 6), 0x10u);
    EXPECT_EQ(setup(SET_CAMERA_SETUP, 1, 0x02).result, ZEVO_ERROR_DRIVER_WRONGVALUE);  // Mono14 not offered
    EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::do_SET_CAMERA_SETUP: camera does not support pixelformat: 2 (Mono14)"));
    const Answer unknown = setup(SET_CAMERA_SETUP, 1, 0x300);
    EXPECT_EQ(unknown.result, ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(u32At(unknown.bytes, 6), 0x10u) << "answers the format the camera holds";
}

TEST(TelegramRequests, EveryRequestOneByteShortGetsNoAnswer) {
    struct Needs {
        uint16_t code;
        uint16_t bytes;
    };
    const Needs table[] = {{GET_CAMERA_SETUP, 23},
                           {SET_CAMERA_SETUP, 23},
                           {SET_ROI, 13},
                           {SET_COOLING_SETPOINT_TEMPERATURE, 7},
                           {SET_SENSOR_FORMAT, 7},
                           {GET_HW_IO_SIGNAL_DESCRIPTION, 7},
                           {SET_DELAY_EXPOSURE_TIME, 13},
                           {SET_TRIGGER_MODE, 7},
                           {SET_TIMEBASE, 9},
                           {GET_HW_IO_SIGNAL, 7},
                           {SET_HW_IO_SIGNAL, 17},
                           {SET_RECORDING_STATE, 7},
                           {SET_ACQUIRE_MODE, 7},
                           {SET_DATE_TIME, 13},
                           {SET_ACQUIRE_MODE_EX, 27},
                           {SET_BIT_ALIGNMENT, 7}};
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    for (const Needs& n : table) {
        const Answer a = camera.send(telegram(n.code, Bytes(n.bytes - 6, 0)));
        EXPECT_EQ(a.result, ZEVO_ERROR_DRIVER_WRONGVALUE) << std::hex << n.code;
        EXPECT_EQ(a.bytes, Bytes(512, 0xEE)) << std::hex << n.code;
    }
}
