// DataStream: buffers, arming, acquisition start and stop. The acquisition thread and the copy
// into caller buffers are in Delivery.cpp.
#include "stream/DataStream.h"

#include <algorithm>
#include <new>
#include <optional>
#include <system_error>
#include <thread>

#include "config/Config.h"
#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl/GenTLCall.h"
#include "gentl/GenTLModule.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "stream/PixelFormatName.h"
#include "tq4_genicam.h"

namespace tq4::stream {

using gentl::callGenTL;
using gentl::low32;

namespace {

constexpr uint64_t kMinimumBuffers = 4;
constexpr uint64_t kMaximumBuffers = 512;
constexpr const char* kDefaultMemoryBudget = "33554432";  // 32 MiB

int asInt(uint64_t value) { return static_cast<int>(value); }

// [CONFIG] FailIncompleteImages: nonzero delivers the images the producer marks incomplete as
// failed; missing, 0 or not a number (logged) delivers them as done.
bool incompleteImagesFail() {
    constexpr const char* kKey = "FailIncompleteImages";
    const std::string setting = config::findIniValue(config::paths().iniFile, "CONFIG", kKey).value_or("0");
    const std::optional<bool> fail = config::switchValue(setting);
    if (!fail)
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: [CONFIG] %s = '%s' is not a number, 0 used", kKey,
                setting.c_str());
    return fail.value_or(false);
}

}  // namespace

uint64_t bufferCountFor(uint64_t budget, uint64_t payload, uint64_t minimum) {
    const uint64_t count = budget / payload;
    return count > minimum ? std::min(count, kMaximumBuffers) : minimum;
}

DataStream::DataStream(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS, std::string id,
                       std::shared_ptr<features::NodeMap> nodeMap)
    : module_(std::move(module)), hDS_(hDS), id_(std::move(id)), nodeMap_(std::move(nodeMap)) {}

DataStream::~DataStream() { close(); }

// Runs while the device is still open: an export on another thread may hold this stream past
// the device's DevClose, and after it nothing may reach the producer with this stream's handles.
void DataStream::releaseProducerStream() {
    freeGCBuffers();
    if (callGenTL(module_->fn().DSClose, hDS_) != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "DataStream::~DataStream: DSClose with device ID <%s> failed.", id_.c_str());
    TQ4_LOG(log::kProgress, nullptr, "DataStream::~DataStream: Closed DataStream with ID <%s>", id_.c_str());
    released_ = true;
}

// ---- camera state ------------------------------------------------------------------------------

void DataStream::setRecordingState(uint16_t state) {
    std::lock_guard<std::mutex> lock(mutex_);
    recordingState_ = state;
    if (state != 0 || !nodeMap_) return;
    if (!features::callCommand(*nodeMap_, "AcquisitionStop"))
        TQ4_LOG(log::kError, nullptr, "DataStream::setRecordingState: call AcquisitionStop failed.");
    TQ4_LOG(log::kDetail, nullptr, "DataStream::setRecordingState: call AcquisitionStop.");
}

void DataStream::armCamera() {
    std::lock_guard<std::mutex> lock(mutex_);
    lockTransportParameters(1, "DataStream::armCamera: TLParamsLocked lock failed.");
    armed_ = true;
    TQ4_LOG(log::kVerbose, nullptr, "DataStream::armCamera: done.");
}

void DataStream::disarmCamera() {
    std::lock_guard<std::mutex> lock(mutex_);
    lockTransportParameters(0, "DataStream::disarmCamera: TLParamsLocked unlock failed.");
    armed_ = false;
    TQ4_LOG(log::kVerbose, nullptr, "DataStream::disarmCamera: done.");
}

// TLParamsLocked where the camera has it writable; a refused write is only logged.
void DataStream::lockTransportParameters(int64_t value, const char* failure) {
    if (nodeMap_ && features::isFeatureWritable(*nodeMap_, "TLParamsLocked") &&
        !features::setInteger(*nodeMap_, "TLParamsLocked", value))
        TQ4_LOG(log::kError, nullptr, "%s", failure);
}

uint32_t DataStream::setBitsPerPixel() {
    uint64_t bits = 0;
    std::string source;
    if (nodeMap_ && features::isFeatureReadable(*nodeMap_, "PixelSize")) {
        source = "IInteger \"PixelSize\"";
        bits = static_cast<uint64_t>(features::getInteger(*nodeMap_, "PixelSize"));
    } else {
        source = "text extract bpp from \"PixelFormat\"";
        const std::string symbol = nodeMap_ ? features::getEnum(*nodeMap_, "PixelFormat") : std::string();
        try {
            bits = bitsInFormatName(symbol);
        } catch (const std::exception& e) {
            TQ4_LOG(log::kError, nullptr, "DataStream::setBitsPerPixel: stoull exception: %s", e.what());
        }
    }
    bitsPerPixel_ = static_cast<uint32_t>(bits);
    TQ4_LOG(log::kProgress, nullptr, "DataStream::setBitsPerPixel: %s : %d", source.c_str(), asInt(bits));
    return bitsPerPixel_;
}

// ---- payload and buffer count ------------------------------------------------------------------

bool DataStream::streamDefinesPayloadSize() {
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

uint64_t DataStream::getPayloadSize() {
    std::lock_guard<std::mutex> lock(mutex_);
    return payloadSizeLocked();
}

uint64_t DataStream::payloadSizeLocked() {
    if (isStreaming() || released_) return payloadSize_;
    uint64_t payload = 0;
    if (streamDefinesPayloadSize()) {
        const GenTL::GC_ERROR status = streamInfo(GenTL::STREAM_INFO_PAYLOAD_SIZE, payload);
        if (status != GenTL::GC_ERR_SUCCESS)
            TQ4_LOG(log::kError, nullptr, "DataStream::getPayloadSize: DSGetInfo(STREAM_INFO_PAYLOAD_SIZE) failed: %d",
                    status);
    } else if (nodeMap_) {
        const int64_t feature = features::getInteger(*nodeMap_, "PayloadSize");
        payload = feature > 0 ? static_cast<uint64_t>(feature) : 0;
    }
    return payload;
}

GenTL::GC_ERROR DataStream::streamInfo(GenTL::STREAM_INFO_CMD command, uint64_t& value, GenTL::INFO_DATATYPE* type) {
    GenTL::INFO_DATATYPE answered = GenTL::INFO_DATATYPE_UNKNOWN;
    uint64_t answer = 0;
    std::size_t size = sizeof(answer);
    const GenTL::GC_ERROR status = callGenTL(module_->fn().DSGetInfo, hDS_, command, &answered, &answer, &size);
    value = status == GenTL::GC_ERR_SUCCESS ? answer : 0;
    if (type) *type = answered;
    return status;
}

uint64_t DataStream::producerMinimumBuffers() {
    uint64_t minimum = kMinimumBuffers;
    uint64_t value = 0;
    const GenTL::GC_ERROR status = streamInfo(GenTL::STREAM_INFO_BUF_ANNOUNCE_MIN, value);
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

uint64_t DataStream::calcNumBuffers() {
    const uint64_t minimum = producerMinimumBuffers();
    const std::string iniFile = config::paths().iniFile;
    uint64_t budget = std::stoull(kDefaultMemoryBudget);
    try {
        budget = std::stoull(config::readIniValue(iniFile, "MEMORY", "DMALength", kDefaultMemoryBudget, true));
    } catch (const std::exception& e) {
        TQ4_LOG(log::kError, nullptr, "DataStream::calcNumBuffers: cast ini DMALength stoull exception: %s", e.what());
    }
    const uint64_t payload = payloadSize_;
    // Without a payload there is nothing to divide; the budget in the file stays as it is.
    if (payload == 0) return minimum;
    const uint64_t count = bufferCountFor(budget, payload, minimum);
    if (count * payload != budget)
        config::writeIniValue(iniFile, "MEMORY", "DMALength", std::to_string(count * payload));
    return count;
}

// ---- buffers -----------------------------------------------------------------------------------

uint32_t DataStream::setImageSizes(int64_t width, int64_t height) {
    // Buffers are never revoked from under a running acquisition.
    if (isStreaming()) stopStreaming();
    std::lock_guard<std::mutex> lock(mutex_);
    if (released_) {
        TQ4_LOG(log::kError, nullptr, "DataStream::setImageSizes: DataStream <%s> is closed.", id_.c_str());
        return ZEVO_ERROR_DRIVER_NODRIVER;
    }
    freeGCBuffers();
    width_ = width;
    height_ = height;
    const uint64_t payload = payloadSizeLocked();
    payloadSize_ = payload;
    const uint32_t bits = bitsPerPixel_;
    TQ4_LOG(log::kProgress, nullptr, "DataStream::setImageSizes: payload size: %d Bytes, bpp: %d, Bpp: %d",
            asInt(payload), asInt(bits), asInt((bits + 7) / 8));
    const uint64_t count = calcNumBuffers();
    pending_.clear();
    buffers_.clear();
    buffers_.reserve(count);
    startedMark_ = 0;
    if (payload == 0) {
        memory_.clear();
        return ZEVO_ERROR_DRIVER_WRONGSIZE;
    }
    announceBuffers(count);
    return ZEVO_NOERROR;
}

void DataStream::announceBuffers(uint64_t count) {
    const uint64_t payload = payloadSize_;
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

uint64_t DataStream::bufferCount(GenTL::STREAM_INFO_CMD command, GenTL::INFO_DATATYPE expected, const char* origin) {
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
    uint64_t value = 0;
    const GenTL::GC_ERROR status = streamInfo(command, value, &type);
    // An answer of another type is logged and still used: its bytes are the count.
    if (status != GenTL::GC_ERR_SUCCESS || type != expected)
        TQ4_LOG(log::kError, nullptr, "DataStream::%s: GC failed: %d", origin, status);
    return value;
}

uint64_t DataStream::numAnnouncedBuffers() {
    return bufferCount(GenTL::STREAM_INFO_NUM_ANNOUNCED, GenTL::INFO_DATATYPE_SIZET, "numAnnouncedBuffers");
}
uint64_t DataStream::numInputQueuedBuffers() {
    return bufferCount(GenTL::STREAM_INFO_NUM_QUEUED, GenTL::INFO_DATATYPE_SIZET, "numInputQueuedBuffers");
}
uint64_t DataStream::numOutputQueuedBuffers() {
    return bufferCount(GenTL::STREAM_INFO_NUM_AWAIT_DELIVERY, GenTL::INFO_DATATYPE_SIZET, "numOutputQueuedBuffers");
}
uint64_t DataStream::numStartedBuffers() {
    return bufferCount(GenTL::STREAM_INFO_NUM_STARTED, GenTL::INFO_DATATYPE_UINT64, "numStartedBuffers");
}

void DataStream::freeGCBuffers() {
    const gentl::GenTLFunctions& fn = module_->fn();
    callGenTL(fn.DSFlushQueue, hDS_, GenTL::ACQ_QUEUE_ALL_DISCARD);
    const uint64_t started = numStartedBuffers();
    const uint64_t output = numOutputQueuedBuffers();
    const uint64_t input = numInputQueuedBuffers();
    uint64_t announced = numAnnouncedBuffers();
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
        announced = numAnnouncedBuffers();
    }
    TQ4_LOG(log::kImageTrace, nullptr, "DataStream::freeGCBuffers: Revoked buffers: %d", asInt(revoked));
    if (stuck != 0) {
        TQ4_LOG(log::kError, nullptr, "DataStream::freeGCBuffers: Cannot not revoke %d Buffers!", asInt(stuck));
        // The producer may still write into buffers it did not give back: their memory stays.
        if (!memory_.empty()) retiredMemory_.push_back(std::move(memory_));
        memory_.clear();
    }
}

// A buffer the producer still holds is freed by starting, killing and flushing the acquisition;
// one that resists even that is left announced.
bool DataStream::revokeWithRecovery(GenTL::BUFFER_HANDLE buffer) {
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

uint32_t DataStream::queueRemainingInitBuffers() {
    std::lock_guard<std::mutex> lock(mutex_);
    const uint32_t mark = startedMark_;
    if (released_ || mark >= buffers_.size()) return ZEVO_NOERROR;
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
    startedMark_ = mark + 1;
    return ZEVO_NOERROR;
}

// ---- new-buffer event --------------------------------------------------------------------------

uint32_t DataStream::registerNewBufferEvent() {
    unregisterNewBufferEvent();
    GenTL::EVENT_HANDLE event = nullptr;
    const GenTL::GC_ERROR status = callGenTL(module_->fn().GCRegisterEvent, hDS_, GenTL::EVENT_NEW_BUFFER, &event);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "DataStream::registerNewBufferEvent: GCRegisterEvent failed: %d", status);
        return kStreamStatusEventFailed;
    }
    if (!event) {
        TQ4_LOG(log::kError, nullptr,
                "DataStream::registerNewBufferEvent: Registration of new buffer event has failed.");
        return kStreamStatusEventFailed;
    }
    newBufferEvent_ = event;
    return ZEVO_NOERROR;
}

void DataStream::unregisterNewBufferEvent() {
    if (!newBufferEvent_.exchange(nullptr)) return;
    const GenTL::GC_ERROR status = callGenTL(module_->fn().GCUnregisterEvent, hDS_, GenTL::EVENT_NEW_BUFFER);
    if (status != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "DataStream::unregisterNewBufferEvent: GCUnregisterEvent failed: %d", status);
}

// ---- acquisition -------------------------------------------------------------------------------

bool DataStream::startStreaming() {
    if (isStreaming()) return true;
    if (closed_) {
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: DataStream <%s> is closing.", id_.c_str());
        return false;
    }
    joinThread();  // one that ended by itself
    std::lock_guard<std::mutex> lock(mutex_);
    if (!armed_ || recordingState_ == 0) {
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: camera armed: %d, recording state: %d",
                armed_ ? 1 : 0, static_cast<int>(recordingState_));
        return false;
    }
    if (registerNewBufferEvent() != ZEVO_NOERROR) {
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: register new buffer event failed.");
        return false;
    }
    const GenTL::GC_ERROR status =
        callGenTL(module_->fn().DSStartAcquisition, hDS_, GenTL::ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: DSStartAcquisition failed: %d", status);
        unregisterNewBufferEvent();
        return false;
    }
    acquiring_ = true;
    TQ4_LOG(log::kVerbose, nullptr, "DataStream::startStreaming: DSStartAcquisition done.");
    if (recordingState_ != 0 && nodeMap_) {
        if (!features::callCommand(*nodeMap_, "AcquisitionStart"))
            TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: call AcquisitionStart failed");
        TQ4_LOG(log::kDetail, nullptr, "DataStream::startStreaming: call AcquisitionStart.");
    }
    // The format is read here, before the thread exists, so that the thread never touches the
    // node map: a closing device destroys it before its streams.
    const bool msb = nodeMap_ && isMsbFormatName(features::getEnum(*nodeMap_, "PixelFormat"));
    incompleteFails_ = incompleteImagesFail();
    pending_.open();
    streaming_.exchange(1);
    TQ4_LOG(log::kDetail, nullptr, "DataStream::startStreaming: start ImageAcquireThread");
    try {
        thread_ = std::thread(&DataStream::ImageAcquireThread, this, msb);
    } catch (const std::system_error& e) {
        // Without a thread nothing would ever end the buffers: the stream stays stopped.
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: cannot start ImageAcquireThread: %s", e.what());
        streaming_.exchange(0);
        pending_.closeAndCancelAll();
        unregisterNewBufferEvent();
        stopProducer();
        return false;
    }
    return true;
}

void DataStream::close() {
    if (closed_.exchange(true)) return;
    stopStreaming();
    std::lock_guard<std::mutex> lock(mutex_);
    releaseProducerStream();
}

void DataStream::stopStreaming() {
    std::lock_guard<std::mutex> control(controlMutex_);
    TQ4_LOG(log::kProgress, nullptr, "DataStream::stopStreaming: @%d. Pending buffers: %d", asInt(imageCounter_),
            asInt(pending_.count()));
    if (thread_.joinable()) {
        if (GenTL::EVENT_HANDLE event = newBufferEvent_.load()) callGenTL(module_->fn().EventKill, event);
        streaming_.exchange(0);
        pending_.wake();
        joinThread();
    }
    std::lock_guard<std::mutex> lock(mutex_);
    stopProducer();
    TQ4_LOG(log::kProgress, nullptr, "DataStream::stopStreaming: done.");
}

// Each DSStartAcquisition gets one DSStopAcquisition; a stream that is not acquiring is not
// stopped again (the producer would refuse it with GC_ERR_RESOURCE_IN_USE).
void DataStream::stopProducer() {
    if (released_) return;
    const gentl::GenTLFunctions& fn = module_->fn();
    if (acquiring_.exchange(false)) {
        const GenTL::GC_ERROR status = callGenTL(fn.DSStopAcquisition, hDS_, GenTL::ACQ_STOP_FLAGS_KILL);
        if (status != GenTL::GC_ERR_SUCCESS)
            TQ4_LOG(log::kError, nullptr, "DataStream::stopStreaming: DSStopAcquisition failed: %d", status);
    }
    callGenTL(fn.DSFlushQueue, hDS_, GenTL::ACQ_QUEUE_ALL_DISCARD);
    startedMark_ = 0;
    imageCounter_ = 0;
    errorCounter_ = 0;
}

void DataStream::joinThread() {
    if (!thread_.joinable()) return;
    // The thread never stops itself this way; joining it from inside would never return.
    if (threadId_ == platform::currentThreadId()) {
        TQ4_LOG(log::kError, nullptr, "DataStream::stopStreaming: called from ImageAcquireThread.");
        return;
    }
    thread_.join();
    threadId_ = 0;
}

bool DataStream::pushPending(std::shared_ptr<ZevoBuffer> buffer) { return pending_.push(std::move(buffer)); }

}  // namespace tq4::stream
