// Images into caller buffers through the exports, on the simulated camera, and what the image
// calls do with arguments a caller got wrong.
#include <ostream>

#include "config/Config.h"
#include "stream/Timestamp.h"
#include "support/World.h"

namespace tq4::test {
namespace {

class StreamingTest : public World {};

constexpr uint32_t kFullFrame8 = 1296 * 1032;
constexpr const char* kFastMono8 = "unlimited_frame_rate = 1\npixel_formats = Mono8\n";

TEST_F(StreamingTest, RingOfFourBuffersReceivesEveryFrameInOrder) {
    configure(kFastMono8);
    TQ4_HANDLE& h = openRecording();
    ASSERT_EQ(command(h, SET_TIMESTAMP_MODE, 1), ZEVO_NOERROR);  // the camera stamps its frame id
    std::vector<CallerBuffer*> ring;
    for (int i = 0; i < 4; ++i) ring.push_back(&buffer(kFullFrame8));
    for (CallerBuffer* b : ring) ASSERT_EQ(queue(h, *b), ZEVO_NOERROR);

    for (uint64_t frame = 1; frame <= 1000; ++frame) {
        CallerBuffer& b = *ring[(frame - 1) % 4];
        ASSERT_TRUE(b.waitDone()) << "frame " << frame << "\n" << dump();
        ASSERT_EQ(b.status(), ZEVO_BUFFER_DONE) << frame;
        // Buffers taken in queue order hold consecutive frames: none lost, none out of order.
        ASSERT_EQ(b.cameraFrameId(1, 8), frame);
        b.event->reset();
        if (frame + 4 <= 1000) {
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
    ASSERT_EQ(command(first, SWIR_GENERATE_CORRECTION_DATA, 0), ZEVO_NOERROR);
    ASSERT_EQ(command(first, SWIR_GENERATE_CORRECTION_DATA, 1), ZEVO_NOERROR);
    ASSERT_EQ(Close_Cam(&first), ZEVO_NOERROR);
    EXPECT_EQ(errors(), (std::vector<std::string>{"Device::loadCorrectionData: Black reference not available",
                                                  "Device::loadCorrectionData: White reference not available",
                                                  "Device::loadCorrectionData: User denied running "
                                                  "zevo.quillonSWIR.exe. Continue without correction data!",
                                                  "Device::do_SWIR_GENERATE_CORRECTION_DATA: dynamic resolution: "
                                                  "16 bits.",
                                                  "Device::do_SWIR_GENERATE_CORRECTION_DATA: dynamic resolution: "
                                                  "16 bits."}));
    for (const auto& [stream, cancel] : {std::pair{false, false}, {true, false}, {true, true}}) {
        TQ4_HANDLE& h = stream ? openRecording() : open();
        if (stream) {
            CallerBuffer& image = buffer(2 * kFullFrame8);
            ASSERT_EQ(queue(h, image), ZEVO_NOERROR);
            ASSERT_TRUE(image.waitDone());
        }
        if (cancel) {
            ASSERT_EQ(Cancel_Images(h), ZEVO_NOERROR);
        }
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
        EXPECT_EQ(count("DataStream::stopStreaming: done."), cancel ? 2 : 1) << dump();  // the close's own: once
        EXPECT_EQ(errors(), std::vector<std::string>()) << "stream " << stream << ", cancel " << cancel;
    }
}

TEST_F(StreamingTest, GetImageQueuedTakesOneImageWithRecordingOnForTheCallOrTimesOut) {
    configure(kFastMono8);
    TQ4_HANDLE& h = open();
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
    std::vector<uint8_t> image(kFullFrame8, 0xAB);
    EXPECT_EQ(Get_Image_Queued(h, 5000, 0, 0, 0, 0, image.data(), uint32_t(image.size())), ZEVO_NOERROR) << dump();
    EXPECT_NE(std::count(image.begin(), image.end(), 0xAB), long(image.size()));
    EXPECT_EQ(count("DataStream::setRecordingState: call AcquisitionStop."), 1);  // off again after the call
    ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);

    // A time-out answers 0 and stops the stream: the image parameters may change.
    configure("frame_limit = 0\n");
    TQ4_HANDLE& idle = open();
    ASSERT_EQ(command(idle, ARM_CAMERA), ZEVO_NOERROR);
    std::fill(image.begin(), image.end(), 0xAB);
    EXPECT_EQ(Get_Image_Queued(idle, 100, 0, 0, 0, 0, image.data(), 64), ZEVO_NOERROR);
    const uint32_t sizes[4] = {1296, 1032, 0, 0};
    EXPECT_EQ(Set_Image_Parameters(idle, sizes, sizeof sizes), ZEVO_NOERROR) << "still streaming";
    EXPECT_EQ(pending(idle), 0u);
    EXPECT_EQ(std::count(image.begin(), image.end(), 0xAB), long(image.size()));
}

// The image has exactly the region set, and it starts every buffer whatever the buffer's size:
// the rest of a small one is left alone, the tail of a large one zeroed.
TEST_F(StreamingTest, ImageHasTheRegionSetAndFillsEveryBufferWithinItsSize) {
    constexpr uint32_t kImage = 592 * 396;
    TQ4_HANDLE& h = camera(kFastMono8);
    ASSERT_EQ(send(telegram(SET_ROI, concat({u16Bytes(105), u16Bytes(53), u16Bytes(696), u16Bytes(448)}))).result,
              ZEVO_NOERROR);
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR);
    EXPECT_EQ(imageSize(h), std::make_pair(592u, 396u));
    EXPECT_EQ(stream(h)->getPayloadSize(), kImage);
    const struct {
        std::size_t bytes;
        uint32_t handedOver;
    } sizes[] = {{16, 0}, {16, 1}, {1000, 600}, {kImage + 16, kImage + 16}, {64u << 20, 64u << 20}};
    std::vector<CallerBuffer*> buffers;
    for (const auto& s : sizes) {
        buffers.push_back(&buffer(s.bytes));
        ASSERT_EQ(queue(h, *buffers.back(), s.handedOver), ZEVO_NOERROR);
    }
    for (std::size_t i = 0; i < buffers.size(); ++i) {
        const std::vector<uint8_t>& image = buffers[i]->image;
        const long handedOver = sizes[i].handedOver, filled = std::min<long>(handedOver, kImage);
        ASSERT_TRUE(buffers[i]->waitDone());
        EXPECT_EQ(buffers[i]->status(), ZEVO_BUFFER_DONE);
        EXPECT_TRUE(filled <= 16 || std::count(image.begin(), image.begin() + filled, 0xAB) != filled) << i;
        EXPECT_EQ(std::count(image.begin() + handedOver, image.end(), 0xAB), long(image.size()) - handedOver) << i;
        EXPECT_EQ(std::count(image.begin() + filled, image.begin() + handedOver, 0), handedOver - filled) << i;
    }
}

// The memory budget of the configuration file (MEMORY/DMALength) sizes the announced buffers
// (an unreadable one counts as the default, 32 MiB), the producer's minimum counts, and the
// memory the buffers take is written back; without a payload nothing is announced or written.
TEST_F(StreamingTest, MemoryBudgetSizesTheBuffersAndTheMemoryUsedIsWrittenBack) {
    const auto budget = [&] { return config::readIniValue(iniFile().string(), "MEMORY", "DMALength", "", false); };
    const auto announced = [&](const std::string& producer) {
        configure(producer);
        TQ4_HANDLE& h = open();
        EXPECT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
        const uint64_t count = stream(h)->numAnnouncedBuffers();
        EXPECT_EQ(Close_Cam(&h), ZEVO_NOERROR);
        return count;
    };
    writeFile(iniFile(), "[MEMORY]\nDMALength = lots\n");
    EXPECT_EQ(announced("payload_size = 1048576\n"), 32u);
    EXPECT_EQ(count("DataStream::calcNumBuffers: cast ini DMALength stoull exception: "), 1);
    EXPECT_EQ(announced("payload_size = 34000000\nbuf_announce_min = 6\n"), 6u);
    EXPECT_EQ(budget(), "204000000");
    EXPECT_TRUE(logged("DataStream::calcNumBuffers: Minimum too low. Min announce buffer num: 6", log::kVerbose));

    configure("payload_size = 0\n");
    TQ4_HANDLE& h = open();
    const uint32_t sizes[4] = {1296, 1032, 0, 0};
    EXPECT_EQ(Set_Image_Parameters(h, sizes, sizeof sizes), ZEVO_ERROR_DRIVER_WRONGSIZE);
    EXPECT_EQ(stream(h)->numAnnouncedBuffers(), 0u);
    EXPECT_EQ(budget(), "204000000") << "nothing to divide: the file stays as it is";
}

// ---- arguments a caller got wrong: each answer is a code and a log line, and nothing is written
// where it does not belong ----

class ImageArgumentsTest : public World {
protected:
    void SetUp() override {
        World::SetUp();
        configure("frame_limit = 0\n");
    }
};

TQ4_HANDLE asHandle(intptr_t value) { return reinterpret_cast<TQ4_HANDLE>(value); }

TEST_F(ImageArgumentsTest, EventThatIsNoOpenEventfdIsRefusedAndNeverWritten) {
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& b = buffer(64);
    intptr_t closed = platform::Event::create()->nativeHandle();  // closed again at once
    std::FILE* file = std::fopen((root_ / "plain.bin").string().c_str(), "w+b");
    ASSERT_NE(file, nullptr);
    for (intptr_t wrong : {intptr_t(0), closed, intptr_t(fileno(file)), intptr_t(987654), intptr_t(-1)}) {
        clearLines();
        b.statusWord = 0x12345678;
        EXPECT_EQ(Set_Image_Buffer(h, asHandle(wrong), 0, 0, 0, 0, b.image.data(), 64, &b.statusWord),
                  ZEVO_ERROR_DRIVER_WRONGVALUE)
            << wrong;
        EXPECT_TRUE(logged("Set_Image_Buffer: Wrong Handle for hEvent", log::kError)) << wrong;
        EXPECT_EQ(b.statusWord, 0x12345678u) << wrong;
    }
    std::fseek(file, 0, SEEK_END);
    EXPECT_EQ(std::ftell(file), 0) << "the driver wrote into a regular file";
    std::fclose(file);
    EXPECT_EQ(pending(h), 0u);
}

TEST_F(ImageArgumentsTest, MissingBufferStatusOrRangeIsRefused) {
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& b = buffer(64);
    const TQ4_HANDLE e = b.eventHandle();
    EXPECT_EQ(Set_Image_Buffer(h, e, 0, 0, 0, 0, nullptr, 64, &b.statusWord), ZEVO_ERROR_DRIVER_NOBUFFER);
    EXPECT_TRUE(logged("Set_Image_Buffer: Wrong Handle for buf", log::kError));
    EXPECT_EQ(Set_Image_Buffer(h, e, 0, 0, 0, 0, b.image.data(), 64, nullptr), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(logged("Set_Image_Buffer: Wrong pointer for status", log::kError));
    // Start and end may only name live streaming: both 0, or both the same.
    EXPECT_EQ(Set_Image_Buffer(h, e, 0, 3, 0, 0, b.image.data(), 64, &b.statusWord), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(Set_Image_Buffer(h, e, 0, 1, 2, 0, b.image.data(), 64, &b.statusWord), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_TRUE(logged("Set_Image_Buffer: Wrong values just streaming. start == end == 0", log::kError));
    EXPECT_EQ(Get_Pending_Buffer(h, nullptr), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(pending(h), 0u);
    EXPECT_EQ(std::count(b.image.begin(), b.image.end(), 0xAB), 64);
    EXPECT_EQ(Set_Image_Buffer(h, e, 0, 5, 5, 0, b.image.data(), 64, &b.statusWord), ZEVO_NOERROR);
    EXPECT_EQ(pending(h), 1u);
}

TEST_F(ImageArgumentsTest, BlockingCallerEventIsResetWithoutWaiting) {
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& b = buffer(64);
    b.event = platform::Event::create(false, true);
    ASSERT_EQ(queue(h, b), ZEVO_NOERROR);  // an unset blocking eventfd: a plain read would hang here
    b.event->set();
    ASSERT_EQ(queue(h, b), ZEVO_NOERROR);  // and a set one is drained
    EXPECT_FALSE(b.event->isSet());
    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    EXPECT_TRUE(b.event->isSet());
}

TEST_F(ImageArgumentsTest, ImageParametersOfEveryWrongLengthAreRefusedStreamingFirst) {
    TQ4_HANDLE& h = openRecording();
    const uint32_t params[8] = {1296, 1032, 0, 0};
    for (int32_t length : {-16, -1, 0, 1, 4, 8, 12, 15, 17, 20, 32}) {
        clearLines();
        EXPECT_EQ(Set_Image_Parameters(h, params, length), ZEVO_ERROR_DRIVER_WRONGSIZE) << length;
        EXPECT_TRUE(logged("Set_Image_Parameters: wrong size", log::kError)) << length;
    }
    CallerBuffer& b = buffer(64);
    ASSERT_EQ(queue(h, b), ZEVO_NOERROR);
    for (int32_t length : {12, 16}) {
        EXPECT_EQ(Set_Image_Parameters(h, params, length), ZEVO_ERROR_DRIVER_STREAMING) << length;
        EXPECT_TRUE(logged("Set_Image_Parameters: failed, because camera is streaming.", log::kError));
    }
    EXPECT_EQ(b.status(), ZEVO_BUFFER_QUEUED);
}

// 12 bits of data in 16-bit pixels: LSB-aligned data stays below 4096, MSB alignment moves
// it up by four bits, and data that the camera already delivers at the top stays as it is.
struct AlignmentCase {
    const char* format;
    int alignment;
    bool expectTopAligned;
};

void PrintTo(const AlignmentCase& c, std::ostream* out) { *out << c.format << ", alignment " << c.alignment; }

class AlignmentTest : public World, public ::testing::WithParamInterface<AlignmentCase> {};

TEST_P(AlignmentTest, TwelveBitPixelsLandAsTheAlignmentSays) {
    const AlignmentCase c = GetParam();
    configure(std::string("unlimited_frame_rate = 1\npixel_formats = ") + c.format + "\n");
    TQ4_HANDLE& h = openRecording();
    ASSERT_EQ(command(h, SET_BIT_ALIGNMENT, c.alignment), ZEVO_NOERROR);
    CallerBuffer& b = buffer(2 * kFullFrame8);
    ASSERT_EQ(queue(h, b), ZEVO_NOERROR);
    ASSERT_TRUE(b.waitDone());
    ASSERT_EQ(b.status(), ZEVO_BUFFER_DONE);
    uint16_t used = 0;  // every bit that some pixel has set
    for (std::size_t i = 16; i < kFullFrame8; ++i) used |= b.pixel16(i);
    // Shifted once: the low four bits unused, the top ones used; shifted twice, the low eight.
    EXPECT_EQ(used & 0xF, c.expectTopAligned ? 0 : 0xF) << std::hex << used;
    EXPECT_EQ(used >> 12, c.expectTopAligned ? 0xF : 0) << std::hex << used;
    EXPECT_NE(used & 0xF0, 0) << std::hex << used;
}

INSTANTIATE_TEST_SUITE_P(Formats, AlignmentTest,
                         ::testing::Values(AlignmentCase{"Mono12", 0, true}, AlignmentCase{"Mono12", 1, false},
                                           AlignmentCase{"Mono12msb", 0, true}, AlignmentCase{"Mono12msb", 1, true}));

// The driver's own stamps (the camera offers no ZEVOTimestamp), and the binary stamp of a camera
// that stamps its images itself in the same format, decoded back from the image.
struct StampCase {
    const char* format;
    int mode;
    bool cameraStamps = false;
    unsigned significantBits = 0;  // 0: all bits of the pixel
};

void PrintTo(const StampCase& c, std::ostream* out) {
    *out << c.format << ", mode " << c.mode << (c.cameraStamps ? ", the camera's stamp" : "");
}

class TimestampTest : public World, public ::testing::WithParamInterface<StampCase> {};

TEST_P(TimestampTest, StampsReadBackFromTheImage) {
    const StampCase c = GetParam();
    configure(std::string("unlimited_frame_rate = 1\n") + (c.cameraStamps ? "" : "remove_features = ZEVOTimestamp\n") +
              "pixel_formats = " + c.format + "\n");
    TQ4_HANDLE& h = openRecording();
    ASSERT_EQ(command(h, SET_TIMESTAMP_MODE, c.mode), ZEVO_NOERROR);
    const unsigned bytesPerPixel = std::string(c.format) == "Mono8" ? 1 : 2;
    std::vector<CallerBuffer*> buffers;
    for (int i = 0; i < 2; ++i) buffers.push_back(&buffer(bytesPerPixel * kFullFrame8, 0));
    for (CallerBuffer* b : buffers) ASSERT_EQ(queue(h, *b), ZEVO_NOERROR);
    for (CallerBuffer* b : buffers) ASSERT_TRUE(b->waitDone());
    const platform::LocalTime now = platform::localTime();

    const stream::StampPixels pixels{bytesPerPixel, c.significantBits ? c.significantBits : bytesPerPixel * 8};
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
                                           StampCase{"Mono16", 1}, StampCase{"Mono16", 2}, StampCase{"Mono16", 3},
                                           StampCase{"Mono8", 1, true}, StampCase{"Mono12", 1, true, 12}));

}  // namespace
}  // namespace tq4::test
