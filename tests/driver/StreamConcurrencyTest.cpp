// Cancel_Images and Close_Cam from a second thread while images flow into a caller's ring of
// buffers: nothing hangs, nothing crashes, and every buffer that reached the queue ends with a
// status word and a set event.
#include <atomic>
#include <chrono>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

#include "support/StreamWorld.h"

namespace tq4::test {
namespace {

class StreamConcurrencyTest : public StreamWorld {};

constexpr int kRounds = 200;
constexpr uint32_t kPayload = 65536;

// A buffer's event is set exactly when its status is final; one that never reached the queue
// keeps "queued" and an unset event.
bool consistent(const CallerBuffer& b) {
    const bool set = b.event->isSet();
    const uint32_t status = b.status();
    if (!set) return status == ZEVO_BUFFER_QUEUED;
    return status == ZEVO_BUFFER_DONE || status == ZEVO_BUFFER_CANCELLED || status == ZEVO_BUFFER_FAILED;
}

TEST_F(StreamConcurrencyTest, CancelAndCloseFromASecondThreadWhileFramesFlow) {
    configure("unlimited_frame_rate = 1\npixel_formats = Mono8\npayload_size = " + std::to_string(kPayload) + "\n");
    // Eight small buffers: each reopen announces them anew.
    std::ofstream(iniFile()) << "[MEMORY]\nDMALength = " << 8 * kPayload << "\n";
    // The log observer would serialise the threads on its lock; the driver's own locks are the
    // subject here.
    log::setLineObserver(nullptr);
    std::mt19937 random(12345);
    std::vector<CallerBuffer*> ring;
    for (int i = 0; i < 4; ++i) ring.push_back(&buffer(kPayload));
    TQ4_HANDLE& h = openRecording();
    uint64_t delivered = 0;

    for (int round = 0; round < kRounds; ++round) {
        const bool closing = round % 2 == 1;
        if (!h) {
            ASSERT_EQ(Open_Cam(0, &h), ZEVO_NOERROR);
            ASSERT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
            ASSERT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR);
        }
        for (CallerBuffer* b : ring) queue(h, *b);  // the driver resets each event
        std::atomic<bool> interrupted{false};
        const TQ4_HANDLE target = h;
        const auto delay = std::chrono::microseconds(random() % 20000);
        std::thread other([&, target, closing, delay] {
            std::this_thread::sleep_for(delay);
            TQ4_HANDLE copy = target;
            EXPECT_EQ(closing ? Close_Cam(&copy) : Cancel_Images(copy), ZEVO_NOERROR);
            interrupted = true;
        });
        // The caller goes on requeueing whatever is done, as a grabbing loop does.
        for (std::size_t next = 0; !interrupted; next = (next + 1) % ring.size()) {
            ring[next]->waitDone(1);
            for (CallerBuffer* b : ring)
                if (b->event->isSet() && b->status() == ZEVO_BUFFER_DONE) {
                    ++delivered;
                    queue(h, *b);
                }
        }
        other.join();
        if (closing) {
            h = nullptr;
        } else {
            // A buffer queued after the cancel restarted the stream: end that one too.
            ASSERT_EQ(Cancel_Images(h), ZEVO_NOERROR);
        }
        for (CallerBuffer* b : ring)
            ASSERT_TRUE(consistent(*b)) << "round " << round << " status " << std::hex << b->status() << " set "
                                        << b->event->isSet();
    }
    EXPECT_GT(delivered, 0u);
}

}  // namespace
}  // namespace tq4::test
