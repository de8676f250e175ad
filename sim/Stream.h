// A data stream of a simulated device: announced buffers, the input pool, the buffer being
// filled, the output queue with its new-buffer event, and the acquisition engine thread that
// fills buffers at the pace the camera dictates.
#pragma once

#include "producer-kit/Info.h"
#include "sim/Camera.h"
#include "sim/Config.h"
#include "sim/Module.h"
#include "sim/Scene.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace zevo {

class Stream;

// Where a buffer is; the consumer owns it only in `Announced`.
enum class BufferState { Announced, InputPool, Filling, OutputQueue };

// What the last fill left in a buffer.
struct FillResult {
    uint64_t frameId = 0;
    uint64_t timestampTicks = 0;  // device clock, 1 GHz
    uint64_t timestampNs = 0;     // nanoseconds since 1970
    size_t sizeFilled = 0;
    size_t dataSize = 0;
    ImageGeometry geometry;
    bool newData = false;
    bool incomplete = false;
    bool largerThanBuffer = false;
};

class BufferModule : public Module {
public:
    ModuleKind kind() const override { return ModuleKind::Buffer; }
    Stream* owner = nullptr;
    uint8_t* base = nullptr;
    size_t size = 0;
    void* userPointer = nullptr;
    std::unique_ptr<uint8_t[]> ownMemory;  // DSAllocAndAnnounceBuffer
    // guarded by the owner's lock
    BufferState state = BufferState::Announced;
    enum class AfterFill { Deliver, ToInput, Discard } afterFill = AfterFill::Deliver;
    FillResult fill;
    bool stuck = false;  // held by the camera for good (`stuck_buffer`): never filled, never given back
};

class NewBufferEvent : public Module {
public:
    ModuleKind kind() const override { return ModuleKind::Event; }
    std::weak_ptr<Stream> stream;
    // guarded by the stream's lock
    bool killPending = false;
    bool unregistered = false;
    uint64_t fired = 0;
};

class Device;

class Stream : public Module {
public:
    Stream(std::shared_ptr<Camera> camera, std::weak_ptr<Device> device, std::string id, const Config& config,
           FaultPoints& faults);
    ~Stream() override;
    ModuleKind kind() const override { return ModuleKind::Stream; }
    PortIdentity portIdentity() const override;

    const std::string& id() const { return id_; }
    std::shared_ptr<Device> device() const { return device_.lock(); }

    // buffer life cycle; handles are registered by the caller
    std::shared_ptr<BufferModule> announce(void* memory, size_t size, void* userPointer);
    std::shared_ptr<BufferModule> allocateAndAnnounce(size_t size, void* userPointer);
    void revoke(BufferModule& buffer, void** memory, void** userPointer);
    void queue(BufferModule& buffer);
    void flush(ACQ_QUEUE_TYPE operation);
    BufferModule* bufferAt(uint32_t index) const;

    // acquisition
    void start(uint64_t count);
    void stop(ACQ_STOP_FLAGS flags);

    // new-buffer event
    std::shared_ptr<NewBufferEvent> registerEvent();
    void* unregisterEvent();  // returns the event's handle
    GC_ERROR waitNewBuffer(NewBufferEvent& event, uint64_t timeoutMs, BufferModule*& buffer);
    void kill(NewBufferEvent& event);
    void flushEvent();
    InfoValue eventInfo(const NewBufferEvent& event, EVENT_INFO_CMD command) const;

    InfoValue info(STREAM_INFO_CMD command) const;
    InfoValue bufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const;

    // Revokes everything and ends waits; the handles go with the stream.
    void close(std::vector<void*>& releasedHandles);

private:
    void requireOwn(const BufferModule& buffer) const;
    std::shared_ptr<BufferModule> addBuffer(std::shared_ptr<BufferModule> buffer);
    void moveToAnnounced(std::deque<BufferModule*>& queue);
    void engineLoop();
    bool waitForFrame(class FrameClock& clock, AcquisitionSnapshot& snapshot);
    BufferModule* takeInputBuffer(bool waitForOne);
    void finishFill(BufferModule& buffer, const FillResult& result);
    void stopEngine();

    std::shared_ptr<Camera> camera_;
    std::weak_ptr<Device> device_;
    const std::string id_;
    const Config& config_;
    FaultPoints& faults_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::shared_ptr<BufferModule>> buffers_;  // announce order
    std::deque<BufferModule*> input_;
    std::deque<BufferModule*> output_;
    std::shared_ptr<NewBufferEvent> event_;
    bool grabbing_ = false;  // between DSStartAcquisition and DSStopAcquisition
    bool stopRequested_ = false;
    uint64_t toAcquire_ = 0;
    uint64_t acquired_ = 0;
    uint64_t delivered_ = 0;
    uint64_t underrun_ = 0;
    uint64_t queueCalls_ = 0;
    uint64_t started_ = 0;
    uint64_t nextFrameId_ = 0;
    std::shared_ptr<const SceneFrames> frames_;  // the engine's rendered frames, kept across starts
    std::mutex engineMutex_;                     // guards engine_ itself (taken before mutex_, never by the engine)
    std::thread engine_;
};

}  // namespace zevo
