#include "sim/Camera.h"

#include "sim/CameraRegisters.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace zevo {
namespace {

constexpr int64_t kWidthInc = 8, kHeightInc = 4, kWidthMin = 16, kHeightMin = 8;
constexpr double kVerticalBlankRows = 16.0;
constexpr double kMinExposureUs = 10.0, kMaxExposureUs = 1000000.0;
constexpr double kMinFrameRate = 1.0;
constexpr double kNominalExposureUs = 5000.0;

// Full-frame rate per pixel format: what the sensor read-out and the link allow. One table,
// easy to correct; configuration keys max_fps.<format> override it.
double tableFps(const std::string& format) {
    if (format.rfind("Mono8", 0) == 0 || format.rfind("Mono10", 0) == 0 || format.rfind("Mono12", 0) == 0) return 125.0;
    if (format.rfind("Mono14", 0) == 0) return 110.0;
    return 100.0;  // Mono16
}

int64_t roundDown(int64_t v, int64_t inc) { return v / inc * inc; }

void requireValue(bool ok, const char* text) { require(ok, GC_ERR_INVALID_VALUE, text); }

}  // namespace

Camera::Camera(const Config& config, std::string serial, std::shared_ptr<const Description> description)
    : config_(config),
      serial_(std::move(serial)),
      description_(std::move(description)),
      sensor_(serialNumber()),
      thermal_(config) {
    s_.userId = config.identity.userDefinedName;
    if (!findPixelFormat(s_.pixelFormat) ||
        std::find(config.pixelFormats.begin(), config.pixelFormats.end(), format().name) == config.pixelFormats.end()) {
        const PixelFormatInfo* first =
            config.pixelFormats.empty() ? nullptr : findPixelFormat(config.pixelFormats.front());
        if (first) s_.pixelFormat = first->pfnc;
    }
    thermal_.setCooling(true, s_.coolingSetPoint, Clock::now());
    bindRegisters();
}

uint32_t Camera::serialNumber() const {
    try {
        return uint32_t(std::stoul(serial_));
    } catch (const std::exception&) {
        return 0;
    }
}

std::string Camera::userDefinedName() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return s_.userId;
}

void Camera::read(uint64_t address, void* buffer, size_t size) const {
    std::lock_guard<std::mutex> lock(mutex_);
    registers_.read(address, buffer, size);
}

void Camera::write(uint64_t address, const void* buffer, size_t size) {
    std::lock_guard<std::mutex> lock(mutex_);
    registers_.write(address, buffer, size);
}

void Camera::onDeviceClosed() {
    std::lock_guard<std::mutex> lock(mutex_);
    s_.acquiring = false;
    s_.locked = false;
}

// ---- image format ------------------------------------------------------------------------

int64_t Camera::widthMax() const { return roundDown(kSensorWidthPx / s_.binH, kWidthInc); }
int64_t Camera::heightMax() const { return roundDown(kSensorHeightPx / s_.binV, kHeightInc); }

void Camera::requireUnlocked() const {
    require(!s_.locked, GC_ERR_ACCESS_DENIED, "locked while TLParamsLocked is set");
}

void Camera::setWidth(int64_t v) {
    requireUnlocked();
    requireValue(v >= kWidthMin && v + s_.offsetX <= widthMax() && v % kWidthInc == 0, "Width out of range");
    s_.width = v;
}

void Camera::setHeight(int64_t v) {
    requireUnlocked();
    requireValue(v >= kHeightMin && v + s_.offsetY <= heightMax() && v % kHeightInc == 0, "Height out of range");
    s_.height = v;
}

void Camera::setOffsetX(int64_t v) {
    requireUnlocked();
    requireValue(v >= 0 && v + s_.width <= widthMax() && v % kWidthInc == 0, "OffsetX out of range");
    s_.offsetX = v;
}

void Camera::setOffsetY(int64_t v) {
    requireUnlocked();
    requireValue(v >= 0 && v + s_.height <= heightMax() && v % kHeightInc == 0, "OffsetY out of range");
    s_.offsetY = v;
}

// Binning keeps the region on the sensor where it can and shrinks it where it must.
void Camera::setBinning(int64_t& binning, int64_t v) {
    requireUnlocked();
    requireValue(v == 1 || v == 2, "binning is 1 or 2");
    const bool horizontal = &binning == &s_.binH;
    int64_t& size = horizontal ? s_.width : s_.height;
    int64_t& offset = horizontal ? s_.offsetX : s_.offsetY;
    const int64_t inc = horizontal ? kWidthInc : kHeightInc;
    const int64_t minimum = horizontal ? kWidthMin : kHeightMin;
    const int64_t old = binning;
    binning = v;
    const int64_t max = horizontal ? widthMax() : heightMax();
    size = std::clamp(roundDown(size * old / v, inc), minimum, max);
    offset = std::clamp(roundDown(offset * old / v, inc), int64_t(0), max - size);
}

void Camera::setPixelFormat(int64_t v) {
    requireUnlocked();
    const PixelFormatInfo* f = findPixelFormat(uint64_t(v));
    requireValue(
        f && std::find(config_.pixelFormats.begin(), config_.pixelFormats.end(), f->name) != config_.pixelFormats.end(),
        "pixel format not offered");
    requireValue(config_.refusedPixelFormats.count(f->name) == 0, "pixel format refused");
    s_.pixelFormat = f->pfnc;
}

const PixelFormatInfo& Camera::format() const { return *findPixelFormat(s_.pixelFormat); }

ImageGeometry Camera::geometry() const {
    ImageGeometry g;
    g.width = uint32_t(s_.width);
    g.height = uint32_t(s_.height);
    g.offsetX = uint32_t(s_.offsetX);
    g.offsetY = uint32_t(s_.offsetY);
    g.binH = uint32_t(s_.binH);
    g.binV = uint32_t(s_.binV);
    g.format = &format();
    return g;
}

size_t Camera::payloadSize() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return reportedPayload();
}

size_t Camera::reportedPayload() const { return config_.payloadSize.value_or(geometry().payload()); }

// ---- timing ------------------------------------------------------------------------------

double Camera::fullFrameFps() const {
    const std::string name = format().name;
    for (const std::string& key : {name, name.substr(0, name.find("msb"))}) {
        const auto it = config_.fullFrameFps.find(key);
        if (it != config_.fullFrameFps.end() && it->second > 0) return it->second;
    }
    return tableFps(name);
}

// Read-out time of the rows in use (binning is digital: all covered rows are read), and the
// exposure, which overlaps the read-out of the previous frame.
double Camera::minFramePeriodS() const {
    const double rowTime = 1.0 / (fullFrameFps() * (kSensorHeightPx + kVerticalBlankRows));
    const double readout = (double(s_.height * s_.binV) + kVerticalBlankRows) * rowTime;
    return std::min(1.0 / kMinFrameRate, std::max(readout, s_.exposureUs * 1e-6));
}

double Camera::framePeriodS() const {
    if (!s_.frameRateEnable) return minFramePeriodS();
    return 1.0 / std::min(s_.frameRate, maxFrameRate());
}

void Camera::setExposure(double us) {
    requireValue(us >= kMinExposureUs && us <= kMaxExposureUs, "ExposureTime out of range");
    s_.exposureUs = us;
}

// ---- triggers and acquisition ------------------------------------------------------------

uint64_t Camera::triggerCount(Selector selector) const {
    const Trigger& t = s_.triggers[selector];
    if (t.source == Software) return t.softwareCount;
    if (t.source == Line0 && config_.line0PeriodMs > 0 && s_.acquiring) {
        const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - s_.startTime);
        return uint64_t(elapsed.count()) / config_.line0PeriodMs;
    }
    return 0;
}

int Camera::activeFrameTrigger() const {
    for (Selector sel : {FrameStart, ExposureActive, FrameBurstStart})
        if (s_.triggers[sel].mode == 1) return sel;
    return -1;
}

// A software trigger fires the selected trigger only while it is on and listens to software.
// Frames asked for are counted at once, so that switching triggers later loses none.
void Camera::executeSoftwareTrigger() {
    Trigger& t = selectedTrigger();
    if (t.mode != 1 || t.source != Software) return;
    ++t.softwareCount;
    if (s_.triggerSelector == activeFrameTrigger()) s_.softwareFrames += framesPerTrigger(int(s_.triggerSelector));
}

void Camera::startAcquisition() {
    s_.acquiring = true;
    ++s_.epoch;
    s_.startTime = Clock::now();
    for (Trigger& t : s_.triggers) t.countAtStart = t.softwareCount;
}

AcquisitionSnapshot Camera::snapshot() const {
    std::lock_guard<std::mutex> lock(mutex_);
    AcquisitionSnapshot a;
    a.acquiring = s_.acquiring;
    a.epoch = s_.epoch;
    a.startTime = s_.startTime;
    a.periodS = framePeriodS();
    a.unlimited = config_.unlimitedRate;
    const int frameTrigger = activeFrameTrigger();
    a.triggered = frameTrigger >= 0;
    a.requestedFrames = s_.softwareFrames;
    if (a.triggered && s_.triggers[size_t(frameTrigger)].source == Line0)
        a.requestedFrames += triggerCount(Selector(frameTrigger)) * framesPerTrigger(frameTrigger);
    const Trigger& gate = s_.triggers[AcquisitionActive];
    a.gateOpen = gate.mode != 1 || triggerCount(AcquisitionActive) > (gate.source == Software ? gate.countAtStart : 0);
    a.scene.geometry = geometry();
    a.scene.exposureScale = float(std::round(s_.exposureUs / kNominalExposureUs * 1000.0) / 1000.0);
    a.scene.nuc = NucMode(s_.nucMode);
    if (a.scene.nuc != NucMode::Off) a.scene.black = black_;
    if (a.scene.nuc == NucMode::Both) a.scene.white = white_;
    a.stamp = TimestampMode(s_.timestampMode);
    return a;
}

// ---- correction --------------------------------------------------------------------------

void Camera::setNucMode(int64_t v) {
    requireValue(v == 0 || (v == 1 && black_) || (v == 2 && black_ && white_), "NUCMode entry not available");
    s_.nucMode = v;
}

void Camera::createReference(Reference::Kind kind) {
    auto reference = std::make_shared<const Reference>(captureReference(sensor_, kind, format().bits, serialNumber()));
    (kind == Reference::Black ? black_ : white_) = std::move(reference);
}

void Camera::saveReferenceFile(Reference::Kind kind) const {
    const auto& reference = kind == Reference::Black ? black_ : white_;
    const std::string& path = kind == Reference::Black ? s_.blackPath : s_.whitePath;
    require(reference != nullptr, GC_ERR_NO_DATA, "no reference taken or loaded");
    require(!path.empty(), GC_ERR_INVALID_VALUE, "reference path is empty");
    saveReference(*reference, path);
}

void Camera::loadReferenceFile(Reference::Kind kind) {
    const std::string& path = kind == Reference::Black ? s_.blackPath : s_.whitePath;
    require(!path.empty(), GC_ERR_INVALID_VALUE, "reference path is empty");
    auto reference = std::make_shared<const Reference>(loadReference(path));
    require(reference->kind == kind, GC_ERR_INVALID_VALUE, "reference of the other kind");
    (kind == Reference::Black ? black_ : white_) = std::move(reference);
}

}  // namespace zevo
