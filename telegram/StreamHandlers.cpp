// Arming, the recording state and the bit alignment: the commands that set up the data stream
// for images.
#include "telegram/HandlerSupport.h"

namespace ZEVO_TELEGRAM {

namespace {

using tq4::log::kError;
using tq4::log::kImageTrace;

constexpr uint16_t kArmLength = 5;
constexpr uint16_t kRecordingOn = 1;

constexpr uint16_t kAlignmentMsb = 0;
constexpr uint16_t kAlignmentLsb = 1;

// Buffers for the image the camera now delivers, unless a stream still runs on the old ones.
void prepareBuffers(Device& device, tq4::stream::DataStream& stream) {
    if (stream.isStreaming()) return;
    const auto map = nodeMapOf(device);
    device.setImageParameters(tq4::features::getInteger(*map, "Width"), tq4::features::getInteger(*map, "Height"));
}

}  // namespace

// Locks the transport parameters and announces buffers for the current image size. Refused
// while recording.
TQ4_TELEGRAM_HANDLER(ARM_CAMERA) {
    Response response(call.code(), kArmLength);
    const auto stream = device.activeStream();
    if (!stream) return call.sendFailure(ZEVO_ERROR_DRIVER_NODRIVER);
    if (stream->recordingState() == kRecordingOn) {
        TQ4_LOG(kError, call.handle(),
                "ZEVO_TELEGRAM::do_ARM_CAMERA: Can not ARM camera: recording state must be off.");
        return call.send(response, kSuccessFlag, ZEVO_ERROR_TELEGRAM_RECORDINGON);
    }
    stream->armCamera();
    prepareBuffers(device, *stream);
    return call.send(response);
}

// Normal answer in both cases; recording on without arming is reported as not armed.
TQ4_TELEGRAM_HANDLER(GET_RECORDING_STATE) {
    const auto stream = device.activeStream();
    const uint16_t state = stream ? stream->recordingState() : 0;
    const bool armed = stream && stream->isArmed();
    return answerValue(call, state, state == kRecordingOn && !armed ? ZEVO_ERROR_TELEGRAM_NOTARMED : 0);
}

// Any value is stored; 0 also stops the camera's acquisition. Recording needs an armed camera.
TQ4_TELEGRAM_HANDLER(SET_RECORDING_STATE) {
    if (!call.requestHasAtLeast(kValueLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    const auto stream = device.activeStream();
    if (!stream) return call.sendFailure(ZEVO_ERROR_DRIVER_NODRIVER);
    const uint16_t wanted = call.request().u16(kValue);
    if (wanted == kRecordingOn && !stream->isArmed()) {
        TQ4_LOG(kError, call.handle(), "%s: Can not set recording state: ARM not successful", call.origin());
        return answerValue(call, 0, ZEVO_ERROR_TELEGRAM_NOTARMED);
    }
    TQ4_LOG(kImageTrace, call.handle(), "%s: set recording state ...", call.origin());
    stream->setRecordingState(wanted);
    TQ4_LOG(kImageTrace, call.handle(), "%s: set recording state: %d", call.origin(), static_cast<int>(wanted));
    return answerValue(call, stream->recordingState(), 0);
}

TQ4_TELEGRAM_HANDLER(GET_BIT_ALIGNMENT) {
    const auto stream = device.activeStream();
    const uint16_t alignment = stream ? stream->bitAlignment() : kAlignmentLsb;
    const std::string pixelFormat = tq4::features::getEnum(*nodeMapOf(device), "PixelFormat");
    TQ4_LOG(tq4::log::kDetail, call.handle(),
            "ZEVO_TELEGRAM::do_GET_BIT_ALIGNMENT: %d (0: MSB, 1: LSB). PixelFormat: %s", static_cast<int>(alignment),
            pixelFormat.c_str());
    return answerValue(call, alignment, 0);
}

// 0 (MSB) or 1 (LSB) for the copies into caller buffers; the camera's PixelFormat stays as it
// is. Other values are refused and the answer carries the alignment kept.
TQ4_TELEGRAM_HANDLER(SET_BIT_ALIGNMENT) {
    if (!call.requestHasAtLeast(kValueLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    const auto stream = device.activeStream();
    if (!stream) return call.sendFailure(ZEVO_ERROR_DRIVER_NODRIVER);
    const uint16_t wanted = call.request().u16(kValue);
    if (wanted != kAlignmentMsb && wanted != kAlignmentLsb) {
        TQ4_LOG(kError, call.handle(), "%s: unknown bit alignment: %d (0: MSB, 1: LSB)", call.origin(),
                static_cast<int>(wanted));
        return answerValue(call, stream->bitAlignment(), ZEVO_ERROR_DRIVER_WRONGVALUE);
    }
    stream->setBitAlignment(wanted);
    return answerValue(call, wanted, 0);
}

}  // namespace ZEVO_TELEGRAM
