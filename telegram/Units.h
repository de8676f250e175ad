// Time-unit conversions shared by the handlers that report exposure and frame timing. Units
// are the texts that features report: "ns", "us", "ms" and "s", a power of 1000 apart.
#pragma once

#include <cstdint>
#include <string>

namespace ZEVO_TELEGRAM::units {

// `value` from unit `from` into unit `to`. When either unit is not a time unit the value is
// returned unscaled: features that report an unexpected unit are taken at face value.
double convert(double value, const std::string& from, const std::string& to);

// As convert, then 0.5 added and the result truncated to an unsigned 32-bit number (negative
// results give 0, results beyond the range the largest value).
uint32_t convertRounded(double value, const std::string& from, const std::string& to);

// `value` truncated toward zero into a u32, saturating at the ends of the range.
uint32_t truncatedU32(double value);
// `value` truncated toward zero into an s16, saturating at the ends of the range.
int16_t truncatedS16(double value);

}  // namespace ZEVO_TELEGRAM::units
