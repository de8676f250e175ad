// What the image calls do with arguments a caller got wrong: each answer is a code and a log
// line, and nothing is written where it does not belong.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "support/StreamWorld.h"

namespace tq4::test {
namespace {

class ImageArgumentsTest : public StreamWorld {};

TQ4_HANDLE asHandle(intptr_t value) { return reinterpret_cast<TQ4_HANDLE>(value); }

TEST_F(ImageArgumentsTest, EventThatIsNoOpenEventfdIsRefusedAndNeverWritten) {
    configure("frame_limit = 0\n");
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& b = buffer(64);

    intptr_t closed = 0;
    {
        auto gone = platform::Event::create();
        closed = gone->nativeHandle();
    }
    const std::string path = (root_ / "plain.bin").string();
    std::FILE* file = std::fopen(path.c_str(), "w+b");
    ASSERT_NE(file, nullptr);
    const intptr_t regularFile = fileno(file);
    const intptr_t neverOpened = 987654;

    for (intptr_t wrong : {intptr_t(0), closed, regularFile, neverOpened, intptr_t(-1)}) {
        clearLines();
        b.statusWord = 0x12345678;
        EXPECT_EQ(Set_Image_Buffer(h, asHandle(wrong), 0, 0, 0, 0, b.image.data(), 64, &b.statusWord),
                  ZEVO_ERROR_DRIVER_WRONGVALUE)
            << wrong;
        EXPECT_TRUE(logged("Set_Image_Buffer: Wrong Handle for hEvent", log::kError)) << wrong;
        EXPECT_EQ(b.statusWord, 0x12345678u) << wrong;
    }
    std::fflush(file);
    EXPECT_EQ(std::ftell(file), 0);
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
    EXPECT_EQ(Set_Image_Buffer(h, e, 0, 3, 0, 0, b.image.data(), 64, &b.statusWord), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(Get_Image_Queued(h, 10, 0, 0, 0, 0, nullptr, 64), ZEVO_ERROR_DRIVER_NOBUFFER);
    EXPECT_TRUE(logged("Get_Image_Queued: Wrong Handle for buf", log::kError));
    EXPECT_EQ(Get_Pending_Buffer(h, nullptr), ZEVO_ERROR_DRIVER_WRONGVALUE);
    EXPECT_EQ(pending(h), 0u);
    EXPECT_EQ(std::count(b.image.begin(), b.image.end(), 0xAB), 64);
}

TEST_F(ImageArgumentsTest, TinyAndHugeBuffersAreFilledWithinTheirSize) {
    configure("unlimited_frame_rate = 1\npixel_formats = Mono8\n");
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& empty = buffer(16);
    CallerBuffer& one = buffer(16);
    CallerBuffer& huge = buffer(64u << 20);
    ASSERT_EQ(queue(h, empty, 0), ZEVO_NOERROR);
    ASSERT_EQ(queue(h, one, 1), ZEVO_NOERROR);
    ASSERT_EQ(queue(h, huge), ZEVO_NOERROR);
    for (CallerBuffer* b : {&empty, &one, &huge}) {
        ASSERT_TRUE(b->waitDone());
        EXPECT_EQ(b->status(), ZEVO_BUFFER_DONE);
    }
    EXPECT_EQ(std::count(empty.image.begin(), empty.image.end(), 0xAB), 16);
    EXPECT_EQ(std::count(one.image.begin() + 1, one.image.end(), 0xAB), 15);
    EXPECT_EQ(std::count(huge.image.begin() + 1296 * 1032, huge.image.end(), 0), long(huge.image.size() - 1296 * 1032));
}

TEST_F(ImageArgumentsTest, BlockingCallerEventIsResetWithoutWaiting) {
    configure("frame_limit = 0\n");
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
    configure("frame_limit = 0\n");
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

}  // namespace
}  // namespace tq4::test
