// Producer faults while streaming and while buffers are freed: every caller buffer still ends
// with a status word and a set event, and the recovery says what it did.
#include <algorithm>
#include <string>
#include <vector>

#include "config/Config.h"
#include "support/StreamWorld.h"

namespace tq4::test {
namespace {

constexpr uint32_t kFrameBytes = 1296 * 1032;  // Mono8
constexpr const char* kFastMono8 = "unlimited_frame_rate = 1\npixel_formats = Mono8\n";

class StreamFaultsTest : public StreamWorld {
protected:
    // Streams into `count` fresh buffers (queued at once) and waits for each to end.
    std::vector<CallerBuffer*> streamInto(TQ4_HANDLE h, int count) {
        std::vector<CallerBuffer*> buffers;
        for (int i = 0; i < count; ++i) {
            buffers.push_back(&buffer(kFrameBytes));
            EXPECT_EQ(queue(h, *buffers.back()), ZEVO_NOERROR);
        }
        for (CallerBuffer* b : buffers) EXPECT_TRUE(b->waitDone()) << dump();
        return buffers;
    }
    static std::vector<uint32_t> statuses(const std::vector<CallerBuffer*>& buffers) {
        std::vector<uint32_t> out;
        for (const CallerBuffer* b : buffers) out.push_back(b->status());
        return out;
    }
    static bool allZero(const CallerBuffer& b) {
        return std::all_of(b.image.begin(), b.image.end(), [](uint8_t v) { return v == 0; });
    }
};

using Statuses = std::vector<uint32_t>;

TEST_F(StreamFaultsTest, TimedOutWaitIsRepeatedForTheSameBuffer) {
    configure(std::string(kFastMono8) + "fault.EventGetData = -1011, 1, 1\n");
    TQ4_HANDLE& h = openRecording();
    EXPECT_EQ(statuses(streamInto(h, 3)), Statuses(3, ZEVO_BUFFER_DONE));
    EXPECT_TRUE(logged("DataStream::ImageAcquireThread: Timeout @1 (EventGetData: 10000ms)", log::kProgress)) << dump();
}

TEST_F(StreamFaultsTest, FailedWaitFailsOneZeroedBufferAndStreamingGoesOn) {
    configure(std::string(kFastMono8) + "fault.EventGetData = -1010, 1, 1\n");
    TQ4_HANDLE& h = openRecording();
    const auto buffers = streamInto(h, 3);
    EXPECT_EQ(statuses(buffers), (Statuses{ZEVO_BUFFER_DONE, ZEVO_BUFFER_FAILED, ZEVO_BUFFER_DONE}));
    EXPECT_TRUE(allZero(*buffers[1]));
    EXPECT_TRUE(logged("DataStream::ImageAcquireThread: EventGetData @1 failed: -1010", log::kError));
}

// The producer marks an image incomplete (here: larger than its buffer). It is done unless
// [CONFIG] FailIncompleteImages, read when streaming starts, asks for it to fail.
TEST_F(StreamFaultsTest, IncompleteImageIsDoneUnlessTheConfigurationFailsIt) {
    configure(std::string(kFastMono8) + "payload_size = 1000\n");
    TQ4_HANDLE& h = openRecording();
    EXPECT_EQ(statuses(streamInto(h, 1)), Statuses{ZEVO_BUFFER_DONE});
    config::writeIniValue(iniFile().string(), "CONFIG", "FailIncompleteImages", "1");
    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    EXPECT_EQ(statuses(streamInto(h, 1)), Statuses{ZEVO_BUFFER_FAILED});
}

TEST_F(StreamFaultsTest, MissingBasePointerEndsTheThreadAndCancelsEveryBuffer) {
    configure(std::string(kFastMono8) + "fault.BUFFER_INFO_BASE = 0, 1, 1\n");
    TQ4_HANDLE& h = openRecording();
    EXPECT_EQ(statuses(streamInto(h, 3)), (Statuses{ZEVO_BUFFER_DONE, ZEVO_BUFFER_CANCELLED, ZEVO_BUFFER_CANCELLED}));
    EXPECT_TRUE(logged("DataStream::ImageAcquireThread: Get image base pointer failed: 0", log::kError));
    EXPECT_TRUE(logged("DataStream::ImageAcquireThread: Terminating @2, ?2, X1", log::kProgress)) << dump();

    // Until the caller cancels, a new buffer finds no stream; afterwards streaming starts anew.
    CallerBuffer& late = buffer(kFrameBytes);
    EXPECT_EQ(queue(h, late), ZEVO_NOERROR);
    EXPECT_TRUE(logged("Device::setImageBuffer: DataStream is not running.", log::kError));
    EXPECT_EQ(late.status(), ZEVO_BUFFER_QUEUED);
    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    EXPECT_EQ(statuses(streamInto(h, 2)), Statuses(2, ZEVO_BUFFER_DONE));
}

TEST_F(StreamFaultsTest, RefusedRequeueLosesOnlyThatProducerBuffer) {
    // Calls 1 and 2 queue the first buffers, call 3 gives the first image's buffer back.
    configure(std::string(kFastMono8) + "fault.DSQueueBuffer = -1001, 1, 2\n");
    TQ4_HANDLE& h = openRecording();
    EXPECT_EQ(statuses(streamInto(h, 2)), Statuses(2, ZEVO_BUFFER_DONE));
    EXPECT_TRUE(logged("DataStream::ImageAcquireThread: DSQueueBuffer @1 failed: -1001", log::kError));
    EXPECT_EQ(statuses(streamInto(h, 4)), Statuses(4, ZEVO_BUFFER_DONE));
}

TEST_F(StreamFaultsTest, RefusedFirstQueueIsReportedAndTheBufferStillEnds) {
    configure(std::string(kFastMono8) + "fault.DSQueueBuffer = -1001, 1\n");
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& first = buffer(kFrameBytes);
    EXPECT_EQ(queue(h, first), 0x360000u);
    EXPECT_TRUE(
        logged("DataStream::queueRemainingInitBuffers: Buffer 0 failed on DSQueueBuffer failed: -1001", log::kError));
    EXPECT_EQ(pending(h), 1u);
    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    EXPECT_TRUE(first.event->isSet());
    EXPECT_EQ(first.status(), ZEVO_BUFFER_CANCELLED);
}

TEST_F(StreamFaultsTest, RefusedAnnouncementsLeaveFewerBuffersThatStillStream) {
    configure(std::string(kFastMono8) + "fault.DSAnnounceBuffer = -1001, 2\n");
    TQ4_HANDLE& h = openRecording();
    EXPECT_TRUE(
        logged("DataStream::setImageSizes: 0th Buffer (hBUF: 0x0) of 25 failed on DSAllocAndAnnounceBuffer "
               "failed: -1001",
               log::kError))
        << dump();
    EXPECT_TRUE(logged("DataStream::setImageSizes: 25 buffers allocated and 23 buffers announced to GenTL Producer.",
                       log::kProgress));
    EXPECT_EQ(statuses(streamInto(h, 30)), Statuses(30, ZEVO_BUFFER_DONE));
}

// Counts answered with another type than GenTL gives them are logged and still used: the
// buffers announced are all revoked.
TEST_F(StreamFaultsTest, BufferCountsOfAnotherTypeAreStillCounted) {
    configure(std::string(kFastMono8) + "buffer_count_type = 7\n");  // INFO_DATATYPE_INT64
    TQ4_HANDLE& h = open();
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
    clearLines();
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);  // announces anew: the old buffers go
    EXPECT_TRUE(logged("DataStream::freeGCBuffers: Buffer in Queue. Announced: 25, Input: 0, Output: 0, Started: 0",
                       log::kImageTrace))
        << dump();
    EXPECT_TRUE(logged("DataStream::freeGCBuffers: Revoked buffers: 25", log::kImageTrace));
    EXPECT_EQ(count("DataStream::numAnnouncedBuffers: GC failed: 0"), 26);  // once, then after each revoke
}

TEST_F(StreamFaultsTest, BufferRefusedOnceIsFreedByTheRecovery) {
    configure(std::string(kFastMono8) + "fault.DSRevokeBuffer = -1022, 1\n");
    TQ4_HANDLE& h = openRecording();
    EXPECT_EQ(statuses(streamInto(h, 2)), Statuses(2, ZEVO_BUFFER_DONE));
    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 0), ZEVO_NOERROR);
    clearLines();
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);  // announces anew: the old buffers go
    const auto recovery = messagesStartingWith("DataStream::freeGCBuffers: ");
    const std::vector<std::string> expected = {
        "DataStream::freeGCBuffers: Buffer in Queue. Announced: 25, Input: 0, Output: 0, Started: ",
        "DataStream::freeGCBuffers: Revoke buffer (hBUF: 0x",
        "DataStream::freeGCBuffers: DSStartAcquisition again: Default. gc_error: 0",
        "DataStream::freeGCBuffers: DSStopAcquisition again: Kill. gc_error: 0",
        "DataStream::freeGCBuffers: Flush queue again: discard all. gc_error: 0",
        "DataStream::freeGCBuffers: Resolved busy state buffer (hBUF: 0x",
        "DataStream::freeGCBuffers: Revoked buffers: 25"};
    ASSERT_EQ(recovery.size(), expected.size()) << dump();
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(recovery[i].compare(0, expected[i].size(), expected[i]), 0) << recovery[i];
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR);
    EXPECT_EQ(statuses(streamInto(h, 2)), Statuses(2, ZEVO_BUFFER_DONE));
}

TEST_F(StreamFaultsTest, BufferRefusedAlwaysStaysAnnouncedAndStreamingGoesOnWithNewOnes) {
    configure(std::string(kFastMono8) + "fault.DSRevokeBuffer = -1022\n");
    TQ4_HANDLE& h = openRecording();
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 0), ZEVO_NOERROR);
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
    EXPECT_EQ(count("DataStream::freeGCBuffers: Revoke buffer (hBUF: 0x"), 50) << "every buffer, twice";
    EXPECT_EQ(count(") failed AGAIN: -1022"), 25);
    EXPECT_TRUE(logged("DataStream::freeGCBuffers: Revoked buffers: 0", log::kImageTrace));
    EXPECT_TRUE(logged("DataStream::freeGCBuffers: Cannot not revoke 25 Buffers!", log::kError));
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR);
    EXPECT_EQ(statuses(streamInto(h, 3)), Statuses(3, ZEVO_BUFFER_DONE));
}

}  // namespace
}  // namespace tq4::test
