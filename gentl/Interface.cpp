#include "gentl/Interface.h"

#include <algorithm>

#include "gentl-module/GenTLCall.h"
#include "gentl-module/GenTLModule.h"
#include "gentl/Device.h"
#include "log/Log.h"

namespace tq4::gentl {

namespace {

constexpr int kDeviceListAttempts = 3;

// The information logged for a new device, in the order it is logged.
struct DeviceInfoLine {
    GenTL::DEVICE_INFO_CMD command;
    const char* format;
};
const DeviceInfoLine kNewDeviceLines[] = {
    {GenTL::DEVICE_INFO_DISPLAYNAME, "Interface::updateDeviceMap: New device found. DEVICE_INFO_DISPLAYNAME: %s"},
    {GenTL::DEVICE_INFO_VERSION, "Interface::updateDeviceMap: DEVICE_INFO_VERSION: %s"},
    {GenTL::DEVICE_INFO_ID, "Interface::updateDeviceMap: DEVICE_INFO_ID: %s"},
    {GenTL::DEVICE_INFO_VENDOR, "Interface::updateDeviceMap: DEVICE_INFO_VENDOR: %s"},
    {GenTL::DEVICE_INFO_MODEL, "Interface::updateDeviceMap: DEVICE_INFO_MODEL: %s"},
    {GenTL::DEVICE_INFO_TLTYPE, "Interface::updateDeviceMap: DEVICE_INFO_TLTYPE: %s"},
    {GenTL::DEVICE_INFO_USER_DEFINED_NAME, "Interface::updateDeviceMap: DEVICE_INFO_USER_DEFINED_NAME: %s"},
    {GenTL::DEVICE_INFO_SERIAL_NUMBER, "Interface::updateDeviceMap: DEVICE_INFO_SERIAL_NUMBER: %s"},
};

}  // namespace

Interface::Interface(std::shared_ptr<GenTLModule> module, GenTL::IF_HANDLE hIF, std::string id)
    : module_(std::move(module)), hIF_(hIF), id_(std::move(id)) {}

// The interface is closed first; its device records go after it (an open device among them
// still gets its DevClose, logged when the producer refuses it).
Interface::~Interface() {
    if (callGenTL(module_->fn().IFClose, hIF_) != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "Interface::~Interface: IFClose with Interface ID <%s> failed.", id_.c_str());
    else
        TQ4_LOG(log::kProgress, nullptr, "Interface::~Interface: Closed interface with ID <%s>", id_.c_str());
}

void Interface::updateDeviceMap() {
    std::lock_guard<std::mutex> lock(mutex_);
    uint32_t count = 0;
    if (!updateDeviceList(count)) return;

    std::vector<std::string> presentIds;
    for (uint32_t index = 0; index < count; ++index) {
        std::string deviceId;
        const GenTL::GC_ERROR status = queryText(
            [&](char* buffer, std::size_t* size) {
                return callGenTL(module_->fn().IFGetDeviceID, hIF_, index, buffer, size);
            },
            deviceId);
        if (status != GenTL::GC_ERR_SUCCESS) {
            TQ4_LOG(log::kError, nullptr, "Interface::updateDeviceMap: GC failed: %d.", status);
            continue;
        }
        presentIds.push_back(deviceId);
        if (!devices_.contains(deviceId)) registerDevice(deviceId);
    }

    // Vanished devices stay registered: an opened one keeps its handle and number.
    for (const std::string& known : devices_.ids())
        if (std::find(presentIds.begin(), presentIds.end(), known) == presentIds.end())
            TQ4_LOG(log::kError, nullptr, "Interface::updateDeviceMap: [WARNING] Device ID <%s> no longer available.",
                    known.c_str());
}

// Some producers report a device only after a few list updates; three attempts of 100 ms each
// are given before the count is taken as it is (possibly 0).
bool Interface::updateDeviceList(uint32_t& count) {
    for (int attempt = 0; attempt < kDeviceListAttempts; ++attempt) {
        GenTL::bool8_t changed = false;
        GenTL::GC_ERROR status = callGenTL(module_->fn().IFUpdateDeviceList, hIF_, &changed, kListUpdateTimeoutMs);
        if (status == GenTL::GC_ERR_SUCCESS) status = callGenTL(module_->fn().IFGetNumDevices, hIF_, &count);
        if (status != GenTL::GC_ERR_SUCCESS) {
            TQ4_LOG(log::kError, nullptr, "Interface::updateDeviceMap: GC failed: %d.", status);
            return false;
        }
        if (count > 0) break;
    }
    return true;
}

std::string Interface::deviceInfoText(const std::string& deviceId, GenTL::DEVICE_INFO_CMD command) const {
    std::string text;
    queryText(
        [&](char* buffer, std::size_t* size) {
            GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
            return callGenTL(module_->fn().IFGetDeviceInfo, hIF_, deviceId.c_str(), command, &type, buffer, size);
        },
        text);
    return text;
}

int32_t Interface::deviceAccessStatus(const std::string& deviceId) const {
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_INT32;
    int32_t status = -1;
    std::size_t size = sizeof(status);
    const GenTL::GC_ERROR result = callGenTL(module_->fn().IFGetDeviceInfo, hIF_, deviceId.c_str(),
                                             GenTL::DEVICE_INFO_ACCESS_STATUS, &type, &status, &size);
    return result == GenTL::GC_ERR_SUCCESS && type == GenTL::INFO_DATATYPE_INT32 ? status : -1;
}

void Interface::registerDevice(const std::string& deviceId) {
    std::string displayName;
    std::string version;
    for (const DeviceInfoLine& line : kNewDeviceLines) {
        const std::string text = deviceInfoText(deviceId, line.command);
        if (line.command == GenTL::DEVICE_INFO_DISPLAYNAME) displayName = text;
        if (line.command == GenTL::DEVICE_INFO_VERSION) version = text;
        TQ4_LOG(log::kProgress, nullptr, line.format, text.c_str());
    }
    devices_.put(deviceId, std::make_shared<Device>(module_, hIF_, deviceId, displayName, version));
    TQ4_LOG(log::kProgress, nullptr, "Interface::updateDeviceMap: Registered Device with ID <%s> @ hIF 0x%x",
            deviceId.c_str(), low32(hIF_));
}

}  // namespace tq4::gentl
