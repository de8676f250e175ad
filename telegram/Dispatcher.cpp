#include "telegram/Dispatcher.h"

#include <unordered_map>

#include "gentl/Device.h"
#include "include/tq4_genicam.h"
#include "log/Log.h"
#include "telegram/Handlers.h"
#include "telegram/Response.h"

namespace ZEVO_TELEGRAM {

namespace {

using CommandTable = std::unordered_map<uint16_t, Handler>;

// Every code of the protocol in protocol order. Rows whose commands the driver does not carry
// out answer with do_UNSUPPORTED.
CommandTable buildCommandTable() {
    CommandTable table;
    const std::pair<uint16_t, Handler> rows[] = {
        {GET_CAMERA_TYPE, do_GET_CAMERA_TYPE},
        {GET_CAMERA_HEALTH_STATUS, do_GET_CAMERA_HEALTH_STATUS},
        {GET_TEMPERATURE, do_GET_TEMPERATURE},
        {GET_HARDWARE_VERSIONS, do_GET_HARDWARE_VERSIONS},
        {GET_FIRMWARE_VERSIONS, do_GET_FIRMWARE_VERSIONS},
        {GET_CAMERA_NAME, do_GET_CAMERA_NAME},
        {GET_INFO_STRING, do_GET_INFO_STRING},
        {GET_CAMERA_SETUP, do_UNSUPPORTED},
        {SET_CAMERA_SETUP, do_UNSUPPORTED},
        {GET_CAMERA_DESCRIPTION, do_GET_CAMERA_DESCRIPTION},
        {GET_ROI, do_UNSUPPORTED},
        {SET_ROI, do_UNSUPPORTED},
        {GET_BINNING, do_UNSUPPORTED},
        {SET_BINNING, do_UNSUPPORTED},
        {GET_PIXELRATE, do_UNSUPPORTED},
        {GET_COOLING_SETPOINT_TEMPERATURE, do_GET_COOLING_SETPOINT_TEMPERATURE},
        {SET_COOLING_SETPOINT_TEMPERATURE, do_SET_COOLING_SETPOINT_TEMPERATURE},
        {GET_SENSOR_FORMAT, do_UNSUPPORTED},
        {SET_SENSOR_FORMAT, do_UNSUPPORTED},
        {UNSUPPORTED_0x2511, do_UNSUPPORTED},
        {GET_HW_IO_SIGNAL_DESCRIPTION, do_GET_HW_IO_SIGNAL_DESCRIPTION},
        {GET_DELAY_EXPOSURE_TIME, do_UNSUPPORTED},
        {SET_DELAY_EXPOSURE_TIME, do_UNSUPPORTED},
        {GET_TRIGGER_MODE, do_UNSUPPORTED},
        {SET_TRIGGER_MODE, do_UNSUPPORTED},
        {FORCE_TRIGGER, do_UNSUPPORTED},
        {GET_CAMERA_BUSY_STATUS, do_GET_CAMERA_BUSY_STATUS},
        {GET_EXP_TRIG_SIGNAL_STATUS, do_GET_EXP_TRIG_SIGNAL_STATUS},
        {GET_TIMEBASE, do_UNSUPPORTED},
        {SET_TIMEBASE, do_UNSUPPORTED},
        {GET_COC_RUNTIME, do_UNSUPPORTED},
        {GET_FRAMERATE, do_UNSUPPORTED},
        {GET_HW_IO_SIGNAL, do_GET_HW_IO_SIGNAL},
        {SET_HW_IO_SIGNAL, do_SET_HW_IO_SIGNAL},
        {GET_RECORDING_STATE, do_GET_RECORDING_STATE},
        {SET_RECORDING_STATE, do_SET_RECORDING_STATE},
        {GET_ACQUIRE_MODE, do_UNSUPPORTED},
        {SET_ACQUIRE_MODE, do_UNSUPPORTED},
        {ARM_CAMERA, do_ARM_CAMERA},
        {SET_DATE_TIME, do_SET_DATE_TIME},
        {GET_TIMESTAMP_MODE, do_GET_TIMESTAMP_MODE},
        {SET_TIMESTAMP_MODE, do_SET_TIMESTAMP_MODE},
        {GET_ACQUIRE_MODE_EX, do_UNSUPPORTED},
        {SET_ACQUIRE_MODE_EX, do_UNSUPPORTED},
        {GET_BIT_ALIGNMENT, do_GET_BIT_ALIGNMENT},
        {SET_BIT_ALIGNMENT, do_SET_BIT_ALIGNMENT},
        {GET_METADATA_MODE, do_GET_METADATA_MODE},
        {SET_METADATA_MODE, do_SET_METADATA_MODE},
        {SWIR_GENERATE_CORRECTION_DATA, do_UNSUPPORTED},
    };
    for (const auto& [code, handler] : rows) {
        table.emplace(code, handler);
    }
    return table;
}

// Built while the library is loaded, before any export can run; read-only afterwards, so the
// callers' threads share it without a lock.
const CommandTable kCommandTable = buildCommandTable();

constexpr const char* kOrigin = "ZEVO_TELEGRAM::callTeleJumpFnc";

uint32_t answerUnknownCode(const Device& device, const Request& request, uint8_t* out,
                           uint32_t size_out) {
    TQ4_LOG(tq4::log::kVerbose, device.handle(), "%s: Unknown command code: 0x%04X, size: %d",
            kOrigin, static_cast<unsigned>(request.code()), static_cast<int>(request.size()));
    Response response = Response::failure(request.code(), ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
    if (size_out < response.length()) {
        TQ4_LOG(tq4::log::kVerbose, device.handle(),
                "%s: Failure resp for TeleCode %X bigger than size_out %d, size of response: %d.",
                kOrigin, static_cast<unsigned>(request.code()), static_cast<int>(size_out),
                static_cast<int>(response.length()));
    }
    response.seal(kFailureFlag);
    response.copyTo(out, size_out);
    return ZEVO_ERROR_TELEGRAM_NOTSUPPORTED;
}

}  // namespace

TQ4_TELEGRAM_HANDLER(UNSUPPORTED) {
    return Call("", device.handle(), tele_in, size_in, tele_out, size_out).sendUnsupported();
}

uint32_t callTeleJumpFnc(Device& device, const void* tele_in, int32_t size_in, void* tele_out,
                         uint32_t size_out) {
    const auto* in = static_cast<const uint8_t*>(tele_in);
    auto* out = static_cast<uint8_t*>(tele_out);
    const Request request(in, size_in);
    const auto row = kCommandTable.find(request.code());
    if (row == kCommandTable.end()) {
        return answerUnknownCode(device, request, out, size_out);
    }
    return row->second(device, in, size_in, out, size_out);
}

std::size_t commandTableSize() { return kCommandTable.size(); }

}  // namespace ZEVO_TELEGRAM
