// Binds the camera's settings to the registers that the camera description names.
#include "sim/Camera.h"

#include "sim/CameraRegisters.h"

#include <algorithm>
#include <utility>

namespace zevo {
namespace {

using Int = RegisterMap::IntSetter;

// Setter of a plain enumeration or integer value that accepts [lo, hi].
Int rangeSetter(int64_t& target, int64_t lo, int64_t hi, const char* what) {
    return [&target, lo, hi, what](int64_t v) {
        require(v >= lo && v <= hi, GC_ERR_INVALID_VALUE, what);
        target = v;
    };
}

// Setter of a command register: writing the command value runs it.
Int commandSetter(std::function<void()> action) {
    return [action = std::move(action)](int64_t v) {
        if (v == 1) action();
    };
}

RegisterMap::IntGetter constant(int64_t v) {
    return [v] { return v; };
}

}  // namespace

void Camera::bindRegisters() {
    bindIdentity();
    bindImageFormat();
    bindAcquisition();
    bindIo();
    bindSensors();
    bindCoolingAndMisc();
    bindCorrection();
    if (description_->inRegisters) registers_.addBlob(description_->address, description_->blob);
}

void Camera::bindIdentity() {
    const Identity& id = config_.identity;
    const auto text = [this](uint64_t address, const std::string& value) {
        registers_.addString(address, reg::kStringLength, [value] { return value; });
    };
    text(reg::kDeviceVendorName, id.vendorName);
    text(reg::kDeviceModelName, id.modelName);
    text(reg::kDeviceFamilyName, id.familyName);
    text(reg::kDeviceVersion, id.deviceVersion);
    text(reg::kDeviceFirmwareVersion, id.firmwareVersion);
    text(reg::kDeviceSerialNumber, serial_);
    text(reg::kMaterialNumber, id.materialNumber);
    registers_.addString(
        reg::kDeviceUserID, reg::kStringLength, [this] { return s_.userId; },
        [this](const std::string& v) { s_.userId = v; });
    registers_.addInteger(reg::kDeviceType, constant(0));      // Transmitter
    registers_.addInteger(reg::kDeviceScanType, constant(0));  // Areascan
}

void Camera::bindImageFormat() {
    registers_.addInteger(reg::kSensorWidth, constant(kSensorWidthPx));
    registers_.addInteger(reg::kSensorHeight, constant(kSensorHeightPx));
    uint64_t bigEndianWidth = 0;
    for (int byte = 0; byte < 8; ++byte)
        bigEndianWidth |= ((uint64_t(kSensorWidthPx) >> (8 * byte)) & 0xFF) << (8 * (7 - byte));
    registers_.addInteger(reg::kSensorWidthBigEndian, constant(int64_t(bigEndianWidth)));
    registers_.addInteger(reg::kWidthMax, [this] { return widthMax(); });
    registers_.addInteger(reg::kHeightMax, [this] { return heightMax(); });
    registers_.addInteger(
        reg::kWidth, [this] { return s_.width; }, [this](int64_t v) { setWidth(v); });
    registers_.addInteger(
        reg::kHeight, [this] { return s_.height; }, [this](int64_t v) { setHeight(v); });
    registers_.addInteger(
        reg::kOffsetX, [this] { return s_.offsetX; }, [this](int64_t v) { setOffsetX(v); });
    registers_.addInteger(
        reg::kOffsetY, [this] { return s_.offsetY; }, [this](int64_t v) { setOffsetY(v); });
    registers_.addInteger(reg::kWidthLimit, [this] { return widthMax() - s_.offsetX; });
    registers_.addInteger(reg::kHeightLimit, [this] { return heightMax() - s_.offsetY; });
    registers_.addInteger(reg::kOffsetXLimit, [this] { return widthMax() - s_.width; });
    registers_.addInteger(reg::kOffsetYLimit, [this] { return heightMax() - s_.height; });
    registers_.addInteger(
        reg::kBinningHorizontal, [this] { return s_.binH; }, [this](int64_t v) { setBinning(s_.binH, v); });
    registers_.addInteger(
        reg::kBinningVertical, [this] { return s_.binV; }, [this](int64_t v) { setBinning(s_.binV, v); });
    registers_.addInteger(
        reg::kPixelFormat, [this] { return int64_t(s_.pixelFormat); }, [this](int64_t v) { setPixelFormat(v); });
    registers_.addInteger(reg::kPixelSize, [this] { return int64_t(format().bits); });
    registers_.addInteger(reg::kPayloadSize, [this] { return int64_t(reportedPayload()); });
    registers_.addInteger(
        reg::kTLParamsLocked, [this] { return int64_t(s_.locked); },
        [this](int64_t v) {
            require(v == 0 || v == 1, GC_ERR_INVALID_VALUE, "TLParamsLocked is 0 or 1");
            s_.locked = v == 1;
        });
}

void Camera::bindAcquisition() {
    registers_.addInteger(reg::kAcquisitionMode, constant(2),
                          [](int64_t v) { require(v == 2, GC_ERR_INVALID_VALUE, "only Continuous"); });
    registers_.addInteger(reg::kAcquisitionStart, constant(0), commandSetter([this] { startAcquisition(); }));
    registers_.addInteger(reg::kAcquisitionStop, constant(0), commandSetter([this] { s_.acquiring = false; }));
    registers_.addFloat(
        reg::kAcquisitionFrameRate, [this] { return std::min(s_.frameRate, maxFrameRate()); },
        [this](double v) {
            require(v >= 1.0 && v <= maxFrameRate() * (1 + 1e-9), GC_ERR_INVALID_VALUE,
                    "AcquisitionFrameRate out of range");
            s_.frameRate = std::min(v, maxFrameRate());
        });
    registers_.addFloat(reg::kAcquisitionFrameRateMax, [this] { return maxFrameRate(); });
    registers_.addInteger(
        reg::kAcquisitionFrameRateEnable, [this] { return int64_t(s_.frameRateEnable); },
        [this](int64_t v) { s_.frameRateEnable = v != 0; });
    registers_.addFloat(
        reg::kExposureTime, [this] { return s_.exposureUs; }, [this](double v) { setExposure(v); });
    registers_.addInteger(
        reg::kExposureMode, [this] { return s_.exposureMode; }, rangeSetter(s_.exposureMode, 1, 2, "ExposureMode"));
    registers_.addInteger(
        reg::kExposureAuto, [this] { return s_.exposureAuto; }, rangeSetter(s_.exposureAuto, 0, 2, "ExposureAuto"));
    registers_.addInteger(
        reg::kTriggerSelector, [this] { return s_.triggerSelector; },
        [this](int64_t v) {
            require(!config_.triggerSelectorReadOnly, GC_ERR_ACCESS_DENIED, "TriggerSelector is read-only");
            rangeSetter(s_.triggerSelector, 0, 3, "TriggerSelector")(v);
        });
    registers_.addInteger(
        reg::kTriggerMode, [this] { return selectedTrigger().mode; },
        [this](int64_t v) { rangeSetter(selectedTrigger().mode, 0, 1, "TriggerMode")(v); });
    registers_.addInteger(
        reg::kTriggerSource, [this] { return selectedTrigger().source; },
        [this](int64_t v) { rangeSetter(selectedTrigger().source, 0, 2, "TriggerSource")(v); });
    registers_.addInteger(
        reg::kTriggerActivation, [this] { return selectedTrigger().activation; },
        [this](int64_t v) { rangeSetter(selectedTrigger().activation, 0, 3, "TriggerActivation")(v); });
    registers_.addInteger(reg::kTriggerSoftware, constant(0), commandSetter([this] { executeSoftwareTrigger(); }));
    registers_.addInteger(
        reg::kAcquisitionBurstFrameCount, [this] { return s_.burstFrameCount; },
        rangeSetter(s_.burstFrameCount, 1, 255, "AcquisitionBurstFrameCount"));
}

void Camera::bindIo() {
    registers_.addInteger(
        reg::kLineSelector, [this] { return s_.lineSelector; }, rangeSetter(s_.lineSelector, 0, 3, "LineSelector"));
    registers_.addInteger(
        reg::kLineSource, [this] { return s_.lines[size_t(s_.lineSelector)].source; },
        [this](int64_t v) { rangeSetter(s_.lines[size_t(s_.lineSelector)].source, 0, 4, "LineSource")(v); });
    registers_.addInteger(reg::kLineMode, [this] { return int64_t(s_.lineSelector >= 2); });  // Line2, Line3 out
    registers_.addInteger(reg::kLineStatus, [this] {
        const Line& line = s_.lines[size_t(s_.lineSelector)];
        const bool driven = s_.lineSelector >= 2 && s_.acquiring && line.source != 0;
        return int64_t(driven != line.inverter);
    });
    registers_.addInteger(
        reg::kLineInverter, [this] { return int64_t(s_.lines[size_t(s_.lineSelector)].inverter); },
        [this](int64_t v) { s_.lines[size_t(s_.lineSelector)].inverter = v != 0; });
}

void Camera::bindSensors() {
    struct Block {
        uint64_t base;
        std::vector<std::string> names;
        std::function<double(const std::string&, Clock::time_point)> value;
    };
    const std::vector<Block> blocks = {
        {reg::kTempSensorBlock,
         {"Img-Sen", "Hum-Sen", "Backend"},
         [this](const std::string& n, Clock::time_point t) { return thermal_.temperature(n, t); }},
        {reg::kPressureSensorBlock,
         {"Housing"},
         [this](const std::string&, Clock::time_point t) { return thermal_.pressureHpa(t); }},
        {reg::kHumidityRelSensorBlock,
         {"Housing"},
         [this](const std::string&, Clock::time_point t) { return thermal_.humidityRelPercent(t); }},
        {reg::kHumidityAbsSensorBlock,
         {"Housing"},
         [this](const std::string&, Clock::time_point t) { return thermal_.humidityAbsGramPerM3(t); }},
    };
    for (size_t b = 0; b < blocks.size(); ++b) {
        const Block& block = blocks[b];
        int64_t& id = s_.sensorIds[b];
        registers_.addInteger(
            block.base + reg::kSensorIdOffset, [&id] { return id; },
            rangeSetter(id, 0, int64_t(block.names.size()) - 1, "sensor id"));
        registers_.addFloat(block.base + reg::kSensorValueOffset,
                            [&id, block] { return block.value(block.names[size_t(id)], Clock::now()); });
        registers_.addString(block.base + reg::kSensorNameOffset, reg::kSensorNameLength,
                             [&id, block] { return block.names[size_t(id)]; });
    }
    static const char* const places[] = {"Img-Sen", "Backend", "Power"};  // Sensor, Main, Power
    registers_.addInteger(
        reg::kDeviceTemperatureSelector, [this] { return s_.deviceTemperatureSelector; },
        rangeSetter(s_.deviceTemperatureSelector, 0, 2, "DeviceTemperatureSelector"));
    registers_.addFloat(reg::kDeviceTemperature,
                        [this] { return thermal_.temperature(places[s_.deviceTemperatureSelector], Clock::now()); });
}

void Camera::bindCoolingAndMisc() {
    const auto applyCooling = [this] { thermal_.setCooling(s_.coolingMode == 1, s_.coolingSetPoint, Clock::now()); };
    registers_.addInteger(
        reg::kCoolingMode, [this] { return s_.coolingMode; },
        [this, applyCooling](int64_t v) {
            rangeSetter(s_.coolingMode, 0, 1, "CoolingMode")(v);
            applyCooling();
        });
    registers_.addFloat(
        reg::kCoolingAutomaticValue, [this] { return s_.coolingSetPoint; },
        [this, applyCooling](double v) {
            require(v >= -20.0 && v <= 30.0, GC_ERR_INVALID_VALUE, "cooling set point out of range");
            s_.coolingSetPoint = v;
            applyCooling();
        });
    registers_.addInteger(reg::kCoolingWarning, [this] { return int64_t(thermal_.coolingWarning()); });
    registers_.addInteger(
        reg::kFanControlMode, [this] { return s_.fanMode; },
        [this](int64_t v) {
            rangeSetter(s_.fanMode, 0, 2, "FanControlMode")(v);
            thermal_.setFanOn(v != 0);
        });
    registers_.addInteger(
        reg::kZEVOTimestamp, [this] { return s_.timestampMode; }, rangeSetter(s_.timestampMode, 0, 3, "ZEVOTimestamp"));
    registers_.addInteger(
        reg::kBalanceWhiteAuto, [this] { return s_.balanceWhiteAuto; },
        rangeSetter(s_.balanceWhiteAuto, 0, 2, "BalanceWhiteAuto"));
}

void Camera::bindCorrection() {
    registers_.addInteger(
        reg::kNUCMode, [this] { return s_.nucMode; }, [this](int64_t v) { setNucMode(v); });
    registers_.addInteger(reg::kNUCBlackLoaded, [this] { return int64_t(black_ != nullptr); });
    registers_.addInteger(reg::kNUCBothLoaded, [this] { return int64_t(black_ && white_); });
    registers_.addString(
        reg::kNUCBlackReferencePath, reg::kPathLength, [this] { return s_.blackPath; },
        [this](const std::string& v) { s_.blackPath = v; });
    registers_.addString(
        reg::kNUCWhiteReferencePath, reg::kPathLength, [this] { return s_.whitePath; },
        [this](const std::string& v) { s_.whitePath = v; });
    using K = Reference::Kind;
    registers_.addInteger(reg::kNUCBlackReferenceLoad, constant(0),
                          commandSetter([this] { loadReferenceFile(K::Black); }));
    registers_.addInteger(reg::kNUCWhiteReferenceLoad, constant(0),
                          commandSetter([this] { loadReferenceFile(K::White); }));
    registers_.addInteger(reg::kCreateBlackReference, constant(0),
                          commandSetter([this] { createReference(K::Black); }));
    registers_.addInteger(reg::kCreateWhiteReference, constant(0),
                          commandSetter([this] { createReference(K::White); }));
    registers_.addInteger(reg::kNUCBlackReferenceSave, constant(0),
                          commandSetter([this] { saveReferenceFile(K::Black); }));
    registers_.addInteger(reg::kNUCWhiteReferenceSave, constant(0),
                          commandSetter([this] { saveReferenceFile(K::White); }));
}

}  // namespace zevo
