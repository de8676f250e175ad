// Shared basics of the GenTL producers (ZEVO.cti, tq4_aravis.cti): the GenTL names and the
// internal error type. Inside a producer a failing operation throws GenTLError; the exported C
// functions turn it into the GenTL return code and the thread's last-error text (see Guard.h).
#pragma once

#include "gentl-module/GenTL.h"

#include <stdexcept>
#include <string>

namespace gentlkit {

using namespace GenTL;

class GenTLError : public std::runtime_error {
public:
    GenTLError(GC_ERROR code, const std::string& text) : std::runtime_error(text), code_(code) {}
    GC_ERROR code() const { return code_; }

private:
    GC_ERROR code_;
};

// Throws GenTLError(code, text) when `condition` is false.
inline void require(bool condition, GC_ERROR code, const char* text) {
    if (!condition) throw GenTLError(code, text);
}

inline void requirePointer(const void* p) { require(p != nullptr, GC_ERR_INVALID_PARAMETER, "null pointer argument"); }

// The file of the shared library that holds `code`, found in the process's memory map;
// `fallback` when it is not found.
std::string loadedFrom(const void* code, const char* fallback);

template <typename T>
void setOutput(T* out, T value) {
    requirePointer(out);
    *out = value;
}

}  // namespace gentlkit
