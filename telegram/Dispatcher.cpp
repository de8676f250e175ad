#include "telegram/Dispatcher.h"

#include <unordered_map>

#include "gentl/Device.h"
#include "log/Log.h"
#include "telegram/Handlers.h"
#include "telegram/Response.h"
#include "tq4_genicam.h"

namespace ZEVO_TELEGRAM {

namespace {

// A handler and the name its log lines carry ("" for the shared unsupported answer, whose
// lines start with a blank).
struct Row {
    const char* origin;
    Handler handler;
};
using CommandTable = std::unordered_map<uint16_t, Row>;

#define TQ4_HANDLER_ROW(name)                               \
    std::pair<uint16_t, Row> {                              \
        name, Row { "ZEVO_TELEGRAM::do_" #name, do_##name } \
    }
#define TQ4_UNSUPPORTED_ROW(name)        \
    std::pair<uint16_t, Row> {           \
        name, Row { "", do_UNSUPPORTED } \
    }

// Every code of the protocol in protocol order. Rows whose commands the driver does not carry
// out answer with do_UNSUPPORTED.
CommandTable buildCommandTable() {
    CommandTable table;
    const std::pair<uint16_t, Row> rows[] = {
        TQ4_HANDLER_ROW(GET_CAMERA_TYPE),
        TQ4_HANDLER_ROW(GET_CAMERA_HEALTH_STATUS),
        TQ4_HANDLER_ROW(GET_TEMPERATURE),
        TQ4_HANDLER_ROW(GET_HARDWARE_VERSIONS),
        TQ4_HANDLER_ROW(GET_FIRMWARE_VERSIONS),
        TQ4_HANDLER_ROW(GET_CAMERA_NAME),
        TQ4_HANDLER_ROW(GET_INFO_STRING),
        TQ4_HANDLER_ROW(GET_CAMERA_SETUP),
        TQ4_HANDLER_ROW(SET_CAMERA_SETUP),
        TQ4_HANDLER_ROW(GET_CAMERA_DESCRIPTION),
        TQ4_HANDLER_ROW(GET_ROI),
        TQ4_HANDLER_ROW(SET_ROI),
        TQ4_HANDLER_ROW(GET_BINNING),
        TQ4_HANDLER_ROW(SET_BINNING),
        TQ4_HANDLER_ROW(GET_PIXELRATE),
        TQ4_HANDLER_ROW(GET_COOLING_SETPOINT_TEMPERATURE),
        TQ4_HANDLER_ROW(SET_COOLING_SETPOINT_TEMPERATURE),
        TQ4_HANDLER_ROW(GET_SENSOR_FORMAT),
        TQ4_HANDLER_ROW(SET_SENSOR_FORMAT),
        TQ4_UNSUPPORTED_ROW(UNSUPPORTED_0x2511),
        TQ4_HANDLER_ROW(GET_HW_IO_SIGNAL_DESCRIPTION),
        TQ4_HANDLER_ROW(GET_DELAY_EXPOSURE_TIME),
        TQ4_HANDLER_ROW(SET_DELAY_EXPOSURE_TIME),
        TQ4_HANDLER_ROW(GET_TRIGGER_MODE),
        TQ4_HANDLER_ROW(SET_TRIGGER_MODE),
        TQ4_HANDLER_ROW(FORCE_TRIGGER),
        TQ4_HANDLER_ROW(GET_CAMERA_BUSY_STATUS),
        TQ4_HANDLER_ROW(GET_EXP_TRIG_SIGNAL_STATUS),
        TQ4_HANDLER_ROW(GET_TIMEBASE),
        TQ4_HANDLER_ROW(SET_TIMEBASE),
        TQ4_HANDLER_ROW(GET_COC_RUNTIME),
        TQ4_HANDLER_ROW(GET_FRAMERATE),
        TQ4_HANDLER_ROW(GET_HW_IO_SIGNAL),
        TQ4_HANDLER_ROW(SET_HW_IO_SIGNAL),
        TQ4_HANDLER_ROW(GET_RECORDING_STATE),
        TQ4_HANDLER_ROW(SET_RECORDING_STATE),
        TQ4_HANDLER_ROW(GET_ACQUIRE_MODE),
        TQ4_HANDLER_ROW(SET_ACQUIRE_MODE),
        TQ4_HANDLER_ROW(ARM_CAMERA),
        TQ4_HANDLER_ROW(SET_DATE_TIME),
        TQ4_HANDLER_ROW(GET_TIMESTAMP_MODE),
        TQ4_HANDLER_ROW(SET_TIMESTAMP_MODE),
        TQ4_HANDLER_ROW(GET_ACQUIRE_MODE_EX),
        TQ4_HANDLER_ROW(SET_ACQUIRE_MODE_EX),
        TQ4_HANDLER_ROW(GET_BIT_ALIGNMENT),
        TQ4_HANDLER_ROW(SET_BIT_ALIGNMENT),
        TQ4_HANDLER_ROW(GET_METADATA_MODE),
        TQ4_HANDLER_ROW(SET_METADATA_MODE),
        TQ4_HANDLER_ROW(SWIR_GENERATE_CORRECTION_DATA),
    };
    for (const auto& [code, row] : rows) {
        table.emplace(code, row);
    }
    return table;
}

// Built while the library is loaded, before any export can run; read-only afterwards, so the
// callers' threads share it without a lock.
const CommandTable kCommandTable = buildCommandTable();

constexpr const char* kOrigin = "ZEVO_TELEGRAM::callTeleJumpFnc";

uint32_t answerUnknownCode(const Device& device, const Request& request, uint8_t* out, uint32_t size_out) {
    TQ4_LOG(tq4::log::kVerbose, device.handle(), "%s: Unknown command code: 0x%04X, size: %d", kOrigin,
            static_cast<unsigned>(request.code()), static_cast<int>(request.size()));
    Response response = Response::failure(request.code(), ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
    if (size_out < response.length()) {
        TQ4_LOG(tq4::log::kVerbose, device.handle(),
                "%s: Failure resp for TeleCode %X bigger than size_out %d, size of response: %d.", kOrigin,
                static_cast<unsigned>(request.code()), static_cast<int>(size_out), static_cast<int>(response.length()));
    }
    response.sealInto(kFailureFlag, out, size_out);
    return ZEVO_ERROR_TELEGRAM_NOTSUPPORTED;
}

}  // namespace

TQ4_TELEGRAM_HANDLER(UNSUPPORTED) { return call.sendUnsupported(); }

uint32_t callTeleJumpFnc(Device& device, const void* tele_in, int32_t size_in, void* tele_out, uint32_t size_out) {
    const auto* in = static_cast<const uint8_t*>(tele_in);
    auto* out = static_cast<uint8_t*>(tele_out);
    const Request request(in, size_in);
    const auto row = kCommandTable.find(request.code());
    if (row == kCommandTable.end()) {
        return answerUnknownCode(device, request, out, size_out);
    }
    const Call call(row->second.origin, device.handle(), in, size_in, out, size_out);
    return row->second.handler(device, call);
}

std::size_t commandTableSize() { return kCommandTable.size(); }

}  // namespace ZEVO_TELEGRAM
