// The state an opened camera is brought into before its caller gets it: a pixel format chosen
// by the configuration file or the widest one the camera offers, fan in automatic target mode,
// automatic exposure and white balance off, output lines on fixed signals, automatic cooling,
// correction data loaded, and the camera's sensors and identity in the log. No step can fail
// the open: whatever the camera does not allow is logged or skipped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tq4::features {
class NodeMap;
}
namespace tq4::gentl {
class Device;
}

namespace tq4::camera {

using gentl::Device;

// Every step below, in the order the camera needs them. Installed as the devices' preparation.
void prepareCamera(Device& device);

// Sets the pixel format `request`; an empty request lets the configuration file decide
// ([FEATURE] PixelFormat: an entry name, "None" to keep the camera's, missing or unknown for
// the widest). Tells the active stream the new depth and alignment.
void setPixelFormat(Device& device, const std::string& request);
void setFanCtrlAutoTarget(Device& device);
void turnExposureAutoOff(Device& device);
void turnBalanceWhiteOff(Device& device);
// The camera's Line2 and Line3 (the caller's outputs 3 and 4) on frame trigger and exposure.
void setOutputLines(Device& device);
// Automatic cooling, and the set point the device keeps from now on.
void applyCooling(Device& device);
// One log line with the name and value of every sensor of a block ("Temp", "Pressure", ...).
void reportSensors(Device& device, const std::string& prefix);
// One log line with the feature's text.
void reportRegister(Device& device, const char* feature);

// The enumeration's entries, each followed by "; " (the last one too), as the log lines list them.
std::string entryList(features::NodeMap& map, const char* feature);

// The widest of the entries by the bits their names give, later entries winning ties and
// "msb" entries passed over; empty when none has digits. `handle` tags the log lines.
std::string widestPixelFormat(const std::vector<std::string>& entries, const void* handle);

}  // namespace tq4::camera
