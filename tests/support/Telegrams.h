// Request telegrams as a caller builds them, and the fields of an answer read back.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace tq4::test {

using Bytes = std::vector<uint8_t>;

// A request telegram: code, size, payload, checksum.
Bytes telegram(uint16_t code, const Bytes& payload = {});
// The 7-byte request with one u16 value at offset 4.
Bytes valueTelegram(uint16_t code, uint16_t value);
Bytes u16Bytes(uint16_t value);
Bytes u32Bytes(uint32_t value);
// The parts one after the other.
Bytes concat(std::initializer_list<Bytes> parts);

uint16_t u16At(const Bytes& b, std::size_t offset);
int16_t s16At(const Bytes& b, std::size_t offset);
uint32_t u32At(const Bytes& b, std::size_t offset);
std::string textAt(const Bytes& b, std::size_t offset, std::size_t field);
// The 8-bit sum of bytes 0 to size-2 with the flag bits taken off the code.
uint8_t checksumWithoutFlags(const Bytes& response);

// What Control_Command returned, and the caller's whole response buffer.
struct Answer {
    uint32_t result = 0;
    Bytes bytes;
};

}  // namespace tq4::test
