// The frame of every exported GenTL function: internal errors become GenTL codes and the
// thread's last error; no exception leaves an exported function.
#pragma once

#include "producer-kit/Common.h"

#include <new>
#include <string>

namespace gentlkit {

void setLastError(GC_ERROR code, const std::string& text);

// Runs `body` as the export `function` and answers its GenTL code.
template <typename Body>
GC_ERROR guard(const char* function, Body&& body) {
    try {
        body();
        return GC_ERR_SUCCESS;
    } catch (const GenTLError& e) {
        setLastError(e.code(), std::string(function) + ": " + e.what());
        return e.code();
    } catch (const std::bad_alloc&) {
        setLastError(GC_ERR_OUT_OF_MEMORY, std::string(function) + ": out of memory");
        return GC_ERR_OUT_OF_MEMORY;
    } catch (const std::exception& e) {
        setLastError(GC_ERR_ERROR, std::string(function) + ": " + e.what());
        return GC_ERR_ERROR;
    } catch (...) {
        setLastError(GC_ERR_ERROR, std::string(function) + ": unexpected failure");
        return GC_ERR_ERROR;
    }
}

// GCGetLastError: the thread's last error; its own failures are not stored as the last error.
GC_ERROR lastError(GC_ERROR* piErrorCode, char* sErrText, size_t* piSize);

}  // namespace gentlkit
