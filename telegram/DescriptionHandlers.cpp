// GET_CAMERA_DESCRIPTION: the camera's abilities in the protocol's fixed record, filled from a
// template and overwritten where the camera's features say more.
#include <cstring>
#include <limits>
#include <vector>

#include "telegram/HandlerSupport.h"
#include "telegram/Units.h"

namespace ZEVO_TELEGRAM {

namespace {

using namespace tq4::features;

constexpr uint16_t kDescriptionSize = 153;

// The record as this camera family reports it before any feature is read. It carries its own
// code (0x0191, already flagged) and size (153); the checksum therefore covers the flagged
// code, which is what the protocol's users expect of this one answer.
constexpr uint8_t kTemplate[144] = {
    0x91, 0x01, 0x99, 0x00, 0x70, 0x00, 0x00, 0x00, 0x00, 0x05, 0x00, 0x04, 0x00, 0x05, 0x00, 0x04, 0x10, 0x00,
    0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x01, 0x00, 0x40, 0x11, 0x8b, 0x05,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9c, 0x57, 0xfc, 0x64, 0x00, 0x00, 0x00, 0x88, 0x00,
    0x00, 0x00, 0xb8, 0x0b, 0x00, 0x00, 0x48, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9c, 0x57, 0xfc,
    0x40, 0x42, 0x0f, 0x00, 0x00, 0x9c, 0x57, 0xfc, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
};

// Fields of the record (telegram offsets).
constexpr std::size_t kDescriptionLength = 4;
constexpr std::size_t kMaxWidth = 8, kMaxHeight = 10, kMaxWidthExt = 12, kMaxHeightExt = 14;
constexpr std::size_t kBitsPerPixel = 16;
constexpr std::size_t kMaxBinHorizontal = 18, kMaxBinVertical = 22, kBinStep = 24;
constexpr std::size_t kRoiStepHorizontal = 26, kRoiStepVertical = 28;
constexpr std::size_t kMinDelay = 58, kMaxDelayMs = 62, kDelayStepNs = 66;
constexpr std::size_t kMinExposureNs = 70, kMaxExposureMs = 74, kExposureStepNs = 78;
constexpr std::size_t kMinCooling = 102, kMaxCooling = 104, kDefaultCooling = 106;
constexpr std::size_t kGeneralCaps = 118, kExtendedCaps = 142;

// Capability bits.
constexpr uint32_t kNoPulseWidthTrigger = 0x80;
constexpr uint32_t kNoAcquireEnable = 0x200;
constexpr uint32_t kBurstTrigger = 0x200000;
constexpr uint32_t kSeveralPixelFormats = 0x20000;

constexpr uint16_t kFallbackWidth = 1280, kFallbackHeight = 1024;

void putSensorSize(NodeMap& map, Response& response) {
    uint16_t width = kFallbackWidth;
    uint16_t height = kFallbackHeight;
    if (isAvailable(map, "SensorWidth") && isAvailable(map, "SensorHeight")) {
        width = static_cast<uint16_t>(getInteger(map, "SensorWidth"));
        height = static_cast<uint16_t>(getInteger(map, "SensorHeight"));
    }
    response.putU16(kMaxWidth, width);
    response.putU16(kMaxHeight, height);
    response.putU16(kMaxWidthExt, width);
    response.putU16(kMaxHeightExt, height);
}

// Largest binning per direction; the step field takes the horizontal binning's increment,
// the vertical one's when the camera bins only vertically.
void putBinning(NodeMap& map, Response& response) {
    int64_t max = 0;
    int64_t inc = 0;
    bool any = false;
    if (isAvailable(map, "BinningVertical")) {
        getInteger(map, "BinningVertical", nullptr, &max, &inc);
        response.putU16(kMaxBinVertical, static_cast<uint16_t>(max));
        any = true;
    }
    if (isAvailable(map, "BinningHorizontal")) {
        getInteger(map, "BinningHorizontal", nullptr, &max, &inc);
        response.putU16(kMaxBinHorizontal, static_cast<uint16_t>(max));
        any = true;
    }
    if (any) {
        response.putU16(kBinStep, static_cast<uint16_t>(inc));
    }
}

void putRoiSteps(NodeMap& map, Response& response) {
    int64_t widthStep = 0;
    int64_t heightStep = 0;
    getInteger(map, "Width", nullptr, nullptr, &widthStep);
    getInteger(map, "Height", nullptr, nullptr, &heightStep);
    response.putU16(kRoiStepHorizontal, static_cast<uint16_t>(widthStep));
    response.putU16(kRoiStepVertical, static_cast<uint16_t>(heightStep));
}

// Exposure limits in the units the record uses. The longest delay is the frame period at the
// lowest frame rate in milliseconds; without a lower rate limit the longest exposure stands in,
// converted from the frame rate's unit (which is no time unit, so the number is kept as is).
void putExposureLimits(NodeMap& map, Response& response) {
    double expMin = 0, expMax = 0, expInc = 0;
    std::string expUnit;
    getFloat(map, "ExposureTime", &expMin, &expMax, &expInc, &expUnit);
    double rateMin = 0, rateMax = 0, rateInc = 0;
    std::string rateUnit;
    getFloat(map, "AcquisitionFrameRate", &rateMin, &rateMax, &rateInc, &rateUnit);

    const uint32_t stepNs = units::convertRounded(expInc, expUnit, "ns");
    response.putU32(kMinDelay, 0);
    response.putU32(kMaxDelayMs, rateMin > std::numeric_limits<double>::epsilon()
                                     ? units::truncatedU32(1000.0 / rateMin)
                                     : units::convertRounded(expMax, rateUnit, "ms"));
    response.putU32(kDelayStepNs, stepNs);
    response.putU32(kMinExposureNs, units::convertRounded(expMin, expUnit, "ns"));
    response.putU32(kMaxExposureMs, units::convertRounded(expMax, expUnit, "ms"));
    response.putU32(kExposureStepNs, stepNs != 0 ? stepNs : 1);
}

void putCoolingRange(Device& device, NodeMap& map, Response& response) {
    if (!isAvailable(map, "CoolingAutomaticValue")) {
        return;
    }
    double min = 0, max = 0;
    getFloat(map, "CoolingAutomaticValue", &min, &max);
    response.putS16(kMinCooling, units::truncatedS16(min));
    response.putS16(kMaxCooling, units::truncatedS16(max));
    response.putS16(kDefaultCooling, device.coolingSetpoint());
}

void putCapabilities(NodeMap& map, Response& response) {
    uint32_t general = response.u32(kGeneralCaps) | kNoPulseWidthTrigger | kNoAcquireEnable;
    if (offersEntry(map, "ExposureMode", "TriggerWidth")) {
        general &= ~kNoPulseWidthTrigger;
    }
    if (offersEntry(map, "TriggerSelector", "AcquisitionActive")) {
        general &= ~kNoAcquireEnable;
    }
    if (offersEntry(map, "TriggerSelector", "FrameBurstStart")) {
        general |= kBurstTrigger;
    }
    response.putU32(kGeneralCaps, general);

    std::vector<std::string> formats;
    getEnumEntries(map, "PixelFormat", formats);
    if (formats.size() > 1) {
        response.putU32(kExtendedCaps, response.u32(kExtendedCaps) | kSeveralPixelFormats);
    }
}

}  // namespace

TQ4_TELEGRAM_HANDLER(GET_CAMERA_DESCRIPTION) {
    const auto map = nodeMapOf(device);
    Response response(call.code(), kDescriptionSize);
    response.putBytes(0, kTemplate, sizeof(kTemplate));
    response.putU16(kDescriptionLength, 112);
    putSensorSize(*map, response);
    if (const auto stream = device.activeStream()) {
        response.putU16(kBitsPerPixel, static_cast<uint16_t>(stream->bitsPerPixel()));
    }
    putBinning(*map, response);
    putRoiSteps(*map, response);
    putExposureLimits(*map, response);
    putCoolingRange(device, *map, response);
    putCapabilities(*map, response);
    return call.send(response);
}

}  // namespace ZEVO_TELEGRAM
