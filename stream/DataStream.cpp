// DataStream: the telegrams' state, arming, acquisition start and stop, and the order in which
// its buffer pool and its acquisition are used.
#include "stream/DataStream.h"

#include <algorithm>
#include <optional>

#include "config/Config.h"
#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl-module/GenTLCall.h"
#include "gentl-module/GenTLModule.h"
#include "log/Log.h"
#include "stream/PixelFormatName.h"
#include "tq4_genicam.h"

namespace tq4::stream {

using gentl::callGenTL;
using gentl::low32;

namespace {

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

DataStream::DataStream(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS, std::string id,
                       std::shared_ptr<features::NodeMap> nodeMap)
    : module_(std::move(module)),
      hDS_(hDS),
      id_(std::move(id)),
      nodeMap_(std::move(nodeMap)),
      pool_(module_, hDS_),
      acquisition_(module_, hDS_, settings_) {}

DataStream::~DataStream() { close(); }

void DataStream::close() {
    if (closed_.exchange(true)) return;
    stopStreaming();
    Locked lock(mutex_);
    releaseProducerStream();
}

// Runs while the device is still open: an export on another thread may hold this stream past
// the device's DevClose, and after it nothing may reach the producer with this stream's handles.
void DataStream::releaseProducerStream() {
    pool_.revokeAll();
    if (callGenTL(module_->fn().DSClose, hDS_) != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "DataStream::~DataStream: DSClose with device ID <%s> failed.", id_.c_str());
    TQ4_LOG(log::kProgress, nullptr, "DataStream::~DataStream: Closed DataStream with ID <%s>", id_.c_str());
    released_ = true;
}

// ---- camera state ------------------------------------------------------------------------------

void DataStream::setRecordingState(uint16_t state) {
    Locked lock(mutex_);
    recordingState_ = state;
    if (state != 0 || !nodeMap_) return;
    if (!features::callCommand(*nodeMap_, "AcquisitionStop"))
        TQ4_LOG(log::kError, nullptr, "DataStream::setRecordingState: call AcquisitionStop failed.");
    TQ4_LOG(log::kDetail, nullptr, "DataStream::setRecordingState: call AcquisitionStop.");
}

void DataStream::armCamera() {
    Locked lock(mutex_);
    lockTransportParameters(1, "DataStream::armCamera: TLParamsLocked lock failed.");
    armed_ = true;
    TQ4_LOG(log::kVerbose, nullptr, "DataStream::armCamera: done.");
}

void DataStream::disarmCamera() {
    Locked lock(mutex_);
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
    settings_.bitsPerPixel = static_cast<uint32_t>(bits);
    TQ4_LOG(log::kProgress, nullptr, "DataStream::setBitsPerPixel: %s : %d", source.c_str(), asInt(bits));
    return settings_.bitsPerPixel;
}

// ---- payload and buffers -----------------------------------------------------------------------

uint64_t DataStream::getPayloadSize() {
    Locked lock(mutex_);
    return payloadSizeLocked();
}

uint64_t DataStream::payloadSizeLocked() {
    if (isStreaming() || released_) return settings_.payloadSize;
    if (pool_.streamDefinesPayloadSize()) return pool_.producerPayloadSize();
    if (!nodeMap_) return 0;
    const int64_t feature = features::getInteger(*nodeMap_, "PayloadSize");
    return feature > 0 ? static_cast<uint64_t>(feature) : 0;
}

uint64_t DataStream::numAnnouncedBuffers() {
    Locked lock(mutex_);
    return pool_.numAnnounced();
}

uint32_t DataStream::setImageSizes(int64_t width, int64_t height) {
    Locked control(controlMutex_);
    // Buffers are never revoked from under a running acquisition.
    if (isStreaming()) stopStreamingLocked();
    Locked lock(mutex_);
    if (released_) {
        TQ4_LOG(log::kError, nullptr, "DataStream::setImageSizes: DataStream <%s> is closed.", id_.c_str());
        return ZEVO_ERROR_DRIVER_NODRIVER;
    }
    pool_.revokeAll();
    settings_.width = width;
    settings_.height = height;
    const uint64_t payload = payloadSizeLocked();
    settings_.payloadSize = payload;
    const uint32_t bits = settings_.bitsPerPixel;
    TQ4_LOG(log::kProgress, nullptr, "DataStream::setImageSizes: payload size: %d Bytes, bpp: %d, Bpp: %d",
            asInt(payload), asInt(bits), asInt((bits + 7) / 8));
    acquisition_.clearPending();
    pool_.announceFor(payload);
    return payload == 0 ? ZEVO_ERROR_DRIVER_WRONGSIZE : ZEVO_NOERROR;
}

// ---- acquisition -------------------------------------------------------------------------------

uint32_t DataStream::queueCallerBuffer(const ZevoBuffer& buffer, const void* logHandle) {
    Locked control(controlMutex_);
    const bool neverQueued = [this] {
        Locked lock(mutex_);
        return pool_.queuedMark() == 0;
    }();
    if (!isStreaming() && neverQueued) {
        TQ4_LOG(log::kImageTrace, logHandle, "Device::setImageBuffer: start streaming ...");
        if (startStreaming())
            TQ4_LOG(log::kProgress, logHandle, "Device::setImageBuffer: Streaming started.");
        else
            TQ4_LOG(log::kError, logHandle, "Device::setImageBuffer: Start streaming failed.");
    }
    if (isStreaming()) {
        const uint32_t result = [this] {
            Locked lock(mutex_);
            return released_ ? ZEVO_NOERROR : pool_.queueNext();
        }();
        if (acquisition_.push(std::make_shared<ZevoBuffer>(buffer))) {
            TQ4_LOG(log::kImageTrace, logHandle,
                    "Device::setImageBuffer: @%d pending zevo buffers: %d, new buffer: 0x%x",
                    asInt(acquisition_.imageCounter()), asInt(acquisition_.pendingCount()), low32(buffer.buffer));
            return result;
        }
    }
    TQ4_LOG(log::kError, logHandle, "Device::setImageBuffer: DataStream is not running.");
    return ZEVO_NOERROR;
}

bool DataStream::startStreaming() {
    if (closed_) {
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: DataStream <%s> is closing.", id_.c_str());
        return false;
    }
    acquisition_.join();  // one that ended by itself
    Locked lock(mutex_);
    if (!armed_ || recordingState_ == 0) {
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: camera armed: %d, recording state: %d",
                armed_ ? 1 : 0, static_cast<int>(recordingState_));
        return false;
    }
    if (acquisition_.registerEvent() != ZEVO_NOERROR) {
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: register new buffer event failed.");
        return false;
    }
    const GenTL::GC_ERROR status =
        callGenTL(module_->fn().DSStartAcquisition, hDS_, GenTL::ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: DSStartAcquisition failed: %d", status);
        acquisition_.unregisterEvent();
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
    if (acquisition_.start(msb, incompleteImagesFail())) return true;
    // Without a thread nothing would ever end the buffers: the stream stays stopped.
    stopProducer();
    return false;
}

void DataStream::stopStreaming() {
    Locked control(controlMutex_);
    stopStreamingLocked();
}

void DataStream::stopStreamingLocked() {
    TQ4_LOG(log::kProgress, nullptr, "DataStream::stopStreaming: @%d. Pending buffers: %d",
            asInt(acquisition_.imageCounter()), asInt(acquisition_.pendingCount()));
    acquisition_.stop();
    Locked lock(mutex_);
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
    pool_.resetQueued();
    acquisition_.resetCounters();
}

}  // namespace tq4::stream
