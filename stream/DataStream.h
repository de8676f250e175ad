// The GenTL data stream of one opened device: it sizes and announces the acquisition buffers
// (slices of one memory block), locks the camera's transport parameters while armed, starts
// and stops acquisition on the producer and the camera, runs the acquisition thread that
// copies every new image into the oldest pending caller buffer, and revokes the buffers again,
// with a recovery for buffers that the producer still holds.
//
// Locks: the stream lock guards the buffer list, the payload size and the state changes; the
// pending queue has a lock of its own; the control lock orders starts, stops and the queueing
// of caller buffers (it is never taken by the acquisition thread, so a stop may hold it while
// it joins the thread; the stream lock is never held while joining).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "gentl/GenTL.h"
#include "stream/PendingQueue.h"

namespace tq4::features {
class NodeMap;
}
namespace tq4::gentl {
class GenTLModule;
}

namespace tq4::stream {

// Driver status of a failed DSQueueBuffer, and of an acquisition thread that ended for want
// of an image base pointer.
constexpr uint32_t kStreamStatusGenTLFailed = 0x360000;
// Driver status of a failed new-buffer event registration.
constexpr uint32_t kStreamStatusEventFailed = 0x80362016;
// Time-out of one wait for a new buffer.
constexpr uint64_t kNewBufferTimeoutMs = 10000;

// The number of buffers of `payload` bytes (not 0) for a memory budget of `budget` bytes: as
// many as it holds, at most 512, when that is more than `minimum`; else `minimum`.
uint64_t bufferCountFor(uint64_t budget, uint64_t payload, uint64_t minimum);

class DataStream {
public:
    // Takes over a stream handle opened with DevOpenDataStream; the destructor stops, revokes
    // the buffers and closes it.
    DataStream(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS, std::string id,
               std::shared_ptr<features::NodeMap> nodeMap);
    ~DataStream();
    DataStream(const DataStream&) = delete;
    DataStream& operator=(const DataStream&) = delete;

    const std::string& id() const { return id_; }
    GenTL::DS_HANDLE handle() const { return hDS_; }

    // ---- state the telegram commands read and write ----
    uint16_t recordingState() const { return recordingState_.load(); }
    // Stores the state; switching recording off executes AcquisitionStop on the camera.
    void setRecordingState(uint16_t state);
    bool isArmed() const { return armed_.load(); }
    // TLParamsLocked = 1 / 0 where writable; the armed flag follows in every case.
    void armCamera();
    void disarmCamera();
    bool isStreaming() const { return streaming_.load() != 0; }

    // Bits per pixel from PixelSize when readable, else the last run of digits of the
    // PixelFormat symbol; stored and returned.
    uint32_t setBitsPerPixel();
    uint32_t bitsPerPixel() const { return bitsPerPixel_.load(); }
    // 0 = MSB, 1 = LSB aligned copies.
    uint16_t bitAlignment() const { return bitAlignment_.load(); }
    void setBitAlignment(uint16_t alignment) { bitAlignment_ = alignment; }
    // 0 to 3: none, binary, both, readable time stamp.
    uint16_t timestampMode() const { return timestampMode_.load(); }
    void setTimestampMode(uint16_t mode) { timestampMode_ = mode; }

    // ---- buffers ----
    int64_t width() const { return width_.load(); }
    int64_t height() const { return height_.load(); }
    // Revokes the old buffers and announces new ones for the current payload size. 0, or
    // 0xA0360006 when the payload size is 0 (then nothing is announced).
    uint32_t setImageSizes(int64_t width, int64_t height);
    // From the stream when it defines the payload size, else the PayloadSize feature; the
    // stored value while streaming. 0 when nothing can be read.
    uint64_t getPayloadSize();
    // The number of buffers to announce for the stored payload: the configured memory budget
    // (MEMORY/DMALength) divided by the payload, at least the producer's minimum (and 4), at
    // most 512. The budget actually used is written back to the configuration file.
    uint64_t calcNumBuffers();
    // Revokes every announced buffer (with the start/kill/flush recovery for busy ones).
    // Called with the stream lock held.
    void freeGCBuffers();
    uint64_t numAnnouncedBuffers();
    uint64_t numInputQueuedBuffers();
    uint64_t numOutputQueuedBuffers();
    uint64_t numStartedBuffers();

    // ---- acquisition ----
    // Registers the new-buffer event, starts the producer and the camera and the acquisition
    // thread. Needs the camera armed and recording on. True when the thread runs. Called with
    // the control lock held.
    bool startStreaming();
    // Ends the thread (its wait is killed; pending buffers end cancelled), stops and flushes
    // the producer's acquisition. Takes the control lock.
    void stopStreaming();
    // stopStreaming once, then every buffer revoked and the producer's stream closed; no start
    // afterwards: the device is closing. Later calls (the destructor's among them) do nothing.
    void close();
    // Queues one more announced buffer to the producer while not all are queued. 0, or
    // kStreamStatusGenTLFailed.
    uint32_t queueRemainingInitBuffers();
    // kStreamStatusEventFailed when the registration failed.
    uint32_t registerNewBufferEvent();
    void unregisterNewBufferEvent();

    // ---- caller buffers ----
    // The control lock: held by whoever starts streaming and queues a caller buffer, so that
    // neither interleaves with a stop.
    std::unique_lock<std::mutex> lockControl() { return std::unique_lock<std::mutex>(controlMutex_); }
    // Adds a caller buffer to the pending queue; false when no acquisition thread takes it.
    bool pushPending(std::shared_ptr<ZevoBuffer> buffer);
    std::size_t pendingCount() const { return pending_.count(); }
    uint32_t startedBufferMark() const { return startedMark_.load(); }
    uint64_t imageCounter() const { return imageCounter_.load(); }
    uint64_t errorCounter() const { return errorCounter_.load(); }

private:
    void lockTransportParameters(int64_t value, const char* failure);
    bool streamDefinesPayloadSize();
    uint64_t payloadSizeLocked();
    // DSGetInfo of an 8-byte value (sizes, counts); 0 on failure. The answered type when asked.
    GenTL::GC_ERROR streamInfo(GenTL::STREAM_INFO_CMD command, uint64_t& value, GenTL::INFO_DATATYPE* type = nullptr);
    uint64_t producerMinimumBuffers();
    uint64_t bufferCount(GenTL::STREAM_INFO_CMD command, GenTL::INFO_DATATYPE expected, const char* origin);
    void announceBuffers(uint64_t count);
    bool revokeWithRecovery(GenTL::BUFFER_HANDLE buffer);
    void stopProducer();
    void joinThread();
    // Revokes the buffers and closes the producer's stream. Called with the stream lock held.
    void releaseProducerStream();

    // The acquisition thread and its steps (Delivery.cpp).
    // `msb`: the pixel format keeps its data in the top bits.
    void ImageAcquireThread(bool msb);
    bool deliverImage(const std::shared_ptr<ZevoBuffer>& target, GenTL::BUFFER_HANDLE buffer, bool msb);
    // BUFFER_INFO_IS_INCOMPLETE; false when the producer does not tell.
    bool isIncomplete(GenTL::BUFFER_HANDLE buffer);
    void logStreamCounters();
    void copyImage(const ZevoBuffer& target, const void* source, bool msb);
    void stampImage(const ZevoBuffer& target, GenTL::BUFFER_HANDLE buffer, bool msb);

    std::shared_ptr<gentl::GenTLModule> module_;
    GenTL::DS_HANDLE hDS_;
    std::string id_;
    std::shared_ptr<features::NodeMap> nodeMap_;
    std::thread thread_;
    std::atomic<uint32_t> threadId_{0};
    PendingQueue pending_;
    std::vector<GenTL::BUFFER_HANDLE> buffers_;  // announced, in announce order
    std::atomic<GenTL::EVENT_HANDLE> newBufferEvent_{nullptr};
    std::atomic<uint8_t> streaming_{0};
    std::atomic<uint64_t> payloadSize_{0};
    std::atomic<uint32_t> bitsPerPixel_{0};
    std::atomic<uint64_t> imageCounter_{0};
    std::atomic<uint64_t> errorCounter_{0};
    std::vector<uint8_t> memory_;                      // backs every announced buffer
    std::vector<std::vector<uint8_t>> retiredMemory_;  // blocks of buffers that could not be revoked
    std::atomic<int64_t> width_{0};
    std::atomic<int64_t> height_{0};
    std::atomic<uint16_t> recordingState_{0};
    std::atomic<bool> armed_{false};
    std::atomic<uint16_t> bitAlignment_{1};
    std::atomic<uint16_t> timestampMode_{0};
    std::atomic<bool> incompleteFails_{false};  // [CONFIG] FailIncompleteImages, read at each start
    std::atomic<uint32_t> startedMark_{0};      // announced buffers handed to the producer
    std::atomic<bool> closed_{false};           // the device is closing: no more starts
    std::atomic<bool> acquiring_{false};        // DSStartAcquisition succeeded, no DSStopAcquisition yet
    bool released_ = false;                     // DSClose done: the handles are gone (stream lock)
    std::mutex mutex_;                          // the stream lock
    std::mutex controlMutex_;                   // starts, stops, caller buffers
};

}  // namespace tq4::stream
