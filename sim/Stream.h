// A data stream of a simulated device: the producer kit's buffers and queues, filled by the
// acquisition engine thread at the pace the camera dictates.
#pragma once

#include "producer-kit/StreamModule.h"
#include "sim/Camera.h"
#include "sim/Common.h"
#include "sim/Config.h"
#include "sim/Scene.h"

#include <memory>
#include <mutex>
#include <thread>

namespace zevo {

class Device;

class Stream : public StreamModule {
public:
    Stream(std::shared_ptr<Camera> camera, std::weak_ptr<Device> device, std::string id, const Config& config,
           FaultPoints& faults);
    ~Stream() override;

    std::shared_ptr<Device> device() const { return device_.lock(); }

    void start(uint64_t count) override;
    void stop(ACQ_STOP_FLAGS flags) override;
    std::shared_ptr<DeviceModule> parentDevice() const override;

private:
    std::shared_ptr<BufferModule> newBuffer() const override;
    void queued(BufferModule& buffer) override;
    void endAcquisition() override { stopEngine(); }
    std::optional<InfoValue> ownInfo(STREAM_INFO_CMD command) const override;
    std::optional<InfoValue> ownBufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const override;
    std::string tlType() const override { return TLTypeCustomName; }

    void engineLoop();
    bool waitForFrame(class FrameClock& clock, AcquisitionSnapshot& snapshot);
    BufferModule* takeInputBuffer(bool waitForOne);
    void finishFill(BufferModule& buffer, const FillResult& result);
    void stopEngine();

    std::shared_ptr<Camera> camera_;
    std::weak_ptr<Device> device_;
    const Config& config_;
    FaultPoints& faults_;

    // guarded by mutex_
    bool stopRequested_ = false;
    uint64_t underrun_ = 0;
    uint64_t queueCalls_ = 0;
    uint64_t nextFrameId_ = 0;
    std::shared_ptr<const SceneFrames> frames_;  // the engine's rendered frames, kept across starts
    std::mutex engineMutex_;                     // guards engine_ itself (taken before mutex_, never by the engine)
    std::thread engine_;
};

}  // namespace zevo
