// A thousand opens and closes, and a thousand starts and stops of streaming, leave the process
// with the memory, file descriptors and threads it had: measured from /proc/self after a few
// warm-up cycles, which fill the caches that stay (node maps, the log's buffers). The threads
// compared are those the driver may own (see Resources).
#include <functional>

#include "reliability/Reliability.h"

namespace tq4::test {
namespace {

constexpr int kWarmUp = 20;
constexpr long kRssSlackKb = 8 * 1024;

int cycles() {
    const char* text = std::getenv("TQ4_RESOURCE_CYCLES");
    return text ? std::atoi(text) : 1000;
}

class ResourcesTest : public LoadWorld {
protected:
    void SetUp() override {
        LoadWorld::SetUp();
        useSmallFastImages(4);
    }

    // Runs `cycle` for the warm-up and then `count` times, and compares what the process holds
    // once it is steady before and back where it was after (or given time to get there).
    void measure(const char* what, const std::function<void()>& cycle) {
        for (int i = 0; i < kWarmUp; ++i) cycle();
        const Resources before = steadyResources();
        const int count = cycles();
        for (int i = 0; i < count && !HasFailure(); ++i) cycle();
        const Resources after = steadyResources(&before);
        std::printf("%s: %d cycles, rss %ld -> %ld kB, fds %zu -> %zu, threads %zu -> %zu\n", what, count, before.rssKb,
                    after.rssKb, before.fds.size(), after.fds.size(), before.threads.size(), after.threads.size());
#ifndef __SANITIZE_ADDRESS__
        // Under AddressSanitizer freed memory waits in its quarantine; LeakSanitizer checks there.
        EXPECT_LE(after.rssKb, before.rssKb + kRssSlackKb);
#endif
        EXPECT_EQ(after.fds, before.fds);
        EXPECT_EQ(after.threads, before.threads);
    }
};

TEST_F(ResourcesTest, OpenAndClose) {
    measure("open/close", [] {
        TQ4_HANDLE h = nullptr;
        ASSERT_EQ(Open_Cam(0, &h), ZEVO_NOERROR);
        ASSERT_EQ(Close_Cam(&h), ZEVO_NOERROR);
    });
}

TEST_F(ResourcesTest, StartAndStopStreaming) {
    TQ4_HANDLE& h = openRecording();
    CallerBuffer& image = buffer(kPayload);
    measure("start/stop", [&] {
        ASSERT_EQ(queue(h, image), ZEVO_NOERROR);  // starts the stream
        ASSERT_TRUE(image.waitDone());
        ASSERT_EQ(image.status(), ZEVO_BUFFER_DONE);
        ASSERT_EQ(Cancel_Images(h), ZEVO_NOERROR);  // stops it
    });
}

}  // namespace
}  // namespace tq4::test
