// The GenTL side of tq4cam, in this process and through the same transport and node-map
// classes the driver uses: the producers on the search path with their cameras, and one camera
// opened for a look at its features (bypassing the driver's telegrams on purpose).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/DriverLibrary.h"

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

// The camera a user names: by its number, counted over the cameras of the producer list in
// order (interfaces, then devices, as tq4cam list shows them), or by its serial number.
struct CameraChoice {
    uint32_t number = 0;
    std::string serial;  // when given, it names the camera instead of the number
};

// Where the camera `choice` names is, for the driver to open it; false with the reason in
// `problem`. The producers are loaded for the look and unloaded again.
bool locateCamera(const std::vector<std::string>& producers, const CameraChoice& choice, CameraPlace& place,
                  std::string& problem);

// The camera `choice` names, opened in this process. Closed again when the object goes.
class FeatureCamera {
public:
    FeatureCamera(const std::vector<std::string>& producers, const CameraChoice& choice);
    ~FeatureCamera();
    FeatureCamera(const FeatureCamera&) = delete;
    FeatureCamera& operator=(const FeatureCamera&) = delete;

    bool isOpen() const { return map_ != nullptr; }
    // Why the camera is not open, for the user.
    const std::string& problem() const { return problem_; }
    features::NodeMap& map() { return *map_; }
    const std::string& description() const { return description_; }
    uint32_t number() const { return number_; }

private:
    std::shared_ptr<gentl::SystemTLI> system_;
    std::shared_ptr<gentl::Device> device_;
    std::shared_ptr<features::NodeMap> map_;
    std::string problem_;
    std::string description_;
    uint32_t number_ = 0;
};

}  // namespace tq4::tools
