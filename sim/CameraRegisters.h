// Register addresses of the simulated camera's remote device port. sim/zevo_camera.xml names
// the same addresses; the Aravis test reads every feature back to keep the two in step.
// Integers and floats are 8 bytes little-endian, strings are NUL-terminated fixed fields.
#pragma once

#include <cstdint>

namespace zevo::reg {

constexpr uint32_t StringLength = 64;
// device identity
constexpr uint64_t DeviceVendorName = 0x0000;
constexpr uint64_t DeviceModelName = 0x0040;
constexpr uint64_t DeviceFamilyName = 0x0080;
constexpr uint64_t DeviceVersion = 0x00C0;
constexpr uint64_t DeviceFirmwareVersion = 0x0100;
constexpr uint64_t DeviceSerialNumber = 0x0140;
constexpr uint64_t MaterialNumber = 0x0180;
constexpr uint64_t DeviceUserID = 0x01C0;
constexpr uint64_t DeviceType = 0x0400;
constexpr uint64_t DeviceScanType = 0x0408;
// image format
constexpr uint64_t SensorWidth = 0x1000;
constexpr uint64_t SensorHeight = 0x1008;
constexpr uint64_t WidthMax = 0x1010;
constexpr uint64_t HeightMax = 0x1018;
constexpr uint64_t Width = 0x1020;
constexpr uint64_t Height = 0x1028;
constexpr uint64_t OffsetX = 0x1030;
constexpr uint64_t OffsetY = 0x1038;
constexpr uint64_t BinningHorizontal = 0x1040;
constexpr uint64_t BinningVertical = 0x1048;
constexpr uint64_t PixelFormat = 0x1050;
constexpr uint64_t PixelSize = 0x1058;
constexpr uint64_t PayloadSize = 0x1060;
constexpr uint64_t WidthLimit = 0x1068;     // largest Width at the current OffsetX
constexpr uint64_t HeightLimit = 0x1070;
constexpr uint64_t OffsetXLimit = 0x1078;   // largest OffsetX at the current Width
constexpr uint64_t OffsetYLimit = 0x1080;
constexpr uint64_t TLParamsLocked = 0x1088;
// acquisition and trigger
constexpr uint64_t AcquisitionMode = 0x2000;
constexpr uint64_t AcquisitionStart = 0x2008;
constexpr uint64_t AcquisitionStop = 0x2010;
constexpr uint64_t AcquisitionFrameRate = 0x2018;
constexpr uint64_t AcquisitionFrameRateMax = 0x2020;
constexpr uint64_t AcquisitionFrameRateEnable = 0x2028;
constexpr uint64_t ExposureTime = 0x2030;
constexpr uint64_t ExposureMode = 0x2038;
constexpr uint64_t ExposureAuto = 0x2040;
constexpr uint64_t TriggerSelector = 0x2048;
constexpr uint64_t TriggerMode = 0x2050;
constexpr uint64_t TriggerSource = 0x2058;
constexpr uint64_t TriggerActivation = 0x2060;
constexpr uint64_t TriggerSoftware = 0x2068;
constexpr uint64_t AcquisitionBurstFrameCount = 0x2070;
constexpr uint64_t ResultingFrameRate = 0x2078;
// digital I/O
constexpr uint64_t LineSelector = 0x3000;
constexpr uint64_t LineSource = 0x3008;
constexpr uint64_t LineMode = 0x3010;
constexpr uint64_t LineStatus = 0x3018;
constexpr uint64_t LineInverter = 0x3020;
// sensor blocks: id at +0, value at +8, name (32 bytes) at +0x10
constexpr uint64_t TempSensorBlock = 0x4000;
constexpr uint64_t PressureSensorBlock = 0x4100;
constexpr uint64_t HumidityRelSensorBlock = 0x4200;
constexpr uint64_t HumidityAbsSensorBlock = 0x4300;
constexpr uint64_t SensorIdOffset = 0x0;
constexpr uint64_t SensorValueOffset = 0x8;
constexpr uint64_t SensorNameOffset = 0x10;
constexpr uint32_t SensorNameLength = 32;
constexpr uint64_t DeviceTemperatureSelector = 0x4400;
constexpr uint64_t DeviceTemperature = 0x4408;
// cooling and fan
constexpr uint64_t CoolingMode = 0x5000;
constexpr uint64_t CoolingAutomaticValue = 0x5008;
constexpr uint64_t CoolingWarning = 0x5010;
constexpr uint64_t FanControlMode = 0x5018;
// sensor correction
constexpr uint64_t NUCMode = 0x6000;
constexpr uint64_t NUCBlackLoaded = 0x6008;
constexpr uint64_t NUCBothLoaded = 0x6010;
constexpr uint32_t PathLength = 512;
constexpr uint64_t NUCBlackReferencePath = 0x6100;
constexpr uint64_t NUCWhiteReferencePath = 0x6300;
constexpr uint64_t NUCBlackReferenceLoad = 0x6500;
constexpr uint64_t NUCWhiteReferenceLoad = 0x6508;
constexpr uint64_t CreateBlackReference = 0x6510;
constexpr uint64_t CreateWhiteReference = 0x6518;
constexpr uint64_t NUCBlackReferenceSave = 0x6520;
constexpr uint64_t NUCWhiteReferenceSave = 0x6528;
// miscellaneous
constexpr uint64_t ZEVOTimestamp = 0x7000;
constexpr uint64_t BalanceWhiteAuto = 0x7008;
// the camera description (zipped or plain XML)
constexpr uint64_t Description = 0x100000;

}  // namespace zevo::reg
