// Identity commands: camera type, name, info strings, hardware and firmware versions.
#include <cctype>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "telegram/HandlerSupport.h"

namespace ZEVO_TELEGRAM {

namespace {

using namespace tq4::features;
using tq4::log::kError;
using tq4::log::kProgress;
using tq4::log::kVerbose;

constexpr uint32_t kLogDetailAndVerbose = 0x40 | kVerbose;

constexpr std::size_t kTextOffset = kPayloadOffset;
constexpr std::size_t kTextField = 40;  // at most 39 characters and a NUL
constexpr uint16_t kTextResponseSize = 45;

// Product line of the firmware version list (39 characters and its NUL fill the 40 bytes).
// GET_CAMERA_TYPE: u32 type, serial, hardware and firmware version, u16 interface type.
constexpr uint16_t kCameraTypeLength = 23;
constexpr std::size_t kTypeCode = 4;
constexpr std::size_t kTypeSerial = 8;
constexpr std::size_t kTypeHardware = 12;
constexpr std::size_t kTypeFirmware = 16;
constexpr std::size_t kTypeInterface = 20;
// GET_INFO_STRING: u32 info type.
constexpr std::size_t kInfoType = 4;
// GET_HARDWARE_VERSIONS / GET_FIRMWARE_VERSIONS: u16 entry counts.
constexpr std::size_t kBoardCount = 4;
constexpr std::size_t kFirmwareCount = 44;
constexpr uint16_t kFirmwareLength = 207;

constexpr const char* kProductText = "Orvanta ZEVO GmbH zevo.quillon 1.3 SWIR";
// A text the camera does not give.
constexpr const char* kNotAvailable = "not available";

// std::stoull's reading of `text`: the leading unsigned decimal number. On failure logs
// "<label> stoull exception: %s <%s>" (class 32) and yields nothing.
std::optional<uint64_t> leadingNumber(const std::string& text, const char* label, const void* handle) {
    try {
        return std::stoull(text, nullptr, 10);
    } catch (const std::exception& e) {
        TQ4_LOG(kVerbose, handle, "%s stoull exception: %s <%s>", label, e.what(), text.c_str());
        return std::nullopt;
    }
}

// A hardware version text as a number: its leading decimal number; a single non-digit
// character stands for its own character code (revision "A" is 65). Nothing when neither.
std::optional<uint32_t> versionNumber(const std::string& text, const char* label, const void* handle) {
    if (text.size() == 1 && !std::isdigit(static_cast<unsigned char>(text[0]))) {
        return static_cast<unsigned char>(text[0]);
    }
    if (const auto number = leadingNumber(text, label, handle)) {
        return static_cast<uint32_t>(*number);
    }
    return std::nullopt;
}

// The text of `primary`, or of `fallback` when `primary` is not available (logged at class 32
// as "<origin>: instead take feature <fallback>").
std::string textOfEither(NodeMap& map, const char* primary, const char* fallback, const char* origin,
                         const void* handle) {
    if (isAvailable(map, primary)) {
        return getString(map, primary);
    }
    TQ4_LOG(kVerbose, handle, "%s: instead take feature <%s>", origin, fallback);
    return getString(map, fallback);
}

// The text of a feature, or "not available" when the camera has no such feature.
std::string textOrNotAvailable(NodeMap& map, const char* name) {
    return isAvailable(map, name) ? getString(map, name) : kNotAvailable;
}

// The product line of the firmware list: the product text for the maker's own cameras (their
// vendor name begins it), else the camera's own vendor and model.
std::string productLine(NodeMap& map) {
    const std::string vendor = isAvailable(map, "DeviceVendorName") ? getString(map, "DeviceVendorName") : "";
    if (!vendor.empty() && std::string(kProductText).rfind(vendor + " ", 0) == 0) return kProductText;
    const std::string model = isAvailable(map, "DeviceModelName") ? getString(map, "DeviceModelName") : "";
    const std::string line = vendor + (vendor.empty() || model.empty() ? "" : " ") + model;
    return line.empty() ? kNotAvailable : line;
}

uint32_t textResponse(const Call& call, const std::string& text, uint32_t result = 0) {
    Response response(call.code(), kTextResponseSize);
    response.putText(kTextOffset, text, kTextField);
    return call.send(response, kSuccessFlag, result);
}

}  // namespace

// Type, serial number, hardware and firmware version and interface type.
TQ4_TELEGRAM_HANDLER(GET_CAMERA_TYPE) {
    static constexpr const char* kLabel = "ZEVO_TELEGRAM::do_GET_CAMERA_TYPE:";
    static constexpr uint32_t kCameraType = 0x00011A00;
    static constexpr uint32_t kFirmwareUnknown = 2;
    // Every transport this driver speaks through reports as interface type 6.
    static constexpr uint16_t kInterfaceType = 6;

    const auto map = nodeMapOf(device);

    const std::string hardwareText =
        textOfEither(*map, "DeviceVersion", "InfoHardwareRev", call.origin(), call.handle());
    TQ4_LOG(kLogDetailAndVerbose, call.handle(), "%s: Hardware version <%s>", call.origin(), hardwareText.c_str());
    auto hardware = versionNumber(hardwareText, kLabel, call.handle());
    if (!hardware) {
        TQ4_LOG(kProgress, call.handle(), "%s: can not read HW version <%s>. set: 0", call.origin(),
                hardwareText.c_str());
    }

    uint32_t firmware = kFirmwareUnknown;
    if (isAvailable(*map, "DeviceFirmwareVersion")) {
        const std::string firmwareText = getString(*map, "DeviceFirmwareVersion");
        TQ4_LOG(kLogDetailAndVerbose, call.handle(), "%s: Firmware version <%s>", call.origin(), firmwareText.c_str());
        const auto number = versionNumber(firmwareText, kLabel, call.handle());
        if (!number) {
            TQ4_LOG(kProgress, call.handle(), "%s: can not read FW version <%s>. set: 0", call.origin(),
                    firmwareText.c_str());
        }
        firmware = number.value_or(0);
    }

    Response response(call.code(), kCameraTypeLength);
    response.putU32(kTypeCode, kCameraType);
    response.putU32(kTypeSerial, device.getSerial());
    response.putU32(kTypeHardware, hardware.value_or(0));
    response.putU32(kTypeFirmware, firmware);
    response.putU16(kTypeInterface, kInterfaceType);
    return call.send(response);
}

TQ4_TELEGRAM_HANDLER(GET_CAMERA_NAME) { return textResponse(call, device.displayName()); }

// Info type at offset 4: 1 camera name, 2 sensor (the product's, whatever the camera), 3
// material number ("not available" for a camera without one), 4 driver version. Any other
// type answers without text and returns ZEVO_ERROR_TELEGRAM_VALUEFAILED.
TQ4_TELEGRAM_HANDLER(GET_INFO_STRING) {
    switch (call.request().u32(kInfoType)) {
        case 1: return textResponse(call, device.displayName());
        case 2: return textResponse(call, "Sony IMX990");
        case 3: return textResponse(call, textOrNotAvailable(*nodeMapOf(device), "MaterialNumber"));
        case 4: return textResponse(call, "1,9,0,0");
        default: return textResponse(call, "", ZEVO_ERROR_TELEGRAM_VALUEFAILED);
    }
}

// Layout (see include/tq4_genicam.h): offset 4 u16 board count, then per board 22 bytes:
// name[16], u16 batch number, u16 revision, u16 variant.
TQ4_TELEGRAM_HANDLER(GET_HARDWARE_VERSIONS) {
    static constexpr uint16_t kBoards = 1;
    static constexpr std::size_t kBoardOffset = 6;
    static constexpr std::size_t kBoardSize = 22;
    static constexpr std::size_t kNameField = 16;

    const auto map = nodeMapOf(device);
    std::string name = textOfEither(*map, "DeviceModelName", "InfoName", call.origin(), call.handle());
    if (name.empty()) name = kNotAvailable;
    const std::string revisionText =
        textOfEither(*map, "DeviceVersion", "InfoHardwareRev", call.origin(), call.handle());
    const auto revision = versionNumber(revisionText, "ZEVO_TELEGRAM::do_GET_HARDWARE_VERSIONS:", call.handle());
    if (!revision) {
        TQ4_LOG(kProgress, call.handle(), "%s: can not read board revision. set: 0", call.origin());
    }

    Response response(call.code(), static_cast<uint16_t>(kBoardOffset + kBoards * kBoardSize + 1));
    response.putU16(kBoardCount, kBoards);
    response.putText(kBoardOffset, name, kNameField);
    response.putU16(kBoardOffset + kNameField, 0);                                                // batch
    response.putU16(kBoardOffset + kNameField + 2, static_cast<uint16_t>(revision.value_or(0)));  // revision
    response.putU16(kBoardOffset + kNameField + 4, 0);                                            // variant
    return call.send(response);
}

// Layout (see include/tq4_genicam.h): offset 4 the 40-byte product line, offset 44 u16 entry
// count (4), then per entry 40 bytes: name[16], version text[20], u16 major, u16 variant.
// The entries are Bootloader, Application, FPGA and Unknown; the camera reports one firmware
// version, which fills the Application entry; the others keep "??".
TQ4_TELEGRAM_HANDLER(GET_FIRMWARE_VERSIONS) {
    static constexpr std::size_t kEntryOffset = 46;
    static constexpr std::size_t kEntrySize = 40;
    static constexpr std::size_t kNameField = 16;
    static constexpr std::size_t kVersionField = 20;
    struct Entry {
        const char* name;
        std::string version = "??";
        uint16_t major = 0;
        uint16_t variant = 0;
    };

    Entry entries[] = {{"Bootloader"}, {"Application"}, {"FPGA"}, {"Unknown"}};
    Entry& application = entries[1];

    const auto map = nodeMapOf(device);
    if (isAvailable(*map, "DeviceFirmwareVersion")) {
        application.version = getString(*map, "DeviceFirmwareVersion");
        const auto dot = application.version.find('.');
        const std::string afterDot = dot == std::string::npos ? std::string() : application.version.substr(dot + 1);
        application.major = static_cast<uint16_t>(
            leadingNumber(application.version, "ZEVO_TELEGRAM::do_GET_FIRMWARE_VERSIONS:.wMajor", call.handle())
                .value_or(0));
        application.variant = static_cast<uint16_t>(
            leadingNumber(afterDot, "ZEVO_TELEGRAM::do_GET_FIRMWARE_VERSIONS: wVariant", call.handle()).value_or(0));
    }

    Response response(call.code(), kFirmwareLength);
    response.putText(kTextOffset, productLine(*map), kTextField);
    response.putU16(kFirmwareCount, static_cast<uint16_t>(std::size(entries)));
    std::size_t offset = kEntryOffset;
    for (const Entry& entry : entries) {
        response.putText(offset, entry.name, kNameField);
        response.putText(offset + kNameField, entry.version, kVersionField);
        response.putU16(offset + kNameField + kVersionField, entry.major);
        response.putU16(offset + kNameField + kVersionField + 2, entry.variant);
        offset += kEntrySize;
    }
    return call.send(response);
}

}  // namespace ZEVO_TELEGRAM
