// What every data stream module keeps: the announced buffers, the input pool, the output queue
// with its new-buffer event, and the rules of announcing, queueing, flushing and revoking. A
// producer's stream derives from it and fills buffers: it takes them out of `input_`, marks
// them `Acquiring` and puts them into `output_` when filled.
#pragma once

#include "producer-kit/Module.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace gentlkit {

class StreamModule;
class DeviceModule;

// Where a buffer is; the consumer owns it only in `Announced`.
enum class BufferState { Announced, InputPool, Acquiring, OutputQueue };

// What the last fill left in a buffer.
struct FillResult {
    uint64_t frameId = 0;
    uint64_t timestamp = 0;    // BUFFER_INFO_TIMESTAMP, in the device's ticks
    uint64_t timestampNs = 0;  // BUFFER_INFO_TIMESTAMP_NS
    size_t sizeFilled = 0;
    size_t dataSize = 0;
    uint32_t width = 0, height = 0, offsetX = 0, offsetY = 0;
    uint64_t pixelFormat = 0;
    size_t rowBytes = 0;  // 0 when no image is known
    bool imagePresent = false;
    bool newData = false;
    bool incomplete = false;
    bool largerThanBuffer = false;
};

class BufferModule : public Module {
public:
    ModuleKind kind() const override { return ModuleKind::Buffer; }
    StreamModule* owner = nullptr;
    uint8_t* base = nullptr;
    size_t size = 0;
    void* userPointer = nullptr;
    std::unique_ptr<uint8_t[]> ownMemory;  // DSAllocAndAnnounceBuffer
    // guarded by the owner's lock
    BufferState state = BufferState::Announced;
    // Where an `Acquiring` buffer goes when its fill ends; flushes change it.
    enum class AfterFill { Deliver, ToInput, Discard } afterFill = AfterFill::Deliver;
    FillResult fill;
    bool stuck = false;  // held by the device for good: never filled, never given back
};

class NewBufferEvent : public Module {
public:
    ModuleKind kind() const override { return ModuleKind::Event; }
    std::weak_ptr<StreamModule> stream;
    // guarded by the stream's lock
    bool killPending = false;
    bool unregistered = false;
    uint64_t fired = 0;
};

class StreamModule : public Module {
public:
    explicit StreamModule(std::string id) : id_(std::move(id)) {}
    ModuleKind kind() const override { return ModuleKind::Stream; }
    PortIdentity portIdentity() const override;
    const std::string& id() const { return id_; }

    // buffer life cycle; handles are registered by the caller
    std::shared_ptr<BufferModule> announce(void* memory, size_t size, void* userPointer);
    std::shared_ptr<BufferModule> allocateAndAnnounce(size_t size, void* userPointer);
    void revoke(BufferModule& buffer, void** memory, void** userPointer);
    void queue(BufferModule& buffer);
    void flush(ACQ_QUEUE_TYPE operation);
    BufferModule* bufferAt(uint32_t index) const;

    // new-buffer event
    std::shared_ptr<NewBufferEvent> registerEvent();
    void* unregisterEvent();  // returns the event's handle
    GC_ERROR waitNewBuffer(NewBufferEvent& event, uint64_t timeoutMs, BufferModule*& buffer);
    void kill(NewBufferEvent& event);
    void flushEvent();
    InfoValue eventInfo(const NewBufferEvent& event, EVENT_INFO_CMD command) const;

    InfoValue info(STREAM_INFO_CMD command) const;
    // The answer every producer gives (the producer's own answers aside).
    InfoValue commonInfo(STREAM_INFO_CMD command) const;
    InfoValue bufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const;

    // Ends acquisition, revokes everything and ends waits; the handles go with the stream.
    void close(std::vector<void*>& releasedHandles);

    // ---- the producer's part
    // DSStartAcquisition (flags checked) and DSStopAcquisition.
    virtual void start(uint64_t count) = 0;
    virtual void stop(ACQ_STOP_FLAGS flags) = 0;
    // The device the stream belongs to; null once it closed.
    virtual std::shared_ptr<DeviceModule> parentDevice() const = 0;

protected:
    virtual std::shared_ptr<BufferModule> newBuffer() const { return std::make_shared<BufferModule>(); }
    // A buffer just put into the input pool (under mutex_).
    virtual void queued(BufferModule&) {}
    // Runs `flushQueues` with nothing being filled behind its back.
    virtual void whilePaused(const std::function<void()>& flushQueues) { flushQueues(); }
    // Stops filling for good (close).
    virtual void endAcquisition() = 0;
    // Stream information only the producer knows, or nothing; called without mutex_.
    virtual std::optional<InfoValue> ownInfo(STREAM_INFO_CMD command) const = 0;
    // Buffer information only the producer knows, or nothing; called under mutex_.
    virtual std::optional<InfoValue> ownBufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const = 0;
    virtual std::string tlType() const = 0;

    // ---- for the producer's filling, under mutex_
    void requireOwn(const BufferModule& buffer) const;
    void requireOpen() const;  // under mutex_
    // Checks of DSStartAcquisition and DSStopAcquisition on the stream's state.
    void requireStartable(size_t minimumBuffers, const char* tooFew) const;
    void requireGrabbing() const;
    void beginAcquisition(uint64_t count);
    void moveToAnnounced(std::deque<BufferModule*>& queue);
    size_t countState(BufferState state) const;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::shared_ptr<BufferModule>> buffers_;  // announce order
    std::deque<BufferModule*> input_;
    std::deque<BufferModule*> output_;
    std::shared_ptr<NewBufferEvent> event_;
    bool grabbing_ = false;  // between DSStartAcquisition and DSStopAcquisition
    bool closed_ = false;    // DSClose or DevClose ran; calls that still hold the stream are refused
    uint64_t toAcquire_ = 0;
    uint64_t acquired_ = 0;
    uint64_t delivered_ = 0;
    uint64_t started_ = 0;

private:
    std::shared_ptr<BufferModule> addBuffer(uint8_t* base, std::unique_ptr<uint8_t[]> own, size_t size,
                                            void* userPointer);
    void flushQueues(ACQ_QUEUE_TYPE operation);

    const std::string id_;
};

// DSStopAcquisition's flags: GC_ERR_INVALID_PARAMETER for unknown ones.
void requireStopFlags(ACQ_STOP_FLAGS flags);

}  // namespace gentlkit
