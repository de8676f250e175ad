// Every command handler, one declaration per table row that the driver carries out. All share
// the Handler signature of telegram/Telegram.h and follow the common pattern of Call.
#pragma once

#include "telegram/Response.h"
#include "telegram/Telegram.h"

namespace ZEVO_TELEGRAM {

// The dispatcher builds the call (named "ZEVO_TELEGRAM::do_<name>" for the handler's log
// lines) from its table row and hands it over.
#define TQ4_TELEGRAM_HANDLER(name) uint32_t do_##name([[maybe_unused]] Device& device, const Call& call)

// Answers every code the driver does not carry out with the unsupported answer.
TQ4_TELEGRAM_HANDLER(UNSUPPORTED);

// Identity (IdentityHandlers.cpp)
TQ4_TELEGRAM_HANDLER(GET_CAMERA_TYPE);
TQ4_TELEGRAM_HANDLER(GET_CAMERA_NAME);
TQ4_TELEGRAM_HANDLER(GET_INFO_STRING);
TQ4_TELEGRAM_HANDLER(GET_HARDWARE_VERSIONS);
TQ4_TELEGRAM_HANDLER(GET_FIRMWARE_VERSIONS);

// Description (DescriptionHandlers.cpp)
TQ4_TELEGRAM_HANDLER(GET_CAMERA_DESCRIPTION);

// Status (StatusHandlers.cpp)
TQ4_TELEGRAM_HANDLER(GET_CAMERA_HEALTH_STATUS);
TQ4_TELEGRAM_HANDLER(GET_TEMPERATURE);
TQ4_TELEGRAM_HANDLER(GET_COOLING_SETPOINT_TEMPERATURE);
TQ4_TELEGRAM_HANDLER(SET_COOLING_SETPOINT_TEMPERATURE);
TQ4_TELEGRAM_HANDLER(GET_CAMERA_BUSY_STATUS);
TQ4_TELEGRAM_HANDLER(GET_EXP_TRIG_SIGNAL_STATUS);

// Arming, recording state and bit alignment (StreamHandlers.cpp)
TQ4_TELEGRAM_HANDLER(ARM_CAMERA);
TQ4_TELEGRAM_HANDLER(GET_RECORDING_STATE);
TQ4_TELEGRAM_HANDLER(SET_RECORDING_STATE);
TQ4_TELEGRAM_HANDLER(GET_BIT_ALIGNMENT);
TQ4_TELEGRAM_HANDLER(SET_BIT_ALIGNMENT);

// Miscellaneous settings and signal commands (MiscHandlers.cpp)
TQ4_TELEGRAM_HANDLER(SET_DATE_TIME);
TQ4_TELEGRAM_HANDLER(GET_TIMESTAMP_MODE);
TQ4_TELEGRAM_HANDLER(SET_TIMESTAMP_MODE);
TQ4_TELEGRAM_HANDLER(GET_METADATA_MODE);
TQ4_TELEGRAM_HANDLER(SET_METADATA_MODE);
TQ4_TELEGRAM_HANDLER(GET_HW_IO_SIGNAL_DESCRIPTION);
TQ4_TELEGRAM_HANDLER(GET_HW_IO_SIGNAL);
TQ4_TELEGRAM_HANDLER(SET_HW_IO_SIGNAL);

}  // namespace ZEVO_TELEGRAM
