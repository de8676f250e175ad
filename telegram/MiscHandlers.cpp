// Settings the camera maps onto a feature or that the driver only echoes (date and time,
// timestamp mode, metadata mode) and the hardware signal commands.
#include <array>

#include "telegram/HandlerSupport.h"

namespace ZEVO_TELEGRAM {

namespace {

using namespace tq4::features;
using tq4::log::kError;
using tq4::log::kVerbose;

// Timestamp modes of the protocol, indexed by mode number, as entries of ZEVOTimestamp.
constexpr std::array<const char*, 4> kTimestampEntries = {"Off", "BINARY", "ASCII_BINARY", "ASCII"};

uint16_t timestampModeOfEntry(const std::string& entry) {
    for (std::size_t mode = 1; mode < kTimestampEntries.size(); ++mode) {
        if (entry == kTimestampEntries[mode]) {
            return static_cast<uint16_t>(mode);
        }
    }
    return 0;
}

uint32_t zeroResponse(const Call& call, uint16_t length) {
    Response response(call.code(), length);
    return call.send(response);
}

// Signal numbers the camera's connector offers (0 to 3).
constexpr uint16_t kSignalCount = 4;

constexpr uint16_t kMetadataLength = 15;
constexpr uint16_t kSetSignalLength = 17;

}  // namespace

// Nothing is sent to the camera: the answer repeats the request's first 12 bytes.
TQ4_TELEGRAM_HANDLER(SET_DATE_TIME) {
    static constexpr uint16_t kLength = 13;
    if (!call.requestHasAtLeast(kLength)) {
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    Response response(call.code(), kLength);
    response.putBytes(0, call.request().bytes(), kLength - 1);
    return call.send(response);
}

// The camera's ZEVOTimestamp when it has one, else the mode the data stream keeps.
TQ4_TELEGRAM_HANDLER(GET_TIMESTAMP_MODE) {
    const auto map = nodeMapOf(device);
    uint16_t mode = 0;
    if (isAvailable(*map, "ZEVOTimestamp")) {
        mode = timestampModeOfEntry(getEnum(*map, "ZEVOTimestamp"));
    } else if (const auto stream = device.activeStream()) {
        mode = stream->timestampMode();
    }
    TQ4_LOG(kVerbose, call.handle(), "ZEVO_TELEGRAM::do_GET_TIMESTAMP_MODE: mode: 0x000%x",
            static_cast<unsigned>(mode));
    return answerValue(call, mode);
}

// Mode 0 to 3 goes to ZEVOTimestamp when the camera takes it; otherwise the data stream keeps
// whatever was asked for and stamps the images itself. Always answers 0 and returns 0.
TQ4_TELEGRAM_HANDLER(SET_TIMESTAMP_MODE) {
    const uint16_t mode = call.request().u16(kValue);
    TQ4_LOG(kVerbose, call.handle(), "%s: tele_in mode: 0x%x", call.origin(), static_cast<unsigned>(mode));
    const auto map = nodeMapOf(device);
    if (tq4::features::isFeatureWritable(*map, "ZEVOTimestamp")) {
        if (mode < kTimestampEntries.size()) {
            setEnum(*map, "ZEVOTimestamp", kTimestampEntries[mode]);
        } else {
            TQ4_LOG(kError, call.handle(), "%s: unknown timestamp mode: %d for ZEVOTimestamp", call.origin(),
                    static_cast<int>(mode));
        }
    } else if (const auto stream = device.activeStream()) {
        stream->setTimestampMode(mode);
    }
    return zeroResponse(call, kValueLength);
}

// The camera has no metadata block: both directions answer with an all-zero payload.
TQ4_TELEGRAM_HANDLER(GET_METADATA_MODE) { return zeroResponse(call, kMetadataLength); }

TQ4_TELEGRAM_HANDLER(SET_METADATA_MODE) { return zeroResponse(call, kMetadataLength); }

// Signal numbers beyond the connector are refused with ZEVO_ERROR_TELEGRAM_OUTOFRANGE; the
// descriptions themselves are not offered.
TQ4_TELEGRAM_HANDLER(GET_HW_IO_SIGNAL_DESCRIPTION) {
    if (!call.requestHasAtLeast(kValueLength)) {
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    const uint16_t signal = call.request().u16(kValue);
    if (signal >= kSignalCount) {
        TQ4_LOG(kError, call.handle(), "%s: num signal out of range: %d (> 3).", call.origin(),
                static_cast<int>(signal));
        return call.sendFailure(ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
    }
    return call.sendUnsupported();
}

TQ4_TELEGRAM_HANDLER(GET_HW_IO_SIGNAL) {
    if (!call.requestHasAtLeast(kValueLength)) {
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    return call.sendUnsupported();
}

TQ4_TELEGRAM_HANDLER(SET_HW_IO_SIGNAL) {
    if (!call.requestHasAtLeast(kSetSignalLength)) {
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    return call.sendUnsupported();
}

}  // namespace ZEVO_TELEGRAM
