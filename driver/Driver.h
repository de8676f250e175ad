// The process-wide registry of loaded producers and the cameras opened through them.
//
// The exported functions find a camera by the HANDLE the caller holds (or, for the
// availability check, by the number it was opened under). The registry is created by the
// first export call that needs it and destroyed by the close that ends the last open in the
// process; the next call starts with a fresh, empty registry.
//
// One process-wide mutex (the driver lock) guards the instance pointer and the producer map.
// Every operation below takes it for its whole run. The instance is handed out by shared
// reference, so an export that raced with the final close still works on a valid (emptied)
// registry rather than on freed memory.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace tq4::gentl {
class SystemTLI;
class Device;
}  // namespace tq4::gentl

namespace tq4::driver {

class Driver {
public:
    using SystemPtr = std::shared_ptr<gentl::SystemTLI>;
    using DevicePtr = std::shared_ptr<gentl::Device>;

    // The registry, created empty when there is none.
    static std::shared_ptr<Driver> instance();
    // True while a registry exists (nothing is created).
    static bool exists();
    // Releases every system (and with it interfaces, devices and producer libraries) of the
    // current registry, if any.
    static void clearInstance();
    // Drops the process-wide instance; the next instance() creates a new one.
    static void destroyInstance();

    Driver();
    ~Driver();
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    // The device whose HANDLE (or number) matches, or null. Producers are walked in the map's
    // iteration order; within a producer interfaces and devices in registration order; the
    // first producer that yields a device ends the search.
    DevicePtr getDevice(const void* handle);
    DevicePtr getDevice(int32_t number);

    // Sum of the open counts of all devices of all usable producers; devices opened more
    // than once are logged.
    uint32_t NumOpenDevices();

    // The usable system registered under `producerName`. A registered system that became
    // unusable is dropped; an unknown name loads and opens the producer and keeps it only if
    // it is usable. Null when there is no usable system.
    SystemPtr getSystem(const std::string& producerName);

private:
    template <typename Match>
    DevicePtr findDevice(const Match& match);
    void clearSystems();

    // Hashes the producer name with the standard string hash; 8 buckets at the start and a
    // maximum load factor of 1.0. For a given sequence of insertions the walk order of a
    // std::unordered_map is the same in every run, so "the first producer that knows the
    // camera" is reproducible; it is, however, not the order in which producers were added.
    std::unordered_map<std::string, SystemPtr> systems_;
};

}  // namespace tq4::driver
