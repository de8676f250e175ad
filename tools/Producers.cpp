#include "tools/Producers.h"

#include <algorithm>
#include <exception>
#include <filesystem>

#include "config/Config.h"
#include "features/NodeMap.h"
#include "gentl-module/GenTL.h"
#include "gentl-module/GenTLModule.h"
#include "gentl/Device.h"
#include "gentl/Interface.h"
#include "gentl/SystemTLI.h"

namespace tq4::tools {

namespace fs = std::filesystem;

std::vector<std::string> producersOnSearchPath() {
    std::vector<std::string> found;
    for (const std::string& folder : gentl::GenTLModule::searchFolders()) {
        std::error_code error;
        if (folder.empty() || !fs::is_directory(folder, error)) continue;
        std::vector<std::string> here;
        for (const auto& entry : fs::directory_iterator(folder, error))
            if (entry.path().extension() == ".cti") here.push_back(fs::weakly_canonical(entry.path()).string());
        std::sort(here.begin(), here.end());
        for (const std::string& path : here)
            if (std::find(found.begin(), found.end(), path) == found.end()) found.push_back(path);
    }
    return found;
}

std::vector<std::string> configuredProducers(const std::string& producers) {
    const std::string list =
        producers.empty() ? config::readIniValue(config::paths().iniFile, "CONFIG", "ProducerName", "ZEVO.cti", false)
                          : producers;
    std::vector<std::string> tokens;
    std::size_t start = 0;
    while (start <= list.size()) {
        std::size_t end = list.find(':', start);
        if (end == std::string::npos) end = list.size();
        if (end > start) tokens.push_back(list.substr(start, end - start));
        start = end + 1;
    }
    return tokens;
}

namespace {

std::shared_ptr<gentl::SystemTLI> openSystem(const std::string& producer) {
    auto system = std::make_shared<gentl::SystemTLI>(producer);
    if (!system->isUsable()) return nullptr;
    system->updateInterfaces();
    system->updateDeviceMaps();
    return system;
}

// The camera a choice names, with its producer's system open as long as it is kept.
struct FoundCamera {
    std::shared_ptr<gentl::SystemTLI> system;
    std::shared_ptr<gentl::Device> device;
    CameraPlace place;
};

bool findCamera(const std::vector<std::string>& producers, const CameraChoice& choice, FoundCamera& found,
                std::string& problem) {
    uint32_t number = 0;
    bool loaded = false;
    for (const std::string& producer : producers) {
        const std::shared_ptr<gentl::SystemTLI> system = openSystem(producer);
        if (!system) continue;
        loaded = true;
        uint32_t position = 0;
        for (const auto& iface : system->interfaces()) {
            for (const auto& device : iface->devices()) {
                const bool chosen =
                    choice.serial.empty()
                        ? number == choice.number
                        : iface->deviceInfoText(device->id(), GenTL::DEVICE_INFO_SERIAL_NUMBER) == choice.serial;
                if (chosen) {
                    found = {system, device, {number, producer, position, device->displayName()}};
                    return true;
                }
                ++number;
                ++position;
            }
        }
    }
    std::string list;
    for (const std::string& producer : producers) list += (list.empty() ? "" : ":") + producer;
    const std::string camera =
        choice.serial.empty() ? "camera " + std::to_string(choice.number) : "camera with serial " + choice.serial;
    problem =
        loaded ? "there is no " + camera + " (" + std::to_string(number) + " found through " + list + ")"
               : "no producer of the list " + list + " can be loaded (is it on GENICAM_GENTL64_PATH? see tq4cam list)";
    return false;
}

}  // namespace

ProducerListing listProducer(const std::string& path) {
    ProducerListing listing{path, false, {}};
    const std::shared_ptr<gentl::SystemTLI> system = openSystem(path);
    if (!system) return listing;
    listing.usable = true;
    for (const auto& iface : system->interfaces()) {
        for (const auto& device : iface->devices()) {
            const auto text = [&](GenTL::DEVICE_INFO_CMD command) {
                return iface->deviceInfoText(device->id(), command);
            };
            listing.cameras.push_back({iface->id(), device->id(), text(GenTL::DEVICE_INFO_VENDOR),
                                       text(GenTL::DEVICE_INFO_MODEL), text(GenTL::DEVICE_INFO_SERIAL_NUMBER),
                                       device->displayName(), iface->deviceAccessStatus(device->id())});
        }
    }
    return listing;
}

bool locateCamera(const std::vector<std::string>& producers, const CameraChoice& choice, CameraPlace& place,
                  std::string& problem) {
    FoundCamera found;
    if (!findCamera(producers, choice, found, problem)) return false;
    place = found.place;
    return true;
}

FeatureCamera::FeatureCamera(const std::vector<std::string>& producers, const CameraChoice& choice) {
    FoundCamera found;
    if (!findCamera(producers, choice, found, problem_)) return;
    number_ = found.place.number;
    const std::string camera = "camera " + std::to_string(number_);
    try {
        if (!found.device->open(static_cast<int32_t>(number_), found.place.producer)) {
            problem_ = camera + " (" + found.device->id() + ") could not be opened";
            return;
        }
    } catch (const std::exception& e) {
        problem_ = camera + ": " + e.what();
        return;
    }
    system_ = found.system;
    device_ = found.device;
    map_ = device_->nodeMap();
    description_ = device_->displayName() + " (" + device_->id() + ") through " + found.place.producer;
}

FeatureCamera::~FeatureCamera() {
    map_.reset();
    if (device_) device_->close();
}

}  // namespace tq4::tools
