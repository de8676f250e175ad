#include "sim/Tree.h"

#include <algorithm>

namespace zevo {
namespace {

std::string deviceIdOf(const Camera& camera) { return "ZEVO_quillon_" + camera.serial(); }

}  // namespace

// Devices may be configured to show up only after some updates, or to vanish after some.
void Interface::updateDeviceList(bool8_t* changed) {
    const Config& config = Library::instance().config();
    std::vector<std::string> now;
    std::lock_guard<std::mutex> lock(mutex_);
    ++updates_;
    const bool present = updates_ > config.devicesAppearAfterUpdates &&
                         (config.devicesVanishAfterUpdates == 0 || updates_ < config.devicesVanishAfterUpdates);
    if (present)
        for (uint32_t d = 0; d < config.devicesPerInterface; ++d)
            now.push_back(deviceIdOf(*Library::instance().camera(size_t(index()) * config.devicesPerInterface + d)));
    if (changed) *changed = now != listed_;
    listed_ = now;
}

size_t Interface::cameraIndexOf(const std::string& deviceId) const {
    const Config& config = Library::instance().config();
    require(std::find(listed_.begin(), listed_.end(), deviceId) != listed_.end(), GC_ERR_INVALID_ID,
            "unknown device ID");
    for (uint32_t d = 0; d < config.devicesPerInterface; ++d) {
        const size_t index = size_t(this->index()) * config.devicesPerInterface + d;
        if (deviceIdOf(*Library::instance().camera(index)) == deviceId) return index;
    }
    throw GenTLError(GC_ERR_INVALID_ID, "unknown device ID");
}

DEVICE_ACCESS_STATUS Interface::accessStatus(const std::string& deviceId) const {
    const int32_t forced = Library::instance().config().accessStatus;
    if (forced != 0) return forced;
    const auto it = open_.find(deviceId);
    if (it == open_.end()) return DEVICE_ACCESS_STATUS_READWRITE;
    return openAccessStatus(static_cast<const Device&>(*it->second).readOnly());
}

DEVICE_ACCESS_STATUS openAccessStatus(bool readOnly) {
    const Config& config = Library::instance().config();
    if (config.accessStatus != 0) return config.accessStatus;
    if (config.accessStatusAfterOpen != 0) return config.accessStatusAfterOpen;
    return readOnly ? DEVICE_ACCESS_STATUS_OPEN_READONLY : DEVICE_ACCESS_STATUS_OPEN_READWRITE;
}

InfoValue Interface::deviceInfo(const std::string& id, DEVICE_INFO_CMD command) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const size_t index = cameraIndexOf(id);
    return zevo::deviceInfo(*Library::instance().camera(index), id, accessStatus(id), command);
}

std::shared_ptr<DeviceModule> Interface::openDevice(const std::string& id, DEVICE_ACCESS_FLAGS flags) {
    requireAccessFlags(flags);
    std::lock_guard<std::mutex> lock(mutex_);
    const size_t index = cameraIndexOf(id);
    require(open_.count(id) == 0, GC_ERR_RESOURCE_IN_USE, "device already open");
    const DEVICE_ACCESS_STATUS status = accessStatus(id);
    require(status == DEVICE_ACCESS_STATUS_READWRITE ||
                (status == DEVICE_ACCESS_STATUS_READONLY && flags == DEVICE_ACCESS_READONLY),
            GC_ERR_ACCESS_DENIED, "device is not accessible");
    auto device = std::make_shared<Device>(std::static_pointer_cast<Interface>(shared_from_this()),
                                           Library::instance().camera(index), id, flags == DEVICE_ACCESS_READONLY);
    device->createPort();
    adopt(device, Library::instance().registry());
    return device;
}

InfoValue deviceInfo(const Camera& camera, const std::string& id, DEVICE_ACCESS_STATUS status,
                     DEVICE_INFO_CMD command) {
    constexpr uint64_t kTicksPerSecond = 1000000000;
    require(Library::instance().config().unavailableDeviceInfo.count(command) == 0, GC_ERR_NOT_AVAILABLE,
            "information not available");
    switch (command) {
        case DEVICE_INFO_ID: return infoString(id);
        case DEVICE_INFO_VENDOR: return infoString(camera.identity().vendorName);
        case DEVICE_INFO_MODEL: return infoString(camera.identity().modelName);
        case DEVICE_INFO_TLTYPE: return infoString(TLTypeCustomName);
        case DEVICE_INFO_DISPLAYNAME:
            return infoString(camera.identity().displayName.empty() ? "ZEVO quillon SWIR (" + camera.serial() + ")"
                                                                    : camera.identity().displayName);
        case DEVICE_INFO_ACCESS_STATUS: return infoInt32(status);
        case DEVICE_INFO_USER_DEFINED_NAME: return infoString(camera.userDefinedName());
        case DEVICE_INFO_SERIAL_NUMBER: return infoString(camera.serial());
        case DEVICE_INFO_VERSION: return infoString(camera.identity().deviceVersion);
        case DEVICE_INFO_TIMESTAMP_FREQUENCY: return infoUInt64(kTicksPerSecond);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown device info command");
    }
}

}  // namespace zevo
