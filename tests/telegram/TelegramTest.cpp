// The telegrams through Control_Command on the simulated camera (1296 x 1032; widths in steps
// of 8, heights of 4; in Mono12 125 fps at full frame, an 8 ms shortest period,
// AcquisitionFrameRate from 1 Hz, ExposureTime 10 us to 1 s), each configured through the
// producer's configuration file: the frame (the command table, the failure answer, truncation to
// the caller's buffer, the checksum, the short-request rule) and the commands.

#include "features/Features.h"
#include "support/World.h"
#include "telegram/Dispatcher.h"

namespace tq4::test {
namespace {

class TelegramTest : public World {
protected:
    // One request to a camera configured with `config`.
    Answer ask(const std::string& config, const Bytes& request) {
        camera(config);
        const Answer answer = send(request);
        EXPECT_EQ(Close_Cam(&opened_.back()), ZEVO_NOERROR);
        return answer;
    }
};

Bytes payloadOf(const Answer& a, std::size_t from, std::size_t to) {
    return Bytes(a.bytes.begin() + long(from), a.bytes.begin() + long(to));
}

// ---- the frame ----

// clang-format off
const uint16_t kAllCodes[] = {
    GET_CAMERA_TYPE, GET_CAMERA_HEALTH_STATUS, GET_TEMPERATURE, GET_HARDWARE_VERSIONS, GET_FIRMWARE_VERSIONS,
    GET_CAMERA_NAME, GET_INFO_STRING, GET_CAMERA_SETUP, SET_CAMERA_SETUP, GET_CAMERA_DESCRIPTION, GET_ROI, SET_ROI,
    GET_BINNING, SET_BINNING, GET_PIXELRATE, GET_COOLING_SETPOINT_TEMPERATURE, SET_COOLING_SETPOINT_TEMPERATURE,
    GET_SENSOR_FORMAT, SET_SENSOR_FORMAT, UNSUPPORTED_0x2511, GET_HW_IO_SIGNAL_DESCRIPTION, GET_DELAY_EXPOSURE_TIME,
    SET_DELAY_EXPOSURE_TIME, GET_TRIGGER_MODE, SET_TRIGGER_MODE, FORCE_TRIGGER, GET_CAMERA_BUSY_STATUS,
    GET_EXP_TRIG_SIGNAL_STATUS, GET_TIMEBASE, SET_TIMEBASE, GET_COC_RUNTIME, GET_FRAMERATE, GET_HW_IO_SIGNAL,
    SET_HW_IO_SIGNAL, GET_RECORDING_STATE, SET_RECORDING_STATE, GET_ACQUIRE_MODE, SET_ACQUIRE_MODE, ARM_CAMERA,
    SET_DATE_TIME, GET_TIMESTAMP_MODE, SET_TIMESTAMP_MODE, GET_ACQUIRE_MODE_EX, SET_ACQUIRE_MODE_EX,
    GET_BIT_ALIGNMENT, SET_BIT_ALIGNMENT, GET_METADATA_MODE, SET_METADATA_MODE, SWIR_GENERATE_CORRECTION_DATA};
// clang-format on

// A field is read when it ends exactly at size_in, and not when one byte of it lies beyond.
TEST(TelegramRequest, FieldEndingAtSizeInIsReadOneByteBeyondIsNot) {
    const uint8_t bytes[8] = {0x11, 0x01, 8, 0, 0x34, 0x12, 0x78, 0x56};
    const ZEVO_TELEGRAM::Request six(bytes, 6);
    EXPECT_EQ(six.u16(4), 0x1234);
    EXPECT_EQ(six.u16(5), 0);
    EXPECT_EQ(six.u32(4), 0u);
    EXPECT_EQ(ZEVO_TELEGRAM::Request(bytes, 8).u32(4), 0x56781234u);
}

// Every command code (and a few unknown ones) with requests and response buffers of exactly the
// stated sizes, so that the address sanitizer sees any read past size_in or write past size_out;
// with a request long enough for every handler each answers, with the success or failure flags.
// The correction-data command is left out: it writes the camera's references.
TEST_F(TelegramTest, EveryCodeAnswersWithinTheCallersSizes) {
    TQ4_HANDLE& h = camera();
    EXPECT_EQ(ZEVO_TELEGRAM::commandTableSize(), std::size(kAllCodes));
    std::vector<uint16_t> codes(std::begin(kAllCodes), std::end(kAllCodes) - 1);
    codes.insert(codes.end(), {0x0001, 0xFFFF, 0x1234});
    for (uint16_t code : codes)
        for (uint16_t sizeIn : {5, 7, 13, 27}) {
            const std::unique_ptr<uint8_t[]> request(new uint8_t[sizeIn]);
            std::memcpy(request.get(), paddedTelegram(code, sizeIn).data(), sizeIn);
            for (uint32_t sizeOut : {5, 8, 9, 12, 44, 152, 206, 512}) {
                const std::unique_ptr<uint8_t[]> response(new uint8_t[sizeOut]);
                Control_Command(h, request.get(), sizeIn, response.get(), sizeOut);
                if (sizeIn == 27 && sizeOut == 512) {
                    EXPECT_EQ((response[0] | response[1] << 8) | 0x40, code | 0xC0) << std::hex << code;
                }
            }
        }
    EXPECT_EQ(count("Unknown command code"), 3 * 4 * 8) << "only the unknown codes";
}

// The unknown code and 0x2511 get the failure answer: code | 0xC0, size 9, the result, the
// checksum, zeros beyond; a 5-byte buffer receives its first five bytes.
TEST_F(TelegramTest, UnknownCodeAnd2511GetTheFailureAnswerWithZerosBeyondOrCutToTheBuffer) {
    camera();
    for (const auto& [code, result, line] :
         {std::tuple{uint16_t(0x7711), ZEVO_ERROR_TELEGRAM_NOTSUPPORTED, "Unknown command code: 0x7711, size: 5"},
          {uint16_t(UNSUPPORTED_0x2511), 0x80031020u, "Unsupported command code: 0x2511, size: 5"}}) {
        const Answer answer = send(telegram(code), 20);
        EXPECT_EQ(answer.result, result);
        EXPECT_EQ(u16At(answer.bytes, 0), code | 0xC0);
        EXPECT_EQ(u16At(answer.bytes, 2), 9);
        EXPECT_EQ(u32At(answer.bytes, 4), result);
        EXPECT_EQ(answer.bytes[8], checksumWithoutFlags(answer.bytes));
        EXPECT_EQ(payloadOf(answer, 9, 20), Bytes(11, 0));
        EXPECT_TRUE(count(line)) << dump();
        const Answer cut = send(telegram(code), 5);
        EXPECT_EQ(cut.result, result);
        EXPECT_EQ(cut.bytes, payloadOf(answer, 0, 5));
    }
    EXPECT_TRUE(count(
        "ZEVO_TELEGRAM::callTeleJumpFnc: Failure resp for TeleCode 7711 bigger than size_out 5, size of response: 9."));
    EXPECT_TRUE(count(" size_out 5 smaller than size of response: 9."));
}

TEST_F(TelegramTest, ChecksumCoversTheUnflaggedCodeExceptInTheDescription) {
    camera();
    const Answer type = send(telegram(GET_CAMERA_TYPE));
    ASSERT_EQ(type.result, 0u);
    EXPECT_EQ(u16At(type.bytes, 0), 0x0190);
    EXPECT_EQ(type.bytes[22], checksumWithoutFlags(type.bytes));
    // The description carries its flagged code from its template, and the sum covers it.
    const Answer description = send(telegram(GET_CAMERA_DESCRIPTION));
    EXPECT_EQ(u16At(description.bytes, 0), 0x0191);
    EXPECT_EQ(description.bytes[152], uint8_t(checksumWithoutFlags(description.bytes) + 0x80));
}

// A request one byte shorter than its handler reads gets no answer (a consistent 12-byte
// SET_DATE_TIME passes the frame; the handler needs 13 bytes).
TEST_F(TelegramTest, EveryRequestOneByteShortGetsNoAnswer) {
    // clang-format off
    const struct {
        uint16_t code, bytes;
    } needs[] = {
        {GET_CAMERA_SETUP, 23}, {SET_CAMERA_SETUP, 23}, {SET_ROI, 13}, {SET_COOLING_SETPOINT_TEMPERATURE, 7},
        {SET_SENSOR_FORMAT, 7}, {GET_HW_IO_SIGNAL_DESCRIPTION, 7}, {SET_DELAY_EXPOSURE_TIME, 13}, {SET_TRIGGER_MODE, 7},
        {SET_TIMEBASE, 9}, {GET_HW_IO_SIGNAL, 7}, {SET_HW_IO_SIGNAL, 17}, {SET_RECORDING_STATE, 7},
        {SET_ACQUIRE_MODE, 7}, {SET_DATE_TIME, 13}, {SET_ACQUIRE_MODE_EX, 27}, {SET_BIT_ALIGNMENT, 7}};
    // clang-format on
    camera();
    for (const auto& n : needs) {
        const Answer a = send(telegram(n.code, Bytes(n.bytes - 6, 1)));
        EXPECT_EQ(a.result, ZEVO_ERROR_DRIVER_WRONGVALUE) << std::hex << n.code;
        EXPECT_EQ(a.bytes, Bytes(512, 0xEE)) << std::hex << n.code;
    }
    EXPECT_TRUE(count("ZEVO_TELEGRAM::do_SET_DATE_TIME: size_in 12 smaller than expected: 8."));
}

// ---- identity, status and miscellaneous commands ----

TEST_F(TelegramTest, CameraTypeReadsHardwareVersionText) {
    const Answer a = ask("device_version=A\nserials=3101\n", telegram(GET_CAMERA_TYPE));
    EXPECT_EQ(a.result, 0u);
    EXPECT_EQ(u16At(a.bytes, 2), 23);
    // type, serial, hardware version ('A'), firmware "2.4.17" (its leading number), and 6
    EXPECT_EQ(std::vector<uint32_t>(
                  {u32At(a.bytes, 4), u32At(a.bytes, 8), u32At(a.bytes, 12), u32At(a.bytes, 16), u16At(a.bytes, 20)}),
              std::vector<uint32_t>({0x00011A00u, 3101, 65, 2, 6}));
    EXPECT_EQ(u32At(ask("device_version=AB\n", telegram(GET_CAMERA_TYPE)).bytes, 12), 0u);
    EXPECT_TRUE(count("ZEVO_TELEGRAM::do_GET_CAMERA_TYPE: stoull exception: stoull <AB>"));
    EXPECT_TRUE(count("ZEVO_TELEGRAM::do_GET_CAMERA_TYPE: can not read HW version <AB>. set: 0"));
    EXPECT_EQ(u32At(ask("device_version=12xy\n", telegram(GET_CAMERA_TYPE)).bytes, 12), 12u);
}

TEST_F(TelegramTest, InfoStringsAndNames) {
    const std::string name50 = "ZEVO quillon SWIR, cooled InGaAs, 1296x1032 (3101)";
    camera("display_name=" + name50 + "\nmaterial_number=ZQ-77\n");
    const Answer named = send(telegram(GET_CAMERA_NAME));
    EXPECT_EQ(u16At(named.bytes, 2), 45);
    EXPECT_EQ(textAt(named.bytes, 4, 40), name50.substr(0, 39));
    EXPECT_EQ(named.bytes[43], 0);
    const auto info = [&](uint32_t type) { return send(telegram(GET_INFO_STRING, u32Bytes(type))); };
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

TEST_F(TelegramTest, VersionLists) {
    camera("device_version=B\nfirmware_version=2.4.17\nmodel_name=zevo.quillon 1.3 SWIR\n");
    const Answer hw = send(telegram(GET_HARDWARE_VERSIONS));
    EXPECT_EQ(u16At(hw.bytes, 2), 29);
    EXPECT_EQ(u16At(hw.bytes, 4), 1);
    EXPECT_EQ(textAt(hw.bytes, 6, 16), "zevo.quillon 1.");
    EXPECT_EQ(u16At(hw.bytes, 24), 'B');

    const Answer fw = send(telegram(GET_FIRMWARE_VERSIONS));
    EXPECT_EQ(u16At(fw.bytes, 2), 207);
    EXPECT_EQ(textAt(fw.bytes, 4, 40), "Orvanta ZEVO GmbH zevo.quillon 1.3 SWIR");
    EXPECT_EQ(u16At(fw.bytes, 44), 4);
    EXPECT_EQ(textAt(fw.bytes, 46, 16) + "|" + textAt(fw.bytes, 46 + 16, 20), "Bootloader|??");
    EXPECT_EQ(textAt(fw.bytes, 86, 16) + "|" + textAt(fw.bytes, 86 + 16, 20), "Application|2.4.17");
    EXPECT_EQ(u16At(fw.bytes, 86 + 36), 2);
    EXPECT_EQ(u16At(fw.bytes, 86 + 38), 4);
    EXPECT_EQ(textAt(fw.bytes, 166, 16), "Unknown");
}

// Temperatures are rounded, the selector wins over the sensor block (it shows Img-Sen as
// "Sensor", Backend as "Main", and "Power"); the sensor block is walked by its id, and the id
// the camera had is put back afterwards.
TEST_F(TelegramTest, TemperaturesAreRoundedTheSelectorWinsAndTheSensorIdIsPutBack) {
    const std::string sensors = "temperature.Img-Sen=21.37\ntemperature.Hum-Sen=40.5\ntemperature.Backend=-3.7\n";
    const Answer block = ask("remove_features=DeviceTemperatureSelector\n" + sensors, telegram(GET_TEMPERATURE));
    EXPECT_EQ(block.result, 0u);
    EXPECT_EQ(u16At(block.bytes, 2), 11);
    EXPECT_EQ(std::vector<int16_t>({s16At(block.bytes, 4), s16At(block.bytes, 6), s16At(block.bytes, 8)}),
              std::vector<int16_t>({214, 41, -3}));
    const Answer selector = ask(sensors + "temperature.Power=7.2\n", telegram(GET_TEMPERATURE));
    EXPECT_EQ(std::vector<int16_t>({s16At(selector.bytes, 4), s16At(selector.bytes, 6), s16At(selector.bytes, 8)}),
              std::vector<int16_t>({214, -3, 7}));

    auto map = device(camera())->nodeMap();
    ASSERT_TRUE(features::setInteger(*map, "TempSensorId", 1));
    EXPECT_EQ(send(telegram(GET_TEMPERATURE)).result, 0u);
    EXPECT_EQ(features::getInteger(*map, "TempSensorId"), 1);
}

TEST_F(TelegramTest, HealthAndCoolingSetPoint) {
    camera("cooling_warning=1\n");
    const Answer health = send(telegram(GET_CAMERA_HEALTH_STATUS));
    EXPECT_EQ(payloadOf(health, 4, 16), concat({u32Bytes(8), u32Bytes(0), u32Bytes(1)}));
    EXPECT_EQ(s16At(send(telegram(SET_COOLING_SETPOINT_TEMPERATURE, u16Bytes(uint16_t(-20)))).bytes, 4), -20);
    // A short response buffer still carries the command out.
    EXPECT_EQ(send(telegram(SET_COOLING_SETPOINT_TEMPERATURE, u16Bytes(uint16_t(-12))), 5).result, 0u);
    EXPECT_TRUE(
        count("ZEVO_TELEGRAM::do_SET_COOLING_SETPOINT_TEMPERATURE: size_out 5 smaller than size of response: 7."));
    EXPECT_EQ(s16At(send(telegram(GET_COOLING_SETPOINT_TEMPERATURE), 7).bytes, 4), -12);
    // The description keeps reporting the set point read at open.
    EXPECT_EQ(s16At(send(telegram(GET_CAMERA_DESCRIPTION)).bytes, 106), 15);
}

// On the camera the mode is its ZEVOTimestamp feature (an unknown mode is answered with 0 and
// changes nothing); without the feature the driver keeps any mode.
TEST_F(TelegramTest, TimestampModeOnTheCameraAndInTheDriver) {
    camera();
    send(valueTelegram(SET_TIMESTAMP_MODE, 2));
    const Answer seven = send(valueTelegram(SET_TIMESTAMP_MODE, 7));
    EXPECT_EQ(seven.result, 0u);
    EXPECT_EQ(u16At(seven.bytes, 4), 0);
    EXPECT_TRUE(count("ZEVO_TELEGRAM::do_SET_TIMESTAMP_MODE: unknown timestamp mode: 7 for ZEVOTimestamp"));
    EXPECT_EQ(u16At(send(telegram(GET_TIMESTAMP_MODE)).bytes, 4), 2);
    ASSERT_EQ(Close_Cam(&opened_.back()), ZEVO_NOERROR);

    camera("remove_features=ZEVOTimestamp\n");
    EXPECT_EQ(send(valueTelegram(SET_TIMESTAMP_MODE, 7)).result, 0u);
    EXPECT_EQ(u16At(send(telegram(GET_TIMESTAMP_MODE)).bytes, 4), 7);
}

TEST_F(TelegramTest, EchoesSignalsAndMetadata) {
    camera();
    const Bytes dateTime = telegram(SET_DATE_TIME, {1, 2, 3, 4, 5, 6, 7, 8});
    const Answer echoed = send(dateTime, 13);
    EXPECT_EQ(u16At(echoed.bytes, 0), SET_DATE_TIME | 0x80);
    EXPECT_EQ(payloadOf(echoed, 2, 12), Bytes(dateTime.begin() + 2, dateTime.begin() + 12));
    EXPECT_EQ(payloadOf(send(telegram(GET_METADATA_MODE), 15), 4, 14), Bytes(10, 0));

    const Answer outOfRange = send(valueTelegram(GET_HW_IO_SIGNAL_DESCRIPTION, 4));
    EXPECT_EQ(outOfRange.result, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
    EXPECT_EQ(u16At(outOfRange.bytes, 0), GET_HW_IO_SIGNAL_DESCRIPTION | 0xC0);
    EXPECT_EQ(u32At(outOfRange.bytes, 4), ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
    EXPECT_EQ(send(valueTelegram(GET_HW_IO_SIGNAL_DESCRIPTION, 3)).result, ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
}

TEST_F(TelegramTest, DescriptionTemplateOverwrittenFromTheCamera) {
    const Answer a =
        ask("pixel_formats=Mono8,Mono12\nremove_features=BinningVertical\n", telegram(GET_CAMERA_DESCRIPTION));
    EXPECT_EQ(a.result, 0u);
    EXPECT_EQ(u16At(a.bytes, 2), 153);
    EXPECT_EQ(u16At(a.bytes, 4), 112);
    EXPECT_EQ(u32At(a.bytes, 32), 93000000u);  // pixel rate, from the template
    EXPECT_EQ(u16At(a.bytes, 8), u16At(a.bytes, 12));
    EXPECT_EQ(u16At(a.bytes, 10), u16At(a.bytes, 14));
    // Binning: horizontal only (maximum 2, step 1); the vertical field keeps its template value;
    // the width's step.
    EXPECT_EQ(std::vector<uint16_t>({u16At(a.bytes, 18), u16At(a.bytes, 22), u16At(a.bytes, 24), u16At(a.bytes, 26)}),
              std::vector<uint16_t>({2, 1, 1, 8}));
    // ExposureTime 10 us to 1 s without a step; AcquisitionFrameRate from 1 Hz.
    EXPECT_EQ(payloadOf(a, 58, 82),
              concat({u32Bytes(0), u32Bytes(1000), u32Bytes(0), u32Bytes(10000), u32Bytes(1000), u32Bytes(1)}));
    // The simulated camera offers pulse-width exposure, acquisition-active and burst triggers.
    EXPECT_EQ(u32At(a.bytes, 118), 0x1000u | 0x200000u);
    EXPECT_EQ(u32At(a.bytes, 142), 0x20000u);
}

// ---- recording, region, binning, sensor format, camera set-up ----

Bytes roiRequest(uint16_t x0, uint16_t y0, uint16_t x1, uint16_t y1) {
    return telegram(SET_ROI, concat({u16Bytes(x0), u16Bytes(y0), u16Bytes(x1), u16Bytes(y1)}));
}
std::vector<uint16_t> roiOf(const Answer& a) {
    return {u16At(a.bytes, 4), u16At(a.bytes, 6), u16At(a.bytes, 8), u16At(a.bytes, 10)};
}
const std::vector<uint16_t> kFullRoi = {1, 1, 1296, 1032};

TEST_F(TelegramTest, RecordingNeedsArmingAndArmingNeedsRecordingOff) {
    camera();
    const Answer early = send(valueTelegram(SET_RECORDING_STATE, 1));
    EXPECT_EQ(early.result, ZEVO_ERROR_TELEGRAM_NOTARMED);
    EXPECT_EQ(u16At(early.bytes, 0), SET_RECORDING_STATE | TQ4_RESPONSE_FLAG);
    EXPECT_EQ(u16At(early.bytes, 4), 0);
    EXPECT_TRUE(count("ZEVO_TELEGRAM::do_SET_RECORDING_STATE: Can not set recording state: ARM not successful"));

    EXPECT_EQ(send(telegram(ARM_CAMERA)).result, 0u);
    const Answer on = send(valueTelegram(SET_RECORDING_STATE, 1));
    EXPECT_EQ(on.result, 0u);
    EXPECT_EQ(u16At(on.bytes, 4), 1);
    const Answer again = send(telegram(ARM_CAMERA));
    EXPECT_EQ(again.result, ZEVO_ERROR_TELEGRAM_RECORDINGON);
    EXPECT_EQ(u16At(again.bytes, 0), ARM_CAMERA | TQ4_RESPONSE_FLAG);
    EXPECT_EQ(u16At(again.bytes, 2), 5);
    EXPECT_EQ(send(telegram(GET_RECORDING_STATE)).result, 0u) << "still armed";

    // A setter that disarms leaves recording on without arming: reported as not armed.
    EXPECT_EQ(send(roiRequest(1, 1, 1296, 1032)).result, 0u);
    const Answer unarmed = send(telegram(GET_RECORDING_STATE));
    EXPECT_EQ(unarmed.result, ZEVO_ERROR_TELEGRAM_NOTARMED);
    EXPECT_EQ(u16At(unarmed.bytes, 4), 1);
    EXPECT_EQ(send(valueTelegram(SET_RECORDING_STATE, 0)).result, 0u);
    EXPECT_TRUE(count("DataStream::setRecordingState: call AcquisitionStop."));
}

// Offsets round up (100 -> 104 in steps of 8, 50 -> 52 in steps of 4), sizes down to fit;
// moving right beyond the current width needs the size written first; a region outside the
// sensor is refused with the region the camera holds. Without WidthMax and HeightMax the size
// features' own maxima bound the region.
TEST_F(TelegramTest, RegionRoundTripsAndRoundsInwards) {
    camera();
    EXPECT_EQ(roiOf(send(telegram(GET_ROI))), kFullRoi);
    const Answer set = send(roiRequest(101, 51, 700, 450));
    EXPECT_EQ(set.result, 0u);
    EXPECT_EQ(roiOf(set), (std::vector<uint16_t>{105, 53, 696, 448}));
    EXPECT_EQ(roiOf(send(telegram(GET_ROI))), roiOf(set));
    EXPECT_EQ(roiOf(send(roiRequest(1201, 1, 1296, 1032))), (std::vector<uint16_t>{1201, 1, 1296, 1032}));
    EXPECT_EQ(roiOf(send(roiRequest(1, 1, 1296, 1032))), kFullRoi);
    for (const Bytes& outside : {roiRequest(0, 1, 100, 100), roiRequest(200, 1, 100, 100), roiRequest(1, 1, 1297, 1032),
                                 roiRequest(1, 1, 10, 1032)}) {
        const Answer refused = send(outside);
        EXPECT_EQ(refused.result, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
        EXPECT_EQ(roiOf(refused), kFullRoi);
    }
    ASSERT_EQ(Close_Cam(&opened_.back()), ZEVO_NOERROR);
    camera("remove_features = WidthMax, HeightMax\n");
    EXPECT_EQ(roiOf(send(roiRequest(101, 51, 700, 450))), (std::vector<uint16_t>{105, 53, 696, 448}));
    EXPECT_EQ(send(roiRequest(1, 1, 1297, 1032)).result, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
}

TEST_F(TelegramTest, BinningSensorFormatAndPixelRate) {
    camera();
    ASSERT_EQ(send(telegram(ARM_CAMERA)).result, 0u);  // binning disarms: locked parameters do not stop it
    const Answer binned = send(telegram(SET_BINNING, concat({u16Bytes(2), u16Bytes(4)})));
    EXPECT_EQ(payloadOf(binned, 4, 8), concat({u16Bytes(2), u16Bytes(2)}));
    EXPECT_EQ(roiOf(send(telegram(GET_ROI))), (std::vector<uint16_t>{1, 1, 648, 516}));

    const Answer other = send(valueTelegram(SET_SENSOR_FORMAT, 1));
    EXPECT_EQ(other.result, ZEVO_ERROR_TELEGRAM_INVALIDFORMAT);
    EXPECT_EQ(u16At(other.bytes, 0), SET_SENSOR_FORMAT | TQ4_FAILURE_FLAG);
    EXPECT_EQ(u16At(other.bytes, 2), 7);
    EXPECT_EQ(send(valueTelegram(SET_SENSOR_FORMAT, 0)).result, 0u);
    EXPECT_EQ(u32At(send(telegram(GET_PIXELRATE)).bytes, 4), 93000000u);
}

TEST_F(TelegramTest, CameraSetupShutterAndPixelFormat) {
    camera("pixel_formats = Mono8, Mono12, Mono16\n");
    const auto setup = [&](uint16_t code, uint16_t type, uint32_t flag) {
        return send(telegram(code, concat({u16Bytes(type), u32Bytes(flag), Bytes(12, 0)})));
    };
    EXPECT_EQ(u32At(setup(GET_CAMERA_SETUP, 0, 0).bytes, 6), 2u);
    EXPECT_EQ(setup(SET_CAMERA_SETUP, 0, 1).result, ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(count("ZEVO_TELEGRAM::do_SET_CAMERA_SETUP: camera does not support shuttermode: 1"));
    const Answer mono8 = setup(SET_CAMERA_SETUP, 1, 0x10);
    EXPECT_EQ(mono8.result, 0u);
    EXPECT_EQ(u32At(mono8.bytes, 6), 0x10u);
    EXPECT_EQ(u32At(setup(GET_CAMERA_SETUP, 1, 0).bytes, 6), 0x10u);
    EXPECT_EQ(setup(SET_CAMERA_SETUP, 1, 0x02).result, ZEVO_ERROR_DRIVER_WRONGVALUE);  // Mono14 not offered
    EXPECT_TRUE(count("ZEVO_TELEGRAM::do_SET_CAMERA_SETUP: camera does not support pixelformat: 2 (Mono14)"));
    const Answer unknown = setup(SET_CAMERA_SETUP, 1, 0x300);
    EXPECT_EQ(unknown.result, ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(u32At(unknown.bytes, 6), 0x10u) << "answers the format the camera holds";
}

// ---- timing and trigger ----

Bytes delayExposure(uint32_t delay, uint32_t exposure) {
    return telegram(SET_DELAY_EXPOSURE_TIME, concat({u32Bytes(delay), u32Bytes(exposure)}));
}

// One request in a timebase, and the delay the camera then reports, worked out by hand from the
// frame-period model: the period is the delay plus the exposure or the shortest period,
// whichever is longer; below 1 Hz the rate stays at 1 Hz and the delay is 1 s less the
// exposure; delay 0 lets the camera run free. Timebases are kept as given, each its own.
TEST_F(TelegramTest, TimebasesAreKeptAndDelayAndExposureFollowTheFramePeriodModel) {
    // clang-format off
    const struct {
        uint16_t timebase;
        uint32_t delay, exposure, heldDelay;
    } cases[] = {
        {0, 2000000, 1000000, 2000000}, {1, 2000, 1000, 2000}, {2, 2, 1, 2},                 // above the minimum rate
        {1, 5000, 20000, 5000}, {2, 5, 20, 5},                                              // exposure beyond 8 ms
        {0, 2000000000, 1000000, 999000000}, {1, 2000000, 1000, 999000}, {2, 2000, 1, 999},  // at 1 Hz
        {0, 0, 1000000, 0}, {1, 0, 1000, 0}, {2, 0, 1, 0}};                                  // free run
    // clang-format on
    camera();
    EXPECT_EQ(payloadOf(send(telegram(GET_TIMEBASE)), 4, 8), concat({u16Bytes(1), u16Bytes(1)}));
    for (const auto& c : cases) {
        SCOPED_TRACE("timebase " + std::to_string(c.timebase) + " delay " + std::to_string(c.delay));
        ASSERT_EQ(send(telegram(SET_TIMEBASE, concat({u16Bytes(c.timebase), u16Bytes(c.timebase)}))).result, 0u);
        const Answer set = send(delayExposure(c.delay, c.exposure));
        EXPECT_EQ(set.result, 0u);
        EXPECT_EQ(payloadOf(set, 4, 12), concat({u32Bytes(c.heldDelay), u32Bytes(c.exposure)}));
        EXPECT_EQ(payloadOf(send(telegram(GET_DELAY_EXPOSURE_TIME)), 4, 12), payloadOf(set, 4, 12));
    }
    const Answer set = send(telegram(SET_TIMEBASE, concat({u16Bytes(5), u16Bytes(9)})));
    EXPECT_EQ(payloadOf(set, 4, 8), concat({u16Bytes(5), u16Bytes(9)}));
    EXPECT_EQ(payloadOf(send(telegram(GET_TIMEBASE)), 4, 8), payloadOf(set, 4, 8));
}

TEST_F(TelegramTest, ExposureOutsideItsLimitsIsRefusedWithWhatTheCameraHolds) {
    camera();
    ASSERT_EQ(send(delayExposure(2000, 1000)).result, 0u);
    for (uint32_t exposure : {5u, 2000000u}) {
        const Answer refused = send(delayExposure(0, exposure));
        EXPECT_EQ(refused.result, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
        EXPECT_EQ(payloadOf(refused, 4, 12), concat({u32Bytes(2000), u32Bytes(1000)}));
    }
    EXPECT_TRUE(
        count("ZEVO_TELEGRAM::do_SET_DELAY_EXPOSURE_TIME: new exposure time 5.000us smaller min limit: "
              "10.000us"));
    EXPECT_TRUE(
        count("ZEVO_TELEGRAM::do_SET_DELAY_EXPOSURE_TIME: new exposure time 2000000.000us greater max "
              "limit: 1000000.000us"));
}

TEST_F(TelegramTest, FrameRateAndCycleTimeFromTheSameModel) {
    camera("pixel_formats = Mono8, Mono10, Mono12\n");
    ASSERT_EQ(send(delayExposure(2000, 1000)).result, 0u);  // a 10 ms period
    const Answer rate = send(telegram(GET_FRAMERATE));
    EXPECT_EQ(u16At(rate.bytes, 2), 15);
    EXPECT_EQ(payloadOf(rate, 6, 14), concat({u32Bytes(100000), u32Bytes(1000000)}));
    EXPECT_EQ(payloadOf(send(telegram(GET_COC_RUNTIME)), 4, 12), concat({u32Bytes(0), u32Bytes(10000000)}));
    ASSERT_EQ(send(delayExposure(0, 1000)).result, 0u);  // free run: the shortest period
    EXPECT_EQ(u32At(send(telegram(GET_FRAMERATE)).bytes, 6), 125000u);
}

TEST_F(TelegramTest, AcquireModesRoundTripAndModeFourOnlyThroughEx) {
    camera();
    ASSERT_EQ(send(telegram(ARM_CAMERA)).result, 0u);
    const Answer four = send(valueTelegram(SET_ACQUIRE_MODE, 4));
    EXPECT_EQ(four.result, ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(four.bytes, Bytes(512, 0xEE));
    EXPECT_TRUE(count("ZEVO_TELEGRAM::do_SET_ACQUIRE_MODE: Acquire mode 0x4 not supported."));
    EXPECT_EQ(send(valueTelegram(SET_RECORDING_STATE, 1)).result, ZEVO_ERROR_TELEGRAM_NOTARMED)
        << "the refused setter disarmed the camera";

    EXPECT_EQ(u16At(send(valueTelegram(SET_ACQUIRE_MODE, 1)).bytes, 4), 1);
    EXPECT_EQ(u16At(send(telegram(GET_ACQUIRE_MODE)).bytes, 4), 1);
    const Answer burst = send(telegram(SET_ACQUIRE_MODE_EX, concat({u16Bytes(4), u32Bytes(1000), Bytes(16, 0)})));
    EXPECT_EQ(payloadOf(burst, 4, 10), concat({u16Bytes(4), u32Bytes(255)})) << "brought to the largest burst";
    EXPECT_EQ(payloadOf(send(telegram(GET_ACQUIRE_MODE_EX)), 4, 10), payloadOf(burst, 4, 10));
    EXPECT_EQ(send(valueTelegram(SET_ACQUIRE_MODE, 0)).result, 0u);
    EXPECT_EQ(u16At(send(telegram(GET_ACQUIRE_MODE_EX)).bytes, 4), 0);
}

// A read-only trigger selector leaves the acquire mode unknown; a camera without
// TriggerSoftware answers FORCE_TRIGGER with 0.
TEST_F(TelegramTest, ReadOnlySelectorAndMissingSoftwareTrigger) {
    camera("trigger_selector_read_only = 1\n");
    for (uint16_t code : {GET_ACQUIRE_MODE, GET_ACQUIRE_MODE_EX}) {
        const Answer a = send(telegram(code));
        EXPECT_EQ(a.result, ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
        EXPECT_EQ(a.bytes, Bytes(512, 0xEE));
    }
    EXPECT_EQ(u16At(send(telegram(FORCE_TRIGGER)).bytes, 4), 1);
    ASSERT_EQ(Close_Cam(&opened_.back()), ZEVO_NOERROR);
    const Answer a = ask("remove_features = TriggerSoftware\n", telegram(FORCE_TRIGGER));
    EXPECT_EQ(a.result, 0u);
    EXPECT_EQ(u16At(a.bytes, 4), 0);
}

TEST_F(TelegramTest, TriggerModesAndTheirKeptAsymmetry) {
    camera();
    const auto set = [&](uint16_t mode) { return send(valueTelegram(SET_TRIGGER_MODE, mode)); };
    const auto get = [&] { return u16At(send(telegram(GET_TRIGGER_MODE)).bytes, 4); };
    for (uint16_t mode : {1, 2, 0}) {
        EXPECT_EQ(u16At(set(mode).bytes, 4), mode);
        EXPECT_EQ(get(), mode);
    }
    EXPECT_EQ(u16At(set(3).bytes, 4), 3);
    EXPECT_EQ(get(), 0) << "trigger width alone is not reported as mode 3";
    EXPECT_EQ(set(5).result, ZEVO_ERROR_DRIVER_WRONGVALUE);
}

}  // namespace
}  // namespace tq4::test
