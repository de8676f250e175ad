// Register addresses of the simulated camera's remote device port. sim/zevo_camera.xml names
// the same addresses; the Aravis test reads every feature back to keep the two in step.
// Integers and floats are 8 bytes little-endian, strings are NUL-terminated fixed fields.
#pragma once

#include <cstdint>

namespace zevo::reg {

constexpr uint32_t kStringLength = 64;
// device identity
constexpr uint64_t kDeviceVendorName = 0x0000;
constexpr uint64_t kDeviceModelName = 0x0040;
constexpr uint64_t kDeviceFamilyName = 0x0080;
constexpr uint64_t kDeviceVersion = 0x00C0;
constexpr uint64_t kDeviceFirmwareVersion = 0x0100;
constexpr uint64_t kDeviceSerialNumber = 0x0140;
constexpr uint64_t kMaterialNumber = 0x0180;
constexpr uint64_t kDeviceUserID = 0x01C0;
constexpr uint64_t kDeviceType = 0x0400;
constexpr uint64_t kDeviceScanType = 0x0408;
// image format
constexpr uint64_t kSensorWidth = 0x1000;
constexpr uint64_t kSensorHeight = 0x1008;
constexpr uint64_t kWidthMax = 0x1010;
constexpr uint64_t kHeightMax = 0x1018;
constexpr uint64_t kWidth = 0x1020;
constexpr uint64_t kHeight = 0x1028;
constexpr uint64_t kOffsetX = 0x1030;
constexpr uint64_t kOffsetY = 0x1038;
constexpr uint64_t kBinningHorizontal = 0x1040;
constexpr uint64_t kBinningVertical = 0x1048;
constexpr uint64_t kPixelFormat = 0x1050;
constexpr uint64_t kPixelSize = 0x1058;
constexpr uint64_t kPayloadSize = 0x1060;
constexpr uint64_t kWidthLimit = 0x1068;  // largest Width at the current OffsetX
constexpr uint64_t kHeightLimit = 0x1070;
constexpr uint64_t kOffsetXLimit = 0x1078;  // largest OffsetX at the current Width
constexpr uint64_t kOffsetYLimit = 0x1080;
constexpr uint64_t kTLParamsLocked = 0x1088;
constexpr uint64_t kSensorWidthBigEndian = 0x1090;  // SensorWidth as big-endian bytes
// acquisition and trigger
constexpr uint64_t kAcquisitionMode = 0x2000;
constexpr uint64_t kAcquisitionStart = 0x2008;
constexpr uint64_t kAcquisitionStop = 0x2010;
constexpr uint64_t kAcquisitionFrameRate = 0x2018;
constexpr uint64_t kAcquisitionFrameRateMax = 0x2020;
constexpr uint64_t kAcquisitionFrameRateEnable = 0x2028;
constexpr uint64_t kExposureTime = 0x2030;
constexpr uint64_t kExposureMode = 0x2038;
constexpr uint64_t kExposureAuto = 0x2040;
constexpr uint64_t kTriggerSelector = 0x2048;
constexpr uint64_t kTriggerMode = 0x2050;
constexpr uint64_t kTriggerSource = 0x2058;
constexpr uint64_t kTriggerActivation = 0x2060;
constexpr uint64_t kTriggerSoftware = 0x2068;
constexpr uint64_t kAcquisitionBurstFrameCount = 0x2070;
constexpr uint64_t kResultingFrameRate = 0x2078;
// digital I/O
constexpr uint64_t kLineSelector = 0x3000;
constexpr uint64_t kLineSource = 0x3008;
constexpr uint64_t kLineMode = 0x3010;
constexpr uint64_t kLineStatus = 0x3018;
constexpr uint64_t kLineInverter = 0x3020;
// sensor blocks: id at +0, value at +8, name (32 bytes) at +0x10
constexpr uint64_t kTempSensorBlock = 0x4000;
constexpr uint64_t kPressureSensorBlock = 0x4100;
constexpr uint64_t kHumidityRelSensorBlock = 0x4200;
constexpr uint64_t kHumidityAbsSensorBlock = 0x4300;
constexpr uint64_t kSensorIdOffset = 0x0;
constexpr uint64_t kSensorValueOffset = 0x8;
constexpr uint64_t kSensorNameOffset = 0x10;
constexpr uint32_t kSensorNameLength = 32;
constexpr uint64_t kDeviceTemperatureSelector = 0x4400;
constexpr uint64_t kDeviceTemperature = 0x4408;
// cooling and fan
constexpr uint64_t kCoolingMode = 0x5000;
constexpr uint64_t kCoolingAutomaticValue = 0x5008;
constexpr uint64_t kCoolingWarning = 0x5010;
constexpr uint64_t kFanControlMode = 0x5018;
// sensor correction
constexpr uint64_t kNUCMode = 0x6000;
constexpr uint64_t kNUCBlackLoaded = 0x6008;
constexpr uint64_t kNUCBothLoaded = 0x6010;
constexpr uint32_t kPathLength = 512;
constexpr uint64_t kNUCBlackReferencePath = 0x6100;
constexpr uint64_t kNUCWhiteReferencePath = 0x6300;
constexpr uint64_t kNUCBlackReferenceLoad = 0x6500;
constexpr uint64_t kNUCWhiteReferenceLoad = 0x6508;
constexpr uint64_t kCreateBlackReference = 0x6510;
constexpr uint64_t kCreateWhiteReference = 0x6518;
constexpr uint64_t kNUCBlackReferenceSave = 0x6520;
constexpr uint64_t kNUCWhiteReferenceSave = 0x6528;
// miscellaneous
constexpr uint64_t kZEVOTimestamp = 0x7000;
constexpr uint64_t kBalanceWhiteAuto = 0x7008;
// the camera description (zipped or plain XML)
constexpr uint64_t kDescription = 0x100000;

}  // namespace zevo::reg
