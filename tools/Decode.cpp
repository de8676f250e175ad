#include "tools/Decode.h"
#include "log/Format.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tq4::tools {

namespace {

constexpr std::size_t kTextField = 40;
constexpr uint32_t kCoolingWarning = 0x8;

// Field access that never reads beyond the response.
class Fields {
public:
    explicit Fields(const Bytes& bytes) : bytes_(bytes) {}
    bool has(std::size_t offset, std::size_t width) const { return offset + width <= bytes_.size(); }
    uint16_t u16(std::size_t o) const { return u16At(bytes_, o); }
    int16_t s16(std::size_t o) const { return static_cast<int16_t>(u16(o)); }
    uint32_t u32(std::size_t o) const { return u32At(bytes_, o); }
    // Zero-terminated text in a field of `width` bytes.
    std::string text(std::size_t o, std::size_t width) const {
        if (!has(o, width)) return {};
        const char* start = reinterpret_cast<const char*>(bytes_.data() + o);
        return std::string(start, strnlen(start, width));
    }

private:
    const Bytes& bytes_;
};

std::vector<std::string> tooShort(const std::string& label, const Bytes& response, std::size_t needed) {
    return {tq4::formatText("%-16s response of %zu bytes, %zu expected", label.c_str(), response.size(), needed)};
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return (c >= 'a' && c <= 'f') ? c - 'a' + 10 : -1;
}

std::string withoutHexPrefix(const std::string& text) {
    return text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') ? text.substr(2) : text;
}

}  // namespace

uint16_t u16At(const Bytes& bytes, std::size_t o) {
    return o + 2 <= bytes.size() ? uint16_t(bytes[o] | (bytes[o + 1] << 8)) : 0;
}
uint32_t u32At(const Bytes& bytes, std::size_t o) {
    return uint32_t(u16At(bytes, o)) | (uint32_t(u16At(bytes, o + 2)) << 16);
}

std::string hexBytes(const Bytes& bytes) {
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); ++i) out += tq4::formatText(i ? " %02x" : "%02x", bytes[i]);
    return out;
}

bool parseHexBytes(const std::string& text, Bytes& out) {
    std::string digits;
    for (char c : withoutHexPrefix(text)) {
        if (std::isspace(static_cast<unsigned char>(c))) continue;
        if (hexDigit(c) < 0) return false;
        digits += c;
    }
    if (digits.size() % 2 != 0) return false;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        out.push_back(static_cast<uint8_t>(hexDigit(digits[i]) * 16 + hexDigit(digits[i + 1])));
    return true;
}

bool parseCode(const std::string& text, uint16_t& code) {
    const std::string digits = withoutHexPrefix(text);
    if (digits.size() != 4) return false;
    unsigned value = 0;
    for (char c : digits) {
        const int d = hexDigit(c);
        if (d < 0) return false;
        value = value * 16 + unsigned(d);
    }
    code = static_cast<uint16_t>(value);
    return true;
}

std::vector<std::string> decodeCameraType(const Bytes& response) {
    const Fields f(response);
    if (!f.has(20, 2)) return tooShort("camera type", response, 23);
    return {tq4::formatText("%-16s 0x%08X", "camera type", f.u32(4)), tq4::formatText("%-16s %u", "serial", f.u32(8)),
            tq4::formatText("%-16s %u", "hardware", f.u32(12)), tq4::formatText("%-16s %u", "firmware", f.u32(16)),
            tq4::formatText("%-16s %u", "interface type", f.u16(20))};
}

std::vector<std::string> decodeText(const std::string& label, const Bytes& response) {
    const Fields f(response);
    if (!f.has(4, kTextField)) return tooShort(label, response, 45);
    return {tq4::formatText("%-16s %s", label.c_str(), f.text(4, kTextField).c_str())};
}

std::vector<std::string> decodeHardwareVersions(const Bytes& response) {
    constexpr std::size_t kBoard = 22;
    const Fields f(response);
    if (!f.has(4, 2)) return tooShort("hardware boards", response, 29);
    const unsigned boards = f.u16(4);
    std::vector<std::string> lines = {tq4::formatText("%-16s %u", "hardware boards", boards)};
    for (unsigned i = 0; i < boards && f.has(6 + (i + 1) * kBoard - 1, 1); ++i) {
        const std::size_t o = 6 + i * kBoard;
        lines.push_back(tq4::formatText("  %-14s batch %u, revision %u, variant %u", f.text(o, 16).c_str(),
                                        f.u16(o + 16), f.u16(o + 18), f.u16(o + 20)));
    }
    return lines;
}

std::vector<std::string> decodeFirmwareVersions(const Bytes& response) {
    constexpr std::size_t kEntry = 40;
    const Fields f(response);
    if (!f.has(44, 2)) return tooShort("firmware", response, 207);
    std::vector<std::string> lines = {tq4::formatText("%-16s %s", "firmware", f.text(4, kTextField).c_str())};
    const unsigned entries = f.u16(44);
    for (unsigned i = 0; i < entries && f.has(46 + (i + 1) * kEntry - 1, 1); ++i) {
        const std::size_t o = 46 + i * kEntry;
        lines.push_back(tq4::formatText("  %-14s %s (%u.%u)", f.text(o, 16).c_str(), f.text(o + 16, 20).c_str(),
                                        f.u16(o + 36), f.u16(o + 38)));
    }
    return lines;
}

std::vector<std::string> decodeTemperature(const Bytes& response) {
    const Fields f(response);
    if (!f.has(8, 2)) return tooShort("temperature", response, 11);
    const int sensorTenths = f.s16(4);
    return {tq4::formatText("%-16s sensor %s%d.%d C, board %d C, power unit %d C", "temperature",
                            sensorTenths < 0 ? "-" : "", std::abs(sensorTenths) / 10, std::abs(sensorTenths) % 10,
                            f.s16(6), f.s16(8))};
}

std::vector<std::string> decodeCoolingSetpoint(const Bytes& response) {
    const Fields f(response);
    if (!f.has(4, 2)) return tooShort("cooling", response, 7);
    return {tq4::formatText("%-16s set point %d C", "cooling", f.s16(4))};
}

std::vector<std::string> decodeHealth(const Bytes& response) {
    const Fields f(response);
    if (!f.has(12, 4)) return tooShort("health", response, 17);
    const uint32_t warnings = f.u32(4);
    return {tq4::formatText("%-16s warnings 0x%08X%s, errors 0x%08X, status 0x%08X", "health", warnings,
                            (warnings & kCoolingWarning) ? " (cooling set point not reached)" : "", f.u32(8),
                            f.u32(12))};
}

}  // namespace tq4::tools
