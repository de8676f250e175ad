// The GenTL module tree of tq4_aravis.cti: library -> system -> one interface per Aravis
// transport (GigE Vision, USB3 Vision) -> devices (each with its remote device port) -> one
// data stream over Aravis' stream, whose buffers are the consumer's memory.
#pragma once

#include "aravis-producer/Settings.h"
#include "producer-kit/Info.h"
#include "producer-kit/ModulePort.h"
#include "producer-kit/Registry.h"

#include <arv.h>

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tq4aravis {

using namespace gentlkit;

enum class ModuleKind { System, Interface, Device, RemotePort, Stream, Buffer, Event };

class Module : public std::enable_shared_from_this<Module> {
public:
    virtual ~Module() = default;
    virtual ModuleKind kind() const = 0;
    void* handle() { return this; }

    // Every module except a buffer and an event has a port. A module's own port holds a small
    // plain description at address 0; the remote device port overrides all of this.
    bool hasPort() const { return kind() != ModuleKind::Buffer && kind() != ModuleKind::Event; }
    virtual PortIdentity portIdentity() const;
    virtual void readPort(uint64_t address, void* buffer, size_t size);
    virtual void writePort(uint64_t address, const void* buffer, size_t size);
    virtual std::string portUrl();

private:
    const std::string& ownDescription() const;
    mutable std::once_flag describeOnce_;
    mutable std::string description_;
};

using Registry = gentlkit::Registry<Module>;

// What Aravis' discovery tells about one camera.
struct DeviceEntry {
    std::string id, vendor, model, serial, address, physicalId;
};

// The Aravis transports offered as interfaces: their Aravis protocol name (also the
// interface ID) and GenTL transport-layer type.
struct Transport {
    const char* protocol;
    const char* tlType;
    const char* displayName;
};
const std::vector<Transport>& transports();

class System;
class Interface;
class Device;
class Stream;

// Process-wide state between GCInitLib and GCCloseLib. Aravis' device list is global and not
// thread-safe: every use goes through `withDeviceList`.
class Library {
public:
    static Library& instance();

    void init();
    void close();
    bool initialized() const { return initialized_; }
    const Settings& settings() const { return settings_; }
    Registry& registry() { return registry_; }
    void release(const std::vector<void*>& handles) { registry_.remove(handles); }

    std::shared_ptr<System> openSystem();
    void systemClosed();

    // Runs Aravis' discovery and answers the cameras of one protocol.
    std::vector<DeviceEntry> discover(const std::string& protocol);
    // arv_open_device, which reads the same list; GC_ERR_ACCESS_DENIED with Aravis' reason.
    ArvDevice* open(const std::string& id);

private:
    std::mutex mutex_;
    std::mutex arvMutex_;
    bool initialized_ = false;
    Settings settings_;
    Registry registry_;
    std::shared_ptr<System> system_;
};

InfoValue systemInfo(TL_INFO_CMD command);

class System : public Module {
public:
    ModuleKind kind() const override { return ModuleKind::System; }
    PortIdentity portIdentity() const override;

    void updateInterfaceList(bool8_t* changed);
    uint32_t numInterfaces() const;
    std::string interfaceId(uint32_t index) const;
    InfoValue interfaceInfo(const std::string& id, INTERFACE_INFO_CMD command) const;
    std::shared_ptr<Interface> openInterface(const std::string& id);
    void interfaceClosed(const Interface& iface);
    void close(std::vector<void*>& released);

private:
    uint32_t indexOf(const std::string& id) const;  // GC_ERR_INVALID_ID when unknown

    mutable std::mutex mutex_;
    bool listed_ = false;
    std::map<std::string, std::shared_ptr<Interface>> open_;
};

class Interface : public Module {
public:
    Interface(std::weak_ptr<System> system, uint32_t index);
    ModuleKind kind() const override { return ModuleKind::Interface; }
    PortIdentity portIdentity() const override;

    uint32_t index() const { return index_; }
    const Transport& transport() const { return transports()[index_]; }
    std::shared_ptr<System> system() const { return system_.lock(); }
    static InfoValue info(uint32_t index, INTERFACE_INFO_CMD command);

    void updateDeviceList(bool8_t* changed);
    uint32_t numDevices() const;
    std::string deviceId(uint32_t index) const;
    InfoValue deviceInfo(const std::string& id, DEVICE_INFO_CMD command) const;
    std::shared_ptr<Device> openDevice(const std::string& id, DEVICE_ACCESS_FLAGS flags);
    void deviceClosed(const Device& device);
    void close(std::vector<void*>& released);

private:
    const DeviceEntry& entry(const std::string& id) const;  // GC_ERR_INVALID_ID when not listed

    std::weak_ptr<System> system_;
    const uint32_t index_;
    mutable std::mutex mutex_;
    std::vector<DeviceEntry> listed_;
    std::map<std::string, std::shared_ptr<Device>> open_;
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

class Device : public Module {
public:
    Device(std::weak_ptr<Interface> iface, ArvDevice* device, DeviceEntry entry);
    ~Device() override;
    ModuleKind kind() const override { return ModuleKind::Device; }
    PortIdentity portIdentity() const override;

    const std::string& id() const { return entry_.id; }
    std::shared_ptr<Interface> parent() const { return iface_.lock(); }
    InfoValue info(DEVICE_INFO_CMD command) const;
    std::shared_ptr<RemotePort> remotePort() const { return port_; }
    ArvDevice* arv() const { return device_; }

    uint32_t numStreams() const { return 1; }
    std::string streamId(uint32_t index) const;
    std::shared_ptr<Stream> openStream(const std::string& id);
    void streamClosed(const Stream& stream, std::vector<void*>& released);
    void close(std::vector<void*>& released);

private:
    std::weak_ptr<Interface> iface_;
    ArvDevice* device_;
    const DeviceEntry entry_;
    std::shared_ptr<RemotePort> port_;
    mutable std::mutex mutex_;
    std::shared_ptr<Stream> stream_;
};

// Device information shared by IFGetDeviceInfo and DevGetInfo.
InfoValue deviceInfo(const DeviceEntry& entry, const Transport& transport, DEVICE_ACCESS_STATUS status,
                     DEVICE_INFO_CMD command);

// ---- data stream -------------------------------------------------------------------------

// Where a buffer is; the consumer owns it only in `Announced`. `InputPool` buffers wait in the
// producer while acquisition is stopped; `Acquiring` ones are in Aravis' input queue.
enum class BufferState { Announced, InputPool, Acquiring, OutputQueue };

// What Aravis reported for the last frame in a buffer.
struct FillResult {
    uint64_t frameId = 0;
    uint64_t timestampNs = 0;
    size_t sizeFilled = 0;
    uint32_t width = 0, height = 0, offsetX = 0, offsetY = 0;
    uint64_t pixelFormat = 0;
    bool imagePresent = false;
    bool newData = false;
    bool incomplete = false;
    bool largerThanBuffer = false;
};

class BufferModule : public Module {
public:
    ~BufferModule() override;
    ModuleKind kind() const override { return ModuleKind::Buffer; }
    Stream* owner = nullptr;
    uint8_t* base = nullptr;
    size_t size = 0;
    void* userPointer = nullptr;
    std::unique_ptr<uint8_t[]> ownMemory;  // DSAllocAndAnnounceBuffer
    ArvBuffer* arv = nullptr;              // over `base`; one reference held here
    // guarded by the owner's lock
    BufferState state = BufferState::Announced;
    FillResult fill;
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

class Stream : public Module {
public:
    Stream(std::weak_ptr<Device> device, ArvStream* stream, std::string id);
    ~Stream() override;
    ModuleKind kind() const override { return ModuleKind::Stream; }
    PortIdentity portIdentity() const override;

    const std::string& id() const { return id_; }
    std::shared_ptr<Device> device() const { return device_.lock(); }

    std::shared_ptr<BufferModule> announce(void* memory, size_t size, void* userPointer);
    std::shared_ptr<BufferModule> allocateAndAnnounce(size_t size, void* userPointer);
    void revoke(BufferModule& buffer, void** memory, void** userPointer);
    void queue(BufferModule& buffer);
    void flush(ACQ_QUEUE_TYPE operation);
    BufferModule* bufferAt(uint32_t index) const;

    void start(uint64_t count);
    void stop(ACQ_STOP_FLAGS flags);

    std::shared_ptr<NewBufferEvent> registerEvent();
    void* unregisterEvent();
    GC_ERROR waitNewBuffer(NewBufferEvent& event, uint64_t timeoutMs, BufferModule*& buffer);
    void kill(NewBufferEvent& event);
    void flushEvent();
    InfoValue eventInfo(const NewBufferEvent& event, EVENT_INFO_CMD command) const;

    InfoValue info(STREAM_INFO_CMD command) const;
    InfoValue bufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const;

    void close(std::vector<void*>& releasedHandles);

    // Aravis' stream thread: takes the finished buffers out of Aravis' output queue.
    void collect();

private:
    void requireOwn(const BufferModule& buffer) const;
    std::shared_ptr<BufferModule> addBuffer(std::shared_ptr<BufferModule> buffer);
    void giveToAravis(BufferModule& buffer);  // under mutex_
    void halt();                              // under controlMutex_: Aravis' thread stopped
    void resume();                            // under controlMutex_: input pool to Aravis
    void moveToAnnounced(std::deque<BufferModule*>& queue);

    std::weak_ptr<Device> device_;
    ArvStream* stream_;
    const std::string id_;

    std::mutex controlMutex_;  // start, stop, flush and close; taken before mutex_
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::shared_ptr<BufferModule>> buffers_;  // announce order
    std::deque<BufferModule*> input_;                     // InputPool and Acquiring, queue order
    std::deque<BufferModule*> output_;
    std::shared_ptr<NewBufferEvent> event_;
    bool grabbing_ = false;
    bool running_ = false;  // Aravis' thread receives
    uint64_t toAcquire_ = 0;
    uint64_t acquired_ = 0;
    uint64_t delivered_ = 0;
    uint64_t started_ = 0;
};

}  // namespace tq4aravis
