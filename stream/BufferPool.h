// The GenTL buffers of one data stream: one memory block, sliced into buffers of the payload
// size, announced to the producer, handed to it one at a time as caller buffers arrive, and
// revoked again, with a recovery for buffers the producer still holds. The pool has no lock of
// its own: its DataStream calls it under the stream lock. Its log lines keep the DataStream's
// origins, which the log's readers know.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "gentl-module/GenTL.h"

namespace tq4::gentl {
class GenTLModule;
}

namespace tq4::stream {

// The number of buffers of `payload` bytes (not 0) for a memory budget of `budget` bytes: as
// many as it holds, at most 512, when that is more than `minimum`; else `minimum`.
uint64_t bufferCountFor(uint64_t budget, uint64_t payload, uint64_t minimum);

// Driver status of a failed DSQueueBuffer, and of an acquisition thread that ended for want
// of an image base pointer.
constexpr uint32_t kStreamStatusGenTLFailed = 0x360000;

// DSGetInfo of an 8-byte value (sizes, counts); 0 on failure. The answered type when asked.
GenTL::GC_ERROR streamInfo(const gentl::GenTLModule& module, GenTL::DS_HANDLE hDS, GenTL::STREAM_INFO_CMD command,
                           uint64_t& value, GenTL::INFO_DATATYPE* type = nullptr);

class BufferPool {
public:
    BufferPool(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS);

    // STREAM_INFO_DEFINES_PAYLOADSIZE; false when the producer does not answer.
    bool streamDefinesPayloadSize() const;
    // STREAM_INFO_PAYLOAD_SIZE; 0 when the producer does not answer.
    uint64_t producerPayloadSize() const;

    // Announces as many buffers of `payload` bytes as the configured memory budget
    // (MEMORY/DMALength) holds, at least the producer's minimum (and 4), at most 512; the budget
    // used is written back to the configuration file. Nothing is announced for a payload of 0.
    // Called with nothing announced.
    void announceFor(uint64_t payload);
    // Revokes every announced buffer (with the start/kill/flush recovery for busy ones); the
    // memory of buffers the producer keeps stays.
    void revokeAll();
    // Hands the next announced buffer to the producer while not all are queued. 0, or
    // kStreamStatusGenTLFailed.
    uint32_t queueNext();
    // No buffer counts as handed to the producer (after a flush).
    void resetQueued() { queuedMark_ = 0; }
    uint32_t queuedMark() const { return queuedMark_.load(); }

    uint64_t numAnnounced() const;
    uint64_t numInputQueued() const;
    uint64_t numOutputQueued() const;
    uint64_t numStarted() const;

private:
    uint64_t countFor(uint64_t payload) const;
    uint64_t producerMinimum() const;
    uint64_t count(GenTL::STREAM_INFO_CMD command, GenTL::INFO_DATATYPE expected, const char* origin) const;
    void announce(uint64_t count, uint64_t payload);
    bool revokeWithRecovery(GenTL::BUFFER_HANDLE buffer);

    std::shared_ptr<gentl::GenTLModule> module_;
    GenTL::DS_HANDLE hDS_;
    std::vector<GenTL::BUFFER_HANDLE> buffers_;        // announced, in announce order
    std::vector<uint8_t> memory_;                      // backs every announced buffer
    std::vector<std::vector<uint8_t>> retiredMemory_;  // blocks of buffers that could not be revoked
    std::atomic<uint32_t> queuedMark_{0};              // announced buffers handed to the producer
};

}  // namespace tq4::stream
