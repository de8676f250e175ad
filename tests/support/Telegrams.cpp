#include "support/Telegrams.h"

#include "telegram/Telegram.h"

namespace tq4::test {

Bytes telegram(uint16_t code, const Bytes& payload) { return ZEVO_TELEGRAM::buildRequest(code, payload); }

Bytes valueTelegram(uint16_t code, uint16_t value) { return telegram(code, u16Bytes(value)); }

Bytes u16Bytes(uint16_t value) { return {uint8_t(value), uint8_t(value >> 8)}; }

Bytes u32Bytes(uint32_t value) {
    return {uint8_t(value), uint8_t(value >> 8), uint8_t(value >> 16), uint8_t(value >> 24)};
}

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

uint16_t u16At(const Bytes& b, std::size_t o) { return uint16_t(b.at(o) | (b.at(o + 1) << 8)); }
int16_t s16At(const Bytes& b, std::size_t o) { return int16_t(u16At(b, o)); }
uint32_t u32At(const Bytes& b, std::size_t o) { return u16At(b, o) | (uint32_t(u16At(b, o + 2)) << 16); }

std::string textAt(const Bytes& b, std::size_t offset, std::size_t field) {
    std::string text(reinterpret_cast<const char*>(b.data() + offset), field);
    return text.substr(0, text.find('\0'));
}

uint8_t checksumWithoutFlags(const Bytes& response) {
    Bytes unflagged(response.begin(), response.begin() + u16At(response, 2));
    unflagged[0] = uint8_t(unflagged[0] & ~0xC0);
    return ZEVO_TELEGRAM::checksumOf(unflagged.data(), unflagged.size() - 1);
}

}  // namespace tq4::test
