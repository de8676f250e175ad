// The test world under the name the Aravis driver tests use, with their padded telegram.
#pragma once

#include "support/World.h"

namespace tq4::test {

class StreamWorld : public World {
protected:
    static Bytes telegram(uint16_t code, uint16_t size = 5) { return paddedTelegram(code, size); }
};

}  // namespace tq4::test
