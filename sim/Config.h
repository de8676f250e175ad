// Configuration of the simulated camera world, read at GCInitLib from the key=value file that
// the environment variable ZEVO_SIM_CONFIG names. Every key is described in sim/README.md.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zevo {

// One injected fault: the `after` first calls pass, the next `count` calls (-1: all) fail
// with `code` (0 means the point's special misbehaviour, e.g. a null base pointer).
struct FaultRule {
    int32_t code = 0;
    int64_t count = -1;
    uint64_t after = 0;
};

struct Identity {
    std::string vendorName = "Orvanta ZEVO GmbH";
    std::string modelName = "zevo.quillon 1.3 SWIR";
    std::string familyName = "zevo.quillon";
    std::string deviceVersion = "3";
    std::string firmwareVersion = "2.4.17";
    std::string materialNumber = "ZQ-1300-SW-0812";
    std::string userDefinedName;
    std::string displayName;  // empty: "ZEVO quillon SWIR (<serial>)"
};

struct Config {
    // topology
    uint32_t interfaces = 1;
    uint32_t devicesPerInterface = 1;
    std::vector<std::string> serials;  // over all devices in order; default 3101, 3102, ...
    uint32_t streams = 1;
    uint32_t devicesAppearAfterUpdates = 0;  // list stays empty for this many IFUpdateDeviceList
    uint32_t devicesVanishAfterUpdates = 0;  // 0: never; else gone from that update on
    int32_t accessStatus = 0;                // 0: natural status; else reported always
    int32_t accessStatusAfterOpen = 0;       // 0: natural status; else reported while open

    // camera description
    bool conformanceModel = false;  // zevo_conformance.xml's nodes in place of zevo_camera.xml's
    bool zippedXml = true;
    std::string urlScheme = "local";             // local | file
    std::string xmlFileName;                     // empty: ZEVO_quillon13SWIR.zip / .xml
    std::string xmlFileDir;                      // where file: descriptions are written
    std::string urlOverride;                     // served verbatim
    std::optional<uint64_t> descriptionAddress;  // register address of the description
    bool urlInfoSupported = true;
    bool fileUrlInfoNumbers = false;  // URL info tells address and size of a file: URL too
    std::set<std::string> removedFeatures;
    bool infoNames = false;  // InfoName / InfoHardwareRev / InfoSerial
    bool triggerSelectorReadOnly = false;
    std::vector<std::string> pixelFormats = {"Mono8", "Mono10", "Mono12", "Mono14", "Mono16"};
    std::set<std::string> refusedPixelFormats;  // offered, but a write of them is refused

    // camera values
    Identity identity;
    std::map<std::string, double> fixedTemperatures;  // by sensor name
    std::optional<bool> coolingWarning;
    double ambientTemperature = 24.0;
    double coolingMaxDelta = 40.0;  // the cooler can pull this far below ambient
    double coolingTimeConstantS = 4.0;
    std::map<std::string, double> fullFrameFps;  // per pixel format, overrides the table
    bool unlimitedRate = false;                  // fill as fast as buffers come back
    uint32_t line0PeriodMs = 0;                  // simulated external trigger on Line0

    // streaming
    size_t bufAnnounceMin = 1;
    bool definesPayloadSize = true;
    std::optional<int32_t> bufferCountType;  // INFO_DATATYPE of the four buffer counts' answers
    size_t shortPortRead = 0;                // bytes missing from reads of the description
    std::optional<size_t> payloadSize;       // reported instead of the image's size
    std::optional<uint64_t> frameLimit;      // frames per acquisition start, then silence

    std::map<std::string, FaultRule> faults;  // by fault point name
    // Milliseconds every call of an export waits before it runs, by export name or name prefix.
    std::map<std::string, uint32_t> delays;
    std::set<int32_t> unavailableDeviceInfo;  // DEVICE_INFO commands answered GC_ERR_NOT_AVAILABLE
    uint64_t stuckBuffer = 0;                 // 0: none; else the Nth queue call of a stream holds its buffer
    std::vector<std::string> unknownKeys;
};

// Parses the text of a configuration file; unknown keys are collected, bad values throw
// std::invalid_argument naming the line.
Config parseConfig(const std::string& text);
// Reads the file named by ZEVO_SIM_CONFIG; defaults when the variable is unset or empty.
Config loadConfigFromEnvironment();

// The fault points of one library session, counted thread-safely.
class FaultPoints {
public:
    void reset(const std::map<std::string, FaultRule>& rules, const std::map<std::string, uint32_t>& delays = {});
    // The fault code when this call of `point` is to fail, else nothing.
    std::optional<int32_t> fire(const std::string& point);
    bool configured(const std::string& point) const;
    // Waits as long as the delays of `point` (its name and every prefix of it that has one) add up to.
    void delay(const std::string& point) const;

private:
    struct Counter {
        FaultRule rule;
        uint64_t calls = 0;
    };
    mutable std::mutex mutex_;
    std::map<std::string, Counter> counters_;
    std::map<std::string, uint32_t> delays_;
};

}  // namespace zevo
