// A telegram sent through Control_Command the way the camera SDK sends it.
#pragma once

#include <cstdint>

#include "support/Telegrams.h"
#include "tq4_genicam.h"

namespace tq4::test {

// The response buffer of `sizeOut` bytes is prefilled with 0xEE; `sizeIn` defaults to the
// request's length.
inline Answer sendTelegram(TQ4_HANDLE h, const Bytes& request, uint32_t sizeOut = 512, int32_t sizeIn = -1) {
    Answer answer{0, Bytes(sizeOut, 0xEE)};
    answer.result = Control_Command(h, request.data(), sizeIn < 0 ? static_cast<int32_t>(request.size()) : sizeIn,
                                    answer.bytes.data(), sizeOut);
    return answer;
}

}  // namespace tq4::test
