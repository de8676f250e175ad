// What the reliability tests share: a deadline for calls that could hang, the process's
// resources read from /proc/self, the states a caller buffer may be in, the read telegrams sent
// under load and the small fast camera the load tests stream from.
#pragma once

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>

#include "support/World.h"

namespace tq4::test {

// Runs `call` on a worker thread and returns its result, or nothing when it did not return
// within `ms`: the worker is left behind, and the caller reports a hang instead of hanging.
template <typename Call>
std::optional<uint32_t> within(unsigned ms, Call call) {
    auto promise = std::make_shared<std::promise<uint32_t>>();
    auto result = promise->get_future();
    std::thread([promise, call]() mutable { promise->set_value(call()); }).detach();
    if (result.wait_for(std::chrono::milliseconds(ms)) != std::future_status::ready) return std::nullopt;
    return result.get();
}

// What the process holds, read from /proc/self: resident memory, the threads that may be the
// driver's (by name) and every open descriptor (by what it refers to). The driver names its
// threads "tq4-..."; a thread started without a name carries the name of the thread that
// started it, which here is this program's. Threads that other libraries named themselves
// (GLib's worker pool, say) come and go on their own timers and are not counted.
struct Resources {
    long rssKb = 0;
    std::multiset<std::string> threads;
    std::multiset<std::string> fds;

    bool sameHoldings(const Resources& other) const { return threads == other.threads && fds == other.fds; }
};

inline long residentKb() {
    std::ifstream status("/proc/self/status");
    std::string key;
    long value = -1;
    while (status >> key && !(key == "VmRSS:" && status >> value)) status.ignore(1 << 12, '\n');
    return value;
}

inline std::string firstLine(const std::filesystem::path& file) {
    std::string line;
    std::getline(std::ifstream(file), line);
    return line;
}

// A descriptor's target without the inode number of pipes and sockets ("pipe:[4711]" -> "pipe").
inline std::string descriptorKind(const std::filesystem::path& link) {
    std::error_code error;
    std::string target = std::filesystem::read_symlink(link, error).string();
    const auto bracket = target.find(":[");
    if (bracket != std::string::npos && target.compare(0, 10, "anon_inode") != 0) target.resize(bracket);
    return error ? "?" : target;
}

inline Resources resources() {
    namespace fs = std::filesystem;
    Resources r;
    r.rssKb = residentKb();
    const std::string program = firstLine("/proc/self/comm");
    std::error_code error;
    for (const auto& task : fs::directory_iterator("/proc/self/task", error)) {
        const std::string name = firstLine(task.path() / "comm");
        if (name.rfind("tq4-", 0) == 0 || name == program) r.threads.insert(name);
    }
    for (const auto& fd : fs::directory_iterator("/proc/self/fd", error)) r.fds.insert(descriptorKind(fd.path()));
    return r;
}

// The holdings once they are steady (two reads 100 ms apart agree: a thread that was just
// joined may still be listed for a moment; two seconds at most), or once they are those of
// `before` again (five seconds at most).
inline Resources steadyResources(const Resources* before = nullptr) {
    Resources last = resources();
    for (int i = 0; i < (before ? 100 : 20); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(before ? 50 : 100));
        Resources now = resources();
        if (now.sameHoldings(before ? *before : last)) return now;
        last = std::move(now);
    }
    return last;
}

// Ended: the event is set and the status word says how.
inline bool ended(const CallerBuffer& b) {
    const uint32_t s = b.status();
    return b.event->isSet() && (s == ZEVO_BUFFER_DONE || s == ZEVO_BUFFER_CANCELLED || s == ZEVO_BUFFER_FAILED);
}
// Consistent at any moment: ended, or still queued with the event not set.
inline bool consistent(const CallerBuffer& b) {
    return ended(b) || (!b.event->isSet() && b.status() == ZEVO_BUFFER_QUEUED);
}

// Read telegrams of every family, sent at random while a camera streams.
// clang-format off
constexpr uint16_t kReadTelegrams[] = {
    GET_CAMERA_NAME, GET_CAMERA_DESCRIPTION, GET_ROI, GET_DELAY_EXPOSURE_TIME, GET_COOLING_SETPOINT_TEMPERATURE,
    GET_FRAMERATE, GET_RECORDING_STATE, GET_BIT_ALIGNMENT, GET_TRIGGER_MODE, GET_CAMERA_BUSY_STATUS,
    GET_TIMESTAMP_MODE, GET_INFO_STRING};
// clang-format on

// The load tests' world: `devices` cameras of Mono8 images of kPayload bytes at the producer's
// top rate, room for `acquisitionBuffers` of them, and the log capture off (its lock would
// serialise the threads, and it grows with every line).
class LoadWorld : public World {
protected:
    static constexpr uint32_t kPayload = 65536;

    void useSmallFastImages(int acquisitionBuffers, int devices = 1) {
        configure("unlimited_frame_rate = 1\npixel_formats = Mono8\npayload_size = " + std::to_string(kPayload) +
                  "\ndevices_per_interface = " + std::to_string(devices) + "\n");
        std::ofstream(iniFile()) << "[MEMORY]\nDMALength = " << acquisitionBuffers * kPayload << "\n";
        log::setLineObserver(nullptr);
    }
};

}  // namespace tq4::test
