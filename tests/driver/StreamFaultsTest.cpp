// Producer faults while streaming and while buffers are freed: every caller buffer still ends
// with a status word and a set event, and the recovery says what it did.

#include "config/Config.h"
#include "support/World.h"

namespace tq4::test {
namespace {

constexpr uint32_t kFrameBytes = 1296 * 1032;  // Mono8
constexpr const char* kFastMono8 = "unlimited_frame_rate = 1\npixel_formats = Mono8\n";
using Statuses = std::vector<uint32_t>;
constexpr uint32_t kDone = ZEVO_BUFFER_DONE;

class StreamFaultsTest : public World {
protected:
    TQ4_HANDLE& openWithFault(const std::string& fault) {
        configure(kFastMono8 + fault + "\n");
        return openRecording();
    }
    // Streams into `count` fresh buffers (queued at once), waits for each to end, and returns
    // their status words.
    Statuses streamInto(TQ4_HANDLE h, int count, std::vector<CallerBuffer*>* kept = nullptr) {
        Statuses statuses;
        std::vector<CallerBuffer*> buffers;
        for (int i = 0; i < count; ++i) {
            buffers.push_back(&buffer(kFrameBytes));
            EXPECT_EQ(queue(h, *buffers.back()), ZEVO_NOERROR);
        }
        for (CallerBuffer* b : buffers) {
            EXPECT_TRUE(b->waitDone()) << dump();
            statuses.push_back(b->status());
        }
        if (kept) *kept = buffers;
        return statuses;
    }
    uint64_t announced(TQ4_HANDLE h) { return stream(h)->numAnnouncedBuffers(); }
};

// A fault of one call of the acquisition thread costs that call's buffer at most.
TEST_F(StreamFaultsTest, FaultsOfOneCallEndTheirBufferAndStreamingGoesOn) {
    // The fault; the buffers streamed into while it strikes, and afterwards; the line it logs.
    // clang-format off
    const struct {
        const char* fault;
        Statuses first, second;
        const char* line;
        uint32_t cls;
    } cases[] = {
        {"fault.EventGetData = -1011, 1, 1", {kDone, kDone, kDone}, {kDone},
         "DataStream::ImageAcquireThread: Timeout @1 (EventGetData: 10000ms)", log::kProgress},
        {"fault.EventGetData = -1010, 1, 1", {kDone, ZEVO_BUFFER_FAILED, kDone}, {kDone},
         "DataStream::ImageAcquireThread: EventGetData @1 failed: -1010", log::kError},
        // Calls 1 and 2 queue the first buffers, call 3 gives the first image's buffer back.
        {"fault.DSQueueBuffer = -1001, 1, 2", {kDone, kDone}, {kDone, kDone, kDone, kDone},
         "DataStream::ImageAcquireThread: DSQueueBuffer @1 failed: -1001", log::kError},
        // Without a base pointer the thread ends: until the caller cancels, a new buffer finds
        // no stream; afterwards streaming starts anew.
        {"fault.BUFFER_INFO_BASE = 0, 1, 1", {kDone, ZEVO_BUFFER_CANCELLED, ZEVO_BUFFER_CANCELLED}, {kDone, kDone},
         "DataStream::ImageAcquireThread: Terminating @2, ?2, X1", log::kProgress},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        TQ4_HANDLE& h = openWithFault(c.fault);
        std::vector<CallerBuffer*> buffers;
        EXPECT_EQ(streamInto(h, int(c.first.size()), &buffers), c.first);
        EXPECT_TRUE(logged(c.line, c.cls)) << dump();
        for (const CallerBuffer* b : buffers)
            if (b->status() == ZEVO_BUFFER_FAILED) {
                EXPECT_TRUE(std::all_of(b->image.begin(), b->image.end(), [](uint8_t v) { return v == 0; }));
            }
        if (c.first.back() == ZEVO_BUFFER_CANCELLED) {
            CallerBuffer& late = buffer(kFrameBytes);
            EXPECT_EQ(queue(h, late), ZEVO_NOERROR);
            EXPECT_TRUE(logged("Device::setImageBuffer: DataStream is not running.", log::kError));
            EXPECT_EQ(late.status(), ZEVO_BUFFER_QUEUED);
            EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
        }
        EXPECT_EQ(streamInto(h, int(c.second.size())), c.second);
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
        clearLines();
    }
}

// The producer marks an image incomplete (here: larger than its buffer). It is done unless
// [CONFIG] FailIncompleteImages, read when streaming starts, asks for it to fail.
TEST_F(StreamFaultsTest, IncompleteImageIsDoneUnlessTheConfigurationFailsIt) {
    TQ4_HANDLE& h = openWithFault("payload_size = 1000");
    EXPECT_EQ(streamInto(h, 1), Statuses{kDone});
    config::writeIniValue(iniFile().string(), "CONFIG", "FailIncompleteImages", "1");
    EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
    EXPECT_EQ(streamInto(h, 1), Statuses{ZEVO_BUFFER_FAILED});
}

TEST_F(StreamFaultsTest, RefusedFirstQueueIsReportedAndTheBufferStillEnds) {
    TQ4_HANDLE& h = openWithFault("fault.DSQueueBuffer = -1001, 1");
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
    TQ4_HANDLE& h = openWithFault("fault.DSAnnounceBuffer = -1001, 2");
    EXPECT_TRUE(
        logged("DataStream::setImageSizes: 0th Buffer (hBUF: 0x0) of 25 failed on DSAllocAndAnnounceBuffer "
               "failed: -1001",
               log::kError))
        << dump();
    EXPECT_EQ(announced(h), 23u);
    EXPECT_EQ(streamInto(h, 30), Statuses(30, kDone));
}

// Counts answered with another type than GenTL gives them are logged and still used: the
// buffers announced are all revoked before the new ones come.
TEST_F(StreamFaultsTest, BufferCountsOfAnotherTypeAreStillCounted) {
    TQ4_HANDLE& h = openWithFault("buffer_count_type = 7");  // INFO_DATATYPE_INT64
    ASSERT_EQ(command(h, SET_RECORDING_STATE, 0), ZEVO_NOERROR);
    ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);  // announces anew: the old buffers go
    EXPECT_GT(count("DataStream::numAnnouncedBuffers: GC failed: 0"), 0);
    EXPECT_TRUE(logged("DataStream::freeGCBuffers: Revoked buffers: 25", log::kImageTrace)) << dump();
    EXPECT_EQ(announced(h), 25u);
}

// A buffer the producer refuses to revoke once is freed by the recovery (start, kill, flush,
// revoke again); one it always refuses stays announced with its memory. Streaming goes on.
TEST_F(StreamFaultsTest, BuffersRefusedOnRevokeAreRecoveredOrLeftAnnounced) {
    for (const bool always : {false, true}) {
        TQ4_HANDLE& h = openWithFault(always ? "fault.DSRevokeBuffer = -1022" : "fault.DSRevokeBuffer = -1022, 1");
        EXPECT_EQ(streamInto(h, 2), Statuses(2, kDone));
        EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
        ASSERT_EQ(command(h, SET_RECORDING_STATE, 0), ZEVO_NOERROR);
        clearLines();
        ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);  // announces anew: the old buffers go
        std::string recovery;
        for (const std::string& line : messagesStartingWith("DataStream::freeGCBuffers: "))
            recovery += line.substr(27, line.find_first_of("(:", 27) - 27) + "|";
        if (!always) {
            EXPECT_EQ(recovery,
                      "Buffer in Queue. Announced|Revoke buffer |DSStartAcquisition again|"
                      "DSStopAcquisition again|Flush queue again|Resolved busy state buffer |Revoked buffers|")
                << dump();
        }
        EXPECT_EQ(count(" again: Default. gc_error: 0") + count(" again: Kill. gc_error: 0") +
                      count(" again: discard all. gc_error: 0"),
                  always ? 75 : 3);
        EXPECT_EQ(count(") failed AGAIN: -1022"), always ? 25 : 0);
        EXPECT_EQ(logged("DataStream::freeGCBuffers: Cannot not revoke 25 Buffers!", log::kError), always);
        EXPECT_EQ(announced(h), always ? 50u : 25u);
        ASSERT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR);
        EXPECT_EQ(streamInto(h, 3), Statuses(3, kDone));
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    }
}

}  // namespace
}  // namespace tq4::test
