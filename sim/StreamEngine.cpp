// The acquisition engine of a data stream: waits until the camera has a frame due (free run
// at the frame period, one frame or a burst per trigger, nothing while stopped or gated),
// takes the oldest buffer of the input pool, fills it and puts it into the output queue.
// A frame that finds no buffer is lost and counted as underrun; without pacing the engine
// waits for buffers instead.
#include "sim/Stream.h"

#include <algorithm>
#include <chrono>
#include <optional>

namespace zevo {

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPollSlice = std::chrono::milliseconds(10);

Clock::duration period(const AcquisitionSnapshot& s) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(s.periodS));
}

uint64_t nanoseconds(std::chrono::nanoseconds d) { return uint64_t(d.count()); }

// The image part of a fill of geometry `g`.
FillResult imageOf(const ImageGeometry& g) {
    FillResult r;
    r.width = g.width, r.height = g.height, r.offsetX = g.offsetX, r.offsetY = g.offsetY;
    r.imagePresent = g.format != nullptr;
    r.pixelFormat = g.format ? g.format->pfnc : 0;
    r.rowBytes = g.format ? size_t(g.width) * bytesPerPixel(g.format->bits) : 0;
    r.dataSize = g.payload();
    return r;
}

}  // namespace

class FrameClock {
public:
    // When the next frame is due, or nothing while no frame is due at all.
    std::optional<Clock::time_point> due(const AcquisitionSnapshot& s, Clock::time_point now) {
        if (!s.acquiring) return std::nullopt;
        if (s.epoch != epoch_) {
            epoch_ = s.epoch;
            next_ = s.startTime + period(s);
            consumed_ = s.requestedFrames;
            pending_ = 0;
        }
        if (!s.gateOpen) return std::nullopt;
        if (s.triggered) {
            if (s.requestedFrames > consumed_) {
                if (pending_ == 0) next_ = std::max(next_, now);
                pending_ += s.requestedFrames - consumed_;
                consumed_ = s.requestedFrames;
            }
            if (pending_ == 0) return std::nullopt;
        } else if (s.unlimited) {
            return now;
        }
        return next_;
    }

    void taken(const AcquisitionSnapshot& s, Clock::time_point when) {
        if (s.triggered && pending_ > 0) --pending_;
        next_ += period(s);
        if (next_ + period(s) < when) next_ = when;  // fell behind: do not catch up in a burst
    }

    // The sensor was busy until `until` with the frame just taken: the next comes a whole period
    // later, as a camera's would.
    void stalled(const AcquisitionSnapshot& s, Clock::time_point until) { next_ = std::max(next_, until + period(s)); }

private:
    uint64_t epoch_ = ~uint64_t(0);
    Clock::time_point next_;
    uint64_t consumed_ = 0;
    uint64_t pending_ = 0;
};

bool Stream::waitForFrame(FrameClock& clock, AcquisitionSnapshot& snapshot) {
    for (;;) {
        snapshot = camera_->snapshot();
        const auto now = Clock::now();
        std::unique_lock<std::mutex> lock(mutex_);
        // A configured frame limit ends the frames of this start: the camera falls silent.
        const bool silent = config_.frameLimit && acquired_ >= *config_.frameLimit;
        const auto due = silent ? std::nullopt : clock.due(snapshot, now);
        if (due && *due <= now) return true;
        if (stopRequested_) return false;
        changed_.wait_until(lock, due ? std::min(*due, now + kPollSlice) : now + kPollSlice);
        if (stopRequested_) return false;
    }
}

BufferModule* Stream::takeInputBuffer(bool waitForOne) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        if (stopRequested_) return nullptr;
        const auto next = std::find_if(input_.begin(), input_.end(), [](BufferModule* b) { return !b->stuck; });
        if (next != input_.end()) {
            BufferModule* buffer = *next;
            input_.erase(next);
            buffer->state = BufferState::Acquiring;
            buffer->afterFill = BufferModule::AfterFill::Deliver;
            ++started_;
            return buffer;
        }
        if (!waitForOne) {
            ++underrun_;
            return nullptr;
        }
        changed_.wait_for(lock, kPollSlice);
    }
}

void Stream::finishFill(BufferModule& buffer, const FillResult& result) {
    std::lock_guard<std::mutex> lock(mutex_);
    buffer.fill = result;
    switch (buffer.afterFill) {
        case BufferModule::AfterFill::Deliver:
            buffer.state = BufferState::OutputQueue;
            output_.push_back(&buffer);
            ++delivered_;
            ++acquired_;
            break;
        case BufferModule::AfterFill::ToInput:
            buffer.state = BufferState::InputPool;
            input_.push_back(&buffer);
            break;
        case BufferModule::AfterFill::Discard: buffer.state = BufferState::Announced; break;
    }
    changed_.notify_all();
}

void Stream::engineLoop() {
    FrameClock clock;
    AcquisitionSnapshot snapshot;
    while (waitForFrame(clock, snapshot)) {
        BufferModule* buffer = takeInputBuffer(snapshot.unlimited && !snapshot.triggered);
        uint64_t frameId;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopRequested_) {
                // A buffer taken just before the stop goes back where it came from: left Acquiring it
                // could never be flushed, revoked or queued again.
                if (buffer) {
                    buffer->state = BufferState::InputPool;
                    input_.push_front(buffer);
                    --started_;
                }
                break;
            }
            frameId = nextFrameId_++;
        }
        clock.taken(snapshot, Clock::now());
        if (buffer == nullptr) continue;  // underrun: the frame is lost
        // Kept from one acquisition to the next: rendering takes far longer than a frame.
        if (!frames_ || frames_->settings() != snapshot.scene) {
            frames_ = SceneFrames::render(camera_->sensor(), snapshot.scene);
            clock.stalled(snapshot, Clock::now());
        }
        FillResult r = imageOf(snapshot.scene.geometry);
        r.frameId = frameId;
        const uint64_t takenAtNs = nanoseconds(std::chrono::system_clock::now().time_since_epoch());
        r.sizeFilled = frames_->fill(buffer->base, buffer->size, frameId, snapshot.stamp, takenAtNs);
        r.incomplete = r.largerThanBuffer = buffer->size < r.dataSize;
        r.newData = true;
        r.timestamp = nanoseconds(Clock::now().time_since_epoch());
        r.timestampNs = takenAtNs;
        finishFill(*buffer, r);
        std::lock_guard<std::mutex> lock(mutex_);
        if (acquired_ >= toAcquire_) break;
    }
}

}  // namespace zevo
