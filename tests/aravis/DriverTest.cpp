// The driver end to end with tq4_aravis.cti as its producer, against Aravis' fake GigE Vision
// camera on 127.0.0.1: open, identity, region, images into caller buffers, cancel, reopen.
#include "aravis/FakeCamera.h"

#include <cstdio>
#include <cstdlib>

#include "support/TestFolder.h"
#include "support/World.h"

namespace tq4::test {
namespace {

class AravisDriver : public World {
protected:
    void SetUp() override {
        World::SetUp();
        FakeCamera::get();
        platform::setEnvironment("TQ4_ARAVIS_SOCKET_BUFFER", "8388608");  // as large as the system allows
        writeFile(iniFile().string(), "[CONFIG]\nProducerName=tq4_aravis.cti\n");
    }

    TQ4_HANDLE& openExt() {
        TQ4_OpenStruct openStruct{};
        openStruct.producerList = "tq4_aravis.cti";
        TQ4_HANDLE& h = opened_.emplace_back(nullptr);
        EXPECT_EQ(Open_Cam_Ext(0, &h, &openStruct), ZEVO_NOERROR) << dump();
        return h;
    }

    // The driver takes the camera's deepest format at open (Mono16 here); Mono8 carries the
    // fake camera's 8-bit test pattern.
    void useMono8(TQ4_HANDLE h) {
        Bytes setup(18, 0);  // u16 type, u32 flags[4]
        setup[0] = 1;        // pixel format
        setup[2] = 0x10;     // Mono8
        const Bytes request = test::telegram(SET_CAMERA_SETUP, setup);
        ASSERT_EQ(sendTelegram(h, request, 512).result, ZEVO_NOERROR) << dump();
    }

    uint32_t setRoi(TQ4_HANDLE h, std::array<uint16_t, 4> corners) {
        Bytes request = paddedTelegram(SET_ROI, 13);
        for (int i = 0; i < 4; ++i) {
            request[4 + 2 * i] = uint8_t(corners[i]);
            request[5 + 2 * i] = uint8_t(corners[i] >> 8);
        }
        uint8_t response[512];
        return Control_Command(h, request.data(), 13, response, sizeof response);
    }

    std::array<uint16_t, 4> roi(TQ4_HANDLE h) {
        const Answer a = ask(h, GET_ROI);
        EXPECT_EQ(a.result, ZEVO_NOERROR);
        return {u16(&a.bytes[4]), u16(&a.bytes[6]), u16(&a.bytes[8]), u16(&a.bytes[10])};
    }
};

TEST_F(AravisDriver, OpensTheCameraAndAnswersIdentityAndRegion) {
    TQ4_HANDLE& h = openExt();
    ASSERT_NE(h, nullptr);
    EXPECT_TRUE(logged("Open_Cam_Ext: done.", log::kProgress)) << dump();
    for (const uint16_t code : {GET_CAMERA_TYPE, GET_CAMERA_NAME, GET_CAMERA_DESCRIPTION, GET_CAMERA_HEALTH_STATUS})
        EXPECT_EQ(ask(h, code).result, ZEVO_NOERROR) << std::hex << code << "\n" << dump();
    // A foreign camera: its own texts, or "not available"; the sensor text is the product's.
    const auto info = [&](uint32_t type) {
        return textAt(sendTelegram(h, test::telegram(GET_INFO_STRING, u32Bytes(type))).bytes, 4, 40);
    };
    EXPECT_EQ(info(2), "Sony IMX990");
    EXPECT_EQ(info(3), "not available");
    EXPECT_EQ(textAt(ask(h, GET_FIRMWARE_VERSIONS).bytes, 4, 40), "Aravis Fake");
    EXPECT_EQ(roi(h), (std::array<uint16_t, 4>{1, 1, FakeCamera::kWidth, FakeCamera::kHeight}));

    ASSERT_EQ(setRoi(h, {17, 9, 272, 136}), ZEVO_NOERROR) << dump();  // 256 x 128 pixels
    EXPECT_EQ(roi(h), (std::array<uint16_t, 4>{17, 9, 272, 136}));
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR) << dump();
    EXPECT_EQ(imageSize(h), std::make_pair(256u, 128u));
}

// The camera names its exposure time ExposureTimeAbs, as GigE Vision cameras of before SFNC
// 2.0 do, and gives it no unit: the telegrams set and read it in microseconds.
TEST_F(AravisDriver, ExposureTimeUnderItsGigEVisionName) {
    TQ4_HANDLE& h = openExt();
    ASSERT_EQ(sendTelegram(h, test::telegram(SET_TIMEBASE, concat({u16Bytes(1), u16Bytes(2)}))).result,
              ZEVO_NOERROR);  // exposure in ms
    const Answer set = sendTelegram(h, test::telegram(SET_DELAY_EXPOSURE_TIME, concat({u32Bytes(0), u32Bytes(2)})));
    ASSERT_EQ(set.result, ZEVO_NOERROR) << dump();
    EXPECT_EQ(u32At(set.bytes, 8), 2u);
    uint32_t microseconds = 0;
    ASSERT_TRUE(arv_fake_camera_read_register(FakeCamera::get(), 0x120, &microseconds));  // ExposureTimeAbs
    EXPECT_EQ(microseconds, 2000u);
}

// tq4cam finds the standard names on a camera that has only the GigE Vision ones: `set
// ExposureTime` writes ExposureTimeAbs, `get ExposureTime` shows it with the unit SFNC gives it.
TEST_F(AravisDriver, Tq4camReachesStandardFeaturesUnderTheirGigEVisionNames) {
    const auto tq4cam = [](const std::string& arguments) {
        std::string output;
        FILE* pipe = popen((std::string(TQ4CAM) + " " + arguments + " 2>&1").c_str(), "r");
        char chunk[256];
        while (pipe && fgets(chunk, sizeof chunk, pipe)) output += chunk;
        const int status = pipe ? pclose(pipe) : -1;
        return std::make_pair(WIFEXITED(status) ? WEXITSTATUS(status) : -1, output);
    };
    const auto [setCode, setOutput] = tq4cam("set ExposureTime=1500");
    ASSERT_EQ(setCode, 0) << setOutput;
    EXPECT_EQ(setOutput.rfind("ExposureTimeAbs ", 0), 0u) << setOutput;
    uint32_t microseconds = 0;
    ASSERT_TRUE(arv_fake_camera_read_register(FakeCamera::get(), 0x120, &microseconds));
    EXPECT_EQ(microseconds, 1500u);
    const auto [getCode, getOutput] = tq4cam("get ExposureTime");
    ASSERT_EQ(getCode, 0) << getOutput;
    EXPECT_NE(getOutput.find("1500 us"), std::string::npos) << getOutput;
}

// 500 frames through four caller buffers: every buffer comes back in queue order, done, with
// the fake camera's test pattern intact; then Cancel_Images, close and open again.
TEST_F(AravisDriver, StreamsFiveHundredFramesThroughFourBuffersAndReopens) {
    constexpr int kFrames = 500;
    constexpr uint32_t kWidth = FakeCamera::kWidth, kHeight = FakeCamera::kHeight;
    constexpr size_t kImage = size_t(kWidth) * kHeight;
    TQ4_HANDLE& h = openExt();
    useMono8(h);
    ASSERT_EQ(setRoi(h, {1, 1, kWidth, kHeight}), ZEVO_NOERROR) << dump();
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR) << dump();
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR) << dump();
    std::vector<CallerBuffer*> ring;
    for (int i = 0; i < 4; ++i) ring.push_back(&buffer(kImage));
    for (CallerBuffer* b : ring) ASSERT_EQ(queue(h, *b), ZEVO_NOERROR);
    int done = 0, broken = 0;
    for (int frame = 0; frame < kFrames; ++frame) {
        CallerBuffer& b = *ring[frame % 4];
        ASSERT_TRUE(b.waitDone()) << "frame " << frame << "\n" << dump();
        ASSERT_EQ(b.status(), ZEVO_BUFFER_DONE) << frame;
        ++done;
        broken += FakeCamera::rampBreak(b.image.data(), kWidth, kHeight).empty() ? 0 : 1;
        b.event->reset();
        if (frame + 4 < kFrames) {
            ASSERT_EQ(queue(h, b), ZEVO_NOERROR);
        }
    }
    EXPECT_EQ(done, kFrames);
    EXPECT_EQ(broken, 0) << dump();

    // Cancel_Images hands back the buffers still queued.
    for (CallerBuffer* b : ring) ASSERT_EQ(queue(h, *b), ZEVO_NOERROR);
    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    for (CallerBuffer* b : ring) {
        EXPECT_TRUE(b->event->isSet());
        EXPECT_NE(b->status(), ZEVO_BUFFER_QUEUED);
    }
    EXPECT_EQ(pending(h), 0u);

    // Recording off stops the camera: the fake camera would go on sending to the closed stream.
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 0), ZEVO_NOERROR);
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    TQ4_HANDLE& again = open();  // the configuration file's ProducerName this time
    useMono8(again);
    ASSERT_EQ(setRoi(again, {1, 1, kWidth, kHeight}), ZEVO_NOERROR) << dump();
    ASSERT_EQ(command(again, ARM_CAMERA), ZEVO_NOERROR) << dump();
    ASSERT_EQ(command(again, SET_RECORDING_STATE, 1), ZEVO_NOERROR) << dump();
    CallerBuffer& one = buffer(kImage);
    ASSERT_EQ(queue(again, one), ZEVO_NOERROR);
    ASSERT_TRUE(one.waitDone()) << dump();
    EXPECT_EQ(one.status(), ZEVO_BUFFER_DONE);
    EXPECT_EQ(FakeCamera::rampBreak(one.image.data(), kWidth, kHeight), "") << dump();
}

}  // namespace
}  // namespace tq4::test
