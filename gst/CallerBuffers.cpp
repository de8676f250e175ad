#include "gst/CallerBuffers.h"

#include <chrono>

#include "tools/ResultNames.h"

namespace tq4::gst {

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kWaitSliceMs = 50;  // how often a wait looks at its stop flag
// Set_Image_Buffer: the producer refused one more acquisition buffer, the caller's buffer is
// queued anyway.
constexpr uint32_t kQueuedWithoutAcquisitionBuffer = 0x360000;

}  // namespace

CallerBuffers::CallerBuffers(tools::DriverLibrary& library, TQ4_HANDLE camera, std::size_t count, std::size_t bytes)
    : library_(library), camera_(camera), slots_(count) {
    for (Slot& slot : slots_) slot.memory.assign(bytes, 0);
}

bool CallerBuffers::queueAll(std::string& error) {
    std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        slots_[i].event = platform::Event::create();
        if (!slots_[i].event) {
            error = "cannot create an event for a caller buffer";
            return false;
        }
        if (!queueLocked(i, error)) return false;
    }
    return true;
}

bool CallerBuffers::queueLocked(std::size_t index, std::string& error) {
    Slot& slot = slots_[index];
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the driver's C interface takes an event as a HANDLE
    const auto eventHandle = reinterpret_cast<TQ4_HANDLE>(slot.event->nativeHandle());
    const uint32_t result = library_.setImageBuffer(camera_, eventHandle, 0, 0, 0, 0, slot.memory.data(),
                                                    uint32_t(slot.memory.size()), &slot.status);
    if (result != ZEVO_NOERROR && result != kQueuedWithoutAcquisitionBuffer) {
        slot.state = State::Idle;
        error = "Set_Image_Buffer: " + tools::describeResult(result);
        return false;
    }
    slot.state = State::Queued;
    order_.push_back(index);
    returned_.notify_all();
    return true;
}

CallerBuffers::Wait CallerBuffers::next(Filled& filled, uint32_t timeoutMs, const std::atomic<bool>& stop) {
    std::size_t index = 0;
    {
        std::unique_lock lock(mutex_);
        // Every buffer may be held downstream: wait until one comes back.
        while (order_.empty() && !ended_ && !stop.load())
            returned_.wait_for(lock, std::chrono::milliseconds(kWaitSliceMs));
        if (ended_ || stop.load()) return Wait::Stopped;
        index = order_.front();
        order_.pop_front();
    }
    Slot& slot = slots_[index];
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!slot.event->wait(kWaitSliceMs)) {
        if (stop.load() || Clock::now() >= deadline) {
            std::lock_guard lock(mutex_);
            if (!ended_) order_.push_front(index);
            return stop.load() ? Wait::Stopped : Wait::TimedOut;
        }
    }
    std::lock_guard lock(mutex_);
    if (ended_) return Wait::Stopped;  // `end` waits for this buffer too
    slot.state = State::Taken;
    filled = Filled{index, statusOf(slot), slot.memory.data(), slot.memory.size()};
    return Wait::Filled;
}

void CallerBuffers::giveBack(std::size_t index) {
    std::lock_guard lock(mutex_);
    if (index >= slots_.size() || slots_[index].state != State::Taken) return;
    if (ended_) {
        slots_[index].state = State::Idle;
        return;
    }
    std::string error;
    queueLocked(index, error);
}

void CallerBuffers::wake() { returned_.notify_all(); }

void CallerBuffers::end(uint32_t timeoutMs) {
    {
        std::lock_guard lock(mutex_);
        if (ended_) return;
        ended_ = true;
        order_.clear();
    }
    returned_.notify_all();
    library_.cancelImages(camera_);
    for (Slot& slot : slots_) {
        std::lock_guard lock(mutex_);
        if (slot.state != State::Queued) continue;
        slot.event->wait(timeoutMs);
        slot.state = State::Idle;
    }
}

std::size_t CallerBuffers::queuedCount() const {
    std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const Slot& slot : slots_) count += slot.state == State::Queued ? 1 : 0;
    return count;
}

}  // namespace tq4::gst
