// Building and sending response telegrams: the one place that knows how an answer is put
// together (code and size, payload, checksum, flag bits) and copied into the caller's buffer.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "telegram/Telegram.h"

namespace ZEVO_TELEGRAM {

class Response {
public:
    // A zeroed working telegram of `length` bytes with `code` and `length` in its header.
    Response(uint16_t code, uint16_t length);

    // The failure answer: `code` with error `error` at offset 4, 9 bytes.
    static Response failure(uint16_t code, uint32_t error);

    uint16_t length() const { return length_; }
    const uint8_t* bytes() const { return bytes_.data(); }

    void putU16(std::size_t offset, uint16_t value);
    void putS16(std::size_t offset, int16_t value) { putU16(offset, static_cast<uint16_t>(value)); }
    void putU32(std::size_t offset, uint32_t value);
    uint32_t u32(std::size_t offset) const;
    // `text` into a field of `fieldLength` bytes: at most fieldLength-1 characters, then zeros.
    void putText(std::size_t offset, const std::string& text, std::size_t fieldLength);
    // `count` bytes of `data` at `offset`.
    void putBytes(std::size_t offset, const uint8_t* data, std::size_t count);

    // Checksum over bytes 0 to length-2 with the code as it stands, then `flag` ORed into the
    // code. The checksum therefore covers the unflagged request code.
    void seal(uint16_t flag);
    // seal(flag), then copyTo(out, size_out): the ending of every answer.
    void sealInto(uint16_t flag, uint8_t* out, uint32_t size_out) {
        seal(flag);
        copyTo(out, size_out);
    }
    // Exactly `size_out` bytes into `out`: the telegram cut short when the buffer is smaller,
    // zeros after it when the buffer is larger.
    void copyTo(uint8_t* out, uint32_t size_out) const;

private:
    bool fits(std::size_t offset, std::size_t width) const { return offset + width <= length_; }

    std::array<uint8_t, kMaxTelegramSize> bytes_{};
    uint16_t length_;
};

// One handler call as the common pattern sees it: the handler's name for log lines, the
// caller's handle, the request and the caller's response buffer.
class Call {
public:
    Call(const char* origin, const void* handle, const uint8_t* tele_in, int32_t size_in, uint8_t* tele_out,
         uint32_t size_out)
        : origin_(origin), handle_(handle), request_(tele_in, size_in), out_(tele_out), sizeOut_(size_out) {}

    const char* origin() const { return origin_; }
    const void* handle() const { return handle_; }
    const Request& request() const { return request_; }
    uint16_t code() const { return request_.code(); }

    // The length check of handlers that read request fields: when `size_in` is below `needed`
    // it logs (class 1) "<origin>: size_in %d smaller than expected: 8." and returns false;
    // the handler then answers nothing and returns ZEVO_ERROR_DRIVER_WRONGVALUE. The number
    // printed is 8 whatever `needed` is: the message reads as the protocol's users know it.
    bool requestHasAtLeast(int32_t needed) const;

    // The common ending: when the caller's buffer is short it logs (class 1)
    // "<origin>: size_out %d smaller than size of response: %d.", then seals the response with
    // `flag`, copies exactly size_out bytes and returns `result`.
    uint32_t send(Response& response, uint16_t flag = kSuccessFlag, uint32_t result = 0) const;
    // The 9-byte failure answer carrying `error`; returns `error`.
    uint32_t sendFailure(uint32_t error) const;
    // The answer shared by every code the driver does not carry out, whichever handler gives
    // it: the failure answer with ZEVO_ERROR_TELEGRAM_NOTSUPPORTED under no handler's name (a
    // short buffer is reported as " size_out %d smaller than size of response: %d."), then
    // (class 32) " Unsupported command code: 0x%04X, size: %d". Returns
    // ZEVO_ERROR_TELEGRAM_NOTSUPPORTED.
    uint32_t sendUnsupported() const;

private:
    const char* origin_;
    const void* handle_;
    Request request_;
    uint8_t* out_;
    uint32_t sizeOut_;
};

}  // namespace ZEVO_TELEGRAM
