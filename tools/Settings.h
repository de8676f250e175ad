// The everyday camera settings through the driver's telegrams, as the SDK sends them, and the
// readable summary of what the camera holds.
#pragma once

#include <string>

#include "tools/Commands.h"
#include "tools/DriverLibrary.h"

namespace tq4::tools {

// Sends the settings that are given and reads each back; false (and a message naming the
// setting and the driver's result, the camera's range or what the camera holds instead) when
// one is refused, out of range or not taken. The others are still sent.
bool applySettings(CameraSession& camera, const CameraSettings& settings);
// exposure, delay, frame rate, region, binning, trigger, time stamp, bit alignment.
void printSettings(CameraSession& camera);

}  // namespace tq4::tools
