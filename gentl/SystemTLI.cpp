#include "gentl/SystemTLI.h"

#include <algorithm>

#include "gentl-module/GenTLCall.h"
#include "gentl-module/GenTLModule.h"
#include "gentl/Device.h"
#include "gentl/Interface.h"
#include "log/Log.h"

namespace tq4::gentl {

SystemTLI::SystemTLI(const std::string& producerName)
    : producerName_(producerName), module_(std::make_shared<GenTLModule>(producerName)) {
    if (!module_->init()) return;
    if (callGenTL(module_->fn().TLOpen, &hTL_) != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "SystemTLI::SystemTLI: TLOpen failed.");
        return;
    }
    opened_ = true;
}

SystemTLI::~SystemTLI() {
    interfaces_.clear();
    if (module_->isInitialised() && callGenTL(module_->fn().TLClose, hTL_) != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "SystemTLI::~SystemTLI: TLClose failed.");
    TQ4_LOG(log::kProgress, nullptr, "SystemTLI::~SystemTLI: Closed system with hTL 0x%x", low32(hTL_));
}

bool SystemTLI::isUsable() const { return module_->isInitialised() && opened_; }

void SystemTLI::updateInterfaces() {
    std::lock_guard<std::mutex> lock(mutex_);
    const GenTLFunctions& fn = module_->fn();
    GenTL::bool8_t changed = false;
    GenTL::GC_ERROR status = callGenTL(fn.TLUpdateInterfaceList, hTL_, &changed, kListUpdateTimeoutMs);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "SystemTLI::updateInterfaces: TLUpdateInterfaceList failed: %d", status);
        return;
    }

    std::string systemId;
    status = queryText(
        [&](char* buffer, std::size_t* size) {
            GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
            return callGenTL(fn.TLGetInfo, hTL_, GenTL::TL_INFO_ID, &type, buffer, size);
        },
        systemId);
    if (status != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "SystemTLI::updateInterfaces: TLGetInfo TL_INFO_ID failed: %d", status);
    if (changed)
        TQ4_LOG(log::kDetail, nullptr, "SystemTLI::updateInterfaces: Change on TLUpdateInterfaceList on TL: %s",
                systemId.c_str());

    uint32_t count = 0;
    status = callGenTL(fn.TLGetNumInterfaces, hTL_, &count);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "SystemTLI::updateInterfaces: TLGetNumInterfaces failed: %d", status);
        return;
    }
    if (interfaces_.size() != count)
        TQ4_LOG(log::kProgress, nullptr, "SystemTLI::updateInterfaces: %d opened interface, %d interface available.",
                static_cast<int>(interfaces_.size()), static_cast<int>(count));

    std::vector<std::string> presentIds;
    for (uint32_t index = 0; index < count; ++index) {
        std::string interfaceId;
        status = queryText(
            [&](char* buffer, std::size_t* size) { return callGenTL(fn.TLGetInterfaceID, hTL_, index, buffer, size); },
            interfaceId);
        if (status != GenTL::GC_ERR_SUCCESS) {
            TQ4_LOG(log::kError, nullptr, "SystemTLI::updateInterfaces: TLGetInterfaceID failed: %d. Index: %d", status,
                    static_cast<int>(index));
            continue;
        }
        presentIds.push_back(interfaceId);
        if (!interfaces_.contains(interfaceId)) openInterface(interfaceId);
    }
    warnAboutVanishedInterfaces(presentIds);
}

void SystemTLI::openInterface(const std::string& interfaceId) {
    GenTL::IF_HANDLE hIF = nullptr;
    const GenTL::GC_ERROR status = callGenTL(module_->fn().TLOpenInterface, hTL_, interfaceId.c_str(), &hIF);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "SystemTLI::updateInterfaces: TLOpenInterface failed: %d. Id: <%s>", status,
                interfaceId.c_str());
        return;
    }
    interfaces_.put(interfaceId, std::make_shared<Interface>(module_, hIF, interfaceId));
    TQ4_LOG(log::kProgress, nullptr, "SystemTLI::updateInterfaces: Opened Interface with ID <%s>, hIF: 0x%x",
            interfaceId.c_str(), low32(hIF));
}

// Vanished interfaces are reported, never removed: their devices may still be open.
void SystemTLI::warnAboutVanishedInterfaces(const std::vector<std::string>& presentIds) const {
    for (const std::string& known : interfaces_.ids())
        if (std::find(presentIds.begin(), presentIds.end(), known) == presentIds.end())
            TQ4_LOG(log::kError, nullptr,
                    "SystemTLI::updateInterfaces: [WARNING] Interface ID <%s> no longer available.", known.c_str());
}

void SystemTLI::updateDeviceMaps() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& iface : interfaces_.values()) iface->updateDeviceMap();
}

void* SystemTLI::openDevice(int32_t num, const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& iface : interfaces_.values()) {
        for (const auto& device : iface->devices()) {
            if (device->openCount() != 0) continue;
            TQ4_LOG(log::kProgress, nullptr,
                    "SystemTLI::openDevice: Open device ID <%s> with zevo_num %d on Interface <%s>",
                    device->id().c_str(), num, iface->id().c_str());
            if (void* handle = device->open(num, std::string(text))) return handle;
        }
    }
    return nullptr;
}

std::shared_ptr<Device> SystemTLI::findDevice(const std::function<bool(const Device&)>& match) const {
    for (const auto& iface : interfaces_.values())
        for (const auto& device : iface->devices())
            if (match(*device)) return device;
    return nullptr;
}

void SystemTLI::forEachDevice(const std::function<void(Device&)>& visit) const {
    for (const auto& iface : interfaces_.values())
        for (const auto& device : iface->devices()) visit(*device);
}

}  // namespace tq4::gentl
