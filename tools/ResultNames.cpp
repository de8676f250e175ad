#include "tools/ResultNames.h"

#include <cstdio>

#include "tq4_genicam.h"

namespace tq4::tools {

namespace {

struct Named {
    uint32_t code;
    const char* name;
};

#define TQ4_NAMED(code) \
    Named { code, #code }
// ZEVO_NOERROR and ZEVO_BUFFER_DONE share 0: a result reads as the former.
constexpr Named kResults[] = {
    TQ4_NAMED(ZEVO_NOERROR),
    TQ4_NAMED(ZEVO_ERROR_DRIVER_WRONGVALUE),
    TQ4_NAMED(ZEVO_ERROR_DRIVER_NULLHANDLE),
    TQ4_NAMED(ZEVO_ERROR_DRIVER_WRONGSIZE),
    TQ4_NAMED(ZEVO_ERROR_DRIVER_NOBUFFER),
    TQ4_NAMED(ZEVO_ERROR_DRIVER_NODRIVER),
    TQ4_NAMED(ZEVO_ERROR_DRIVER_NOACCESS),
    TQ4_NAMED(ZEVO_ERROR_DRIVER_CREATEEVENT),
    TQ4_NAMED(ZEVO_ERROR_DRIVER_STREAMING),
    TQ4_NAMED(ZEVO_ERROR_OPEN_NULLHANDLEPTR),
    TQ4_NAMED(ZEVO_ERROR_OPEN_WRONGNUM),
    TQ4_NAMED(ZEVO_ERROR_OPEN_NOGENICAM),
    TQ4_NAMED(ZEVO_ERROR_OPEN_INUSE),
    TQ4_NAMED(ZEVO_ERROR_OPEN_FAILED),
    TQ4_NAMED(ZEVO_ERROR_TELEGRAM_NOTSUPPORTED),
    TQ4_NAMED(ZEVO_ERROR_TELEGRAM_OUTOFRANGE),
    TQ4_NAMED(ZEVO_ERROR_TELEGRAM_VALUEFAILED),
    TQ4_NAMED(ZEVO_ERROR_TELEGRAM_NOTARMED),
    TQ4_NAMED(ZEVO_ERROR_TELEGRAM_RECORDINGON),
    TQ4_NAMED(ZEVO_ERROR_TELEGRAM_INVALIDFORMAT),
    TQ4_NAMED(ZEVO_ERROR_FEATURE_NOTFOUND),
    TQ4_NAMED(ZEVO_ERROR_FEATURE_ACCESS),
    TQ4_NAMED(ZEVO_ERROR_FEATURE_VALUE),
    TQ4_NAMED(ZEVO_BUFFER_QUEUED),
    TQ4_NAMED(ZEVO_BUFFER_FAILED),
    TQ4_NAMED(ZEVO_BUFFER_CANCELLED),
};
#undef TQ4_NAMED

std::string hex(uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", code);
    return text;
}

}  // namespace

std::string describeResult(uint32_t code) {
    for (const Named& named : kResults)
        if (named.code == code) return hex(code) + " " + named.name;
    return hex(code);
}

std::string describeBufferStatus(uint32_t status) {
    switch (status) {
        case ZEVO_BUFFER_DONE: return "done";
        case ZEVO_BUFFER_QUEUED: return "queued";
        case ZEVO_BUFFER_FAILED: return "failed";
        case ZEVO_BUFFER_CANCELLED: return "cancelled";
        default: return hex(status);
    }
}

}  // namespace tq4::tools
