#include "producer-kit/Guard.h"

#include "producer-kit/Info.h"

namespace gentlkit {
namespace {

thread_local GC_ERROR lastCode = GC_ERR_SUCCESS;
thread_local std::string lastText = "No Error";

}  // namespace

void setLastError(GC_ERROR code, const std::string& text) {
    lastCode = code;
    lastText = text;
}

GC_ERROR lastError(GC_ERROR* piErrorCode, char* sErrText, size_t* piSize) {
    try {
        require(piErrorCode != nullptr, GC_ERR_INVALID_PARAMETER, "null error code pointer");
        deliverText(lastText, sErrText, piSize);
        *piErrorCode = lastCode;
        return GC_ERR_SUCCESS;
    } catch (const GenTLError& e) {
        return e.code();
    } catch (...) {
        return GC_ERR_ERROR;
    }
}

}  // namespace gentlkit
