// Load from several threads: eight threads sending telegrams to one streaming camera while one
// thread queues buffers and one cancels; two cameras streaming at once; opens and closes from
// several threads. Bounded in time (TQ4_STRESS_SECONDS, default 3); every call returns, every
// buffer ends consistent, and the cameras work afterwards.
#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

#include "reliability/Reliability.h"

namespace tq4::test {
namespace {

constexpr int kTelegramThreads = 8;

std::chrono::seconds duration() {
    const char* text = std::getenv("TQ4_STRESS_SECONDS");
    return std::chrono::seconds(text ? std::atoi(text) : 3);
}

class ConcurrencyTest : public LoadWorld {
protected:
    // Requeues every buffer of `ring` that came back done until `stop`; counts the images.
    static void requeueLoop(TQ4_HANDLE h, std::vector<CallerBuffer*>& ring, const std::atomic<bool>& stop,
                            std::atomic<uint64_t>& delivered) {
        for (CallerBuffer* b : ring) queue(h, *b);
        while (!stop) {
            for (CallerBuffer* b : ring) {
                if (!b->event->wait(1)) continue;
                if (b->status() == ZEVO_BUFFER_DONE) ++delivered;
                queue(h, *b);  // a cancelled one as well: that restarts the stream
            }
        }
    }
    // Lets the load run for its time, then on until `enough` holds (30 s more at most): a loaded
    // machine may slow the work down, but what is counted must not depend on its speed.
    template <class Enough>
    static void runFor(std::atomic<bool>& stop, Enough enough) {
        std::this_thread::sleep_for(duration());
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!enough() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        stop = true;
    }
    std::vector<CallerBuffer*> ring(int count) {
        std::vector<CallerBuffer*> buffers;
        for (int i = 0; i < count; ++i) buffers.push_back(&buffer(kPayload));
        return buffers;
    }
    // After a final cancel nothing is pending and every buffer is ended or was never taken.
    void expectSettled(TQ4_HANDLE h, const std::vector<CallerBuffer*>& buffers) {
        ASSERT_EQ(Cancel_Images(h), ZEVO_NOERROR);
        EXPECT_EQ(pending(h), 0u);
        for (const CallerBuffer* b : buffers) EXPECT_TRUE(consistent(*b)) << std::hex << b->status();
    }
};

TEST_F(ConcurrencyTest, TelegramsQueueingAndCancelsOnOneStreamingCamera) {
    useSmallFastImages(8);
    TQ4_HANDLE& h = openRecording();
    std::vector<CallerBuffer*> buffers = ring(6);
    std::atomic<bool> stop{false};
    std::atomic<uint64_t> answered{0};
    std::atomic<uint64_t> cancels{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kTelegramThreads; ++t)
        threads.emplace_back([&, t] {
            for (std::size_t i = t; !stop; ++i) {
                const Answer a = ask(h, kReadTelegrams[i % std::size(kReadTelegrams)]);
                if (a.result == ZEVO_NOERROR) ++answered;
            }
        });
    threads.emplace_back([&] {
        std::mt19937 random(7);
        while (!stop) {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 50));
            EXPECT_EQ(Cancel_Images(h), ZEVO_NOERROR);
            ++cancels;
        }
    });
    std::atomic<uint64_t> delivered{0};
    std::thread queueing([&] { requeueLoop(h, buffers, stop, delivered); });
    runFor(stop, [&] { return delivered > 0 && cancels > 1; });
    // Every thread has to come back: a deadlock fails here instead of hanging the run.
    const auto joined = within(30000, [&] {
        for (std::thread& t : threads) t.join();
        queueing.join();
        return 0u;
    });
    ASSERT_TRUE(joined.has_value()) << "a thread did not come back";
    expectSettled(h, buffers);
    std::printf("telegrams answered: %llu, images delivered: %llu, cancels: %llu\n",
                (unsigned long long)answered.load(), (unsigned long long)delivered.load(),
                (unsigned long long)cancels.load());
    EXPECT_GT(answered.load(), 0u);
    EXPECT_GT(delivered.load(), 0u);
}

TEST_F(ConcurrencyTest, TwoCamerasStreamAtOnce) {
    useSmallFastImages(8, 2);
    TQ4_HANDLE handles[2] = {openRecording(0), openRecording(1)};
    ASSERT_NE(handles[0], handles[1]);
    std::vector<CallerBuffer*> rings[2] = {ring(4), ring(4)};
    std::atomic<bool> stop{false};
    std::atomic<uint64_t> delivered[2] = {0, 0};
    std::thread cameras[2];
    for (int c = 0; c < 2; ++c)
        cameras[c] = std::thread([&, c] { requeueLoop(handles[c], rings[c], stop, delivered[c]); });
    runFor(stop, [&] { return delivered[0] > 10 && delivered[1] > 10; });
    for (std::thread& t : cameras) t.join();
    for (int c = 0; c < 2; ++c) {
        expectSettled(handles[c], rings[c]);
        EXPECT_GT(delivered[c].load(), 10u) << "camera " << c;
    }
}

TEST_F(ConcurrencyTest, OpenAndCloseFromSeveralThreads) {
    useSmallFastImages(8, 2);
    std::atomic<bool> stop{false};
    std::atomic<uint64_t> opened{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            while (!stop) {
                TQ4_HANDLE h = nullptr;
                const uint32_t code = Open_Cam(uint32_t(t % 2), &h);
                // The other thread on the same camera may have it open.
                EXPECT_TRUE(code == ZEVO_NOERROR || code == ZEVO_ERROR_OPEN_INUSE) << std::hex << code;
                if (code != ZEVO_NOERROR) continue;
                ++opened;
                ask(h, GET_CAMERA_NAME);
                EXPECT_EQ(Close_Cam(&h), ZEVO_NOERROR);
            }
        });
    std::this_thread::sleep_for(duration());
    stop = true;
    for (std::thread& t : threads) t.join();
    EXPECT_GT(opened.load(), 0u);
    for (uint32_t num = 0; num < 2; ++num) {
        TQ4_HANDLE& h = open(num);
        EXPECT_EQ(ask(h, GET_CAMERA_NAME).result, ZEVO_NOERROR);
    }
}

}  // namespace
}  // namespace tq4::test
