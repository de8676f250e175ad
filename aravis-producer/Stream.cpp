// A data stream over an Aravis stream. Every announced buffer is an Aravis buffer over the
// consumer's memory, so the camera's packets land in it without a copy. While acquisition
// runs, queued buffers are in Aravis' input queue; Aravis' stream thread hands finished ones
// to `collect`, which moves them into the output queue of the new-buffer event. While it is
// stopped, Aravis' thread is stopped too and queued buffers wait in the producer's input pool.
#include "aravis-producer/Producer.h"

#include <algorithm>
#include <chrono>

namespace tq4aravis {

BufferModule::~BufferModule() {
    if (arv) g_object_unref(arv);
}

Stream::Stream(std::weak_ptr<Device> device, ArvStream* stream, std::string id)
    : device_(std::move(device)), stream_(stream), id_(std::move(id)) {
    arv_stream_stop_thread(stream_, TRUE);  // Aravis starts receiving at once; start() does
}

// Aravis stops its stream thread itself when the stream goes.
Stream::~Stream() {
    arv_stream_set_emit_signals(stream_, FALSE);
    g_signal_handlers_disconnect_by_data(stream_, this);
    if (!running_) arv_stream_start_thread(stream_);
    g_object_unref(stream_);
}

PortIdentity Stream::portIdentity() const {
    PortIdentity p = Module::portIdentity();
    p.id = id_;
    return p;
}

void Stream::requireOwn(const BufferModule& buffer) const {
    require(buffer.owner == this, GC_ERR_INVALID_HANDLE, "buffer belongs to another data stream");
}

// ---- buffers -----------------------------------------------------------------------------

std::shared_ptr<BufferModule> Stream::addBuffer(std::shared_ptr<BufferModule> buffer) {
    buffer->owner = this;
    buffer->arv = arv_buffer_new_full(buffer->size, buffer->base, buffer.get(), nullptr);
    std::lock_guard<std::mutex> lock(mutex_);
    buffers_.push_back(buffer);
    return buffer;
}

std::shared_ptr<BufferModule> Stream::announce(void* memory, size_t size, void* userPointer) {
    require(memory != nullptr && size > 0, GC_ERR_INVALID_PARAMETER, "buffer memory missing");
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& b : buffers_) require(b->base != memory, GC_ERR_RESOURCE_IN_USE, "memory already announced");
    }
    auto buffer = std::make_shared<BufferModule>();
    buffer->base = static_cast<uint8_t*>(memory);
    buffer->size = size;
    buffer->userPointer = userPointer;
    return addBuffer(std::move(buffer));
}

std::shared_ptr<BufferModule> Stream::allocateAndAnnounce(size_t size, void* userPointer) {
    require(size > 0, GC_ERR_INVALID_PARAMETER, "buffer size is 0");
    auto buffer = std::make_shared<BufferModule>();
    buffer->ownMemory.reset(new (std::nothrow) uint8_t[size]);
    require(buffer->ownMemory != nullptr, GC_ERR_OUT_OF_MEMORY, "cannot allocate the buffer");
    buffer->base = buffer->ownMemory.get();
    buffer->size = size;
    buffer->userPointer = userPointer;
    return addBuffer(std::move(buffer));
}

void Stream::revoke(BufferModule& buffer, void** memory, void** userPointer) {
    requireOwn(buffer);
    std::lock_guard<std::mutex> lock(mutex_);
    require(buffer.state == BufferState::Announced, GC_ERR_BUSY, "buffer is queued or being filled");
    if (memory) *memory = buffer.ownMemory ? nullptr : buffer.base;
    if (userPointer) *userPointer = buffer.userPointer;
    buffers_.erase(std::find_if(buffers_.begin(), buffers_.end(), [&](const auto& b) { return b.get() == &buffer; }));
}

void Stream::giveToAravis(BufferModule& buffer) {
    buffer.state = BufferState::Acquiring;
    arv_stream_push_buffer(stream_, ARV_BUFFER(g_object_ref(buffer.arv)));
}

void Stream::queue(BufferModule& buffer) {
    requireOwn(buffer);
    std::lock_guard<std::mutex> lock(mutex_);
    require(buffer.state == BufferState::Announced, GC_ERR_RESOURCE_IN_USE, "buffer is already queued");
    buffer.fill.sizeFilled = 0;
    input_.push_back(&buffer);
    if (running_)
        giveToAravis(buffer);
    else
        buffer.state = BufferState::InputPool;
}

void Stream::moveToAnnounced(std::deque<BufferModule*>& queue) {
    for (BufferModule* b : queue) b->state = BufferState::Announced;
    queue.clear();
}

void Stream::flush(ACQ_QUEUE_TYPE operation) {
    require(operation >= ACQ_QUEUE_INPUT_TO_OUTPUT && operation <= ACQ_QUEUE_ALL_DISCARD, GC_ERR_INVALID_PARAMETER,
            "unknown flush operation");
    std::lock_guard<std::mutex> control(controlMutex_);
    const bool wasRunning = running_;
    if (wasRunning) halt();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        switch (operation) {
            case ACQ_QUEUE_INPUT_TO_OUTPUT:
                for (BufferModule* b : input_) {
                    b->state = BufferState::OutputQueue;
                    b->fill.newData = false;
                    output_.push_back(b);
                }
                input_.clear();
                break;
            case ACQ_QUEUE_OUTPUT_DISCARD: moveToAnnounced(output_); break;
            case ACQ_QUEUE_ALL_TO_INPUT:
                for (BufferModule* b : output_) b->state = BufferState::InputPool;
                input_.insert(input_.end(), output_.begin(), output_.end());
                output_.clear();
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
                break;
        }
        changed_.notify_all();
    }
    if (wasRunning) resume();
}

BufferModule* Stream::bufferAt(uint32_t index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    require(index < buffers_.size(), GC_ERR_INVALID_INDEX, "buffer index out of range");
    return buffers_[index].get();
}

// ---- acquisition -------------------------------------------------------------------------

void Stream::halt() {
    if (running_) arv_stream_stop_thread(stream_, TRUE);  // Aravis drops its references; ours stay
    std::lock_guard<std::mutex> lock(mutex_);
    running_ = false;
    for (BufferModule* b : input_) b->state = BufferState::InputPool;
}

void Stream::resume() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (BufferModule* b : input_) giveToAravis(*b);
    running_ = true;
    arv_stream_start_thread(stream_);
}

void Stream::start(uint64_t count) {
    require(count > 0, GC_ERR_INVALID_PARAMETER, "number of buffers to acquire is 0");
    std::lock_guard<std::mutex> control(controlMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        require(!grabbing_, GC_ERR_RESOURCE_IN_USE, "acquisition already started");
        require(!buffers_.empty(), GC_ERR_INVALID_BUFFER, "no buffer announced");
        grabbing_ = true;
        toAcquire_ = count;
        acquired_ = 0;
    }
    resume();
}

void Stream::stop(ACQ_STOP_FLAGS flags) {
    require(flags == ACQ_STOP_FLAGS_DEFAULT || flags == ACQ_STOP_FLAGS_KILL, GC_ERR_INVALID_PARAMETER,
            "unknown stop flags");
    std::lock_guard<std::mutex> control(controlMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        require(grabbing_, GC_ERR_RESOURCE_IN_USE, "acquisition not started");
        grabbing_ = false;
    }
    halt();
}

// Aravis' stream thread; also called while Aravis' thread is being stopped, when it flushes
// the frames it was filling: those are not delivered but go back to the input pool.
void Stream::collect() {
    std::lock_guard<std::mutex> lock(mutex_);
    while (ArvBuffer* done = arv_stream_try_pop_buffer(stream_)) {
        auto* b = static_cast<BufferModule*>(const_cast<void*>(arv_buffer_get_user_data(done)));
        g_object_unref(done);
        const auto at = std::find(input_.begin(), input_.end(), b);
        if (b == nullptr || b->owner != this || at == input_.end()) continue;
        const ArvBufferStatus status = arv_buffer_get_status(done);
        if (status == ARV_BUFFER_STATUS_ABORTED || status == ARV_BUFFER_STATUS_CLEARED || !grabbing_ ||
            acquired_ >= toAcquire_) {
            b->state = BufferState::InputPool;  // back in the pool, in its place
            continue;
        }
        input_.erase(at);
        ++started_;
        FillResult& f = b->fill;
        f = FillResult{};
        f.frameId = arv_buffer_get_frame_id(done);
        f.timestampNs = arv_buffer_get_timestamp(done);
        if (f.timestampNs == 0) f.timestampNs = arv_buffer_get_system_timestamp(done);
        arv_buffer_get_data(done, &f.sizeFilled);
        // Aravis knows the image's geometry only for a frame that arrived whole.
        f.imagePresent = status == ARV_BUFFER_STATUS_SUCCESS && f.sizeFilled > 0 &&
                         arv_buffer_get_payload_type(done) == ARV_BUFFER_PAYLOAD_TYPE_IMAGE &&
                         arv_buffer_get_n_parts(done) > 0 &&
                         arv_buffer_get_part_data_type(done, 0) == ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE;
        if (f.imagePresent) {
            gint x = 0, y = 0, width = 0, height = 0;
            arv_buffer_get_image_region(done, &x, &y, &width, &height);
            f.offsetX = uint32_t(x), f.offsetY = uint32_t(y), f.width = uint32_t(width), f.height = uint32_t(height);
            f.pixelFormat = arv_buffer_get_image_pixel_format(done);
        }
        f.newData = true;
        f.incomplete = status != ARV_BUFFER_STATUS_SUCCESS;
        f.largerThanBuffer = status == ARV_BUFFER_STATUS_SIZE_MISMATCH;
        b->state = BufferState::OutputQueue;
        ++acquired_;
        if (event_) {
            output_.push_back(b);
            ++delivered_;
            changed_.notify_all();
        } else {
            b->state = BufferState::Announced;  // nobody listens: the buffer is discarded
        }
    }
}

// ---- new-buffer event --------------------------------------------------------------------

std::shared_ptr<NewBufferEvent> Stream::registerEvent() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(event_ == nullptr, GC_ERR_RESOURCE_IN_USE, "new-buffer event already registered");
    event_ = std::make_shared<NewBufferEvent>();
    event_->stream = std::static_pointer_cast<Stream>(shared_from_this());
    return event_;
}

void* Stream::unregisterEvent() {
    std::lock_guard<std::mutex> lock(mutex_);
    require(event_ != nullptr, GC_ERR_NOT_AVAILABLE, "new-buffer event not registered");
    void* handle = event_->handle();
    event_->unregistered = true;
    event_.reset();
    moveToAnnounced(output_);
    changed_.notify_all();
    return handle;
}

GC_ERROR Stream::waitNewBuffer(NewBufferEvent& event, uint64_t timeoutMs, BufferModule*& buffer) {
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

void Stream::kill(NewBufferEvent& event) {
    std::lock_guard<std::mutex> lock(mutex_);
    event.killPending = true;
    changed_.notify_all();
}

void Stream::flushEvent() {
    std::lock_guard<std::mutex> lock(mutex_);
    moveToAnnounced(output_);
}

InfoValue Stream::eventInfo(const NewBufferEvent& event, EVENT_INFO_CMD command) const {
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

void Stream::close(std::vector<void*>& releasedHandles) {
    {
        std::lock_guard<std::mutex> control(controlMutex_);
        halt();
    }
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
    changed_.notify_all();
}

// ---- information -------------------------------------------------------------------------

InfoValue Stream::info(STREAM_INFO_CMD command) const {
    guint64 completed = 0, failures = 0, underruns = 0;
    arv_stream_get_statistics(stream_, &completed, &failures, &underruns);
    const auto payloadSize = [this]() -> size_t {
        const auto d = device();
        GError* error = nullptr;
        const gint64 size = d ? arv_device_get_integer_feature_value(d->arv(), "PayloadSize", &error) : 0;
        g_clear_error(&error);
        return size > 0 ? size_t(size) : 0;
    };
    if (command == STREAM_INFO_PAYLOAD_SIZE) return infoSize(payloadSize());
    std::lock_guard<std::mutex> lock(mutex_);
    const auto countState = [this](BufferState state) {
        size_t n = 0;
        for (const auto& b : buffers_) n += b->state == state ? 1 : 0;
        return n;
    };
    switch (command) {
        case STREAM_INFO_ID: return infoString(id_);
        case STREAM_INFO_NUM_DELIVERED: return infoUInt64(delivered_);
        case STREAM_INFO_NUM_UNDERRUN: return infoUInt64(underruns);
        case STREAM_INFO_NUM_ANNOUNCED: return infoSize(buffers_.size());
        case STREAM_INFO_NUM_QUEUED: return infoSize(input_.size());
        case STREAM_INFO_NUM_AWAIT_DELIVERY: return infoSize(countState(BufferState::OutputQueue));
        case STREAM_INFO_NUM_STARTED: return infoUInt64(started_);
        case STREAM_INFO_IS_GRABBING: return infoBool(grabbing_ && acquired_ < toAcquire_);
        case STREAM_INFO_DEFINES_PAYLOADSIZE: return infoBool(false);
        case STREAM_INFO_TLTYPE: return infoString(ARV_IS_GV_STREAM(stream_) ? TLTypeGEVName : TLTypeU3VName);
        case STREAM_INFO_NUM_CHUNKS_MAX: return infoSize(0);
        case STREAM_INFO_BUF_ANNOUNCE_MIN: return infoSize(1);
        case STREAM_INFO_BUF_ALIGNMENT: return infoSize(1);
        case STREAM_INFO_FLOW_TABLE:
        case STREAM_INFO_GENDC_PREFETCH_DESCRIPTOR: throw GenTLError(GC_ERR_NO_DATA, "no GenDC flows in this stream");
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown stream info command");
    }
}

InfoValue Stream::bufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const {
    requireOwn(buffer);
    std::lock_guard<std::mutex> lock(mutex_);
    const FillResult& f = buffer.fill;
    switch (command) {
        case BUFFER_INFO_BASE: return infoPtr(buffer.base);
        case BUFFER_INFO_SIZE: return infoSize(buffer.size);
        case BUFFER_INFO_USER_PTR: return infoPtr(buffer.userPointer);
        case BUFFER_INFO_TIMESTAMP: return infoUInt64(f.timestampNs);
        case BUFFER_INFO_NEW_DATA: return infoBool(f.newData);
        case BUFFER_INFO_IS_QUEUED: return infoBool(buffer.state != BufferState::Announced);
        case BUFFER_INFO_IS_ACQUIRING: return infoBool(buffer.state == BufferState::Acquiring);
        case BUFFER_INFO_IS_INCOMPLETE: return infoBool(f.incomplete);
        case BUFFER_INFO_TLTYPE: return infoString(ARV_IS_GV_STREAM(stream_) ? TLTypeGEVName : TLTypeU3VName);
        case BUFFER_INFO_SIZE_FILLED:
        case BUFFER_INFO_DATA_SIZE: return infoSize(f.sizeFilled);
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
        case BUFFER_INFO_DELIVERED_IMAGEHEIGHT: return infoSize(f.incomplete ? 0 : f.height);
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

}  // namespace tq4aravis
