// Injected faults: each shows up exactly where it is configured. The other knobs are shown through
// the driver (tests/gentl, tests/driver, tests/camera, tests/telegram and the fault matrix).
#include "tests/sim/ProducerClient.h"

namespace zevo::test {
namespace {

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

TEST(SimFaults, StreamFaultsHitTheConfiguredCalls) {
    Session s(
        "unlimited_frame_rate = 1\nfault.DSRevokeBuffer = -1022, 2\nfault.EventGetData = -1011, 1, 2\n"
        "fault.BUFFER_INFO_BASE = 0, 1, 1\nfault.DSQueueBuffer = -1010, 1, 3\n");
    BUFFER_HANDLE b = nullptr;
    ASSERT_EQ(s.gc.DSAllocAndAnnounceBuffer(s.ds, s.streamInfo<size_t>(STREAM_INFO_PAYLOAD_SIZE), nullptr, &b),
              GC_ERR_SUCCESS);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, b, nullptr, nullptr), GC_ERR_BUSY);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, b, nullptr, nullptr), GC_ERR_BUSY);
    EXPECT_EQ(s.gc.DSRevokeBuffer(s.ds, b, nullptr, nullptr), GC_ERR_SUCCESS);

    ASSERT_EQ(s.gc.DSAllocAndAnnounceBuffer(s.ds, s.streamInfo<size_t>(STREAM_INFO_PAYLOAD_SIZE), nullptr, &b),
              GC_ERR_SUCCESS);
    EVENT_HANDLE event = nullptr;
    ASSERT_EQ(s.gc.GCRegisterEvent(s.ds, EVENT_NEW_BUFFER, &event), GC_ERR_SUCCESS);
    ASSERT_EQ(s.gc.DSStartAcquisition(s.ds, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_SUCCESS);
    ASSERT_EQ(s.execute(reg::kAcquisitionStart), GC_ERR_SUCCESS);
    std::vector<GC_ERROR> waits, queues;
    std::vector<bool> baseIsNull;
    for (int i = 0; i < 4; ++i) {
        queues.push_back(s.gc.DSQueueBuffer(s.ds, b));
        EVENT_NEW_BUFFER_DATA data{};
        size_t size = sizeof(data);
        waits.push_back(s.gc.EventGetData(event, &data, &size, 3000));
        if (waits.back() == GC_ERR_SUCCESS) baseIsNull.push_back(s.bufferInfo<void*>(b, BUFFER_INFO_BASE) == nullptr);
    }
    // The injected time-out leaves the filled buffer queued: the fourth wait gets it although
    // the fourth queueing failed.
    EXPECT_EQ(queues, (std::vector<GC_ERROR>{GC_ERR_SUCCESS, GC_ERR_SUCCESS, GC_ERR_SUCCESS, GC_ERR_IO}));
    EXPECT_EQ(waits, (std::vector<GC_ERROR>{GC_ERR_SUCCESS, GC_ERR_SUCCESS, GC_ERR_TIMEOUT, GC_ERR_SUCCESS}));
    EXPECT_EQ(baseIsNull, (std::vector<bool>{false, true, false}));
}

}  // namespace
}  // namespace zevo::test
