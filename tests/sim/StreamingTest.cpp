// Buffers, events and acquisition of the simulated camera: order and content of the frames,
// the buffer life cycle with every flush operation, triggers, the end of waits, and faults of
// the library's start.
#include "tests/sim/ProducerClient.h"

#include <chrono>
#include <future>

namespace zevo::test {
namespace {

constexpr int64_t Mono16 = 0x01100007;

// Announced, queued buffers and the registered new-buffer event of a session's stream.
struct Acquisition {
    Session& s;
    std::vector<BUFFER_HANDLE> buffers;
    EVENT_HANDLE event = nullptr;

    Acquisition(Session& session, size_t count, size_t size = 0) : s(session) {
        if (size == 0) size = s.streamInfo<size_t>(STREAM_INFO_PAYLOAD_SIZE);
        for (size_t i = 0; i < count; ++i) {
            BUFFER_HANDLE b = nullptr;
            EXPECT_EQ(s.gc.DSAllocAndAnnounceBuffer(s.ds, size, reinterpret_cast<void*>(i + 1), &b), GC_ERR_SUCCESS);
            EXPECT_EQ(s.gc.DSQueueBuffer(s.ds, b), GC_ERR_SUCCESS);
            buffers.push_back(b);
        }
        EXPECT_EQ(s.gc.GCRegisterEvent(s.ds, EVENT_NEW_BUFFER, &event), GC_ERR_SUCCESS);
    }

    void start(uint64_t count = GENTL_INFINITE) {
        ASSERT_EQ(s.gc.DSStartAcquisition(s.ds, ACQ_START_FLAGS_DEFAULT, count), GC_ERR_SUCCESS);
        ASSERT_EQ(s.execute(reg::kAcquisitionStart), GC_ERR_SUCCESS);
    }

    // The next delivered buffer, or null with the GenTL code in `rc`.
    BUFFER_HANDLE next(uint64_t timeoutMs, GC_ERROR* rc = nullptr, void** user = nullptr) {
        EVENT_NEW_BUFFER_DATA data{};
        size_t size = sizeof(data);
        const GC_ERROR r = s.gc.EventGetData(event, &data, &size, timeoutMs);
        if (rc) *rc = r;
        if (user) *user = data.pUserPointer;
        return r == GC_ERR_SUCCESS ? data.BufferHandle : nullptr;
    }
};

TEST(SimStreaming, ThousandFramesArriveOnceInOrderWithRightSizeAndRisingTimestamps) {
    Session s("unlimited_frame_rate = 1\n");
    ASSERT_EQ(s.write(reg::kPixelFormat, Mono16), GC_ERR_SUCCESS);
    const size_t payload = s.streamInfo<size_t>(STREAM_INFO_PAYLOAD_SIZE);
    EXPECT_EQ(payload, size_t(1296) * 1032 * 2);
    Acquisition a(s, 8);
    a.start();
    uint64_t lastId = 0, lastStamp = 0;
    for (int i = 0; i < 1000; ++i) {
        void* user = nullptr;
        GC_ERROR rc = 0;
        const BUFFER_HANDLE b = a.next(5000, &rc, &user);
        ASSERT_EQ(rc, GC_ERR_SUCCESS) << "frame " << i;
        const uint64_t id = s.bufferInfo<uint64_t>(b, BUFFER_INFO_FRAMEID);
        const uint64_t stamp = s.bufferInfo<uint64_t>(b, BUFFER_INFO_TIMESTAMP_NS);
        ASSERT_EQ(id, lastId + 1);
        ASSERT_GT(stamp, lastStamp);
        ASSERT_EQ(s.bufferInfo<size_t>(b, BUFFER_INFO_SIZE_FILLED), payload);
        ASSERT_EQ(s.bufferInfo<size_t>(b, BUFFER_INFO_WIDTH), 1296u);
        ASSERT_EQ(s.bufferInfo<size_t>(b, BUFFER_INFO_HEIGHT), 1032u);
        ASSERT_EQ(s.bufferInfo<uint64_t>(b, BUFFER_INFO_PIXELFORMAT), uint64_t(Mono16));
        ASSERT_EQ(user, s.bufferInfo<void*>(b, BUFFER_INFO_USER_PTR));
        lastId = id;
        lastStamp = stamp;
        ASSERT_EQ(s.gc.DSQueueBuffer(s.ds, b), GC_ERR_SUCCESS);
    }
    EXPECT_EQ(s.streamInfo<uint64_t>(STREAM_INFO_NUM_UNDERRUN), 0u);
    EXPECT_GE(s.streamInfo<uint64_t>(STREAM_INFO_NUM_DELIVERED), 1000u);
    EXPECT_EQ(s.gc.DSStopAcquisition(s.ds, ACQ_STOP_FLAGS_KILL), GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.DSStopAcquisition(s.ds, ACQ_STOP_FLAGS_KILL), GC_ERR_RESOURCE_IN_USE);
}

TEST(SimStreaming, EventKillEndsAWaitWithAbortAndLosesNoBuffer) {
    Session s;
    Acquisition a(s, 2);
    auto waiter = std::async(std::launch::async, [&] {
        GC_ERROR rc = 0;
        a.next(GENTL_INFINITE, &rc);
        return rc;
    });
    EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    ASSERT_EQ(s.gc.EventKill(a.event), GC_ERR_SUCCESS);
    EXPECT_EQ(waiter.get(), GC_ERR_ABORT);

    GC_ERROR rc = 0;
    EXPECT_EQ(a.next(0, &rc), nullptr);
    EXPECT_EQ(rc, GC_ERR_TIMEOUT);
    // A kill without a waiter ends the next wait, even when data is queued.
    ASSERT_EQ(s.gc.DSFlushQueue(s.ds, ACQ_QUEUE_INPUT_TO_OUTPUT), GC_ERR_SUCCESS);
    ASSERT_EQ(s.gc.EventKill(a.event), GC_ERR_SUCCESS);
    a.next(1000, &rc);
    EXPECT_EQ(rc, GC_ERR_ABORT);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_AWAIT_DELIVERY), 2u);
    const BUFFER_HANDLE b = a.next(0, &rc);
    ASSERT_EQ(rc, GC_ERR_SUCCESS);
    EXPECT_EQ(s.bufferInfo<uint8_t>(b, BUFFER_INFO_NEW_DATA), 0);
    ASSERT_NE(a.next(0, &rc), nullptr);  // the second buffer; the queue is empty now
    // Unregistering ends waits too.
    auto second = std::async(std::launch::async, [&] {
        GC_ERROR r = 0;
        a.next(GENTL_INFINITE, &r);
        return r;
    });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    ASSERT_EQ(s.gc.GCUnregisterEvent(s.ds, EVENT_NEW_BUFFER), GC_ERR_SUCCESS);
    EXPECT_EQ(second.get(), GC_ERR_ABORT);
    EXPECT_EQ(s.gc.EventKill(a.event), GC_ERR_INVALID_HANDLE);
}

TEST(SimStreaming, RevokeIsRefusedWhileQueuedAndEveryFlushMovesTheRightBuffers) {
    Session s;
    Acquisition a(s, 3, 4096);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_ANNOUNCED), 3u);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_QUEUED), 3u);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, a.buffers[0], nullptr, nullptr), GC_ERR_BUSY);
    EXPECT_EQ(s.gc.DSQueueBuffer(s.ds, a.buffers[0]), GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(s.bufferInfo<uint8_t>(a.buffers[0], BUFFER_INFO_IS_QUEUED), 1);

    ASSERT_EQ(s.gc.DSFlushQueue(s.ds, ACQ_QUEUE_INPUT_TO_OUTPUT), GC_ERR_SUCCESS);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_QUEUED), 0u);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_AWAIT_DELIVERY), 3u);
    ASSERT_EQ(s.gc.DSFlushQueue(s.ds, ACQ_QUEUE_ALL_TO_INPUT), GC_ERR_SUCCESS);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_QUEUED), 3u);
    ASSERT_EQ(s.gc.DSFlushQueue(s.ds, ACQ_QUEUE_INPUT_TO_OUTPUT), GC_ERR_SUCCESS);
    ASSERT_EQ(s.gc.EventFlush(a.event), GC_ERR_SUCCESS);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_AWAIT_DELIVERY), 0u);
    ASSERT_EQ(s.gc.DSFlushQueue(s.ds, ACQ_QUEUE_UNQUEUED_TO_INPUT), GC_ERR_SUCCESS);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_QUEUED), 3u);
    ASSERT_EQ(s.gc.DSFlushQueue(s.ds, ACQ_QUEUE_ALL_DISCARD), GC_ERR_SUCCESS);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_QUEUED), 0u);

    BUFFER_HANDLE second = nullptr;
    ASSERT_EQ(s.gc.DSGetBufferID(s.ds, 1, &second), GC_ERR_SUCCESS);
    EXPECT_EQ(second, a.buffers[1]);
    void *memory = &s, *user = nullptr;
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, a.buffers[1], &memory, &user), GC_ERR_SUCCESS);
    EXPECT_EQ(memory, nullptr);  // allocated by the producer
    EXPECT_EQ(user, reinterpret_cast<void*>(2));
    ASSERT_EQ(s.gc.DSGetBufferID(s.ds, 1, &second), GC_ERR_SUCCESS);
    EXPECT_EQ(second, a.buffers[2]);  // revoking compacts the indices
}

TEST(SimStreaming, SoftwareTriggerGivesOneFrameAndBurstTriggerGivesTheBurst) {
    Session s;
    ASSERT_EQ(s.write(reg::kWidth, 64), GC_ERR_SUCCESS);
    ASSERT_EQ(s.write(reg::kHeight, 32), GC_ERR_SUCCESS);
    ASSERT_EQ(s.write<double>(reg::kExposureTime, 100.0), GC_ERR_SUCCESS);
    ASSERT_EQ(s.write(reg::kAcquisitionFrameRateEnable, 0), GC_ERR_SUCCESS);
    ASSERT_EQ(s.write(reg::kTriggerSelector, 0), GC_ERR_SUCCESS);  // FrameStart
    ASSERT_EQ(s.write(reg::kTriggerMode, 1), GC_ERR_SUCCESS);
    ASSERT_EQ(s.write(reg::kTriggerSource, 0), GC_ERR_SUCCESS);  // Software
    Acquisition a(s, 8);
    a.start();
    GC_ERROR rc = 0;
    EXPECT_EQ(a.next(100, &rc), nullptr);
    EXPECT_EQ(rc, GC_ERR_TIMEOUT);
    ASSERT_EQ(s.execute(reg::kTriggerSoftware), GC_ERR_SUCCESS);
    EXPECT_NE(a.next(2000, &rc), nullptr);
    EXPECT_EQ(a.next(100, &rc), nullptr);

    ASSERT_EQ(s.write(reg::kTriggerMode, 0), GC_ERR_SUCCESS);
    ASSERT_EQ(s.write(reg::kTriggerSelector, 1), GC_ERR_SUCCESS);  // FrameBurstStart
    ASSERT_EQ(s.write(reg::kTriggerMode, 1), GC_ERR_SUCCESS);
    ASSERT_EQ(s.write(reg::kAcquisitionBurstFrameCount, 3), GC_ERR_SUCCESS);
    ASSERT_EQ(s.execute(reg::kTriggerSoftware), GC_ERR_SUCCESS);
    for (int i = 0; i < 3; ++i) EXPECT_NE(a.next(2000, &rc), nullptr) << "burst frame " << i;
    EXPECT_EQ(a.next(100, &rc), nullptr);
    EXPECT_EQ(rc, GC_ERR_TIMEOUT);
}

// ---- injected faults: each shows up where it is configured. The other knobs, the faults of the
// stream's calls among them, are shown through the driver (tests/gentl, tests/driver with its
// stream faults, tests/camera, tests/telegram, the fault matrix) ----

TEST(SimFaults, InitAndOpenFailuresComeFromTheirFunctions) {
    Producer& gc = Producer::get();
    useConfig("fault.GCInitLib = -1001\n");
    EXPECT_EQ(gc.GCInitLib(), GC_ERR_ERROR);
    EXPECT_EQ(gc.GCCloseLib(), GC_ERR_NOT_INITIALIZED);
    useConfig("fault.TLOpen = -1005, 1\n");
    ASSERT_EQ(gc.GCInitLib(), GC_ERR_SUCCESS);
    TL_HANDLE tl = nullptr;
    EXPECT_EQ(gc.TLOpen(&tl), GC_ERR_ACCESS_DENIED);
    EXPECT_EQ(gc.TLOpen(&tl), GC_ERR_SUCCESS);  // only the first call fails
    EXPECT_EQ(gc.GCCloseLib(), GC_ERR_SUCCESS);
    useConfig("no_equals_sign_here\n");
    EXPECT_EQ(gc.GCInitLib(), GC_ERR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace zevo::test
