// The two version exports: same answer under the old and the new name.
#include "driver/Lifetime.h"
#include "tq4_genicam.h"

namespace {

uint32_t writeVersion(uint32_t* v1, uint32_t* v2, uint32_t* v3, uint32_t* v4) {
    uint32_t* targets[4] = {v1, v2, v3, v4};
    for (int i = 0; i < 4; ++i)
        if (targets[i]) *targets[i] = tq4::driver::kVersion[i];
    return ZEVO_NOERROR;
}

}  // namespace

extern "C" TQ4_API uint32_t ZEVO_GetVersionTQ4_Genicam(uint32_t* v1, uint32_t* v2, uint32_t* v3, uint32_t* v4) {
    return writeVersion(v1, v2, v3, v4);
}

extern "C" TQ4_API uint32_t ZEVO_GetVersion_genicam(uint32_t* v1, uint32_t* v2, uint32_t* v3, uint32_t* v4) {
    return writeVersion(v1, v2, v3, v4);
}
