// Images of the simulated camera. A scene is rendered once per set of image settings into a
// few noisy variants; each frame is then a copy of one variant with the frame counter (and the
// camera time stamp when switched on) stamped in, so filling runs at copy speed.
#pragma once

#include "sim/SensorModel.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zevo {

struct ImageGeometry {
    uint32_t width = kSensorWidthPx;
    uint32_t height = kSensorHeightPx;
    uint32_t offsetX = 0;
    uint32_t offsetY = 0;
    uint32_t binH = 1;
    uint32_t binV = 1;
    const PixelFormatInfo* format = nullptr;

    size_t payload() const { return size_t(width) * height * bytesPerPixel(format->bits); }
};

enum class NucMode : int64_t { Off = 0, BlackOnly = 1, Both = 2 };

struct SceneSettings {
    ImageGeometry geometry;
    float exposureScale = 1.f;  // exposure relative to the nominal 5 ms
    NucMode nuc = NucMode::Off;
    std::shared_ptr<const Reference> black;  // set when NUC uses it
    std::shared_ptr<const Reference> white;

    bool operator==(const SceneSettings& o) const;
    bool operator!=(const SceneSettings& o) const { return !(*this == o); }
};

enum class TimestampMode : int64_t { Off = 0, Binary = 1, AsciiBinary = 2, Ascii = 3 };

class SceneFrames {
public:
    static std::shared_ptr<const SceneFrames> render(const SensorModel& sensor, const SceneSettings& settings);

    const SceneSettings& settings() const { return settings_; }
    // Writes frame `frameId`, taken at `timeNs` (nanoseconds since 1970), into `dst`, at most
    // `capacity` bytes; returns the bytes written.
    size_t fill(uint8_t* dst, size_t capacity, uint64_t frameId, TimestampMode stamp, uint64_t timeNs) const;

private:
    SceneFrames() = default;
    SceneSettings settings_;
    std::vector<std::vector<uint8_t>> variants_;
};

}  // namespace zevo
