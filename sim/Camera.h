// The simulated camera behind one device: its settings and their limits, the register port
// through which the camera description's features reach them, acquisition and trigger state,
// temperatures, and the correction references. Thread-safe: one lock around everything.
#pragma once

#include "sim/Config.h"
#include "sim/Description.h"
#include "sim/RegisterMap.h"
#include "sim/Scene.h"
#include "sim/Thermal.h"

#include <array>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

namespace zevo {

// What a data stream needs to know to produce its next frame.
struct AcquisitionSnapshot {
    bool acquiring = false;
    uint64_t epoch = 0;  // changes with every AcquisitionStart
    std::chrono::steady_clock::time_point startTime;
    double periodS = 0.02;         // free-running frame period
    bool unlimited = false;        // no pacing at all
    bool triggered = false;        // a frame trigger is on
    uint64_t requestedFrames = 0;  // frames its triggers asked for so far
    bool gateOpen = true;          // AcquisitionActive trigger satisfied
    SceneSettings scene;
    TimestampMode stamp = TimestampMode::Off;
};

class Camera {
public:
    using Clock = std::chrono::steady_clock;

    Camera(const Config& config, std::string serial, std::shared_ptr<const Description> description);

    const std::string& serial() const { return serial_; }
    const Identity& identity() const { return config_.identity; }
    std::string userDefinedName() const;
    const Description& description() const { return *description_; }
    const SensorModel& sensor() const { return sensor_; }

    // Register port of the remote device; throws GenTLError.
    void read(uint64_t address, void* buffer, size_t size) const;
    void write(uint64_t address, const void* buffer, size_t size);

    AcquisitionSnapshot snapshot() const;
    size_t payloadSize() const;
    // A device close ends acquisition and releases the transport lock.
    void onDeviceClosed();

private:
    enum Selector { FrameStart = 0, FrameBurstStart = 1, AcquisitionActive = 2, ExposureActive = 3 };
    enum Source { Software = 0, Line0 = 1, Line1 = 2 };
    struct Trigger {
        int64_t mode = 0;
        int64_t source = Software;
        int64_t activation = 0;
        uint64_t softwareCount = 0;
        uint64_t countAtStart = 0;
    };
    struct Line {
        int64_t source = 0;
        bool inverter = false;
    };
    struct Settings {
        int64_t width = 1296, height = 1032, offsetX = 0, offsetY = 0, binH = 1, binV = 1;
        uint64_t pixelFormat = 0x01100005;  // Mono12
        bool locked = false;
        bool acquiring = false;
        uint64_t epoch = 0;
        Clock::time_point startTime;
        double frameRate = 50.0;
        bool frameRateEnable = true;
        double exposureUs = 5000.0;
        int64_t exposureMode = 1, exposureAuto = 0, balanceWhiteAuto = 0;
        int64_t triggerSelector = FrameStart;
        std::array<Trigger, 4> triggers{};
        int64_t burstFrameCount = 1;
        int64_t lineSelector = 0;
        std::array<Line, 4> lines{};
        std::array<int64_t, 4> sensorIds{};  // Temp, Pressure, HumidityRel, HumidityAbs
        int64_t deviceTemperatureSelector = 0;
        int64_t coolingMode = 1;
        double coolingSetPoint = 15.0;
        int64_t fanMode = 2;
        int64_t timestampMode = 0;
        std::string userId;
        int64_t nucMode = 0;
        std::string blackPath, whitePath;
        uint64_t softwareFrames = 0;  // frames asked for by software frame triggers
    };

    // register bindings (CameraBindings.cpp)
    void bindRegisters();
    void bindIdentity();
    void bindImageFormat();
    void bindAcquisition();
    void bindIo();
    void bindSensors();
    void bindCoolingAndMisc();
    void bindCorrection();

    // image format
    int64_t widthMax() const;
    int64_t heightMax() const;
    void requireUnlocked() const;
    void setWidth(int64_t v);
    void setHeight(int64_t v);
    void setOffsetX(int64_t v);
    void setOffsetY(int64_t v);
    void setBinning(int64_t& binning, int64_t v);
    void setPixelFormat(int64_t v);
    const PixelFormatInfo& format() const;
    ImageGeometry geometry() const;
    size_t reportedPayload() const;  // the image's size unless configured otherwise
    // timing
    double fullFrameFps() const;
    double minFramePeriodS() const;
    double maxFrameRate() const { return 1.0 / minFramePeriodS(); }
    double framePeriodS() const;
    void setExposure(double us);
    // triggers
    Trigger& selectedTrigger() { return s_.triggers[size_t(s_.triggerSelector)]; }
    uint64_t triggerCount(Selector selector) const;
    // The trigger that decides when frames are taken, or -1 in free run.
    int activeFrameTrigger() const;
    uint64_t framesPerTrigger(int selector) const {
        return selector == FrameBurstStart ? uint64_t(s_.burstFrameCount) : 1;
    }
    void executeSoftwareTrigger();
    void startAcquisition();
    // correction
    void setNucMode(int64_t v);
    void createReference(Reference::Kind kind);
    void saveReferenceFile(Reference::Kind kind) const;
    void loadReferenceFile(Reference::Kind kind);
    uint32_t serialNumber() const;

    const Config& config_;
    const std::string serial_;
    std::shared_ptr<const Description> description_;
    SensorModel sensor_;
    Thermal thermal_;
    Settings s_;
    std::shared_ptr<const Reference> black_, white_;
    RegisterMap registers_;
    mutable std::mutex mutex_;
};

}  // namespace zevo
