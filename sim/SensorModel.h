// The simulated sensor: 1296 x 1032 InGaAs pixels with a fixed pattern (dark offset and gain
// per pixel, column structure, a few hot pixels) seeded by the serial number, the scene it
// looks at, and the correction references taken from it.
#pragma once

#include "sim/Common.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zevo {

constexpr uint32_t kSensorWidthPx = 1296;
constexpr uint32_t kSensorHeightPx = 1032;

struct PixelFormatInfo {
    const char* name;
    uint64_t pfnc;
    uint32_t bits;  // significant bits
    bool msb;       // data shifted to the top of the 16-bit container
};
// Null when unknown.
const PixelFormatInfo* findPixelFormat(uint64_t pfnc);
const PixelFormatInfo* findPixelFormat(const std::string& name);
inline uint32_t bytesPerPixel(uint32_t bits) { return bits > 8 ? 2 : 1; }

class SensorModel {
public:
    explicit SensorModel(uint32_t seed) : seed_(seed) {}
    // Both as fractions of full scale.
    float darkLevel(uint32_t x, uint32_t y) const;
    float gain(uint32_t x, uint32_t y) const;
    // What the camera looks at, u and v from 0 to 1 across the sensor.
    static float sceneRadiance(float u, float v);
    // The raw sensor signal for a relative exposure (1 = nominal), before clipping.
    float raw(uint32_t x, uint32_t y, float exposureScale) const {
        return darkLevel(x, y) +
               gain(x, y) * sceneRadiance(float(x) / kSensorWidthPx, float(y) / kSensorHeightPx) * exposureScale;
    }

private:
    float hash01(uint32_t a, uint32_t b) const;
    uint32_t seed_;
};

// A correction reference at full sensor resolution, in codes of `bits` bits.
//
// File format (little-endian, no extension, named <serial>_b<bits> / <serial>_w<bits>):
//   0  char[8]  "ZVNUCREF"
//   8  u32      format version (1)
//   12 u32      kind (0 black, 1 white)
//   16 u32      width    20 u32 height    24 u32 bits    28 u32 serial number
//   32 u16[width*height] codes, row by row
struct Reference {
    enum Kind : uint32_t { Black = 0, White = 1 };
    Kind kind = Black;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bits = 0;
    uint32_t serial = 0;
    std::vector<uint16_t> codes;

    // The code rescaled to `bits` bits, as a fraction of full scale.
    float level(uint32_t x, uint32_t y) const { return float(codes[size_t(y) * width + x]) / float((1u << bits) - 1); }
};

// A black reference sees only the dark signal; a white one a flat, evenly lit field.
Reference captureReference(const SensorModel& sensor, Reference::Kind kind, uint32_t bits, uint32_t serial);
// Both throw GenTLError: GC_ERR_IO when the file cannot be written or read,
// GC_ERR_INVALID_VALUE when its content is not a reference of this sensor.
void saveReference(const Reference& reference, const std::string& path);
Reference loadReference(const std::string& path);

}  // namespace zevo
