#include "stream/PendingQueue.h"

#include <thread>

#include "platform/Platform.h"
#include "tq4_genicam.h"

namespace tq4::stream {

void ZevoBuffer::finish(uint32_t outcome) const {
    writeStatus(outcome);
    platform::setEventByHandle(event);
    std::this_thread::yield();
}

bool PendingQueue::push(std::shared_ptr<ZevoBuffer> buffer) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!open_) return false;
        buffers_.push_back(std::move(buffer));
    }
    changed_.notify_all();
    return true;
}

std::shared_ptr<ZevoBuffer> PendingQueue::waitFront(const std::atomic<uint8_t>& running) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return !buffers_.empty() || running.load() == 0; });
    if (running.load() == 0) return nullptr;
    return buffers_.front();
}

void PendingQueue::removeFront(const std::shared_ptr<ZevoBuffer>& buffer) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!buffers_.empty() && buffers_.front() == buffer) buffers_.pop_front();
}

std::size_t PendingQueue::count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return buffers_.size();
}

void PendingQueue::wake() {
    // Taking the mutex orders the caller's change of `running` before the waiter's test.
    { std::lock_guard<std::mutex> lock(mutex_); }
    changed_.notify_all();
}

void PendingQueue::open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
}

void PendingQueue::closeAndCancelAll() {
    std::deque<std::shared_ptr<ZevoBuffer>> cancelled;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = false;
        cancelled.swap(buffers_);
    }
    for (const auto& buffer : cancelled) buffer->finish(ZEVO_BUFFER_CANCELLED);
}

void PendingQueue::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    buffers_.clear();
}

}  // namespace tq4::stream
