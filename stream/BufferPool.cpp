#include "stream/BufferPool.h"

#include <algorithm>
#include <new>
#include <string>

#include "config/Config.h"
#include "gentl-module/GenTLCall.h"
#include "gentl-module/GenTLModule.h"
#include "log/Log.h"
#include "tq4_genicam.h"

namespace tq4::stream {

using gentl::callGenTL;
using gentl::low32;

namespace {

constexpr uint64_t kMinimumBuffers = 4;
constexpr uint64_t kMaximumBuffers = 512;
constexpr const char* kDefaultMemoryBudget = "33554432";  // 32 MiB

int asInt(uint64_t value) { return static_cast<int>(value); }

}  // namespace

uint64_t bufferCountFor(uint64_t budget, uint64_t payload, uint64_t minimum) {
    const uint64_t count = budget / payload;
    return count > minimum ? std::min(count, kMaximumBuffers) : minimum;
}

BufferPool::BufferPool(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS)
    : module_(std::move(module)), hDS_(hDS) {}

// ---- what the producer says --------------------------------------------------------------------

GenTL::GC_ERROR streamInfo(const gentl::GenTLModule& module, GenTL::DS_HANDLE hDS, GenTL::STREAM_INFO_CMD command,
                           uint64_t& value, GenTL::INFO_DATATYPE* type) {
    GenTL::INFO_DATATYPE answered = GenTL::INFO_DATATYPE_UNKNOWN;
    uint64_t answer = 0;
    std::size_t size = sizeof(answer);
    const GenTL::GC_ERROR status = callGenTL(module.fn().DSGetInfo, hDS, command, &answered, &answer, &size);
    value = status == GenTL::GC_ERR_SUCCESS ? answer : 0;
    if (type) *type = answered;
    return status;
}

bool BufferPool::streamDefinesPayloadSize() const {
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
    GenTL::bool8_t defines = false;
    std::size_t size = sizeof(defines);
    const GenTL::GC_ERROR status =
        callGenTL(module_->fn().DSGetInfo, hDS_, GenTL::STREAM_INFO_DEFINES_PAYLOADSIZE, &type, &defines, &size);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr,
                "DataStream::getPayloadSize: DSGetInfo(STREAM_INFO_DEFINES_PAYLOADSIZE) failed: %d", status);
        return false;
    }
    return defines;
}

uint64_t BufferPool::producerPayloadSize() const {
    uint64_t payload = 0;
    const GenTL::GC_ERROR status = streamInfo(*module_, hDS_, GenTL::STREAM_INFO_PAYLOAD_SIZE, payload);
    if (status != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "DataStream::getPayloadSize: DSGetInfo(STREAM_INFO_PAYLOAD_SIZE) failed: %d",
                status);
    return payload;
}

uint64_t BufferPool::producerMinimum() const {
    uint64_t minimum = kMinimumBuffers;
    uint64_t value = 0;
    const GenTL::GC_ERROR status = streamInfo(*module_, hDS_, GenTL::STREAM_INFO_BUF_ANNOUNCE_MIN, value);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "DataStream::calcNumBuffers: DSGetInfo(STREAM_INFO_BUF_ANNOUNCE_MIN) failed: %d",
                status);
    } else if (value > minimum) {
        minimum = value;
        TQ4_LOG(log::kVerbose, nullptr, "DataStream::calcNumBuffers: Minimum too low. Min announce buffer num: %d",
                asInt(minimum));
    }
    return minimum;
}

uint64_t BufferPool::count(GenTL::STREAM_INFO_CMD command, GenTL::INFO_DATATYPE expected, const char* origin) const {
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
    uint64_t value = 0;
    const GenTL::GC_ERROR status = streamInfo(*module_, hDS_, command, value, &type);
    // An answer of another type is logged and still used: its bytes are the count.
    if (status != GenTL::GC_ERR_SUCCESS || type != expected)
        TQ4_LOG(log::kError, nullptr, "DataStream::%s: GC failed: %d", origin, status);
    return value;
}

uint64_t BufferPool::numAnnounced() const {
    return count(GenTL::STREAM_INFO_NUM_ANNOUNCED, GenTL::INFO_DATATYPE_SIZET, "numAnnouncedBuffers");
}
uint64_t BufferPool::numInputQueued() const {
    return count(GenTL::STREAM_INFO_NUM_QUEUED, GenTL::INFO_DATATYPE_SIZET, "numInputQueuedBuffers");
}
uint64_t BufferPool::numOutputQueued() const {
    return count(GenTL::STREAM_INFO_NUM_AWAIT_DELIVERY, GenTL::INFO_DATATYPE_SIZET, "numOutputQueuedBuffers");
}
uint64_t BufferPool::numStarted() const {
    return count(GenTL::STREAM_INFO_NUM_STARTED, GenTL::INFO_DATATYPE_UINT64, "numStartedBuffers");
}

// ---- announcing --------------------------------------------------------------------------------

uint64_t BufferPool::countFor(uint64_t payload) const {
    const uint64_t minimum = producerMinimum();
    const std::string iniFile = config::paths().iniFile;
    uint64_t budget = std::stoull(kDefaultMemoryBudget);
    try {
        budget = std::stoull(config::readIniValue(iniFile, "MEMORY", "DMALength", kDefaultMemoryBudget, true));
    } catch (const std::exception& e) {
        TQ4_LOG(log::kError, nullptr, "DataStream::calcNumBuffers: cast ini DMALength stoull exception: %s", e.what());
    }
    // Without a payload there is nothing to divide; the budget in the file stays as it is.
    if (payload == 0) return minimum;
    const uint64_t count = bufferCountFor(budget, payload, minimum);
    if (count * payload != budget)
        config::writeIniValue(iniFile, "MEMORY", "DMALength", std::to_string(count * payload));
    return count;
}

void BufferPool::announceFor(uint64_t payload) {
    const uint64_t count = countFor(payload);
    buffers_.clear();
    queuedMark_ = 0;
    if (payload == 0) {
        memory_.clear();
        return;
    }
    buffers_.reserve(count);
    announce(count, payload);
}

void BufferPool::announce(uint64_t count, uint64_t payload) {
    try {
        memory_.assign(count * payload, 0);
    } catch (const std::bad_alloc&) {
        TQ4_LOG(log::kError, nullptr, "DataStream::setImageSizes: cannot allocate %d buffers of %d Bytes.",
                asInt(count), asInt(payload));
        memory_.clear();
        count = 0;
    }
    for (uint64_t i = 0; i < count; ++i) {
        GenTL::BUFFER_HANDLE buffer = nullptr;
        const GenTL::GC_ERROR status = callGenTL(module_->fn().DSAnnounceBuffer, hDS_, memory_.data() + i * payload,
                                                 static_cast<std::size_t>(payload), nullptr, &buffer);
        if (status != GenTL::GC_ERR_SUCCESS || !buffer) {
            TQ4_LOG(log::kError, nullptr,
                    "DataStream::setImageSizes: %dth Buffer (hBUF: 0x%x) of %d failed on DSAllocAndAnnounceBuffer "
                    "failed: %d",
                    asInt(i), low32(buffer), asInt(count), status);
            continue;
        }
        buffers_.push_back(buffer);
    }
    TQ4_LOG(log::kProgress, nullptr,
            "DataStream::setImageSizes: %d buffers allocated and %d buffers announced to GenTL Producer.", asInt(count),
            asInt(buffers_.size()));
}

uint32_t BufferPool::queueNext() {
    const uint32_t mark = queuedMark_;
    if (mark >= buffers_.size()) return ZEVO_NOERROR;
    GenTL::BUFFER_HANDLE buffer = buffers_[mark];
    TQ4_LOG(log::kImageTrace, nullptr, "DataStream::queueRemainingInitBuffers: DSQueueBuffer %d: 0x%x", asInt(mark),
            low32(buffer));
    const GenTL::GC_ERROR status = callGenTL(module_->fn().DSQueueBuffer, hDS_, buffer);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr,
                "DataStream::queueRemainingInitBuffers: Buffer %d failed on DSQueueBuffer failed: %d", asInt(mark),
                status);
        return kStreamStatusGenTLFailed;
    }
    queuedMark_ = mark + 1;
    return ZEVO_NOERROR;
}

// ---- revoking ----------------------------------------------------------------------------------

void BufferPool::revokeAll() {
    const gentl::GenTLFunctions& fn = module_->fn();
    callGenTL(fn.DSFlushQueue, hDS_, GenTL::ACQ_QUEUE_ALL_DISCARD);
    const uint64_t started = numStarted();
    const uint64_t output = numOutputQueued();
    const uint64_t input = numInputQueued();
    uint64_t announced = numAnnounced();
    TQ4_LOG(log::kImageTrace, nullptr,
            "DataStream::freeGCBuffers: Buffer in Queue. Announced: %d, Input: %d, Output: %d, Started: %d",
            asInt(announced), asInt(input), asInt(output), asInt(started));
    uint64_t revoked = 0;
    uint64_t stuck = 0;
    while (announced > stuck) {
        GenTL::BUFFER_HANDLE buffer = nullptr;
        const GenTL::GC_ERROR status = callGenTL(fn.DSGetBufferID, hDS_, static_cast<uint32_t>(stuck), &buffer);
        if (status != GenTL::GC_ERR_SUCCESS) {
            TQ4_LOG(log::kError, nullptr, "DataStream::freeGCBuffers: GetBufferID failed: %d", status);
            break;
        }
        if (revokeWithRecovery(buffer))
            ++revoked;
        else
            ++stuck;
        announced = numAnnounced();
    }
    TQ4_LOG(log::kImageTrace, nullptr, "DataStream::freeGCBuffers: Revoked buffers: %d", asInt(revoked));
    if (stuck != 0) {
        TQ4_LOG(log::kError, nullptr, "DataStream::freeGCBuffers: Cannot not revoke %d Buffers!", asInt(stuck));
        // The producer may still write into buffers it did not give back: their memory stays.
        if (!memory_.empty()) retiredMemory_.push_back(std::move(memory_));
        memory_.clear();
    }
    buffers_.clear();
    queuedMark_ = 0;
}

// A buffer the producer still holds is freed by starting, killing and flushing the acquisition;
// one that resists even that is left announced.
bool BufferPool::revokeWithRecovery(GenTL::BUFFER_HANDLE buffer) {
    const gentl::GenTLFunctions& fn = module_->fn();
    GenTL::GC_ERROR status = callGenTL(fn.DSRevokeBuffer, hDS_, buffer, nullptr, nullptr);
    if (status == GenTL::GC_ERR_SUCCESS) return true;
    TQ4_LOG(log::kError, nullptr, "DataStream::freeGCBuffers: Revoke buffer (hBUF: 0x%x) failed: %d", low32(buffer),
            status);
    status = callGenTL(fn.DSStartAcquisition, hDS_, GenTL::ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE);
    TQ4_LOG(log::kDetail, nullptr, "DataStream::freeGCBuffers: DSStartAcquisition again: Default. gc_error: %d",
            status);
    status = callGenTL(fn.DSStopAcquisition, hDS_, GenTL::ACQ_STOP_FLAGS_KILL);
    TQ4_LOG(log::kDetail, nullptr, "DataStream::freeGCBuffers: DSStopAcquisition again: Kill. gc_error: %d", status);
    status = callGenTL(fn.DSFlushQueue, hDS_, GenTL::ACQ_QUEUE_ALL_DISCARD);
    TQ4_LOG(log::kImageTrace, nullptr, "DataStream::freeGCBuffers: Flush queue again: discard all. gc_error: %d",
            status);
    status = callGenTL(fn.DSRevokeBuffer, hDS_, buffer, nullptr, nullptr);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "DataStream::freeGCBuffers: Revoke buffer (hBUF: 0x%x) failed AGAIN: %d",
                low32(buffer), status);
        return false;
    }
    TQ4_LOG(log::kProgress, nullptr, "DataStream::freeGCBuffers: Resolved busy state buffer (hBUF: 0x%x).",
            low32(buffer));
    return true;
}

}  // namespace tq4::stream
