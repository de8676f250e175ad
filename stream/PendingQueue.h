// The caller buffers waiting for an image, oldest first. The acquisition thread fills the front
// one; the callers' threads push at the back. A closed queue takes no buffers: it is closed by
// the thread's final cancel-all, so that a buffer can never be queued behind a thread that has
// ended, and opened again when streaming starts.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "stream/ZevoBuffer.h"

namespace tq4::stream {

class PendingQueue {
public:
    // Appends the buffer and wakes the thread; false (and nothing queued) when closed.
    bool push(std::shared_ptr<ZevoBuffer> buffer);
    // The front buffer, waiting while the queue is empty and `running` is set; null once
    // `running` is cleared (and wake() was called).
    std::shared_ptr<ZevoBuffer> waitFront(const std::atomic<uint8_t>& running);
    // Removes `buffer` when it is still the front one.
    void removeFront(const std::shared_ptr<ZevoBuffer>& buffer);
    std::size_t count() const;
    // Wakes a waitFront so that it sees `running` cleared.
    void wake();
    void open();
    // Closes the queue and ends every buffer in it as cancelled (status, then event).
    void closeAndCancelAll();
    // Forgets every buffer without touching it (only while no thread runs and none is queued).
    void clear();

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::shared_ptr<ZevoBuffer>> buffers_;
    bool open_ = false;
};

}  // namespace tq4::stream
