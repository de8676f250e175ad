#include "tools/Settings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "tools/Decode.h"
#include "tools/ResultNames.h"

namespace tq4::tools {

namespace {

constexpr uint16_t kMicroseconds = 1;
const std::vector<std::string> kTriggerModes = {"auto", "software", "external", "width"};
const std::vector<std::string> kTimestampModes = {"none", "binary", "both", "readable"};
const std::vector<std::string> kAlignments = {"msb", "lsb"};

// Little-endian payloads: `count` bytes of each value in turn.
template <typename T>
Bytes payloadOf(std::initializer_list<T> values) {
    Bytes bytes;
    for (T v : values)
        for (std::size_t i = 0; i < sizeof(T); ++i) bytes.push_back(uint8_t(v >> (8 * i)));
    return bytes;
}
Bytes u16Payload(std::initializer_list<uint16_t> values) { return payloadOf(values); }
Bytes u32Payload(std::initializer_list<uint32_t> values) { return payloadOf(values); }

// A time with its unit ("10ms", "250 us", "1s", "800ns"; a bare number is microseconds) in
// microseconds; false when it is not one.
bool parseMicroseconds(const std::string& text, double& microseconds) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    std::string unit(end);
    while (!unit.empty() && unit.front() == ' ') unit.erase(0, 1);
    double factor = 0;
    if (unit.empty() || unit == "us")
        factor = 1;
    else if (unit == "ns")
        factor = 1e-3;
    else if (unit == "ms")
        factor = 1e3;
    else if (unit == "s")
        factor = 1e6;
    microseconds = value * factor;
    return end != text.c_str() && factor != 0 && microseconds >= 0;
}

std::string readableTime(double microseconds) {
    char text[32];
    if (microseconds >= 1e6)
        std::snprintf(text, sizeof text, "%g s", microseconds / 1e6);
    else if (microseconds >= 1e3)
        std::snprintf(text, sizeof text, "%g ms", microseconds / 1e3);
    else
        std::snprintf(text, sizeof text, "%g us", microseconds);
    return text;
}

// The camera's limits of a time in microseconds, from GET_CAMERA_DESCRIPTION: minimum in ns,
// maximum in ms at the given offsets.
struct TimeRange {
    double low = 0, high = 4294967295.0;
};
TimeRange timeRange(const Bytes& description, std::size_t minNs, std::size_t maxMs) {
    TimeRange range;
    if (description.size() < maxMs + 4) return range;
    range.low = u32At(description, minNs) / 1e3;
    range.high = std::min(range.high, u32At(description, maxMs) * 1e3);
    return range;
}

// The time of `option` within the camera's range, in whole microseconds; false with the reason
// told.
bool timeWithin(const std::string& option, const std::string& text, const TimeRange& range, uint32_t& microseconds) {
    double us = 0;
    if (!parseMicroseconds(text, us)) {
        complain("a time is a number with ns, us, ms or s, e.g. 10ms");
        return false;
    }
    if (us < range.low || us > range.high) {
        complain(option + " " + text + " is out of range: the camera takes " + readableTime(range.low) + " to " +
                 readableTime(range.high));
        return false;
    }
    microseconds = static_cast<uint32_t>(std::llround(us));
    return true;
}

bool indexOf(const std::vector<std::string>& names, const std::string& name, uint16_t& index) {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == name) {
            index = static_cast<uint16_t>(i);
            return true;
        }
    return false;
}

std::string nameOf(const std::vector<std::string>& names, uint16_t index) {
    return index < names.size() ? names[index] : std::to_string(index);
}

// One telegram; a refusal is reported with what was being done.
bool sendChecked(CameraSession& camera, const char* what, uint16_t code, const Bytes& payload,
                 Bytes* response = nullptr) {
    const CameraSession::Exchange exchange = camera.send(code, payload);
    if (response) *response = exchange.response;
    if (exchange.result == 0) return true;
    complain(std::string(what) + ": the driver answered " + describeResult(exchange.result));
    return false;
}

// The fields (`width` bytes each) of an answer that reports what the camera holds after a
// setting: false with what it holds when they are not what was asked for. `close` says whether
// a held value counts as the asked one.
bool heldAsAsked(const std::string& asked, const Bytes& response, std::size_t width,
                 const std::vector<std::size_t>& offsets, const std::vector<uint32_t>& wanted,
                 const std::function<std::string(uint32_t)>& name = nullptr,
                 const std::function<bool(uint32_t, uint32_t)>& close = std::equal_to<uint32_t>()) {
    std::string held;
    bool same = true;
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        const uint32_t value = width == 4 ? u32At(response, offsets[i]) : u16At(response, offsets[i]);
        same = same && close(value, wanted[i]);
        held += (i ? "," : "") + (name ? name(value) : std::to_string(value));
    }
    if (!same) complain(asked + " was not taken: the camera holds " + held);
    return same;
}

bool applyTimes(CameraSession& camera, const CameraSettings& settings) {
    Bytes description;
    if (!sendChecked(camera, "reading the camera's limits", GET_CAMERA_DESCRIPTION, {}, &description)) return false;
    uint32_t delay = 0, exposure = 0;
    constexpr std::size_t kMinDelayNs = 58, kMaxDelayMs = 62, kMinExposureNs = 70, kMaxExposureMs = 74;
    if ((settings.delay &&
         !timeWithin("--delay", *settings.delay, timeRange(description, kMinDelayNs, kMaxDelayMs), delay)) ||
        (settings.exposure && !timeWithin("--exposure", *settings.exposure,
                                          timeRange(description, kMinExposureNs, kMaxExposureMs), exposure)))
        return false;
    Bytes current;
    if (!sendChecked(camera, "setting the timebases", SET_TIMEBASE, u16Payload({kMicroseconds, kMicroseconds})) ||
        !sendChecked(camera, "reading the times", GET_DELAY_EXPOSURE_TIME, {}, &current))
        return false;
    if (!settings.delay) delay = u32At(current, 4);
    if (!settings.exposure) exposure = u32At(current, 8);
    // The camera may round a time to its own step: within 1 % it counts as taken.
    const auto near = [](uint32_t held, uint32_t wanted) {
        return std::abs(double(held) - wanted) <= 1 + wanted / 100.0;
    };
    const auto us = [](uint32_t value) { return std::to_string(value) + " us"; };
    return sendChecked(camera, "setting delay and exposure", SET_DELAY_EXPOSURE_TIME, u32Payload({delay, exposure})) &&
           heldAsAsked("delay " + us(delay) + " and exposure " + us(exposure),
                       camera.send(GET_DELAY_EXPOSURE_TIME).response, 4, {4, 8}, {delay, exposure}, us, near);
}

bool applyRoi(CameraSession& camera, const std::string& text) {
    unsigned x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    char rest = 0;
    if (std::sscanf(text.c_str(), "%u,%u,%u,%u%c", &x0, &y0, &x1, &y1, &rest) != 4 || x0 > 65535 || y0 > 65535 ||
        x1 > 65535 || y1 > 65535) {
        complain("--roi takes X0,Y0,X1,Y1 (first and last column and row, from 1)");
        return false;
    }
    // SET_ROI answers with the region the camera holds afterwards.
    Bytes held;
    return sendChecked(camera, "setting the region", SET_ROI,
                       u16Payload({uint16_t(x0), uint16_t(y0), uint16_t(x1), uint16_t(y1)}), &held) &&
           heldAsAsked("--roi " + text, held, 2, {4, 6, 8, 10}, {x0, y0, x1, y1});
}

bool applyNamed(CameraSession& camera, const char* what, const std::vector<std::string>& names, const std::string& name,
                uint16_t code, uint16_t getCode) {
    uint16_t index = 0;
    if (!indexOf(names, name, index)) {
        std::string list;
        for (const std::string& n : names) list += (list.empty() ? "" : ", ") + n;
        complain(std::string(what) + " is one of " + list);
        return false;
    }
    return sendChecked(camera, what, code, u16Payload({index})) &&
           heldAsAsked(std::string(what) + " " + name, camera.send(getCode).response, 2, {4}, {index},
                       [&](uint32_t held) { return nameOf(names, uint16_t(held)); });
}

// SET_BINNING answers with the factors the camera holds afterwards: a factor it does not offer
// leaves them as they were, without an error.
bool applyBinning(CameraSession& camera, uint16_t factor) {
    Bytes held;
    return sendChecked(camera, "setting the binning", SET_BINNING, u16Payload({factor}), &held) &&
           heldAsAsked("--binning " + std::to_string(factor), held, 2, {4, 6}, {factor, factor});
}

}  // namespace

bool applySettings(CameraSession& camera, const CameraSettings& s) {
    bool ok = true;
    if (s.roi) ok = applyRoi(camera, *s.roi) && ok;
    if (s.binning) ok = applyBinning(camera, *s.binning) && ok;
    if (s.exposure || s.delay) ok = applyTimes(camera, s) && ok;
    if (s.trigger)
        ok = applyNamed(camera, "trigger", kTriggerModes, *s.trigger, SET_TRIGGER_MODE, GET_TRIGGER_MODE) && ok;
    if (s.timestamp)
        ok = applyNamed(camera, "timestamp", kTimestampModes, *s.timestamp, SET_TIMESTAMP_MODE, GET_TIMESTAMP_MODE) &&
             ok;
    if (s.bitAlignment)
        ok = applyNamed(camera, "bit alignment", kAlignments, *s.bitAlignment, SET_BIT_ALIGNMENT, GET_BIT_ALIGNMENT) &&
             ok;
    return ok;
}

bool readGeometry(CameraSession& camera, Geometry& g) {
    uint8_t record[48] = {};
    const uint32_t result = camera.library().getImageTransferMode(camera.handle(), record, sizeof record);
    if (result != 0) {
        complain("Get_Image_Transfer_Mode: " + describeResult(result));
        return false;
    }
    g.width = uint32_t(record[4] | (record[5] << 8));
    g.height = uint32_t(record[6] | (record[7] << 8));
    g.bits = u16At(camera.send(GET_CAMERA_DESCRIPTION).response, 16);
    g.msbAligned = u16At(camera.send(GET_BIT_ALIGNMENT).response, 4) == 0;
    g.bytesPerPixel = (g.bits + 7) / 8;
    if (g.width == 0 || g.height == 0 || g.bytesPerPixel == 0 || g.bytesPerPixel > 2) {
        complain("the camera reports an image of " + std::to_string(g.width) + " x " + std::to_string(g.height) +
                 " with " + std::to_string(g.bits) + " bits");
        return false;
    }
    return true;
}

bool readImageStamp(const uint8_t* image, std::size_t bytes, const Geometry& g, stream::StampMoment& moment) {
    const unsigned significant = g.bytesPerPixel == 2 && g.msbAligned ? 16 : g.bits;
    return stream::readBinaryStamp(image, bytes, stream::StampPixels{g.bytesPerPixel, significant}, moment);
}

bool startRecording(CameraSession& camera) {
    for (const auto& [code, payload, what] : {std::tuple{uint16_t(ARM_CAMERA), Bytes{}, "arming the camera"},
                                              std::tuple{uint16_t(SET_RECORDING_STATE), Bytes{1, 0}, "recording"}}) {
        const CameraSession::Exchange exchange = camera.send(code, payload);
        if (exchange.result != 0) {
            complain(std::string(what) + ": the driver answered " + describeResult(exchange.result));
            return false;
        }
    }
    return true;
}

uint32_t frameRateMilliHertz(CameraSession& camera) {
    const CameraSession::Exchange exchange = camera.send(GET_FRAMERATE);
    return exchange.result == 0 ? u32At(exchange.response, 6) : 0;
}

void printSettings(CameraSession& camera) {
    const auto get = [&](uint16_t code) { return camera.send(code).response; };
    const Bytes timebase = get(GET_TIMEBASE), times = get(GET_DELAY_EXPOSURE_TIME), rate = get(GET_FRAMERATE);
    const char* units[] = {"ns", "us", "ms"};
    const auto unit = [&](uint16_t base) { return base < 3 ? units[base] : "?"; };
    std::printf("%-16s %u %s\n", "exposure", u32At(times, 8), unit(u16At(timebase, 6)));
    std::printf("%-16s %u %s\n", "delay", u32At(times, 4), unit(u16At(timebase, 4)));
    std::printf("%-16s %.3f Hz\n", "frame rate", u32At(rate, 6) / 1000.0);
    const Bytes roi = get(GET_ROI), binning = get(GET_BINNING);
    std::printf("%-16s %u,%u - %u,%u (%u x %u)\n", "region", u16At(roi, 4), u16At(roi, 6), u16At(roi, 8),
                u16At(roi, 10), u16At(roi, 8) - u16At(roi, 4) + 1u, u16At(roi, 10) - u16At(roi, 6) + 1u);
    std::printf("%-16s %u x %u\n", "binning", u16At(binning, 6), u16At(binning, 4));
    std::printf("%-16s %s\n", "trigger", nameOf(kTriggerModes, u16At(get(GET_TRIGGER_MODE), 4)).c_str());
    std::printf("%-16s %s\n", "timestamp", nameOf(kTimestampModes, u16At(get(GET_TIMESTAMP_MODE), 4)).c_str());
    std::printf("%-16s %s\n", "bit alignment", nameOf(kAlignments, u16At(get(GET_BIT_ALIGNMENT), 4)).c_str());
}

}  // namespace tq4::tools
