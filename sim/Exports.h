// The frame of every exported GenTL function: library state check, injected faults and handle
// lookup inside the producer kit's guard (internal errors to GenTL codes and the last error).
#pragma once

#include "producer-kit/Guard.h"
#include "sim/Tree.h"

#include <string>

namespace zevo {

// Runs `body` as the export `function`; needsInit is false only for GCInitLib.
template <typename Body>
GC_ERROR guarded(const char* function, Body&& body, bool needsInit = true) {
    return guard(function, [&] {
        Library& library = Library::instance();
        if (needsInit) require(library.initialized(), GC_ERR_NOT_INITIALIZED, "the library is not initialised");
        if (library.initialized()) library.faults().delay(function);
        if (library.initialized())
            if (const auto fault = library.faults().fire(function); fault && *fault != GC_ERR_SUCCESS)
                throw GenTLError(*fault, std::string("injected fault in ") + function);
        body();
    });
}

template <typename T>
std::shared_ptr<T> lookup(const void* handle, ModuleKind kind) {
    return Library::instance().registry().get<T>(handle, kind);
}

}  // namespace zevo
