// The image geometry: region of interest, binning, sensor format, pixel rate and the camera
// set-up (shutter mode, pixel format).
#include <algorithm>
#include <array>
#include <optional>

#include "telegram/HandlerSupport.h"

namespace ZEVO_TELEGRAM {

namespace {

using namespace tq4::features;
using tq4::log::kDetail;
using tq4::log::kError;
using tq4::log::kVerbose;

// ROI telegrams: four u16 corners counted from 1, the last column and row included.
constexpr uint16_t kRoiLength = 13;
constexpr std::size_t kFirstColumn = 4;
constexpr std::size_t kFirstRow = 6;
constexpr std::size_t kLastColumn = 8;
constexpr std::size_t kLastRow = 10;
// Binning telegrams: vertical, then horizontal factor.
constexpr uint16_t kBinningLength = 9;
constexpr std::size_t kBinningVertical = 4;
constexpr std::size_t kBinningHorizontal = 6;
// Pixel rate: u32 Hz at offset 4.
constexpr uint16_t kPixelRateLength = 9;
constexpr std::size_t kPixelRate = 4;
constexpr uint32_t kPixelRateHz = 93000000;
// Camera set-up: u16 type, four u32 flags.
constexpr uint16_t kSetupLength = 23;
constexpr std::size_t kSetupType = 4;
constexpr std::size_t kSetupFlags = 6;
constexpr uint16_t kSetupShutter = 0;
constexpr uint16_t kSetupPixelFormat = 1;
constexpr uint32_t kShutterRolling = 2;

struct PixelFormatFlag {
    uint32_t flag;
    const char* entry;
};
constexpr std::array<PixelFormatFlag, 8> kPixelFormatFlags = {{{0x01, "Mono16"},
                                                               {0x02, "Mono14"},
                                                               {0x04, "Mono12"},
                                                               {0x08, "Mono10"},
                                                               {0x10, "Mono8"},
                                                               {0x20, "Mono14p"},
                                                               {0x40, "Mono12p"},
                                                               {0x80, "Mono10p"}}};

const char* entryOfFlag(uint32_t flag) {
    for (const auto& f : kPixelFormatFlags)
        if (f.flag == flag) return f.entry;
    return nullptr;
}

uint32_t flagOfEntry(const std::string& entry) {
    for (const auto& f : kPixelFormatFlags)
        if (entry == f.entry) return f.flag;
    return 0;
}

// ---- region of interest ------------------------------------------------------------------------

struct Roi {
    int64_t firstColumn, firstRow, lastColumn, lastRow;  // from 1, inclusive
};

Roi roiOf(NodeMap& map) {
    const int64_t x = getInteger(map, "OffsetX");
    const int64_t y = getInteger(map, "OffsetY");
    return {x + 1, y + 1, x + getInteger(map, "Width"), y + getInteger(map, "Height")};
}

uint32_t answerRoi(const Call& call, NodeMap& map, uint32_t result) {
    const Roi roi = roiOf(map);
    Response response(call.code(), kRoiLength);
    response.putU16(kFirstColumn, static_cast<uint16_t>(roi.firstColumn));
    response.putU16(kFirstRow, static_cast<uint16_t>(roi.firstRow));
    response.putU16(kLastColumn, static_cast<uint16_t>(roi.lastColumn));
    response.putU16(kLastRow, static_cast<uint16_t>(roi.lastRow));
    return call.send(response, kSuccessFlag, result);
}

// One axis of the region: offset and size features, the maximum size at the current binning
// and, where the camera has it, the sensor's size divided by the binning.
struct Axis {
    const char* offset;
    const char* size;
    const char* maximum;
    const char* sensor;
    const char* binning;
};
constexpr Axis kHorizontal{"OffsetX", "Width", "WidthMax", "SensorWidth", "BinningHorizontal"};
constexpr Axis kVertical{"OffsetY", "Height", "HeightMax", "SensorHeight", "BinningVertical"};

int64_t roundUp(int64_t value, int64_t step) { return step > 1 ? (value + step - 1) / step * step : value; }
int64_t roundDown(int64_t value, int64_t step) { return step > 1 ? value / step * step : value; }

struct Span {
    int64_t offset, size;
};

// The axis' maximum size: WidthMax/HeightMax, or on a camera without them (Aravis' fake
// camera, for one) the size feature's own maximum.
int64_t maximumOf(NodeMap& map, const Axis& axis) {
    if (isAvailable(map, axis.maximum)) return getInteger(map, axis.maximum);
    int64_t minimum = 0, maximum = 0, step = 1;
    getInteger(map, axis.size, &minimum, &maximum, &step);
    return maximum;
}

// The largest span inside [first - 1, last) that the features' increments allow, or nothing
// when the request lies outside the image or leaves less than the smallest size.
std::optional<Span> spanInside(NodeMap& map, const Axis& axis, int64_t first, int64_t last) {
    int64_t limit = maximumOf(map, axis);
    if (isAvailable(map, axis.sensor)) {
        const int64_t binning =
            isAvailable(map, axis.binning) ? std::max<int64_t>(1, getInteger(map, axis.binning)) : 1;
        limit = std::min(limit, getInteger(map, axis.sensor) / binning);
    }
    if (first < 1 || last < first || last > limit) return std::nullopt;
    int64_t offsetMin = 0, offsetMax = 0, offsetStep = 1, sizeMin = 1, sizeMax = 0, sizeStep = 1;
    getInteger(map, axis.offset, &offsetMin, &offsetMax, &offsetStep);
    getInteger(map, axis.size, &sizeMin, &sizeMax, &sizeStep);
    const int64_t offset = roundUp(first - 1, offsetStep);
    const int64_t size = roundDown(last - offset, sizeStep);
    if (size < std::max<int64_t>(sizeMin, 1) || offset + size > limit) return std::nullopt;
    return Span{offset, size};
}

// Offset first when the new offset fits beside the size the camera holds now, else the size
// first: no write ever asks for a region beyond the maximum.
void writeSpan(NodeMap& map, const Axis& axis, const Span& span, int64_t limit) {
    if (span.offset + getInteger(map, axis.size) <= limit) {
        setInteger(map, axis.offset, span.offset);
        setInteger(map, axis.size, span.size);
    } else {
        setInteger(map, axis.size, span.size);
        setInteger(map, axis.offset, span.offset);
    }
}

void disarm(Device& device) {
    if (const auto stream = device.activeStream()) stream->disarmCamera();
}

}  // namespace

TQ4_TELEGRAM_HANDLER(GET_ROI) {
    const auto map = nodeMapOf(device);
    const Roi roi = roiOf(*map);
    TQ4_LOG(kVerbose, call.handle(), "%s: ROI: X: %d-%d Y: %d-%d)", call.origin(), static_cast<int>(roi.firstColumn),
            static_cast<int>(roi.lastColumn), static_cast<int>(roi.firstRow), static_cast<int>(roi.lastRow));
    return answerRoi(call, *map, 0);
}

// Corners inside the image become offset and size, rounded inwards to the features'
// increments; a region that cannot be met at all leaves the camera's region as it is and
// answers it with ZEVO_ERROR_TELEGRAM_OUTOFRANGE.
TQ4_TELEGRAM_HANDLER(SET_ROI) {
    if (!call.requestHasAtLeast(kRoiLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    disarm(device);
    const auto map = nodeMapOf(device);
    const Request& r = call.request();
    const auto columns = spanInside(*map, kHorizontal, r.u16(kFirstColumn), r.u16(kLastColumn));
    const auto rows = spanInside(*map, kVertical, r.u16(kFirstRow), r.u16(kLastRow));
    if (!columns || !rows) {
        TQ4_LOG(kError, call.handle(), "%s: ROI X: %d-%d Y: %d-%d is outside the image.", call.origin(),
                r.u16(kFirstColumn), r.u16(kLastColumn), r.u16(kFirstRow), r.u16(kLastRow));
        return answerRoi(call, *map, ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
    }
    writeSpan(*map, kHorizontal, *columns, maximumOf(*map, kHorizontal));
    writeSpan(*map, kVertical, *rows, maximumOf(*map, kVertical));
    const Roi roi = roiOf(*map);
    TQ4_LOG(kDetail, call.handle(), "%s: ROI: X: %d-%d Y: %d-%d)", call.origin(), static_cast<int>(roi.firstColumn),
            static_cast<int>(roi.lastColumn), static_cast<int>(roi.firstRow), static_cast<int>(roi.lastRow));
    return answerRoi(call, *map, 0);
}

TQ4_TELEGRAM_HANDLER(GET_BINNING) {
    const auto map = nodeMapOf(device);
    const auto factor = [&](const char* name) {
        return static_cast<uint16_t>(isAvailable(*map, name) ? getInteger(*map, name) : 1);
    };
    Response response(call.code(), kBinningLength);
    response.putU16(kBinningVertical, factor("BinningVertical"));
    response.putU16(kBinningHorizontal, factor("BinningHorizontal"));
    return call.send(response);
}

// Both axes take the factor at offset 4; offset 6 is not read. Disarms: the image changes.
TQ4_TELEGRAM_HANDLER(SET_BINNING) {
    disarm(device);
    const auto map = nodeMapOf(device);
    const uint16_t factor = call.request().u16(kBinningVertical);
    for (const char* name : {"BinningVertical", "BinningHorizontal"})
        if (isFeatureWritable(*map, name)) setInteger(*map, name, factor);
    return do_GET_BINNING(device, call);
}

TQ4_TELEGRAM_HANDLER(GET_SENSOR_FORMAT) { return answerValue(call, 0); }

// Only the standard format 0 exists; any other answers with the failure flag and no code.
TQ4_TELEGRAM_HANDLER(SET_SENSOR_FORMAT) {
    if (!call.requestHasAtLeast(kValueLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    Response response(call.code(), kValueLength);
    if (call.request().u16(kValue) != 0) return call.send(response, kFailureFlag, ZEVO_ERROR_TELEGRAM_INVALIDFORMAT);
    return call.send(response);
}

TQ4_TELEGRAM_HANDLER(GET_PIXELRATE) {
    Response response(call.code(), kPixelRateLength);
    response.putU32(kPixelRate, kPixelRateHz);
    return call.send(response);
}

TQ4_TELEGRAM_HANDLER(GET_CAMERA_SETUP) {
    if (!call.requestHasAtLeast(kSetupLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    const uint16_t type = call.request().u16(kSetupType);
    Response response(call.code(), kSetupLength);
    response.putU16(kSetupType, type);
    response.putU32(kSetupFlags, kShutterRolling);
    if (type == kSetupPixelFormat) {
        const auto map = nodeMapOf(device);
        const std::string entry = getEnum(*map, "PixelFormat");
        if (entry.empty()) TQ4_LOG(kError, call.handle(), "%s: read Pixelformat failed", call.origin());
        TQ4_LOG(kDetail, call.handle(), "%s: PixelFormat: %s", call.origin(), entry.c_str());
        response.putU32(kSetupFlags, flagOfEntry(entry));
    } else if (type != kSetupShutter) {
        TQ4_LOG(kError, call.handle(), "%s: wType: %u has unknown value", call.origin(), static_cast<unsigned>(type));
    }
    return call.send(response);
}

// Shutter mode 2 is the only one; a pixel format is set when the camera offers it and read
// back. A failure answers normally with the set-up the camera holds and returns 0xA0360001.
TQ4_TELEGRAM_HANDLER(SET_CAMERA_SETUP) {
    if (!call.requestHasAtLeast(kSetupLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    const uint16_t type = call.request().u16(kSetupType);
    const uint32_t flag = call.request().u32(kSetupFlags);
    const auto map = nodeMapOf(device);
    uint32_t result = ZEVO_NOERROR;
    if (type == kSetupShutter && flag != kShutterRolling) {
        TQ4_LOG(kError, call.handle(), "%s: camera does not support shuttermode: %d", call.origin(),
                static_cast<int>(flag));
        result = ZEVO_ERROR_DRIVER_WRONGVALUE;
    } else if (type == kSetupPixelFormat) {
        const char* entry = entryOfFlag(flag);
        if (!entry) {
            TQ4_LOG(kError, call.handle(), "%s: Unknown Pixelformat for dwSetupFlags[0]: %d", call.origin(),
                    static_cast<int>(flag));
            result = ZEVO_ERROR_DRIVER_WRONGVALUE;
        } else if (!offersEntry(*map, "PixelFormat", entry)) {
            TQ4_LOG(kError, call.handle(), "%s: camera does not support pixelformat: %d (%s)", call.origin(),
                    static_cast<int>(flag), entry);
            result = ZEVO_ERROR_DRIVER_WRONGVALUE;
        } else {
            disarm(device);
            setEnum(*map, "PixelFormat", entry);
            if (getEnum(*map, "PixelFormat") != entry) {
                TQ4_LOG(kError, call.handle(), "%s: readback Pixelformat failed after set. dwSetupFlags[0]: %d (%s)",
                        call.origin(), static_cast<int>(flag), entry);
                result = ZEVO_ERROR_DRIVER_WRONGVALUE;
            } else if (const auto stream = device.activeStream()) {
                stream->setBitsPerPixel();
            }
        }
    }
    Response response(call.code(), kSetupLength);
    response.putU16(kSetupType, type);
    response.putU32(kSetupFlags,
                    type == kSetupPixelFormat ? flagOfEntry(getEnum(*map, "PixelFormat")) : kShutterRolling);
    return call.send(response, kSuccessFlag, result);
}

}  // namespace ZEVO_TELEGRAM
