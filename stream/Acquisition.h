// The acquisition of one data stream: the producer's new-buffer event, the caller buffers
// waiting for an image, and the thread that waits on the event and copies each new image into
// the oldest waiting caller buffer (shifted and stamped as the stream's settings say), writes
// its status, sets its event and gives the GenTL buffer back. Its log lines keep the
// DataStream's origins, which the log's readers know.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "gentl-module/GenTL.h"
#include "stream/PendingQueue.h"

namespace tq4::gentl {
class GenTLModule;
}

namespace tq4::stream {

// Driver status of a failed new-buffer event registration.
constexpr uint32_t kStreamStatusEventFailed = 0x80362016;
// Time-out of one wait for a new buffer.
constexpr uint64_t kNewBufferTimeoutMs = 10000;

// What the copy of each image follows; the telegrams change it between images.
struct ImageSettings {
    std::atomic<uint64_t> payloadSize{0};
    std::atomic<uint32_t> bitsPerPixel{0};
    std::atomic<uint16_t> bitAlignment{1};   // 0 = MSB, 1 = LSB aligned copies
    std::atomic<uint16_t> timestampMode{0};  // 0 to 3: none, binary, both, readable
    std::atomic<int64_t> width{0};
    std::atomic<int64_t> height{0};
};

class Acquisition {
public:
    Acquisition(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS, const ImageSettings& settings);
    Acquisition(const Acquisition&) = delete;
    Acquisition& operator=(const Acquisition&) = delete;

    // The thread runs (from start until a stop, or until it ended for want of an image base).
    bool isRunning() const { return running_.load() != 0; }

    // 0, or kStreamStatusEventFailed.
    uint32_t registerEvent();
    void unregisterEvent();
    // Opens the waiting queue and starts the thread; false (the queue closed, the event
    // unregistered) when no thread can be started. `msb`: the pixel format keeps its data in the
    // top bits; `incompleteFails`: incomplete images end their buffers as failed.
    bool start(bool msb, bool incompleteFails);
    // Kills the thread's event wait and joins it; the buffers still waiting end cancelled.
    void stop();
    // Joins a thread that ended by itself.
    void join();

    // Adds a caller buffer; false when no thread takes it.
    bool push(std::shared_ptr<ZevoBuffer> buffer) { return pending_.push(std::move(buffer)); }
    std::size_t pendingCount() const { return pending_.count(); }
    // Forgets the waiting buffers (only while no thread runs).
    void clearPending() { pending_.clear(); }
    uint64_t imageCounter() const { return imageCounter_.load(); }
    void resetCounters();

private:
    void ImageAcquireThread(bool msb);
    bool deliverImage(const std::shared_ptr<ZevoBuffer>& target, GenTL::BUFFER_HANDLE buffer, bool msb);
    // BUFFER_INFO_IS_INCOMPLETE; false when the producer does not tell.
    bool isIncomplete(GenTL::BUFFER_HANDLE buffer);
    void logStreamCounters();
    void copyImage(const ZevoBuffer& target, const void* source, bool msb);
    void stampImage(const ZevoBuffer& target, GenTL::BUFFER_HANDLE buffer, bool msb);

    std::shared_ptr<gentl::GenTLModule> module_;
    GenTL::DS_HANDLE hDS_;
    const ImageSettings& settings_;
    PendingQueue pending_;
    std::thread thread_;
    std::atomic<uint32_t> threadId_{0};
    std::atomic<GenTL::EVENT_HANDLE> newBufferEvent_{nullptr};
    std::atomic<uint8_t> running_{0};
    std::atomic<uint64_t> imageCounter_{0};
    std::atomic<uint64_t> errorCounter_{0};
    std::atomic<bool> incompleteFails_{false};  // [CONFIG] FailIncompleteImages, read at each start
};

}  // namespace tq4::stream
