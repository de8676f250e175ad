// tq4_aravis.cti through the same GenTL client as the simulated producer's tests, against
// Aravis' fake GigE Vision camera on 127.0.0.1.
#include "aravis/FakeCamera.h"
#include "sim/ProducerClient.h"

#include <array>
#include <cstdlib>
#include <thread>

namespace zevo::test {
namespace {

using tq4::test::FakeCamera;

class AravisProducer : public ::testing::Test {
protected:
    void SetUp() override {
        fake_ = FakeCamera::get();
        for (const char* v : {"TQ4_ARAVIS_PACKET_SOCKET", "TQ4_ARAVIS_PACKET_RESEND"})
            tq4::platform::setEnvironment(v, "");
        tq4::platform::setEnvironment("TQ4_ARAVIS_SOCKET_BUFFER", "8388608");  // as large as the system allows
    }

    // GigE Vision registers are big-endian.
    static uint32_t readRegister(Session& s, uint64_t address) {
        uint8_t b[4] = {};
        size_t n = 4;
        EXPECT_EQ(s.gc.GCReadPort(s.port, address, b, &n), GC_ERR_SUCCESS);
        return uint32_t(b[0]) << 24 | uint32_t(b[1]) << 16 | uint32_t(b[2]) << 8 | b[3];
    }
    static GC_ERROR writeRegister(Session& s, uint64_t address, uint32_t v) {
        uint8_t b[4] = {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
        size_t n = 4;
        return s.gc.GCWritePort(s.port, address, b, &n);
    }

    // Announces four buffers of the payload size in `memory_` (each one's own vector as its user
    // pointer), queues them and starts both the stream and the camera.
    void startStreaming(Session& s) {
        const size_t payload = s.streamInfo<size_t>(STREAM_INFO_PAYLOAD_SIZE);
        EXPECT_EQ(payload, size_t(FakeCamera::kWidth) * FakeCamera::kHeight);
        buffers_.assign(4, nullptr);
        memory_.assign(4, std::vector<uint8_t>(payload));
        for (size_t i = 0; i < buffers_.size(); ++i) {
            EXPECT_EQ(s.gc.DSAnnounceBuffer(s.ds, memory_[i].data(), payload, &memory_[i], &buffers_[i]),
                      GC_ERR_SUCCESS);
            EXPECT_EQ(s.gc.DSQueueBuffer(s.ds, buffers_[i]), GC_ERR_SUCCESS);
        }
        EXPECT_EQ(s.gc.GCRegisterEvent(s.ds, EVENT_NEW_BUFFER, &event_), GC_ERR_SUCCESS);
        EXPECT_EQ(s.gc.DSStartAcquisition(s.ds, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_SUCCESS);
        EXPECT_EQ(writeRegister(s, FakeCamera::kAcquisitionRegister, 1), GC_ERR_SUCCESS);
    }

    static void stopStreaming(Session& s) {
        EXPECT_EQ(writeRegister(s, FakeCamera::kAcquisitionRegister, 0), GC_ERR_SUCCESS);
        EXPECT_EQ(s.gc.DSStopAcquisition(s.ds, ACQ_STOP_FLAGS_DEFAULT), GC_ERR_SUCCESS);
    }

    static GC_ERROR next(Session& s, EVENT_HANDLE event, EVENT_NEW_BUFFER_DATA& data, uint64_t timeoutMs = 2000) {
        size_t size = sizeof(data);
        return s.gc.EventGetData(event, &data, &size, timeoutMs);
    }

    ArvFakeCamera* fake_ = nullptr;
    std::vector<std::vector<uint8_t>> memory_;
    std::vector<BUFFER_HANDLE> buffers_;
    EVENT_HANDLE event_ = nullptr;
};

TEST_F(AravisProducer, TreeInformationAndOwnPorts) {
    Session s("", Session::ToDevice);
    Producer& gc = s.gc;
    EXPECT_EQ(gc.resolved, 64);
    uint32_t count = 0;
    ASSERT_EQ(gc.TLGetNumInterfaces(s.tl, &count), GC_ERR_SUCCESS);
    ASSERT_EQ(count, 2u);
    const std::pair<const char*, const char*> interfaces[] = {{"GigEVision", "GEV"}, {"USB3Vision", "U3V"}};
    for (uint32_t i = 0; i < 2; ++i) {
        const std::string id = Session::text([&](char* b, size_t* n) { return gc.TLGetInterfaceID(s.tl, i, b, n); });
        EXPECT_EQ(id, interfaces[i].first);
        const std::string type = Session::text([&](char* b, size_t* n) {
            INFO_DATATYPE t;
            return gc.TLGetInterfaceInfo(s.tl, id.c_str(), INTERFACE_INFO_TLTYPE, &t, b, n);
        });
        EXPECT_EQ(type, interfaces[i].second);
    }
    // No USB3 Vision camera here: the interface lists none, without an error.
    IF_HANDLE usb = nullptr;
    ASSERT_EQ(gc.TLOpenInterface(s.tl, "USB3Vision", &usb), GC_ERR_SUCCESS);
    EXPECT_EQ(gc.IFUpdateDeviceList(usb, nullptr, 500), GC_ERR_SUCCESS);
    EXPECT_EQ(Session::info<uint32_t>([&](INFO_DATATYPE*, uint32_t* v, size_t*) { return gc.IFGetNumDevices(usb, v); }),
              0u);

    EXPECT_EQ(s.deviceId, FakeCamera::kDeviceId);
    EXPECT_EQ(s.deviceText(DEVICE_INFO_VENDOR), "Aravis");
    EXPECT_EQ(s.deviceText(DEVICE_INFO_MODEL), "Fake");
    EXPECT_EQ(s.deviceText(DEVICE_INFO_SERIAL_NUMBER), "GV01");
    EXPECT_EQ(s.deviceText(DEVICE_INFO_TLTYPE), "GEV");
    EXPECT_EQ(Session::info<int32_t>([&](INFO_DATATYPE* t, int32_t* v, size_t* n) {
                  return gc.DevGetInfo(s.dev, DEVICE_INFO_ACCESS_STATUS, t, v, n);
              }),
              DEVICE_ACCESS_STATUS_OPEN_READWRITE);
    IF_HANDLE parent = nullptr;
    EXPECT_EQ(gc.DevGetParentIF(s.dev, &parent), GC_ERR_SUCCESS);
    EXPECT_EQ(parent, s.iface);

    // Each module's own port holds its small description, as its URL text and URL information say.
    for (void* module : {s.tl, s.iface, s.dev}) {
        const std::string url = Session::text([&](char* b, size_t* n) { return gc.GCGetPortURL(module, b, n); });
        const std::string xml = s.portFile(module);
        EXPECT_EQ(std::strtoull(url.substr(url.rfind(';') + 1).c_str(), nullptr, 16), xml.size()) << url;
        EXPECT_EQ(xml.rfind("<?xml", 0), 0u) << url;
    }
}

TEST_F(AravisProducer, RemotePortReadsTheCamerasRegistersAndDescription) {
    Session s("", Session::ToDevice);
    Producer& gc = s.gc;
    const std::string url = Session::text([&](char* b, size_t* n) {
        INFO_DATATYPE t;
        return gc.GCGetPortURLInfo(s.port, 0, URL_INFO_URL, &t, b, n);
    });
    EXPECT_EQ(url.rfind("local:arv-fake-camera.xml;10000;", 0), 0u) << url;  // "Local:" in the camera
    EXPECT_EQ(Session::info<uint64_t>([&](INFO_DATATYPE* t, uint64_t* v, size_t* n) {
                  return gc.GCGetPortURLInfo(s.port, 0, URL_INFO_FILE_REGISTER_ADDRESS, t, v, n);
              }),
              0x10000u);
    EXPECT_NE(s.portFile(s.port).find("<RegisterDescription"), std::string::npos);

    EXPECT_TRUE(Session::info<bool8_t>([&](INFO_DATATYPE* t, bool8_t* v, size_t* m) {
        return gc.GCGetPortInfo(s.port, PORT_INFO_BIG_ENDIAN, t, v, m);
    }));
    EXPECT_EQ(readRegister(s, 0x100), FakeCamera::kWidth);
    EXPECT_EQ(writeRegister(s, 0x1f0, 0xCAFE0042), GC_ERR_SUCCESS);
    EXPECT_EQ(readRegister(s, 0x1f0), 0xCAFE0042u);
    std::array<PORT_REGISTER_STACK_ENTRY, 2> stack{};
    uint32_t words[2] = {};
    for (size_t i = 0; i < 2; ++i) stack[i] = {0x100 + 4 * i, &words[i], 4};
    size_t entries = 2;
    EXPECT_EQ(gc.GCReadPortStacked(s.port, stack.data(), &entries), GC_ERR_SUCCESS);
    EXPECT_EQ(entries, 2u);
    EXPECT_EQ(words[0], 0x00010000u);  // 256 as read from the wire, big-endian
}

TEST_F(AravisProducer, StreamFillsTheConsumersBuffersWithTheCamerasImages) {
    Session s;
    Producer& gc = s.gc;
    startStreaming(s);
    uint64_t lastFrame = 0;
    for (int i = 0; i < 40; ++i) {
        EVENT_NEW_BUFFER_DATA data{};
        ASSERT_EQ(next(s, event_, data), GC_ERR_SUCCESS) << i;
        auto* mine = static_cast<std::vector<uint8_t>*>(data.pUserPointer);
        EXPECT_EQ(s.bufferInfo<void*>(data.BufferHandle, BUFFER_INFO_BASE), mine->data());
        EXPECT_FALSE(s.bufferInfo<bool8_t>(data.BufferHandle, BUFFER_INFO_IS_INCOMPLETE));
        EXPECT_EQ(s.bufferInfo<size_t>(data.BufferHandle, BUFFER_INFO_SIZE_FILLED), mine->size());
        EXPECT_EQ(s.bufferInfo<size_t>(data.BufferHandle, BUFFER_INFO_WIDTH), FakeCamera::kWidth);
        EXPECT_EQ(s.bufferInfo<size_t>(data.BufferHandle, BUFFER_INFO_HEIGHT), FakeCamera::kHeight);
        EXPECT_EQ(s.bufferInfo<uint64_t>(data.BufferHandle, BUFFER_INFO_PIXELFORMAT), 0x01080001u);  // Mono8
        const uint64_t frame = s.bufferInfo<uint64_t>(data.BufferHandle, BUFFER_INFO_FRAMEID);
        EXPECT_TRUE(i == 0 || frame > lastFrame) << frame;
        lastFrame = frame;
        EXPECT_NE(s.bufferInfo<uint64_t>(data.BufferHandle, BUFFER_INFO_TIMESTAMP), 0u);
        EXPECT_EQ(FakeCamera::rampBreak(mine->data(), FakeCamera::kWidth, FakeCamera::kHeight), "") << i;
        EXPECT_EQ(gc.DSQueueBuffer(s.ds, data.BufferHandle), GC_ERR_SUCCESS);
    }
    EXPECT_EQ(s.streamInfo<uint64_t>(STREAM_INFO_NUM_DELIVERED), 40u);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_ANNOUNCED), 4u);
    stopStreaming(s);
    EXPECT_FALSE(s.streamInfo<bool8_t>(STREAM_INFO_IS_GRABBING));

    // Stopped: the wait times out, and EventKill ends a wait at once.
    EVENT_NEW_BUFFER_DATA data{};
    EXPECT_EQ(gc.EventFlush(event_), GC_ERR_SUCCESS);
    EXPECT_EQ(next(s, event_, data, 50), GC_ERR_TIMEOUT);
    std::thread killer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(gc.EventKill(event_), GC_ERR_SUCCESS);
    });
    EXPECT_EQ(next(s, event_, data, GENTL_INFINITE), GC_ERR_ABORT);
    killer.join();

    // Queued buffers cannot be revoked; after the flush each one comes back with its pointers.
    EXPECT_EQ(gc.DSFlushQueue(s.ds, ACQ_QUEUE_UNQUEUED_TO_INPUT), GC_ERR_SUCCESS);
    EXPECT_EQ(s.streamInfo<size_t>(STREAM_INFO_NUM_QUEUED), buffers_.size());
    EXPECT_EQ(gc.DSRevokeBuffer(s.ds, buffers_[0], nullptr, nullptr), GC_ERR_BUSY);
    EXPECT_EQ(gc.DSFlushQueue(s.ds, ACQ_QUEUE_ALL_DISCARD), GC_ERR_SUCCESS);
    for (size_t i = 0; i < buffers_.size(); ++i) {
        void *base = nullptr, *user = nullptr;
        EXPECT_EQ(gc.DSRevokeBuffer(s.ds, buffers_[i], &base, &user), GC_ERR_SUCCESS);
        EXPECT_EQ(base, memory_[i].data());
        EXPECT_EQ(user, &memory_[i]);
    }
}

// A socket buffer far too small for a frame, without packet resends: packets are lost on the
// loopback interface. Every frame still ends (incomplete frames flagged) and the stream
// carries on with the same buffers.
TEST_F(AravisProducer, LostPacketsEndAsIncompleteFramesAndNoBufferIsLost) {
    tq4::platform::setEnvironment("TQ4_ARAVIS_SOCKET_BUFFER", "4096");
    tq4::platform::setEnvironment("TQ4_ARAVIS_PACKET_RESEND", "off");
    Session s;
    startStreaming(s);
    int incomplete = 0;
    for (int i = 0; i < 60; ++i) {
        EVENT_NEW_BUFFER_DATA data{};
        ASSERT_EQ(next(s, event_, data, 5000), GC_ERR_SUCCESS) << i;
        incomplete += s.bufferInfo<bool8_t>(data.BufferHandle, BUFFER_INFO_IS_INCOMPLETE) ? 1 : 0;
        ASSERT_EQ(s.gc.DSQueueBuffer(s.ds, data.BufferHandle), GC_ERR_SUCCESS);
    }
    EXPECT_GT(incomplete, 0);
    stopStreaming(s);
    // A frame that ended between the last requeue and the stop waits for delivery: every buffer
    // is queued or waits.
    const size_t queued = s.streamInfo<size_t>(STREAM_INFO_NUM_QUEUED);
    const size_t waiting = s.streamInfo<size_t>(STREAM_INFO_NUM_AWAIT_DELIVERY);
    EXPECT_EQ(queued + waiting, buffers_.size()) << queued << " queued, " << waiting << " waiting";
}

TEST_F(AravisProducer, FaultsAnswerGenTLCodes) {
    Producer& gc = Producer::get();
    TL_HANDLE tl = nullptr;
    EXPECT_EQ(gc.TLOpen(&tl), GC_ERR_NOT_INITIALIZED);
    tq4::platform::setEnvironment("TQ4_ARAVIS_PACKET_SOCKET", "sometimes");
    EXPECT_EQ(gc.GCInitLib(), GC_ERR_INVALID_PARAMETER);
    GC_ERROR code = 0;
    const std::string message = Session::text([&](char* b, size_t* n) { return gc.GCGetLastError(&code, b, n); });
    EXPECT_EQ(code, GC_ERR_INVALID_PARAMETER);
    EXPECT_NE(message.find("TQ4_ARAVIS_PACKET_SOCKET"), std::string::npos) << message;
    tq4::platform::setEnvironment("TQ4_ARAVIS_PACKET_SOCKET", "");

    Session s;
    DEV_HANDLE dev = nullptr;
    EXPECT_EQ(gc.IFOpenDevice(s.iface, "no-such-camera", DEVICE_ACCESS_EXCLUSIVE, &dev), GC_ERR_INVALID_ID);
    EXPECT_EQ(gc.IFOpenDevice(s.iface, s.deviceId.c_str(), DEVICE_ACCESS_EXCLUSIVE, &dev), GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(gc.DSStartAcquisition(s.ds, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_INVALID_BUFFER);
    int foreign = 0;
    uint32_t n32 = 0;
    EXPECT_EQ(gc.DevGetNumDataStreams(&foreign, &n32), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(gc.DSQueueBuffer(s.ds, s.dev), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(gc.DSGetNumBufferParts(s.ds, nullptr, &n32), GC_ERR_INVALID_HANDLE);
    EVENT_HANDLE e = nullptr;
    EXPECT_EQ(gc.GCRegisterEvent(s.port, EVENT_NEW_BUFFER, &e), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(gc.GCRegisterEvent(s.dev, EVENT_REMOTE_DEVICE, &e), GC_ERR_NOT_IMPLEMENTED);
}

}  // namespace
}  // namespace zevo::test
