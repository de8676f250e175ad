// The GenTL module tree of tq4_aravis.cti: library -> system -> one interface per Aravis
// transport (GigE Vision, USB3 Vision) -> devices (each with its remote device port) -> one
// data stream over Aravis' stream, whose buffers are the consumer's memory.
#pragma once

#include "aravis-producer/Settings.h"
#include "producer-kit/Info.h"
#include "producer-kit/StreamModule.h"
#include "producer-kit/Tree.h"

#include <arv.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tq4aravis {

using namespace gentlkit;

// What Aravis' discovery tells about one camera.
struct DeviceEntry {
    std::string id, vendor, model, serial, address, physicalId;
};

// The Aravis transports offered as interfaces: their Aravis protocol name (also the
// interface ID), GenTL transport-layer type and Aravis' interface of that transport.
struct Transport {
    const char* protocol;
    const char* tlType;
    const char* displayName;
    ArvInterface* (*arvInterface)();
};
const std::vector<Transport>& transports();

class Device;
class Stream;

// Process-wide state between GCInitLib and GCCloseLib. Aravis' device lists are not
// thread-safe: every use goes through `discover` and `open`.
class Library : public ProducerLibrary {
public:
    static Library& instance();

    const Settings& settings() const { return settings_; }

    uint32_t interfaceCount() const override { return uint32_t(transports().size()); }
    std::string interfaceId(uint32_t index) const override { return transports()[index].protocol; }
    InfoValue interfaceInfo(uint32_t index, INTERFACE_INFO_CMD command) const override;
    std::shared_ptr<InterfaceModule> newInterface(std::weak_ptr<System> system, uint32_t index) override;

    // Runs the discovery of one transport only (a GigE Vision discovery waits a second for
    // answers; a USB3 Vision one is quick) and answers its cameras. A discovery of the same
    // transport that ended less than kFreshDiscovery ago is answered again instead: a consumer
    // that finds an interface empty asks it again at once (the driver three times), and a
    // camera that did not answer within Aravis' second does not answer within those moments.
    // It holds across GCCloseLib and GCInitLib too: a program that finds the camera and hands
    // it to another part of itself (tq4cam's lookup, then the driver's open) waits once.
    std::vector<DeviceEntry> discover(const Transport& transport);
    static constexpr std::chrono::milliseconds kFreshDiscovery{200};
    // Opens the camera through its transport's interface, which knows it from the last
    // discovery; GC_ERR_ACCESS_DENIED with Aravis' reason.
    ArvDevice* open(const Transport& transport, const std::string& id);

private:
    void load() override;  // reads the settings

    struct Discovery {
        std::chrono::steady_clock::time_point end;
        std::vector<DeviceEntry> found;
    };

    std::mutex arvMutex_;
    Settings settings_;
    std::map<std::string, Discovery> discoveries_;  // the last one of each transport
};

class Interface : public InterfaceModule {
public:
    Interface(std::weak_ptr<System> system, uint32_t index);
    PortIdentity portIdentity() const override;

    const Transport& transport() const { return transports()[index()]; }

    void updateDeviceList(bool8_t* changed) override;
    InfoValue deviceInfo(const std::string& id, DEVICE_INFO_CMD command) const override;
    std::shared_ptr<DeviceModule> openDevice(const std::string& id, DEVICE_ACCESS_FLAGS flags) override;

private:
    const DeviceEntry& entry(const std::string& id) const;  // GC_ERR_INVALID_ID when not listed

    std::vector<DeviceEntry> entries_;  // what `listed_` names
};

// The camera's registers through Aravis (GVCP or the USB3 Vision control channel).
class RemotePort : public Module {
public:
    RemotePort(ArvDevice* device, const DeviceEntry& entry, const Transport& transport);
    ModuleKind kind() const override { return ModuleKind::RemotePort; }
    PortIdentity portIdentity() const override;
    void readPort(uint64_t address, void* buffer, size_t size) override;
    void writePort(uint64_t address, const void* buffer, size_t size) override;
    std::string portUrl() override;

private:
    ArvDevice* device_;  // owned by the device module, which outlives its port's use
    const DeviceEntry entry_;
    const Transport& transport_;
    std::mutex mutex_;
    std::string url_;
    std::vector<uint8_t> xml_;  // a description served by the producer (no first-URL register)
};

class Device : public DeviceModule {
public:
    Device(std::weak_ptr<InterfaceModule> iface, ArvDevice* device, DeviceEntry entry);
    ~Device() override;
    PortIdentity portIdentity() const override;

    std::shared_ptr<Interface> iface() const { return std::static_pointer_cast<Interface>(parent()); }
    InfoValue info(DEVICE_INFO_CMD command) const override;
    ArvDevice* arv() const { return device_; }

    uint32_t numStreams() const override { return 1; }
    std::shared_ptr<StreamModule> openStream(const std::string& id) override;
    void streamClosed(const StreamModule& stream, std::vector<void*>& released) override;
    void close(std::vector<void*>& released) override;

private:
    ArvDevice* device_;
    const DeviceEntry entry_;
    mutable std::mutex mutex_;
    std::shared_ptr<Stream> stream_;
};

// Device information shared by IFGetDeviceInfo and DevGetInfo.
InfoValue deviceInfo(const DeviceEntry& entry, const Transport& transport, DEVICE_ACCESS_STATUS status,
                     DEVICE_INFO_CMD command);

// ---- data stream -------------------------------------------------------------------------

// A buffer of an Aravis stream: an Aravis buffer over the buffer's memory, made when it is
// first given to Aravis.
class AravisBuffer : public BufferModule {
public:
    ~AravisBuffer() override;
    ArvBuffer* arv = nullptr;  // one reference held here
};

// The producer kit's buffers and queues over an Aravis stream: `InputPool` buffers wait in the
// producer while acquisition is stopped; `Acquiring` ones are in Aravis' input queue.
class Stream : public StreamModule {
public:
    Stream(std::weak_ptr<Device> device, ArvStream* stream, std::string id);
    ~Stream() override;

    std::shared_ptr<Device> device() const { return device_.lock(); }

    void start(uint64_t count) override;
    void stop(ACQ_STOP_FLAGS flags) override;
    std::shared_ptr<DeviceModule> parentDevice() const override { return device_.lock(); }

    // Aravis' stream thread: takes the finished buffers out of Aravis' output queue.
    void collect();

private:
    std::shared_ptr<BufferModule> newBuffer() const override { return std::make_shared<AravisBuffer>(); }
    void queued(BufferModule& buffer) override;
    void whilePaused(const std::function<void()>& flushQueues) override;
    void endAcquisition() override;
    std::optional<InfoValue> ownInfo(STREAM_INFO_CMD command) const override;
    std::optional<InfoValue> ownBufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const override;
    std::string tlType() const override;

    void giveToAravis(BufferModule& buffer);  // under mutex_
    void halt();                              // under controlMutex_: Aravis' thread stopped
    void resume();                            // under controlMutex_: input pool to Aravis
    void recordFrame(BufferModule& buffer, ArvBuffer* done, ArvBufferStatus status);

    std::weak_ptr<Device> device_;
    ArvStream* stream_;
    std::mutex controlMutex_;  // start, stop, flush and close; taken before mutex_
    bool running_ = false;     // Aravis' thread receives
};

}  // namespace tq4aravis
