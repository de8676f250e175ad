// What the reliability tests share: a deadline for calls that could hang, the process's
// resources read from /proc/self, the states a caller buffer may be in, the read telegrams sent
// under load and the small fast camera the load tests stream from.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "support/StreamWorld.h"

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

struct Resources {
    long rssKb = 0;
    long fds = 0;
    long threads = 0;
};

inline long statusField(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string key;
    long value = 0;
    while (status >> key) {
        if (key == name + ":" && status >> value) return value;
        status.ignore(1 << 12, '\n');
    }
    return -1;
}

inline Resources resources() {
    Resources r;
    r.rssKb = statusField("VmRSS");
    r.threads = statusField("Threads");
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++r.fds;
    return r;
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
constexpr uint16_t kReadTelegrams[] = {GET_CAMERA_NAME,
                                       GET_CAMERA_DESCRIPTION,
                                       GET_ROI,
                                       GET_DELAY_EXPOSURE_TIME,
                                       GET_COOLING_SETPOINT_TEMPERATURE,
                                       GET_FRAMERATE,
                                       GET_RECORDING_STATE,
                                       GET_BIT_ALIGNMENT,
                                       GET_TRIGGER_MODE,
                                       GET_CAMERA_BUSY_STATUS,
                                       GET_TIMESTAMP_MODE,
                                       GET_INFO_STRING};

// The load tests' world: `devices` cameras of Mono8 images of kPayload bytes at the producer's
// top rate, room for `acquisitionBuffers` of them, and the log capture off (its lock would
// serialise the threads, and it grows with every line).
class LoadWorld : public StreamWorld {
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
