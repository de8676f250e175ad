// Open_Cam_Ext's work. The producers of the list are tried in turn; the first that yields an
// opened, read-write camera under the caller's number wins. A producer that cannot be loaded
// only costs its turn; a camera that turns out not to be read-write ends the search, since
// another producer would reach the same physical camera.
#include "driver/Open.h"

#include <cstdio>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include "config/Config.h"
#include "driver/Driver.h"
#include "driver/Lifetime.h"
#include "features/NodeMap.h"
#include "gentl-module/GenTL.h"
#include "gentl/Device.h"
#include "gentl/SystemTLI.h"
#include "log/Format.h"
#include "log/Log.h"

namespace tq4::driver {

using namespace tq4::config;

namespace {

constexpr uint32_t kNoNumber = 0xFFFFFFFFu;
constexpr const char* kDefaultProducer = "ZEVO.cti";
constexpr char kProducerSeparator = ':';

using DevicePtr = std::shared_ptr<gentl::Device>;
using SystemPtr = std::shared_ptr<gentl::SystemTLI>;

// Logs `text` and the separator line, both at `level`, and returns `code`.
uint32_t finish(uint32_t code, uint32_t level, const std::string& text) {
    TQ4_LOG(level, nullptr, "%s", text.c_str());
    logSeparator(level == log::kError ? log::kProgress : level);
    return code;
}

std::vector<std::string> splitProducerList(const std::string& list) {
    std::vector<std::string> tokens;
    std::string::size_type begin = 0;
    while (begin <= list.size()) {
        const auto end = list.find(kProducerSeparator, begin);
        const auto piece = list.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
        if (!piece.empty()) tokens.push_back(piece);
        if (end == std::string::npos) break;
        begin = end + 1;
    }
    return tokens;
}

// The caller's list when the open structure carries one, else the configuration file's.
struct ProducerList {
    std::string text;
    bool fromCaller = false;
};

ProducerList chooseProducerList(const TQ4_OpenStruct* open) {
    // The configuration is read (and a missing ProducerName written back) on every open, so
    // that the file documents the key even when a caller always passes its own list.
    std::string configured = readIniValue(paths().iniFile, "CONFIG", "ProducerName", kDefaultProducer, true);
    if (open && open->producerList) return {open->producerList, true};
    return {configured, false};
}

// ---- one producer ------------------------------------------------------------------------------

enum class Step { Done, NextToken };

struct Attempt {
    Step step;
    uint32_t code;
};

Attempt reopen(const SystemPtr& system, uint32_t num, TQ4_HANDLE handle) {
    DevicePtr device =
        system->findDevice([handle](const gentl::Device& d) { return d.handle() == static_cast<const void*>(handle); });
    if (!device)
        return {Step::Done, finish(ZEVO_ERROR_DRIVER_NULLHANDLE, log::kError,
                                   "Open_Cam_Ext: reopen failed, because HANDLE is not available in driver.")};
    if (device->number() != static_cast<int32_t>(num))
        return {Step::Done, finish(ZEVO_ERROR_DRIVER_NULLHANDLE, log::kError,
                                   "Open_Cam_Ext: reopen failed, because HANDLE does not match device number")};
    uint32_t count;
    {
        std::lock_guard<std::recursive_mutex> lock(device->mutex());
        device->incrementOpenCount();
        count = device->openCount();
    }
    return {Step::Done, finish(ZEVO_NOERROR, log::kProgress,
                               tq4::formatText("Open_Cam_Ext: reopen device num %d, open_count %d", num, count))};
}

// Refuses a number that is open already; notes a registered but closed one.
bool numberInUse(const SystemPtr& system, uint32_t num, uint32_t& code) {
    DevicePtr device =
        system->findDevice([num](const gentl::Device& d) { return d.number() == static_cast<int32_t>(num); });
    if (!device) return false;
    const uint32_t count = device->openCount();
    if (count > 0) {
        code = finish(ZEVO_ERROR_OPEN_INUSE, log::kProgress,
                      tq4::formatText("Open_Cam_Ext: device num %d already in use, open_count %d", num, count));
        return true;
    }
    TQ4_LOG(log::kError, nullptr, "Open_Cam_Ext: device num %d available but not open, open_count %d",
            static_cast<int>(num), static_cast<int>(count));
    return false;
}

Attempt openNew(const SystemPtr& system, uint32_t num, TQ4_HANDLE* ph, const std::string& token) {
    uint32_t inUse = ZEVO_NOERROR;
    if (numberInUse(system, num, inUse)) return {Step::Done, inUse};

    void* handle = system->openDevice(static_cast<int32_t>(num), token);
    *ph = handle;
    if (!handle)  // kept at the verbose level: every producer without a camera reports it
        return {Step::Done, finish(ZEVO_ERROR_OPEN_FAILED, log::kVerbose, "Open_Cam_Ext: Open device failed.")};

    DevicePtr device = Driver::instance()->getDevice(static_cast<const void*>(handle));
    if (!device) {
        finish(0, log::kProgress,
               tq4::formatText("Open_Cam_Ext: Open device num %d failed: ZEVO_ERROR_DRIVER_NODRIVER.", num));
        return {Step::NextToken, ZEVO_ERROR_DRIVER_NODRIVER};
    }
    if (!device->isOpen()) {
        // The camera preparation handed the camera to its correction data download tool.
        *ph = nullptr;
        return {Step::Done, finish(ZEVO_ERROR_OPEN_FAILED, log::kError,
                                   "Open_Cam_Ext: camera closed for the correction data download tool. Open it again "
                                   "when the tool is done.")};
    }
    const int32_t status = device->getAccessStatus();
    if (!isUsableAccessStatus(status)) {
        // The camera stays opened under the written handle; the caller's close is refused by
        // the same access check until the camera becomes read-write again.
        TQ4_LOG(log::kError, handle, "Open_Cam_Ext: No access. GenTL::DEVICE_ACCESS_STATUS: %d", status);
        return {Step::Done, ZEVO_ERROR_DRIVER_NODRIVER};
    }
    log::set_device_number(static_cast<int>(num));
    TQ4_LOG(log::kProgress, handle, "Open_Cam_Ext: done.");
    logSeparator();
    return {Step::Done, ZEVO_NOERROR};
}

Attempt tryProducer(const std::string& token, uint32_t num, TQ4_HANDLE* ph) {
    SystemPtr system = Driver::instance()->getSystem(token);
    if (!system) {
        TQ4_LOG(log::kError, nullptr, "Open_Cam_Ext: open TLI system failed. cti_token: %s", token.c_str());
        logSeparator();
        return {Step::NextToken, ZEVO_ERROR_DRIVER_NODRIVER};
    }
    system->updateInterfaces();
    system->updateDeviceMaps();
    if (*ph) return reopen(system, num, *ph);
    return openNew(system, num, ph, token);
}

uint32_t tryProducers(const std::vector<std::string>& tokens, uint32_t num, TQ4_HANDLE* ph) {
    uint32_t pending = ZEVO_ERROR_DRIVER_NODRIVER;
    for (const auto& token : tokens) {
        const Attempt attempt = tryProducer(token, num, ph);
        if (attempt.step == Step::Done) return attempt.code;
        pending = attempt.code;
    }
    return pending;
}

// Errors of the node-map engine while a camera is being prepared end the open; file-system
// and other library errors from the same place are treated alike.
uint32_t tryProducersGuarded(const std::vector<std::string>& tokens, uint32_t num, TQ4_HANDLE* ph) {
    try {
        return tryProducers(tokens, num, ph);
    } catch (const features::GenericException& e) {
        TQ4_LOG(log::kError, nullptr, "Open_Cam_Ext: Exception GenApi");
        TQ4_LOG(log::kDetail, nullptr, "Open_Cam_Ext: %s", e.GetDescription());
    } catch (const std::exception& e) {
        TQ4_LOG(log::kError, nullptr, "Open_Cam_Ext: Exception: %s", e.what());
    }
    return ZEVO_ERROR_DRIVER_NODRIVER;
}

}  // namespace

bool isUsableAccessStatus(int32_t status) {
    return status == GenTL::DEVICE_ACCESS_STATUS_READWRITE || status == GenTL::DEVICE_ACCESS_STATUS_OPEN_READWRITE;
}

void logSeparator(uint32_t level) { TQ4_LOG(level, nullptr, "%s", std::string(66, '=').c_str()); }

uint32_t openCamera(uint32_t num, TQ4_HANDLE* ph, const TQ4_OpenStruct* open) {
    if (!ph) {
        TQ4_LOG(log::kError, nullptr, "Open_Cam_Ext: failed, because (HANDLE*) is nullptr.");
        return ZEVO_ERROR_OPEN_NULLHANDLEPTR;
    }
    if (num == kNoNumber) {
        TQ4_LOG(log::kError, nullptr, "Open_Cam_Ext: failed, because num is 0x%x.", num);
        return ZEVO_ERROR_OPEN_WRONGNUM;
    }
    TQ4_LOG(log::kProgress, nullptr, "Open_Cam_Ext: num %d OpenStruct %p", static_cast<int>(num),
            static_cast<const void*>(open));
    if (!genicamAvailable()) return ZEVO_ERROR_OPEN_NOGENICAM;
    TQ4_LOG(log::kVerbose, nullptr, "Open_Cam_Ext: genicam Dll's available");

    Driver::instance();
    const ProducerList list = chooseProducerList(open);
    TQ4_LOG(list.fromCaller ? log::kProgress : log::kVerbose, nullptr,
            "Open_Cam_Ext: num: %d, cti_name list: %s from %s", static_cast<int>(num), list.text.c_str(),
            list.fromCaller ? "TQ4_OpenStruct" : "ini");
    return tryProducersGuarded(splitProducerList(list.text), num, ph);
}

}  // namespace tq4::driver
