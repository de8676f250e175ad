#include "driver/Driver.h"

#include <new>

#include "camera/CameraDefaults.h"
#include "driver/Lifetime.h"
#include "gentl/Device.h"
#include "gentl/SystemTLI.h"
#include "log/Log.h"

namespace tq4::driver {

namespace {

std::mutex& driverLock() {
    static std::mutex lock;
    return lock;
}

// Guarded by driverLock(). Built in static storage and never destroyed: a registry still
// alive when the process ends must not be torn down by the exit handlers, after the producer
// libraries are gone; and no heap block is left behind when the library is unloaded.
std::shared_ptr<Driver>& instancePointer() {
    alignas(std::shared_ptr<Driver>) static unsigned char storage[sizeof(std::shared_ptr<Driver>)];
    static auto* pointer = new (storage) std::shared_ptr<Driver>();
    return *pointer;
}

constexpr std::size_t kInitialBuckets = 8;

}  // namespace

std::shared_ptr<Driver> Driver::instance() {
    std::lock_guard<std::mutex> lock(driverLock());
    auto& pointer = instancePointer();
    if (!pointer) pointer = std::make_shared<Driver>();
    return pointer;
}

bool Driver::exists() {
    std::lock_guard<std::mutex> lock(driverLock());
    return instancePointer() != nullptr;
}

void Driver::clearInstance() {
    std::lock_guard<std::mutex> lock(driverLock());
    if (auto& pointer = instancePointer()) pointer->clearSystems();
}

void Driver::destroyInstance() {
    std::shared_ptr<Driver> last;
    {
        std::lock_guard<std::mutex> lock(driverLock());
        last.swap(instancePointer());
    }
    // `last` is released here, outside the lock: a caller still holding the instance keeps it
    // alive (it was emptied by clearInstance) until its own call ends.
}

// Every camera the driver opens is brought into the state its callers expect.
Driver::Driver() : systems_(kInitialBuckets) {
    systems_.max_load_factor(1.0f);
    gentl::Device::setPreparation(&camera::prepareCamera);
}

Driver::~Driver() = default;

void Driver::clearSystems() { systems_.clear(); }

template <typename Match>
Driver::DevicePtr Driver::findDevice(const Match& match) {
    std::lock_guard<std::mutex> lock(driverLock());
    for (const auto& [name, system] : systems_) {
        if (!system || !system->isUsable()) {
            TQ4_LOG(log::kProgress, nullptr, "Driver::getDevice: GenTL Producer <%s> is not init.", name.c_str());
            continue;
        }
        if (auto device = system->findDevice(match)) return device;
    }
    return nullptr;
}

Driver::DevicePtr Driver::getDevice(const void* handle) {
    return findDevice([handle](const gentl::Device& device) { return device.handle() == handle; });
}

Driver::DevicePtr Driver::getDevice(int32_t number) {
    return findDevice([number](const gentl::Device& device) { return device.number() == number; });
}

uint32_t Driver::NumOpenDevices() {
    std::lock_guard<std::mutex> lock(driverLock());
    uint32_t sum = 0;
    for (const auto& entry : systems_) {
        const SystemPtr& system = entry.second;
        if (!system || !system->isUsable()) continue;
        system->forEachDevice([&sum](gentl::Device& device) {
            const uint32_t count = device.openCount();
            if (count > 1)
                TQ4_LOG(log::kDetail, device.handle(), "Driver::NumOpenDevices: Device ID <%s> is opened %d times.",
                        device.id().c_str(), static_cast<int>(count));
            sum += count;
        });
    }
    return sum;
}

Driver::SystemPtr Driver::getSystem(const std::string& producerName) {
    std::lock_guard<std::mutex> lock(driverLock());
    auto found = systems_.find(producerName);
    if (found != systems_.end()) {
        if (found->second && found->second->isUsable()) return found->second;
        systems_.erase(found);
        return nullptr;
    }
    auto system = std::make_shared<gentl::SystemTLI>(producerName);
    if (!system->isUsable()) return nullptr;
    systems_.emplace(producerName, system);
    return system;
}

// Asked at the last unload, to report a camera that was never closed.
bool registryExists() { return Driver::exists(); }

}  // namespace tq4::driver
