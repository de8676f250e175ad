// The soak run: the simulated camera streams at its top rate (no pacing) into a ring of caller
// buffers for the given minutes, while one thread sends random telegrams and another cancels at
// random moments. Ends with one line of counts; a buffer that was queued and never ended is
// lost, and any loss makes the exit status 1.
//   reliability_soak MINUTES

#include "reliability/Reliability.h"

namespace {

using namespace tq4::test;

constexpr int kRing = 8;
constexpr uint32_t kImageBytes = 1296 * 1032 * 2;
constexpr uint32_t kStallMs = 20000;  // no buffer ended for this long: the rest is lost

struct Counts {
    uint64_t delivered = 0;
    uint64_t failed = 0;
    uint64_t cancelled = 0;
    uint64_t lost = 0;
};

void count(const CallerBuffer& b, Counts& counts) {
    switch (b.status()) {
        case ZEVO_BUFFER_DONE: ++counts.delivered; break;
        case ZEVO_BUFFER_CANCELLED: ++counts.cancelled; break;
        default: ++counts.failed; break;
    }
}

}  // namespace

int main(int argc, char** argv) {
    const double minutes = argc > 1 ? std::atof(argv[1]) : 1.0;
    TestFolder folder;
    writeFile(folder.file("sim.cfg"), "unlimited_frame_rate = 1\n");
    tq4::platform::setEnvironment("ZEVO_SIM_CONFIG", folder.file("sim.cfg"));
    tq4::platform::setEnvironment("GENICAM_GENTL64_PATH", TQ4_SIM_DIR);
    TQ4_HANDLE h = nullptr;
    if (Open_Cam(0, &h) != ZEVO_NOERROR || sendTelegram(h, request(ARM_CAMERA)).result != ZEVO_NOERROR ||
        sendTelegram(h, request(SET_RECORDING_STATE, 1)).result != ZEVO_NOERROR) {
        std::fprintf(stderr, "the simulated camera does not open and arm\n");
        return 2;
    }
    std::vector<std::unique_ptr<CallerBuffer>> ring;
    for (int i = 0; i < kRing; ++i) ring.push_back(std::make_unique<CallerBuffer>(kImageBytes));
    std::vector<bool> outstanding(kRing, false);
    Counts counts;
    const auto queueOne = [&](int i) {
        const uint32_t code = ring[i]->queue(Set_Image_Buffer, h, kImageBytes);
        outstanding[i] = code == ZEVO_NOERROR || code == 0x360000;
        if (!outstanding[i]) ++counts.failed;
    };

    std::atomic<bool> stop{false};
    std::thread telegrams([&] {
        std::mt19937 random(1);
        while (!stop) {
            sendTelegram(h, request(kReadTelegrams[random() % std::size(kReadTelegrams)]));
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
        }
    });
    std::thread cancels([&] {
        std::mt19937 random(2);
        while (!stop) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100 + random() % 1900));
            Cancel_Images(h);
        }
    });

    for (int i = 0; i < kRing; ++i) queueOne(i);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const long rssStart = resources().rssKb;
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double, std::ratio<60>>(minutes);
    auto lastEnded = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() < end) {
        for (int i = 0; i < kRing; ++i) {
            if (!outstanding[i]) {
                queueOne(i);
                continue;
            }
            if (!ring[i]->waitDone(1)) continue;
            count(*ring[i], counts);
            lastEnded = std::chrono::steady_clock::now();
            queueOne(i);
        }
        if (std::chrono::steady_clock::now() - lastEnded > std::chrono::milliseconds(kStallMs)) break;
    }
    stop = true;
    telegrams.join();
    cancels.join();
    Cancel_Images(h);
    for (int i = 0; i < kRing; ++i) {
        if (!outstanding[i]) continue;
        if (ended(*ring[i]))
            count(*ring[i], counts);
        else
            ++counts.lost;
    }
    const long rssEnd = resources().rssKb;
    Close_Cam(&h);
    std::printf("delivered: %llu, failed: %llu, cancelled: %llu, lost: %llu, rss start/end: %ld/%ld kB\n",
                (unsigned long long)counts.delivered, (unsigned long long)counts.failed,
                (unsigned long long)counts.cancelled, (unsigned long long)counts.lost, rssStart, rssEnd);
    return counts.lost == 0 ? 0 : 1;
}
