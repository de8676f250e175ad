#include "sim/Scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "stream/Timestamp.h"

namespace zevo {
namespace {

constexpr int kVariantCount = 4;
constexpr float kPedestal = 0.03f;  // black level kept after offset correction
constexpr float kFlatField = 0.6f;  // level of the white reference's field
constexpr int kCounterDigits = 8;

// 5 x 7 digits, one byte per row, bit 4 = leftmost column.
const uint8_t kGlyphs[10][7] = {
    {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}, {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},
    {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}, {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},
    {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}, {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},
    {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}, {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},
    {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}, {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C},
};

uint32_t maxCode(const PixelFormatInfo& f) { return (1u << f.bits) - 1; }

// The stored value of a code: shifted to the top of 16 bits for msb formats.
uint32_t storedCode(const PixelFormatInfo& f, uint32_t code) { return f.msb ? code << (16 - f.bits) : code; }

class PixelWriter {
public:
    PixelWriter(uint8_t* dst, size_t capacity, const ImageGeometry& g) : dst_(dst), capacity_(capacity), g_(g) {}
    void put(uint32_t x, uint32_t y, uint32_t code) const {
        if (x >= g_.width || y >= g_.height) return;
        const uint32_t bpp = bytesPerPixel(g_.format->bits);
        const size_t at = (size_t(y) * g_.width + x) * bpp;
        if (at + bpp > capacity_) return;
        const uint32_t v = storedCode(*g_.format, code);
        dst_[at] = uint8_t(v);
        if (bpp == 2) dst_[at + 1] = uint8_t(v >> 8);
    }

private:
    uint8_t* dst_;
    size_t capacity_;
    const ImageGeometry& g_;
};

// Draws `value` as decimal digits in a dark box with its top left corner at (x0, y0).
void drawNumber(const PixelWriter& out, const ImageGeometry& g, uint32_t x0, uint32_t y0, uint64_t value) {
    const uint32_t scale = std::max(1u, std::min(g.width, g.height) / 256);
    const uint32_t bright = maxCode(*g.format);
    char text[kCounterDigits + 1];
    for (int i = kCounterDigits - 1; i >= 0; --i, value /= 10) text[i] = char('0' + value % 10);
    for (uint32_t y = 0; y < 9 * scale; ++y)
        for (uint32_t x = 0; x < (6 * kCounterDigits + 1) * scale; ++x) {
            const uint32_t cx = x / scale, cy = y / scale;
            const uint32_t digit = (cx - 1) / 6, col = (cx - 1) % 6, row = cy - 1;
            const bool lit =
                cx >= 1 && cy >= 1 && row < 7 && col < 5 && (kGlyphs[text[digit] - '0'][row] >> (4 - col) & 1) != 0;
            out.put(x0 + x, y0 + y, lit ? bright : 0);
        }
}

// The camera's binary time stamp, in the driver's format: the frame counter, the local date and
// time and the microseconds of `timeNs` (since 1970) as BCD bytes in the first 14 pixels, each
// byte in the top 8 of the pixel's significant bits as the image data stores them.
void writeCameraStamp(uint8_t* dst, size_t bytes, const ImageGeometry& g, uint64_t frameId, uint64_t timeNs) {
    const tq4::stream::StampMoment moment = tq4::stream::stampMomentAt(frameId, timeNs);
    const uint32_t bpp = bytesPerPixel(g.format->bits);
    const unsigned significant = bpp == 2 && g.format->msb ? 16u : g.format->bits;
    tq4::stream::writeBinaryStamp(dst, bytes, tq4::stream::StampPixels{bpp, significant}, moment);
}

float correctedSignal(const SceneSettings& s, const SensorModel& sensor, uint32_t x, uint32_t y) {
    const float raw = sensor.raw(x, y, s.exposureScale);
    if (s.nuc == NucMode::Off || !s.black) return raw;
    const float offset = raw - s.black->level(x, y);
    if (s.nuc == NucMode::BlackOnly || !s.white) return offset + kPedestal;
    const float range = std::max(0.01f, s.white->level(x, y) - s.black->level(x, y));
    return offset * kFlatField / range + kPedestal;
}

std::vector<uint32_t> renderCodes(const SensorModel& sensor, const SceneSettings& s) {
    const ImageGeometry& g = s.geometry;
    std::vector<uint32_t> codes(size_t(g.width) * g.height);
    const float scale = float(maxCode(*g.format));
    for (uint32_t row = 0; row < g.height; ++row)
        for (uint32_t col = 0; col < g.width; ++col) {
            const uint32_t x0 = (g.offsetX + col) * g.binH, y0 = (g.offsetY + row) * g.binV;
            float sum = 0.f;
            for (uint32_t dy = 0; dy < g.binV; ++dy)
                for (uint32_t dx = 0; dx < g.binH; ++dx)
                    sum += correctedSignal(s, sensor, std::min(x0 + dx, kSensorWidthPx - 1),
                                           std::min(y0 + dy, kSensorHeightPx - 1));
            const float v = std::clamp(sum / float(g.binH * g.binV), 0.f, 1.f);
            codes[size_t(row) * g.width + col] = uint32_t(std::lround(v * scale));
        }
    return codes;
}

// Read and dark noise: roughly Gaussian (sum of two uniforms), a fraction of a percent.
std::vector<uint8_t> noisyVariant(const std::vector<uint32_t>& codes, const PixelFormatInfo& f, uint32_t seed) {
    const uint32_t bpp = bytesPerPixel(f.bits);
    const float sigma = std::max(0.7f, 0.004f * float(maxCode(f)));
    const int64_t top = int64_t(maxCode(f));
    std::vector<uint8_t> bytes(codes.size() * bpp);
    uint32_t state = seed * 2654435761u + 1;
    for (size_t i = 0; i < codes.size(); ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        const float n = (float(state & 0xFFFF) + float(state >> 16)) / 65535.f - 1.f;
        const int64_t code = std::clamp<int64_t>(int64_t(codes[i]) + int64_t(std::lround(n * sigma * 1.7f)), 0, top);
        const uint32_t v = storedCode(f, uint32_t(code));
        bytes[i * bpp] = uint8_t(v);
        if (bpp == 2) bytes[i * bpp + 1] = uint8_t(v >> 8);
    }
    return bytes;
}

}  // namespace

bool SceneSettings::operator==(const SceneSettings& o) const {
    const ImageGeometry &a = geometry, &b = o.geometry;
    return a.width == b.width && a.height == b.height && a.offsetX == b.offsetX && a.offsetY == b.offsetY &&
           a.binH == b.binH && a.binV == b.binV && a.format == b.format && exposureScale == o.exposureScale &&
           nuc == o.nuc && black == o.black && white == o.white;
}

std::shared_ptr<const SceneFrames> SceneFrames::render(const SensorModel& sensor, const SceneSettings& settings) {
    std::shared_ptr<SceneFrames> frames(new SceneFrames);
    frames->settings_ = settings;
    const std::vector<uint32_t> codes = renderCodes(sensor, settings);
    for (int v = 0; v < kVariantCount; ++v)
        frames->variants_.push_back(noisyVariant(codes, *settings.geometry.format, uint32_t(v + 1)));
    return frames;
}

size_t SceneFrames::fill(uint8_t* dst, size_t capacity, uint64_t frameId, TimestampMode stamp, uint64_t timeNs) const {
    const ImageGeometry& g = settings_.geometry;
    // Successive frames take the variants in a scrambled order so that the noise looks live.
    const std::vector<uint8_t>& src = variants_[(frameId * 3 + (frameId >> 2)) % variants_.size()];
    const size_t n = std::min(capacity, src.size());
    std::memcpy(dst, src.data(), n);
    const PixelWriter out(dst, n, g);
    const uint32_t margin = std::max(1u, std::min(g.width, g.height) / 64);
    const uint32_t boxHeight = 9 * std::max(1u, std::min(g.width, g.height) / 256);
    if (g.height > boxHeight + margin) drawNumber(out, g, margin, g.height - boxHeight - margin, frameId);
    if (stamp == TimestampMode::Binary || stamp == TimestampMode::AsciiBinary)
        writeCameraStamp(dst, n, g, frameId, timeNs);
    if (stamp == TimestampMode::Ascii || stamp == TimestampMode::AsciiBinary)
        drawNumber(out, g, margin, margin, frameId);
    return n;
}

}  // namespace zevo
