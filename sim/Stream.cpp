#include "sim/Stream.h"

#include "sim/Tree.h"

namespace zevo {

Stream::Stream(std::shared_ptr<Camera> camera, std::weak_ptr<Device> device, std::string id, const Config& config,
               FaultPoints& faults)
    : StreamModule(std::move(id)),
      camera_(std::move(camera)),
      device_(std::move(device)),
      config_(config),
      faults_(faults) {}

Stream::~Stream() { stopEngine(); }

// A buffer never filled tells the sensor's full size.
std::shared_ptr<BufferModule> Stream::newBuffer() const {
    auto buffer = std::make_shared<BufferModule>();
    const ImageGeometry full;
    buffer->fill.width = full.width;
    buffer->fill.height = full.height;
    return buffer;
}

void Stream::queued(BufferModule& buffer) { buffer.stuck = ++queueCalls_ == config_.stuckBuffer; }

// ---- acquisition -------------------------------------------------------------------------

std::shared_ptr<DeviceModule> Stream::parentDevice() const { return device_.lock(); }

void Stream::start(uint64_t count) {
    require(count > 0, GC_ERR_INVALID_PARAMETER, "number of buffers to acquire is 0");
    std::lock_guard<std::mutex> engineLock(engineMutex_);
    std::lock_guard<std::mutex> lock(mutex_);
    requireStartable(config_.bufAnnounceMin, "too few buffers announced");
    if (engine_.joinable()) engine_.join();  // an engine that ended by itself
    beginAcquisition(count);
    stopRequested_ = false;
    nextFrameId_ = 1;
    engine_ = std::thread(&Stream::engineLoop, this);
}

void Stream::stop(ACQ_STOP_FLAGS flags) {
    requireStopFlags(flags);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requireGrabbing();
    }
    stopEngine();
    std::lock_guard<std::mutex> lock(mutex_);
    grabbing_ = false;
}

void Stream::stopEngine() {
    // Starts, stops and closes may come from different threads: one of them joins the engine.
    std::lock_guard<std::mutex> engineLock(engineMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopRequested_ = true;
        changed_.notify_all();
    }
    if (engine_.joinable()) engine_.join();
}

// ---- information -------------------------------------------------------------------------

std::optional<InfoValue> Stream::ownInfo(STREAM_INFO_CMD command) const {
    switch (command) {
        case STREAM_INFO_PAYLOAD_SIZE: return infoSize(camera_->payloadSize());
        case STREAM_INFO_DEFINES_PAYLOADSIZE: return infoBool(config_.definesPayloadSize);
        case STREAM_INFO_NUM_ANNOUNCED:
        case STREAM_INFO_NUM_QUEUED:
        case STREAM_INFO_NUM_AWAIT_DELIVERY:
        case STREAM_INFO_NUM_STARTED: {
            if (!config_.bufferCountType) return std::nullopt;
            InfoValue count = commonInfo(command);
            count.type = static_cast<INFO_DATATYPE>(*config_.bufferCountType);
            return count;
        }
        case STREAM_INFO_BUF_ANNOUNCE_MIN: return infoSize(config_.bufAnnounceMin);
        case STREAM_INFO_NUM_UNDERRUN: {
            std::lock_guard<std::mutex> lock(mutex_);
            return infoUInt64(underrun_);
        }
        case STREAM_INFO_IS_GRABBING: {
            std::lock_guard<std::mutex> lock(mutex_);
            return infoBool(grabbing_ && !stopRequested_ && acquired_ < toAcquire_);
        }
        default: return std::nullopt;
    }
}

std::optional<InfoValue> Stream::ownBufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const {
    if (command != BUFFER_INFO_BASE) return std::nullopt;
    if (const auto fault = faults_.fire("BUFFER_INFO_BASE")) {
        if (*fault != GC_ERR_SUCCESS) throw GenTLError(*fault, "injected fault");
        return infoPtr(nullptr);
    }
    return infoPtr(buffer.base);
}

}  // namespace zevo
