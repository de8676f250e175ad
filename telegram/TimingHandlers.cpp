// Timing and trigger commands: timebases, delay and exposure, frame rate and cycle time,
// trigger and acquire modes, the software trigger.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>

#include "telegram/HandlerSupport.h"
#include "telegram/Units.h"

namespace ZEVO_TELEGRAM {

namespace {

using namespace tq4::features;
using tq4::log::kDetail;
using tq4::log::kError;
using tq4::log::kProgress;

constexpr double kEpsilon = 2.220446049250313e-16;
constexpr double kNanosecondsPerSecond = 1000000000.0;

// Timebases: delay code, exposure code.
constexpr uint16_t kTimebaseLength = 9;
constexpr std::size_t kDelayTimebase = 4;
constexpr std::size_t kExposureTimebase = 6;
// Delay and exposure: u32 delay, u32 exposure, each in its timebase.
constexpr uint16_t kDelayExposureLength = 13;
constexpr std::size_t kDelay = 4;
constexpr std::size_t kExposure = 8;
// Acquire mode with a number of images.
constexpr uint16_t kAcquireModeExLength = 27;
constexpr std::size_t kAcquireMode = 4;
constexpr std::size_t kImageCount = 6;
// Frame rate: u16 status, u32 rate in mHz, u32 exposure in ns.
constexpr uint16_t kFrameRateLength = 15;
constexpr std::size_t kFrameRateStatus = 4;
constexpr std::size_t kFrameRate = 6;
constexpr std::size_t kFrameRateExposure = 10;
// Cycle time: u32 seconds, u32 nanoseconds.
constexpr uint16_t kCocRuntimeLength = 13;
constexpr std::size_t kCocSeconds = 4;
constexpr std::size_t kCocNanoseconds = 8;

constexpr uint16_t kAcquireAuto = 0;
constexpr uint16_t kAcquireExternal = 1;
constexpr uint16_t kAcquireBurst = 4;

const char* unitText(uint16_t timebase) {
    switch (timebase) {
        case 0: return "ns";
        case 1: return "us";
        case 2: return "ms";
        default: return "invalid";
    }
}

double periodNs(double rate) { return rate > kEpsilon ? kNanosecondsPerSecond / rate : 0.0; }

void disarm(Device& device) {
    if (const auto stream = device.activeStream()) stream->disarmCamera();
}

// Selects `entry` in TriggerSelector when the camera has it; true when it is selected.
bool selectTrigger(NodeMap& map, const char* entry) {
    return hasEnumEntry(map, "TriggerSelector", entry, false) && setEnum(map, "TriggerSelector", entry);
}

bool triggerOn(NodeMap& map) { return getEnum(map, "TriggerMode") == "On"; }

void switchTrigger(NodeMap& map, const char* entry, bool on) {
    if (!selectTrigger(map, entry)) return;
    if (triggerOn(map) != on) setEnum(map, "TriggerMode", on ? "On" : "Off");
}

// 0, 1 (acquisition gated from outside) or 4 (bursts); nothing when TriggerSelector cannot be
// written.
std::optional<uint16_t> acquireMode(NodeMap& map) {
    if (!isFeatureWritable(map, "TriggerSelector")) return std::nullopt;
    uint16_t mode = kAcquireAuto;
    if (selectTrigger(map, "AcquisitionActive") && triggerOn(map)) mode = kAcquireExternal;
    if (selectTrigger(map, "FrameBurstStart") && triggerOn(map)) mode = kAcquireBurst;
    return mode;
}

// ---- delay and exposure ------------------------------------------------------------------------

// The camera's timing as the delay/exposure telegrams see it.
struct Timing {
    double exposure = 0;  // ExposureTime in its unit
    std::string exposureUnit;
    double rate = 0, rateMin = 0, rateMax = 0, rateInc = 0;
    std::string rateUnit;
    bool enableAvailable = false;
    bool rateFixed = false;  // AcquisitionFrameRateEnable set
};

Timing readTiming(NodeMap& map) {
    Timing t;
    t.exposure = getFloat(map, "ExposureTime", nullptr, nullptr, nullptr, &t.exposureUnit);
    t.rate = getFloat(map, "AcquisitionFrameRate", &t.rateMin, &t.rateMax, &t.rateInc, &t.rateUnit);
    t.enableAvailable = isAvailable(map, "AcquisitionFrameRateEnable");
    t.rateFixed = t.enableAvailable && getBoolean(map, "AcquisitionFrameRateEnable");
    return t;
}

double exposureNs(const Timing& t) { return units::convert(t.exposure, t.exposureUnit, "ns"); }

// The frame period of the camera: the set rate when it is fixed, else as fast as exposure and
// read-out allow.
double cyclePeriodNs(const Timing& t) {
    if (t.rateFixed) return periodNs(t.rate);
    return std::max(periodNs(t.rateMax), exposureNs(t));
}

// The delay and exposure the camera holds, in the device's timebases, with the getter's log
// lines under `origin`.
struct DelayExposure {
    uint32_t delay = 0;
    uint32_t exposure = 0;
};

DelayExposure delayExposureOf(Device& device, NodeMap& map, const char* origin, const void* handle) {
    const uint16_t delayBase = device.delayTimebase();
    const uint16_t exposureBase = device.exposureTimebase();
    const Timing t = readTiming(map);
    DelayExposure out;
    out.exposure = units::convertRounded(t.exposure, t.exposureUnit, unitText(exposureBase));
    const char* exposureUnit = unitText(exposureBase);
    if (t.rateMin > kEpsilon) {
        const uint32_t exposure = units::convertRounded(out.exposure, exposureUnit, "ns");
        if (!(periodNs(t.rateMin) > exposure)) {
            TQ4_LOG(kDetail, handle, "do_GET_DELAY_EXPOSURE_TIME: Exposure: %d%s; min(AFR): %.2fFps",
                    static_cast<int>(out.exposure), exposureUnit, t.rateMin);
            return out;
        }
    }
    if (!t.enableAvailable) {
        TQ4_LOG(kDetail, handle, "do_GET_DELAY_EXPOSURE_TIME: AFRE not readable; Exposure: %d%s; min(AFR): %.2fFps",
                static_cast<int>(out.exposure), exposureUnit, t.rateMin);
        return out;
    }
    if (!t.rateFixed) {
        TQ4_LOG(kDetail, handle, "%s: Exposure: %d%s; AFR: (auto) --> Delay: %d%s", origin,
                static_cast<int>(out.exposure), exposureUnit, 0, unitText(delayBase));
        return out;
    }
    if (!t.rateUnit.empty() && t.rateUnit != "Fps" && t.rateUnit != "Hz")
        TQ4_LOG(kError, handle, "%s: Unknown unit: <%s>, expected <Fps> or <Hz>.", origin, t.rateUnit.c_str());
    double delayNs = 0;
    if (t.rate - t.rateMin > kEpsilon) {
        const double shortest = periodNs(t.rateMax);
        const double exposure = units::convert(out.exposure, exposureUnit, "ns");
        if (exposure < shortest)
            delayNs = periodNs(t.rate) - shortest;
        else if (exposure < periodNs(t.rate))
            delayNs = periodNs(t.rate) - exposure;
    } else {
        delayNs = static_cast<uint32_t>(static_cast<uint64_t>(periodNs(t.rateMin)) -
                                        units::convertRounded(out.exposure, exposureUnit, "ns"));
    }
    out.delay = units::convertRounded(delayNs, "ns", unitText(delayBase));
    TQ4_LOG(kDetail, handle, "%s: Exposure: %d%s; AFR: %.2fFps (afr_max: %.2f, inc: %.2f) --> Delay: %d%s", origin,
            static_cast<int>(out.exposure), exposureUnit, t.rate, t.rateMax, t.rateInc, static_cast<int>(out.delay),
            unitText(delayBase));
    return out;
}

uint32_t answerDelayExposure(const Call& call, const DelayExposure& held, uint32_t result) {
    Response response(call.code(), kDelayExposureLength);
    response.putU32(kDelay, held.delay);
    response.putU32(kExposure, held.exposure);
    return call.send(response, kSuccessFlag, result);
}

// The frame period that makes the getter report `delayNs` beside the exposure: the delay added
// to the exposure, or to the shortest period when the exposure is shorter than that.
void setFramePeriod(NodeMap& map, const Timing& t, double delayNs, const void* handle, const char* origin,
                    const DelayExposure& request, const char* exposureUnit, const char* delayUnit) {
    if (!t.enableAvailable || !isFeatureWritable(map, "AcquisitionFrameRateEnable")) {
        TQ4_LOG(kDetail, handle,
                "%s: AFRE not readable; Exposure: %d%s + tele_in->dwDelay; > min(AFR): %.2fFps --> Delay: %d%s", origin,
                static_cast<int>(request.exposure), exposureUnit, t.rateMin, static_cast<int>(request.delay),
                delayUnit);
        return;
    }
    if (delayNs <= 0) {
        setBoolean(map, "AcquisitionFrameRateEnable", false);
        TQ4_LOG(kDetail, handle, "%s: Exposure: %d%s; AFR: %.2fFps --> Delay: %d%s", origin,
                static_cast<int>(request.exposure), exposureUnit, t.rateMax, 0, delayUnit);
        return;
    }
    const double period = delayNs + std::max(exposureNs(t), periodNs(t.rateMax));
    const double rate = std::clamp(kNanosecondsPerSecond / period, t.rateMin, t.rateMax);
    setBoolean(map, "AcquisitionFrameRateEnable", true);
    setFloat(map, "AcquisitionFrameRate", rate);
    if (rate <= t.rateMin)
        TQ4_LOG(kDetail, handle, "%s: Exposure: %d%s; > min(AFR): %.2fFps --> Delay: %d%s", origin,
                static_cast<int>(request.exposure), exposureUnit, t.rateMin, static_cast<int>(request.delay),
                delayUnit);
    else
        TQ4_LOG(kDetail, handle, "%s: Exposure: %d%s; AFR: %.2fFps --> Delay: %d%s", origin,
                static_cast<int>(request.exposure), exposureUnit, rate, static_cast<int>(request.delay), delayUnit);
}

}  // namespace

// ---- timebases and trigger ---------------------------------------------------------------------

TQ4_TELEGRAM_HANDLER(GET_TIMEBASE) {
    Response response(call.code(), kTimebaseLength);
    response.putU16(kDelayTimebase, device.delayTimebase());
    response.putU16(kExposureTimebase, device.exposureTimebase());
    return call.send(response);
}

// Both codes are kept as given (0 ns, 1 us, 2 ms; others convert without scaling).
TQ4_TELEGRAM_HANDLER(SET_TIMEBASE) {
    if (!call.requestHasAtLeast(kTimebaseLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    device.setTimebases(call.request().u16(kDelayTimebase), call.request().u16(kExposureTimebase));
    return do_GET_TIMEBASE(device, call);
}

TQ4_TELEGRAM_HANDLER(FORCE_TRIGGER) {
    const auto map = nodeMapOf(device);
    const bool fired = isFeatureWritable(*map, "TriggerSoftware") && callCommand(*map, "TriggerSoftware");
    return answerValue(call, fired ? 1 : 0);
}

// ---- acquire mode ------------------------------------------------------------------------------

TQ4_TELEGRAM_HANDLER(GET_ACQUIRE_MODE) {
    const auto mode = acquireMode(*nodeMapOf(device));
    if (!mode) return ZEVO_ERROR_TELEGRAM_NOTSUPPORTED;
    TQ4_LOG(kProgress, call.handle(), "%s: get ZEVO acquire mode: 0x%x", call.origin(), static_cast<unsigned>(*mode));
    return answerValue(call, *mode);
}

// 0 and 1 only (4 is refused here, though the getter reports it).
TQ4_TELEGRAM_HANDLER(SET_ACQUIRE_MODE) {
    if (!call.requestHasAtLeast(kValueLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    disarm(device);
    const auto map = nodeMapOf(device);
    const uint16_t mode = call.request().u16(kValue);
    if (mode == kAcquireExternal) {
        switchTrigger(*map, "AcquisitionActive", true);
    } else if (mode == kAcquireAuto) {
        switchTrigger(*map, "AcquisitionActive", false);
        switchTrigger(*map, "FrameBurstStart", false);
    } else {
        TQ4_LOG(kError, call.handle(), "%s: Acquire mode 0x%x not supported.", call.origin(),
                static_cast<unsigned>(mode));
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    return answerValue(call, mode);
}

TQ4_TELEGRAM_HANDLER(GET_ACQUIRE_MODE_EX) {
    const auto map = nodeMapOf(device);
    const auto mode = acquireMode(*map);
    if (!mode) return ZEVO_ERROR_TELEGRAM_NOTSUPPORTED;
    const auto images =
        static_cast<uint32_t>(*mode == kAcquireBurst ? getInteger(*map, "AcquisitionBurstFrameCount") : 0);
    TQ4_LOG(kProgress, call.handle(), "%s: get ZEVO acquire mode ex: 0x%x, #images: %d", call.origin(),
            static_cast<unsigned>(*mode), static_cast<int>(images));
    Response response(call.code(), kAcquireModeExLength);
    response.putU16(kAcquireMode, *mode);
    response.putU32(kImageCount, images);
    return call.send(response);
}

// Modes 0, 1 and 4; a number of images outside AcquisitionBurstFrameCount's limits is brought
// to the nearer limit, and the answer carries the number the camera took.
TQ4_TELEGRAM_HANDLER(SET_ACQUIRE_MODE_EX) {
    if (!call.requestHasAtLeast(kAcquireModeExLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    disarm(device);
    const auto map = nodeMapOf(device);
    const uint16_t mode = call.request().u16(kAcquireMode);
    uint32_t images = call.request().u32(kImageCount);
    if (mode == kAcquireExternal) {
        switchTrigger(*map, "AcquisitionActive", true);
    } else if (mode == kAcquireBurst) {
        switchTrigger(*map, "FrameBurstStart", true);
        int64_t low = 0, high = 0;
        getInteger(*map, "AcquisitionBurstFrameCount", &low, &high);
        setInteger(*map, "AcquisitionBurstFrameCount", std::clamp<int64_t>(images, low, std::max(low, high)));
        images = static_cast<uint32_t>(getInteger(*map, "AcquisitionBurstFrameCount"));
    } else if (mode == kAcquireAuto) {
        switchTrigger(*map, "AcquisitionActive", false);
        switchTrigger(*map, "FrameBurstStart", false);
    } else {
        TQ4_LOG(kError, call.handle(), "%s: Acquire mode 0x%x not supported.", call.origin(),
                static_cast<unsigned>(mode));
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    TQ4_LOG(kProgress, call.handle(), "%s: set ZEVO acquire mode ex: 0x%x, #images: %d", call.origin(),
            static_cast<unsigned>(mode), static_cast<int>(images));
    Response response(call.code(), kAcquireModeExLength);
    response.putU16(kAcquireMode, mode);
    response.putU32(kImageCount, mode == kAcquireBurst ? images : 0);
    return call.send(response);
}

// ---- trigger mode ------------------------------------------------------------------------------

TQ4_TELEGRAM_HANDLER(GET_TRIGGER_MODE) {
    const auto map = nodeMapOf(device);
    uint16_t mode = 0;
    const bool selectorWritable = isFeatureWritable(*map, "TriggerSelector");
    if (isAvailable(*map, "TriggerMode") && isAvailable(*map, "ExposureMode") && !selectorWritable) {
        if (triggerOn(*map)) mode = getEnum(*map, "ExposureMode") == "TriggerWidth" ? 3 : 2;
    } else if (selectorWritable) {
        if (setEnum(*map, "TriggerSelector", "FrameStart") && triggerOn(*map))
            mode = getEnum(*map, "TriggerSource") == "Software" ? 1 : 2;
        if (selectTrigger(*map, "ExposureActive") && triggerOn(*map)) mode = 3;
    }
    TQ4_LOG(kProgress, call.handle(), "%s: get ZEVO trigger mode: 0x%x", call.origin(), static_cast<unsigned>(mode));
    return answerValue(call, mode);
}

// 0 free run, 1 software, 2 external (Line0), 3 exposure by trigger width.
TQ4_TELEGRAM_HANDLER(SET_TRIGGER_MODE) {
    if (!call.requestHasAtLeast(kValueLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    disarm(device);
    const auto map = nodeMapOf(device);
    const uint16_t mode = call.request().u16(kValue);
    if (mode > 3) {
        TQ4_LOG(kError, call.handle(), "%s: Triggermode 0x%x not supported.", call.origin(),
                static_cast<unsigned>(mode));
        return ZEVO_ERROR_DRIVER_WRONGVALUE;
    }
    if (mode == 3) {
        if (getEnum(*map, "ExposureMode") == "Timed") setEnum(*map, "ExposureMode", "TriggerWidth");
    } else {
        if (getEnum(*map, "ExposureMode") == "TriggerWidth") setEnum(*map, "ExposureMode", "Timed");
        if (setEnum(*map, "TriggerSelector", "FrameStart")) {
            setEnum(*map, "TriggerMode", mode == 0 ? "Off" : "On");
            if (mode != 0) setEnum(*map, "TriggerSource", mode == 1 ? "Software" : "Line0");
        }
    }
    TQ4_LOG(kProgress, call.handle(), "%s: set ZEVO trigger mode: 0x%x", call.origin(), static_cast<unsigned>(mode));
    return answerValue(call, mode);
}

// ---- delay, exposure, frame rate -------------------------------------------------------------

TQ4_TELEGRAM_HANDLER(GET_DELAY_EXPOSURE_TIME) {
    return answerDelayExposure(call, delayExposureOf(device, *nodeMapOf(device), call.origin(), call.handle()), 0);
}

// The exposure within ExposureTime's limits, then the frame period that leaves the requested
// delay beside it. The answer is what the camera then holds, as the getter reports it.
TQ4_TELEGRAM_HANDLER(SET_DELAY_EXPOSURE_TIME) {
    if (!call.requestHasAtLeast(kDelayExposureLength)) return ZEVO_ERROR_DRIVER_WRONGVALUE;
    disarm(device);
    const auto map = nodeMapOf(device);
    const DelayExposure request{call.request().u32(kDelay), call.request().u32(kExposure)};
    const char* exposureUnit = unitText(device.exposureTimebase());
    const char* delayUnit = unitText(device.delayTimebase());
    double low = 0, high = 0;
    std::string unit;
    getFloat(*map, "ExposureTime", &low, &high, nullptr, &unit);
    const double wanted = units::convert(request.exposure, exposureUnit, unit);
    if (wanted < low || wanted > high) {
        const bool below = wanted < low;
        TQ4_LOG(kError, call.handle(),
                below ? "%s: new exposure time %.3f%s smaller min limit: %.3f%s"
                      : "%s: new exposure time %.3f%s greater max limit: %.3f%s",
                call.origin(), wanted, unit.c_str(), below ? low : high, unit.c_str());
        return answerDelayExposure(
            call, delayExposureOf(device, *map, "ZEVO_TELEGRAM::do_GET_DELAY_EXPOSURE_TIME", call.handle()),
            ZEVO_ERROR_TELEGRAM_OUTOFRANGE);
    }
    setFloat(*map, "ExposureTime", wanted);
    setFramePeriod(*map, readTiming(*map), units::convert(request.delay, delayUnit, "ns"), call.handle(), call.origin(),
                   request, exposureUnit, delayUnit);
    return answerDelayExposure(
        call, delayExposureOf(device, *map, "ZEVO_TELEGRAM::do_GET_DELAY_EXPOSURE_TIME", call.handle()), 0);
}

// Frame rate in mHz and exposure in ns, from the same frame-period model as the delay.
TQ4_TELEGRAM_HANDLER(GET_FRAMERATE) {
    const Timing t = readTiming(*nodeMapOf(device));
    const double period = cyclePeriodNs(t);
    Response response(call.code(), kFrameRateLength);
    response.putU16(kFrameRateStatus, 0);
    response.putU32(kFrameRate, units::truncatedU32(period > 0 ? 1e12 / period + 0.5 : 0));
    response.putU32(kFrameRateExposure, units::convertRounded(t.exposure, t.exposureUnit, "ns"));
    return call.send(response);
}

// The camera's cycle time (one frame period) as seconds and nanoseconds.
TQ4_TELEGRAM_HANDLER(GET_COC_RUNTIME) {
    const auto period = static_cast<uint64_t>(std::llround(cyclePeriodNs(readTiming(*nodeMapOf(device)))));
    Response response(call.code(), kCocRuntimeLength);
    response.putU32(kCocSeconds, static_cast<uint32_t>(period / 1000000000u));
    response.putU32(kCocNanoseconds, static_cast<uint32_t>(period % 1000000000u));
    return call.send(response);
}

}  // namespace ZEVO_TELEGRAM
