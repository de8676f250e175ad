// Images into caller buffers through the exports, on the simulated camera.
#include <algorithm>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "stream/Timestamp.h"
#include "support/StreamWorld.h"

namespace tq4::test {
namespace {

class StreamingTest : public StreamWorld {};

constexpr uint32_t kFullFrame8 = 1296 * 1032;

TEST_F(StreamingTest, RingOfFourBuffersReceivesEveryFrameInOrder) {
    configure("unlimited_frame_rate = 1\npixel_formats = Mono8\n");
    TQ4_HANDLE& h = openRecording();
    ASSERT_EQ(command(h, SET_TIMESTAMP_MODE, 1), ZEVO_NOERROR);  // the camera stamps its frame id
    std::vector<CallerBuffer*> ring;
    for (int i = 0; i < 4; ++i) ring.push_back(&buffer(kFullFrame8));
    for (CallerBuffer* b : ring) ASSERT_EQ(queue(h, *b), ZEVO_NOERROR);

    uint64_t lastFrame = 0;
    for (int frame = 0; frame < 1000; ++frame) {
        CallerBuffer& b = *ring[frame % 4];
        ASSERT_TRUE(b.waitDone()) << "frame " << frame << "\n" << dump();
        ASSERT_EQ(b.status(), ZEVO_BUFFER_DONE) << frame;
        // Buffers taken in queue order hold consecutive frames: none lost, none out of order.
        const uint64_t id = cameraFrameId(b, 1, 8);
        ASSERT_EQ(id, lastFrame + 1) << "frame " << frame;
        lastFrame = id;
        b.event->reset();
        if (frame + 4 < 1000) {
            ASSERT_EQ(queue(h, b), ZEVO_NOERROR);
        }
    }
    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    EXPECT_EQ(count("failed"), 0) << dump();
}

TEST_F(StreamingTest, CancelImagesEndsTheWaitingAndThePendingBuffers) {
    configure("frame_limit = 0\n");
    TQ4_HANDLE& h = openRecording();
    std::vector<CallerBuffer*> buffers;
    for (int i = 0; i < 3; ++i) buffers.push_back(&buffer(64));
    for (CallerBuffer* b : buffers) ASSERT_EQ(queue(h, *b), ZEVO_NOERROR);
    EXPECT_EQ(pending(h), 3u);
    ASSERT_TRUE(waitForLine("DataStream::ImageAcquireThread: thread initialized."));
    settle();  // the thread is now waiting for an image that never comes

    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    for (CallerBuffer* b : buffers) {
        EXPECT_TRUE(b->event->isSet());
        EXPECT_EQ(b->status(), ZEVO_BUFFER_CANCELLED);
    }
    EXPECT_EQ(pending(h), 0u);
    EXPECT_EQ(count("DataStream::ImageAcquireThread: EventGetData @0 was killed."), 1) << dump();
    EXPECT_EQ(count("DataStream::ImageAcquireThread: Terminating @0, ?2, X0"), 1) << dump();
}

// An ordinary life of a camera logs no error but those the user is owed: without correction
// references that they are missing and that the download was declined; with them, none. The
// stream is stopped once, however the camera is closed.
TEST_F(StreamingTest, OrdinaryOpenStreamCancelAndCloseLogNoFalseError) {
    const auto errors = [&] {
        std::vector<std::string> found;
        for (const Line& line : lines())
            if (line.cls & log::kError) found.push_back(line.text.substr(0, line.text.find(": <")));  // no path
        clearLines();
        return found;
    };
    TQ4_HANDLE& first = open();
    ASSERT_EQ(Close_Cam(&first), ZEVO_NOERROR);
    EXPECT_EQ(errors(), (std::vector<std::string>{"Device::loadCorrectionData: Black reference not available",
                                                  "Device::loadCorrectionData: White reference not available",
                                                  "Device::loadCorrectionData: User denied running "
                                                  "zevo.quillonSWIR.exe. Continue without correction data!"}));
    TQ4_HANDLE& maker = open();
    ASSERT_EQ(command(maker, SWIR_GENERATE_CORRECTION_DATA, 0), ZEVO_NOERROR);
    ASSERT_EQ(command(maker, SWIR_GENERATE_CORRECTION_DATA, 1), ZEVO_NOERROR);
    ASSERT_EQ(Close_Cam(&maker), ZEVO_NOERROR);
    errors();  // the reference command's own line ("dynamic resolution") is logged as an error

    TQ4_HANDLE& plain = open();
    ASSERT_EQ(Close_Cam(&plain), ZEVO_NOERROR);
    EXPECT_EQ(errors(), std::vector<std::string>()) << "open/close";
    for (const bool cancel : {false, true}) {
        TQ4_HANDLE& h = openRecording();
        CallerBuffer& image = buffer(2 * kFullFrame8);
        ASSERT_EQ(queue(h, image), ZEVO_NOERROR);
        ASSERT_TRUE(image.waitDone());
        if (cancel) {
            ASSERT_EQ(Cancel_Images(h), ZEVO_NOERROR);
        }
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
        EXPECT_EQ(count("DataStream::stopStreaming: done."), cancel ? 2 : 1) << dump();  // the close's own: once
        EXPECT_EQ(errors(), std::vector<std::string>()) << (cancel ? "open/stream/cancel/close" : "open/stream/close");
    }
}

TEST_F(StreamingTest, GetImageQueuedDeliversOneImageWithRecordingOnForTheCall) {
    configure("unlimited_frame_rate = 1\npixel_formats = Mono8\n");
    TQ4_HANDLE& h = open();
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
    std::vector<uint8_t> image(kFullFrame8, 0xAB);
    EXPECT_EQ(Get_Image_Queued(h, 5000, 0, 0, 0, 0, image.data(), uint32_t(image.size())), ZEVO_NOERROR) << dump();
    EXPECT_NE(std::count(image.begin(), image.end(), 0xAB), long(image.size()));
    EXPECT_EQ(count("DataStream::setRecordingState: call AcquisitionStop."), 1);  // off again after the call
}

TEST_F(StreamingTest, GetImageQueuedThatTimesOutAnswers0AndStopsTheStream) {
    configure("frame_limit = 0\n");
    TQ4_HANDLE& h = open();
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
    std::vector<uint8_t> image(64, 0xAB);
    EXPECT_EQ(Get_Image_Queued(h, 100, 0, 0, 0, 0, image.data(), uint32_t(image.size())), ZEVO_NOERROR);
    const uint32_t sizes[4] = {1296, 1032, 0, 0};
    EXPECT_EQ(Set_Image_Parameters(h, sizes, sizeof sizes), ZEVO_NOERROR) << "still streaming";
    EXPECT_EQ(pending(h), 0u);
    EXPECT_EQ(std::count(image.begin(), image.end(), 0xAB), 64);
}

TEST_F(StreamingTest, StartAndEndMayOnlyNameLiveStreaming) {
    configure("frame_limit = 0\n");
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& b = buffer(64);
    EXPECT_EQ(Set_Image_Buffer(h, b.eventHandle(), 0, 5, 5, 0, b.image.data(), 64, &b.statusWord), ZEVO_NOERROR);
    EXPECT_EQ(pending(h), 1u);
    CallerBuffer& refused = buffer(64);
    EXPECT_EQ(Set_Image_Buffer(h, refused.eventHandle(), 0, 1, 2, 0, refused.image.data(), 64, &refused.statusWord),
              ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(logged("Set_Image_Buffer: Wrong values just streaming. start == end == 0", log::kError));
    EXPECT_EQ(pending(h), 1u);
}

TEST_F(StreamingTest, SmallBufferGetsTheImageStartAndLargeBufferAZeroedTail) {
    configure("unlimited_frame_rate = 1\npixel_formats = Mono8\n");
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& small = buffer(1000);  // only the first 600 bytes are handed over
    CallerBuffer& large = buffer(kFullFrame8 + 4096);
    ASSERT_EQ(queue(h, small, 600), ZEVO_NOERROR);
    ASSERT_EQ(queue(h, large), ZEVO_NOERROR);
    ASSERT_TRUE(small.waitDone());
    ASSERT_TRUE(large.waitDone());
    EXPECT_EQ(small.status(), ZEVO_BUFFER_DONE);
    EXPECT_EQ(large.status(), ZEVO_BUFFER_DONE);
    EXPECT_NE(std::count(small.image.begin(), small.image.begin() + 600, 0xAB), 600);
    EXPECT_EQ(std::count(small.image.begin() + 600, small.image.end(), 0xAB), 400);
    EXPECT_EQ(std::count(large.image.begin() + kFullFrame8, large.image.end(), 0), 4096);
    EXPECT_EQ(count("DataStream::copyImage: target buffer @1 too small: 600 Bytes"), 1) << dump();
    EXPECT_EQ(
        count("DataStream::copyImage: target buffer @2 too big: " + std::to_string(kFullFrame8 + 4096) + " Bytes"), 1);
}

TEST_F(StreamingTest, ImageHasExactlyTheRegionSet) {
    configure("unlimited_frame_rate = 1\npixel_formats = Mono8\n");
    TQ4_HANDLE& h = open();
    std::vector<uint8_t> roi = telegram(SET_ROI, 13);  // the checksum is not checked
    const uint16_t corners[4] = {105, 53, 696, 448};   // 592 x 396 pixels
    for (int i = 0; i < 4; ++i) {
        roi[4 + 2 * i] = uint8_t(corners[i]);
        roi[5 + 2 * i] = uint8_t(corners[i] >> 8);
    }
    uint8_t response[512];
    ASSERT_EQ(Control_Command(h, roi.data(), 13, response, sizeof response), ZEVO_NOERROR);
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR);
    EXPECT_EQ(imageSize(h), std::make_pair(592u, 396u));
    CallerBuffer& b = buffer(592 * 396 + 16);
    ASSERT_EQ(queue(h, b), ZEVO_NOERROR);
    ASSERT_TRUE(b.waitDone());
    EXPECT_EQ(b.status(), ZEVO_BUFFER_DONE);
    EXPECT_TRUE(logged("DataStream::copyImage: target buffer @1 too big: " + std::to_string(592 * 396 + 16) + " Bytes",
                       log::kImageTrace));
    EXPECT_TRUE(logged("DataStream::setImageSizes: payload size: 234432 Bytes, bpp: 8, Bpp: 1", log::kProgress))
        << dump();
}

// 12 bits of data in 16-bit pixels: LSB-aligned data stays below 4096, MSB alignment moves
// it up by four bits, and data that the camera already delivers at the top stays as it is.
struct AlignmentCase {
    const char* format;
    int alignment;
    bool expectTopAligned;
};

void PrintTo(const AlignmentCase& c, std::ostream* out) { *out << c.format << ", alignment " << c.alignment; }

class AlignmentTest : public StreamWorld, public ::testing::WithParamInterface<AlignmentCase> {};

TEST_P(AlignmentTest, TwelveBitPixelsLandAsTheAlignmentSays) {
    const AlignmentCase c = GetParam();
    configure(std::string("unlimited_frame_rate = 1\npixel_formats = ") + c.format + "\n");
    TQ4_HANDLE& h = openRecording();
    ASSERT_EQ(command(h, SET_BIT_ALIGNMENT, c.alignment), ZEVO_NOERROR);
    CallerBuffer& b = buffer(2 * kFullFrame8);
    ASSERT_EQ(queue(h, b), ZEVO_NOERROR);
    ASSERT_TRUE(b.waitDone());
    ASSERT_EQ(b.status(), ZEVO_BUFFER_DONE);
    bool lowBitsUsed = false, aboveTwelveBits = false, belowByteBoundary = false;
    for (std::size_t i = 16; i < kFullFrame8; ++i) {
        const uint16_t v = b.pixel16(i);
        lowBitsUsed |= (v & 0xF) != 0;
        aboveTwelveBits |= v >= 4096;
        belowByteBoundary |= (v & 0xFF) != 0;
    }
    if (c.expectTopAligned) {
        EXPECT_FALSE(lowBitsUsed);
        EXPECT_TRUE(aboveTwelveBits);
    } else {
        EXPECT_TRUE(lowBitsUsed);
        EXPECT_FALSE(aboveTwelveBits);
    }
    // A second shift of data already at the top would leave only multiples of 256.
    EXPECT_TRUE(belowByteBoundary || !c.expectTopAligned);
}

INSTANTIATE_TEST_SUITE_P(Formats, AlignmentTest,
                         ::testing::Values(AlignmentCase{"Mono12", 0, true}, AlignmentCase{"Mono12", 1, false},
                                           AlignmentCase{"Mono12msb", 0, true}, AlignmentCase{"Mono12msb", 1, true}));

// The driver's own stamps (the camera offers none here), decoded back from the image.
struct StampCase {
    const char* format;
    int mode;
};

void PrintTo(const StampCase& c, std::ostream* out) { *out << c.format << ", mode " << c.mode; }

class TimestampTest : public StreamWorld, public ::testing::WithParamInterface<StampCase> {};

TEST_P(TimestampTest, StampsReadBackFromTheImage) {
    const StampCase c = GetParam();
    configure(std::string("unlimited_frame_rate = 1\nremove_features = ZEVOTimestamp\npixel_formats = ") + c.format +
              "\n");
    TQ4_HANDLE& h = openRecording();
    ASSERT_EQ(command(h, SET_TIMESTAMP_MODE, c.mode), ZEVO_NOERROR);
    const unsigned bytesPerPixel = std::string(c.format) == "Mono8" ? 1 : 2;
    std::vector<CallerBuffer*> buffers;
    for (int i = 0; i < 2; ++i) buffers.push_back(&buffer(bytesPerPixel * kFullFrame8, 0));
    for (CallerBuffer* b : buffers) ASSERT_EQ(queue(h, *b), ZEVO_NOERROR);
    for (CallerBuffer* b : buffers) ASSERT_TRUE(b->waitDone());
    const platform::LocalTime now = platform::localTime();

    const stream::StampPixels pixels{bytesPerPixel, bytesPerPixel * 8};
    for (uint64_t counter = 1; counter <= 2; ++counter) {
        const CallerBuffer& b = *buffers[counter - 1];
        stream::StampMoment moment;
        const bool binary = stream::readBinaryStamp(b.image.data(), b.image.size(), pixels, moment);
        const std::string text = stream::readReadableStamp(b.image.data(), b.image.size(), pixels, 1296, 1032);
        const bool binaryValid = binary && moment.imageCounter == counter && moment.year == now.year;
        EXPECT_EQ(binaryValid, c.mode != 3) << "image " << counter;
        const bool readable = text.compare(0, 7, "000000" + std::to_string(counter)) == 0 &&
                              text.find(std::to_string(now.year)) != std::string::npos;
        EXPECT_EQ(readable, c.mode != 1) << text;
        if (binaryValid && readable) {
            char expected[16];
            std::snprintf(expected, sizeof expected, "%02d:%02d:%02d.%06u", moment.hour, moment.minute, moment.second,
                          moment.microseconds);
            EXPECT_NE(text.find(expected), std::string::npos) << text << " / " << expected;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, TimestampTest,
                         ::testing::Values(StampCase{"Mono8", 1}, StampCase{"Mono8", 2}, StampCase{"Mono8", 3},
                                           StampCase{"Mono16", 1}, StampCase{"Mono16", 2}, StampCase{"Mono16", 3}));

}  // namespace
}  // namespace tq4::test
