#include "sim/SensorModel.h"

#include <cmath>
#include <cstring>
#include <fstream>

namespace zevo {
namespace {

const PixelFormatInfo kPixelFormats[] = {
    {"Mono8", 0x01080001, 8, false},     {"Mono10", 0x01100003, 10, false},   {"Mono12", 0x01100005, 12, false},
    {"Mono14", 0x01100025, 14, false},   {"Mono16", 0x01100007, 16, false},   {"Mono10msb", 0x81100003, 10, true},
    {"Mono12msb", 0x81100005, 12, true}, {"Mono14msb", 0x81100025, 14, true}, {"Mono16msb", 0x81100007, 16, true},
};

uint32_t mix(uint32_t h) {
    h ^= h >> 16;
    h *= 0x85ebca6bu;
    h ^= h >> 13;
    h *= 0xc2b2ae35u;
    h ^= h >> 16;
    return h;
}

float smoothStep(float edge0, float edge1, float x) {
    const float t = std::fmin(1.f, std::fmax(0.f, (x - edge0) / (edge1 - edge0)));
    return t * t * (3.f - 2.f * t);
}

constexpr char kMagic[8] = {'Z', 'V', 'N', 'U', 'C', 'R', 'E', 'F'};
constexpr uint32_t kFormatVersion = 1;
constexpr size_t kHeaderSize = 32;

void put32(std::vector<char>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(char((v >> (8 * i)) & 0xFF));
}

uint32_t get32(const std::vector<char>& in, size_t at) {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= uint32_t(uint8_t(in[at + i])) << (8 * i);
    return v;
}

}  // namespace

const PixelFormatInfo* findPixelFormat(uint64_t pfnc) {
    for (const auto& f : kPixelFormats)
        if (f.pfnc == pfnc) return &f;
    return nullptr;
}

const PixelFormatInfo* findPixelFormat(const std::string& name) {
    for (const auto& f : kPixelFormats)
        if (name == f.name) return &f;
    return nullptr;
}

float SensorModel::hash01(uint32_t a, uint32_t b) const {
    return float(mix(a * 0x9E3779B1u ^ mix(b + seed_ * 0x632BE5ABu)) >> 8) / float(1u << 24);
}

float SensorModel::darkLevel(uint32_t x, uint32_t y) const {
    const float column = hash01(x, 0xC011u);
    const float pixel = hash01(x, y);
    const float hot = pixel > 0.9996f ? 0.35f : 0.f;
    return 0.035f + 0.006f * column + 0.004f * pixel + hot;
}

float SensorModel::gain(uint32_t x, uint32_t y) const {
    const float column = hash01(x, 0x6A1Au) - 0.5f;
    const float pixel = hash01(y, x ^ 0x5EEDu) - 0.5f;
    return 1.f + 0.05f * column + 0.04f * pixel;
}

float SensorModel::sceneRadiance(float u, float v) {
    float value = 0.22f + 0.16f * u + 0.08f * v;  // warm to cool background
    const float du = u - 0.70f, dv = (v - 0.34f) * 1.25f;
    value += 0.55f * (1.f - smoothStep(0.10f, 0.13f, std::sqrt(du * du + dv * dv)));  // hot disc
    if (u > 0.08f && u < 0.44f && v > 0.56f && v < 0.86f) {                           // bar target
        const float frequency = 6.f + 40.f * (v - 0.56f);
        value = std::sin(u * frequency * 6.2831853f) > 0.f ? 0.72f : 0.12f;
    }
    const bool inFrame = u > 0.52f && u < 0.88f && v > 0.62f && v < 0.90f;
    const bool inHole = u > 0.54f && u < 0.86f && v > 0.65f && v < 0.87f;
    if (inFrame && !inHole) value = 0.62f;  // window frame
    const float r2 = (u - 0.5f) * (u - 0.5f) + (v - 0.5f) * (v - 0.5f);
    return value * (1.f - 0.3f * r2);  // lens fall-off
}

Reference captureReference(const SensorModel& sensor, Reference::Kind kind, uint32_t bits, uint32_t serial) {
    Reference r;
    r.kind = kind;
    r.width = kSensorWidthPx;
    r.height = kSensorHeightPx;
    r.bits = bits;
    r.serial = serial;
    r.codes.resize(size_t(r.width) * r.height);
    const float maxCode = float((1u << bits) - 1);
    constexpr float kFlatField = 0.6f;
    for (uint32_t y = 0; y < r.height; ++y)
        for (uint32_t x = 0; x < r.width; ++x) {
            float level = sensor.darkLevel(x, y);
            if (kind == Reference::White) level += sensor.gain(x, y) * kFlatField;
            r.codes[size_t(y) * r.width + x] = uint16_t(std::lround(std::fmin(level, 1.f) * maxCode));
        }
    return r;
}

void saveReference(const Reference& reference, const std::string& path) {
    std::vector<char> bytes(kMagic, kMagic + sizeof(kMagic));
    for (uint32_t v : {kFormatVersion, uint32_t(reference.kind), reference.width, reference.height, reference.bits,
                       reference.serial})
        put32(bytes, v);
    const size_t dataBytes = reference.codes.size() * sizeof(uint16_t);
    bytes.resize(kHeaderSize + dataBytes);
    std::memcpy(bytes.data() + kHeaderSize, reference.codes.data(), dataBytes);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
    if (!out) throw GenTLError(GC_ERR_IO, "cannot write the reference file");
}

Reference loadReference(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw GenTLError(GC_ERR_IO, "cannot read the reference file");
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    require(bytes.size() >= kHeaderSize && std::memcmp(bytes.data(), kMagic, sizeof(kMagic)) == 0 &&
                get32(bytes, 8) == kFormatVersion,
            GC_ERR_INVALID_VALUE, "not a reference file");
    Reference r;
    r.kind = Reference::Kind(get32(bytes, 12));
    r.width = get32(bytes, 16);
    r.height = get32(bytes, 20);
    r.bits = get32(bytes, 24);
    r.serial = get32(bytes, 28);
    require(r.width == kSensorWidthPx && r.height == kSensorHeightPx && r.bits >= 8 && r.bits <= 16 &&
                bytes.size() == kHeaderSize + size_t(r.width) * r.height * 2,
            GC_ERR_INVALID_VALUE, "reference does not fit this sensor");
    r.codes.resize(size_t(r.width) * r.height);
    std::memcpy(r.codes.data(), bytes.data() + kHeaderSize, r.codes.size() * 2);
    return r;
}

}  // namespace zevo
