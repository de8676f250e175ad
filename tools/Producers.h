// The GenTL side of tq4cam, in this process and through the same transport and node-map
// classes the driver uses: the producers on the search path with their cameras, and one camera
// opened for a look at its features (bypassing the driver's telegrams on purpose).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tq4::features {
class NodeMap;
}
namespace tq4::gentl {
class Device;
class SystemTLI;
}  // namespace tq4::gentl

namespace tq4::tools {

// Producer files (*.cti) in the folders the driver searches, in its order, each path once.
std::vector<std::string> producersOnSearchPath();
// The producer list the driver opens cameras from: `producers` when given, else the
// configuration file's ProducerName ("ZEVO.cti" when missing); tokens separated by ':'.
std::vector<std::string> configuredProducers(const std::string& producers);

struct CameraListing {
    std::string interfaceId;
    std::string deviceId;
    std::string vendor;
    std::string model;
    std::string serial;
    std::string displayName;
    int32_t accessStatus = -1;
};
struct ProducerListing {
    std::string path;
    bool usable = false;  // loaded, initialised and its system opened
    std::vector<CameraListing> cameras;
};
ProducerListing listProducer(const std::string& path);

// One camera opened in this process: the `number`-th device over the producers of the list,
// in the driver's enumeration order. Closed again when the object goes.
class FeatureCamera {
public:
    FeatureCamera(const std::vector<std::string>& producers, uint32_t number);
    ~FeatureCamera();
    FeatureCamera(const FeatureCamera&) = delete;
    FeatureCamera& operator=(const FeatureCamera&) = delete;

    bool isOpen() const { return map_ != nullptr; }
    // Why the camera is not open, for the user.
    const std::string& problem() const { return problem_; }
    features::NodeMap& map() { return *map_; }
    const std::string& description() const { return description_; }

private:
    std::vector<std::shared_ptr<gentl::SystemTLI>> systems_;
    std::shared_ptr<gentl::Device> device_;
    std::shared_ptr<features::NodeMap> map_;
    std::string problem_;
    std::string description_;
};

}  // namespace tq4::tools
