// Timebases, delay and exposure, frame rate, trigger and acquire modes through Control_Command
// on the simulated camera (in Mono12: 125 fps at full frame, an 8 ms shortest period;
// AcquisitionFrameRate from 1 Hz; ExposureTime 10 us to 1 s).
#include <gtest/gtest.h>

#include "support/SimCamera.h"
#include "tq4_genicam.h"

using namespace tq4::test;

namespace {

Bytes delayExposure(uint32_t delay, uint32_t exposure) {
    return telegram(SET_DELAY_EXPOSURE_TIME, concat({u32Bytes(delay), u32Bytes(exposure)}));
}

Bytes payloadOf(const Answer& a, std::size_t from, std::size_t to) {
    return Bytes(a.bytes.begin() + long(from), a.bytes.begin() + long(to));
}

// One request in a timebase, and what the camera then reports, worked out by hand from the
// frame-period model: the period is the delay plus the exposure or the shortest period,
// whichever is longer; below 1 Hz the rate stays at 1 Hz and the delay is 1 s less the
// exposure; delay 0 lets the camera run free.
struct DelayCase {
    uint16_t timebase;
    uint32_t delay, exposure;
    uint32_t heldDelay;
};

}  // namespace

TEST(TelegramTiming, TimebasesAreKeptAndDelayAndExposureFollowTheFramePeriodModel) {
    const DelayCase cases[] = {
        {0, 2000000, 1000000, 2000000},
        {1, 2000, 1000, 2000},
        {2, 2, 1, 2},  // above the minimum rate
        {1, 5000, 20000, 5000},
        {2, 5, 20, 5},  // exposure beyond 8 ms
        {0, 2000000000, 1000000, 999000000},
        {1, 2000000, 1000, 999000},
        {2, 2000, 1, 999},  // at 1 Hz
        {0, 0, 1000000, 0},
        {1, 0, 1000, 0},
        {2, 0, 1, 0},  // free run
    };
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    const Answer defaults = camera.send(telegram(GET_TIMEBASE));
    EXPECT_EQ(u16At(defaults.bytes, 4), 1);
    EXPECT_EQ(u16At(defaults.bytes, 6), 1);
    for (const DelayCase& c : cases) {
        SCOPED_TRACE("timebase " + std::to_string(c.timebase) + " delay " + std::to_string(c.delay) + " exposure " +
                     std::to_string(c.exposure));
        ASSERT_EQ(camera.send(telegram(SET_TIMEBASE, concat({u16Bytes(c.timebase), u16Bytes(c.timebase)}))).result, 0u);
        const Answer set = camera.send(delayExposure(c.delay, c.exposure));
        EXPECT_EQ(set.result, 0u);
        EXPECT_EQ(u32At(set.bytes, 4), c.heldDelay);
        EXPECT_EQ(u32At(set.bytes, 8), c.exposure);
        const Answer get = camera.send(telegram(GET_DELAY_EXPOSURE_TIME));
        EXPECT_EQ(payloadOf(get, 4, 12), payloadOf(set, 4, 12));
    }
    // Timebases are kept as given, each its own.
    const Answer set = camera.send(telegram(SET_TIMEBASE, concat({u16Bytes(5), u16Bytes(9)})));
    EXPECT_EQ(payloadOf(set, 4, 8), concat({u16Bytes(5), u16Bytes(9)}));
    EXPECT_EQ(payloadOf(camera.send(telegram(GET_TIMEBASE)), 4, 8), payloadOf(set, 4, 8));
}

TEST(TelegramTiming, ExposureOutsideItsLimitsIsRefusedWithWhatTheCameraHolds) {
    LogCapture log;
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    ASSERT_EQ(camera.send(delayExposure(2000, 1000)).result, 0u);
    for (uint32_t exposure : {5u, 2000000u}) {
        const Answer refused = camera.send(delayExposure(0, exposure));
        EXPECT_EQ(refused.result, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
        EXPECT_EQ(u32At(refused.bytes, 4), 2000u);
        EXPECT_EQ(u32At(refused.bytes, 8), 1000u);
    }
    EXPECT_TRUE(
        log.contains("ZEVO_TELEGRAM::do_SET_DELAY_EXPOSURE_TIME: new exposure time 5.000us smaller min limit: "
                     "10.000us"));
    EXPECT_TRUE(
        log.contains("ZEVO_TELEGRAM::do_SET_DELAY_EXPOSURE_TIME: new exposure time 2000000.000us greater max "
                     "limit: 1000000.000us"));
}

TEST(TelegramTiming, FrameRateAndCycleTimeFromTheSameModel) {
    SimCamera camera("pixel_formats = Mono8, Mono10, Mono12\n");
    ASSERT_TRUE(camera.isOpen());
    ASSERT_EQ(camera.send(delayExposure(2000, 1000)).result, 0u);  // a 10 ms period
    const Answer rate = camera.send(telegram(GET_FRAMERATE));
    EXPECT_EQ(u16At(rate.bytes, 2), 15);
    EXPECT_EQ(u32At(rate.bytes, 6), 100000u);
    EXPECT_EQ(u32At(rate.bytes, 10), 1000000u);
    const Answer cycle = camera.send(telegram(GET_COC_RUNTIME));
    EXPECT_EQ(u32At(cycle.bytes, 4), 0u);
    EXPECT_EQ(u32At(cycle.bytes, 8), 10000000u);

    ASSERT_EQ(camera.send(delayExposure(0, 1000)).result, 0u);  // free run: the shortest period
    EXPECT_EQ(u32At(camera.send(telegram(GET_FRAMERATE)).bytes, 6), 125000u);
}

TEST(TelegramTrigger, AcquireModesRoundTripAndModeFourOnlyThroughEx) {
    LogCapture log;
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    ASSERT_EQ(camera.send(telegram(ARM_CAMERA)).result, 0u);
    const Answer four = camera.send(telegram(SET_ACQUIRE_MODE, u16Bytes(4)));
    EXPECT_EQ(four.result, ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(four.bytes, Bytes(512, 0xEE));
    EXPECT_TRUE(log.contains("ZEVO_TELEGRAM::do_SET_ACQUIRE_MODE: Acquire mode 0x4 not supported."));
    EXPECT_EQ(camera.send(telegram(SET_RECORDING_STATE, u16Bytes(1))).result, ZEVO_ERROR_TELEGRAM_NOTARMED)
        << "the refused setter disarmed the camera";

    EXPECT_EQ(u16At(camera.send(telegram(SET_ACQUIRE_MODE, u16Bytes(1))).bytes, 4), 1);
    EXPECT_EQ(u16At(camera.send(telegram(GET_ACQUIRE_MODE)).bytes, 4), 1);
    const Answer burst =
        camera.send(telegram(SET_ACQUIRE_MODE_EX, concat({u16Bytes(4), u32Bytes(1000), Bytes(16, 0)})));
    EXPECT_EQ(u16At(burst.bytes, 4), 4);
    EXPECT_EQ(u32At(burst.bytes, 6), 255u) << "brought to the largest burst";
    const Answer ex = camera.send(telegram(GET_ACQUIRE_MODE_EX));
    EXPECT_EQ(u16At(ex.bytes, 4), 4);
    EXPECT_EQ(u32At(ex.bytes, 6), 255u);
    EXPECT_EQ(camera.send(telegram(SET_ACQUIRE_MODE, u16Bytes(0))).result, 0u);
    EXPECT_EQ(u16At(camera.send(telegram(GET_ACQUIRE_MODE_EX)).bytes, 4), 0);
}

TEST(TelegramTrigger, ReadOnlySelectorAndMissingSoftwareTrigger) {
    {
        SimCamera camera("trigger_selector_read_only = 1\n");
        ASSERT_TRUE(camera.isOpen());
        for (uint16_t code : {GET_ACQUIRE_MODE, GET_ACQUIRE_MODE_EX}) {
            const Answer a = camera.send(telegram(code));
            EXPECT_EQ(a.result, ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
            EXPECT_EQ(a.bytes, Bytes(512, 0xEE));
        }
        EXPECT_EQ(u16At(camera.send(telegram(FORCE_TRIGGER)).bytes, 4), 1);
    }
    SimCamera camera("remove_features = TriggerSoftware\n");
    ASSERT_TRUE(camera.isOpen());
    const Answer a = camera.send(telegram(FORCE_TRIGGER));
    EXPECT_EQ(a.result, 0u);
    EXPECT_EQ(u16At(a.bytes, 4), 0);
}

TEST(TelegramTrigger, TriggerModesAndTheirKeptAsymmetry) {
    SimCamera camera;
    ASSERT_TRUE(camera.isOpen());
    const auto set = [&](uint16_t mode) { return camera.send(telegram(SET_TRIGGER_MODE, u16Bytes(mode))); };
    const auto get = [&] { return u16At(camera.send(telegram(GET_TRIGGER_MODE)).bytes, 4); };
    for (uint16_t mode : {1, 2, 0}) {
        EXPECT_EQ(u16At(set(mode).bytes, 4), mode);
        EXPECT_EQ(get(), mode);
    }
    EXPECT_EQ(u16At(set(3).bytes, 4), 3);
    EXPECT_EQ(get(), 0) << "trigger width alone is not reported as mode 3";
    EXPECT_EQ(set(5).result, ZEVO_ERROR_DRIVER_WRONGVALUE);
}
