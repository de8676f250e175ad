// Shared basics of the simulated producer: the GenTL names and the internal error type.
// Inside the producer a failing operation throws GenTLError; the exported C functions turn it
// into the GenTL return code and the thread's last-error text (see Exports.h).
#pragma once

#include "gentl/GenTL.h"

#include <stdexcept>
#include <string>

namespace zevo {

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

}  // namespace zevo
