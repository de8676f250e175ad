// Correction data: a new black or white reference, taken by the camera from what it sees and
// saved to the reference file the driver names.
#include "camera/CorrectionData.h"
#include "telegram/HandlerSupport.h"

namespace ZEVO_TELEGRAM {

namespace {

constexpr uint16_t kCorrectionLength = 8;
constexpr std::size_t kReferenceKind = 4;  // u16: 1 white, anything else black
constexpr uint16_t kWhiteReference = 1;

}  // namespace

// The 8-byte answer carries only its header: the success flag when the camera saved the file,
// else the failure flags and ZEVO_ERROR_DRIVER_CREATEEVENT.
TQ4_TELEGRAM_HANDLER(SWIR_GENERATE_CORRECTION_DATA) {
    using tq4::camera::Reference;
    Response response(call.code(), kCorrectionLength);
    const auto stream = device.activeStream();
    // Informational, and logged at the error level so that it shows with the default mask.
    TQ4_LOG(tq4::log::kError, call.handle(), "Device::do_SWIR_GENERATE_CORRECTION_DATA: dynamic resolution: %d bits.",
            stream ? static_cast<int>(stream->bitsPerPixel()) : 0);
    const Reference kind = call.request().u16(kReferenceKind) == kWhiteReference ? Reference::White : Reference::Black;
    if (tq4::camera::generateReference(device, kind)) return call.send(response);
    return call.send(response, kFailureFlag, ZEVO_ERROR_DRIVER_CREATEEVENT);
}

}  // namespace ZEVO_TELEGRAM
