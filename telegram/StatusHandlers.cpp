// Status commands: health, temperatures, cooling set point, busy and trigger-signal status.
#include <vector>

#include "telegram/HandlerSupport.h"
#include "telegram/Units.h"

namespace ZEVO_TELEGRAM {

namespace {

using namespace tq4::features;
using tq4::log::kDetail;
using tq4::log::kError;

// GET_CAMERA_HEALTH_STATUS: u32 warnings, errors, status.
constexpr uint16_t kHealthLength = 17;
constexpr std::size_t kWarnings = 4;
constexpr std::size_t kErrors = 8;
constexpr std::size_t kStatus = 12;
// GET_TEMPERATURE: s16 sensor (tenths), board, power unit.
constexpr uint16_t kTemperatureLength = 11;
constexpr std::size_t kSensorTemperature = 4;
constexpr std::size_t kBoardTemperature = 6;
constexpr std::size_t kPowerTemperature = 8;

// The three temperatures of GET_TEMPERATURE as they go on the wire.
struct Temperatures {
    int16_t sensorTenths = 0;  // offset 4, tenths of a degree
    int16_t board = 0;         // offset 6, degrees
    int16_t power = 0;         // offset 8, degrees
};

// value + 0.5, truncated toward zero (so 40.5 gives 41 and -3.7 gives -3).
int16_t roundedTemperature(double value) { return units::truncatedS16(value + 0.5); }

bool coolingWarningIsOn(NodeMap& map) {
    return isAvailable(map, "CoolingWarning") && getBoolean(map, "CoolingWarning");
}

// The name of the cooler sensor carries a control byte; a printable name never matches it.
const std::string kCoolerSensorName("TEC-Ctrl\x0E", 9);

// The camera's numbered sensor block (TempSensorId selects, TempSensorName and
// TempSensorValue describe). The selector is put back to where it was.
void readSensorBlock(NodeMap& map, Temperatures& out, const void* handle) {
    if (!isSettable(map, "TempSensorId")) {
        return;
    }
    int64_t maxId = 0;
    const int64_t selected = getInteger(map, "TempSensorId", nullptr, &maxId);
    for (int64_t id = 0; id <= maxId; ++id) {
        setInteger(map, "TempSensorId", id);
        const std::string name = getString(map, "TempSensorName");
        const double value = getFloat(map, "TempSensorValue");
        if (name == "Img-Sen") {
            out.sensorTenths = roundedTemperature(value * 10.0);
        } else if (name == "Hum-Sen" || name == kCoolerSensorName) {
            out.board = roundedTemperature(value);
        } else if (name == "Backend") {
            out.power = roundedTemperature(value);
        } else {
            TQ4_LOG(kError, handle, "ZEVO_TELEGRAM::do_GET_TEMPERATURE: Unknown Temperature Sensor <%s: %.2f>",
                    name.c_str(), value);
        }
    }
    setInteger(map, "TempSensorId", selected);
}

// The standard temperature selector; its values take precedence over the sensor block's.
void readDeviceTemperatures(NodeMap& map, Temperatures& out) {
    if (!isSettable(map, "DeviceTemperatureSelector")) {
        return;
    }
    std::vector<std::string> entries;
    getEnumEntries(map, "DeviceTemperatureSelector", entries);
    for (const std::string& entry : entries) {
        setEnum(map, "DeviceTemperatureSelector", entry);
        const double value = getFloat(map, "DeviceTemperature");
        if (entry == "Coreboard" || entry == "Main") {
            out.board = roundedTemperature(value);
        } else if (entry == "Power") {
            out.power = roundedTemperature(value);
        } else if (entry == "Sensor") {
            out.sensorTenths = roundedTemperature(value * 10.0);
        }
    }
}

int16_t coolingSetpointOf(Device& device, NodeMap& map) {
    if (isAvailable(map, "CoolingAutomaticValue")) {
        return units::truncatedS16(getFloat(map, "CoolingAutomaticValue"));
    }
    return device.coolingSetpoint();
}

}  // namespace

// Warnings (8: cooling set point not reached), errors (none) and status: 1, or 3 while
// recording on an armed camera, plus 4 while recording and the acquisition runs.
TQ4_TELEGRAM_HANDLER(GET_CAMERA_HEALTH_STATUS) {
    const auto map = nodeMapOf(device);
    const uint32_t warnings = coolingWarningIsOn(*map) ? 8 : 0;
    uint32_t status = 1;
    const auto stream = device.activeStream();
    if (stream && stream->recordingState() != 0) {
        status = stream->isArmed() ? 3 : 1;
        if (stream->isStreaming()) {
            status += 4;
        }
    }
    Response response(call.code(), kHealthLength);
    response.putU32(kWarnings, warnings);
    response.putU32(kErrors, 0);
    response.putU32(kStatus, status);
    return call.send(response);
}

TQ4_TELEGRAM_HANDLER(GET_TEMPERATURE) {
    const auto map = nodeMapOf(device);
    Temperatures temperatures;
    readSensorBlock(*map, temperatures, call.handle());
    if (coolingWarningIsOn(*map)) {
        TQ4_LOG(kDetail, call.handle(),
                "ZEVO_TELEGRAM::do_GET_TEMPERATURE: WARNING: Cooling Setpoint can not be reached!");
    }
    readDeviceTemperatures(*map, temperatures);
    Response response(call.code(), kTemperatureLength);
    response.putS16(kSensorTemperature, temperatures.sensorTenths);
    response.putS16(kBoardTemperature, temperatures.board);
    response.putS16(kPowerTemperature, temperatures.power);
    return call.send(response);
}

TQ4_TELEGRAM_HANDLER(GET_COOLING_SETPOINT_TEMPERATURE) {
    return answerValue(call, static_cast<uint16_t>(coolingSetpointOf(device, *nodeMapOf(device))));
}

// The request's set point (offset 4, s16 degrees) goes to the camera when it takes one; the
// device's own copy follows a successful write so that the description reports it.
TQ4_TELEGRAM_HANDLER(SET_COOLING_SETPOINT_TEMPERATURE) {
    if (!call.requestHasAtLeast(kValueLength)) {
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    const auto map = nodeMapOf(device);
    const int16_t requested = call.request().s16(kValue);
    // Only the camera's value moves; the set point the device read at open stays as it was.
    if (isSettable(*map, "CoolingAutomaticValue"))
        setFloat(*map, "CoolingAutomaticValue", static_cast<double>(requested));
    return answerValue(call, static_cast<uint16_t>(coolingSetpointOf(device, *map)));
}

// The camera has no busy state the caller could wait for.
TQ4_TELEGRAM_HANDLER(GET_CAMERA_BUSY_STATUS) { return answerValue(call, 0); }

// The exposure trigger signal is not reported by the camera.
TQ4_TELEGRAM_HANDLER(GET_EXP_TRIG_SIGNAL_STATUS) { return answerValue(call, 0); }

}  // namespace ZEVO_TELEGRAM
