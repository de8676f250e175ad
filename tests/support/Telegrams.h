// Request telegrams as a caller builds them, and the fields of an answer read back (tests and
// benchmarks).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "telegram/Telegram.h"

namespace tq4::test {

using Bytes = std::vector<uint8_t>;

// A request telegram: code, size, payload, checksum.
inline Bytes telegram(uint16_t code, const Bytes& payload = {}) { return ZEVO_TELEGRAM::buildRequest(code, payload); }
inline Bytes u16Bytes(uint16_t value) { return {uint8_t(value), uint8_t(value >> 8)}; }
inline Bytes u32Bytes(uint32_t value) {
    return {uint8_t(value), uint8_t(value >> 8), uint8_t(value >> 16), uint8_t(value >> 24)};
}
// The 7-byte request with one u16 value at offset 4.
inline Bytes valueTelegram(uint16_t code, uint16_t value) { return telegram(code, u16Bytes(value)); }
// The request with a u16 value at offset 4 when `value` is not negative, else without payload.
inline Bytes request(uint16_t code, int value = -1) {
    return value < 0 ? telegram(code) : valueTelegram(code, uint16_t(value));
}
// The parts one after the other.
inline Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

inline uint16_t u16At(const Bytes& b, std::size_t o) { return uint16_t(b.at(o) | (b.at(o + 1) << 8)); }
inline int16_t s16At(const Bytes& b, std::size_t o) { return int16_t(u16At(b, o)); }
inline uint32_t u32At(const Bytes& b, std::size_t o) { return u16At(b, o) | (uint32_t(u16At(b, o + 2)) << 16); }
inline std::string textAt(const Bytes& b, std::size_t offset, std::size_t field) {
    std::string text(reinterpret_cast<const char*>(b.data() + offset), field);
    return text.substr(0, text.find('\0'));
}
// The 8-bit sum of bytes 0 to size-2 with the flag bits taken off the code.
inline uint8_t checksumWithoutFlags(const Bytes& response) {
    Bytes unflagged(response.begin(), response.begin() + u16At(response, 2));
    unflagged[0] = uint8_t(unflagged[0] & ~0xC0);
    return ZEVO_TELEGRAM::checksumOf(unflagged.data(), unflagged.size() - 1);
}

// What Control_Command returned, and the caller's whole response buffer.
struct Answer {
    uint32_t result = 0;
    Bytes bytes;
};

}  // namespace tq4::test
