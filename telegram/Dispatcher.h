// The command table and the dispatcher through which Control_Command hands every telegram to
// its handler.
#pragma once

#include <cstddef>
#include <cstdint>

#include "telegram/Telegram.h"

namespace ZEVO_TELEGRAM {

// Finds the handler of the request's code and returns what it returns. An unknown code gets
// the 9-byte failure answer with ZEVO_ERROR_TELEGRAM_NOTSUPPORTED. The frame (sizes, code 0)
// has been checked by the caller; exactly `size_out` bytes of `tele_out` are written unless a
// handler refuses a too short request (then nothing is written).
uint32_t callTeleJumpFnc(Device& device, const void* tele_in, int32_t size_in, void* tele_out, uint32_t size_out);

// Number of command codes in the table (all codes of the protocol, answered or not).
std::size_t commandTableSize();

}  // namespace ZEVO_TELEGRAM
