// The driver's result codes as a person reads them: "0x80031020 ZEVO_ERROR_TELEGRAM_NOTSUPPORTED".
#pragma once

#include <cstdint>
#include <string>

namespace tq4::tools {

// The code in hex, followed by its name from tq4_genicam.h when it has one.
std::string describeResult(uint32_t code);
// The name of a caller buffer's status word ("done", "failed", ...), or the code in hex.
std::string describeBufferStatus(uint32_t status);

}  // namespace tq4::tools
