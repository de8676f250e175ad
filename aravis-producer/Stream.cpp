// A data stream over an Aravis stream. Every announced buffer is an Aravis buffer over the
// consumer's memory, so the camera's packets land in it without a copy. While acquisition
// runs, queued buffers are in Aravis' input queue; Aravis' stream thread hands finished ones
// to `collect`, which moves them into the output queue of the new-buffer event. While it is
// stopped, Aravis' thread is stopped too and queued buffers wait in the producer's input pool.
#include "aravis-producer/Producer.h"

#include <algorithm>

namespace tq4aravis {

AravisBuffer::~AravisBuffer() {
    if (arv) g_object_unref(arv);
}

Stream::Stream(std::weak_ptr<Device> device, ArvStream* stream, std::string id)
    : StreamModule(std::move(id)), device_(std::move(device)), stream_(stream) {
    arv_stream_stop_thread(stream_, TRUE);  // Aravis starts receiving at once; start() does
}

// Aravis stops its stream thread itself when the stream goes.
Stream::~Stream() {
    arv_stream_set_emit_signals(stream_, FALSE);
    g_signal_handlers_disconnect_by_data(stream_, this);
    if (!running_) arv_stream_start_thread(stream_);
    g_object_unref(stream_);
}

std::string Stream::tlType() const { return ARV_IS_GV_STREAM(stream_) ? TLTypeGEVName : TLTypeU3VName; }

// ---- buffers -----------------------------------------------------------------------------

void Stream::giveToAravis(BufferModule& buffer) {
    auto& b = static_cast<AravisBuffer&>(buffer);
    if (b.arv == nullptr) b.arv = arv_buffer_new_full(b.size, b.base, &buffer, nullptr);
    b.state = BufferState::Acquiring;
    arv_stream_push_buffer(stream_, ARV_BUFFER(g_object_ref(b.arv)));
}

void Stream::queued(BufferModule& buffer) {
    if (running_) giveToAravis(buffer);
}

void Stream::whilePaused(const std::function<void()>& flushQueues) {
    std::lock_guard<std::mutex> control(controlMutex_);
    const bool wasRunning = running_;
    if (wasRunning) halt();
    flushQueues();
    if (wasRunning) resume();
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

void Stream::endAcquisition() {
    std::lock_guard<std::mutex> control(controlMutex_);
    halt();
}

void Stream::start(uint64_t count) {
    require(count > 0, GC_ERR_INVALID_PARAMETER, "number of buffers to acquire is 0");
    std::lock_guard<std::mutex> control(controlMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requireStartable(1, "no buffer announced");
        beginAcquisition(count);
    }
    resume();
}

void Stream::stop(ACQ_STOP_FLAGS flags) {
    requireStopFlags(flags);
    std::lock_guard<std::mutex> control(controlMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requireGrabbing();
        grabbing_ = false;
    }
    halt();
}

// What Aravis reported for a frame in `buffer`.
void Stream::recordFrame(BufferModule& buffer, ArvBuffer* done, ArvBufferStatus status) {
    FillResult& f = buffer.fill;
    f = FillResult{};
    f.frameId = arv_buffer_get_frame_id(done);
    f.timestampNs = arv_buffer_get_timestamp(done);
    if (f.timestampNs == 0) f.timestampNs = arv_buffer_get_system_timestamp(done);
    f.timestamp = f.timestampNs;
    arv_buffer_get_data(done, &f.sizeFilled);
    f.dataSize = f.sizeFilled;
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
        recordFrame(*b, done, status);
        ++acquired_;
        if (event_) {
            b->state = BufferState::OutputQueue;
            output_.push_back(b);
            ++delivered_;
            changed_.notify_all();
        } else {
            b->state = BufferState::Announced;  // nobody listens: the buffer is discarded
        }
    }
}

// ---- information -------------------------------------------------------------------------

std::optional<InfoValue> Stream::ownInfo(STREAM_INFO_CMD command) const {
    if (command == STREAM_INFO_NUM_UNDERRUN) {
        guint64 completed = 0, failures = 0, underruns = 0;
        arv_stream_get_statistics(stream_, &completed, &failures, &underruns);
        return infoUInt64(underruns);
    }
    if (command != STREAM_INFO_PAYLOAD_SIZE) return std::nullopt;
    const auto d = device();
    GError* error = nullptr;
    const gint64 size = d ? arv_device_get_integer_feature_value(d->arv(), "PayloadSize", &error) : 0;
    g_clear_error(&error);
    return infoSize(size > 0 ? size_t(size) : 0);
}

// A buffer's delivered height is that of its last frame, unless that came incomplete.
std::optional<InfoValue> Stream::ownBufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const {
    if (command != BUFFER_INFO_DELIVERED_IMAGEHEIGHT) return std::nullopt;
    return infoSize(buffer.fill.incomplete ? 0 : buffer.fill.height);
}

}  // namespace tq4aravis
