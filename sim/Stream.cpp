#include "sim/Stream.h"

#include <algorithm>
#include <chrono>

namespace zevo {

Stream::Stream(std::shared_ptr<Camera> camera, std::weak_ptr<Device> device, std::string id, const Config& config,
               FaultPoints& faults)
    : camera_(std::move(camera)), device_(std::move(device)), id_(std::move(id)), config_(config), faults_(faults) {}

Stream::~Stream() { stopEngine(); }

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

void Stream::queue(BufferModule& buffer) {
    requireOwn(buffer);
    std::lock_guard<std::mutex> lock(mutex_);
    require(buffer.state == BufferState::Announced, GC_ERR_RESOURCE_IN_USE, "buffer is already queued");
    buffer.state = BufferState::InputPool;
    buffer.stuck = ++queueCalls_ == config_.stuckBuffer;
    buffer.fill.sizeFilled = 0;
    buffer.fill.dataSize = 0;
    input_.push_back(&buffer);
    changed_.notify_all();
}

void Stream::moveToAnnounced(std::deque<BufferModule*>& queue) {
    std::deque<BufferModule*> held;
    for (BufferModule* b : queue)
        if (b->stuck)
            held.push_back(b);
        else
            b->state = BufferState::Announced;
    queue.swap(held);
}

void Stream::flush(ACQ_QUEUE_TYPE operation) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto redirectFilling = [this](BufferModule::AfterFill where) {
        for (const auto& b : buffers_)
            if (b->state == BufferState::Filling) b->afterFill = where;
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
        case ACQ_QUEUE_ALL_DISCARD:
            moveToAnnounced(input_);
            moveToAnnounced(output_);
            redirectFilling(BufferModule::AfterFill::Discard);
            break;
        default: throw GenTLError(GC_ERR_INVALID_PARAMETER, "unknown flush operation");
    }
    changed_.notify_all();
}

BufferModule* Stream::bufferAt(uint32_t index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    require(index < buffers_.size(), GC_ERR_INVALID_INDEX, "buffer index out of range");
    return buffers_[index].get();
}

// ---- acquisition -------------------------------------------------------------------------

void Stream::start(uint64_t count) {
    require(count > 0, GC_ERR_INVALID_PARAMETER, "number of buffers to acquire is 0");
    std::lock_guard<std::mutex> engineLock(engineMutex_);
    std::lock_guard<std::mutex> lock(mutex_);
    require(!grabbing_, GC_ERR_RESOURCE_IN_USE, "acquisition already started");
    require(buffers_.size() >= config_.bufAnnounceMin, GC_ERR_INVALID_BUFFER, "too few buffers announced");
    if (engine_.joinable()) engine_.join();  // an engine that ended by itself
    grabbing_ = true;
    stopRequested_ = false;
    toAcquire_ = count;
    acquired_ = 0;
    nextFrameId_ = 1;
    engine_ = std::thread(&Stream::engineLoop, this);
}

void Stream::stop(ACQ_STOP_FLAGS flags) {
    require(flags == ACQ_STOP_FLAGS_DEFAULT || flags == ACQ_STOP_FLAGS_KILL, GC_ERR_INVALID_PARAMETER,
            "unknown stop flags");
    {
        std::lock_guard<std::mutex> lock(mutex_);
        require(grabbing_, GC_ERR_RESOURCE_IN_USE, "acquisition not started");
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
    stopEngine();
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

}  // namespace zevo
