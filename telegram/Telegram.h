// The telegram frame shared by requests and responses: u16 code, u16 size (the whole telegram,
// checksum included), payload, u8 checksum (sum of the preceding bytes modulo 256); all fields
// little-endian and packed. This header holds the frame constants, the little-endian field
// access and the handler signature that every command handler shares.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tq4::gentl {
class Device;
}

namespace ZEVO_TELEGRAM {

using Device = tq4::gentl::Device;

class Call;

// Every handler: the device and the call (its name for log lines, the request telegram with
// the number of valid bytes, the caller's response buffer with its size). Returns the 32-bit
// error code (0 on success).
using Handler = uint32_t (*)(Device& device, const Call& call);

constexpr std::size_t kCodeOffset = 0;
constexpr std::size_t kSizeOffset = 2;
constexpr std::size_t kPayloadOffset = 4;
constexpr uint16_t kEmptyTelegramSize = 5;    // header and checksum, no payload
constexpr uint16_t kFailureTelegramSize = 9;  // header, u32 error code, checksum
constexpr std::size_t kMaxTelegramSize = 512;

constexpr uint16_t kSuccessFlag = 0x0080;
constexpr uint16_t kFailureFlag = 0x00C0;

inline uint16_t loadU16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline uint32_t loadU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}
inline void storeU16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void storeU32(uint8_t* p, uint32_t v) {
    storeU16(p, static_cast<uint16_t>(v));
    storeU16(p + 2, static_cast<uint16_t>(v >> 16));
}

// The checksum of a telegram whose first `count` bytes precede it: their sum modulo 256.
inline uint8_t checksumOf(const uint8_t* bytes, std::size_t count) {
    uint8_t sum = 0;
    for (std::size_t i = 0; i < count; ++i) sum = static_cast<uint8_t>(sum + bytes[i]);
    return sum;
}

// A request telegram as a caller builds it: code, size, payload, checksum.
inline std::vector<uint8_t> buildRequest(uint16_t code, const std::vector<uint8_t>& payload = {}) {
    std::vector<uint8_t> t(payload.size() + kEmptyTelegramSize, 0);
    storeU16(t.data() + kCodeOffset, code);
    storeU16(t.data() + kSizeOffset, static_cast<uint16_t>(t.size()));
    for (std::size_t i = 0; i < payload.size(); ++i) t[kPayloadOffset + i] = payload[i];
    t.back() = checksumOf(t.data(), t.size() - 1);
    return t;
}

// Read-only view of a request telegram. Fields are read only from the `size_in` valid bytes:
// a field that reaches beyond them reads as 0, so a handler that takes an optional field never
// looks past the caller's data.
class Request {
public:
    Request(const uint8_t* data, int32_t sizeIn) : data_(data), sizeIn_(sizeIn) {}

    uint16_t code() const { return u16(kCodeOffset); }
    uint16_t size() const { return u16(kSizeOffset); }
    uint16_t u16(std::size_t offset) const { return fits(offset, 2) ? loadU16(data_ + offset) : 0; }
    int16_t s16(std::size_t offset) const { return static_cast<int16_t>(u16(offset)); }
    uint32_t u32(std::size_t offset) const { return fits(offset, 4) ? loadU32(data_ + offset) : 0; }
    const uint8_t* bytes() const { return data_; }
    int32_t sizeIn() const { return sizeIn_; }

private:
    bool fits(std::size_t offset, std::size_t width) const {
        return data_ != nullptr && sizeIn_ >= 0 && offset + width <= static_cast<std::size_t>(sizeIn_);
    }
    const uint8_t* data_;
    int32_t sizeIn_;
};

}  // namespace ZEVO_TELEGRAM
