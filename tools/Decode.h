// Readable forms of the identity and status responses, and hex forms of raw telegrams.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tq4::tools {

using Bytes = std::vector<uint8_t>;

// Little-endian fields of a response; 0 where the response is shorter.
uint16_t u16At(const Bytes& bytes, std::size_t offset);
uint32_t u32At(const Bytes& bytes, std::size_t offset);

// "10 01 05 00 16"
std::string hexBytes(const Bytes& bytes);
// Parses hex text ("0110", "0x0110", "01 00 00 00" split over words) into bytes; false on a
// character that is not a hex digit or an odd digit count.
bool parseHexBytes(const std::string& text, Bytes& out);
// A command code given as exactly four hex digits ("0110" or "0x0110").
bool parseCode(const std::string& text, uint16_t& code);

// Each decoder turns one response into "label: value" lines. A response shorter than the
// fields it should hold yields a line saying so.
std::vector<std::string> decodeCameraType(const Bytes& response);
std::vector<std::string> decodeText(const std::string& label, const Bytes& response);
std::vector<std::string> decodeHardwareVersions(const Bytes& response);
std::vector<std::string> decodeFirmwareVersions(const Bytes& response);
std::vector<std::string> decodeTemperature(const Bytes& response);
std::vector<std::string> decodeCoolingSetpoint(const Bytes& response);
std::vector<std::string> decodeHealth(const Bytes& response);

}  // namespace tq4::tools
