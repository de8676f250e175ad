#include "producer-kit/StreamModule.h"

#include <algorithm>
#include <chrono>

namespace gentlkit {

void requireStopFlags(ACQ_STOP_FLAGS flags) {
    require(flags == ACQ_STOP_FLAGS_DEFAULT || flags == ACQ_STOP_FLAGS_KILL, GC_ERR_INVALID_PARAMETER,
            "unknown stop flags");
}

PortIdentity StreamModule::portIdentity() const {
    PortIdentity p = Module::portIdentity();
    p.id = id_;
    return p;
}

void StreamModule::requireOwn(const BufferModule& buffer) const {
    require(buffer.owner == this, GC_ERR_INVALID_HANDLE, "buffer belongs to another data stream");
}

// A call that looked the stream up just before another thread closed it finds it closed here.
void StreamModule::requireOpen() const { require(!closed_, GC_ERR_INVALID_HANDLE, "the data stream is closed"); }

size_t StreamModule::countState(BufferState state) const {
    return size_t(
        std::count_if(buffers_.begin(), buffers_.end(), [state](const auto& b) { return b->state == state; }));
}

// ---- buffers -----------------------------------------------------------------------------

std::shared_ptr<BufferModule> StreamModule::addBuffer(uint8_t* base, std::unique_ptr<uint8_t[]> own, size_t size,
                                                      void* userPointer) {
    auto buffer = newBuffer();
    buffer->owner = this;
    buffer->base = base;
    buffer->ownMemory = std::move(own);
    buffer->size = size;
    buffer->userPointer = userPointer;
    std::lock_guard<std::mutex> lock(mutex_);
    requireOpen();
    buffers_.push_back(buffer);
    return buffer;
}

std::shared_ptr<BufferModule> StreamModule::announce(void* memory, size_t size, void* userPointer) {
    require(memory != nullptr && size > 0, GC_ERR_INVALID_PARAMETER, "buffer memory missing");
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& b : buffers_) require(b->base != memory, GC_ERR_RESOURCE_IN_USE, "memory already announced");
    }
    return addBuffer(static_cast<uint8_t*>(memory), nullptr, size, userPointer);
}

std::shared_ptr<BufferModule> StreamModule::allocateAndAnnounce(size_t size, void* userPointer) {
    require(size > 0, GC_ERR_INVALID_PARAMETER, "buffer size is 0");
    std::unique_ptr<uint8_t[]> memory(new (std::nothrow) uint8_t[size]);
    require(memory != nullptr, GC_ERR_OUT_OF_MEMORY, "cannot allocate the buffer");
    uint8_t* base = memory.get();
    return addBuffer(base, std::move(memory), size, userPointer);
}

void StreamModule::revoke(BufferModule& buffer, void** memory, void** userPointer) {
    requireOwn(buffer);
    std::lock_guard<std::mutex> lock(mutex_);
    requireOpen();
    const auto found =
        std::find_if(buffers_.begin(), buffers_.end(), [&](const auto& b) { return b.get() == &buffer; });
    require(found != buffers_.end(), GC_ERR_INVALID_HANDLE, "buffer already revoked");
    require(buffer.state == BufferState::Announced, GC_ERR_BUSY, "buffer is queued or being filled");
    if (memory) *memory = buffer.ownMemory ? nullptr : buffer.base;
    if (userPointer) *userPointer = buffer.userPointer;
    buffers_.erase(found);
}

void StreamModule::queue(BufferModule& buffer) {
    requireOwn(buffer);
    std::lock_guard<std::mutex> lock(mutex_);
    requireOpen();
    require(buffer.state == BufferState::Announced, GC_ERR_RESOURCE_IN_USE, "buffer is already queued");
    buffer.state = BufferState::InputPool;
    buffer.fill.sizeFilled = 0;
    buffer.fill.dataSize = 0;
    input_.push_back(&buffer);
    queued(buffer);
    changed_.notify_all();
}

// Buffers the device holds for good stay where they are.
void StreamModule::moveToAnnounced(std::deque<BufferModule*>& queue) {
    std::deque<BufferModule*> held;
    for (BufferModule* b : queue)
        if (b->stuck)
            held.push_back(b);
        else
            b->state = BufferState::Announced;
    queue.swap(held);
}

void StreamModule::flush(ACQ_QUEUE_TYPE operation) {
    require(operation >= ACQ_QUEUE_INPUT_TO_OUTPUT && operation <= ACQ_QUEUE_ALL_DISCARD, GC_ERR_INVALID_PARAMETER,
            "unknown flush operation");
    whilePaused([&] { flushQueues(operation); });
}

void StreamModule::flushQueues(ACQ_QUEUE_TYPE operation) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto redirectFilling = [this](BufferModule::AfterFill where) {
        for (const auto& b : buffers_)
            if (b->state == BufferState::Acquiring) b->afterFill = where;
    };
    switch (operation) {
        case ACQ_QUEUE_INPUT_TO_OUTPUT:
            for (BufferModule* b : input_)
                if (!b->stuck) {
                    b->state = BufferState::OutputQueue;
                    b->fill.newData = false;
                    output_.push_back(b);
                }
            input_.erase(std::remove_if(input_.begin(), input_.end(), [](BufferModule* b) { return !b->stuck; }),
                         input_.end());
            break;
        case ACQ_QUEUE_OUTPUT_DISCARD: moveToAnnounced(output_); break;
        case ACQ_QUEUE_ALL_TO_INPUT:
            for (BufferModule* b : output_) b->state = BufferState::InputPool;
            input_.insert(input_.end(), output_.begin(), output_.end());
            output_.clear();
            redirectFilling(BufferModule::AfterFill::ToInput);
            break;
        case ACQ_QUEUE_UNQUEUED_TO_INPUT:
            for (const auto& b : buffers_)
                if (b->state == BufferState::Announced) {
                    b->state = BufferState::InputPool;
                    input_.push_back(b.get());
                }
            break;
        default:
            moveToAnnounced(input_);
            moveToAnnounced(output_);
            redirectFilling(BufferModule::AfterFill::Discard);
            break;
    }
    changed_.notify_all();
}

BufferModule* StreamModule::bufferAt(uint32_t index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    require(index < buffers_.size(), GC_ERR_INVALID_INDEX, "buffer index out of range");
    return buffers_[index].get();
}

// ---- acquisition -------------------------------------------------------------------------

void StreamModule::requireStartable(size_t minimumBuffers, const char* tooFew) const {
    require(!grabbing_, GC_ERR_RESOURCE_IN_USE, "acquisition already started");
    require(buffers_.size() >= minimumBuffers, GC_ERR_INVALID_BUFFER, tooFew);
}

void StreamModule::requireGrabbing() const { require(grabbing_, GC_ERR_RESOURCE_IN_USE, "acquisition not started"); }

void StreamModule::beginAcquisition(uint64_t count) {
    grabbing_ = true;
    toAcquire_ = count;
    acquired_ = 0;
}

// ---- new-buffer event --------------------------------------------------------------------

std::shared_ptr<NewBufferEvent> StreamModule::registerEvent() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(event_ == nullptr, GC_ERR_RESOURCE_IN_USE, "new-buffer event already registered");
    event_ = std::make_shared<NewBufferEvent>();
    event_->stream = std::static_pointer_cast<StreamModule>(shared_from_this());
    return event_;
}

void* StreamModule::unregisterEvent() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(event_ != nullptr, GC_ERR_NOT_AVAILABLE, "new-buffer event not registered");
    void* handle = event_->handle();
    event_->unregistered = true;
    event_.reset();
    moveToAnnounced(output_);
    changed_.notify_all();
    return handle;
}

GC_ERROR StreamModule::waitNewBuffer(NewBufferEvent& event, uint64_t timeoutMs, BufferModule*& buffer) {
    using Clock = std::chrono::steady_clock;
    const bool forever = timeoutMs == GENTL_INFINITE || timeoutMs > uint64_t(1) << 40;
    const auto deadline = Clock::now() + std::chrono::milliseconds(forever ? 0 : timeoutMs);
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        if (event.unregistered) return GC_ERR_ABORT;
        if (event.killPending) {
            event.killPending = false;
            return GC_ERR_ABORT;
        }
        if (!output_.empty()) {
            buffer = output_.front();
            output_.pop_front();
            buffer->state = BufferState::Announced;
            ++event.fired;
            return GC_ERR_SUCCESS;
        }
        if (forever)
            changed_.wait(lock);
        else if (changed_.wait_until(lock, deadline) == std::cv_status::timeout && output_.empty() &&
                 !event.killPending && !event.unregistered)
            return GC_ERR_TIMEOUT;
    }
}

void StreamModule::kill(NewBufferEvent& event) {
    std::lock_guard<std::mutex> lock(mutex_);
    event.killPending = true;
    changed_.notify_all();
}

void StreamModule::flushEvent() {
    std::lock_guard<std::mutex> lock(mutex_);
    moveToAnnounced(output_);
}

InfoValue StreamModule::eventInfo(const NewBufferEvent& event, EVENT_INFO_CMD command) const {
    std::lock_guard<std::mutex> lock(mutex_);
    switch (command) {
        case EVENT_EVENT_TYPE: return infoInt32(EVENT_NEW_BUFFER);
        case EVENT_NUM_IN_QUEUE: return infoSize(output_.size());
        case EVENT_NUM_FIRED: return infoUInt64(event.fired);
        case EVENT_SIZE_MAX: return infoSize(sizeof(EVENT_NEW_BUFFER_DATA));
        case EVENT_INFO_DATA_SIZE_MAX: return infoSize(sizeof(void*));
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown event info command");
    }
}

void StreamModule::close(std::vector<void*>& releasedHandles) {
    endAcquisition();
    std::lock_guard<std::mutex> lock(mutex_);
    if (event_) {
        event_->unregistered = true;
        releasedHandles.push_back(event_->handle());
        event_.reset();
    }
    for (const auto& b : buffers_) releasedHandles.push_back(b->handle());
    input_.clear();
    output_.clear();
    buffers_.clear();
    grabbing_ = false;
    closed_ = true;
    changed_.notify_all();
}

// ---- information -------------------------------------------------------------------------

InfoValue StreamModule::info(STREAM_INFO_CMD command) const {
    if (auto own = ownInfo(command)) return *own;
    return commonInfo(command);
}

InfoValue StreamModule::commonInfo(STREAM_INFO_CMD command) const {
    std::lock_guard<std::mutex> lock(mutex_);
    switch (command) {
        case STREAM_INFO_ID: return infoString(id_);
        case STREAM_INFO_NUM_DELIVERED: return infoUInt64(delivered_);
        case STREAM_INFO_NUM_ANNOUNCED: return infoSize(buffers_.size());
        case STREAM_INFO_NUM_QUEUED:
            return infoSize(countState(BufferState::InputPool) + countState(BufferState::Acquiring));
        case STREAM_INFO_NUM_AWAIT_DELIVERY: return infoSize(output_.size());
        case STREAM_INFO_NUM_STARTED: return infoUInt64(started_);
        case STREAM_INFO_IS_GRABBING: return infoBool(grabbing_ && acquired_ < toAcquire_);
        case STREAM_INFO_DEFINES_PAYLOADSIZE: return infoBool(false);
        case STREAM_INFO_TLTYPE: return infoString(tlType());
        case STREAM_INFO_NUM_CHUNKS_MAX: return infoSize(0);
        case STREAM_INFO_BUF_ANNOUNCE_MIN:
        case STREAM_INFO_BUF_ALIGNMENT: return infoSize(1);
        case STREAM_INFO_FLOW_TABLE:
        case STREAM_INFO_GENDC_PREFETCH_DESCRIPTOR: throw GenTLError(GC_ERR_NO_DATA, "no GenDC flows in this stream");
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown stream info command");
    }
}

InfoValue StreamModule::bufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const {
    requireOwn(buffer);
    std::lock_guard<std::mutex> lock(mutex_);
    if (auto own = ownBufferInfo(buffer, command)) return *own;
    const FillResult& f = buffer.fill;
    switch (command) {
        case BUFFER_INFO_BASE: return infoPtr(buffer.base);
        case BUFFER_INFO_SIZE: return infoSize(buffer.size);
        case BUFFER_INFO_USER_PTR: return infoPtr(buffer.userPointer);
        case BUFFER_INFO_TIMESTAMP: return infoUInt64(f.timestamp);
        case BUFFER_INFO_NEW_DATA: return infoBool(f.newData);
        case BUFFER_INFO_IS_QUEUED: return infoBool(buffer.state != BufferState::Announced);
        case BUFFER_INFO_IS_ACQUIRING: return infoBool(buffer.state == BufferState::Acquiring);
        case BUFFER_INFO_IS_INCOMPLETE: return infoBool(f.incomplete);
        case BUFFER_INFO_TLTYPE: return infoString(tlType());
        case BUFFER_INFO_SIZE_FILLED: return infoSize(f.sizeFilled);
        case BUFFER_INFO_DATA_SIZE: return infoSize(f.dataSize);
        case BUFFER_INFO_WIDTH: return infoSize(f.width);
        case BUFFER_INFO_HEIGHT: return infoSize(f.height);
        case BUFFER_INFO_XOFFSET: return infoSize(f.offsetX);
        case BUFFER_INFO_YOFFSET: return infoSize(f.offsetY);
        case BUFFER_INFO_XPADDING:
        case BUFFER_INFO_YPADDING:
        case BUFFER_INFO_IMAGEOFFSET:
        case BUFFER_INFO_DELIVERED_CHUNKPAYLOADSIZE: return infoSize(0);
        case BUFFER_INFO_FRAMEID: return infoUInt64(f.frameId);
        case BUFFER_INFO_IMAGEPRESENT: return infoBool(f.imagePresent);
        case BUFFER_INFO_PAYLOADTYPE: return infoSize(PAYLOAD_TYPE_IMAGE);
        case BUFFER_INFO_PIXELFORMAT: return infoUInt64(f.pixelFormat);
        case BUFFER_INFO_PIXELFORMAT_NAMESPACE: return infoUInt64(PIXELFORMAT_NAMESPACE_PFNC_32BIT);
        case BUFFER_INFO_DELIVERED_IMAGEHEIGHT: return infoSize(f.rowBytes ? f.sizeFilled / f.rowBytes : 0);
        case BUFFER_INFO_CHUNKLAYOUTID: return infoUInt64(0);
        case BUFFER_INFO_FILENAME: throw GenTLError(GC_ERR_NO_DATA, "the buffer holds no file");
        case BUFFER_INFO_PIXEL_ENDIANNESS: return infoInt32(PIXELENDIANNESS_LITTLE);
        case BUFFER_INFO_TIMESTAMP_NS: return infoUInt64(f.timestampNs);
        case BUFFER_INFO_DATA_LARGER_THAN_BUFFER: return infoBool(f.largerThanBuffer);
        case BUFFER_INFO_CONTAINS_CHUNKDATA:
        case BUFFER_INFO_IS_COMPOSITE: return infoBool(false);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown buffer info command");
    }
}

}  // namespace gentlkit
