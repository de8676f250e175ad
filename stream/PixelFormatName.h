// What a pixel format's symbolic name says about its pixels: GenICam names carry their bit
// depth as the last run of digits ("Mono12", "BayerRG10p", "YCbCr422_8"), and the camera's
// own names end in "msb" when the data sits in the top bits of each 16-bit pixel.
#pragma once

#include <cstdint>
#include <string>

namespace tq4::stream {

// The last run of digits of `symbol` as a decimal number. Throws std::invalid_argument when
// the name has no digits and std::out_of_range when they do not fit: callers log the reason.
uint64_t bitsInFormatName(const std::string& symbol);

// The name ends in "msb" (case as written).
bool isMsbFormatName(const std::string& symbol);

}  // namespace tq4::stream
