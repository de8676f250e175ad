// list, features, get, set: the producers and one camera's features, read in this process
// through the transport and node-map classes the driver uses.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "features/ByName.h"
#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl-module/GenTLModule.h"
#include "tools/Commands.h"
#include "tools/Producers.h"

namespace tq4::tools {

namespace {

using features::NodeMap;

const char* typeName(features::InterfaceType type) {
    switch (type) {
        case features::intfIInteger: return "Integer";
        case features::intfIBoolean: return "Boolean";
        case features::intfICommand: return "Command";
        case features::intfIFloat: return "Float";
        case features::intfIString: return "String";
        case features::intfIRegister: return "Register";
        case features::intfICategory: return "Category";
        case features::intfIEnumeration: return "Enumeration";
        default: return "Node";
    }
}

const char* accessName(features::AccessMode mode) {
    switch (mode) {
        case features::RW: return "RW";
        case features::RO: return "RO";
        case features::WO: return "WO";
        case features::NA: return "NA";
        default: return "NI";
    }
}

// "[min..max step inc]" for numbers, "{a, b, c}" for enumerations, the unit where there is one.
std::string limitsOf(NodeMap& map, const char* name, features::InterfaceType type) {
    if (type == features::intfIInteger) {
        int64_t min = 0, max = 0, inc = 0;
        features::getInteger(map, name, &min, &max, &inc);
        if (min == std::numeric_limits<int64_t>::min() && max == std::numeric_limits<int64_t>::max()) return "";
        return "[" + std::to_string(min) + ".." + std::to_string(max) +
               (inc > 1 ? " step " + std::to_string(inc) : "") + "]";
    }
    if (type == features::intfIFloat) {
        double min = 0, max = 0;
        std::string unit;
        features::getFloat(map, name, &min, &max, nullptr, &unit);
        if (min <= -std::numeric_limits<double>::max() && max >= std::numeric_limits<double>::max()) return "";
        char text[96];
        std::snprintf(text, sizeof text, "[%g..%g]%s%s", min, max, unit.empty() ? "" : " ", unit.c_str());
        return text;
    }
    if (type == features::intfIEnumeration) {
        std::vector<std::string> entries;
        features::getEnumEntries(map, name, entries);
        std::string list;
        for (const std::string& entry : entries) list += (list.empty() ? "" : ", ") + entry;
        return "{" + list + "}";
    }
    return "";
}

// One feature as a line: the camera's name for it, type, access, value, limits. A standard
// feature the camera has under an older name (ExposureTimeAbs for ExposureTime) is that one;
// absent features give an empty text.
std::string describeFeature(NodeMap& map, const std::string& wanted) {
    std::lock_guard<std::recursive_mutex> lock(map.mutex());
    const features::FeatureText feature = features::readFeatureText(map, wanted);
    if (!feature.found) return "";
    const std::string value = feature.value + (feature.unit.empty() ? "" : " " + feature.unit);
    char line[512];
    std::snprintf(line, sizeof line, "%-32s %-11s %-2s  %s", feature.name.c_str(), typeName(feature.type),
                  accessName(feature.access), value.c_str());
    std::string text = line;
    if (features::IsReadable(feature.access)) {
        const std::string limits = limitsOf(map, feature.name.c_str(), feature.type);
        if (!limits.empty()) text += "  " + limits;
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

bool containsIgnoringCase(const std::string& text, const std::string& part) {
    return lowerCase(text).find(lowerCase(part)) != std::string::npos;
}

// Edit distance between `part` and the closest stretch of `name` of the same length, ignoring
// case: small for a misspelt part of the name ("Expsoure" in "ExposureTime" is 2).
std::size_t distanceToPart(const std::string& part, const std::string& name) {
    const std::string a = lowerCase(part), b = lowerCase(name);
    std::size_t best = a.size();
    for (std::size_t start = 0; start + a.size() <= b.size(); ++start) {
        const std::string window = b.substr(start, a.size());
        std::vector<std::size_t> row(a.size() + 1);
        for (std::size_t j = 0; j <= a.size(); ++j) row[j] = j;
        for (std::size_t i = 1; i <= window.size(); ++i) {
            std::size_t diagonal = row[0];
            row[0] = i;
            for (std::size_t j = 1; j <= a.size(); ++j) {
                const std::size_t above = row[j];
                row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (window[i - 1] == a[j - 1] ? 0 : 1)});
                diagonal = above;
            }
        }
        best = std::min(best, row[a.size()]);
    }
    return best;
}

// Feature names within a quarter of the filter's length of it, the closest first.
std::string closeNames(const std::vector<std::string>& names, const std::string& filter) {
    const std::size_t limit = std::max<std::size_t>(1, filter.size() / 4);
    std::vector<std::pair<std::size_t, std::string>> close;
    for (const std::string& name : names) {
        const std::size_t distance = distanceToPart(filter, name);
        if (distance <= limit) close.emplace_back(distance, name);
    }
    std::sort(close.begin(), close.end());
    std::string text;
    for (std::size_t i = 0; i < close.size() && i < 5; ++i) text += (i ? ", " : "") + close[i].second;
    return text;
}

// Opens the camera of the options, or says why not.
bool openFeatureCamera(const GlobalOptions& options, std::unique_ptr<FeatureCamera>& camera) {
    camera = std::make_unique<FeatureCamera>(configuredProducers(options.producers), options.camera);
    if (camera->isOpen()) return true;
    complain(camera->problem());
    return false;
}

const char* accessStatusName(int32_t status) {
    switch (status) {
        case 1: return "free";
        case 2: return "read-only";
        case 3: return "open elsewhere";
        case 4: return "busy";
        case 5: return "open here";
        case 6: return "open here, read-only";
        default: return "unknown";
    }
}

}  // namespace

int runList(const GlobalOptions& options) {
    const std::vector<std::string> configured = configuredProducers(options.producers);
    const std::vector<std::string> found = producersOnSearchPath();
    if (found.empty()) {
        complain("no GenTL producer (*.cti) on the search path (GENICAM_GENTL64_PATH, current folder, data folder)");
        return 1;
    }
    std::printf("producer list for camera numbers:");
    for (const std::string& token : configured) std::printf(" %s", token.c_str());
    std::printf("\n");
    std::vector<std::string> configuredPaths;
    configuredPaths.reserve(configured.size());
    for (const std::string& token : configured) configuredPaths.push_back(gentl::GenTLModule::findProducer(token));
    uint32_t number = 0;
    // Camera numbers go to the devices of the listed producers in list order; a producer on the
    // path that the list does not name gets none.
    for (const std::string& path : configuredPaths) {
        std::printf("\n%s\n", path.c_str());
        const ProducerListing listing = listProducer(path);
        if (!listing.usable) {
            std::printf("  cannot be loaded or initialised\n");
            continue;
        }
        for (const CameraListing& c : listing.cameras)
            std::printf("  camera %-3u %s | %s | serial %s | %s | interface %s | device %s\n", number++,
                        c.vendor.c_str(), c.model.c_str(), c.serial.c_str(), accessStatusName(c.accessStatus),
                        c.interfaceId.c_str(), c.deviceId.c_str());
        if (listing.cameras.empty()) std::printf("  no camera\n");
    }
    for (const std::string& path : found) {
        if (std::find(configuredPaths.begin(), configuredPaths.end(), path) != configuredPaths.end()) continue;
        const ProducerListing listing = listProducer(path);
        std::printf("\n%s (not in the producer list: no camera numbers)\n", path.c_str());
        if (!listing.usable) std::printf("  cannot be loaded or initialised\n");
        for (const CameraListing& c : listing.cameras)
            std::printf("  %s | %s | serial %s | %s | interface %s | device %s\n", c.vendor.c_str(), c.model.c_str(),
                        c.serial.c_str(), accessStatusName(c.accessStatus), c.interfaceId.c_str(), c.deviceId.c_str());
    }
    return 0;
}

int runFeatures(const GlobalOptions& options, const std::string& filter) {
    std::unique_ptr<FeatureCamera> camera;
    if (!openFeatureCamera(options, camera)) return 1;
    std::vector<std::string> lines, names;
    bool matched = false;
    for (const NodeMap::TreeEntry& entry : camera->map().featureTree()) {
        const std::string indent(static_cast<std::size_t>(2 * entry.depth), ' ');
        if (entry.isCategory) {
            if (filter.empty()) lines.push_back(indent + entry.name);
            continue;
        }
        names.push_back(entry.name);
        if (!filter.empty() && !containsIgnoringCase(entry.name, filter)) continue;
        matched = true;
        lines.push_back((filter.empty() ? indent : "") + describeFeature(camera->map(), entry.name));
    }
    if (!matched) {
        const std::string close = closeNames(names, filter);
        complain("no feature name contains '" + filter + "'" + (close.empty() ? "" : "; close: " + close));
        return 1;
    }
    std::printf("camera %u: %s\n", camera->number(), camera->description().c_str());
    for (const std::string& line : lines) std::printf("%s\n", line.c_str());
    return 0;
}

int runGet(const GlobalOptions& options, const std::vector<std::string>& names) {
    std::unique_ptr<FeatureCamera> camera;
    if (!openFeatureCamera(options, camera)) return 1;
    int result = 0;
    for (const std::string& name : names) {
        const std::string line = describeFeature(camera->map(), name);
        if (line.empty()) {
            complain("camera " + std::to_string(camera->number()) + " has no feature '" + name + "'");
            result = 1;
            continue;
        }
        std::printf("%s\n", line.c_str());
    }
    return result;
}

int runSet(const GlobalOptions& options, const std::vector<std::string>& assignments) {
    for (const std::string& assignment : assignments)
        if (assignment.find('=') == std::string::npos) {
            complain("'" + assignment + "' is not NAME=VALUE");
            return 2;
        }
    std::unique_ptr<FeatureCamera> camera;
    if (!openFeatureCamera(options, camera)) return 1;
    NodeMap& map = camera->map();
    int result = 0;
    for (const std::string& assignment : assignments) {
        const std::string name = assignment.substr(0, assignment.find('='));
        const std::string value = assignment.substr(assignment.find('=') + 1);
        const features::WriteOutcome outcome = features::writeFeatureText(map, name, value);
        if (outcome == features::WriteOutcome::Absent) {
            complain("camera " + std::to_string(camera->number()) + " has no feature '" + name + "'");
            result = 1;
            continue;
        }
        if (outcome == features::WriteOutcome::NotWritable) {
            complain("'" + name + "' is not writable now (" + describeFeature(map, name) + ")");
            result = 1;
            continue;
        }
        if (outcome == features::WriteOutcome::Refused) {
            // NOLINTNEXTLINE(performance-inefficient-string-concatenation): one message for a refused value
            complain("'" + name + "' does not take '" + value + "' (" + describeFeature(map, name) + ")");
            result = 1;
            continue;
        }
        std::printf("%s\n", describeFeature(map, name).c_str());
    }
    return result;
}

}  // namespace tq4::tools
