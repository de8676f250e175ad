// What the reliability tests share: a deadline for calls that could hang, the process's
// resources read from /proc/self, and the states a caller buffer may be in.
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

}  // namespace tq4::test
