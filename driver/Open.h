// Opening a camera for Open_Cam / Open_Cam_Ext: producer list, producers in turn, reopen by
// handle, refusal of a number in use, open under the caller's number and access check.
#pragma once

#include <cstdint>

#include "log/Log.h"
#include "tq4_genicam.h"

namespace tq4::driver {

// The whole work of Open_Cam_Ext. Never throws; every failure is a code and a log line.
uint32_t openCamera(uint32_t num, TQ4_HANDLE* ph, const TQ4_OpenStruct* open);

// True when the device access status allows the driver to work with the camera: read-write,
// or opened read-write by this process.
bool isUsableAccessStatus(int32_t status);

// The 66-character line that frames open and close in the log (open/close progress level).
void logSeparator(uint32_t level = log::kProgress);

}  // namespace tq4::driver
