// The everyday camera settings through the driver's telegrams, as the SDK sends them, and the
// readable summary of what the camera holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "stream/Timestamp.h"
#include "tools/Commands.h"
#include "tools/DriverLibrary.h"

namespace tq4::tools {

// Sends the settings that are given and reads each back; false (and a message naming the
// setting and the driver's result, the camera's range or what the camera holds instead) when
// one is refused, out of range or not taken. The others are still sent.
bool applySettings(CameraSession& camera, const CameraSettings& settings);
// The image the camera delivers: its size, bits per pixel and alignment in the caller's
// buffer.
struct Geometry {
    uint32_t width = 0, height = 0, bits = 0, bytesPerPixel = 0;
    bool msbAligned = false;
    std::size_t bytes() const { return std::size_t(width) * height * bytesPerPixel; }
};
// False (and a message) when the driver does not tell or the image is not one of 1 or 2 bytes
// a pixel.
bool readGeometry(CameraSession& camera, Geometry& g);
// The binary time stamp at the start of a delivered image (written by the camera when it stamps
// its images, else by the driver): false when its pixels hold no valid BCD.
bool readImageStamp(const uint8_t* image, std::size_t bytes, const Geometry& g, stream::StampMoment& moment);
// ARM_CAMERA, then SET_RECORDING_STATE 1; false (and a message) when either is refused.
bool startRecording(CameraSession& camera);
// GET_FRAMERATE's frame rate in mHz; 0 when the driver does not answer.
uint32_t frameRateMilliHertz(CameraSession& camera);
// exposure, delay, frame rate, region, binning, trigger, time stamp, bit alignment.
void printSettings(CameraSession& camera);

}  // namespace tq4::tools
