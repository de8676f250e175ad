// The telegram frame as the caller sees it through Control_Command: the command table, the
// failure answer, truncation to the caller's buffer, the checksum and the short-request rule.
#include <gtest/gtest.h>

#include "support/SimCamera.h"
#include "telegram/Dispatcher.h"
#include "telegram/Telegram.h"
#include "tq4_genicam.h"

using namespace tq4::test;

namespace {

class TelegramFrame : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(camera.isOpen()); }
    LogCapture log;
    SimCamera camera;
};

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

}  // namespace

// A field is read when it ends exactly at size_in, and not when one byte of it lies beyond.
TEST(TelegramRequest, FieldEndingAtSizeInIsReadOneByteBeyondIsNot) {
    const uint8_t bytes[8] = {0x11, 0x01, 8, 0, 0x34, 0x12, 0x78, 0x56};
    const ZEVO_TELEGRAM::Request six(bytes, 6);
    EXPECT_EQ(six.u16(4), 0x1234);
    EXPECT_EQ(six.u16(5), 0);
    EXPECT_EQ(six.u32(4), 0u);
    EXPECT_EQ(ZEVO_TELEGRAM::Request(bytes, 8).u32(4), 0x56781234u);
}

TEST_F(TelegramFrame, EveryProtocolCodeHasATableRowAndAnAnswer) {
    EXPECT_EQ(ZEVO_TELEGRAM::commandTableSize(), std::size(kAllCodes));
    for (uint16_t code : kAllCodes) {
        // Long enough for every handler; the payload is only read where a handler needs it.
        const Answer answer = camera.send(telegram(code, Bytes(22, 0)));
        const uint16_t sent = u16At(answer.bytes, 0);
        EXPECT_TRUE(sent == (code | 0x80) || sent == (code | 0xC0)) << std::hex << code;
    }
    EXPECT_FALSE(log.contains("Unknown command code")) << log.dump();
}

TEST_F(TelegramFrame, UnknownCodeGetsTheFailureAnswerWithZerosBeyondOrCutToTheBuffer) {
    const Answer answer = camera.send(telegram(0x7711), 20);
    EXPECT_EQ(answer.result, ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
    EXPECT_EQ(u16At(answer.bytes, 0), 0x77D1);
    EXPECT_EQ(u16At(answer.bytes, 2), 9);
    EXPECT_EQ(u32At(answer.bytes, 4), ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
    EXPECT_EQ(answer.bytes[8], checksumWithoutFlags(answer.bytes));
    EXPECT_EQ(Bytes(answer.bytes.begin() + 9, answer.bytes.end()), Bytes(11, 0));
    EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::callTeleJumpFnc: Unknown command code: 0x7711, size: 5"));

    const Answer cut = camera.send(telegram(0x7711), 5);
    EXPECT_EQ(cut.result, ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
    EXPECT_EQ(cut.bytes, Bytes(answer.bytes.begin(), answer.bytes.begin() + 5));
    EXPECT_TRUE(log.contains(
        "ZEVO_TELEGRAM::callTeleJumpFnc: Failure resp for TeleCode 7711 bigger than size_out 5, size of response: 9."));
}

TEST_F(TelegramFrame, Code2511IsAnsweredAsUnsupported) {
    const Answer full = camera.send(telegram(UNSUPPORTED_0x2511), 9);
    EXPECT_EQ(full.result, 0x80031020u);
    EXPECT_EQ(u16At(full.bytes, 0), 0x25D1);
    EXPECT_EQ(u32At(full.bytes, 4), 0x80031020u);
    EXPECT_EQ(full.bytes[8], checksumWithoutFlags(full.bytes));
    EXPECT_TRUE(log.contains(" Unsupported command code: 0x2511, size: 5"));
    EXPECT_FALSE(log.contains("smaller than size of response"));

    // A 5-byte buffer receives the first five bytes of the same answer.
    const Answer cut = camera.send(telegram(UNSUPPORTED_0x2511), 5);
    EXPECT_EQ(cut.result, 0x80031020u);
    EXPECT_EQ(cut.bytes, Bytes(full.bytes.begin(), full.bytes.begin() + 5));
    EXPECT_TRUE(log.contains(" size_out 5 smaller than size of response: 9."));
}

TEST_F(TelegramFrame, ChecksumCoversTheUnflaggedCodeExceptInTheDescription) {
    const Answer type = camera.send(telegram(GET_CAMERA_TYPE));
    ASSERT_EQ(type.result, 0u);
    EXPECT_EQ(u16At(type.bytes, 0), 0x0190);
    EXPECT_EQ(type.bytes[22], checksumWithoutFlags(type.bytes));

    // The description carries its flagged code from its template, and the sum covers it.
    const Answer description = camera.send(telegram(GET_CAMERA_DESCRIPTION));
    EXPECT_EQ(u16At(description.bytes, 0), 0x0191);
    EXPECT_EQ(description.bytes[152], uint8_t(checksumWithoutFlags(description.bytes) + 0x80));
}

TEST_F(TelegramFrame, ShortRequestIsRefusedWithoutAnswer) {
    // A consistent 12-byte telegram: the frame accepts it, the handler needs 13 bytes.
    const Answer answer = camera.send(telegram(SET_DATE_TIME, Bytes(7, 1)));
    EXPECT_EQ(answer.result, ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(answer.bytes, Bytes(512, 0xEE));
    EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::do_SET_DATE_TIME: size_in 12 smaller than expected: 8."));
}

TEST_F(TelegramFrame, ShortBufferStillCarriesTheCommandOut) {
    const Answer answer = camera.send(telegram(SET_COOLING_SETPOINT_TEMPERATURE, u16Bytes(uint16_t(-12))), 5);
    EXPECT_EQ(answer.result, 0u);
    EXPECT_TRUE(log.contains(
        "ZEVO_TELEGRAM::do_SET_COOLING_SETPOINT_TEMPERATURE: size_out 5 smaller than size of response: 7."));
    const Answer readBack = camera.send(telegram(GET_COOLING_SETPOINT_TEMPERATURE), 7);
    EXPECT_EQ(s16At(readBack.bytes, 4), -12);
}
