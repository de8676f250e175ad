// The GenTL data stream of one opened device. It keeps the state the telegrams set (recording,
// armed, pixel size, alignment, time stamps), locks the camera's transport parameters while
// armed, starts and stops acquisition on the producer and the camera, and delegates the rest to
// its two parts: the buffer pool (stream/BufferPool.h: announcing, revoking, memory budget)
// and the acquisition (stream/Acquisition.h: event, thread, delivery into caller buffers).
//
// Locks (checked by Clang's thread-safety analysis): the control lock orders starts, stops,
// geometry changes and the queueing of caller buffers; it is taken before the stream lock and
// never by the acquisition thread, so a stop may hold it while it joins the thread. The stream
// lock guards the buffer pool and the state changes; it is never held while joining. The
// waiting caller buffers have a lock of their own.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "gentl-module/GenTL.h"
#include "stream/Acquisition.h"
#include "stream/BufferPool.h"
#include "stream/ThreadSafety.h"

namespace tq4::features {
class NodeMap;
}
namespace tq4::gentl {
class GenTLModule;
}

namespace tq4::stream {

class DataStream {
public:
    // Takes over a stream handle opened with DevOpenDataStream; close() (or the destructor)
    // stops, revokes the buffers and closes it.
    DataStream(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS, std::string id,
               std::shared_ptr<features::NodeMap> nodeMap);
    ~DataStream();
    DataStream(const DataStream&) = delete;
    DataStream& operator=(const DataStream&) = delete;

    const std::string& id() const { return id_; }

    // ---- state the telegram commands read and write ----
    uint16_t recordingState() const { return recordingState_.load(); }
    // Stores the state; switching recording off executes AcquisitionStop on the camera.
    void setRecordingState(uint16_t state) TQ4_EXCLUDES(mutex_);
    bool isArmed() const { return armed_.load(); }
    // TLParamsLocked = 1 / 0 where writable; the armed flag follows in every case.
    void armCamera() TQ4_EXCLUDES(mutex_);
    void disarmCamera() TQ4_EXCLUDES(mutex_);
    bool isStreaming() const { return acquisition_.isRunning(); }

    // Bits per pixel from PixelSize when readable, else the last run of digits of the
    // PixelFormat symbol; stored and returned.
    uint32_t setBitsPerPixel();
    uint32_t bitsPerPixel() const { return settings_.bitsPerPixel.load(); }
    // 0 = MSB, 1 = LSB aligned copies.
    uint16_t bitAlignment() const { return settings_.bitAlignment.load(); }
    void setBitAlignment(uint16_t alignment) { settings_.bitAlignment = alignment; }
    // 0 to 3: none, binary, both, readable time stamp.
    uint16_t timestampMode() const { return settings_.timestampMode.load(); }
    void setTimestampMode(uint16_t mode) { settings_.timestampMode = mode; }

    // ---- buffers ----
    int64_t width() const { return settings_.width.load(); }
    int64_t height() const { return settings_.height.load(); }
    // Stops streaming, revokes the old buffers and announces new ones for the current payload
    // size, all under the control lock. 0, or 0xA0360006 when the payload size is 0 (then
    // nothing is announced), or 0x80362006 when the stream is closed.
    uint32_t setImageSizes(int64_t width, int64_t height) TQ4_EXCLUDES(controlMutex_, mutex_);
    // From the stream when it defines the payload size, else the PayloadSize feature; the
    // stored value while streaming or closed. 0 when nothing can be read.
    uint64_t getPayloadSize() TQ4_EXCLUDES(mutex_);
    uint64_t numAnnouncedBuffers() TQ4_EXCLUDES(mutex_);

    // ---- acquisition ----
    // Queues a caller buffer: the first one starts streaming (camera armed and recording on);
    // while the stream runs, each one hands one more announced buffer to the producer and joins
    // the buffers waiting for an image. kStreamStatusGenTLFailed when the producer refused the
    // announced buffer (the caller buffer still waits), else 0, also when no acquisition takes
    // the buffer (logged). `logHandle` is the device's, for the log lines.
    uint32_t queueCallerBuffer(const ZevoBuffer& buffer, const void* logHandle) TQ4_EXCLUDES(controlMutex_, mutex_);
    // Ends the thread (its wait is killed; waiting buffers end cancelled), stops and flushes
    // the producer's acquisition.
    void stopStreaming() TQ4_EXCLUDES(controlMutex_, mutex_);
    // stopStreaming once, then every buffer revoked and the producer's stream closed; no start
    // afterwards: the device is closing. Later calls (the destructor's among them) do nothing.
    void close() TQ4_EXCLUDES(controlMutex_, mutex_);

    std::size_t pendingCount() const { return acquisition_.pendingCount(); }

private:
    // Registers the new-buffer event, starts the producer and the camera and the acquisition
    // thread. Needs the camera armed and recording on. True when the thread runs.
    bool startStreaming() TQ4_REQUIRES(controlMutex_) TQ4_EXCLUDES(mutex_);
    void stopStreamingLocked() TQ4_REQUIRES(controlMutex_) TQ4_EXCLUDES(mutex_);
    void stopProducer() TQ4_REQUIRES(mutex_);
    uint64_t payloadSizeLocked() TQ4_REQUIRES(mutex_);
    // Revokes the buffers and closes the producer's stream.
    void releaseProducerStream() TQ4_REQUIRES(mutex_);
    void lockTransportParameters(int64_t value, const char* failure);

    std::shared_ptr<gentl::GenTLModule> module_;
    GenTL::DS_HANDLE hDS_;
    std::string id_;
    std::shared_ptr<features::NodeMap> nodeMap_;
    ImageSettings settings_;
    Mutex controlMutex_;  // the control lock
    Mutex mutex_;         // the stream lock
    BufferPool pool_ TQ4_GUARDED_BY(mutex_);
    Acquisition acquisition_;
    std::atomic<uint16_t> recordingState_{0};
    std::atomic<bool> armed_{false};
    std::atomic<bool> closed_{false};               // the device is closing: no more starts
    std::atomic<bool> acquiring_{false};            // DSStartAcquisition succeeded, no DSStopAcquisition yet
    bool released_ TQ4_GUARDED_BY(mutex_) = false;  // DSClose done: the handles are gone
};

}  // namespace tq4::stream
