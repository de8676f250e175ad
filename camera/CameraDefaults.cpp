#include "camera/CameraDefaults.h"

#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <optional>

#include "camera/CorrectionData.h"
#include "config/Config.h"
#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl/Device.h"
#include "log/Format.h"
#include "log/Log.h"
#include "stream/DataStream.h"
#include "stream/PixelFormatName.h"

namespace tq4::camera {

using features::NodeMap;

namespace {

// The camera's own ini override: an entry name, or this to keep the camera's format.
constexpr const char* kKeepFormat = "None";

std::string joined(const std::vector<std::string>& entries) {
    std::string list;
    for (const std::string& entry : entries) list += entry + "; ";
    return list;
}

std::vector<std::string> entriesOf(NodeMap& map, const char* feature) {
    std::vector<std::string> entries;
    features::getEnumEntries(map, feature, entries);
    return entries;
}

bool contains(const std::vector<std::string>& entries, const std::string& name) {
    for (const std::string& entry : entries)
        if (entry == name) return true;
    return false;
}

// Where the pixel format's request came from, as the log line names it.
struct FormatRequest {
    std::string name;
    const char* source;
};

// The configuration file's choice; none when it says to keep the camera's format.
std::optional<FormatRequest> requestFromIni(Device& device, NodeMap& map, const std::vector<std::string>& entries,
                                            const std::string& widest) {
    const std::optional<std::string> setting = config::findIniValue(config::paths().iniFile, "FEATURE", "PixelFormat");
    if (!setting) {
        // No key is the ordinary case: the camera's widest format is the default.
        TQ4_LOG(log::kProgress, device.handle(),
                "Device::setPixelFormat: No <PixelFormat> in ini file. Set max format: %s", widest.c_str());
        return FormatRequest{widest, "max"};
    }
    const std::string& value = *setting;
    if (value == kKeepFormat) {
        TQ4_LOG(log::kProgress, device.handle(),
                "Device::setPixelFormat: <None> was specified in ini. preserve PixelFormat: %s",
                features::getEnum(map, "PixelFormat").c_str());
        return std::nullopt;
    }
    if (!contains(entries, value)) {
        TQ4_LOG(log::kError, device.handle(),
                "Device::setPixelFormat: Specified <PixelFormat> %s in ini file is not supported by the camera. Set "
                "max format: %s",
                value.c_str(), widest.c_str());
        return FormatRequest{widest, "max"};
    }
    return FormatRequest{value, "ini"};
}

// The one retry a camera gets when the format read back is not the one set.
void verifyPixelFormat(Device& device, NodeMap& map, const std::string& request) {
    const std::string readBack = features::getEnum(map, "PixelFormat");
    if (readBack == request) return;
    TQ4_LOG(log::kError, device.handle(), "Device::setPixelFormat: set failed. Readback: %s, set again: %s",
            readBack.c_str(), request.c_str());
    if (!features::setEnum(map, "PixelFormat", request))
        TQ4_LOG(log::kError, device.handle(), "Device::setPixelFormat: set failed.");
    const std::string second = features::getEnum(map, "PixelFormat");
    if (second != request)
        TQ4_LOG(log::kError, device.handle(), "Device::setPixelFormat: 2nd set failed again. PixelFormat is %s",
                second.c_str());
}

// The stream's depth, and its alignment for formats wider than a byte: the camera's "msb"
// formats deliver their data at the top already.
void tellStream(Device& device, const std::string& format) {
    std::shared_ptr<stream::DataStream> stream = device.activeStream();
    if (!stream) return;
    const uint32_t bits = stream->setBitsPerPixel();
    if ((bits + 7) / 8 * 8 != 8) stream->setBitAlignment(stream::isMsbFormatName(format) ? 0 : 1);
}

// Features whose value is read, changed to "Off" when it is not, and reported.
void turnAutoOff(Device& device, const char* feature, const char* origin) {
    std::shared_ptr<NodeMap> map = device.nodeMap();
    const std::string old = features::getEnum(*map, feature);
    std::string now = old;
    if (old != "Off") {
        features::setEnum(*map, feature, "Off");
        TQ4_LOG(log::kProgress, device.handle(), "%s: <%s> --> <Off>", origin, old.c_str());
        now = features::getEnum(*map, feature);
    }
    TQ4_LOG(log::kProgress, device.handle(), "%s: \"%s\" is <%s>", origin, feature, now.c_str());
}

void selectLineSource(Device& device, NodeMap& map, const char* line, const char* source) {
    features::setEnum(map, "LineSelector", line);
    TQ4_LOG(log::kImageTrace, device.handle(), "Device::setOutputLines: %s available LineSources: %s", line,
            entryList(map, "LineSource").c_str());
    features::setEnum(map, "LineSource", source);
}

}  // namespace

std::string entryList(NodeMap& map, const char* feature) { return joined(entriesOf(map, feature)); }

std::string widestPixelFormat(const std::vector<std::string>& entries, const void* handle) {
    std::string widest;
    uint64_t widestBits = 0;
    for (const std::string& entry : entries) {
        uint64_t bits = 0;
        try {
            bits = stream::bitsInFormatName(entry);
        } catch (const std::exception&) {
            TQ4_LOG(log::kError, handle, "Device::setPixelFormat: could not extract PixelFormat: %s", entry.c_str());
            continue;
        }
        if (bits >= widestBits && !stream::isMsbFormatName(entry)) {
            widest = entry;
            widestBits = bits;
        }
    }
    return widest;
}

void setPixelFormat(Device& device, const std::string& request) {
    std::shared_ptr<NodeMap> map = device.nodeMap();
    if (std::shared_ptr<stream::DataStream> stream = device.activeStream()) stream->disarmCamera();
    const std::vector<std::string> entries = entriesOf(*map, "PixelFormat");
    const std::string widest = widestPixelFormat(entries, device.handle());

    FormatRequest chosen{request, "argument"};
    if (request.empty()) {
        std::optional<FormatRequest> fromIni = requestFromIni(device, *map, entries, widest);
        if (!fromIni) {
            // The camera's format stays; the stream still learns its depth, which names the
            // correction files and is reported to the caller.
            tellStream(device, features::getEnum(*map, "PixelFormat"));
            return;
        }
        chosen = *fromIni;
    }
    const std::string available = joined(entries);
    TQ4_LOG(log::kDetail, device.handle(), "Device::setPixelFormat: available formats: %s", available.c_str());
    if (!features::setEnum(*map, "PixelFormat", chosen.name)) {
        TQ4_LOG(log::kError, device.handle(), "Device::setPixelFormat: can not set %s \"PixelFormat\" %s",
                chosen.source, chosen.name.c_str());
        TQ4_LOG(log::kError, device.handle(), "Device::setPixelFormat: available formats: %s", available.c_str());
    }
    verifyPixelFormat(device, *map, chosen.name);

    const std::string now = features::getEnum(*map, "PixelFormat");
    tellStream(device, now);
    TQ4_LOG(log::kDetail, device.handle(), "Device::setPixelFormat: PixelFormat: %s (%s from %s)", now.c_str(),
            chosen.name.c_str(), chosen.source);
}

void setFanCtrlAutoTarget(Device& device) {
    std::shared_ptr<NodeMap> map = device.nodeMap();
    const std::string old = features::getEnum(*map, "FanControlMode");
    features::setEnum(*map, "FanControlMode", "AutomaticTarget");
    const std::string now = features::getEnum(*map, "FanControlMode");
    TQ4_LOG(log::kProgress, device.handle(), "Device::setFanCtrlAutoTarget: <%s> --> <%s>", old.c_str(), now.c_str());
}

void turnExposureAutoOff(Device& device) {
    if (!features::isFeatureWritable(*device.nodeMap(), "ExposureAuto")) return;
    turnAutoOff(device, "ExposureAuto", "Device::turnExposureAutoOff");
}

// Unlike exposure, a camera without a writable white balance says so in the log.
void turnBalanceWhiteOff(Device& device) {
    if (!features::isFeatureWritable(*device.nodeMap(), "BalanceWhiteAuto")) {
        TQ4_LOG(log::kProgress, device.handle(), "Device::turnBalanceWhiteOff: \"BalanceWhiteAuto\" is not writable");
        return;
    }
    turnAutoOff(device, "BalanceWhiteAuto", "Device::turnBalanceWhiteOff");
}

void setOutputLines(Device& device) {
    std::shared_ptr<NodeMap> map = device.nodeMap();
    if (!features::isFeatureWritable(*map, "LineSelector") || !features::isFeatureWritable(*map, "LineSource")) return;
    selectLineSource(device, *map, "Line2", "FrameTriggerOut");
    selectLineSource(device, *map, "Line3", "ExposureActive");
    TQ4_LOG(log::kProgress, device.handle(), "Device::setOutputLines: Out 3: FrameTriggerOut, Out 4: ExposureActive");
}

void applyCooling(Device& device) {
    std::shared_ptr<NodeMap> map = device.nodeMap();
    if (features::isFeatureWritable(*map, "CoolingMode")) features::setEnum(*map, "CoolingMode", "Automatic");
    if (!features::isFeatureReadable(*map, "CoolingAutomaticValue")) return;
    const double setpoint = std::trunc(features::getFloat(*map, "CoolingAutomaticValue"));
    // A value outside the 16-bit range (or none at all) is no set point a caller can be told.
    if (std::isfinite(setpoint) && setpoint >= std::numeric_limits<int16_t>::min() &&
        setpoint <= std::numeric_limits<int16_t>::max())
        device.setCoolingSetpoint(static_cast<int16_t>(setpoint));
}

void reportSensors(Device& device, const std::string& prefix) {
    std::shared_ptr<NodeMap> map = device.nodeMap();
    const std::string id = prefix + "SensorId", value = prefix + "SensorValue", name = prefix + "SensorName";
    if (!features::isFeatureReadable(*map, id.c_str()) || !features::isFeatureWritable(*map, id.c_str()) ||
        !features::isFeatureReadable(*map, value.c_str()) || !features::isFeatureReadable(*map, name.c_str()))
        return;
    int64_t maximum = 0;
    const int64_t current = features::getInteger(*map, id.c_str(), nullptr, &maximum);
    std::string line = prefix + " Sensor ";
    for (int64_t sensor = 0; sensor <= maximum; ++sensor) {
        features::setInteger(*map, id.c_str(), sensor);
        const double reading = features::getFloat(*map, value.c_str());
        line += "<" + features::getString(*map, name.c_str()) + ": " + formatText("%f", reading) + ">, ";
    }
    features::setInteger(*map, id.c_str(), current);
    line.resize(line.size() - 2);
    TQ4_LOG(log::kProgress, device.handle(), "%s", line.c_str());
}

void reportRegister(Device& device, const char* feature) {
    const std::string text = features::getString(*device.nodeMap(), feature);
    TQ4_LOG(log::kProgress, device.handle(), "Register <%s>: %s", feature, text.c_str());
}

namespace {

// One step of the preparation. A step that throws (a file-system error, a number the camera
// cannot take) costs only itself: the open goes on with the next.
template <typename Step>
void prepareStep(Device& device, const char* name, Step step) {
    try {
        step();
    } catch (const std::exception& e) {
        TQ4_LOG(log::kError, device.handle(), "Device::open: %s failed: %s", name, e.what());
    }
}

}  // namespace

void prepareCamera(Device& device) {
    if (!device.nodeMap()) return;
    prepareStep(device, "setPixelFormat", [&] { setPixelFormat(device, ""); });
    prepareStep(device, "setFanCtrlAutoTarget", [&] { setFanCtrlAutoTarget(device); });
    prepareStep(device, "turnExposureAutoOff", [&] { turnExposureAutoOff(device); });
    prepareStep(device, "setOutputLines", [&] { setOutputLines(device); });
    prepareStep(device, "turnBalanceWhiteOff", [&] { turnBalanceWhiteOff(device); });
    prepareStep(device, "cooling", [&] { applyCooling(device); });
    prepareStep(device, "loadCorrectionData", [&] {
        if (features::isFeaturePresent(*device.nodeMap(), "NUCMode")) loadCorrectionData(device);
    });
    // The correction data's download tool needs the camera: nothing more to report then.
    if (!device.isOpen()) return;
    prepareStep(device, "sensor report", [&] {
        for (const char* prefix : {"Temp", "Pressure", "HumidityRel", "HumidityAbs"}) reportSensors(device, prefix);
    });
    prepareStep(device, "register report", [&] {
        for (const char* feature :
             {"DeviceType", "DeviceScanType", "DeviceVendorName", "DeviceModelName", "DeviceFamilyName",
              "DeviceFirmwareVersion", "DeviceSerialNumber", "MaterialNumber"})
            reportRegister(device, feature);
    });
}

}  // namespace tq4::camera
