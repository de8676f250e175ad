// The caller buffers of a live source, kept as the camera SDK keeps them: each one's memory,
// status word and event. The driver fills queued buffers in the order they were queued and
// copies each image straight into one; a filled buffer taken out with `next` belongs to its user
// (a GStreamer buffer wraps its memory) until `giveBack` queues it again. After `end` no buffer
// is queued any more and none is given to the driver again; memory still held by users stays
// valid while they hold this object.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "tools/DriverLibrary.h"

namespace tq4::gst {

class CallerBuffers {
public:
    CallerBuffers(tools::DriverLibrary& library, TQ4_HANDLE camera, std::size_t count, std::size_t bytes);
    CallerBuffers(const CallerBuffers&) = delete;
    CallerBuffers& operator=(const CallerBuffers&) = delete;

    // Queues every buffer; false with `error` when the driver refuses one or an event cannot
    // be made.
    bool queueAll(std::string& error);

    struct Filled {
        std::size_t index = 0;
        uint32_t status = 0;  // ZEVO_BUFFER_DONE, _FAILED or _CANCELLED
        uint8_t* data = nullptr;
        std::size_t bytes = 0;
    };
    enum class Wait { Filled, TimedOut, Stopped };
    // The oldest queued buffer once the driver has ended it. Stopped when `stop` is set or the
    // buffers have ended; TimedOut after `timeoutMs` without an image. Either way the buffer
    // stays queued.
    Wait next(Filled& filled, uint32_t timeoutMs, const std::atomic<bool>& stop);
    // Queues a buffer taken with `next` again (nothing after `end`).
    void giveBack(std::size_t index);
    // Wakes a `next` that waits for a buffer to come back.
    void wake();
    // Cancels the images, waits until the driver has ended every queued buffer and queues none
    // again. The driver's camera may be closed once this returns.
    void end(uint32_t timeoutMs);
    std::size_t queuedCount() const;

private:
    enum class State { Idle, Queued, Taken };
    struct Slot {
        std::vector<uint8_t> memory;
        uint32_t status = 0;
        std::unique_ptr<platform::Event> event;
        State state = State::Idle;
    };

    bool queueLocked(std::size_t index, std::string& error);
    // The driver writes the word, then sets the event: read it with acquire order.
    uint32_t statusOf(const Slot& slot) const { return __atomic_load_n(&slot.status, __ATOMIC_ACQUIRE); }

    tools::DriverLibrary& library_;
    TQ4_HANDLE camera_;
    std::vector<Slot> slots_;
    mutable std::mutex mutex_;
    std::condition_variable returned_;
    std::deque<std::size_t> order_;  // queued buffers not being waited for, oldest first
    bool ended_ = false;
};

}  // namespace tq4::gst
